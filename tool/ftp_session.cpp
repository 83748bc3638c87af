#include "tool/ftp_session.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string_view>

#include "qz/error.h"
#include "qz/semaphore.h"
#include "qz/sock.h"
#include "qz/thread.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/library_call.h"
#include "tool/outcome.h"
#include "tool/proxy.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr int kNoSuchFolder = 550;

// Any reply but 421 means that the command is not supported; none means that the connection is lost.
bool IsLost(const Reply& reply) {
  return reply.code == 0 || reply.code == 421;
}

// Some servers echo the command that they reject.
void MaskEchoedPassword(const std::string& password, Reply* reply) {
  std::snprintf(reply->text, sizeof reply->text, "%s", MaskSecret(reply->text, password).c_str());
}

Failure FailureOfStatus(const std::string& what, ErrorCode status) {
  if (status == Error_Memory) return {ExitCode::Other, what + ": out of memory"};
  if (status == Error_Exceed)
    return {ExitCode::Protocol, what + ": the server's reply is too long" + RecordedDetails(status)};
  if (status == Error_Invalid)
    return {ExitCode::Protocol, what + ": invalid FTP reply" + RecordedDetails(status)};
  const bool mayPass = status == Error_Timeout || status == Error_Ended || status == Error_Retry ||
                       status == Error_NoAccess || status == Error_System;
  return {ExitCode::Network, what + ": " + NetworkErrorText(status), mayPass ? Retry::Yes : Retry::No};
}

// The local file that takes a listing could not be made or written.
Failure ListFileFailure(ErrorCode status) {
  const char* why = status == Error_Exceed ? "disk full" : Error_ToString(status);
  return {ExitCode::Disk, std::string("cannot store the listing: ") + why + RecordedDetails(status)};
}

// The library waits a minute for the reply to "QUIT". A separate thread does that; it owns the connection and
// shares this record with whoever started it.
struct PendingQuit {
  explicit PendingQuit(FTPc* closed) : connection(closed), answered(Semaphore_New(0, 1)) {}
  ~PendingQuit() { Semaphore_Delete(answered); }
  PendingQuit(const PendingQuit&) = delete;
  PendingQuit& operator=(const PendingQuit&) = delete;
  FTPc* connection;
  Semaphore* answered;
  Reply reply{};
};

std::atomic<int> pendingQuits{0};

std::int32_t CloseConnection(void* argument) {
  const std::unique_ptr<std::shared_ptr<PendingQuit>> shared(
      static_cast<std::shared_ptr<PendingQuit>*>(argument));
  PendingQuit& quit = **shared;
  FTPc_Close(quit.connection, &quit.reply);
  pendingQuits--;
  Semaphore_Signal(quit.answered);
  return 0;
}

// Returns the reply, or an empty one when none came within kLongestMilliseconds.
Reply QuitSoon(FTPc* connection) {
  constexpr unsigned kLongestMilliseconds = 1500, kSliceMilliseconds = 50;
  const auto quit = std::make_shared<PendingQuit>(connection);
  auto shared = std::make_unique<std::shared_ptr<PendingQuit>>(quit);
  pendingQuits++;
  Thread* thread = quit->answered == nullptr ? nullptr : Thread_New(CloseConnection, shared.get());
  if (thread == nullptr) {
    pendingQuits--;
    FTPc_Delete(connection);
    return Reply{};
  }
  (void)shared.release();  // the thread's
  Thread_Delete(thread);
  for (unsigned waited = 0; waited < kLongestMilliseconds; waited += kSliceMilliseconds) {
    if (Semaphore_Wait(quit->answered, kSliceMilliseconds) == Error_None) return quit->reply;
    if (console::Interrupted()) break;
  }
  return Reply{};
}

}  // namespace

FTPSession::FTPSession(const Address& address, const Options& options, Reporter* reporter)
    : options_(options), reporter_(reporter), host_(HostAndPort(address)) {
  CheckProxyPort(address, options);
  const auto proxy = ProxyOf(address);
  Reply reply{};
  const std::uint32_t mode = options.active ? 0u : std::uint32_t{FTPcFlag_Passive};
  const std::uint32_t direct = proxy ? 0u : std::uint32_t{FTPcFlag_NoProxy};
  ErrorCode status = Error_None;
  {
    const LibraryCall call;
    status = FTPc_Open(address.host.c_str(), address.port, mode | direct, &connection_, &reply);
  }
  reporter_->Received(reply.code, reply.text);
  if (status == Error_None) return;
  connection_ = nullptr;
  const std::string through = proxy ? " through the proxy " + *proxy : "";
  Fail("cannot connect to " + host_ + through, status, reply);
}

FTPSession::~FTPSession() {
  if (connection_ != nullptr) FTPc_Delete(connection_);
}

void FTPSession::LogIn(const Login& login) {
  reporter_->Sent("USER " + login.user);
  reporter_->Sent("PASS ********");
  Reply reply{};
  const LibraryCall call;
  const ErrorCode status = FTPc_Login(connection_, login.user.c_str(), login.password.c_str(), &reply);
  MaskEchoedPassword(login.password, &reply);
  reporter_->Received(reply.code, reply.text);
  if (status == Error_None) return;
  if (status == Error_NoAccess && reply.code >= 400 && !IsTemporaryReply(reply.code)) {
    throw Failure{ExitCode::Login, host_ + " refused the login of \"" + login.user + "\": \"" +
                                       std::to_string(reply.code) + " " + reply.text + "\"; " +
                                       (IsAnonymous(login) ? "log in with --user NAME"
                                                           : "check the user name and the password")};
  }
  Fail("cannot log in to " + host_, status, reply);
}

