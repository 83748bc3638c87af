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
using OwnedLine = Owned<ConfigLine, iConfig_DeleteRecord>;
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
  return static_cast<ConfigLine*>(section.keys.Find(key));
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
  line->hash = key.hash;
  if (newest == nullptr) {
    StartRing(line);
    return section->keys.Insert(key, line);
  }
  JoinRing(newest, line);
  section->keys.Replace(newest->hash, newest, line);
  return Error_None;
}

// Takes a line out of its ring and its section's index.
void RemoveFromIndex(ConfigLine* line) {
  ConfigIndex& keys = line->section->keys;
  if (line->nextOfKey == line) {
    keys.Remove(line->hash, line);
    return;
  }
  if (keys.Holds(line->hash, line)) keys.Replace(line->hash, line, line->previousOfKey);
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
  return section == config.first && section->next == nullptr && section->fieldCount == 0;
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
  if (section->fieldCount != 0) {
    ConfigKey name;
    iConfig_MakeName(iConfig_NameOf(*section), &name);
    if (ConfigRecord* const existing = config->sections.Find(name); existing != nullptr) {
      iConfig_DeleteRecord(section);
      *current = static_cast<ConfigSection*>(existing);
      return Error_None;
    }
    const ErrorCode status = config->sections.Insert(name, section);
    if (status != Error_None) return status;
    section->hash = name.hash;
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

// Takes `added` over and gives it out in *line, unless it fails.
ErrorCode AddNewLine(const ConfigKey& key, ConfigLine* newest, ConfigSection* section, OwnedLine* added,
                     ConfigLine** line) {
  const ErrorCode status = IndexLine(key, newest, section, added->get());
  if (status != Error_None) return status;
  *line = added->release();
  (*line)->section = section;
  ++section->lineCount;
  Append(section, *line);
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

// The same, but retires all lines of the key and puts the new one in the place of the newest.
ErrorCode ReplaceLines(const ConfigSpec& spec, ConfigLine* newest, OwnedLine* added, ConfigLine** line) {
  OwnedChain comments;
  const ErrorCode status = MakeRetiredComments(spec, newest, &comments);
  if (status != Error_None) return status;

  ConfigSection* const section = newest->section;
  *line = added->release();
  (*line)->section = section;
  (*line)->hash = newest->hash;
  StartRing(*line);
  section->keys.Replace(newest->hash, newest, *line);
  DiscardOthers(newest);
  ConfigRecord* const follower = newest->next;
  Discard(newest);
  AppendChain(section, comments.release());
  PutBefore(follower, section, *line);
  ++section->lineCount;
  return Error_None;
}

ErrorCode AddLine(Config* config, const char* text, const ConfigParsed& parsed, ConfigDuplicate duplicate,
                  ConfigSection** current, ConfigLine** line) {
  const ConfigSpec& spec = *config->spec;
  ConfigKey key;
  iConfig_MakeKey(spec, parsed.content.fields[0], &key);
  (*current)->keys.Prefetch(key);  // a large table is not in the cache: it comes while the line is made
  OwnedLine added(iConfig_NewLine(parsed));
  if (!added) return Error_Memory;
  ConfigLine* const newest = NewestOf(**current, key);
  if (newest == nullptr || !spec.HasUniqueLines()) return AddNewLine(key, newest, *current, &added, line);
  if (duplicate == ConfigDuplicate::ReplacesOld) return ReplaceLines(spec, newest, &added, line);
  if (!spec.KeepsComments()) return Error_None;
  return AddNew(config, iConfig_NewComment(spec.lineComment, kDuplicate, text), current);
}

}  // namespace

// ---- internal functions ------------------------------------------------------------------------

bool iConfig_MakeKey(const ConfigSpec& spec, const char* text, ConfigKey* key) {
  return key->Set(text, !spec.IsCaseSensitive());
}

bool iConfig_MakeName(const char* text, ConfigKey* key) {
  return key->Set(text, false);
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

ErrorCode iConfig_AddText(Config* config, const char* text, uint32_t length, ConfigDuplicate duplicate,
                          ConfigSection** current, ConfigLine** line) {
  const ConfigSpec& spec = *config->spec;
  ConfigParsed parsed;
  *line = nullptr;
  iConfig_Parse(spec, text, length, &parsed);
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
  const size_t length = strnlen(text, kConfigLineLength + 1);
  if (length > kConfigLineLength) return Error_Exceed;
  ConfigSection* current = section != nullptr ? section : config->first;
  ConfigLine* added;
  const ErrorCode status = iConfig_AddText(config, text, static_cast<uint32_t>(length),
                                           ConfigDuplicate::ReplacesOld, &current, &added);
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
  RemoveFromIndex(line);
  Discard(line);
}

void Config_UniqueLine(Config* config, ConfigLine* line) {
  if (config == nullptr || line == nullptr) return;
  ConfigIndex& keys = line->section->keys;
  const ConfigLine* newest = line;
  while (!keys.Holds(newest->hash, newest)) newest = newest->nextOfKey;
  keys.Replace(newest->hash, newest, line);
  DiscardOthers(line);
}

void Config_RemoveSection(Config* config, ConfigSection* section) {
  if (config == nullptr || section == nullptr) return;
  ConfigRecord* const behind = EndOf(section)->next;
  if (section == config->first && behind == nullptr) {
    Config_Empty(config);
    return;
  }
  if (section->hash != 0) config->sections.Remove(section->hash, section);
  EndOf(section)->next = nullptr;
  if (behind != nullptr) behind->previous = section->previous;
  if (section->previous != nullptr) section->previous->next = behind;
  if (section == config->first) config->first = static_cast<ConfigSection*>(behind);
  iConfig_DeleteChain(section);
}
