// Connections between two requests. A connection comes here when its response told where the body ends, not a
// byte behind that was read, and the server said that it keeps the connection; it leaves for the next request
// to the same server, or when it is too old.
//
// Nothing of one request reaches the next one but the socket: each has a record of its own. A byte that comes
// while a connection is here belongs to no request, so the connection is closed.
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "net/httpc_internal.h"
#include "os/core/largebuffer_internal.h"
#include "os/core/lock_internal.h"
#include "os/core/memory_internal.h"
#include "os/platform/clock.h"
#include "qz/error.h"
#include "qz/memory.h"

// The newest stands last.
struct HTTPcPool {
  std::array<HTTPc*, kHTTPcPool_Most> kept;
  size_t count;
};

namespace {

HTTPc* RemoveAt(HTTPcPool* pool, size_t index) {
  HTTPc* connection = pool->kept[index];
  std::copy(pool->kept.begin() + index + 1, pool->kept.begin() + pool->count, pool->kept.begin() + index);
  --pool->count;
  return connection;
}

// Gives the oldest one when there are too many, else null; the caller closes it.
HTTPc* Put(HTTPcPool* pool, HTTPc* connection) {
  const LibraryLock lock;
  HTTPc* oldest = pool->count == pool->kept.size() ? RemoveAt(pool, 0) : nullptr;
  pool->kept[pool->count++] = connection;
  return oldest;
}

HTTPc* RemoveNewest(HTTPcPool* pool, const char* host, uint32_t port) {
  const LibraryLock lock;
  for (size_t index = pool->count; index > 0; --index) {
    const HTTPc* connection = pool->kept[index - 1];
    if (connection->port == port && strcmp(connection->host, host) == 0) return RemoveAt(pool, index - 1);
  }
  return nullptr;
}

HTTPc* RemoveAny(HTTPcPool* pool) {
  const LibraryLock lock;
  return pool->count > 0 ? RemoveAt(pool, pool->count - 1) : nullptr;
}

// Servers end idle connections after a few seconds, routers forget them.
bool IsTooOld(const HTTPc* connection) {
  return platform::MonotonicMilliseconds() - connection->keptSinceMilliseconds > kHTTPcPool_Milliseconds;
}

// Neither an end nor a byte has come.
bool IsQuiet(Sock* sock) {
  const SockUse use(sock);
  return platform::SocketWait(use.descriptor(), platform::SocketEvents_Read, 0) ==
         platform::SocketEvents_None;
}

void MoveSocket(HTTPc* from, HTTPc* to) {
  to->stream = std::exchange(from->stream, nullptr);
  to->isKept = true;
  iHTTPc_Socket(to)->interrupt = to->interrupt;
}

// Proxies of old take "Keep-Alive" for the server's word and wait for each other: not over them.
bool MayServeAgain(const HTTPc* connection) {
  const Sock* sock = iHTTPc_Socket(connection);
  if (connection->viaProxy || sock == nullptr || !iSock_IsOpen(sock)) return false;
  if (!iHTTPc_LeavesConnectionOpen(connection->response)) return false;
  const bool isBodyRead = sock->bytesRead - connection->bodyStart == connection->response.contentLength;
  return isBodyRead && sock->aheadCount == 0 && sock->status == Error_None && !sock->nonBlocking;
}

void MakeIdle(HTTPc* connection) {
  Sock* sock = iHTTPc_Socket(connection);
  sock->interrupt = nullptr;
  sock->expectsData = false;
  iLargeBuffer_GiveBack(std::exchange(sock->largeBuffer, nullptr));
  connection->keptSinceMilliseconds = platform::MonotonicMilliseconds();
}

}  // namespace

bool iHTTPcPool_Take(HTTPcPool* pool, HTTPc* connection) {
  if (pool == nullptr || connection->viaProxy) return false;
  if (connection->interrupt != nullptr && connection->interrupt->IsSet()) return false;
  while (HTTPc* kept = RemoveNewest(pool, connection->host, connection->port)) {
    const bool isGood = !IsTooOld(kept) && IsQuiet(iHTTPc_Socket(kept));
    if (isGood) MoveSocket(kept, connection);
    HTTPc_Close(kept);
    if (isGood) return true;
  }
  return false;
}

void iHTTPc_CloseInto(HTTPcPool* pool, HTTPc* connection) {
  if (pool == nullptr || !MayServeAgain(connection)) {
    HTTPc_Close(connection);
    return;
  }
  MakeIdle(connection);
  HTTPc_Close(Put(pool, connection));
}

ErrorCode HTTPcPool_New(HTTPcPool** pool) {
  if (pool == nullptr) return Error_Invalid;
  *pool = static_cast<HTTPcPool*>(iMemory_NewCleared(sizeof(HTTPcPool)));
  return *pool != nullptr ? Error_None : Error_Memory;
}

ErrorCode HTTPcPool_Delete(HTTPcPool* pool) {
  if (pool == nullptr) return Error_Invalid;
  while (HTTPc* connection = RemoveAny(pool)) HTTPc_Close(connection);
  Memory_Delete(pool);
  return Error_None;
}
