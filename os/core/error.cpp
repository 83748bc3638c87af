// Status codes: their texts, the translations of system error numbers, and the diagnostic channel.
#include "qz/error.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "os/core/error_internal.h"
#include "os/platform/debug.h"
#include "qz/stringlookup.h"

namespace {

// Kept: three short texts carry a blank ("No Access") where the long ones begin with one word
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
    {0, Error_None},       // success
    {2, Error_NotFound},   // file not found
    {3, Error_NotFound},   // path not found
    {5, Error_NoAccess},   // access denied
    {32, Error_System},    // sharing violation
    {112, Error_Exceed},   // disk full
    {123, Error_Invalid},  // invalid name
};

constexpr uint32_t kSocketsNotStarted = 10093;

constexpr ErrorRow kSocketErrors[] = {
    {0, Error_None},         {10004, Error_Cancel},  // interrupted
    {10038, Error_Cancel},                           // not a socket: closed meanwhile
    {10014, Error_Invalid},                          // bad address
    {10024, Error_Memory},                           // too many open sockets
    {10055, Error_Memory},                           // no buffer space
    {10035, Error_Block},                            // would block
    {10048, Error_Exists},                           // address in use
    {10050, Error_System},                           // network down
    {10051, Error_System},                           // network unreachable
    {10054, Error_Retry},                            // connection reset
    {11002, Error_Retry},                            // name server says try again
    {10060, Error_Timeout},                          // timed out
    {10061, Error_NoAccess},                         // connection refused
    {11001, Error_NotFound},                         // host not found
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

std::atomic<ErrorSink> errorSink{nullptr};

}  // namespace

void iError_SetSink(ErrorSink sink) {
  errorSink.store(sink);
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
  const ErrorSink sink = errorSink.load();
  if (sink != nullptr) {
    sink(line);
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

ErrorCode Error_FromSystem(const char* /*context*/, const char* /*name*/, uint32_t systemError) {
  return Translate(kSystemErrors, systemError);
}

ErrorCode Error_FromSocket(const char* /*context*/, const char* /*operation*/, uint32_t socketError) {
  if (socketError == kSocketsNotStarted) {
    Error("WSA Not initialized!");
    return Error_Fail;
  }
  return Translate(kSocketErrors, socketError);
}
