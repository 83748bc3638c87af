// The control connection: opening, logging in, single commands and closing.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "net/ftpc_internal.h"
#include "net/ftpc_testing.h"
#include "net/sock_internal.h"
#include "net/telnet_internal.h"
#include "os/core/memory_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/clock.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/os.h"
#include "qz/proxy.h"
#include "qz/string.h"
#include "stream/stream_internal.h"

namespace {

// Commands that are sent and answered once.
constexpr FTPCommand kUser = {"USER", kFTPClass_Completed, Error_NoAccess};
constexpr FTPCommand kPassword = {"PASS", kFTPClass_Completed, Error_NoAccess};
constexpr FTPCommand kMagic = {"MAGC", kFTPClass_Completed, Error_Invalid};
constexpr FTPCommand kMirrors = {"MIRR", kFTPClass_Completed, Error_Invalid};
constexpr FTPCommand kSize = {"SIZE", kFTPClass_Completed, Error_Invalid};
constexpr FTPCommand kModTime = {"MDTM", kFTPClass_Completed, Error_Invalid};
constexpr FTPCommand kDeleteFile = {"DELE", kFTPClass_Completed, Error_Invalid};
constexpr FTPCommand kRenameFrom = {"RNFR", kFTPClass_Intermediate, Error_Invalid};
constexpr FTPCommand kRenameTo = {"RNTO", kFTPClass_Completed, Error_Invalid};
constexpr FTPCommand kType = {"TYPE", kFTPClass_Completed, Error_NoAccess};
constexpr FTPCommand kChangeDirectory = {"CWD", kFTPClass_Completed, Error_NoAccess};
constexpr FTPCommand kMakeDirectory = {"MKD", kFTPClass_Completed, Error_NoAccess};
constexpr FTPCommand kCurrentDirectory = {"PWD", kFTPClass_Completed, Error_Invalid};

constexpr uint32_t kTextFileMode = 18;
constexpr size_t kLoginBufferSize = 256;

FTPProxyServer proxyServer = {};

// ---- welcome file ----------------------------------------------------------------------------------------

ErrorCode OpenWelcome(FTPc* connection) {
  if (connection->welcome != nullptr) return Error_None;
  return iFile_OpenTemporary(SysDir_Cache, "welcome", ".txt", kTextFileMode, false, connection->welcomeName,
                             &connection->welcome);
}

// Without the file the replies are lost, not the connection; the next line does not try to open it again.
void Capture(FTPc* connection, std::string_view line) {
  if ((connection->flags & kFTPFlag_Capturing) == 0) return;
  if (OpenWelcome(connection) != Error_None) {
    connection->flags &= ~kFTPFlag_Capturing;
    return;
  }
  const std::string_view text = iFTPc_WelcomeText(line);
  File_Print(connection->welcome, "%.*s\n", static_cast<int>(text.size()), text.data());
}

void CloseWelcome(FTPc* connection) {
  if (connection->welcome != nullptr) File_Close(connection->welcome);
  connection->welcome = nullptr;
}

// Captures while it lives, when the caller asked for it.
class Capturing {
 public:
  explicit Capturing(FTPc* connection) : connection_(connection) {
    if ((connection->flags & FTPcFlag_Welcome) != 0) connection->flags |= kFTPFlag_Capturing;
  }
  ~Capturing() { connection_->flags &= ~kFTPFlag_Capturing; }
  Capturing(const Capturing&) = delete;
  Capturing& operator=(const Capturing&) = delete;

 private:
  FTPc* connection_;
};

// ---- lines -----------------------------------------------------------------------------------------------

// The line connection says Ended for every failure; the stream knows which it was.
ErrorCode LineFailure(FTPc* connection, ErrorCode status) {
  return status == Error_Ended ? iStream_ErrorOrEnded(connection->stream) : status;
}

// A received line: its first 1023 bytes without the line end, and how long it was in all.
struct Line {
  char text[kFTPBuffer_Size];
  uint32_t length;
  uint32_t sizeBytes;

