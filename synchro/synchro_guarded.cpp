// A guarded run: the folders are read exactly, files are compared, and both sides are asked again before
// anything is done. How, depends on the kind of the side.
#include <cstring>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/filesystem.h"
#include "qz/error.h"
#include "qz/os.h"
#include "synchro/synchro_internal.h"
#include "synchro/synchro_kind_internal.h"

namespace {

constexpr uint32_t kCompareBytes = 16 * 1024;

bool IsRoot(const SynchroFrame& frame) {
  return frame.directory[0] == '\0';
}

// ---- reading a folder --------------------------------------------------------------------------

struct Reading {
  Synchro* synchro;
  SynchroFrame* frame;
  SynchroEnd end;
  uint32_t count;  // what was shown, but for what an earlier run has left
};

// Whether a table can hold the name: its lines drop white space at the ends of a field.
bool IsStorable(const char* name) {
  const size_t length = strlen(name);
  return strpbrk(name, "\t\r\n") == nullptr && name[0] != ' ' && name[length - 1] != ' ';
}

constexpr uint32_t kUndatedAt[kSynchroEnds] = {SynchroEntryFlag_UndatedAtSource,
                                               SynchroEntryFlag_UndatedAtDestination};

constexpr uint32_t kAsideAt[kSynchroEnds] = {SynchroEntryFlag_AsideAtSource,
                                             SynchroEntryFlag_AsideAtDestination};

// Two lines of one name cannot both be it. A file that was moved aside gives way to one of its own
// name.
void EnterValues(const SynchroRead& found, SynchroEnd end, SynchroEntry* entry) {
  const bool hasAside = (entry->flags & kAsideAt[end]) != 0;
  if (entry->IsAt(end) && !hasAside) entry->flags |= SynchroEntryFlag_Ambiguous;
  if (hasAside) entry->flags &= ~(kAsideAt[end] | kUndatedAt[end]);
  if (found.isAmbiguous) entry->flags |= SynchroEntryFlag_Ambiguous;
  if (found.isUndated) {
    entry->flags |= kUndatedAt[end];
  } else if (found.isUnclear) {
    entry->flags |= SynchroEntryFlag_Unclear;
  }
  entry->sides[end] = found.side;
}

// Null without memory.
SynchroEntry* FindOrAdd(SynchroFrame* frame, const char* name) {
  SynchroEntry* entry = frame->entries.Find(name);
  if (entry != nullptr) return entry;
  entry = frame->entries.Add(name);
  if (entry != nullptr) entry->flags = SynchroEntryFlag_New;
  return entry;
}

bool CanBeKept(const char* name) {
  return iSynchro_IsUsableName(name, platform::UsesDriveLetters()) && IsStorable(name);
}

// An old file that was moved aside. A run has given it its name back, where
// that was possible; a plan takes it as if.
ErrorCode TakeAside(Reading* reading, const SynchroRead& found, const char* ownName) {
  ++reading->count;
  if (!reading->synchro->isPlanOnly || !CanBeKept(ownName)) return Error_None;
  SynchroEntry* const entry = FindOrAdd(reading->frame, ownName);
  if (entry == nullptr) return Error_Memory;
  if (entry->IsAt(reading->end)) return Error_None;
  EnterValues(found, reading->end, entry);
  entry->flags |= kAsideAt[reading->end];
  return Error_None;
}

ErrorCode TakeEntry(void* context, const SynchroRead& found) {
  auto* const reading = static_cast<Reading*>(context);
  SynchroFrame* const frame = reading->frame;
  char ownName[kFileNameSize];
  if (iSynchro_IsStopped(reading->synchro)) return Error_Cancel;
  if (iSynchro_IsLeftoverEntry(*reading->synchro, *frame, reading->end, found.name, ownName))
    return ownName[0] == '\0' ? Error_None : TakeAside(reading, found, ownName);
  ++reading->count;
  if (!CanBeKept(found.name)) {
    iSynchro_Report(reading->synchro, "* Left: %s %s", frame->directory, found.name);
    iSynchro_TellUnusable(*reading->synchro, *frame, reading->end, found.name);
    return Error_None;
  }
  SynchroEntry* const entry = FindOrAdd(frame, found.name);
  if (entry == nullptr) return Error_Memory;
  EnterValues(found, reading->end, entry);
  return Error_None;
}

int32_t ListPlace(const Synchro& synchro) {
  return synchro.isPlanOnly ? SysDir_Temp : SysDir_Cache;
}

// ---- asking for an entry ------------------------------------------------------------------------

bool IsUndated(const SynchroEntry& entry, SynchroEnd end) {
  return (entry.flags & kUndatedAt[end]) != 0;
}

// What stands on a side now. isTarget: it is to be replaced or deleted.
ErrorCode AskEntry(Synchro* synchro, const SynchroFrame& frame, const SynchroEntry& entry, SynchroEnd end,
                   bool isTarget, SynchroSide* now) {
  SynchroConnection* const side = &synchro->sides[end];
  char folder[kFileNameSize];
  char path[kFileNameSize];
  ErrorCode status = iSynchro_FolderPath(*side, frame.directory, folder);
  if (status == Error_None) status = iSynchro_EntryPath(*side, frame.directory, entry.name, path);
  if (status != Error_None) return status;
  const bool isLoginFolder = iSynchro_IsLoginFolder(*side, frame.directory);
  return iSynchro_KindOf(*side)->ask(side,
                                     {folder, path, entry.name, entry.sides[end], IsUndated(entry, end),
                                      isTarget, isLoginFolder, ListPlace(*synchro)},
                                     now);
}

ErrorCode AskTime(Synchro* synchro, const SynchroFrame& frame, const char* name, SynchroEnd end, Time* time) {
  SynchroConnection* const side = &synchro->sides[end];
  char path[kFileNameSize];
  const ErrorCode status = iSynchro_EntryPath(*side, frame.directory, name, path);
  return status == Error_None ? iSynchro_KindOf(*side)->askTime(side, path, time) : status;
}

// ---- both sides --------------------------------------------------------------------------------

bool IsKnownThere(const SynchroFrame& frame, SynchroEnd end) {
  for (uint32_t i = 0; i < frame.entries.Count(); ++i) {
    if (frame.entries.At(i).before[end].present != 0) return true;
  }
  return false;
}

// A root that has gone is not made again: what it held must not be taken for deleted, nor be copied back.
bool MayCreate(const Synchro& synchro, const SynchroFrame& frame, SynchroEnd end, bool isKnown) {
  if (synchro.isPlanOnly || (IsRoot(frame) && isKnown)) return false;
  return (synchro.flags & kSynchroCopyTo[end]) != 0;
}

ErrorCode ReadFolder(Synchro* synchro, SynchroFrame* frame, SynchroEnd end, bool isKnown,
                     SynchroFolder* folder, uint32_t* count) {
  SynchroConnection* const side = &synchro->sides[end];
  char path[kFileNameSize];
  Reading reading = {synchro, frame, end, 0};
  ErrorCode status = iSynchro_FolderPath(*side, frame->directory, path);
  if (status == Error_None)
    status = iSynchro_KindOf(*side)->read(
        side,
        {path, iSynchro_IsLoginFolder(*side, frame->directory), MayCreate(*synchro, *frame, end, isKnown),
         frame->isShown[end], ListPlace(*synchro), TakeEntry, &reading},
        folder);
  *count = reading.count;
  const bool mayBeMade = MayCreate(*synchro, *frame, end, isKnown) && !frame->isShown[end];
  frame->isMade[end] = mayBeMade && status == Error_None && !folder->isMissing;
  return status;
}

// A file that has lost its time of day as it aged keeps the time that the table has.
void TakeTimeStamp(const Time& stamped, const SynchroSide& before, SynchroSide* side) {
  const bool isSame =
      before.present != 0 && before.size == side->size && iSynchro_IsSameMoment(before.time, stamped);
  side->time = isSame ? before.time : stamped;
}

ErrorCode DateEntries(Synchro* synchro, SynchroFrame* frame, SynchroEnd end) {
  for (uint32_t i = 0; i < frame->entries.Count() && !iSynchro_IsStopped(synchro); ++i) {
    SynchroEntry& entry = frame->entries.At(i);
    if (!IsUndated(entry, end) || !entry.IsAt(end)) continue;
    Time time;
    const ErrorCode status = AskTime(synchro, *frame, entry.name, end, &time);
    if (!synchro->sides[end].isOpen) return status;
    if (status == Error_None) {
      TakeTimeStamp(time, entry.before[end], &entry.sides[end]);
    } else {
      entry.flags |= SynchroEntryFlag_Unclear;
    }
  }
  return Error_None;
}

// ---- files that a long listing hides -----------------------------------------------------------

// Many servers show no name with a dot at its front.
bool MayBeHidden(const SynchroEntry& entry, SynchroEnd end) {
  const SynchroSide& other = entry.sides[iSynchro_Other(end)];
  if (entry.name[0] != '.' || entry.IsAt(end)) return false;
  return (other.present == 0 || other.directory == 0) && entry.before[end].directory == 0;
}

// The values of a file, by its size and its time stamp. Not present when the server says so.
ErrorCode AskHidden(Synchro* synchro, const SynchroFrame& frame, const SynchroEntry& entry, SynchroEnd end,
                    SynchroSide* now) {
  const ErrorCode status = AskEntry(synchro, frame, entry, end, false, now);
  if (status != Error_None || now->present == 0) return status;
  return AskTime(synchro, frame, entry.name, end, &now->time);
}

// What is known, or stands on the other side, and is not shown: asked for in
// each run. onlyNew: entries that the table has were asked for before. *count
// grows by what is there.
ErrorCode FindHidden(Synchro* synchro, SynchroFrame* frame, SynchroEnd end, bool onlyNew, uint32_t* count) {
  for (uint32_t i = 0; i < frame->entries.Count() && !iSynchro_IsStopped(synchro); ++i) {
    SynchroEntry& entry = frame->entries.At(i);
    if (!MayBeHidden(entry, end) || (onlyNew && !entry.Has(SynchroEntryFlag_New))) continue;
    SynchroSide now;
    const ErrorCode status = AskHidden(synchro, *frame, entry, end, &now);
    if (!synchro->sides[end].isOpen) return status;
    if (status != Error_None) entry.flags |= SynchroEntryFlag_Unclear;
    if (status != Error_None || now.present == 0) continue;
    entry.sides[end] = now;
    entry.flags |= kUndatedAt[end];
    ++*count;
  }
  return Error_None;
}

// Those of the source that only the destination's listing has named.
ErrorCode FindHiddenAtSource(Synchro* synchro, SynchroFrame* frame) {
  uint32_t count = 0;
  if (!frame->mayHide[SynchroEnd_Source]) return Error_None;
  return FindHidden(synchro, frame, SynchroEnd_Source, true, &count);
}

// A folder is gone when its parent's listing says so too, and can be trusted in that; and when the parent's
// table had it: a run that was killed has remembered what is in it, and not the folder itself.
bool IsGone(const SynchroFrame& frame, SynchroEnd end, const SynchroFolder& folder) {
  if (frame.parent == nullptr || !folder.isMissing || frame.isShown[end]) return false;
  return frame.wasKnown[end] && frame.parent->isTrusted[end];
}

// What a listing does not show is gone only where every line was understood.
ErrorCode ListFolder(Synchro* synchro, SynchroFrame* frame, SynchroEnd end) {
  SynchroFolder folder;
  uint32_t count = 0;
  const bool isKnown = IsKnownThere(*frame, end);
  ErrorCode status = ReadFolder(synchro, frame, end, isKnown, &folder, &count);
  if (status == Error_None) status = DateEntries(synchro, frame, end);
  if (status != Error_None) return status;
  frame->mayHide[end] = folder.hasLongLines && !folder.isMissing;
  if (frame->mayHide[end]) status = FindHidden(synchro, frame, end, false, &count);
  if (status != Error_None) return status;
  frame->isTrusted[end] =
      folder.isWhole && iSynchro_IsTrusted(count, isKnown, IsGone(*frame, end, folder), IsRoot(*frame));
  if (!frame->isTrusted[end] && IsRoot(*frame)) return folder.isWhole ? Error_NotFound : Error_Invalid;
  frame->isWhole = frame->isWhole && frame->isTrusted[end];
  frame->hasLongLines = frame->hasLongLines || folder.hasLongLines;
  return Error_None;
}

ErrorCode ListSide(Synchro* synchro, SynchroFrame* frame, SynchroEnd end) {
  iSynchro_ReportListing(synchro, *frame, end);
  iSynchro_ClearPresence(frame, end);
  const ErrorCode status = ListFolder(synchro, frame, end);
  if (status == Error_None) return Error_None;
  iSynchro_Report(synchro, "* Retrieval failed: %s", Error_ToString(status));
  // Without a root nothing can be decided.
  if (IsRoot(*frame)) synchro->failure = status;
  return status;
}

struct Forgetting {
  Synchro* synchro;
  SynchroFrame* frame;
};

// True for an entry that goes: neither side has it, and both can be trusted in that.
bool IsForgotten(void* context, SynchroEntry* entry) {
  const auto& [synchro, frame] = *static_cast<Forgetting*>(context);
  if (entry->IsAt(SynchroEnd_Source) || entry->IsAt(SynchroEnd_Destination) || !frame->isWhole) return false;
  const SynchroVerdict verdict = {{'=', SynchroStep::Leave, SynchroEnd_Source}, SynchroReason_Forgotten};
  iSynchro_Ask(*synchro, *frame, *entry, verdict);
  frame->isChanged = true;
  return true;
}

// ---- ambiguous names ---------------------------------------------------------------------------

// With a name of blanks on one side, nobody knows whether the other side's long lines show it.
void MarkLongNames(SynchroFrame* frame) {
  if (!frame->hasLongLines) return;
  for (uint32_t i = 0; i < frame->entries.Count(); ++i) {
    SynchroEntry& entry = frame->entries.At(i);
    if (iSynchro_IsAmbiguousInLongLine(entry.name)) entry.flags |= SynchroEntryFlag_Ambiguous;
  }
}

void ReportAmbiguousNames(Synchro* synchro, const SynchroFrame& frame) {
  for (uint32_t i = 0; i < frame.entries.Count(); ++i) {
    const SynchroEntry& entry = frame.entries.At(i);
    if (entry.Has(SynchroEntryFlag_Ambiguous) || entry.Has(SynchroEntryFlag_LookAlike))
      iSynchro_Report(synchro, "* Ambiguous: %s %s", frame.directory, entry.name);
  }
}

ErrorCode MarkAmbiguousNames(Synchro* synchro, SynchroFrame* frame) {
  MarkLongNames(frame);
  const ErrorCode status =
      iSynchro_IgnoresCase(*synchro) ? iSynchro_MarkLookAlikes(&frame->entries) : Error_None;
  if (status == Error_None) ReportAmbiguousNames(synchro, *frame);
  return status;
}

// ---- files -------------------------------------------------------------------------------------

ErrorCode PathsOf(const Synchro& synchro, const SynchroFrame& frame, const SynchroEntry& entry,
                  char (&paths)[kSynchroEnds][kFileNameSize]) {
  ErrorCode status = Error_None;
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination}) {
    if (status == Error_None)
      status = iSynchro_EntryPath(synchro.sides[end], frame.directory, entry.name, paths[end]);
  }
  return status;
}

