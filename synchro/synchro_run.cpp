// The walk: directories on a stack, the children of an entry before the entries behind it.
//
//   push the root
//   until the stack is empty:
//     open both sides                     those that are not
//     prepare the top: list both sides, update its table
//     act on its entries up to a directory, which is pushed, or to the last one: then it is popped
#include <cstring>
#include <new>

#include "os/core/owned.h"
#include "qz/error.h"
#include "qz/os.h"
#include "synchro/synchro_internal.h"
#include "synchro/synchro_kind_internal.h"
#include "synchro/synchro_testing.h"
#include "synchro/synchro_upload_internal.h"

namespace {

constexpr uint32_t kDeepest = 128;
// Where every folder shows two more, there are more of them than a run comes through.
constexpr uint32_t kMostDirectories = 1000000;
constexpr float kMemoryRetrySeconds = 0.05f;

std::atomic<uint32_t> mostDirectories{kMostDirectories};

constexpr SynchroCounter kCopied[kSynchroEnds] = {SynchroCounter_CopiedToSource,
                                                  SynchroCounter_CopiedToDestination};
constexpr SynchroCounter kDeleted[kSynchroEnds] = {SynchroCounter_DeletedAtSource,
                                                   SynchroCounter_DeletedAtDestination};

SynchroFrame* TopOf(Synchro* synchro) {
  return static_cast<SynchroFrame*>(synchro->frames->top);
}

// ---- the stack of frames -----------------------------------------------------------------------

// Waits for memory as long as nobody asks to stop; null then.
void* PushSlot(Synchro* synchro) {
  void* slot = Stack_Push(synchro->frames);
  if (slot != nullptr) return slot;
  iSynchro_SetState(synchro, SynchroState_Failed, Error_Memory);
  while (slot == nullptr && !iSynchro_IsStopped(synchro)) {
    OS_Delay(kMemoryRetrySeconds);
    slot = Stack_Push(synchro->frames);
  }
  iSynchro_SetState(synchro, SynchroState_Running, Error_None);
  return slot;
}

SynchroFrame* PushFrame(Synchro* synchro, const char* directory) {
  void* const slot = PushSlot(synchro);
  if (slot == nullptr) return nullptr;
  auto* const frame = new (slot) SynchroFrame;
  iFile_CopyName(directory, frame->directory);
  frame->tablePath[0] = '\0';
  ++synchro->depth;
  ++synchro->entered;
  iSynchro_Report(synchro, "Pushed \"%s\"", directory);
  return frame;
}

// A directory that was made is known from now on: a root with nothing but directories can be lost as well.
void TakeMade(const bool (&isMade)[kSynchroEnds], SynchroFrame* parent) {
  SynchroEntry* const entry = &parent->entries.At(parent->cursor - 1);
  for (uint32_t end = 0; end < kSynchroEnds; ++end) {
    if (!isMade[end]) continue;
    entry->sides[end].present = entry->sides[end].directory = 1;
    parent->isChanged = true;
  }
}

void PopFrame(Synchro* synchro) {
  const bool isMade[] = {TopOf(synchro)->isMade[0], TopOf(synchro)->isMade[1]};
  iSynchro_CloseFrame(synchro, TopOf(synchro));
  Stack_Pop(synchro->frames);
  --synchro->depth;
  if (synchro->frames->top != nullptr) TakeMade(isMade, TopOf(synchro));
}

// Whether a side's directory is one of those that it is in.
bool LeadsBack(const SynchroFrame& parent, const SynchroIdentity& identity, SynchroEnd end) {
  for (const SynchroFrame* frame = &parent; frame != nullptr; frame = frame->parent) {
    if (identity.IsSame(frame->identities[end])) return true;
  }
  return false;
}

// Why a directory is left out; null when it is not.
const char* Refusal(const Synchro& synchro, const SynchroFrame& parent, const char* directory,
                    SynchroIdentity (&identities)[kSynchroEnds]) {
  if (synchro.depth >= kDeepest) return "is too deep";
  if (synchro.entered >= mostDirectories.load()) return "is one too many";
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination}) {
    identities[end] = iSynchro_Identify(synchro.sides[end], directory);
    if (LeadsBack(parent, identities[end], end)) return "leads back into itself";
  }
  return nullptr;
}

