// Windows numbers its errors as the library does; nothing is translated here.
#include "os/platform/error.h"

#include <windows.h>
#include <winsock.h>

#include "os/platform/win32/keep_last_error.h"

namespace platform {
namespace {

bool IsEndOfSentence(char c) {
  return c == '.' || c == ' ' || c == '\r' || c == '\n';
}

}  // namespace

uint32_t LastSystemError() {
  return GetLastError();
}

uint32_t LastSocketError() {
  return static_cast<uint32_t>(WSAGetLastError());
}

uint32_t NativeErrorNumber(uint32_t number) {
  return number;
}

size_t DescribeError(uint32_t number, uint32_t /*nativeNumber*/, std::span<char> text) {
  const KeepLastError keep;
  constexpr DWORD kFlags =
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
  size_t length =
      FormatMessageA(kFlags, nullptr, number, 0, text.data(), static_cast<DWORD>(text.size()), nullptr);
  while (length != 0 && IsEndOfSentence(text[length - 1])) --length;
  text[length] = '\0';
  return length;
}

}  // namespace platform