void FTPSession::SetType(char type) {
  reporter_->Sent(std::string("TYPE ") + type);
  Reply reply{};
  const LibraryCall call;
  const ErrorCode status = FTPc_FileType(connection_, type, 'N', &reply);
  reporter_->Received(reply.code, reply.text);
  if (status != Error_None) Fail("cannot set the transfer type", status, reply);
}

std::optional<std::uint64_t> FTPSession::SizeOf(const std::string& path) {
  reporter_->Sent("SIZE " + path);
  Reply reply{};
  std::uint64_t size = 0;
  const LibraryCall call;
  const ErrorCode status = FTPc_FileSize64(connection_, path.c_str(), &size, &reply);
  reporter_->Received(reply.code, reply.text);
  if (status == Error_None) return size;
  if (IsLost(reply)) Fail("cannot query the size", status, reply);
  return std::nullopt;
}

std::optional<Time> FTPSession::TimeOf(const std::string& path) {
  reporter_->Sent("MDTM " + path);
  Reply reply{};
  Time time{};
  const LibraryCall call;
  const ErrorCode status = FTPc_ModTime(connection_, path.c_str(), &time, &reply);
  reporter_->Received(reply.code, reply.text);
  if (status == Error_None) return time;
  if (IsLost(reply)) Fail("cannot query the time", status, reply);
  return std::nullopt;
}

void FTPSession::Remove(const std::string& path) {
  reporter_->Sent("DELE " + path);
  Reply reply{};
  const LibraryCall call;
  const ErrorCode status = FTPc_DeleteFile(connection_, path.c_str(), &reply);
  reporter_->Received(reply.code, reply.text);
  if (status == Error_None) return;
  if (IsLost(reply)) Fail("cannot replace \"" + path + "\"", status, reply);
  throw Failure{ExitCode::Login, host_ + " has \"" + path + "\" already and does not let it be replaced: \"" +
                                     std::to_string(reply.code) + " " + reply.text +
                                     "\"; choose another name, or send the rest with --continue"};
}

bool FTPSession::CanRestart() {
  reporter_->Sent("REST 100");
  reporter_->Sent("REST 0");
  std::int32_t supported = 0;
  ErrorCode status = Error_None;
  {
    const LibraryCall call;
    status = FTPc_RestartSupported(connection_, &supported);
  }
  // A refusal of the second command does not change the answer to the first.
  if (supported != 0 && (status == Error_None || status == Error_Invalid)) return true;
  if (status != Error_None) throw FailureOfStatus("cannot query whether the server can resume", status);
  // A server that ended the connection (421) instead of answering has not said no.
  SetType('I');
  return false;
}

std::string FTPSession::CurrentFolder() {
  constexpr std::size_t kPathBytes = 1024;
  reporter_->Sent("PWD");
  Reply reply{};
  char folder[kPathBytes] = "";
  const LibraryCall call;
  const ErrorCode status = FTPc_CurrentDirectory(connection_, folder, &reply);
  reporter_->Received(reply.code, reply.text);
  if (status != Error_None) Fail("cannot find the folder of the login", status, reply);
  return folder;
}

bool FTPSession::HasFolder(const std::string& path) {
  reporter_->Sent("CWD " + path);
  Reply reply{};
  const LibraryCall call;
  const ErrorCode status = FTPc_ChangeDirectory(connection_, path.c_str(), &reply);
  reporter_->Received(reply.code, reply.text);
  if (status == Error_None) return true;
  if (reply.code != kNoSuchFolder) Fail("cannot enter \"" + path + "\"", status, reply);
  return false;
}

void FTPSession::List(const std::string& folder, bool namesOnly, const std::string& localFile) {
  if (!folder.empty()) reporter_->Sent("CWD " + folder);
  reporter_->Sent(namesOnly ? "NLST" : "LIST");
  Reply reply{};
  const LibraryCall call;
  const ErrorCode status =
      FTPc_GetDirectoryList(connection_, folder.empty() ? nullptr : folder.c_str(),
                            namesOnly ? FTPcList_Names : FTPcList_Long, localFile.c_str(), &reply);
  reporter_->Received(reply.code, reply.text);
  if (status != Error_None && IsLocalFileFailure(status)) throw ListFileFailure(status);
  if (status != Error_None) Fail("cannot list \"/" + folder + "\"", status, reply);
}

void FTPSession::Quit() {
  reporter_->Sent("QUIT");
  FTPc* connection = connection_;
  connection_ = nullptr;
  const Reply reply = QuitSoon(connection);
  reporter_->Received(reply.code, reply.text);
}

bool FTPSession::IsQuitPending() {
  return pendingQuits != 0;
}

// A negative reply decides; without one the status does.
void FTPSession::Fail(const std::string& what, ErrorCode status, const Reply& reply) const {
  const bool refused = IsRefusal(reply.code);
  Failure failure = refused ? ExplainFTPReply(what, reply.code, reply.text) : FailureOfStatus(what, status);
  // While the control connection is up, what cannot be reached is the peer of the data connection.
  const bool unreachable =
      !refused && connection_ != nullptr && (status == Error_NoAccess || status == Error_System);
  if (unreachable || reply.code == kNoDataConnection) failure.text += DataConnectionHint(options_.active);
  throw failure;
}

}  // namespace tool