// Whether a side still is as it was listed.
ErrorCode Compare(const SynchroSide& listed, const SynchroSide& now, bool isUndated) {
  if (listed.present == 0) return now.present == 0 ? Error_None : Error_Exists;
  const bool isSameTime = Time_Compare(&now.time, &listed.time) == 0 ||
                          (isUndated && iSynchro_IsSameMoment(listed.time, now.time));
  const bool isSame = now.present != 0 && now.directory == 0 && now.size == listed.size && isSameTime;
  return isSame ? Error_None : Error_Retry;
}

ErrorCode Confirm(Synchro* synchro, const SynchroFrame& frame, const SynchroEntry& entry, SynchroEnd end,
                  bool isTarget) {
  SynchroSide now;
  const ErrorCode status = AskEntry(synchro, frame, entry, end, isTarget, &now);
  return status == Error_None ? Compare(entry.sides[end], now, IsUndated(entry, end)) : status;
}

bool HaveSameBytes(const Synchro& synchro, File* one, File* other) {
  char oneBlock[kCompareBytes];
  char otherBlock[kCompareBytes];
  while (!iSynchro_IsStopped(&synchro)) {
    const uint32_t count = File_Read(one, kCompareBytes, oneBlock);
    if (File_Read(other, kCompareBytes, otherBlock) != count) return false;
    if (memcmp(oneBlock, otherBlock, count) != 0) return false;
    // A file that cannot be read ends too.
    if (count == 0)
      return Stream_Error(File_GetStream(one)) == Error_Ended &&
             Stream_Error(File_GetStream(other)) == Error_Ended;
  }
  return false;
}

