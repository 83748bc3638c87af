// What a failed step of a transfer means to its user: words, exit code, and whether a retry may help.
//
// Nothing here does I/O: the tables are pure.
#ifndef TOOL_OUTCOME_H
#define TOOL_OUTCOME_H

#include <cstdint>
#include <optional>
#include <string>

#include "qz/types.h"
#include "tool/failure.h"

namespace tool {

// The states of a transfer that the program tells apart (VRXClient_GetState).
enum TransferState : std::uint32_t {
  TransferState_PrepareDataFile = 1,
  TransferState_Connect = 2,
  TransferState_Login = 4,
  TransferState_Directory = 5,
  TransferState_OpenDataFile = 7,
  TransferState_FileSize = 9,
  TransferState_Start = 10,
  TransferState_Data = 11,
  TransferState_Finish = 12,
  TransferState_Agents = 13,
  TransferState_Completed = 14
};

// The end of an attempt, as the library tells it.
struct AttemptEnd {
  std::uint32_t state = 0;   // in which it ended
  std::int32_t result = 0;   // of the step (enum VRXClientResult)
  std::uint32_t reason = 0;  // enum VRXClientReason; of a server that was dropped too
  ErrorCode status = 0;      // of the step
  std::int32_t replyCode = 0;
  std::string replyText;
  std::string details;  // " [Sock_Connect: Connection refused (111)]", or nothing

  std::uint64_t position = 0;         // of the data
  std::optional<std::uint64_t> size;  // of the whole data; nothing: unknown

  bool isUpload = false;
  bool isHTTP = false;
  bool isActive = false;
  std::string scheme;     // of the server
  std::string host;       // "host" or "host:port"
  std::string proxy;      // "proxy:port"; empty: none
  std::string what;       // the file as the user named it: a URL, or a path on the server
  std::string user;       // of the login; empty: anonymous
  std::string localName;  // the local file, for failures of the disk
  std::string agentText;  // what an extension said last; empty: nothing
};

Failure ExplainAttempt(const AttemptEnd& end);

// The words of an HTTP status: the library keeps the first one only, the standard ones are known.
std::string HTTPReasonText(std::int32_t code, const std::string& firstWord);

// The failure for a negative reply of an FTP server. what: "cannot get "x"".
Failure ExplainFTPReply(const std::string& what, std::int32_t code, const std::string& text);
// The same for an HTTP response that is neither success nor redirect.
Failure ExplainHTTPReply(const std::string& what, std::int32_t code, const std::string& text);

// Whether a reply is a refusal, or asks for an account.
bool IsRefusal(std::int32_t code);

// The reply of an FTP server that cannot open the data connection, and what to do about such a connection.
constexpr std::int32_t kNoDataConnection = 425;
std::string DataConnectionHint(bool isActive);

// Whether an FTP reply tells that the same command may succeed later.
bool IsTemporaryReply(std::int32_t code);

// The pause before the next attempt, after so many that failed in a row: each is twice the one before, up to
// a minute. firstSeconds: up to an hour.
unsigned PauseSeconds(unsigned firstSeconds, unsigned failedRetries);

}  // namespace tool

#endif
