// Changes of the chain, the key rings and the indexes. What can fail comes first; from then on every change
// is made to its end.
#include <cstdio>
#include <cstring>

#include "config/config_format.h"
#include "config/config_internal.h"
#include "config/config_parse.h"
#include "config/configspec_internal.h"
#include "os/core/owned.h"
#include "qz/error.h"
#include "qz/memory.h"

namespace {

constexpr char kDuplicate[] = "DUP";
constexpr char kRetired[] = "UNIQUE";

using OwnedRecord = Owned<ConfigRecord, iConfig_DeleteRecord>;
using OwnedChain = Owned<ConfigRecord, iConfig_DeleteChain>;

// ---- the chain ---------------------------------------------------------------------------------

ConfigRecord* EndOf(ConfigSection* section) {
  return section->last != nullptr ? section->last : section;
}

void LinkBehind(ConfigRecord* place, ConfigRecord* record) {
  record->previous = place;
  record->next = place->next;
  if (record->next != nullptr) record->next->previous = record;
  place->next = record;
}

void Append(ConfigSection* section, ConfigRecord* record) {
  LinkBehind(EndOf(section), record);
  section->last = record;
}

// Takes a record that is no header out of its section.
void Unlink(ConfigSection* section, ConfigRecord* record) {
  if (section->last == record) section->last = record->previous != section ? record->previous : nullptr;
  record->previous->next = record->next;
  if (record->next != nullptr) record->next->previous = record->previous;
}

void Discard(ConfigLine* line) {
  --line->section->lineCount;
  Unlink(line->section, line);
  iConfig_DeleteRecord(line);
}

// ---- keys and rings ----------------------------------------------------------------------------

// The line of the key that was added last, or null.
ConfigLine* NewestOf(const ConfigSection& section, const ConfigKey& key) {
  void* newest = nullptr;
  PTrie_FindElement(section.keys, key.bytes, key.length, &newest);
  return static_cast<ConfigLine*>(newest);
}

void StartRing(ConfigLine* line) {
  line->nextOfKey = line;
  line->previousOfKey = line;
}

void JoinRing(ConfigLine* newest, ConfigLine* line) {
  line->previousOfKey = newest;
  line->nextOfKey = newest->nextOfKey;
  newest->nextOfKey->previousOfKey = line;
  newest->nextOfKey = line;
}

void LeaveRing(ConfigLine* line) {
  line->previousOfKey->nextOfKey = line->nextOfKey;
  line->nextOfKey->previousOfKey = line->previousOfKey;
}

// newest: the line of the key that was added last, or null.
ErrorCode IndexLine(const ConfigKey& key, ConfigLine* newest, ConfigSection* section, ConfigLine* line) {
  if (newest == nullptr) {
    StartRing(line);
    return PTrie_InsertElement(section->keys, key.bytes, key.length, line);
  }
  JoinRing(newest, line);
  return PTrie_ReplaceElement(section->keys, key.bytes, key.length, line);
}

// Takes a line out of its ring and its section's index.
void RemoveFromIndex(const ConfigSpec& spec, ConfigLine* line) {
  ConfigKey key;
  iConfig_MakeKey(spec, line->content.fields[0], &key);
  PTrie* const keys = line->section->keys;
  if (line->nextOfKey == line) {
    PTrie_DeleteElement(keys, key.bytes, key.length);
    return;
  }
  const bool isNewest = NewestOf(*line->section, key) == line;
  if (isNewest) PTrie_ReplaceElement(keys, key.bytes, key.length, line->previousOfKey);
  LeaveRing(line);
}

// Removes the other lines of the key from the document.
void DiscardOthers(ConfigLine* line) {
  for (ConfigLine* other = line->nextOfKey; other != line;) {
    ConfigLine* const next = other->nextOfKey;
    Discard(other);
    other = next;
  }
  StartRing(line);
}

// ---- adding ------------------------------------------------------------------------------------

// A first section without header gives its place to a header while nothing stands in it.
bool GivesItsPlace(const Config& config, const ConfigSection* section) {
  return section == config.first && section->next == nullptr && section->content.count == 0;
}

void PlaceSection(Config* config, ConfigSection* section, ConfigSection* current) {
  if (!GivesItsPlace(*config, current)) {
    LinkBehind(EndOf(current), section);
    return;
  }
  config->first = section;
  iConfig_DeleteRecord(current);
}

ErrorCode AddSection(Config* config, ConfigSection* section, ConfigSection** current) {
  if (section->content.count != 0) {
    ConfigKey name;
    void* existing = nullptr;
    iConfig_MakeName(section->content.fields[0], &name);
    if (PTrie_FindElement(config->sections, name.bytes, name.length, &existing) != 0) {
      iConfig_DeleteRecord(section);
      *current = static_cast<ConfigSection*>(existing);
      return Error_None;
    }
    const ErrorCode status = PTrie_InsertElement(config->sections, name.bytes, name.length, section);
    if (status != Error_None) return status;
  }
  PlaceSection(config, section, *current);
  *current = section;
  return Error_None;
}

// Adds a record that was just made; null when there was no memory for it.
ErrorCode AddNew(Config* config, ConfigRecord* newRecord, ConfigSection** current) {
  OwnedRecord record(newRecord);
  if (!record) return Error_Memory;
  const ErrorCode status = iConfig_AddRecord(config, record.get(), current);
  if (status == Error_None) record.release();
  return status;
}

ErrorCode AddNewLine(const ConfigKey& key, ConfigLine* newest, const ConfigParsed& parsed,
                     ConfigSection* section, ConfigLine** line) {
  Owned<ConfigLine, iConfig_DeleteRecord> added(iConfig_NewLine(parsed));
  if (!added) return Error_Memory;
  const ErrorCode status = IndexLine(key, newest, section, added.get());
  if (status != Error_None) return status;
  added->section = section;
  ++section->lineCount;
  Append(section, added.get());
  *line = added.release();
  return Error_None;
}

// ---- replacing ---------------------------------------------------------------------------------

struct FormattedText {
  char* bytes;  // Memory_Delete
  size_t length;
};

bool AppendText(void* context, const char* text, uint32_t length) {
  auto* formatted = static_cast<FormattedText*>(context);
  auto* grown = static_cast<char*>(Memory_Realloc(formatted->bytes, formatted->length + length + 1));
  if (grown == nullptr) return false;
  memcpy(grown + formatted->length, text, length + 1);
  formatted->bytes = grown;
  formatted->length += length;
  return true;
}

// The comment that a line becomes.
// Kept: the line end that belongs to a line is part of the text, so an empty line follows in the file.
ConfigComment* NewRetiredComment(const ConfigSpec& spec, const ConfigLine& line) {
  FormattedText formatted{nullptr, 0};
  ConfigOutput output;
  iConfig_StartOutput(AppendText, &formatted, &output);
  iConfig_Format(spec, line, nullptr, &output);
  const bool isComplete = iConfig_FlushOutput(&output);
  const Owned<char, Memory_Delete> text(formatted.bytes);
  return isComplete ? iConfig_NewComment(spec.lineComment, kRetired, text.get()) : nullptr;
}

// A chain with a comment for each line of the key, the one added last first. Empty where no comments are
// kept.
ErrorCode MakeRetiredComments(const ConfigSpec& spec, const ConfigLine* newest, OwnedChain* comments) {
  if (!spec.KeepsComments()) return Error_None;
  ConfigRecord* end = nullptr;
  const ConfigLine* line = newest;
  do {
    ConfigComment* const comment = NewRetiredComment(spec, *line);
    if (comment == nullptr) return Error_Memory;
    if (end == nullptr) comments->reset(comment);
    if (end != nullptr) end->next = comment;
    end = comment;
    line = line->previousOfKey;
  } while (line != newest);
  return Error_None;
}

void AppendChain(ConfigSection* section, ConfigRecord* record) {
  while (record != nullptr) {
    ConfigRecord* const next = record->next;
    Append(section, record);
    record = next;
  }
}

// Puts the line where the newest of the old ones stood: before the record that followed it, or at the end of
// the section.
void PutBefore(ConfigRecord* follower, ConfigSection* section, ConfigLine* line) {
  const bool isInSection = follower != nullptr && follower->code != ConfigCode_Section;
  if (isInSection) LinkBehind(follower->previous, line);
  if (!isInSection) Append(section, line);
}

// Retires all lines of a key and puts a new one in the place of the newest.
ErrorCode ReplaceLines(const Config& config, const ConfigKey& key, ConfigLine* newest,
                       const ConfigParsed& parsed, ConfigLine** line) {
  Owned<ConfigLine, iConfig_DeleteRecord> added(iConfig_NewLine(parsed));
  OwnedChain comments;
  if (!added) return Error_Memory;
  const ErrorCode status = MakeRetiredComments(*config.spec, newest, &comments);
  if (status != Error_None) return status;

  ConfigSection* const section = newest->section;
  DiscardOthers(newest);
  ConfigRecord* const follower = newest->next;
  Discard(newest);
  AppendChain(section, comments.release());
  *line = added.release();
  (*line)->section = section;
  ++section->lineCount;
  PutBefore(follower, section, *line);
  StartRing(*line);
  return PTrie_ReplaceElement(section->keys, key.bytes, key.length, *line);
}

ErrorCode AddLine(Config* config, const char* text, const ConfigParsed& parsed, ConfigDuplicate duplicate,
                  ConfigSection** current, ConfigLine** line) {
  const ConfigSpec& spec = *config->spec;
  ConfigKey key;
  iConfig_MakeKey(spec, parsed.content.fields[0], &key);
  ConfigLine* const newest = NewestOf(**current, key);
  if (newest == nullptr || !spec.HasUniqueLines()) return AddNewLine(key, newest, parsed, *current, line);
  if (duplicate == ConfigDuplicate::ReplacesOld) return ReplaceLines(*config, key, newest, parsed, line);
  if (!spec.KeepsComments()) return Error_None;
  return AddNew(config, iConfig_NewComment(spec.lineComment, kDuplicate, text), current);
}

}  // namespace

