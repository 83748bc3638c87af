// Lines over a stream:
//
//   received   bytes up to CR LF, handed out with a single LF and a terminator
//   sent       text, CR LF
//   logged     "< " received, "> " sent, "! " failed to send, "# " comments of the owner
#include "qz/telnet.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "net/telnet_internal.h"
#include "os/core/memory_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/clock.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/memory.h"
#include "qz/string.h"

struct Telnet {
  Stream* stream;
  uint8_t pending;  // held for the next line; 0: none
  File* log;
  bool isLineCut;                 // the last line filled its buffer before its end came
  uint64_t giveUpAtMilliseconds;  // of platform::MonotonicMilliseconds(); 0: never
};

namespace {

constexpr char kCarriageReturn = 13;
constexpr char kLineFeed = 10;
constexpr uint32_t kSendBufferBytes = kTelnet_LongestSentText + 3;  // CR, LF and the terminator follow
constexpr uint32_t kLongestLogText = 1022;  // an LF and the terminator fill 1024 bytes
constexpr uint32_t kLogAppendMode = 8;

constexpr char kCommentMark[] = "# ";
constexpr char kReceivedMark[] = "< ";
constexpr char kSentMark[] = "> ";
constexpr char kFailedMark[] = "! ";
constexpr uint32_t kMarkLength = 2;

void CloseFile(File* file) {
  File_Close(file);
}

// Ends the line in LF, cutting it where the buffer is too short, and writes it. line: 1024 bytes.
ErrorCode WriteLogLine(File* log, char* line) {
  size_t length = strlen(line);
  if (length > kLongestLogText) length = kLongestLogText;
  if (line[length - 1] != kLineFeed) line[length++] = kLineFeed;
  line[length] = '\0';
  return File_Print(log, "%s", line) > 0 ? Error_None : Error_Fail;
}

// The text is copied, never read as a format.
ErrorCode LogText(Telnet* telnet, const char* mark, const char* text) {
  if (telnet->log == nullptr) return Error_NotInited;
  char line[kLongestLogText + 2];
  snprintf(line, kLongestLogText + 2, "%s%s", mark, text);
  return WriteLogLine(telnet->log, line);
}

bool ReadByte(Telnet* telnet, uint8_t* byte) {
  if (telnet->pending != 0) {
    *byte = std::exchange(telnet->pending, uint8_t{0});
    return true;
  }
  return Stream_Read(telnet->stream, 1, byte) == 1;
}

bool IsOverdue(const Telnet* telnet) {
  return telnet->giveUpAtMilliseconds != 0 &&
         platform::MonotonicMilliseconds() > telnet->giveUpAtMilliseconds;
}

// Receives the bytes of a line, at most `capacity`, and gives their number. The CR LF of a whole line is
// stored as LF; of a longer line the first byte beyond that is held for the next one. Kept: telnet commands
// (byte 255 and what follows) are data and never answered; servers get no reply to them.
ErrorCode ReceiveBytes(Telnet* telnet, uint32_t capacity, char* line, uint32_t* length) {
  *length = 0;
  for (;;) {
    uint8_t byte = 0;
    if (!ReadByte(telnet, &byte)) return Error_Ended;
    if (IsOverdue(telnet)) return Error_Timeout;
    if (byte == kLineFeed && *length > 0 && line[*length - 1] == kCarriageReturn) {
      line[*length - 1] = kLineFeed;
      return Error_None;
    }
    if (*length == capacity) {
      // Kept: a byte 0 that does not fit is lost, as 0 stands for no pending byte.
      telnet->pending = byte;
      telnet->isLineCut = true;
      return Error_None;
    }
    line[(*length)++] = static_cast<char>(byte);
  }
}

// Sends a line: its first `length` characters stand in the buffer of kSendBufferBytes.
ErrorCode SendBuffer(Telnet* telnet, char* line, uint32_t length) {
  memcpy(line + length, "\r\n", 3);
  // Kept: the log shows every line as it is sent, passwords too; it is there to show what a server was told.
  LogText(telnet, kSentMark, line);
  if (Stream_Write(telnet->stream, length + 2, line) == length + 2) return Error_None;
  LogText(telnet, kFailedMark, "Failed");
  return Error_Ended;
}

}  // namespace

