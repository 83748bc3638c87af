// The steps of a run, and what follows when a connection has ended.
//
//   the connection ended, or was refused
//     the server redirects           the library follows; nothing is counted
//     another server has no mark     it follows at once
//     every server refused for good  the run fails
//     --retries are used up          the run fails
//     else                           a pause that grows, then the same servers again
//
// Data that comes begins the count of retries anew.
#include <algorithm>
#include <iterator>
#include <thread>

#include "qz/error.h"
#include "qz/vrxclient.h"
#include "tool/console.h"
#include "tool/library_call.h"
#include "tool/proxy.h"
#include "tool/saved_text.h"
#include "tool/text.h"
#include "tool/transfer.h"

namespace tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr auto kInterruptSlice = milliseconds(50);

// "ftp://host:port" without the scheme.
std::string HostOf(const std::string& server) {
  const std::size_t end = server.find("://");
  return end == std::string::npos ? server : server.substr(end + 3);
}

std::string SchemeOf(const std::string& server) {
  return server.substr(0, std::min(server.find("://"), server.size()));
}

bool IsOfDataFile(std::uint32_t reason) {
  return reason == VRXClientReason_DiskFull || reason == VRXClientReason_DataFile ||
         reason == VRXClientReason_OpenDataFile;
}

}  // namespace

// ---- callbacks ---------------------------------------------------------------------------------

void Transfer::OnMessage(Word self, const char* text) {
  auto* transfer = reinterpret_cast<Transfer*>(self);
  transfer->lastMessage_ = text;
  std::string shown = text;
  if (transfer->password_) shown = MaskSecret(shown, *transfer->password_);
  transfer->reporter_->ReportMessage(shown);
}

// The copying of an upload's source is told as well.
void Transfer::OnProgress(Word self, std::uint64_t done, std::uint64_t) {
  auto* transfer = reinterpret_cast<Transfer*>(self);
  const std::uint32_t state = VRXClient_GetState(transfer->client_.get());
  if (state == TransferState_PrepareDataFile) transfer->isCopyNew_ = true;
  if (state != TransferState_Data) return;
  transfer->position_ = done;
  if (transfer->isLineBegun_) transfer->line_->MoveTo(done);
}

void Transfer::OnSize(Word self, std::uint64_t size) {
  auto* transfer = reinterpret_cast<Transfer*>(self);
  transfer->saved_.sizeBytes = size == UINT64_MAX ? std::nullopt : std::optional(size);
  if (transfer->isLineBegun_) transfer->line_->SetTotal(transfer->saved_.sizeBytes);
}

// ---- the run -----------------------------------------------------------------------------------

void Transfer::Run(HTTPcPool* connections) {
  connections_ = connections;
  try {
    TakeMovedFileBack();
    Open(Purpose::Run);
    line_.emplace(reporter_, saved_.isUpload ? address_.fileName : NameOf(saved_));
    Drive();
    Finish();
  } catch (const Interruption&) {
    TellInterruption();
    throw;
  } catch (const Failure& failure) {
    TellFailure(failure);
    throw Failure{failure.code, ""};
  }
}

void Transfer::Drive() {
  saved_.status = TransferStatus::Waiting;
  // The data was complete when the last run ended. The path is saved before the file gets it.
  if (!saved_.isUpload && VRXClient_GetState(client_.get()) == TransferState_Finish) {
    ChooseFinalPath();
    Record();
  }
  while (!isStoredAlready_ && VRXClient_GetState(client_.get()) != TransferState_Completed) {
    if (IsReady()) Step();
  }
}

// Each attempt of an upload looks at the source again: the library continues whatever the server has.
bool Transfer::IsReady() {
  if (!saved_.isUpload || isPrepared_ || VRXClient_GetState(client_.get()) != 0) return true;
  CheckInterrupt();
  try {
    PrepareUpload();
    isPrepared_ = true;
  } catch (const Failure& failure) {
    Record();
    RetryLater(failure);
  }
  return isPrepared_ && !isStoredAlready_;
}

void Transfer::CheckInterrupt() const {
  if (isStopped_ || console::Interrupted()) throw Interruption{};
}

void Transfer::Step() {
  // An agent that has nothing to do for now gives the step back at once.
  constexpr auto kAgentPause = milliseconds(5);
  CheckInterrupt();
  const std::uint32_t before = VRXClient_GetState(client_.get());
  Error_ClearLast();
  const std::int32_t result = VRXClient_Idle(client_.get());
  const std::uint32_t after = VRXClient_GetState(client_.get());
  if (result == VRXClientResult_None && before == after) {
    if (after == TransferState_Agents) std::this_thread::sleep_for(kAgentPause);
    return;
  }
  OnStepEnded(before, result);
}

