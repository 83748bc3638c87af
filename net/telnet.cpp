// Lines over a stream:
//
//   received   bytes up to CR LF, handed out with a single LF and a terminator
//   sent       text, CR LF
//   logged     "< " received, "> " sent, "! " failed to send, "# " remarks of the owner
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
#include "qz/stringlookup.h"

struct Telnet {
  Word userValue;
  uint32_t reserved;
  Stream* stream;
  uint8_t pending;  // a byte for the next line; 0: none
  File* log;
  bool isLineCut;                 // the last line filled its buffer before its end came
  uint64_t giveUpAtMilliseconds;  // 0: never
};

namespace {

constexpr char kCarriageReturn = 13;
constexpr char kLineFeed = 10;
constexpr uint32_t kSendBufferBytes = kTelnet_LongestSentText + 3;  // CR, LF and the terminator follow
constexpr uint32_t kLongestLogText = 1022;  // an LF and the terminator fill 1024 bytes
constexpr uint32_t kLogAppendMode = 8;
constexpr int kShutdownBoth = 2;

constexpr char kRemarkMark[] = "# ";
constexpr char kReceivedMark[] = "< ";
constexpr char kSentMark[] = "> ";
constexpr char kFailedMark[] = "! ";
constexpr uint32_t kMarkLength = 2;

constexpr StringLookup kCodeNames[] = {
    {kTelnetCode_SE, "kTelnetCode_SE"},
    {kTelnetCode_NOP, "kTelnetCode_NOP"},
    {kTelnetCode_DataMark, "kTelnetCode_DataMark"},
    {kTelnetCode_Break, "kTelnetCode_Break"},
    {kTelnetCode_Interrupt, "kTelnetCode_Interrupt"},
    {kTelnetCode_AbortOutput, "kTelnetCode_AbortOutput"},
    {kTelnetCode_AreYouThere, "kTelnetCode_AreYouThere"},
    {kTelnetCode_EraseChar, "kTelnetCode_EraseChar"},
    {kTelnetCode_EraseLine, "kTelnetCode_EraseLine"},
    {kTelnetCode_GoAhead, "kTelnetCode_GoAhead"},
    {kTelnetCode_SB, "kTelnetCode_SB"},
    {kTelnetCode_WILL, "kTelnetCode_WILL"},
    {kTelnetCode_WONT, "kTelnetCode_WONT"},
    {kTelnetCode_DO, "kTelnetCode_DO"},
    {kTelnetCode_DONT, "kTelnetCode_DONT"},
    {kTelnetCode_IAC, "kTelnetCode_IAC"},
};
constexpr uint32_t kCodeCount = 16;
static_assert(sizeof kCodeNames / sizeof kCodeNames[0] == kCodeCount);

void CloseFile(File* file) {
  File_Close(file);
}

// Ends the line in LF, cutting it where it leaves no room, and writes it. line: 1024 bytes.
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

// Kept: the byte is compared as a signed character, so it never equals 255 and commands inside a line are its
// data; servers that send such bytes are not answered.
bool IsCommand(signed char byte) {
  const int value = byte;  // NOLINT(bugprone-signed-char-misuse): the sign is what counts here
  return value == kTelnetCode_IAC;
}

ErrorCode Answer(Telnet* telnet, int code) {
  uint8_t answer[3] = {kTelnetCode_IAC, static_cast<uint8_t>(code), 0};
  if (Stream_Read(telnet->stream, 1, &answer[2]) != 1) return Error_Ended;
  return Stream_Write(telnet->stream, sizeof answer, answer) == sizeof answer ? Error_None : Error_Ended;
}

// Sends a line of which `length` characters stand in the buffer of kSendBufferBytes.
ErrorCode SendBuffer(Telnet* telnet, char* line, uint32_t length) {
  memcpy(line + length, "\r\n", 3);
  // Kept: the log shows every line as it is sent, passwords too; it is read to see what a server was told.
  LogText(telnet, kSentMark, line);
  if (Stream_Write(telnet->stream, length + 2, line) == length + 2) return Error_None;
  LogText(telnet, kFailedMark, "Failed");
  return Error_Ended;
}

}  // namespace

const char* iTelnet_CodeName(int code) {
  return StringLookup_ByIndex(kCodeNames, kCodeCount, code);
}

ErrorCode iTelnet_Negotiate(Telnet* telnet, bool* endsLine) {
  *endsLine = false;
  uint8_t command = 0;
  if (Stream_Read(telnet->stream, 1, &command) != 1) return Error_Ended;
  switch (command) {
    case kTelnetCode_NOP:
      return Error_None;
    case kTelnetCode_GoAhead:
      *endsLine = true;
      return Error_None;
    case kTelnetCode_WILL:
      return Answer(telnet, kTelnetCode_DONT);
    case kTelnetCode_DO:
      return Answer(telnet, kTelnetCode_WONT);
    default:
      iTelnet_CodeName(command);
      return Error_None;
  }
}

bool iTelnet_IsLineCut(const Telnet* telnet) {
  return telnet->isLineCut;
}

void iTelnet_GiveUpAt(Telnet* telnet, uint64_t milliseconds) {
  telnet->giveUpAtMilliseconds = milliseconds;
}

Telnet* Telnet_Open(Stream* stream, Word userValue) {
  if (stream == nullptr) return nullptr;
  auto* telnet = static_cast<Telnet*>(iMemory_NewCleared(sizeof(Telnet)));
  if (telnet == nullptr) return nullptr;
  telnet->userValue = userValue;
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
  memcpy(line, kRemarkMark, kMarkLength + 1);
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
  bool afterCarriageReturn = false;
  bool isLogged = true;
  for (;;) {
    uint8_t byte = 0;
    if (!ReadByte(telnet, &byte)) return Error_Ended;
    if (IsOverdue(telnet)) return Error_Timeout;
    const auto character = static_cast<signed char>(byte);
    if (IsCommand(character)) {
      bool endsLine = false;
      if (ErrorCode status = iTelnet_Negotiate(telnet, &endsLine); status != Error_None) return status;
      if (!endsLine) continue;
      isLogged = false;
      break;
    }
    if (afterCarriageReturn && byte == kLineFeed) {
      buffer[length - 1] = kLineFeed;
      break;
    }
    if (length + 1 == bufferSize) {
      // Kept: a byte 0 that does not fit is lost, as 0 stands for no pending byte.
      telnet->pending = byte;
      telnet->isLineCut = true;
      break;
    }
    buffer[length++] = static_cast<char>(byte);
    afterCarriageReturn = byte == kCarriageReturn;
  }
  buffer[length] = '\0';
  if (lengthOut != nullptr) *lengthOut = length + 1;
  if (isLogged) LogText(telnet, kReceivedMark, buffer);
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
  if (Sock* sock = Telnet_GetSocket(telnet); sock != nullptr) Sock_Shutdown(sock, kShutdownBoth);
  Telnet_Delete(telnet);
}

void Telnet_Delete(Telnet* telnet) {
  if (telnet == nullptr) return;
  Stream_Delete(telnet->stream);
  if (telnet->log != nullptr) File_Close(telnet->log);
  Memory_Delete(telnet);
}
