// The journal of a table: what was done since the table was saved, and before that, what is about to be done.
// A kill costs nothing then; the next run finds each finished copy and deletion here.
#include <cstdio>
#include <cstring>
#include <new>

#include "config/config_parse.h"
#include "os/core/owned.h"
#include "qz/configlabel.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "synchro/synchro_lines_internal.h"
#include "synchro/synchro_table_internal.h"

namespace {

constexpr char kEnding[] = ".done";
constexpr char kNextEnding[] = ".next";
constexpr uint32_t kFieldsOfDone = 10;
constexpr uint32_t kFieldsOfIntent = 12;
constexpr const char* kEndWords[kSynchroEnds] = {"Source", "Destination"};

ErrorCode PathOf(const char* tablePath, const char* ending, char (&path)[kFileNameSize]) {
  const int length = snprintf(path, sizeof path, "%s%s", tablePath, ending);
  return length >= 0 && static_cast<size_t>(length) < sizeof path ? Error_None : Error_Exceed;
}

// ---- writing -----------------------------------------------------------------------------------

// A line that was cut must not go on with this one.
size_t FormatLine(const SynchroEntry& entry, const SynchroIntent* intent, bool isCut,
                  char (&line)[kSynchroJournalLine]) {
  const size_t begin = isCut ? 1 : 0;
  if (isCut) line[0] = '\n';
  const auto length = static_cast<size_t>(iSynchro_FormatEntry(entry, line + begin)) + begin;
  const size_t room = sizeof line - length;
  if (intent == nullptr) return length + static_cast<size_t>(snprintf(line + length, room, "\n"));
  const char* const inPlace = ConfigLabel_Print(ConfigLabel_GetTrueFalse(), intent->isInPlace ? 1 : 0);
  return length +
         static_cast<size_t>(snprintf(line + length, room, ":%s:%s\n", kEndWords[intent->at], inPlace));
}

ErrorCode WriteIntents(const char* path, SynchroIntents* intents) {
  SynchroJournal journal;
  ErrorCode status = File_Open(path, FileMode_Write, &journal.file);
  if (status != Error_None) return status;
  intents->ForEach([&](const SynchroEntry& kept) {
    const SynchroIntent intent = SynchroIntents::IntentOf(kept);
    SynchroEntry after = kept;
    after.state = 0;
    if (status == Error_None) status = iSynchro_AppendJournal(&journal, after, &intent);
  });
  const ErrorCode closed = File_Close(journal.file);
  return status == Error_None ? closed : status;
}

// ---- reading -----------------------------------------------------------------------------------

bool ReadIntent(const ConfigFields& content, SynchroIntent* intent) {
  const char* const word = content.fields[kFieldsOfDone];
  const int32_t inPlace = ConfigLabel_Scan(ConfigLabel_GetTrueFalse(), content.fields[kFieldsOfDone + 1]);
  const bool isSource = strcmp(word, kEndWords[SynchroEnd_Source]) == 0;
  if (!isSource && strcmp(word, kEndWords[SynchroEnd_Destination]) != 0) return false;
  *intent = {isSource ? SynchroEnd_Source : SynchroEnd_Destination, {}, inPlace == 1};
  return inPlace == 0 || inPlace == 1;
}

struct Reading {
  explicit Reading(File* file) : lines(file) {}
  SynchroLines lines;
  ConfigParsed parsed;
  SynchroEntries* entries;
  SynchroIntents* intents;
};

ErrorCode Enter(const SynchroEntry& after, const SynchroIntent* intent, Reading* reading) {
  SynchroEntry* entry = reading->entries->Find(after.name);
  ErrorCode status = Error_None;
  if (intent != nullptr) {
    status = reading->intents->Keep(after, entry, *intent);
  } else {
    reading->intents->Close(after.name);
  }
  if (entry == nullptr) entry = reading->entries->Add(after.name);
  if (status != Error_None || entry == nullptr) return Error_Memory;
  char* const name = entry->name;
  *entry = after;
  entry->name = name;
  return Error_None;
}

// What one line says.
ErrorCode ReplayLine(Reading* reading) {
  SynchroEntry after;
  SynchroIntent intent = {};
  const ConfigFields& content = reading->parsed.content;
  if (reading->parsed.kind != ConfigLineKind::Line) return Error_None;
  if (content.count != kFieldsOfDone && content.count != kFieldsOfIntent) return Error_None;
  if (iSynchro_ParseEntry(content.fields, &after) != Error_None) return Error_None;
  const bool isIntent = content.count == kFieldsOfIntent;
  if (isIntent && !ReadIntent(content, &intent)) return Error_None;
  intent.expected = after.sides[intent.at];
  return Enter(after, isIntent ? &intent : nullptr, reading);
}

ErrorCode ReplayLines(Reading* reading) {
  while (reading->lines.Next()) {
    if (!reading->lines.IsEnded()) break;
    iConfig_Parse(*iSynchro_Syntaxes().journal, reading->lines.Text(), reading->lines.Length(),
                  &reading->parsed);
    const ErrorCode status = ReplayLine(reading);
    if (status != Error_None) return status;
  }
  return reading->lines.Status();
}

}  // namespace

ErrorCode iSynchro_OpenJournal(const char* tablePath, SynchroJournal* journal) {
  if (journal->file != nullptr) return Error_None;
  char path[kFileNameSize];
  ErrorCode status = PathOf(tablePath, kEnding, path);
  if (status == Error_None) status = File_Open(path, FileMode_Append, &journal->file);
  journal->isCut = status == Error_None && iFile_Size64(journal->file) != 0;
  return status;
}

void iSynchro_CloseJournal(SynchroJournal* journal) {
  if (journal->file != nullptr) File_Close(journal->file);
  *journal = {};
}

ErrorCode iSynchro_AppendJournal(SynchroJournal* journal, const SynchroEntry& entry,
                                 const SynchroIntent* intent) {
  char line[kSynchroJournalLine];
  const auto count = static_cast<uint32_t>(FormatLine(entry, intent, journal->isCut, line));
  journal->isCut = File_Write(journal->file, count, line) != count;
  return journal->isCut ? Error_Exceed : Error_None;
}

ErrorCode iSynchro_ReplayJournal(const char* tablePath, SynchroEntries* entries, SynchroIntents* intents,
                                 bool* isFound) {
  *isFound = false;
  char path[kFileNameSize];
  ErrorCode status = PathOf(tablePath, kEnding, path);
  if (status != Error_None || File_Exists(path, nullptr) == 0) return status;
  *isFound = true;
  Owned<File, File_Close> file;
  status = File_Open(path, FileMode_Read, file.out());
  if (status != Error_None) return status;
  Owned<Reading, Memory_Delete> reading(static_cast<Reading*>(Memory_New(sizeof(Reading))));
  if (!reading) return Error_Memory;
  new (reading.get()) Reading(file.get());
  reading->entries = entries;
  reading->intents = intents;
  return ReplayLines(reading.get());
}

ErrorCode iSynchro_RenewJournal(const char* tablePath, SynchroIntents* intents) {
  char path[kFileNameSize];
  char next[kFileNameSize];
  ErrorCode status = PathOf(tablePath, kEnding, path);
  if (status == Error_None) status = PathOf(tablePath, kNextEnding, next);
  if (status != Error_None || File_Exists(path, nullptr) == 0) return status;
  if (!intents->HasAny()) return File_Unlink(path);
  status = WriteIntents(next, intents);
  return status == Error_None ? File_Replace(next, path) : status;
}
