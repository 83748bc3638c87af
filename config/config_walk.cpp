// Finding lines and sections, walking through them, and what they hold.
#include <cstring>

#include "config/config_internal.h"
#include "config/configspec_internal.h"
#include "qz/config.h"

namespace {

const ConfigSection* SectionOrFirst(const Config& config, const ConfigSection* section) {
  return section != nullptr ? section : config.first;
}

// The next entry of an index behind the key, or its first; null at the end. The key is overwritten.
void* NextInIndex(const PTrie* index, bool isStarted, ConfigKey* key) {
  PTrieState state{};
  state.keyBuffer = reinterpret_cast<uint8_t*>(key->bytes);
  state.keyBufferSize = sizeof key->bytes;
  state.keyLength = isStarted ? key->length : 0;
  state.started = isStarted ? 1 : 0;
  return PTrie_Iterate(index, nullptr, 0, &state) == 1 ? state.value : nullptr;
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
  void* newest = nullptr;
  PTrie_FindElement(SectionOrFirst(*config, section)->keys, found.bytes, found.length, &newest);
  return newest != nullptr ? static_cast<ConfigLine*>(newest)->nextOfKey : nullptr;
}

ConfigLine* Config_NextLineGroup(const Config* config, const ConfigLine* line) {
  if (config == nullptr || line == nullptr) return nullptr;
  ConfigKey key;
  iConfig_MakeKey(*config->spec, line->content.fields[0], &key);
  void* newest = nullptr;
  PTrie_FindElement(line->section->keys, key.bytes, key.length, &newest);
  return newest != line ? line->nextOfKey : nullptr;
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
  ConfigKey key;
  return static_cast<ConfigLine*>(NextInIndex(SectionOrFirst(*config, section)->keys, false, &key));
}

ConfigLine* Config_NextAlphaLine(const Config* config, const ConfigLine* line) {
  if (config == nullptr || line == nullptr) return nullptr;
  ConfigKey key;
  iConfig_MakeKey(*config->spec, line->content.fields[0], &key);
  return static_cast<ConfigLine*>(NextInIndex(line->section->keys, true, &key));
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
  ConfigKey name;
  const bool isStarted = section != nullptr && section->content.count != 0;
  if (isStarted) iConfig_MakeName(section->content.fields[0], &name);
  return static_cast<ConfigSection*>(NextInIndex(config->sections, isStarted, &name));
}

uint32_t Config_CountSectionLines(const Config* config, const ConfigSection* section) {
  return config != nullptr ? SectionOrFirst(*config, section)->lineCount : 0;
}

uint32_t Config_CountSectionFields(const Config* config, const ConfigSection* section) {
  return config != nullptr ? SectionOrFirst(*config, section)->content.count : 0;
}

char** Config_GetSectionFields(const Config* config, const ConfigSection* section) {
  if (config == nullptr) return nullptr;
  const ConfigFields& content = SectionOrFirst(*config, section)->content;
  return content.count != 0 ? content.fields : nullptr;
}

ConfigSection* Config_GetLineSection(const Config* config, const ConfigLine* line) {
  return config != nullptr && line != nullptr ? line->section : nullptr;
}

uint32_t Config_CountFields(const Config* config, const ConfigLine* line) {
  return config != nullptr && line != nullptr ? line->content.count : 0;
}

char** Config_GetFields(const Config* config, const ConfigLine* line) {
  return config != nullptr && line != nullptr ? line->content.fields : nullptr;
}

const char* Config_GetComment(const Config* config, const ConfigLine* line) {
  return config != nullptr && line != nullptr ? line->content.comment : nullptr;
}
