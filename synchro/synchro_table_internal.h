// What a synchroniser remembers, in the cache directory or in one that its maker names:
//
//   NAME.sync             the index:   directory:table             "/" for the root
//   syncentryNUMBER       a table:     name:state:present:directory:size:time:present:directory:size:time
//   syncentryNUMBER.done  its journal: lines of the same form, one for each action since the table was saved;
//                         with ":side:in place" behind it, what an action is about to do
#pragma once

#include "os/file/file_internal.h"
#include "qz/config.h"
#include "synchro/synchro_entries_internal.h"
#include "synchro/synchro_intent_internal.h"

// ---- syntaxes ----------------------------------------------------------------------------------

struct SynchroSyntaxes {
  ConfigSpec* listing;
  ConfigSpec* table;
  ConfigSpec* journal;
  ConfigSpec* index;
};

// The syntaxes are made for the first synchroniser and deleted with the last one: each holds them from its
// making on. Error_None or Error_Memory.
ErrorCode iSynchro_HoldSyntaxes();
void iSynchro_ReleaseSyntaxes();
// While they are held.
const SynchroSyntaxes& iSynchro_Syntaxes();

// A document of one of them. The synchronisers' threads share the syntaxes, and so the count of references.
class SynchroDocument {
 public:
  SynchroDocument() = default;
  ~SynchroDocument() { Close(); }
  SynchroDocument(const SynchroDocument&) = delete;
  SynchroDocument& operator=(const SynchroDocument&) = delete;

  // Error_None or Error_Memory.
  ErrorCode Open(ConfigSpec* syntax);
  void Close();
  Config* get() const { return document_; }

 private:
  Config* document_ = nullptr;
};

// ---- the index ---------------------------------------------------------------------------------

struct SynchroIndex {
  SynchroDocument document;
  char path[kFileNameSize];
};

// The path of a file beside the tables (path: kFileNameSize bytes; empty after a failure). directory: where
// these are; null: the cache directory.
ErrorCode iSynchro_FindBeside(const char* directory, const char* name, char* path);

// Reads the index of a synchroniser; a missing file is an empty index. directory: as above.
ErrorCode iSynchro_OpenIndex(const char* directory, const char* name, SynchroIndex* index);

// The file of a directory's table (path: kFileNameSize bytes; empty after a failure). directory: relative to
// the roots, empty for them. Error_None; Error_NotFound; Error_Invalid when the index names what can be no
// table.
ErrorCode iSynchro_FindTable(const SynchroIndex& index, const char* directory, char* path);

// The same for a directory that has none: chooses a file and writes the index.
ErrorCode iSynchro_AddTable(SynchroIndex* index, const char* directory, char* path);

// ---- tables ------------------------------------------------------------------------------------

// The ten fields of a line to an entry, whose name stays within the fields. Error_None or Error_Invalid.
ErrorCode iSynchro_ParseEntry(char* const* fields, SynchroEntry* entry);

// The line of an entry, without a line end; the length. buffer: kSynchroEntryLine bytes.
inline constexpr size_t kSynchroEntryLine = kFileNameSize + 160;
// Room for the rest of an intent, line ends and terminator.
inline constexpr size_t kSynchroJournalLine = kSynchroEntryLine + 40;
int32_t iSynchro_FormatEntry(const SynchroEntry& entry, char* buffer);

// Adds the entries of a table. A missing file is an empty table. *isBad: a line is none of a table's; the
// entries up to it were added.
ErrorCode iSynchro_ReadTable(const char* path, SynchroEntries* entries, bool* isBad);
// Whether a line has not the fields of a table's: the reader takes it for none, and the writer would lose it.
ErrorCode iSynchro_CheckTable(const char* path, bool* isBad);

// Writes the lines of the entries.
// takeLine: gives a copy of an entry the values that its line is to have; false for an entry without a line.
using SynchroLineMethod = bool (*)(SynchroEntry* entry);
ErrorCode iSynchro_WriteTable(const char* path, const SynchroEntries& entries, SynchroLineMethod takeLine);

// Whether an entry is remembered: one that this run has made of an unclear line is not.
inline bool iSynchro_IsRemembered(SynchroEntry* entry) {
  return !entry->Has(SynchroEntryFlag_New) || !entry->Has(SynchroEntryFlag_Unclear);
}

// ---- journals ----------------------------------------------------------------------------------

struct SynchroJournal {
  File* file = nullptr;  // owned; null: nothing was noted yet
  bool isCut = false;    // what stands in it may end within a line
};

// Opens the journal of a table to add to it. Nothing when it is open.
ErrorCode iSynchro_OpenJournal(const char* tablePath, SynchroJournal* journal);
void iSynchro_CloseJournal(SynchroJournal* journal);
// Adds the line of an entry as it is now, which outlives the program from then on. intent: what is about to
// be done, and the entry is that after it; null: it was done.
ErrorCode iSynchro_AppendJournal(SynchroJournal* journal, const SynchroEntry& entry,
                                 const SynchroIntent* intent);
// Gives the entries what the journal has of them, as if all that was begun were done; an entry that only the
// journal knows is added. intents: receives those that are open. *isFound when there is a journal: the table
// is then to be saved. A line that was not written to its end is passed over.
ErrorCode iSynchro_ReplayJournal(const char* tablePath, SynchroEntries* entries, SynchroIntents* intents,
                                 bool* isFound);
// The table has been saved: only the open intents stay, and without any the journal is removed.
ErrorCode iSynchro_RenewJournal(const char* tablePath, SynchroIntents* intents);
