// An FTP side of a guarded run:
//
//             with MLSD (FEAT shows "MLST")   without
//   a folder  MLSD path                       CWD path, LIST; MDTM for each file without a time of day
//   a file    MLST path                       SIZE path; before it is replaced or deleted LIST path or MDTM
//   too
//
// What is not there must be called so by code 550: by that to SIZE alone only
// where this connection has told a size before, else by that to MDTM as well.
#include <cstring>
#include <new>

#include "net/ftpc_internal.h"
#include "os/core/owned.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "synchro/synchro_kind_internal.h"
#include "synchro/synchro_lines_internal.h"

namespace {

bool IsUnavailable(const Reply& reply) {
  return reply.code == kFTPReply_ErrorNoAccess;
}

// FEAT, once a connection.
ErrorCode LearnFeatures(SynchroConnection* side) {
  if (side->features != SynchroFeatures::Unknown) return Error_None;
  Reply reply;
  bool hasFacts = false;
  const ErrorCode status = iFTPc_HasFacts(side->ftp, &hasFacts, &reply);
  if (status == Error_None) side->features = hasFacts ? SynchroFeatures::Facts : SynchroFeatures::None;
  return status;
}

bool HasFacts(const SynchroConnection& side) {
  return side.features == SynchroFeatures::Facts;
}

// ---- listing -----------------------------------------------------------------------------------

// As long as nothing else is said.
ErrorCode EnterFolder(FTPc* ftp, const SynchroReadRequest& request, Reply* reply) {
  if (request.isLoginFolder) return Error_None;
  return FTPc_ChangeDirectory(ftp, request.path, reply);
}

ErrorCode GetFactList(FTPc* ftp, const SynchroReadRequest& request, const char* file, Reply* reply) {
  return iFTPc_ListInto(ftp, "MLSD", request.isLoginFolder ? nullptr : request.path, file, reply);
}

// *isRefused: the folder was entered, and its list refused, as some servers do for an empty one.
ErrorCode GetLongList(FTPc* ftp, const SynchroReadRequest& request, const char* file, Reply* reply,
                      bool* isRefused) {
  ErrorCode status = EnterFolder(ftp, request, reply);
  if (status != Error_None) return status;
  status = iFTPc_ListInto(ftp, "LIST", nullptr, file, reply);
  *isRefused = status != Error_None && IsUnavailable(*reply);
  return *isRefused ? Error_None : status;
}

ErrorCode TakeLine(const SynchroReadRequest& request, char* line, SynchroFolder* folder) {
  SynchroRead read;
  switch (folder->hasLongLines ? iSynchro_ReadLongLine(line, &read) : iSynchro_ReadFacts(line, &read)) {
    case SynchroLine::NoEntry:
      return Error_None;
    case SynchroLine::NotUnderstood:
      folder->isWhole = false;
      return Error_None;
    default:
      return request.take(request.context, read);
  }
}

// A last line without its end is not taken: its name may be a part of one.
ErrorCode TakeLines(const SynchroReadRequest& request, const char* path, SynchroFolder* folder) {
  Owned<File, File_Close> file;
  ErrorCode status = File_Open(path, FileMode_Read, file.out());
  if (status != Error_None) return status;
  const Owned<SynchroLines, Memory_Delete> lines(
      static_cast<SynchroLines*>(Memory_New(sizeof(SynchroLines))));
  if (!lines) return Error_Memory;
  new (lines.get()) SynchroLines(file.get());
  while (status == Error_None && lines->Next()) {
    if (!lines->IsEnded()) {
      folder->isWhole = false;
      break;
    }
    status = TakeLine(request, lines->Text(), folder);
  }
  if (lines->HasLeftOut()) folder->isWhole = false;
  return status == Error_None ? lines->Status() : status;
}

// A folder that is not there: made when it may be. One that is shown, and
// refused, is there.
ErrorCode TakeMissing(SynchroConnection* side, const SynchroReadRequest& request, SynchroFolder* folder) {
  Reply reply;
  if (request.isLoginFolder) return Error_None;
  if (request.isShown) return Error_NoAccess;
  folder->isMissing = !request.mayCreate;
  return request.mayCreate ? iFTPc_MakeDirectory(side->ftp, request.path, &reply) : Error_None;
}

ErrorCode ReadFolder(SynchroConnection* side, const SynchroReadRequest& request, SynchroFolder* folder) {
  *folder = {false, true, false};
  ErrorCode status = LearnFeatures(side);
  if (status != Error_None) return status;
  SynchroListFile file;
  Reply reply = {};
  bool isRefused = false;
  folder->hasLongLines = !HasFacts(*side);
  status = file.Choose(request.listPlace);
  if (status != Error_None) return status;
  status = folder->hasLongLines ? GetLongList(side->ftp, request, file.Path(), &reply, &isRefused)
                                : GetFactList(side->ftp, request, file.Path(), &reply);
  if (isRefused) return request.isShown ? Error_NoAccess : Error_None;
  if (status == Error_None) return TakeLines(request, file.Path(), folder);
  return IsUnavailable(reply) ? TakeMissing(side, request, folder) : status;
}

ErrorCode Read(SynchroConnection* side, const SynchroReadRequest& request, SynchroFolder* folder) {
  return iSynchro_CloseLost(side, ReadFolder(side, request, folder));
}

// ---- one entry ---------------------------------------------------------------------------------

ErrorCode AskFacts(SynchroConnection* side, const SynchroQuestion& question, SynchroSide* now) {
  char facts[kFTPBuffer_Size];
  Reply reply;
  SynchroRead read;
  const ErrorCode status = iFTPc_AskFacts(side->ftp, question.path, facts, &reply);
  if (status == Error_NotFound) return Error_None;
  if (status != Error_None) return status;
  if (iSynchro_ReadFacts(facts, &read) != SynchroLine::Entry || read.isUnclear) return Error_Invalid;
  *now = read.side;
  return Error_None;
}

// A server that does not know the command is not asked for each file.
void NoteUnknownTime(SynchroConnection* side, const Reply& reply) {
  if (reply.code >= kFTPReply_ErrorSyntax && reply.code <= kFTPReply_ErrorUnimplementedParam)
    side->isTimeUnknown = true;
}

ErrorCode AskTimeStamp(SynchroConnection* side, const char* path, Time* time) {
  Reply reply;
  if (side->isTimeUnknown) return Error_Invalid;
  const ErrorCode status = FTPc_ModTime(side->ftp, path, time, &reply);
  if (status != Error_None && status != Error_Invalid) return status;
  NoteUnknownTime(side, reply);
  if (reply.replyClass != kFTPClass_Completed) return Error_Invalid;
  return iFTPc_ParseTimeStamp(reply.text, time);
}

// Some servers take the path for a pattern.
bool IsPattern(const char* path) {
  return strpbrk(path, "*?[]{}\\~") != nullptr || path[0] != '/';
}

struct Search {
  const char* name;
  uint32_t matches;
  SynchroSide found;
};

// Some servers show the path that they were given.
ErrorCode Match(void* context, const SynchroRead& read) {
  auto* const search = static_cast<Search*>(context);
  const char* const separator = strrchr(read.name, '/');
  const char* const name = separator != nullptr ? separator + 1 : read.name;
  if (strcmp(name, search->name) != 0) return Error_None;
  ++search->matches;
  search->found = read.side;
  if (read.isUnclear || read.isAmbiguous) ++search->matches;
  return Error_None;
}

// The file's own line, alone or in the list of its folder.
ErrorCode SearchLongLines(SynchroConnection* side, const SynchroQuestion& question, Search* search) {
  const SynchroReadRequest request = {
      question.folder, question.isLoginFolder, false, false, question.listPlace, Match, search};
  SynchroFolder folder = {false, true, true};
  SynchroListFile file;
  Reply reply = {};
  const bool isAlone = !IsPattern(question.path);
  ErrorCode status = file.Choose(question.listPlace);
  if (status == Error_None && !isAlone) status = EnterFolder(side->ftp, request, &reply);
  if (status == Error_None)
    status = iFTPc_ListInto(side->ftp, "LIST", isAlone ? question.path : nullptr, file.Path(), &reply);
  if (status != Error_None) return IsUnavailable(reply) ? Error_None : status;
  return TakeLines(request, file.Path(), &folder);
}

// One that is not shown has no time.
ErrorCode AskLongLine(SynchroConnection* side, const SynchroQuestion& question, SynchroSide* now) {
  Search search = {question.name, 0, {}};
  const ErrorCode status = SearchLongLines(side, question, &search);
  if (status != Error_None) return status;
  now->time = {};
  if (search.matches == 1) *now = search.found;
  return Error_None;
}

// A size is refused with the code of a missing file. Some servers refuse every
// size so: as long as this one has told none, its time stamp must be refused as
// well; without time stamps, its line not be shown.
ErrorCode CheckMissing(SynchroConnection* side, const SynchroQuestion& question) {
  if (side->isSizeTold) return Error_None;
  Time time;
  Reply reply = {};
  Search search = {question.name, 0, {}};
  ErrorCode status = Error_Invalid;
  if (!side->isTimeUnknown) status = FTPc_ModTime(side->ftp, question.path, &time, &reply);
  if (IsUnavailable(reply)) return Error_None;
  NoteUnknownTime(side, reply);
  if (!side->isTimeUnknown) return status == Error_None ? Error_Invalid : status;
  status = SearchLongLines(side, question, &search);
  if (status != Error_None) return status;
  return search.matches == 0 ? Error_None : Error_Invalid;
}

// Kept: the time is that from the listing where nothing is written over it; a file that has changed its text
// only is as well copied.
ErrorCode AskSizeAndTime(SynchroConnection* side, const SynchroQuestion& question, SynchroSide* now) {
  Reply reply;
  uint64_t sizeBytes = 0;
  const ErrorCode status = FTPc_FileSize64(side->ftp, question.path, &sizeBytes, &reply);
  if (IsUnavailable(reply)) return CheckMissing(side, question);
  if (status != Error_None) return status;
  side->isSizeTold = true;
  *now = iSynchro_LocalValues(false, sizeBytes, question.listed.time);
  if (question.listed.present == 0 || !question.mustKnowTime) return Error_None;
  if (!question.isUndated) return AskLongLine(side, question, now);
  return AskTimeStamp(side, question.path, &now->time);
}

ErrorCode Ask(SynchroConnection* side, const SynchroQuestion& question, SynchroSide* now) {
  *now = {};
  if (!side->isOpen) return Error_NotInited;
  ErrorCode status = LearnFeatures(side);
  if (status == Error_None)
    status = HasFacts(*side) ? AskFacts(side, question, now) : AskSizeAndTime(side, question, now);
  return iSynchro_CloseLost(side, status);
}

ErrorCode AskTime(SynchroConnection* side, const char* path, Time* time) {
  return iSynchro_CloseLost(side, AskTimeStamp(side, path, time));
}

ErrorCode AskSize(SynchroConnection* side, const char* path, uint64_t* sizeBytes) {
  Reply reply;
  const ErrorCode status = FTPc_FileSize64(side->ftp, path, sizeBytes, &reply);
  if (status == Error_None) side->isSizeTold = true;
  return iSynchro_CloseLost(side, status);
}

}  // namespace

const SynchroKind kSynchroKind_FTP = {Read, Ask, AskTime, AskSize};
