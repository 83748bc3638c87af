#include "tests/support/socket_probe.h"

#ifdef _WIN32
#  include <windows.h>
#  include <winsock.h>
#else
#  include <fcntl.h>
#  include <netinet/in.h>
#  include <pthread.h>
#  include <signal.h>
#  include <sys/resource.h>
#  include <sys/socket.h>
#  include <unistd.h>
#endif

namespace socket_probe {

int SocketLevel() {
  return SOL_SOCKET;
}
int ReceiveBufferOption() {
  return SO_RCVBUF;
}

int SendBufferOption() {
  return SO_SNDBUF;
}
int ReuseAddressOption() {
  return SO_REUSEADDR;
}

int ReceiveBufferOf(uint32_t descriptor) {
  int bytes = 0;
#ifdef _WIN32
  int length = sizeof bytes;
  getsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, reinterpret_cast<char*>(&bytes), &length);
#else
  socklen_t length = sizeof bytes;
  getsockopt(static_cast<int>(descriptor), SOL_SOCKET, SO_RCVBUF, &bytes, &length);
#endif
  return bytes;
}

bool IsSocket(uint32_t descriptor) {
  return ReceiveBufferOf(descriptor) != 0;
}

int ReceiveBufferAfterAsking(int bytes) {
  const auto created = socket(AF_INET, SOCK_STREAM, 0);
  if (bytes != 0)
    setsockopt(created, SOL_SOCKET, SO_RCVBUF, reinterpret_cast<const char*>(&bytes), sizeof bytes);
  const int reported = ReceiveBufferOf(static_cast<uint32_t>(created));
#ifdef _WIN32
  closesocket(created);
#else
  close(created);
#endif
  return reported;
}

#ifdef _WIN32

bool IsInherited(uint32_t descriptor) {
  DWORD flags = 0;
  GetHandleInformation(reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(descriptor)), &flags);
  return (flags & HANDLE_FLAG_INHERIT) != 0;
}

LowDescriptorsTaken::LowDescriptorsTaken() = default;
LowDescriptorsTaken::~LowDescriptorsTaken() = default;
uint32_t LowDescriptorsTaken::leastNumber() const {
  return 0;
}

void Interrupt(std::thread& /*thread*/) {}

bool HasWindows() {
  return true;
}
// Other test programs may have one too.
bool WindowExists(const char* className) {
  DWORD owner = 0;
  for (HWND window = nullptr; (window = FindWindowExA(nullptr, window, className, nullptr)) != nullptr;) {
    GetWindowThreadProcessId(window, &owner);
    if (owner == GetCurrentProcessId()) return true;
  }
  return false;
}

#else

bool IsInherited(uint32_t descriptor) {
  return (fcntl(static_cast<int>(descriptor), F_GETFD) & FD_CLOEXEC) == 0;
}

namespace {
constexpr int kNumbersTaken = 1100;
}

LowDescriptorsTaken::LowDescriptorsTaken() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_cur < 2 * kNumbersTaken && limit.rlim_max >= 2 * kNumbersTaken) {
    limit.rlim_cur = 2 * kNumbersTaken;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  for (int last = 0; last >= 0 && last < kNumbersTaken;) {
    last = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    if (last >= 0) taken_.push_back(last);
  }
}

LowDescriptorsTaken::~LowDescriptorsTaken() {
  for (const int descriptor : taken_) close(descriptor);
}

uint32_t LowDescriptorsTaken::leastNumber() const {
  return 1024;
}

void Interrupt(std::thread& thread) {
  static const bool installed = [] {
    struct sigaction action {};
    action.sa_handler = [](int) {};  // without SA_RESTART: waiting calls end with an error
    return sigaction(SIGUSR1, &action, nullptr) == 0;
  }();
  if (installed) pthread_kill(thread.native_handle(), SIGUSR1);
}

bool HasWindows() {
  return false;
}
bool WindowExists(const char* /*className*/) {
  return false;
}

#endif

}  // namespace socket_probe