void Transfer::OnStepEnded(std::uint32_t before, std::int32_t result) {
  const std::uint32_t after = VRXClient_GetState(client_.get());
  if (result == VRXClientResult_Cancelled) {
    CheckInterrupt();
    throw Failure{ExitCode::Refused, "an extension cancelled the transfer: " + lastMessage_};
  }
  if (saved_.isUpload && before == TransferState_PrepareDataFile && HasUploadBegun() && isCopyNew_) {
    return BeginUploadAnew();
  }
  if (after == TransferState_Connect) NoteServer();
  if (after == TransferState_Data && before != after) OnDataBegins();
  if (after == TransferState_Finish && before != after && !saved_.isUpload) {
    CheckIsWhole();
    ChooseFinalPath();
  }
  const bool hasEnded = after == 0 && before >= TransferState_Connect;
  const bool hasFailed = result == VRXClientResult_Failed || result == VRXClientResult_Postponed;
  if (hasEnded || (hasFailed && before > 0)) {
    isPrepared_ = false;
    OnAttemptEnded(before, result);
  } else if (result != VRXClientResult_None) {
    RecordWhenDue();
  }
}

// Only the server is known from here on: a failure drops it.
void Transfer::NoteServer() {
  char name[1024] = "";
  VRXClient_GetServerName(client_.get(), name);
  server_ = name;
  VRXClientServer server;
  for (serverIndex_ = 0; VRXClient_GetServer(client_.get(), serverIndex_, &server) == Error_None;
       serverIndex_++) {
    if (server.isCurrent != 0) break;
  }
  saved_.attempts++;
  attemptPosition_ = position_;
}

// Of the responses that are called a success these alone hold a file.
void Transfer::CheckResponse() const {
  constexpr std::int32_t kHoldFiles[] = {200, 203, 206, 416};
  VRXClientLastReply reply;
  if (SchemeOf(server_) == "ftp" || VRXClient_GetLastReply(client_.get(), &reply) != Error_None) return;
  if (std::find(std::begin(kHoldFiles), std::end(kHoldFiles), reply.code) != std::end(kHoldFiles)) return;
  throw ExplainHTTPReply("cannot get \"" + saved_.url + "\"", reply.code, reply.text);
}

void Transfer::OnDataBegins() {
  CheckResponse();
  position_ = VRXClient_GetOffset64(client_.get());
  TellWhereDataBegins();
  if (!dataBegan_) {
    dataBegan_ = Clock::now();
    firstPosition_ = position_;
  }
  attemptPosition_ = position_;
  isLineBegun_ = true;
  line_->Begin(position_, saved_.sizeBytes);
  if (saved_.isUpload) return OnUploadBegins();
  RecordWhenDue();
}

void Transfer::TellWhereDataBegins() {
  const std::uint64_t held = saved_.isUpload ? furthest_ : std::max(partBytes_, furthest_);
  const bool isAskedFor = options_.restart && furthest_ == 0;
  if (position_ > 0) return reporter_->Say("resuming at " + SizeText(position_));
  if (held == 0 || isAskedFor) return;
  const bool isSmaller = saved_.sizeBytes && *saved_.sizeBytes < held;
  const char* why = VRXClient_ServerSupportsResume(client_.get()) == 0
                        ? "the server does not support resuming"
                    : saved_.isUpload ? "the server kept nothing"
                    : isSmaller       ? "the file on the server became smaller"
                                      : "the file on the server changed";
  reporter_->Say(std::string(why) + ": restarting from the beginning");
}

void Transfer::OnUploadBegins() {
  if (HasUploadBegun()) return;
  if (position_ > 0 && !saved_.continuesUpload) {
    // Not a byte has been sent yet.
    isPrepared_ = false;
    VRXClient_Stop(client_.get());
    return RetryLater({ExitCode::Network, "\"" + ServerPath() + "\" has appeared on the server", Retry::Yes});
  }
  isCopyNew_ = false;
  VRXClient_SetEditFlags(client_.get(), VRXClient_GetEditFlags(client_.get()) | kUploadHasBegun);
  Record();
}

// ---- the end of an attempt ---------------------------------------------------------------------

// A redirect leads to another server, and a file that has changed is asked for anew.
bool Transfer::ReconnectsAtOnce(std::uint32_t before) const {
  constexpr std::int32_t kPartialContent = 206, kRangeNotSatisfiable = 416;
  VRXClientLastReply reply;
  if (before != TransferState_Start || VRXClient_GetLastReply(client_.get(), &reply) != Error_None ||
      reply.status != Error_Retry)
    return false;
  const bool isChanged = reply.code == kPartialContent || reply.code == kRangeNotSatisfiable;
  return isChanged || reply.reason == VRXClientReason_Redirected;
}

// A mirror, and where a redirect leads to, are named with their server.
std::string Transfer::WhatIsAskedFor() const {
  VRXClientServer server;
  const bool isFirst =
      serverIndex_ == 0 || VRXClient_GetServer(client_.get(), serverIndex_, &server) != Error_None;
  if (isFirst) return address_.scheme == Scheme::HTTP ? saved_.url : ServerPath();
  try {
    return ParseAddress(server.url).shown;
  } catch (const Failure&) {
    return server_;
  }
}

std::string Transfer::ProxyOnTheWay() const {
  try {
    return ProxyOf(ParseAddress(server_)).value_or("");
  } catch (const Failure&) {
    return "";
  }
}