// ---- internal functions ------------------------------------------------------------------------

bool iConfig_MakeName(const char* text, ConfigKey* key) {
  const size_t length = strnlen(text, kConfigLineLength + 1);
  key->length = 0;
  if (length > kConfigLineLength) return false;
  key->length = static_cast<uint16_t>(length);
  memcpy(key->bytes, text, length);
  return true;
}

bool iConfig_MakeKey(const ConfigSpec& spec, const char* text, ConfigKey* key) {
  if (!iConfig_MakeName(text, key)) return false;
  for (uint16_t i = 0; i < key->length && !spec.IsCaseSensitive(); ++i) {
    char& c = key->bytes[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return true;
}

ErrorCode iConfig_AddRecord(Config* config, ConfigRecord* record, ConfigSection** current) {
  switch (record->code) {
    case ConfigCode_Comment:
      Append(*current, record);
      return Error_None;
    case ConfigCode_Section:
      return AddSection(config, static_cast<ConfigSection*>(record), current);
    default:
      Error("%s", "Doh!");
      return Error_Invalid;
  }
}

ErrorCode iConfig_AddText(Config* config, const char* text, ConfigDuplicate duplicate,
                          ConfigSection** current, ConfigLine** line) {
  const ConfigSpec& spec = *config->spec;
  ConfigParsed parsed;
  *line = nullptr;
  const ErrorCode status = iConfig_Parse(spec, text, &parsed);
  if (status != Error_None) return status;
  switch (parsed.kind) {
    case ConfigLineKind::Comment:
      return AddNew(config, iConfig_NewComment(spec.lineComment, parsed.reason, text), current);
    case ConfigLineKind::Section:
      return AddNew(config, iConfig_NewSection(parsed), current);
    case ConfigLineKind::Line:
      return AddLine(config, text, parsed, duplicate, current, line);
    case ConfigLineKind::Dropped:
      break;
  }
  return Error_None;
}

// ---- exported functions ------------------------------------------------------------------------

ErrorCode Config_Print(Config* config, ConfigSection* section, const char* text, ConfigLine** line) {
  if (line != nullptr) *line = nullptr;
  if (config == nullptr || text == nullptr) return Error_Invalid;
  ConfigSection* current = section != nullptr ? section : config->first;
  ConfigLine* added;
  const ErrorCode status = iConfig_AddText(config, text, ConfigDuplicate::ReplacesOld, &current, &added);
  if (line != nullptr) *line = added;
  return status;
}

ErrorCode Config_PrintF(Config* config, ConfigSection* section, const char* format, ConfigLine** line, ...) {
  if (line != nullptr) *line = nullptr;
  if (format == nullptr) return Error_Invalid;
  char text[kConfigLineLength + 1];
  va_list arguments;
  va_start(arguments, line);
  const int length = vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (length < 0) return Error_Invalid;
  if (static_cast<uint32_t>(length) > kConfigLineLength) return Error_Exceed;
  return Config_Print(config, section, text, line);
}

void Config_RemoveLine(Config* config, ConfigLine* line) {
  if (config == nullptr || line == nullptr) return;
  RemoveFromIndex(*config->spec, line);
  Discard(line);
}

void Config_UniqueLine(Config* config, ConfigLine* line) {
  if (config == nullptr || line == nullptr || line->nextOfKey == line) return;
  ConfigKey key;
  iConfig_MakeKey(*config->spec, line->content.fields[0], &key);
  PTrie_ReplaceElement(line->section->keys, key.bytes, key.length, line);
  DiscardOthers(line);
}

void Config_RemoveSection(Config* config, ConfigSection* section) {
  if (config == nullptr || section == nullptr) return;
  ConfigRecord* const behind = EndOf(section)->next;
  if (section == config->first && behind == nullptr) {
    Config_Empty(config);
    return;
  }
  if (section->content.count != 0) {
    ConfigKey name;
    iConfig_MakeName(section->content.fields[0], &name);
    PTrie_DeleteElement(config->sections, name.bytes, name.length);
  }
  EndOf(section)->next = nullptr;
  if (behind != nullptr) behind->previous = section->previous;
  if (section->previous != nullptr) section->previous->next = behind;
  if (section == config->first) config->first = static_cast<ConfigSection*>(behind);
  iConfig_DeleteChain(section);
}
