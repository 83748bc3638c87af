#include "tool/outcome.h"

#include <algorithm>
#include <iterator>

#include "qz/error.h"
#include "qz/vrxclient.h"
#include "tool/library_call.h"
#include "tool/text.h"

namespace tool {
namespace {

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

// ---- failures on this side ---------------------------------------------------------------------

// What is wrong here, whatever the servers say; retries do not mend it.
struct LocalRow {
  std::uint32_t reason;
  ExitCode code;
  const char* text;  // behind the local name
  const char* hint = "";
};

constexpr LocalRow kLocalRows[] = {
    {VRXClientReason_Memory, ExitCode::Other, "out of memory"},
    {VRXClientReason_OpenDataFile, ExitCode::Disk, "the data file cannot be opened"},
    {VRXClientReason_DataFile, ExitCode::Disk, "the data file cannot be created, read or written"},
    {VRXClientReason_NoSource, ExitCode::NotFound, "the file to upload is missing"},
    {VRXClientReason_EmptySource, ExitCode::Disk, "the file to upload is empty"},
    {VRXClientReason_Agent, ExitCode::Refused, "an extension refused the file"},
    {VRXClientReason_DiskFull, ExitCode::Disk, "disk full, or not writable",
     "; free some space, then rerun the command to resume"},
    {VRXClientReason_NoDestination, ExitCode::Disk, "the destination's folder does not exist"},
};

const LocalRow* FindLocal(std::uint32_t reason) {
  const LocalRow* end = std::end(kLocalRows);
  const LocalRow* row =
      std::find_if(kLocalRows, end, [reason](const LocalRow& each) { return each.reason == reason; });
  return row == end ? nullptr : row;
}

Failure ExplainLocal(const AttemptEnd& end, const LocalRow& row) {
  if (row.code == ExitCode::Refused && !end.agentText.empty()) return {row.code, end.agentText};
  return {row.code, Quoted(end.localName) + ": " + row.text + end.details + row.hint};
}

// ---- what the server said ----------------------------------------------------------------------

struct Reason {
  std::int32_t code;
  const char* text;
};

constexpr Reason kReasons[] = {
    {200, "OK"},
    {203, "Non-Authoritative Information"},
    {204, "No Content"},
    {206, "Partial Content"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {303, "See Other"},
    {304, "Not Modified"},
    {307, "Temporary Redirect"},
    {308, "Permanent Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {407, "Proxy Authentication Required"},
    {408, "Request Timeout"},
    {416, "Range Not Satisfiable"},
    {429, "Too Many Requests"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
};

// ---- failures of the server --------------------------------------------------------------------

std::string ActionOf(const AttemptEnd& end) {
  if (end.state <= TransferState_Connect)
    return "cannot connect to " + end.host + (end.proxy.empty() ? "" : " through the proxy " + end.proxy);
  if (end.state == TransferState_Login) return "cannot log in to " + end.host;
  return (end.isUpload ? "cannot store " : "cannot get ") + Quoted(end.what);
}

Failure ExplainLogin(const AttemptEnd& end) {
  return {ExitCode::Login,
          end.host + " refused the login" + (end.user.empty() ? "" : " of " + Quoted(end.user)) + ": \"" +
              std::to_string(end.replyCode) + " " + end.replyText + "\"; " +
              (end.user.empty() ? "log in with --user NAME" : "check the user name and the password")};
}

Failure ExplainRefusal(const AttemptEnd& end) {
  if (end.isHTTP) return ExplainHTTPReply(ActionOf(end), end.replyCode, end.replyText);
  if (end.state == TransferState_Login && end.status == Error_NoAccess && !IsTemporaryReply(end.replyCode))
    return ExplainLogin(end);
  Failure failure = ExplainFTPReply(ActionOf(end), end.replyCode, end.replyText);
  if (end.replyCode == kNoDataConnection) failure.text += DataConnectionHint(end.isActive);
  return failure;
}

std::string EndOfData(const AttemptEnd& end) {
  if (!end.size || end.position >= *end.size) return "connection closed before the end of the file";
  return "connection closed after " + GroupedNumber(end.position) + " of " + GroupedNumber(*end.size) +
         " bytes";
}

// All bytes came, and the connection was refused for what came behind them.
bool HasSurplus(const AttemptEnd& end) {
  return end.status == Error_Invalid && end.state == TransferState_Data && !end.isHTTP && end.size &&
         end.position == *end.size;
}

Failure ExplainStatus(const AttemptEnd& end) {
  constexpr std::int32_t kPartialContent = 206;
  const std::string what = ActionOf(end);
  if (end.status == Error_Memory) return {ExitCode::Other, what + ": out of memory"};
  if (end.status == Error_Exceed)
    return {ExitCode::Protocol, what + ": the server's reply is too long" + end.details};
  const bool isConnected = end.state > TransferState_Connect;
  if (end.status == Error_Invalid && end.isHTTP && end.replyCode == kPartialContent) {
    return {ExitCode::Protocol, what + ": the server sent another part of the file than was asked for" +
                                    end.details + "; --restart downloads it from the beginning"};
  }
  if (HasSurplus(end))
    return {ExitCode::Protocol, "the server sent more than the reported " + GroupedNumber(*end.size) +
                                    " bytes; the data cannot be trusted"};
  // A greeting that is no reply ends the connecting.
  if (end.status == Error_Invalid && (isConnected || !end.isHTTP))
    return {ExitCode::Protocol, what + ": invalid response" + end.details};
  if (end.status == Error_NotFound && isConnected) return {ExitCode::NotFound, what + ": not found"};
  if (end.status == Error_Ended && end.state == TransferState_Data)
    return {ExitCode::Network, EndOfData(end), Retry::Yes};
  const bool isName = end.status == Error_NotFound;
  Failure failure = {ExitCode::Network, what + ": " + StatusMeaning(end.status) + end.details,
                     isName ? Retry::No : Retry::Yes};
  // While the control connection is up, what cannot be reached is the peer of the data connection.
  const bool isUnreachable = end.status == Error_NoAccess || end.status == Error_System;
  if (!end.isHTTP && isConnected && isUnreachable) failure.text += DataConnectionHint(end.isActive);
  return failure;
}

Failure ExplainServer(const AttemptEnd& end) {
  if (end.reason == VRXClientReason_IsDirectory)
    return {ExitCode::Usage, Quoted(end.what) + " is a folder; list it with qz ls"};
  if (end.reason == VRXClientReason_Redirected)
    return {ExitCode::Protocol, "the server redirects too often, more than 10 times in a row"};
  if (!end.scheme.empty() && end.scheme != "http" && end.scheme != "ftp") {
    return {ExitCode::Protocol, "the server redirects to " + end.scheme + "://" + end.host + "; " +
                                    end.scheme + " is not supported"};
  }
  if (end.isHTTP && end.replyCode >= 300 && end.replyCode < 400)
    return {ExitCode::Protocol, "the server redirects without a usable Location"};
  return IsRefusal(end.replyCode) ? ExplainRefusal(end) : ExplainStatus(end);
}

}  // namespace

std::string HTTPReasonText(std::int32_t code, const std::string& firstWord) {
  for (const Reason& reason : kReasons) {
    std::string text = reason.text;
    if (reason.code == code && text.substr(0, text.find(' ')) == firstWord) return text;
  }
  return firstWord;
}

bool IsRefusal(std::int32_t code) {
  constexpr std::int32_t kAccountNeeded = 332;
  return code >= 400 || code == kAccountNeeded;
}

std::string DataConnectionHint(bool isActive) {
  return std::string(" (data connection); try ") + (isActive ? "without --active" : "--active");
}

bool IsTemporaryReply(std::int32_t code) {
  return code == 421 || code == 425 || code == 426 || code == 450 || code == 451;
}

unsigned PauseSeconds(unsigned firstSeconds, unsigned failedRetries) {
  constexpr unsigned kLongestPauseSeconds = 60;
  const unsigned shift = std::min(failedRetries, 6u);
  return std::min(firstSeconds << shift, kLongestPauseSeconds);
}

Failure ExplainFTPReply(const std::string& what, std::int32_t code, const std::string& text) {
  const std::string said = what + ": the server answered \"" + std::to_string(code) + " " + text + "\"";
  switch (code) {
    case 530:
      return {ExitCode::Login, said};
    case 332:
    case 532:
      return {ExitCode::Login, said + "; an account (ACCT) is required, which is not supported"};
    case 550:
      return {ExitCode::NotFound, said};
    case 452:
    case 552:
      return {ExitCode::Other, said + "; disk full or quota exceeded on the server"};
    case 553:
      return {ExitCode::Other, said + "; choose another name or folder"};
    default:
      break;
  }
  if (IsTemporaryReply(code)) return {ExitCode::Network, said, Retry::Yes};
  return {ExitCode::Protocol, said};
}

Failure ExplainHTTPReply(const std::string& what, std::int32_t code, const std::string& text) {
  const std::string reason = HTTPReasonText(code, text);
  const std::string said =
      what + ": the server answered \"" + std::to_string(code) + (reason.empty() ? "" : " " + reason) + "\"";
  switch (code) {
    case 404:
    case 410:
      return {ExitCode::NotFound, said + "; file not found on the server, check the path"};
    case 401:
    case 407:
      return {ExitCode::Login, said + "; authentication required, which qz supports for FTP servers only"};
    case 403:
      return {ExitCode::Login, said + "; access denied"};
    case 408:
    case 429:
    case 502:
    case 503:
    case 504:
      return {ExitCode::Network, said + "; try again later", Retry::Yes};
    default:
      return {ExitCode::Protocol, said};
  }
}

Failure ExplainAttempt(const AttemptEnd& end) {
  if (const LocalRow* row = FindLocal(end.reason)) return ExplainLocal(end, *row);
  if (end.state >= TransferState_Finish)
    return {ExitCode::Disk, "cannot move the file to " + Quoted(end.localName) + end.details};
  return ExplainServer(end);
}

}  // namespace tool
