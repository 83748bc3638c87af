// The one table that turns this system's error numbers into the library's common numbering.
#include "os/platform/error.h"

#include <netdb.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace platform {
namespace {

struct Row {
  int native;
  uint32_t common;
};

constexpr Row kSystemErrors[] = {
    {ENOENT, SystemError_FileNotFound},
    {ENOTDIR, SystemError_PathNotFound},
    {EMFILE, SystemError_TooManyOpenFiles},
    {ENFILE, SystemError_TooManyOpenFiles},
    {EACCES, SystemError_AccessDenied},
    {EPERM, SystemError_AccessDenied},
    {EROFS, SystemError_AccessDenied},
    {ENOMEM, SystemError_OutOfMemory},
    {EXDEV, SystemError_OtherVolume},
    {EBUSY, SystemError_SharingViolation},
    {ETXTBSY, SystemError_SharingViolation},
    {ENOSPC, SystemError_DiskFull},
    {EDQUOT, SystemError_DiskFull},
    {EFBIG, SystemError_DiskFull},
    {EINVAL, SystemError_InvalidName},
    {ENAMETOOLONG, SystemError_InvalidName},
    {ENOTEMPTY, SystemError_DirectoryNotEmpty},
    {EEXIST, SystemError_AlreadyExists},
};

constexpr Row kSocketErrors[] = {
    {EINTR, SocketError_Interrupted},
    {EACCES, SocketError_AccessDenied},
    {EFAULT, SocketError_BadAddress},
    {EINVAL, SocketError_InvalidArgument},
    {EMFILE, SocketError_TooManySockets},
    {ENFILE, SocketError_TooManySockets},
    {EAGAIN, SocketError_WouldBlock},
    {EINPROGRESS, SocketError_WouldBlock},
    {EBADF, SocketError_NotSocket},
    {ENOTSOCK, SocketError_NotSocket},
    {EADDRINUSE, SocketError_AddressInUse},
    {EADDRNOTAVAIL, SocketError_AddressNotAvailable},
    {ENETDOWN, SocketError_NetworkDown},
    {ENETUNREACH, SocketError_NetworkUnreachable},
    {ECONNABORTED, SocketError_ConnectionAborted},
    {ECONNRESET, SocketError_ConnectionReset},
    {EPIPE, SocketError_ConnectionReset},
    {ENOBUFS, SocketError_NoBuffers},
    {ENOMEM, SocketError_NoBuffers},
    {EISCONN, SocketError_IsConnected},
    {ENOTCONN, SocketError_NotConnected},
    {ESHUTDOWN, SocketError_IsShutDown},
    {ETIMEDOUT, SocketError_TimedOut},
    {ECONNREFUSED, SocketError_ConnectionRefused},
    {EHOSTDOWN, SocketError_HostDown},
    {EHOSTUNREACH, SocketError_HostUnreachable},
};

// Errors of name look-ups have numbers and words of their own.
constexpr Row kLookUpErrors[] = {
    {EAI_NONAME, SocketError_HostNotFound},
    {EAI_AGAIN, SocketError_TryLookUpAgain},
    {EAI_FAIL, SocketError_LookUpFailed},
};

// A number outside the table must not be mistaken for one of the common numbering.
constexpr uint32_t kUnknown = 0x80000000u;

template <size_t count>
uint32_t Translate(const Row (&table)[count], int native) {
  if (native == 0) return SystemError_None;
  for (const Row& row : table) {
    if (row.native == native) return row.common;
  }
  return kUnknown | static_cast<uint32_t>(native);
}

const char* LookUpWords(uint32_t number) {
  for (const Row& row : kLookUpErrors) {
    if (row.common == number) return gai_strerror(row.native);
  }
  return "";
}

// The library may be built with either form of strerror_r: one writes the words and gives 0, the other gives
// the words.
[[maybe_unused]] const char* WordsOf(const char* words, const char* /*buffer*/) {
  return words;
}
[[maybe_unused]] const char* WordsOf(int result, const char* buffer) {
  return result == 0 ? buffer : "";
}

}  // namespace

uint32_t LastSystemError() {
  return Translate(kSystemErrors, errno);
}

uint32_t LastSocketError() {
  return Translate(kSocketErrors, errno);
}

uint32_t NativeErrorNumber(uint32_t number) {
  if ((number & kUnknown) != 0) return number & ~kUnknown;
  const int native = errno;
  const bool isBehind =
      Translate(kSystemErrors, native) == number || Translate(kSocketErrors, native) == number;
  return number != SystemError_None && isBehind ? static_cast<uint32_t>(native) : 0;
}

size_t DescribeError(uint32_t number, uint32_t nativeNumber, std::span<char> text) {
  char buffer[256] = "";
  const int savedError = errno;
  const char* words = nativeNumber != 0
                          ? WordsOf(strerror_r(static_cast<int>(nativeNumber), buffer, sizeof buffer), buffer)
                          : LookUpWords(number);
  snprintf(text.data(), text.size(), "%s", words);
  errno = savedError;
  return strlen(text.data());
}

}  // namespace platform
