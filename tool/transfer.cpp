// The beginning of a run: the transfer is made, or read from its record, and told what the record does not
// keep.
#include "tool/transfer.h"

#include <sstream>

#include "qz/agentclass.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/vrxclient.h"
#include "tool/console.h"
#include "tool/disk_file.h"
#include "tool/ftp_session.h"
#include "tool/library_call.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr std::size_t kPathBytes = 1024;
constexpr std::size_t kPasswordBytes = 1024;

// The library takes no URL without a path; what is requested is told apart.
std::string LibraryURL(const Address& address) {
  if (address.scheme == Scheme::FTP) return address.shown;
  return "http://" + HostAndPort(address) + (address.target == "/" ? "/?" : address.target);
}

// A list of mirrors is separated by ";".
std::string WithoutSeparators(std::string url) {
  for (std::size_t at = url.find(';'); at != std::string::npos; at = url.find(';', at))
    url.replace(at, 1, "%3B");
  return url;
}

[[noreturn]] void FailToMake(ErrorCode status, const SavedTransfer& saved, const std::string& localName) {
  if (status == Error_Exists)
    throw Failure{ExitCode::Other, "\"" + saved.url + "\" is being transferred already"};
  if (status == Error_Memory) throw Failure{ExitCode::Other, "out of memory"};
  if (status == Error_Exceed) throw Failure{ExitCode::Usage, "a URL or a path is too long"};
  if (status == Error_NotFound && !saved.isUpload)
    throw Failure{ExitCode::Disk, "the folder of \"" + localName + "\" does not exist" + RecordedDetails()};
  if (status == Error_NotFound) throw Failure{ExitCode::NotFound, "\"" + localName + "\" does not exist"};
  throw Failure{ExitCode::Other, std::string("cannot begin the transfer of \"") + saved.url +
                                     "\": " + Error_ToString(status) + RecordedDetails()};
}

void Check(ErrorCode status, const char* what) {
  if (status == Error_None) return;
  throw Failure{ExitCode::Other,
                std::string("cannot set ") + what + ": " + Error_ToString(status) + RecordedDetails(status)};
}

void RunClassMethod(ErrorCode status, const char* extension) {
  if (status == Error_None) return;
  throw Failure{ExitCode::Other, std::string("the extension \"") + extension +
                                     "\" cannot be used; it belongs into the folder of the program"};
}

struct Source {
  std::uint64_t bytes;
  std::int64_t seconds;
};

std::optional<Source> LookAtSource(const std::string& path) {
  FileState state;
  std::uint64_t size = 0;
  const ErrorCode status = File_GetState64(path.c_str(), &state, &size);
  if (status != Error_None || state.exists == 0) return std::nullopt;
  return Source{size, static_cast<std::int64_t>(state.modificationTime.seconds)};
}

// Data files are never written through a link, nor into a pipe or a folder. Whether there is a file.
bool RefuseSpecialFile(const std::string& systemPath) {
  const DiskFile::Kind kind = DiskFile::KindOf(systemPath);
  if (kind == DiskFile::Kind::Nothing || kind == DiskFile::Kind::File) return kind == DiskFile::Kind::File;
  const char* what = kind == DiskFile::Kind::Link     ? "a link"
                     : kind == DiskFile::Kind::Folder ? "a folder"
                                                      : "not a regular file";
  throw Failure{ExitCode::Disk, "\"" + systemPath + "\" is " + what + "; move it out of the way"};
}

}  // namespace

Transfer::Transfer(Store* store, std::unique_ptr<Claim> claim, SavedTransfer saved, bool isNew,
                   NewAgents agents, const Options& options, std::optional<std::string> password,
                   Reporter* reporter)
    : store_(store),
      claim_(std::move(claim)),
      saved_(std::move(saved)),
      isNew_(isNew),
      newAgents_(agents),
      options_(options),
      password_(std::move(password)),
      reporter_(reporter),
      address_(ParseAddress(saved_.url)),
      isInStore_(!isNew),
      restartsUpload_(options.restart) {
  options_.active = saved_.isActive;
}

Transfer::~Transfer() {
  const std::lock_guard lock(clientMutex_);
  client_.reset();
}

void Transfer::Save() {
  Open(Purpose::Save);
  Record();
}

void Transfer::Stop() {
  isStopped_ = true;
  const std::lock_guard lock(clientMutex_);
  if (client_) VRXClient_Stop(client_.get());
}

void Transfer::Open(Purpose purpose) {
  if (isNew_) {
    MakeClient();
  } else {
    ReadClient();
    BeginAgainWithoutFile();
  }
  AddAgents(newAgents_);
  AddMirrors();
  ApplySettings();
  SetLogin(purpose);
}

