// A guarded run between two local folders: the folders are read directly, files are compared, and both sides
// are asked again before anything is done.
#include <cstring>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/error.h"
#include "os/platform/filesystem.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "synchro/synchro_internal.h"

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
  uint32_t count;
};

// Whether a table can hold the name: its lines drop white space at the ends of a field.
bool IsStorable(const char* name) {
  const size_t length = strlen(name);
  return strpbrk(name, "\t\r\n") == nullptr && name[0] != ' ' && name[length - 1] != ' ';
}

SynchroSide ValuesOf(const platform::FileInformation& information) {
  Time time;
  iFile_TimeFromUnits(information.modified, &time);
  return iSynchro_LocalValues(information.isDirectory, information.sizeBytes, time);
}

ErrorCode TakeEntry(Reading* reading, const platform::DirectoryEntry& found) {
  const bool isLeftover =
      iSynchro_IsLeftoverEntry(*reading->synchro, *reading->frame, reading->end, found.name);
  if (isLeftover) return Error_None;
  ++reading->count;
  if (!iSynchro_IsUsableName(found.name, platform::UsesDriveLetters()) || !IsStorable(found.name)) {
    iSynchro_Report(reading->synchro, "* Left: %s %s", reading->frame->directory, found.name);
    iSynchro_TellUnusable(*reading->synchro, *reading->frame, reading->end, found.name);
    return Error_None;
  }
  SynchroEntry* entry = reading->frame->entries.Find(found.name);
  if (entry == nullptr) {
    entry = reading->frame->entries.Add(found.name);
    if (entry == nullptr) return Error_Memory;
    entry->flags = SynchroEntryFlag_New;
  }
  entry->sides[reading->end] = ValuesOf(found.information);
  // Where a link leads may be outside of both trees.
  if (found.information.isLink) entry->flags |= SynchroEntryFlag_Unclear;
  return Error_None;
}

ErrorCode SystemStatus(const char* path) {
  return Error_FromSystem("Synchro", path, platform::LastSystemError());
}

ErrorCode ReadFolder(Reading* reading, const char* path) {
  char systemName[kFileNameSize];
  const ErrorCode named = iFile_ToSystemName(path, systemName);
  if (named != Error_None) return named;
  const Owned<platform::DirectorySearch, platform::EndSearch> search(platform::BeginSearch(systemName));
  if (!search) return SystemStatus(path);
  platform::DirectoryEntry found;
  while (iDirectory_NextEntry(search.get(), &found)) {
    const ErrorCode status = TakeEntry(reading, found);
    if (status != Error_None) return status;
  }
  return platform::LastSystemError() == platform::SystemError_None ? Error_None : SystemStatus(path);
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

ErrorCode ListFolder(Synchro* synchro, SynchroFrame* frame, SynchroEnd end) {
  char path[kFileNameSize];
  Reading reading = {synchro, frame, end, 0};
  const bool isKnown = IsKnownThere(*frame, end);
  ErrorCode status = iSynchro_FolderPath(synchro->sides[end], frame->directory, path);
  if (status != Error_None) return status;
  status = Directory_Find(path, MayCreate(*synchro, *frame, end, isKnown) ? 1 : 0, nullptr, nullptr);
  const bool isMissing = status == Error_NotFound;
  if (status == Error_None) status = ReadFolder(&reading, path);
  if (status != Error_None && !isMissing) return status;
  const bool isTrusted =
      iSynchro_IsTrusted(reading.count, isKnown, isMissing && !frame->isShown[end], IsRoot(*frame));
  if (!isTrusted && IsRoot(*frame)) return Error_NotFound;
  frame->isWhole = frame->isWhole && isTrusted;
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
ErrorCode Confirm(const char* path, const SynchroSide& listed) {
  SynchroSide now;
  const ErrorCode status = iSynchro_ReadLocal(path, &now);
  if (status != Error_None) return status;
  if (listed.present == 0) return now.present == 0 ? Error_None : Error_Exists;
  const bool isSame = now.present != 0 && now.directory == 0 && now.size == listed.size &&
                      Time_Compare(&now.time, &listed.time) == 0;
  return isSame ? Error_None : Error_Retry;
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

}  // namespace

ErrorCode iSynchro_PrepareGuarded(Synchro* synchro, SynchroFrame* frame) {
  if (frame->isBad) {
    iSynchro_Report(synchro, "* Update failed: %s", Error_ToString(Error_Invalid));
    return Error_Invalid;
  }
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination}) {
    if (iSynchro_IsStopped(synchro)) return Error_None;
    const ErrorCode status = ListSide(synchro, frame, end);
    if (status != Error_None) return status;
  }
  if (iSynchro_IsStopped(synchro)) return Error_None;
  iSynchro_Report(synchro, "Updating tables...");
  iSynchro_JudgeGuarded(frame->isWhole, &frame->intents, &frame->entries);
  if (frame->hasJournal) frame->isChanged = true;
  Forgetting forgetting = {synchro, frame};
  frame->entries.RemoveIf(IsForgotten, &forgetting);
  // What is done from here on is noted beside the table.
  if (frame->tablePath[0] == '\0' && frame->entries.Count() != 0) frame->isChanged = true;
  iSynchro_SaveFrame(synchro, frame);
  frame->isProcessed = synchro->failure == Error_None;
  return synchro->failure;
}

bool iSynchro_AreAlike(const Synchro& synchro, const SynchroFrame& frame, const SynchroEntry& entry) {
  char paths[kSynchroEnds][kFileNameSize];
  Owned<File, File_Close> files[kSynchroEnds];
  if (entry.sides[SynchroEnd_Source].size != entry.sides[SynchroEnd_Destination].size) return false;
  ErrorCode status = PathsOf(synchro, frame, entry, paths);
  for (uint32_t end = 0; end < kSynchroEnds; ++end) {
    if (status == Error_None) status = File_Open(paths[end], FileMode_Read, files[end].out());
  }
  return status == Error_None && HaveSameBytes(synchro, files[0].get(), files[1].get());
}

ErrorCode iSynchro_Confirm(const Synchro& synchro, const SynchroFrame& frame, const SynchroEntry& entry) {
  char paths[kSynchroEnds][kFileNameSize];
  ErrorCode status = PathsOf(synchro, frame, entry, paths);
  for (uint32_t end = 0; end < kSynchroEnds; ++end) {
    if (status == Error_None) status = Confirm(paths[end], entry.sides[end]);
  }
  return status;
}