  std::string_view view() const { return {text, length}; }
};

// Receives as much of a line as fits. A line feed at its end need not be the line's: one without a carriage
// return is data, and may stand where the buffer ends.
ErrorCode ReceivePart(FTPc* connection, Line* line, bool* isWhole) {
  uint32_t lengthAndZero = 0;
  const ErrorCode status =
      Telnet_ReceiveLine(connection->telnet, sizeof line->text, &lengthAndZero, line->text);
  if (status != Error_None) return LineFailure(connection, status);
  line->length = lengthAndZero - 1;
  line->sizeBytes = line->length;
  *isWhole = !iTelnet_IsLineCut(connection->telnet);
  if (*isWhole && line->length > 0) --line->length;
  return Error_None;
}

// Receives a line to its end. What is beyond the buffer is counted and dropped, so that it is not taken for
// the next line.
ErrorCode ReceiveLine(FTPc* connection, Line* line) {
  bool isWhole = false;
  ErrorCode status = ReceivePart(connection, line, &isWhole);
  while (status == Error_None && !isWhole) {
    if (line->sizeBytes > kFTPReply_MaximumBytes) return Error_Exceed;
    Line rest;
    status = ReceivePart(connection, &rest, &isWhole);
    line->sizeBytes += rest.sizeBytes;
  }
  return status;
}

// The line end counts for one byte; a line that was longer on the wire is cut.
void PassOn(const FTPc* connection, const Line& line) {
  if (connection->lineMethod == nullptr || line.sizeBytes > line.length + 1) return;
  connection->lineMethod(connection->lineContext, line.view());
}

ErrorCode ReceiveReply(FTPc* connection, uint64_t giveUpAtMilliseconds, Reply* reply) {
  iTelnet_GiveUpAt(connection->telnet, giveUpAtMilliseconds);
  FTPReplyReader reader;
  Line line;
  ErrorCode taken = Error_Block;
  while (taken == Error_Block) {
    const ErrorCode status = ReceiveLine(connection, &line);
    if (status != Error_None) return status;
    taken = reader.Take(line.view(), line.sizeBytes);
    if (taken == Error_None || taken == Error_Block) {
      Capture(connection, line.view());
      PassOn(connection, line);
    }
  }
  if (taken == Error_None) reader.Get(reply);
  return taken;
}

// ---- opening ---------------------------------------------------------------------------------------------

FTPc* NewConnection(const char* host, uint32_t port, uint32_t flags) {
  const size_t hostSize = strlen(host) + 1;
  auto* connection = static_cast<FTPc*>(iMemory_NewCleared(sizeof(FTPc) + hostSize));
  if (connection == nullptr) return nullptr;
  connection->flags = flags & kFTPFlag_Caller;
  connection->dataPort = -1;
  connection->port = port;
  connection->host = reinterpret_cast<char*>(connection + 1);
  memcpy(connection->host, host, hostSize);
  return connection;
}

// Where to connect to: the server, or the proxy that the settings give for it.
void ResolveProxy(FTPc* connection, char* host, uint32_t* port) {
  String_CopyMax(connection->host, kFTPBuffer_Size, host);
  *port = connection->port;
  if ((connection->flags & FTPcFlag_NoProxy) != 0) return;
  const int32_t proxied = Proxy_Resolve(ProxyIndex_FTP, connection->host, connection->port, host, port);
  if (proxied == 1) connection->flags |= kFTPFlag_Proxied;
}

ErrorCode Connect(FTPc* connection) {
  char host[kFTPBuffer_Size];
  uint32_t port = 0;
  ResolveProxy(connection, host, &port);
  if (port > kFTPPort_Maximum) return Error_Invalid;

  Owned<Sock, Sock_Delete> sock;
  const ErrorCode status = iSock_OpenConnect(SockBuffer_Small, host, static_cast<uint16_t>(port),
                                             connection->interrupt, sock.out());
  if (status != Error_None) return status;
  connection->telnet = Telnet_Open(reinterpret_cast<Stream*>(sock.get()), 0);
  if (connection->telnet == nullptr) return Error_Memory;
  connection->stream = reinterpret_cast<Stream*>(sock.release());
  connection->socket = Telnet_GetSocket(connection->telnet);
  return Sock_GetSockName(connection->socket, connection->localAddress, nullptr);
}

ErrorCode ReadGreeting(FTPc* connection, Reply* reply) {
  Capturing capturing(connection);
  const ErrorCode status = iFTPc_ReadReply(connection, reply);
  if (status != Error_None) return status;
  return reply->replyClass == kFTPClass_Completed ? Error_None : Error_NoAccess;
}

// ---- logging in ------------------------------------------------------------------------------------------

// What USER is given: through a proxy the server is named behind the user.
// Kept: through a proxy and for another port than 21 it is the port's digits alone; proxies set up for this
// client tell the server by them.
ErrorCode MakeLoginName(const FTPc* connection, const char* user, char (&name)[kLoginBufferSize]) {
  const int length = snprintf(name, sizeof name, "%s@%s", user, connection->host);
  if (length < 0 || length >= static_cast<int>(sizeof name)) return Error_Exceed;
  if (connection->port != kFTPPort_Default) {
    snprintf(name, sizeof name, "%lu", static_cast<unsigned long>(connection->port));
  }
  return Error_None;
}

ErrorCode Login(FTPc* connection, const char* user, const char* password, Reply* reply) {
  Capturing capturing(connection);
  ErrorCode status = iFTPc_Exchange(connection, kUser.name, user, reply);
  if (status != Error_None || reply->replyClass == kFTPClass_Completed) return status;
  if (reply->replyClass != kFTPClass_Intermediate) return kUser.otherwise;
  return iFTPc_Command(connection, kPassword, password, reply);
}

void Free(FTPc* connection) {
  CloseWelcome(connection);
  iFTPc_StopListening(connection);
  if (connection->telnet != nullptr) Telnet_Close(connection->telnet);
  Memory_Delete(connection);
}

}  // namespace