void Transfer::MakeClient() {
  VRXClient* client = nullptr;
  const std::string url = LibraryURL(address_);
  Error_ClearLast();
  const ErrorCode status =
      saved_.isUpload ? VRXClient_NewUpload(saved_.localPath.c_str(), url.c_str(), 0, nullptr, &client)
                      : VRXClient_NewDownload(url.c_str(), saved_.localPath.c_str(), 0, nullptr, &client);
  if (status != Error_None) FailToMake(status, saved_, ShownPath(saved_.localPath));
  const std::lock_guard lock(clientMutex_);
  client_.reset(client);
}

// A record has the servers, but not what exactly is requested of them.
void Transfer::AddMirrors() {
  std::istringstream mirrors(saved_.mirrors);
  for (std::string mirror; std::getline(mirrors, mirror);) {
    const Address address = ParseAddress(mirror);
    const std::string url = WithoutSeparators(LibraryURL(address));
    Check(VRXClient_AddMirrors(client_.get(), url.c_str()), "a mirror");
    if (address.scheme == Scheme::HTTP)
      Check(VRXClient_SetRequestTarget(client_.get(), url.c_str(), address.target.c_str()), "a mirror");
  }
}

void Transfer::AddAgents(NewAgents agents) {
  const auto vrxc = reinterpret_cast<Word>(client_.get());
  constexpr const char* kEnd = nullptr;
  if (agents.verifies) {
    const auto digest = reinterpret_cast<Word>(saved_.digest.empty() ? nullptr : saved_.digest.c_str());
    RunClassMethod(AgentClass_Method("Checksum", "verify", "vrxc", vrxc, "digest", digest, kEnd), "checksum");
  }
  if (agents.unpacks)
    RunClassMethod(AgentClass_Method("Gunzip", "unpack", "vrxc", vrxc, "remove", Word{0}, kEnd), "gunzip");
}

void Transfer::ReadClient() {
  const auto bytes = store_->ReadRecord(saved_.number);
  if (!bytes)
    throw Failure{ExitCode::Other, "the record of transfer " + std::to_string(saved_.number) + " is missing"};
  OwnedTransfer client;
  try {
    client = ReadRecord(*bytes);
  } catch (const Failure& failure) {
    throw Failure{failure.code, "transfer " + std::to_string(saved_.number) + ": " + failure.text};
  }
  const std::lock_guard lock(clientMutex_);
  client_ = std::move(client);
}

// The file has taken the place of the old one, and nothing else was to be done.
bool Transfer::IsReplaced() const {
  const bool isToReplace = saved_.overwrites && saved_.finalPath != saved_.localPath && !HasAgents(saved_);
  return isToReplace && !SizeOfFile(saved_.finalPath) && SizeOfFile(saved_.localPath) == saved_.sizeBytes;
}

// An extension has set the file aside, or the user has removed it: there is nothing left to work on.
void Transfer::BeginAgainWithoutFile() {
  char path[kPathBytes] = "";
  VRXClient_GetLocalFilePath(client_.get(), path);
  const bool isAtAgents = !saved_.isUpload && VRXClient_GetState(client_.get()) == TransferState_Agents;
  if (!isAtAgents || SizeOfFile(path) || IsReplaced()) return;
  VRXClient* old = nullptr;
  {
    const std::lock_guard lock(clientMutex_);
    old = client_.release();
  }
  VRXClient_Delete(old);
  saved_.finalPath.clear();
  saved_.doneBytes = 0;
  saved_.sizeBytes.reset();
  MakeClient();
  AddAgents({saved_.verifies && !newAgents_.verifies, saved_.unpacks && !newAgents_.unpacks});
}

void Transfer::ApplySettings() {
  VRXClient* client = client_.get();
  static constexpr VRXClientMethods64 kMethods = {OnMessage, OnProgress, OnSize, nullptr, nullptr, nullptr};
  // What is asked for is what was written, escapes included.
  if (address_.scheme == Scheme::HTTP)
    Check(VRXClient_SetRequestTarget(client, nullptr, address_.target.c_str()), "the request");
  VRXClient_SetPool(client, connections_);
  // A short download ends without a record, and needs no log file either.
  VRXClient_DelayLog(client, 1);
  VRXClient_AcceptWebPages(client, 1);
  VRXClient_SetRelativePaths(client, 1);
  VRXClient_AcceptEmptyFiles(client, 1);
  VRXClient_RefuseSurplus(client, 1);
  VRXClient_SetOverwrite(client, saved_.overwrites ? 1 : 0);
  VRXClient_SetSync(client, saved_.isSynchronised ? 1 : 0);
  VRXClient_SetActiveMode(client, saved_.isActive ? 1 : 0);
  VRXClient_SetSavePassword(client, saved_.savesPassword ? 1 : 0);
  if (saved_.isUpload) {
    const std::string name = address_.path.substr(address_.path.rfind('/') + 1);
    // Behind the data nothing is stored under it any more.
    if (VRXClient_GetState(client) < TransferState_Data)
      Check(VRXClient_SetServerFileName(client, name.c_str()), "the name on the server");
  } else {
    SetPartFile();
  }
  VRXClient_SetMethods64(client, reinterpret_cast<Word>(this), &kMethods);
}