// False when the directory is left out.
bool EnterDirectory(Synchro* synchro, const SynchroFrame& parent, const SynchroEntry& entry) {
  char directory[kFileNameSize];
  SynchroIdentity identities[kSynchroEnds];
  if (iFile_Join(parent.directory, entry.name, directory) != Error_None) {
    Error("Synchro: the path is too long: \"%s\" in \"%s\"", entry.name, parent.directory);
    return false;
  }
  const char* const refusal = Refusal(*synchro, parent, directory, identities);
  if (refusal != nullptr) {
    Error("Synchro: \"%s\" of \"%s\" %s", entry.name, parent.directory, refusal);
    return false;
  }
  SynchroFrame* const frame = PushFrame(synchro, directory);
  if (frame == nullptr) return true;
  frame->parent = &parent;
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination}) {
    frame->isShown[end] = entry.IsAt(end);
    frame->wasKnown[end] = entry.before[end].present != 0;
    frame->identities[end] = identities[end];
  }
  return true;
}

// ---- listing both sides ------------------------------------------------------------------------

// The root is there when the table knows anything there.
bool IsShown(const SynchroFrame& frame, SynchroEnd end) {
  if (frame.directory[0] != '\0') return frame.isShown[end];
  for (uint32_t i = 0; i < frame.entries.Count(); ++i) {
    if (frame.entries.At(i).IsAt(end)) return true;
  }
  return false;
}

// *list: the listing, or null when there is nothing to list.
ErrorCode ListSide(Synchro* synchro, const SynchroFrame& frame, SynchroEnd end, SynchroListFile* file,
                   const char** list) {
  SynchroConnection* const side = &synchro->sides[end];
  const bool mayCreate = !synchro->isPlanOnly && (synchro->flags & kSynchroCopyTo[end]) != 0;
  bool isEmpty = false;
  iSynchro_ReportListing(synchro, frame, end);
  ErrorCode status = file->Choose(synchro->isPlanOnly ? SysDir_Temp : SysDir_Cache);
  if (status == Error_None)
    status =
        iSynchro_ListFolder(side, frame.directory, mayCreate, IsShown(frame, end), file->Path(), &isEmpty);
  *list = isEmpty ? nullptr : file->Path();
  if (status == Error_None) return Error_None;
  if (iSynchro_IsConnectionLost(status)) iSynchro_CloseSide(side);
  iSynchro_Report(synchro, "* Retrieval failed: %s", Error_ToString(status));
  return status;
}

// ---- preparing a frame -------------------------------------------------------------------------

ErrorCode UpdateTable(Synchro* synchro, SynchroFrame* frame, const char* const (&lists)[kSynchroEnds]) {
  iSynchro_Report(synchro, "Updating tables...");
  const ErrorCode status = iSynchro_UpdateFrame(synchro, frame, lists);
  if (status != Error_None) {
    iSynchro_Report(synchro, "* Update failed: %s", Error_ToString(status));
    return status;
  }
  // Now, so that what is done from here on can be noted beside it.
  iSynchro_SaveFrame(synchro, frame);
  return synchro->failure;
}

ErrorCode PrepareFrame(Synchro* synchro, SynchroFrame* frame) {
  if (frame->isProcessed) return Error_None;
  ErrorCode status = iSynchro_OpenFrame(synchro, frame);
  if (status != Error_None) {
    Error("Synchro: the table of \"%s\" cannot be read: %s", frame->directory, Error_ToString(status));
    return status;
  }
  iSynchro_Report(synchro, "Synchronizing...");
  if (synchro->isGuarded) return iSynchro_PrepareGuarded(synchro, frame);
  SynchroListFile files[kSynchroEnds];
  const char* lists[kSynchroEnds] = {};
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination}) {
    if (iSynchro_IsStopped(synchro)) return Error_None;
    status = ListSide(synchro, *frame, end, &files[end], &lists[end]);
    if (status != Error_None) return status;
  }
  if (iSynchro_IsStopped(synchro)) return Error_None;
  status = UpdateTable(synchro, frame, lists);
  frame->cursor = 0;
  frame->isProcessed = status == Error_None;
  return status;
}

// ---- acting on entries -------------------------------------------------------------------------

