// The journal of a table: what was done since the table was saved. A kill costs nothing then; the next run
// finds each finished copy and deletion here.
#include <cstdio>
#include <new>

#include "config/config_parse.h"
#include "os/core/owned.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "synchro/synchro_lines_internal.h"
#include "synchro/synchro_table_internal.h"

namespace {

constexpr char kEnding[] = ".done";

ErrorCode PathOf(const char* tablePath, char (&path)[kFileNameSize]) {
  const int length = snprintf(path, sizeof path, "%s%s", tablePath, kEnding);
  return length >= 0 && static_cast<size_t>(length) < sizeof path ? Error_None : Error_Exceed;
}

// What one line says, about an entry that the table has.
void ReplayLine(const ConfigParsed& parsed, SynchroEntries* entries) {
  SynchroEntry done;
  if (parsed.kind != ConfigLineKind::Line) return;
  if (iSynchro_ParseEntry(parsed.content.fields, &done) != Error_None) return;
  SynchroEntry* const entry = entries->Find(done.name);
  if (entry == nullptr) return;
  done.name = entry->name;
  *entry = done;
}

struct Reading {
  explicit Reading(File* file) : lines(file) {}
  SynchroLines lines;
  ConfigParsed parsed;
};

ErrorCode ReplayLines(Reading* reading, SynchroEntries* entries) {
  while (reading->lines.Next()) {
    if (!reading->lines.IsEnded()) break;
    iConfig_Parse(*iSynchro_Syntaxes().table, reading->lines.Text(), reading->lines.Length(),
                  &reading->parsed);
    ReplayLine(reading->parsed, entries);
  }
  return reading->lines.Status();
}

}  // namespace

ErrorCode iSynchro_OpenJournal(const char* tablePath, File** journal) {
  char path[kFileNameSize];
  *journal = nullptr;
  const ErrorCode status = PathOf(tablePath, path);
  return status == Error_None ? File_Open(path, FileMode_Append, journal) : status;
}

ErrorCode iSynchro_AppendJournal(File* journal, const SynchroEntry& entry) {
  char line[kSynchroEntryLine + 1];
  int32_t length = iSynchro_FormatEntry(entry, line);
  line[length++] = '\n';
  const auto count = static_cast<uint32_t>(length);
  return File_Write(journal, count, line) == count ? Error_None : Error_Exceed;
}

ErrorCode iSynchro_ReplayJournal(const char* tablePath, SynchroEntries* entries, bool* isFound) {
  *isFound = false;
  char path[kFileNameSize];
  ErrorCode status = PathOf(tablePath, path);
  if (status != Error_None || File_Exists(path, nullptr) == 0) return status;
  *isFound = true;
  Owned<File, File_Close> file;
  status = File_Open(path, FileMode_Read, file.out());
  if (status != Error_None) return status;
  Owned<Reading, Memory_Delete> reading(static_cast<Reading*>(Memory_New(sizeof(Reading))));
  if (!reading) return Error_Memory;
  new (reading.get()) Reading(file.get());
  return ReplayLines(reading.get(), entries);
}

void iSynchro_DropJournal(const char* tablePath) {
  char path[kFileNameSize];
  if (PathOf(tablePath, path) == Error_None && File_Exists(path, nullptr) != 0) File_Unlink(path);
}