bool AreLocal(const Synchro& synchro) {
  for (const SynchroConnection& side : synchro.sides) {
    if (URL_GetProtocolType(side.url.protocol) != URLProtocol_File) return false;
  }
  return true;
}

bool HaveSameBytesAt(const Synchro& synchro, const char (&paths)[kSynchroEnds][kFileNameSize]) {
  Owned<File, File_Close> files[kSynchroEnds];
  ErrorCode status = Error_None;
  for (uint32_t end = 0; end < kSynchroEnds; ++end) {
    if (status == Error_None) status = File_Open(paths[end], FileMode_Read, files[end].out());
  }
  return status == Error_None && HaveSameBytes(synchro, files[0].get(), files[1].get());
}

// Of sizes that are too large for a table.
bool HaveSameSize(Synchro* synchro, const char (&paths)[kSynchroEnds][kFileNameSize]) {
  uint64_t sizes[kSynchroEnds] = {};
  for (uint32_t end = 0; end < kSynchroEnds; ++end) {
    SynchroConnection* const side = &synchro->sides[end];
    if (!side->isOpen) return false;
    if (iSynchro_KindOf(*side)->askSize(side, paths[end], &sizes[end]) != Error_None) return false;
  }
  return sizes[0] == sizes[1];
}

// ---- uploads -----------------------------------------------------------------------------------

