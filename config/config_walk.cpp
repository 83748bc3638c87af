// Finding lines and sections, walking through them, and what they hold.
#include "config/config_internal.h"
#include "config/configspec_internal.h"
#include "qz/config.h"

namespace {

const ConfigSection* SectionOrFirst(const Config& config, const ConfigSection* section) {
  return section != nullptr ? section : config.first;
}

// The first data line from a record on, up to the end of the chain or of the section.
ConfigLine* LineFrom(ConfigRecord* record, bool staysInSection) {
  for (; record != nullptr; record = record->next) {
    if (record->code == ConfigCode_Line) return static_cast<ConfigLine*>(record);
    if (record->code == ConfigCode_Section && staysInSection) return nullptr;
  }
  return nullptr;
}

}  // namespace

ConfigLine* Config_FindLine(const Config* config, const ConfigSection* section, const char* key) {
  if (config == nullptr || key == nullptr) return nullptr;
  ConfigKey found;
  if (!iConfig_MakeKey(*config->spec, key, &found)) return nullptr;
  ConfigRecord* const newest = SectionOrFirst(*config, section)->keys.Find(found);
  return newest != nullptr ? static_cast<ConfigLine*>(newest)->nextOfKey : nullptr;
}

ConfigLine* Config_NextLineGroup(const Config* config, const ConfigLine* line) {
  if (config == nullptr || line == nullptr) return nullptr;
  const bool isNewest = line->section->keys.Holds(line->hash, line);
  return isNewest ? nullptr : line->nextOfKey;
}

ConfigLine* Config_FirstLine(const Config* config, const ConfigSection* section) {
  if (config == nullptr) return nullptr;
  return LineFrom(SectionOrFirst(*config, section)->next, true);
}

// Kept: it goes on into the next section; whole documents are walked so.
ConfigLine* Config_NextLine(const Config* config, const ConfigLine* line) {
  if (config == nullptr || line == nullptr) return nullptr;
  return LineFrom(line->next, false);
}

ConfigLine* Config_FirstAlphaLine(const Config* config, const ConfigSection* section) {
  if (config == nullptr) return nullptr;
  const bool ignoresCase = !config->spec->IsCaseSensitive();
  return static_cast<ConfigLine*>(SectionOrFirst(*config, section)->keys.Next(nullptr, ignoresCase));
}

ConfigLine* Config_NextAlphaLine(const Config* config, const ConfigLine* line) {
  if (config == nullptr || line == nullptr) return nullptr;
  const bool ignoresCase = !config->spec->IsCaseSensitive();
  return static_cast<ConfigLine*>(line->section->keys.Next(iConfig_NameOf(*line), ignoresCase));
}

ConfigSection* Config_NextSection(const Config* config, const ConfigSection* section) {
  if (config == nullptr) return nullptr;
  if (section == nullptr) return config->first;
  // Kept: a section without lines and comments ends the walk.
  if (section->last == nullptr) return nullptr;
  return static_cast<ConfigSection*>(section->last->next);
}

ConfigSection* Config_NextAlphaSection(const Config* config, const ConfigSection* section) {
  if (config == nullptr) return nullptr;
  const bool isStarted = section != nullptr && section->fieldCount != 0;
  const char* const name = isStarted ? iConfig_NameOf(*section) : nullptr;
  return static_cast<ConfigSection*>(config->sections.Next(name, false));
}

uint32_t Config_CountSectionLines(const Config* config, const ConfigSection* section) {
  return config != nullptr ? SectionOrFirst(*config, section)->lineCount : 0;
}

uint32_t Config_CountSectionFields(const Config* config, const ConfigSection* section) {
  return config != nullptr ? SectionOrFirst(*config, section)->fieldCount : 0;
}

char** Config_GetSectionFields(const Config* config, const ConfigSection* section) {
  if (config == nullptr) return nullptr;
  const ConfigFields content = iConfig_ContentOf(*SectionOrFirst(*config, section));
  return content.count != 0 ? content.fields : nullptr;
}

ConfigSection* Config_GetLineSection(const Config* config, const ConfigLine* line) {
  return config != nullptr && line != nullptr ? line->section : nullptr;
}

uint32_t Config_CountFields(const Config* config, const ConfigLine* line) {
  return config != nullptr && line != nullptr ? line->fieldCount : 0;
}

char** Config_GetFields(const Config* config, const ConfigLine* line) {
  return config != nullptr && line != nullptr ? iConfig_ContentOf(*line).fields : nullptr;
}

const char* Config_GetComment(const Config* config, const ConfigLine* line) {
  return config != nullptr && line != nullptr ? iConfig_ContentOf(*line).comment : nullptr;
}
