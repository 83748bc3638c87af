// One directory of a walk: what both listings say is entered into its table.
//
//   for each side, the source first:
//     nothing is present on it any more; what its lines show is again
//   then:
//     entries on neither side go; those on one side get the state that the flags give them
#include <new>

#include "config/config_parse.h"
#include "os/core/owned.h"
#include "os/platform/filesystem.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "synchro/synchro_internal.h"
#include "synchro/synchro_lines_internal.h"
#include "synchro/synchro_upload_internal.h"

namespace {

constexpr const char* kEndNames[kSynchroEnds] = {"Source", "Dest"};
constexpr uint32_t kNewHere[kSynchroEnds] = {SynchroEntryFlag_New | SynchroEntryFlag_AtSource,
                                             SynchroEntryFlag_New};

// A listing while it is entered.
struct Update {
  Update(Synchro* ofSynchro, SynchroFrame* ofFrame, SynchroEnd ofEnd, File* file)
      : synchro(ofSynchro), frame(ofFrame), end(ofEnd), lines(file) {}
  Synchro* synchro;
  SynchroFrame* frame;
  SynchroEnd end;
  SynchroLines lines;
  ConfigParsed parsed;
};

// ---- one line ----------------------------------------------------------------------------------

void ReportBackInTime(const Update& update, const char* name, const Time& before, const Time& now) {
  char tableTime[64];
  char diskTime[64];
  Time_ToString(&before, tableTime);
  Time_ToString(&now, diskTime);
  iSynchro_Report(update.synchro, "%s file \"%s\": table time \"%s\" > disk time \"%s\"",
                  kEndNames[update.end], name, tableTime, diskTime);
}

ErrorCode AddEntry(Update* update, const SynchroListed& listed, uint32_t flags) {
  SynchroEntry* const entry = update->frame->entries.Add(listed.name);
  if (entry == nullptr) return Error_Memory;
  entry->flags = kNewHere[update->end] | flags;
  entry->sides[update->end] = listed.side;
  return Error_None;
}

// Whether the line only completes what this run has found out: nothing was known of the entry before. The
// source may have two lines of one name, for the last word of "my file.txt" is that of "file.txt".
bool IsFirstSight(const SynchroEntry& entry) {
  if (!entry.Has(SynchroEntryFlag_New)) return false;
  return entry.Has(SynchroEntryFlag_Unclear) || entry.Has(SynchroEntryFlag_AtSource);
}

void TakeKnown(Update* update, const SynchroListed& listed, SynchroEntry* entry) {
  const Time before = entry->sides[update->end].time;
  const SynchroTaken taken = iSynchro_TakeListed(update->synchro->masks, update->end, listed.side, entry);
  if (taken == SynchroTaken::BackInTime) ReportBackInTime(*update, entry->name, before, listed.side.time);
  if (taken != SynchroTaken::Values) update->frame->isChanged = true;
}

ErrorCode TakeListed(Update* update, const SynchroListed& listed) {
  SynchroEntry* const entry = update->frame->entries.Find(listed.name);
  if (entry == nullptr) {
    update->frame->isChanged = true;
    return AddEntry(update, listed, SynchroEntryFlag_Listed);
  }
  entry->flags |= SynchroEntryFlag_Listed;
  if (IsFirstSight(*entry)) {
    entry->sides[update->end] = listed.side;
  } else if (entry->Has(SynchroEntryFlag_Unclear)) {
    entry->sides[update->end].present = 1;  // what changed is seen when the other side is clear again
  } else {
    TakeKnown(update, listed, entry);
  }
  return Error_None;
}

// The file is there, and that is all that is known of it. Without an entry the name is kept for this run, so
// that the other side's line does not pass for that of a file which is there alone.
ErrorCode TakeUnclear(Update* update, const SynchroListed& listed) {
  SynchroEntry* const entry = update->frame->entries.Find(listed.name);
  if (entry == nullptr) {
    SynchroListed name = {listed.name, {1, 0, 0, {}}};
    return AddEntry(update, name, SynchroEntryFlag_Unclear);
  }
  entry->flags |= SynchroEntryFlag_Unclear;
  entry->sides[update->end].present = 1;
  return Error_None;
}

// What a run before this one has begun to put there.
void Judge(Update* update, const SynchroListed& listed) {
  SynchroFrame* const frame = update->frame;
  SynchroEntry* const entry = frame->entries.Find(listed.name);
  if (entry != nullptr) iSynchro_JudgeListed(update->end, listed.side, &frame->intents, entry);
}

ErrorCode TakeLine(Update* update) {
  SynchroListed listed;
  iConfig_Parse(*iSynchro_Syntaxes().listing, update->lines.Text(), update->lines.Length(), &update->parsed);
  if (update->parsed.kind != ConfigLineKind::Line) return Error_None;
  const SynchroListing kind =
      iSynchro_ParseListing(update->parsed.content.fields, platform::UsesDriveLetters(), &listed);
  if (kind == SynchroListing::Skipped) return Error_None;
  char ownName[kFileNameSize];
  if (iSynchro_IsLeftoverEntry(*update->synchro, *update->frame, update->end, listed.name, ownName))
    return Error_None;
  if (kind == SynchroListing::Taken) Judge(update, listed);
  return kind == SynchroListing::Taken ? TakeListed(update, listed) : TakeUnclear(update, listed);
}

// ---- a listing ---------------------------------------------------------------------------------

ErrorCode TakeLines(Update* update) {
  ErrorCode status = Error_None;
  while (status == Error_None && update->lines.Next()) {
    status = iSynchro_IsStopped(update->synchro) ? ErrorCode{Error_Cancel} : TakeLine(update);
  }
  return status == Error_None ? update->lines.Status() : status;
}

ErrorCode TakeListing(Synchro* synchro, SynchroFrame* frame, SynchroEnd end, const char* listFile) {
  iSynchro_ClearPresence(frame, end);
  if (listFile == nullptr) return Error_None;
  Owned<File, File_Close> file;
  const ErrorCode status = File_Open(listFile, FileMode_Read, file.out());
  if (status != Error_None) return status;
  Owned<Update, Memory_Delete> update(static_cast<Update*>(Memory_New(sizeof(Update))));
  if (!update) return Error_Memory;
  new (update.get()) Update(synchro, frame, end, file.get());
  return TakeLines(update.get());
}

// ---- both sides --------------------------------------------------------------------------------

struct Settling {
  const SynchroMasks* masks;
  SynchroFrame* frame;
};

void SettleState(const SynchroMasks& masks, SynchroFrame* frame, SynchroEntry* entry) {
  if (entry->Has(SynchroEntryFlag_Unclear)) return;
  const uint32_t state = iSynchro_Settle(masks, entry->state, entry->IsAt(SynchroEnd_Source),
                                         entry->IsAt(SynchroEnd_Destination));
  if (state == entry->state) return;
  entry->state = state;
  frame->isChanged = true;
}

// True for an entry that goes.
bool Settle(void* context, SynchroEntry* entry) {
  const auto* const settling = static_cast<Settling*>(context);
  // Only unclear lines showed it: nothing is known of it.
  if (entry->Has(SynchroEntryFlag_New) && !entry->Has(SynchroEntryFlag_Listed)) return true;
  const bool isGone = !entry->IsAt(SynchroEnd_Source) && !entry->IsAt(SynchroEnd_Destination);
  if (isGone || !iSynchro_IsUsableName(entry->name, platform::UsesDriveLetters())) {
    settling->frame->isChanged = true;
    return true;
  }
  SettleState(*settling->masks, settling->frame, entry);
  return false;
}

// ---- saving ------------------------------------------------------------------------------------

ErrorCode Save(Synchro* synchro, SynchroFrame* frame) {
  ErrorCode status = Error_None;
  if (frame->tablePath[0] == '\0')
    status = iSynchro_AddTable(&synchro->index, frame->directory, frame->tablePath);
  const SynchroLineMethod takeLine = synchro->isGuarded ? iSynchro_TakeLine : iSynchro_IsRemembered;
  if (status == Error_None) status = iSynchro_WriteTable(frame->tablePath, frame->entries, takeLine);
  if (status != Error_None) return status;
  frame->isChanged = false;
  frame->hasJournal = false;
  iSynchro_CloseJournal(&frame->journal);
  return iSynchro_RenewJournal(frame->tablePath, &frame->intents);
}

// Keeps what the table had of each entry beside what the listings will say.
void KeepValues(SynchroEntries* entries) {
  for (uint32_t i = 0; i < entries->Count(); ++i) {
    SynchroEntry& entry = entries->At(i);
    for (uint32_t end = 0; end < kSynchroEnds; ++end) entry.before[end] = entry.sides[end];
  }
}

ErrorCode ReadFrame(Synchro* synchro, SynchroFrame* frame) {
  ErrorCode status = iSynchro_FindTable(synchro->index, frame->directory, frame->tablePath);
  if (status == Error_NotFound) return Error_None;
  if (status == Error_None && synchro->isGuarded)
    status = iSynchro_CheckTable(frame->tablePath, &frame->isBad);
  if (status != Error_None || frame->isBad) return status;
  status = iSynchro_ReadTable(frame->tablePath, &frame->entries, &frame->isBad);
  if (status != Error_None || frame->isBad) return status;
  return iSynchro_ReplayJournal(frame->tablePath, &frame->entries, &frame->intents, &frame->hasJournal);
}

// The entry as it is to be.
SynchroEntry AfterIntent(const SynchroEntry& entry, const SynchroIntent& intent) {
  SynchroEntry after = entry;
  after.state = 0;
  after.sides[intent.at] = intent.expected;
  return after;
}

}  // namespace