AttemptEnd Transfer::DescribeEnd(std::uint32_t before, std::int32_t result) const {
  VRXClientLastReply reply;
  VRXClient_GetLastReply(client_.get(), &reply);
  AttemptEnd end;
  end.state = before;
  end.result = result;
  end.reason = VRXClient_GetError(client_.get());
  end.status = reply.status;
  end.replyCode = reply.code;
  end.replyText = password_ ? MaskSecret(reply.text, *password_) : reply.text;
  end.details = IsOfDataFile(end.reason) ? RecordedFileDetails() : RecordedDetails(reply.status);
  end.position = position_;
  end.size = saved_.sizeBytes;
  end.isUpload = saved_.isUpload;
  end.isHTTP = SchemeOf(server_) != "ftp";
  end.isActive = saved_.isActive;
  end.scheme = SchemeOf(server_);
  end.host = HostOf(server_);
  end.proxy = ProxyOnTheWay();
  end.what = WhatIsAskedFor();
  end.user = saved_.user;
  end.localName = ShownPath(saved_.localPath);
  if (before == TransferState_Agents) end.agentText = lastMessage_;
  return end;
}

// The server that the next step takes, when it has no mark.
std::optional<Transfer::ListedServer> Transfer::NextServer() const {
  VRXClientServer server;
  for (std::uint32_t i = 0; VRXClient_GetServer(client_.get(), i, &server) == Error_None; i++) {
    if (server.isFailed != 0) continue;
    const std::string host = HostOf(server.url);
    return ListedServer{i, host.substr(0, host.find('/'))};
  }
  return std::nullopt;
}

void Transfer::OnAttemptEnded(std::uint32_t before, std::int32_t result) {
  CheckInterrupt();
  const AttemptEnd end = DescribeEnd(before, result);
  if (result != VRXClientResult_Failed && ReconnectsAtOnce(before)) return RecordWhenDue();
  Failure failure = ExplainAttempt(end);
  if (position_ > attemptPosition_ && position_ > furthest_) {
    furthest_ = position_;
    failedRetries_ = 0;
    mayPass_ = true;
  }
  const bool isLocal =
      failure.code == ExitCode::Disk || failure.code == ExitCode::Refused || before >= TransferState_Finish;
  if (isLocal) throw failure;
  mayPass_ = mayPass_ || failure.retry == Retry::Yes;
  saved_.lastReason = failure.text;
  Record();
  const auto next = NextServer();
  if (next && next->index != serverIndex_)
    return reporter_->Say(failure.text + "; " + next->host + " follows");
  // A server that is to be tried again has no mark; without one left, all are tried again.
  failure.retry = mayPass_ ? Retry::Yes : Retry::No;
  RetryLater(failure);
  if (!next) mayPass_ = false;
}

void Transfer::RetryLater(const Failure& failure) {
  saved_.lastReason = failure.text;
  if (failure.retry == Retry::No || failedRetries_ >= options_.retries) throw failure;
  PauseBeforeRetry(failure);
}

void Transfer::PauseBeforeRetry(const Failure& failure) {
  const unsigned wait = PauseSeconds(options_.retryWaitSeconds, failedRetries_);
  failedRetries_++;
  reporter_->Say(failure.text + "; next try in " + std::to_string(wait) + " s (retry " +
                 std::to_string(failedRetries_) + " of " + std::to_string(options_.retries) + ")");
  line_->ShowState("next try in " + std::to_string(wait) + " s");
  const auto end = Clock::now() + seconds(wait);
  while (Clock::now() < end) {
    CheckInterrupt();
    std::this_thread::sleep_for(std::min<Clock::duration>(kInterruptSlice, end - Clock::now()));
  }
}

// ---- the record --------------------------------------------------------------------------------

// Replacing files costs more than a small download does. One that ends at once needs no record: a program
// that is killed before has lost a part that the same command begins again.
void Transfer::RecordWhenDue() {
  constexpr auto kAtOnce = milliseconds(200);
  constexpr std::uint64_t kSmallBytes = 64 * 1024;
  const bool isSmall = saved_.sizeBytes && *saved_.sizeBytes <= kSmallBytes;
  const bool hasData = VRXClient_GetState(client_.get()) >= TransferState_Data;
  const bool mayWait = isNew_ && !isInStore_ && !saved_.isUpload && (isSmall || !hasData) &&
                       partBytes_ == 0 && Clock::now() - began_ < kAtOnce;
  if (!mayWait) return Record();
  // Without an agent nothing can refuse the file any more.
  const bool isAtAgents = VRXClient_GetState(client_.get()) == TransferState_Agents;
  if (isAtAgents && recordForAgents_.empty() && VRXClient_GetAgentCount(client_.get()) > 0)
    recordForAgents_ = WriteRecord(client_.get());
}

void Transfer::Record() {
  SaveRecord(WriteRecord(client_.get()));
}

void Transfer::SaveRecord(const std::string& record) {
  saved_.doneBytes = position_ > 0 ? position_ : std::max(partBytes_, furthest_);
  store_->Save(saved_, record);
  isInStore_ = true;
}

}  // namespace tool
