// The process-wide proxy table. It may be set while connections read it.
#include "qz/proxy.h"

#include "os/core/lock_internal.h"
#include "qz/string.h"

namespace {

constexpr int32_t kTextSizeBytes = 1024;
constexpr uint32_t kSlotCount = 2;
constexpr char kBypassDelimiters[] = ",; \n\t";

struct ProxyTable {
  int32_t enabled;
  struct {
    char host[kTextSizeBytes];
    uint32_t port;
  } slots[kSlotCount];
  char bypassList[kTextSizeBytes];
};

ProxyTable proxies;

bool MustUseProxy(uint32_t index, const char* host) {
  if (proxies.enabled == 0 || index >= kSlotCount) return false;
  return proxies.slots[index].host[0] != 0 && Proxy_IsBypassed(host) == 0;
}

}  // namespace

void Proxy_SetEnabled(int32_t flag) {
  const LibraryLock lock;
  proxies.enabled = flag;
}

void Proxy_SetServer(uint32_t index, const char* host, uint32_t port) {
  if (index >= kSlotCount) return;
  const LibraryLock lock;
  String_CopyMax(host, kTextSizeBytes, proxies.slots[index].host);
  proxies.slots[index].port = port;
}

int32_t Proxy_SetBypassList(const char* text) {
  const LibraryLock lock;
  return String_CopyMax(text, kTextSizeBytes, proxies.bypassList);
}

int32_t Proxy_Resolve(uint32_t index, const char* host, uint32_t port, char* connectHost,
                      uint32_t* connectPort) {
  const LibraryLock lock;
  const bool proxied = MustUseProxy(index, host);
  String_CopyMax(proxied ? proxies.slots[index].host : host, kTextSizeBytes, connectHost);
  if (connectPort != nullptr) *connectPort = proxied ? proxies.slots[index].port : port;
  return proxied ? 1 : 0;
}

// Kept: a fragment matches anywhere in the host, not only at its end; lists that users have stored rely on
// it.
int32_t Proxy_IsBypassed(const char* host) {
  const LibraryLock lock;
  char token[kTextSizeBytes];
  const char* list = proxies.bypassList;
  for (;;) {
    const int32_t next = String_GrabToken(list, kBypassDelimiters, token, nullptr);
    if (next < 0) return 0;
    if (String_FindFirstInsensitive(host, token) >= 0) return 1;
    list += next;
  }
}