// A record that has lost its data file begins with what FILE.part holds, or anew.
void Transfer::SetPartFile() {
  if (VRXClient_GetState(client_.get()) >= TransferState_Finish) return;
  const std::string part = PartPath(saved_.localPath);
  const bool isThere = RefuseSpecialFile(console::ToSystemName(part));
  Check(VRXClient_SetDataFilePath(client_.get(), part.c_str()), "the data file");
  if (isThere) partBytes_ = SizeOfFile(part).value_or(partBytes_);
  if (options_.restart) Check(VRXClient_DiscardData(client_.get()), "the beginning");
}

// A transfer that is saved without its password gets it when it runs.
void Transfer::SetLogin(Purpose purpose) {
  if (address_.scheme != Scheme::FTP || saved_.user.empty()) return;
  if (!password_ && saved_.savesPassword && !isNew_) return;  // the record has it
  if (!password_ && purpose == Purpose::Save) return;
  if (!saved_.isUpload && VRXClient_GetState(client_.get()) >= TransferState_Finish)
    return;  // no server is asked
  if (!password_) {
    Failure missing = MissingPassword(saved_.user);
    missing.retry = Retry::Yes;
    throw missing;
  }
  Check(VRXClient_SetUser(client_.get(), saved_.user.c_str(), password_->c_str()), "user and password");
}

// ---- uploads -----------------------------------------------------------------------------------

bool Transfer::HasUploadBegun() const {
  return (VRXClient_GetEditFlags(client_.get()) & kUploadHasBegun) != 0;
}

// Without a source its copy is sent.
bool Transfer::IsSourceChanged() const {
  const auto source = LookAtSource(saved_.localPath);
  return source && (source->bytes != saved_.sourceBytes || source->seconds != saved_.sourceSeconds);
}

// The password of a run, or the one that the record has.
Login Transfer::LoginOfTransfer() const {
  if (saved_.user.empty()) return AnonymousLogin();
  char password[kPasswordBytes] = "";
  VRXClient_GetUser(client_.get(), nullptr, password);
  return {saved_.user, password};
}

// Noted before the library copies the source: what changes afterwards counts as a change.
void Transfer::NoteSource() {
  const auto source = LookAtSource(saved_.localPath);
  if (!source) return;
  saved_.sourceBytes = source->bytes;
  saved_.sourceSeconds = source->seconds;
}

// The library continues behind what the server has under the name. That is right for bytes of this upload,
// and would mix two files otherwise.
void Transfer::PrepareUpload() {
  const bool hasBegun = HasUploadBegun();
  const bool isChanged = hasBegun && IsSourceChanged();
  if (hasBegun && !isChanged && !restartsUpload_) return;
  if (isChanged) TellChange();
  if (saved_.continuesUpload && !hasBegun && !restartsUpload_) {
    NoteSource();
    isStoredAlready_ = IsStoredAlready();
    return;
  }
  ReplaceOnServer();
  restartsUpload_ = false;
  NoteSource();
  if (!hasBegun) return;
  VRXClient_SetEditFlags(client_.get(), VRXClient_GetEditFlags(client_.get()) & ~kUploadHasBegun);
  Record();
}

void Transfer::TellChange() const {
  reporter_->Say("\"" + ShownPath(saved_.localPath) + "\" has changed: sending all of it");
}

// The library has made another copy than the one that the bytes on the server are of. They are not continued,
// by a later run either.
void Transfer::BeginUploadAnew() {
  TellChange();
  isPrepared_ = false;
  saved_.continuesUpload = false;
  VRXClient_SetEditFlags(client_.get(), VRXClient_GetEditFlags(client_.get()) & ~kUploadHasBegun);
  VRXClient_Stop(client_.get());
  Record();
}

void Transfer::LogIn(FTPSession* session) const {
  session->LogIn(LoginOfTransfer());
  session->SetType('I');
}

void Transfer::ReplaceOnServer() {
  FTPSession session(address_, options_, reporter_);
  LogIn(&session);
  const auto size = session.SizeOf(address_.path);
  const bool isThere = size ? *size > 0 : session.TimeOf(address_.path).has_value();
  if (isThere) {
    session.Remove(address_.path);
    reporter_->Say("replacing \"" + address_.path + "\" on the server" +
                   (size ? " (" + SizeText(*size) + ")" : ""));
  }
  session.Quit();
}

// --continue, and the server has as many bytes as the source.
bool Transfer::IsStoredAlready() {
  FTPSession session(address_, options_, reporter_);
  LogIn(&session);
  const auto size = session.SizeOf(address_.path);
  session.Quit();
  if (size && *size > saved_.sourceBytes) {
    reporter_->Say("\"" + address_.path + "\" is longer on the server (" + SizeText(*size) +
                   "): sending all of it");
  }
  return size == saved_.sourceBytes;
}

}  // namespace tool
