// How fast a body comes over loopback: through HTTPc, through a socket whose receive buffer was small before
// it connected, and through one that was left alone.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "os/core/socketlayer_internal.h"
#include "qz/error.h"
#include "qz/httpc.h"
#include "qz/sock.h"

namespace {

constexpr uint32_t kBodyBytes = 64 * 1024 * 1024;
constexpr uint32_t kChunkBytes = 12288;  // what the transfer engine moves at a time

void Require(bool holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "httpc_bench: %s\n", what);
  abort();
}

// Answers every connection's first request with the same body.
class BodyServer {
 public:
  BodyServer() {
    Require(iSock_Init() == Error_None, "no sockets");
    Require(Sock_OpenListen(0, &listener_) == Error_None, "no port to listen on");
    uint8_t port[2];
    Require(Sock_GetSockName(listener_, nullptr, port) == Error_None, "no port number");
    port_ = static_cast<uint16_t>(port[0] * 256 + port[1]);
    thread_ = std::thread([this] { Serve(); });
  }
  ~BodyServer() {
    over_ = true;
    Sock* last = nullptr;
    if (Sock_OpenConnectBuffer(SockBuffer_System, "127.0.0.1", port_, &last) == Error_None) Sock_Delete(last);
    thread_.join();
    Sock_Delete(listener_);
    iSock_Exit();
  }
  uint16_t port() const { return port_; }

 private:
  void Serve() {
    const std::string head = "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(kBodyBytes) + "\r\n\r\n";
    const std::string block(1024 * 1024, 'b');
    while (!over_) {
      Sock* peer = nullptr;
      if (Sock_Accept(listener_, &peer) != Error_None) continue;
      char request[2048];
      if (!over_ && Sock_Read(peer, sizeof request, request) > 0) {
        Sock_Write(peer, static_cast<uint32_t>(head.size()), head.data());
        for (uint32_t sent = 0; sent < kBodyBytes;) {
          const uint32_t count = Sock_Write(peer, static_cast<uint32_t>(block.size()), block.data());
          if (count == 0) break;
          sent += count;
        }
        Sock_Shutdown(peer, 1);
        while (Sock_Read(peer, sizeof request, request) > 0) continue;
      }
      Sock_Delete(peer);
    }
  }

  Sock* listener_ = nullptr;
  uint16_t port_ = 0;
  std::atomic<bool> over_{false};
  std::thread thread_;
};

// Reads the rest of the stream; the head of a raw response counts as body, which changes nothing at this
// size.
uint64_t Drain(Stream* stream) {
  static char buffer[kChunkBytes];
  uint64_t total = 0;
  while (const uint32_t count = Stream_Read(stream, sizeof buffer, buffer)) total += count;
  return total;
}

void BodyThroughHTTPc(benchmark::State& state) {
  BodyServer server;
  const std::string url = "http://127.0.0.1:" + std::to_string(server.port()) + "/f";
  uint64_t total = 0;
  for (auto _ : state) {
    HTTPc* connection = nullptr;
    Reply reply;
    Stream* stream = nullptr;
    Require(HTTPc_Open("127.0.0.1", server.port(), &connection) == Error_None, "no connection");
    Require(HTTPc_Get(connection, url.c_str(), &reply, &stream) == Error_None, "no response");
    total += Drain(stream);
    HTTPc_Close(connection);
  }
  Require(total == uint64_t{kBodyBytes} * state.iterations(), "the body is not whole");
  state.SetBytesProcessed(static_cast<int64_t>(total));
}

void BodyThroughSocket(benchmark::State& state, uint32_t bufferKind) {
  BodyServer server;
  const char request[] = "GET /f HTTP/1.0\r\n\r\n";
  uint64_t total = 0;
  for (auto _ : state) {
    Sock* sock = nullptr;
    Require(Sock_OpenConnectBuffer(bufferKind, "127.0.0.1", server.port(), &sock) == Error_None,
            "no connection");
    Sock_Write(sock, static_cast<uint32_t>(strlen(request)), request);
    total += Drain(reinterpret_cast<Stream*>(sock));
    Sock_Delete(sock);
  }
  Require(total >= uint64_t{kBodyBytes} * state.iterations(), "the body is not whole");
  state.SetBytesProcessed(static_cast<int64_t>(total));
}

void BodyThroughSmallBuffer(benchmark::State& state) {
  BodyThroughSocket(state, SockBuffer_Small);
}
void BodyThroughSystemBuffer(benchmark::State& state) {
  BodyThroughSocket(state, SockBuffer_System);
}

// The order that HTTPc must not use: small when the response begins to come, large only behind its head.
// Given up after some seconds, with what came until then.
void BodyWithLateBuffer(benchmark::State& state) {
  BodyServer server;
  const char request[] = "GET /f HTTP/1.0\r\n\r\n";
  uint64_t total = 0;
  for (auto _ : state) {
    Sock* sock = nullptr;
    Require(Sock_OpenConnectBuffer(SockBuffer_System, "127.0.0.1", server.port(), &sock) == Error_None,
            "no connection");
    Sock* same = nullptr;
    Sock_NewBuffer(sock, SockBuffer_Small, 0, &same);
    Sock_Write(sock, static_cast<uint32_t>(strlen(request)), request);
    char head[100];
    total += Sock_Read(sock, sizeof head, head);
    // What parsing, a busy machine or a slow line may take.
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    Sock_NewBuffer(sock, SockBuffer_Large, 1024 * 1024, &same);
    static char buffer[kChunkBytes];
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < end) {
      const uint32_t count = Sock_Read(sock, sizeof buffer, buffer);
      if (count == 0) break;
      total += count;
    }
    Sock_Delete(sock);
  }
  state.SetBytesProcessed(static_cast<int64_t>(total));
}

}  // namespace

BENCHMARK(BodyThroughHTTPc)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BodyThroughSystemBuffer)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BodyThroughSmallBuffer)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BodyWithLateBuffer)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);