// Where an entry is on a side.
ErrorCode FindPath(const Synchro& synchro, const SynchroFrame& frame, SynchroEnd end,
                   const SynchroEntry& entry, char* path) {
  const ErrorCode status = iSynchro_EntryPath(synchro.sides[end], frame.directory, entry.name, path);
  if (status == Error_Exceed) Error("Synchro: the path of \"%s\" is too long", entry.name);
  return status;
}

// What is noted of a copy before it touches its target.
struct Noting {
  Synchro* synchro;
  SynchroFrame* frame;
  const SynchroEntry* entry;
  SynchroIntent intent;
  bool isNoted;
};

// Of an upload only the size is known beforehand. Where another file has that size nothing is noted: behind
// a kill it would pass for the upload.
bool IsTelling(const SynchroEntry& entry, const SynchroIntent& intent) {
  const SynchroSide& now = entry.sides[intent.at];
  const SynchroSide& before = entry.before[intent.at];
  const bool isSameSize = now.present != 0 && now.size == intent.expected.size;
  if (!isSameSize || Time_Compare(&intent.expected.time, &kSynchroUnknownTime) != 0) return true;
  return before.present != 0 && before.size == now.size && Time_Compare(&before.time, &now.time) == 0;
}

// The new file is complete: what has come to its place while it was copied stays.
ErrorCode NoteIntent(void* context, const SynchroSide& expected, bool isInPlace) {
  auto* const noting = static_cast<Noting*>(context);
  if (noting->synchro->isGuarded) {
    const ErrorCode confirmed =
        iSynchro_ConfirmTarget(noting->synchro, *noting->frame, *noting->entry, noting->intent.at);
    if (confirmed != Error_None) return confirmed;
  }
  noting->intent.expected = expected;
  noting->intent.isInPlace = isInPlace;
  if (noting->synchro->isGuarded && !IsTelling(*noting->entry, noting->intent)) return Error_None;
  const ErrorCode status = iSynchro_NoteIntent(noting->frame, *noting->entry, noting->intent);
  noting->isNoted = status == Error_None;
  return status;
}

// What was noted goes when the table is saved.
void TakeIntentBack(void* context) {
  auto* const noting = static_cast<Noting*>(context);
  noting->isNoted = false;
  noting->frame->isChanged = true;
}

ErrorCode CopyPaths(Synchro* synchro, const SynchroFrame& frame, SynchroEnd from, const SynchroEntry& entry,
                    const SynchroCopyNote& note, SynchroSide* made) {
  SynchroConnection* const source = &synchro->sides[from];
  SynchroConnection* const target = &synchro->sides[iSynchro_Other(from)];
  char sourcePath[kFileNameSize];
  char targetPath[kFileNameSize];
  ErrorCode status = FindPath(*synchro, frame, from, entry, sourcePath);
  if (status == Error_None) status = FindPath(*synchro, frame, iSynchro_Other(from), entry, targetPath);
  if (status != Error_None) return status;
  SynchroCopy copy = {source, target, sourcePath, targetPath, &synchro->temporary, synchro->isGuarded, &note};
  if (!synchro->isGuarded) return iSynchro_CopyFile(copy, made);
  copy.replaces = entry.IsAt(iSynchro_Other(from));
  // A size of all ones may be a larger one.
  if (entry.sides[from].size != UINT32_MAX) copy.length = entry.sides[from].size;
  copy.mayFlushLater = iSynchro_MayFlushLater(*synchro, entry, iSynchro_Other(from));
  status = iSynchro_CopyFile(copy, made);
  iSynchro_CloseLost(source, status);
  return iSynchro_CloseLost(target, status);
}

ErrorCode CopyEntry(Synchro* synchro, SynchroFrame* frame, SynchroEnd from, const SynchroEntry& entry,
                    SynchroSide* made) {
  Noting noting = {synchro, frame, &entry, {iSynchro_Other(from), {}, false}, false};
  const ErrorCode status =
      CopyPaths(synchro, *frame, from, entry, {NoteIntent, &noting, TakeIntentBack}, made);
  if (status != Error_None && noting.isNoted) iSynchro_KeepIntent(synchro, frame, entry, noting.intent);
  return status;
}