// ---- commands --------------------------------------------------------------------------------------------

bool iFTPc_IsArgument(const char* text) {
  return text != nullptr && strpbrk(text, "\r\n") == nullptr;
}

ErrorCode iFTPc_CheckArgument(const char* name, const char* argument) {
  if (!iFTPc_IsArgument(argument)) return Error_Invalid;
  return strlen(name) + 1 + strlen(argument) <= kTelnet_LongestSentText ? Error_None : Error_Exceed;
}

ErrorCode iFTPc_Begin(const FTPc* connection, Reply* reply) {
  if (reply == nullptr) return Error_Invalid;
  *reply = Reply{};
  return connection == nullptr ? Error_Invalid : Error_None;
}

ErrorCode iFTPc_Refuse(Reply* reply) {
  if (reply != nullptr) *reply = Reply{};
  return Error_Invalid;
}

ErrorCode iFTPc_Send(FTPc* connection, const char* name, const char* argument) {
  if (argument != nullptr && !iFTPc_IsArgument(argument)) return Error_Invalid;
  if (connection->isOutOfStep) {
    Sock_Close(connection->socket);
    return Error_Ended;
  }
  const ErrorCode status = argument == nullptr
                               ? Telnet_SendLine(connection->telnet, name)
                               : Telnet_PrintLine(connection->telnet, "%s %s", name, argument);
  // A part of the line may have gone out, and the next command would be read as its end.
  if (status == Error_Ended) connection->isOutOfStep = true;
  return LineFailure(connection, status);
}

ErrorCode iFTPc_ReadReply(FTPc* connection, Reply* reply) {
  return iFTPc_ReadReplyUntil(connection, iSock_TrickleDeadlineMilliseconds(), reply);
}

