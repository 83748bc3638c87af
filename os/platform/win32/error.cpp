// Windows numbers its errors as the library does; nothing is translated here.
#include "os/platform/error.h"

#include <windows.h>
#include <winsock.h>

namespace platform {

uint32_t LastSystemError() {
  return GetLastError();
}

uint32_t LastSocketError() {
  return static_cast<uint32_t>(WSAGetLastError());
}

}  // namespace platform