ErrorCode DeleteEntry(Synchro* synchro, const SynchroFrame& frame, SynchroEnd at, const SynchroEntry& entry) {
  char path[kFileNameSize];
  const ErrorCode status = FindPath(*synchro, frame, at, entry, path);
  return status == Error_None ? iSynchro_DeleteFile(&synchro->sides[at], path) : status;
}

// Opens both sides, those that are not. What is done once the server is there is to remove what an earlier
// run could not.
ErrorCode OpenSides(Synchro* synchro) {
  ErrorCode status = Error_None;
  for (SynchroConnection& side : synchro->sides) {
    if (status == Error_None) status = iSynchro_OpenSide(&side);
    if (status == Error_None && synchro->isGuarded && !synchro->isPlanOnly)
      iSynchro_CleanServer(&side, &synchro->temporary);
  }
  return status;
}

// A connection that has gone meanwhile is made again. Without it the run is over.
ErrorCode Reach(Synchro* synchro) {
  const ErrorCode status = OpenSides(synchro);
  if (status != Error_None && !iSynchro_IsStopped(synchro)) synchro->failure = status;
  return status;
}

// What is not known yet stays begun until its folder was listed again; what is not on the disk yet, until it
// is.
void Note(Synchro* synchro, SynchroFrame* frame, SynchroEnd at, bool isFlushedLater, SynchroEntry* entry) {
  if (isFlushedLater) {
    iSynchro_FlushLater(frame, at, entry);
    if (frame->unflushed[at] >= kSynchroMostUnflushed) iSynchro_FlushCopies(synchro, frame);
  } else if (entry->Has(SynchroEntryFlag_Uploaded)) {
    iSynchro_KeepIntent(synchro, frame, *entry, {at, entry->sides[at], false});
  } else {
    iSynchro_NoteDone(synchro, frame, *entry);
  }
}

// Copies or deletes, and remembers it.
ErrorCode Perform(Synchro* synchro, SynchroFrame* frame, const SynchroAction& action, SynchroEntry* entry) {
  const SynchroEnd at = iSynchro_Other(action.from);
  const bool copies = action.step == SynchroStep::Copy;
  const bool isFlushedLater = copies && iSynchro_MayFlushLater(*synchro, *entry, at);
  SynchroSide made = {};
  ErrorCode status = iSynchro_Foresee(action, *entry);
  if (status == Error_None && synchro->isGuarded) status = Reach(synchro);
  if (status == Error_None && synchro->isGuarded) status = iSynchro_Confirm(synchro, *frame, *entry, at);
  if (status != Error_None) return status;
  status = copies ? CopyEntry(synchro, frame, action.from, *entry, &made)
                  : DeleteEntry(synchro, *frame, at, *entry);
  if (status != Error_None) return status;
  ++synchro->counters[copies ? kCopied[at] : kDeleted[at]];
  if (copies) {
    iSynchro_TakeCopied(frame, at, made, entry);
  } else {
    iSynchro_TakeDone(nullptr, at, entry);
    entry->flags |= SynchroEntryFlag_Settled;
  }
  Note(synchro, frame, at, isFlushedLater, entry);
  return Error_None;
}

// A plan counts what it would do.
ErrorCode Plan(Synchro* synchro, const SynchroAction& action, const SynchroEntry& entry) {
  const ErrorCode status = iSynchro_Foresee(action, entry);
  const SynchroEnd at = iSynchro_Other(action.from);
  if (status == Error_None)
    ++synchro->counters[action.step == SynchroStep::Copy ? kCopied[at] : kDeleted[at]];
  return status;
}

ErrorCode ActOnFile(Synchro* synchro, SynchroFrame* frame, const SynchroAction& action, SynchroEntry* entry) {
  if (entry->Has(SynchroEntryFlag_Unclear) || entry->Has(SynchroEntryFlag_Ambiguous)) return Error_Invalid;
  if (action.step == SynchroStep::Leave) return Error_None;
  return synchro->isPlanOnly ? Plan(synchro, action, *entry) : Perform(synchro, frame, action, entry);
}

SynchroValues Show(const SynchroSide& side) {
  return {static_cast<int32_t>(side.present), static_cast<int32_t>(side.directory), side.size, side.time};
}