ErrorCode iSynchro_OpenFrame(Synchro* synchro, SynchroFrame* frame) {
  if (frame->isOpened) return Error_None;
  frame->isOpened = true;
  const ErrorCode status = ReadFrame(synchro, frame);
  KeepValues(&frame->entries);
  return status;
}

// Where there are drives a local side takes two names that differ only in case for one.
bool iSynchro_IgnoresCase(const Synchro& synchro) {
  if (!platform::UsesDriveLetters()) return false;
  for (const SynchroConnection& side : synchro.sides) {
    if (URL_GetProtocolType(side.url.protocol) == URLProtocol_File) return true;
  }
  return false;
}

void iSynchro_ReportListing(Synchro* synchro, const SynchroFrame& frame, SynchroEnd end) {
  constexpr const char* kNames[kSynchroEnds] = {"source", "destination"};
  char shown[kFileNameSize];
  iSynchro_ShowFolder(synchro->sides[end], frame.directory, shown);
  iSynchro_Report(synchro, "Retrieving %s listing %s...", kNames[end], shown);
}

void iSynchro_ClearPresence(SynchroFrame* frame, SynchroEnd end) {
  for (uint32_t i = 0; i < frame->entries.Count(); ++i) frame->entries.At(i).sides[end].present = 0;
}