bool IsAsSent(const SynchroRead& found, const SynchroSide& sent) {
  const bool isClear = (!found.isUnclear || found.isUndated) && !found.isAmbiguous;
  return isClear && found.side.directory == 0 && found.side.size == sent.size;
}

bool IsAwaited(const SynchroEntry& entry, SynchroEnd end) {
  return entry.Has(SynchroEntryFlag_Uploaded) && !entry.Has(SynchroEntryFlag_Settled) &&
         Time_Compare(&entry.sides[end].time, &kSynchroUnknownTime) == 0;
}

// It stands there as it was sent: in step, and nothing is begun any more.
void SettleUpload(SynchroFrame* frame, SynchroEnd end, const Time& time, SynchroEntry* entry) {
  entry->sides[end].time = time;
  entry->flags |= SynchroEntryFlag_Settled;
  frame->intents.Close(entry->name);
}

// A file that arrived as it was sent. Another line of its name tells nothing.
ErrorCode TakeUploaded(void* context, const SynchroRead& found) {
  const auto* const reading = static_cast<Reading*>(context);
  SynchroEntry* const entry = reading->frame->entries.Find(found.name);
  if (entry == nullptr || !IsAwaited(*entry, reading->end)) return Error_None;
  if (!IsAsSent(found, entry->sides[reading->end])) return Error_None;
  Time time = found.side.time;
  if (found.isUndated &&
      AskTime(reading->synchro, *reading->frame, found.name, reading->end, &time) != Error_None)
    return Error_None;
  SettleUpload(reading->frame, reading->end, time, entry);
  return Error_None;
}