SynchroEntryInfo InfoOf(const SynchroFrame& frame, const SynchroEntry& entry, const SynchroVerdict& verdict) {
  SynchroEntryInfo info = {};
  info.directory = frame.directory;
  info.name = entry.name;
  info.decision = iSynchro_DecisionOf(verdict.action);
  info.reason = verdict.reason;
  info.isKnown = entry.Has(SynchroEntryFlag_New) ? 0 : 1;
  for (uint32_t end = 0; end < kSynchroEnds; ++end) {
    info.now[end] = Show(entry.sides[end]);
    info.before[end] = Show(entry.before[end]);
  }
  return info;
}

// What is to be done, or what the caller wants instead.
SynchroVerdict Ask(const Synchro& synchro, const SynchroFrame& frame, const SynchroEntry& entry,
                   const SynchroVerdict& verdict) {
  const int32_t answer = iSynchro_Ask(synchro, frame, entry, verdict);
  if (answer == SynchroAnswer_Proceed) return verdict;
  if (synchro.isGuarded) return iSynchro_SettleConflict(synchro.flags, answer, entry, verdict);
  return {iSynchro_LeaveInstead(verdict.action), SynchroReason_Kept};
}

void TellResult(const Synchro& synchro, const SynchroEntryInfo& info, ErrorCode status) {
  if (synchro.resultMethod != nullptr) synchro.resultMethod(synchro.resultValue, &info, status);
}

// A directory that could not be listed.
void TellLeftOut(const Synchro& synchro, const SynchroFrame& frame, ErrorCode status) {
  SynchroEntryInfo info = {};
  info.directory = frame.directory;
  info.name = "";
  info.decision = SynchroDecision_Enter;
  info.reason = SynchroReason_Directory;
  TellResult(synchro, info, status);
}

// Both files are read only when the caller wants the entry at all.
SynchroVerdict DecideGuarded(Synchro* synchro, const SynchroFrame& frame, const SynchroEntry& entry) {
  const bool isCompared = iSynchro_MustCompare(entry);
  if (isCompared) {
    SynchroVerdict left = {{'=', SynchroStep::Leave, SynchroEnd_Source}, SynchroReason_Compare};
    const int32_t answer = iSynchro_Ask(*synchro, frame, entry, left);
    left.reason = SynchroReason_Kept;
    if (answer == SynchroAnswer_Leave || iSynchro_IsStopped(synchro)) return left;
  }
  const bool areAlike = isCompared && iSynchro_AreAlike(synchro, frame, entry);
  return iSynchro_DecideGuarded(synchro->flags, entry, frame.isWhole, areAlike);
}

SynchroVerdict Decide(Synchro* synchro, const SynchroFrame& frame, const SynchroEntry& entry) {
  if (synchro->isGuarded) return DecideGuarded(synchro, frame, entry);
  const SynchroAction action = iSynchro_Decide(synchro->flags, entry);
  return {action, iSynchro_ReasonOf(action, entry)};
}

// A guarded run remembers what is in step, as it is now.
void Settle(SynchroFrame* frame, const SynchroVerdict& verdict, SynchroEntry* entry) {
  if (!iSynchro_IsSettledBy(verdict)) return;
  // A directory that is not shown has not gone for that.
  if (verdict.reason == SynchroReason_Directory && !frame->isWhole) return;
  if (iSynchro_DiffersFromLine(*entry)) frame->isChanged = true;
  entry->flags |= SynchroEntryFlag_Settled;
  entry->state = 0;
}

void ReportFile(Synchro* synchro, const SynchroFrame& frame, const SynchroAction& action,
                const SynchroEntry& entry, ErrorCode status) {
  iSynchro_Report(synchro, "%s %c %s: %s %s%s %s -> %s", synchro->sides[SynchroEnd_Source].url.protocol,
                  action.mark, synchro->sides[SynchroEnd_Destination].url.protocol, frame.directory,
                  entry.name, "", action.step == SynchroStep::Delete ? "DELETE" : "", Error_ToString(status));
}