bool iSynchro_IsLeftoverEntry(const Synchro& synchro, const SynchroFrame& frame, SynchroEnd end,
                              const char* name, char* ownName) {
  const SynchroConnection& side = synchro.sides[end];
  ownName[0] = '\0';
  if (synchro.temporary.leftovers == nullptr) return false;
  char path[kFileNameSize];
  char serverName[kFileNameSize];
  if (iSynchro_EntryPath(side, frame.directory, name, path) != Error_None) return false;
  if (URL_GetProtocolType(side.url.protocol) == URLProtocol_File)
    return iSynchro_IsLeftover(synchro.temporary, path, ownName);
  return iSynchro_ServerName(side, path, serverName) == Error_None &&
         iSynchro_IsLeftover(synchro.temporary, serverName, ownName);
}

ErrorCode iSynchro_UpdateFrame(Synchro* synchro, SynchroFrame* frame,
                               const char* const (&lists)[kSynchroEnds]) {
  if (frame->isBad) return Error_Invalid;
  ErrorCode status = Error_None;
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination}) {
    if (status == Error_None) status = TakeListing(synchro, frame, end, lists[end]);
  }
  if (status != Error_None) {
    frame->isChanged = false;  // half of a listing must not be remembered
    return status;
  }
  iSynchro_JudgeUnlisted(&frame->intents, &frame->entries);
  if (iSynchro_IgnoresCase(*synchro)) status = iSynchro_MarkLookAlikes(&frame->entries);
  if (status != Error_None) return status;
  Settling settling = {&synchro->masks, frame};
  frame->entries.RemoveIf(Settle, &settling);
  if (frame->hasJournal) frame->isChanged = true;
  return Error_None;
}

void iSynchro_SaveFrame(Synchro* synchro, SynchroFrame* frame) {
  if (!frame->isChanged || synchro->isPlanOnly) return;
  const ErrorCode status = Save(synchro, frame);
  if (status == Error_None) return;
  frame->isChanged = false;  // told once
  iSynchro_Report(synchro, "* Update failed: %s", Error_ToString(status));
  synchro->failure = status;
}

ErrorCode iSynchro_NoteIntent(SynchroFrame* frame, const SynchroEntry& entry, const SynchroIntent& intent) {
  const SynchroEntry after = AfterIntent(entry, intent);
  const ErrorCode status = iSynchro_OpenJournal(frame->tablePath, &frame->journal);
  return status == Error_None ? iSynchro_AppendJournal(&frame->journal, after, &intent) : status;
}

void iSynchro_KeepIntent(Synchro* synchro, SynchroFrame* frame, const SynchroEntry& entry,
                         const SynchroIntent& intent) {
  const SynchroEntry after = AfterIntent(entry, intent);
  const ErrorCode status = frame->intents.Keep(after, &entry, intent);
  if (status != Error_None) iSynchro_Report(synchro, "* Update failed: %s", Error_ToString(status));
}

void iSynchro_NoteDone(Synchro* synchro, SynchroFrame* frame, const SynchroEntry& entry) {
  frame->isChanged = true;
  frame->intents.Close(entry.name);
  ErrorCode status = iSynchro_OpenJournal(frame->tablePath, &frame->journal);
  if (status == Error_None) status = iSynchro_AppendJournal(&frame->journal, entry, nullptr);
  if (status != Error_None) iSynchro_Report(synchro, "* Update failed: %s", Error_ToString(status));
}

void iSynchro_CloseFrame(Synchro* synchro, SynchroFrame* frame) {
  iSynchro_FlushCopies(synchro, frame);
  iSynchro_SaveFrame(synchro, frame);
  iSynchro_CloseJournal(&frame->journal);
  frame->~SynchroFrame();
}