ErrorCode ListAgain(Synchro* synchro, SynchroFrame* frame, SynchroEnd end) {
  SynchroConnection* const side = &synchro->sides[end];
  char path[kFileNameSize];
  Reading reading = {synchro, frame, end, 0};
  SynchroFolder folder;
  const ErrorCode status = iSynchro_FolderPath(*side, frame->directory, path);
  if (status != Error_None) return status;
  if (!side->isOpen) return Error_Ended;
  return iSynchro_KindOf(*side)->read(side,
                                      {path, iSynchro_IsLoginFolder(*side, frame->directory), false, false,
                                       ListPlace(*synchro), TakeUploaded, &reading},
                                      &folder);
}

// The uploads that the new listing hides.
void SettleHidden(Synchro* synchro, SynchroFrame* frame, SynchroEnd end) {
  for (uint32_t i = 0; i < frame->entries.Count() && !iSynchro_IsStopped(synchro); ++i) {
    SynchroEntry& entry = frame->entries.At(i);
    SynchroSide now;
    if (!IsAwaited(entry, end) || entry.name[0] != '.' || !synchro->sides[end].isOpen) continue;
    if (AskHidden(synchro, *frame, entry, end, &now) != Error_None) continue;
    if (now.present != 0 && now.size == entry.sides[end].size) SettleUpload(frame, end, now.time, &entry);
  }
}

}  // namespace