ErrorCode iFTPc_ReadReplyUntil(FTPc* connection, uint64_t giveUpAtMilliseconds, Reply* reply) {
  *reply = Reply{};
  const ErrorCode status = ReceiveReply(connection, giveUpAtMilliseconds, reply);
  connection->isFinalReplyAwaited = false;
  // The rest of the reply may still come.
  if (status == Error_Timeout || status == Error_Exceed) connection->isOutOfStep = true;
  return status;
}

ErrorCode iFTPc_Exchange(FTPc* connection, const char* name, const char* argument, Reply* reply) {
  *reply = Reply{};
  const ErrorCode status = iFTPc_Send(connection, name, argument);
  return status != Error_None ? status : iFTPc_ReadReply(connection, reply);
}

ErrorCode iFTPc_ExchangeLines(FTPc* connection, const char* name, const char* argument, FTPLineMethod method,
                              void* context, Reply* reply) {
  connection->lineMethod = method;
  connection->lineContext = context;
  const ErrorCode status = iFTPc_Exchange(connection, name, argument, reply);
  connection->lineMethod = nullptr;
  return status;
}

ErrorCode iFTPc_ExchangeSoon(FTPc* connection, const char* name, const char* argument, uint32_t milliseconds,
                             Reply* reply) {
  const uint64_t deadline = platform::MonotonicMilliseconds() + milliseconds;
  *reply = Reply{};
  const ErrorCode status = iFTPc_Send(connection, name, argument);
  if (status != Error_None) return status;
  if (iFTPc_AwaitReply(connection, milliseconds)) return iFTPc_ReadReplyUntil(connection, deadline, reply);
  connection->isOutOfStep = true;
  return Error_Timeout;
}

void iFTPc_DropReplies(FTPc* connection, uint32_t milliseconds) {
  const uint64_t deadline = platform::MonotonicMilliseconds() + milliseconds;
  Reply reply;
  for (uint64_t now = deadline - milliseconds; now < deadline; now = platform::MonotonicMilliseconds()) {
    if (!iFTPc_AwaitReply(connection, static_cast<uint32_t>(deadline - now))) return;
    if (iFTPc_ReadReplyUntil(connection, deadline, &reply) != Error_None) return;
    if (reply.replyClass != kFTPClass_Preliminary) return;
  }
}

void iFTPc_SetInterrupt(FTPc* connection, const SockInterrupt* interrupt) {
  connection->interrupt = interrupt;
  connection->socket->interrupt = interrupt;
}

ErrorCode iFTPc_Command(FTPc* connection, const FTPCommand& command, const char* argument, Reply* reply) {
  const ErrorCode status = iFTPc_Exchange(connection, command.name, argument, reply);
  if (status != Error_None) return status;
  return reply->replyClass == command.expectedClass ? Error_None : command.otherwise;
}

ErrorCode iFTPc_ControlError(FTPc* connection) {
  return connection != nullptr ? Stream_Error(connection->stream) : Error_Invalid;
}

namespace {

// The exported commands with one argument: all of them refuse a null connection, reply or argument.
ErrorCode CommandWithArgument(FTPc* connection, const FTPCommand& command, const char* argument,
                              Reply* reply) {
  const ErrorCode status = iFTPc_Begin(connection, reply);
  if (status != Error_None) return status;
  if (argument == nullptr) return Error_Invalid;
  return iFTPc_Command(connection, command, argument, reply);
}

}  // namespace

ErrorCode iFTPc_Open(const char* host, uint32_t port, uint32_t flags, const SockInterrupt* interrupt,
                     FTPc** connection, Reply* reply) {
  if (connection != nullptr) *connection = nullptr;
  if (reply != nullptr) *reply = Reply{};
  if (connection == nullptr || reply == nullptr || host == nullptr) return Error_Invalid;
  if (port > kFTPPort_Maximum) return Error_Invalid;
  if (strlen(host) >= kFTPBuffer_Size) return Error_Exceed;

  Owned<FTPc, Free> opened(NewConnection(host, port, flags));
  if (!opened) return Error_Memory;
  opened->interrupt = interrupt;
  ErrorCode status = Connect(opened.get());
  if (status == Error_None) status = ReadGreeting(opened.get(), reply);
  if (status == Error_None) *connection = opened.release();
  return status;
}

