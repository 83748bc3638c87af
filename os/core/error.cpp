// Status codes: their texts, the translations of system error numbers, and the diagnostic channel. What is
// kept of a thread's last failure stands in error_last.cpp.
#include "qz/error.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "os/core/error_internal.h"
#include "os/core/error_testing.h"
#include "os/platform/debug.h"
#include "os/platform/error.h"
#include "qz/stringlookup.h"

namespace {

// Kept: three short texts hold a space ("No Access") where the long ones begin with one word
// ("NoAccess:"); programs show and compare both.
constexpr StringLookup kShortTexts[] = {
    {Error_System, "System"},      {Error_NoAccess, "No Access"},   {Error_Invalid, "Invalid"},
    {Error_NotFound, "Not Found"}, {Error_NotInited, "Not Inited"}, {Error_Fail, "Fail"},
    {Error_None, "None"},          {Error_Memory, "Memory"},        {Error_Inited, "Inited"},
    {Error_Exists, "Exists"},      {Error_Ended, "Ended"},          {Error_Exceed, "Exceed"},
    {Error_Block, "Block"},        {Error_Cancel, "Cancel"},        {Error_Timeout, "Timeout"},
    {Error_Retry, "Retry"},
};

constexpr StringLookup kLongTexts[] = {
    {Error_System, "System: A system/subsystem is not operational"},
    {Error_NoAccess, "NoAccess: No access to resource/file/network"},
    {Error_Invalid, "Invalid: Invalid data/address/format"},
    {Error_NotFound, "NotFound: Item/index/lookup/file/address not found"},
    {Error_NotInited, "NotInited: System/Variable not inited correctly"},
    {Error_Fail, "Fail: Generic failure"},
    {Error_None, "None: Success"},
    {Error_Memory, "Memory: Out of memory"},
    {Error_Inited, "Inited: System/module/variable already inited"},
    {Error_Exists, "Exists: Item/index/lookup/file already exists"},
    {Error_Ended, "Ended: Hit end of buffer/file/socket"},
    {Error_Exceed, "Exceed: Exceeded buffer/file/network/allowed size"},
    {Error_Block, "Block: operation blocked/in use"},
    {Error_Cancel, "Cancel: Interrupted"},
    {Error_Timeout, "Timeout: Operation timed out"},
    {Error_Retry, "Retry: Must try again"},
};

constexpr uint32_t kTextCount = 16;
static_assert(sizeof(kShortTexts) / sizeof(kShortTexts[0]) == kTextCount);
static_assert(sizeof(kLongTexts) / sizeof(kLongTexts[0]) == kTextCount);

constexpr bool IsAscending(const StringLookup* table) {
  for (uint32_t i = 1; i < kTextCount; ++i) {
    if (table[i - 1].key >= table[i].key) return false;
  }
  return true;
}
static_assert(IsAscending(kShortTexts) && IsAscending(kLongTexts));

struct ErrorRow {
  uint32_t number;
  ErrorCode status;
};

constexpr ErrorRow kSystemErrors[] = {
    {platform::SystemError_None, Error_None},
    {platform::SystemError_FileNotFound, Error_NotFound},
    {platform::SystemError_PathNotFound, Error_NotFound},
    {platform::SystemError_AccessDenied, Error_NoAccess},
    {platform::SystemError_SharingViolation, Error_System},
    {platform::SystemError_DiskFull, Error_Exceed},
    {platform::SystemError_InvalidName, Error_Invalid},
};

constexpr ErrorRow kSocketErrors[] = {
    {platform::SystemError_None, Error_None},
    {platform::SocketError_Interrupted, Error_Cancel},
    // Another thread closed the socket meanwhile.
    {platform::SocketError_NotSocket, Error_Cancel},
    {platform::SocketError_BadAddress, Error_Invalid},
    {platform::SocketError_TooManySockets, Error_Memory},
    {platform::SocketError_NoBuffers, Error_Memory},
    {platform::SocketError_WouldBlock, Error_Block},
    {platform::SocketError_AddressInUse, Error_Exists},
    {platform::SocketError_NetworkDown, Error_System},
    {platform::SocketError_NetworkUnreachable, Error_System},
    {platform::SocketError_ConnectionReset, Error_Retry},
    {platform::SocketError_TryLookUpAgain, Error_Retry},
    {platform::SocketError_TimedOut, Error_Timeout},
    {platform::SocketError_ConnectionRefused, Error_NoAccess},
    {platform::SocketError_HostNotFound, Error_NotFound},
};

template <size_t count>
ErrorCode Translate(const ErrorRow (&table)[count], uint32_t number) {
  for (const ErrorRow& row : table) {
    if (row.number == number) return row.status;
  }
  return Error_Fail;
}

const char* TextOf(const StringLookup* table, ErrorCode code) {
  const char* text = StringLookup_ByIndex(table, kTextCount, code);
  return text != nullptr ? text : "(no error string)";
}

// "#### Error: ", the message and the newline fill 1023 bytes and a terminator.
constexpr size_t kMaximumMessage = 1010;
constexpr size_t kLineSize = 1024;

std::atomic<ErrorReporter> errorReporter{nullptr};

}  // namespace

void Error_SetReporter(ErrorReporter reporter) {
  errorReporter.store(reporter);
}

void Error(const char* format, ...) {
  if (format == nullptr) format = "";
  char message[kMaximumMessage + 1];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);

  char line[kLineSize];
  snprintf(line, sizeof line, "#### Error: %s\n", message);
  const ErrorReporter reporter = errorReporter.load();
  if (reporter != nullptr) {
    reporter(line);
  } else {
    platform::DebugOutput(line);
  }
}

const char* Error_ToString(ErrorCode code) {
  return TextOf(kShortTexts, code);
}

const char* Error_ToLongString(ErrorCode code) {
  return TextOf(kLongTexts, code);
}

ErrorCode Error_FromSystem(const char* context, const char* name, uint32_t systemError) {
  return iError_Record(Translate(kSystemErrors, systemError), context, name, systemError);
}

ErrorCode Error_FromSocket(const char* context, const char* operation, uint32_t socketError) {
  if (socketError == platform::SocketError_NotStarted) Error("WSA Not initialized!");
  return iError_Record(Translate(kSocketErrors, socketError), context, operation, socketError);
}

ErrorCode iError_FromLastSystem(const char* operation, const char* name, ErrorCode otherwise) {
  const ErrorCode status = Error_FromSystem(operation, name, platform::LastSystemError());
  return status != Error_None ? status
                              : iError_Record(otherwise, operation, name, platform::SystemError_None);
}

ErrorCode iError_FromLastSocket(const char* operation, const char* name, ErrorCode otherwise) {
  const ErrorCode status = Error_FromSocket(operation, name, platform::LastSocketError());
  return status != Error_None ? status
                              : iError_Record(otherwise, operation, name, platform::SystemError_None);
}