ErrorCode iSynchro_PrepareGuarded(Synchro* synchro, SynchroFrame* frame) {
  if (frame->isBad) {
    Error("Synchro: \"%s\" has a line that is none", frame->tablePath);
    iSynchro_Report(synchro, "* Update failed: %s", Error_ToString(Error_Invalid));
    return Error_Invalid;
  }
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination}) {
    if (iSynchro_IsStopped(synchro)) return Error_None;
    const ErrorCode status = ListSide(synchro, frame, end);
    if (status != Error_None) return status;
  }
  const ErrorCode found = FindHiddenAtSource(synchro, frame);
  if (found != Error_None) return found;
  if (iSynchro_IsStopped(synchro)) return Error_None;
  iSynchro_Report(synchro, "Updating tables...");
  iSynchro_JudgeGuarded(frame->isWhole, &frame->intents, &frame->entries);
  if (frame->hasJournal) frame->isChanged = true;
  Forgetting forgetting = {synchro, frame};
  frame->entries.RemoveIf(IsForgotten, &forgetting);
  const ErrorCode marked = MarkAmbiguousNames(synchro, frame);
  if (marked != Error_None) return marked;
  // What is done from here on is noted beside the table.
  if (frame->tablePath[0] == '\0' && frame->entries.Count() != 0) frame->isChanged = true;
  iSynchro_SaveFrame(synchro, frame);
  frame->isProcessed = synchro->failure == Error_None;
  return synchro->failure;
}

bool iSynchro_AreAlike(Synchro* synchro, const SynchroFrame& frame, const SynchroEntry& entry) {
  const SynchroSide& source = entry.sides[SynchroEnd_Source];
  if (source.size != entry.sides[SynchroEnd_Destination].size) return false;
  // Of two files that have changed both, their sizes tell nothing.
  if (!AreLocal(*synchro) && iSynchro_WasInStep(entry)) return false;
  char paths[kSynchroEnds][kFileNameSize];
  if (PathsOf(*synchro, frame, entry, paths) != Error_None) return false;
  if (AreLocal(*synchro)) return HaveSameBytesAt(*synchro, paths);
  return source.size != UINT32_MAX || HaveSameSize(synchro, paths);
}

ErrorCode iSynchro_Confirm(Synchro* synchro, const SynchroFrame& frame, const SynchroEntry& entry,
                           SynchroEnd target) {
  const ErrorCode status = Confirm(synchro, frame, entry, iSynchro_Other(target), false);
  return status == Error_None ? iSynchro_ConfirmTarget(synchro, frame, entry, target) : status;
}

ErrorCode iSynchro_ConfirmTarget(Synchro* synchro, const SynchroFrame& frame, const SynchroEntry& entry,
                                 SynchroEnd target) {
  return Confirm(synchro, frame, entry, target, true);
}

void iSynchro_TakeCopied(SynchroFrame* frame, SynchroEnd at, const SynchroSide& made, SynchroEntry* entry) {
  iSynchro_TakeDone(&made, at, entry);
  const bool isUpload = Time_Compare(&made.time, &kSynchroUnknownTime) == 0;
  entry->flags |= isUpload ? SynchroEntryFlag_Uploaded : SynchroEntryFlag_Settled;
  if (!isUpload) return;
  frame->hasUploads[at] = true;
  frame->isChanged = true;
}

void iSynchro_SettleUploads(Synchro* synchro, SynchroFrame* frame) {
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination}) {
    if (!frame->hasUploads[end] || iSynchro_IsStopped(synchro)) continue;
    iSynchro_ReportListing(synchro, *frame, end);
    const ErrorCode status = ListAgain(synchro, frame, end);
    // What stays unsettled is begun, for the next run.
    if (status != Error_None) iSynchro_Report(synchro, "* Retrieval failed: %s", Error_ToString(status));
    if (status == Error_None && frame->mayHide[end]) SettleHidden(synchro, frame, end);
  }
}