// Up to the next directory, or to the end.
void ActOnEntries(Synchro* synchro, SynchroFrame* frame) {
  while (!iSynchro_IsStopped(synchro) && synchro->failure == Error_None) {
    if (frame->cursor == frame->entries.Count()) {
      iSynchro_SettleUploads(synchro, frame);
      iSynchro_Report(synchro, "Exiting \"%s\"", frame->directory);
      PopFrame(synchro);
      return;
    }
    SynchroEntry* const entry = &frame->entries.At(frame->cursor++);
    const SynchroVerdict verdict = Ask(*synchro, *frame, *entry, Decide(synchro, *frame, *entry));
    if (iSynchro_IsStopped(synchro)) return;
    if (synchro->isGuarded) Settle(frame, verdict, entry);
    const SynchroAction& action = verdict.action;
    if (action.step == SynchroStep::Pass) continue;
    if (action.step == SynchroStep::Enter) {
      if (EnterDirectory(synchro, *frame, *entry)) return;
      continue;
    }
    const SynchroEntryInfo info = InfoOf(*frame, *entry, verdict);
    const ErrorCode status = ActOnFile(synchro, frame, action, entry);
    ReportFile(synchro, *frame, action, *entry, status);
    TellResult(*synchro, info, status);
  }
}

// ---- the walk ----------------------------------------------------------------------------------

ErrorCode Walk(Synchro* synchro) {
  SynchroFrame* const root = PushFrame(synchro, "");
  for (std::atomic<uint32_t>& counter : synchro->counters) counter = 0;
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination})
    if (root != nullptr) root->identities[end] = iSynchro_Identify(synchro->sides[end], "");
  while (!iSynchro_IsStopped(synchro) && synchro->frames->top != nullptr && synchro->failure == Error_None) {
    const ErrorCode status = OpenSides(synchro);
    if (status != Error_None) return status;
    SynchroFrame* const frame = TopOf(synchro);
    // Kept: a directory that cannot be prepared is left out, and the run goes on and counts as finished.
    const ErrorCode prepared = PrepareFrame(synchro, frame);
    if (prepared == Error_None) {
      ActOnEntries(synchro, frame);
    } else {
      TellLeftOut(*synchro, *frame, prepared);
      // Guarded, a run that does nothing must not pass for one that had nothing to do.
      if (synchro->isGuarded && frame->parent == nullptr && synchro->failure == Error_None)
        synchro->failure = prepared;
      PopFrame(synchro);
    }
  }
  return synchro->failure;
}

void CleanUp(Synchro* synchro) {
  while (synchro->frames->top != nullptr) PopFrame(synchro);
  for (SynchroConnection& side : synchro->sides) iSynchro_CloseSide(&side);
  if (!synchro->isPlanOnly) iSynchro_EndTemporaries(&synchro->temporary);
}

}  // namespace

int32_t iSynchro_Ask(const Synchro& synchro, const SynchroFrame& frame, const SynchroEntry& entry,
                     const SynchroVerdict& verdict) {
  if (synchro.entryMethod == nullptr) return SynchroAnswer_Proceed;
  const SynchroEntryInfo info = InfoOf(frame, entry, verdict);
  return synchro.entryMethod(synchro.entryValue, &info);
}

void iSynchro_TellUnusable(const Synchro& synchro, const SynchroFrame& frame, SynchroEnd end,
                           const char* name) {
  SynchroEntryInfo info = {};
  info.directory = frame.directory;
  info.name = name;
  info.reason = SynchroReason_Unclear;
  info.now[end].isPresent = 1;
  TellResult(synchro, info, Error_Invalid);
}

void iSynchro_SetMostDirectories(uint32_t count) {
  mostDirectories = count != 0 ? count : kMostDirectories;
}

ErrorCode iSynchro_Run(Synchro* synchro) {
  synchro->failure = Error_None;
  synchro->entered = 0;
  ErrorCode status =
      iSynchro_BeginTemporaries(synchro->directory, synchro->name, !synchro->isPlanOnly, &synchro->temporary);
  if (status == Error_None) status = Walk(synchro);
  CleanUp(synchro);
  if (status == Error_None) status = synchro->failure;
  if (status == Error_None) status = static_cast<ErrorCode>(synchro->counters[SynchroCounter_Error].load());
  synchro->phase = SynchroPhase::Ending;
  iSynchro_SetState(synchro, status == Error_None ? SynchroState_Finished : SynchroState_Failed, status);
  return status;
}