// ---- exported functions ----------------------------------------------------------------------------------

ErrorCode FTPc_Open(const char* host, uint32_t port, uint32_t flags, FTPc** connection, Reply* reply) {
  return iFTPc_Open(host, port, flags, nullptr, connection, reply);
}

ErrorCode FTPc_Login(FTPc* connection, const char* user, const char* password, Reply* reply) {
  ErrorCode status = iFTPc_Begin(connection, reply);
  if (status != Error_None) return status;
  if (password == nullptr) password = "";
  if (!iFTPc_IsArgument(user) || !iFTPc_IsArgument(password)) return Error_Invalid;

  char loginName[kLoginBufferSize];
  if ((connection->flags & kFTPFlag_Proxied) != 0) {
    status = MakeLoginName(connection, user, loginName);
    if (status != Error_None) return status;
    user = loginName;
  }
  status = Login(connection, user, password, reply);
  if (status == Error_None) connection->flags &= ~static_cast<uint32_t>(FTPcFlag_Welcome);
  return status;
}

ErrorCode FTPc_InfoFile(FTPc* connection, char* fileName) {
  if (fileName != nullptr) fileName[0] = 0;
  if (connection == nullptr) return Error_Invalid;
  if (connection->welcome == nullptr || (connection->flags & FTPcFlag_Welcome) != 0) return Error_NotFound;
  if (fileName == nullptr) return Error_None;
  File_SetTemporary(connection->welcome, 0);
  String_CopyMax(connection->welcomeName, kFTPBuffer_Size, fileName);
  CloseWelcome(connection);
  return Error_None;
}

ErrorCode FTPc_Magic(FTPc* connection, const char* argument, Reply* reply) {
  return CommandWithArgument(connection, kMagic, argument, reply);
}

ErrorCode FTPc_Mirrors(FTPc* connection, const char* argument, Reply* reply) {
  return CommandWithArgument(connection, kMirrors, argument, reply);
}

ErrorCode FTPc_FileSize(FTPc* connection, const char* path, uint32_t* size, Reply* reply) {
  if (size == nullptr) return iFTPc_Refuse(reply);
  uint64_t wholeSize = 0;
  const ErrorCode status = FTPc_FileSize64(connection, path, &wholeSize, reply);
  *size = static_cast<uint32_t>(std::min<uint64_t>(wholeSize, UINT32_MAX));
  return status;
}

ErrorCode FTPc_FileSize64(FTPc* connection, const char* path, uint64_t* size, Reply* reply) {
  if (size == nullptr) return iFTPc_Refuse(reply);
  *size = 0;
  const ErrorCode status = CommandWithArgument(connection, kSize, path, reply);
  return status != Error_None ? status : iFTPc_ParseSize(reply->text, size);
}

ErrorCode FTPc_ModTime(FTPc* connection, const char* path, Time* time, Reply* reply) {
  if (time == nullptr) return iFTPc_Refuse(reply);
  Time_Zero(time);
  const ErrorCode status = CommandWithArgument(connection, kModTime, path, reply);
  return status != Error_None ? status : iFTPc_ParseModTime(reply->text, time);
}

ErrorCode FTPc_DeleteFile(FTPc* connection, const char* path, Reply* reply) {
  return CommandWithArgument(connection, kDeleteFile, path, reply);
}

// Both names are checked first: a name that was announced would be the next rename's.
ErrorCode FTPc_RenameFile(FTPc* connection, const char* path, const char* newPath, Reply* reply) {
  ErrorCode status = iFTPc_Begin(connection, reply);
  if (status == Error_None) status = iFTPc_CheckArgument(kRenameFrom.name, path);
  if (status == Error_None) status = iFTPc_CheckArgument(kRenameTo.name, newPath);
  if (status == Error_None) status = iFTPc_Command(connection, kRenameFrom, path, reply);
  return status == Error_None ? iFTPc_Command(connection, kRenameTo, newPath, reply) : status;
}

