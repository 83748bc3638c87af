// Starting and stopping the socket layer, and the count of sockets alive.
#include "net/sock_internal.h"
#include "os/core/os_internal.h"
#include "os/core/socketlayer_internal.h"
#include "os/platform/error.h"
#include "os/platform/window.h"

namespace {

constexpr char kWindowName[] = "qzSockHandler";

std::atomic<uint32_t> liveCount{0};

const char* MessageOf(platform::WindowCreation failure) {
  return failure == platform::WindowCreation::ClassFailed ? "OS_Init: Socket RegisterClass(...) failed"
                                                          : "OS_Init: Socket CreateWindow failed!";
}

}  // namespace

uint32_t iSock_CountLive() {
  return liveCount.load();
}

void iSock_LiveStarted() {
  liveCount.fetch_add(1);
}

// A socket that outlives the layer is deleted after its count was forgotten.
void iSock_LiveEnded() {
  uint32_t count = liveCount.load();
  while (count != 0 && !liveCount.compare_exchange_weak(count, count - 1)) {
  }
}

void iSock_LiveForgotten() {
  liveCount.store(0);
}

ErrorCode iSock_Init() {
  switch (platform::StartSockets()) {
    case platform::SocketStart::Started:
      break;
    case platform::SocketStart::Failed:
      Error("OS_Init: WSAStartup failed");
      return Error_Fail;
    case platform::SocketStart::WrongVersion:
      return Error_Fail;
  }
  const platform::WindowCreation window = platform::CreateHiddenWindow(kWindowName, iOS_GetInstance());
  if (window == platform::WindowCreation::Created) return Error_None;
  Error("%s", MessageOf(window));
  platform::StopSockets();
  return Error_Fail;
}

void iSock_Exit() {
  if (iSock_CountLive() != 0) {
    iSock_LiveForgotten();
    Sock_CloseRemoteAccess();
  }
  if (!platform::StopSockets()) Error_FromSocket("Socket_Exit", "WSACleanup", platform::LastSocketError());
  platform::DestroyHiddenWindow();
}