bool iTelnet_IsLineCut(const Telnet* telnet) {
  return telnet->isLineCut;
}

void iTelnet_GiveUpAt(Telnet* telnet, uint64_t milliseconds) {
  telnet->giveUpAtMilliseconds = milliseconds;
}

Telnet* Telnet_Open(Stream* stream, Word /*userValue*/) {
  if (stream == nullptr) return nullptr;
  auto* telnet = static_cast<Telnet*>(iMemory_NewCleared(sizeof(Telnet)));
  if (telnet == nullptr) return nullptr;
  telnet->stream = stream;
  return telnet;
}

ErrorCode Telnet_SetLog(Telnet* telnet, const char* fileName) {
  if (telnet == nullptr || fileName == nullptr) return Error_Invalid;
  if (telnet->log != nullptr && String_Compare(telnet->log->name, fileName) == 0) return Error_None;
  Owned<File, CloseFile> log;
  if (ErrorCode status = File_Open(fileName, kLogAppendMode, log.out()); status != Error_None) return status;
  if (telnet->log != nullptr) File_Close(telnet->log);
  telnet->log = log.release();
  return Error_None;
}

ErrorCode Telnet_Log(Telnet* telnet, const char* format, ...) {
  if (telnet == nullptr || format == nullptr) return Error_Invalid;
  if (telnet->log == nullptr) return Error_NotInited;
  char line[kLongestLogText + 2];
  memcpy(line, kCommentMark, kMarkLength + 1);
  va_list arguments;
  va_start(arguments, format);
  const int formatted = vsnprintf(line + kMarkLength, sizeof line - kMarkLength, format, arguments);
  va_end(arguments);
  return formatted >= 0 ? WriteLogLine(telnet->log, line) : Error_Fail;
}

Sock* Telnet_GetSocket(Telnet* telnet) {
  return telnet != nullptr ? reinterpret_cast<Sock*>(Stream_FindType(telnet->stream, StreamType_Sock))
                           : nullptr;
}

ErrorCode Telnet_ReceiveLine(Telnet* telnet, uint32_t bufferSize, uint32_t* lengthOut, char* buffer) {
  if (lengthOut != nullptr) *lengthOut = 0;
  if (telnet == nullptr || buffer == nullptr) return Error_Invalid;
  telnet->isLineCut = false;
  if (bufferSize == 0) return Error_Exceed;
  uint32_t length = 0;
  if (ErrorCode status = ReceiveBytes(telnet, bufferSize - 1, buffer, &length); status != Error_None)
    return status;
  buffer[length] = '\0';
  if (lengthOut != nullptr) *lengthOut = length + 1;
  LogText(telnet, kReceivedMark, buffer);
  return Error_None;
}

ErrorCode Telnet_PrintLine(Telnet* telnet, const char* format, ...) {
  if (telnet == nullptr || format == nullptr) return Error_Invalid;
  char line[kSendBufferBytes];
  va_list arguments;
  va_start(arguments, format);
  const int formatted = vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  if (formatted < 0 || static_cast<uint32_t>(formatted) > kTelnet_LongestSentText) return Error_Exceed;
  return SendBuffer(telnet, line, static_cast<uint32_t>(formatted));
}

ErrorCode Telnet_SendLine(Telnet* telnet, const char* text) {
  if (telnet == nullptr || text == nullptr) return Error_Invalid;
  const size_t length = strlen(text);
  if (length > kTelnet_LongestSentText) return Error_Exceed;
  char line[kSendBufferBytes];
  std::copy_n(text, length, line);
  return SendBuffer(telnet, line, static_cast<uint32_t>(length));
}

void Telnet_Close(Telnet* telnet) {
  if (telnet == nullptr) return;
  if (Sock* sock = Telnet_GetSocket(telnet); sock != nullptr) Sock_Shutdown(sock, SockShutdown_Both);
  Telnet_Delete(telnet);
}

void Telnet_Delete(Telnet* telnet) {
  if (telnet == nullptr) return;
  Stream_Delete(telnet->stream);
  if (telnet->log != nullptr) File_Close(telnet->log);
  Memory_Delete(telnet);
}