// Kept: the form N asks for no form, but with the type L for bytes of 8 bits.
ErrorCode FTPc_FileType(FTPc* connection, char type, char form, Reply* reply) {
  char argument[16] = {type, 0};
  if (type == 'L') {
    snprintf(argument, sizeof argument, "L %d", form == 'N' ? 8 : static_cast<signed char>(form));
  } else if (form != 'N') {
    snprintf(argument, sizeof argument, "%c %c", type, form);
  }
  return CommandWithArgument(connection, kType, argument, reply);
}

ErrorCode FTPc_ChangeDirectory(FTPc* connection, const char* path, Reply* reply) {
  return CommandWithArgument(connection, kChangeDirectory, path, reply);
}

ErrorCode iFTPc_MakeDirectory(FTPc* connection, const char* path, Reply* reply) {
  return CommandWithArgument(connection, kMakeDirectory, path, reply);
}

ErrorCode FTPc_CurrentDirectory(FTPc* connection, char* path, Reply* reply) {
  if (path == nullptr) return iFTPc_Refuse(reply);
  path[0] = 0;
  ErrorCode status = iFTPc_Begin(connection, reply);
  if (status == Error_None) status = iFTPc_Command(connection, kCurrentDirectory, nullptr, reply);
  return status != Error_None ? status : iFTPc_ParseQuoted(reply->text, path);
}

ErrorCode FTPc_GetPeerName(FTPc* connection, uint8_t* address, uint8_t* port) {
  if (connection == nullptr) return Error_Invalid;
  return Sock_GetPeerName(connection->socket, address, port);
}

uint32_t FTPc_GetFlags(FTPc* connection) {
  return connection == nullptr ? 0 : connection->flags & ~kFTPFlag_Caller;
}

// Kept: the three bits of the caller stay as they were at open, whatever is given; programs that try to
// invert passive mode this way get the same mode again.
void FTPc_SetFlags(FTPc* connection, uint32_t flags) {
  if (connection == nullptr) return;
  if ((flags & FTPcFlag_Welcome) == 0) CloseWelcome(connection);
  connection->flags = (connection->flags & kFTPFlag_Caller) | (flags & ~kFTPFlag_Caller);
}

// Kept: the record is stored and not used; connections ask the proxy settings of the library.
void FTPc_SetProxyServer(const char* host, uint32_t port) {
  proxyServer = {};
  if (host == nullptr) return;
  String_CopyMax(host, sizeof proxyServer.host, proxyServer.host);
  proxyServer.port = port;
  proxyServer.enabled = true;
}

const FTPProxyServer& iFTPc_GetProxyServer() {
  return proxyServer;
}

ErrorCode FTPc_Close(FTPc* connection, Reply* reply) {
  if (reply != nullptr) *reply = Reply{};
  if (connection == nullptr) return Error_Invalid;
  Reply unread;
  const ErrorCode status = iFTPc_Exchange(connection, "QUIT", nullptr, reply != nullptr ? reply : &unread);
  Sock_Shutdown(connection->socket, 2);
  Free(connection);
  return status;
}

void iFTPc_CloseSoon(FTPc* connection) {
  const uint32_t milliseconds = iFTPc_LateReplyMilliseconds();
  const uint64_t deadline = platform::MonotonicMilliseconds() + milliseconds;
  Reply unread;
  if (iFTPc_Send(connection, "QUIT", nullptr) == Error_None && iFTPc_AwaitReply(connection, milliseconds))
    iFTPc_ReadReplyUntil(connection, deadline, &unread);
  Sock_Shutdown(connection->socket, SockShutdown_Both);
  Free(connection);
}

void FTPc_Delete(FTPc* connection) {
  if (connection != nullptr) Free(connection);
}
