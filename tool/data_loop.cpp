#include "tool/data_loop.h"

#include <algorithm>
#include <chrono>
#include <vector>

#include "qz/error.h"
#include "qz/sock.h"
#include "tool/console.h"
#include "tool/failure.h"

namespace tool {
namespace {

using Clock = std::chrono::steady_clock;

// What a read asks for. Measured: twice as much CPU time with 1 MiB, a third more with 64 KiB
// (bench/transfer).
constexpr std::uint32_t kReceiveBytes = 256 * 1024;
// Small enough that Ctrl-C is noticed soon on a slow line: a write returns when all of it is sent.
constexpr std::uint32_t kSendBytes = 32 * 1024;
constexpr std::uint32_t kSliceMicroseconds = 250 * 1000;

Sock* SocketOf(Stream* stream) {
  return reinterpret_cast<Sock*>(Stream_FindType(stream, StreamType_Sock));
}

// One slice of waiting: Error_None when something can be done now, Error_Timeout when not yet. The status of
// a socket stays until its next reading or writing, so the time-out of the slice before is cleared first.
ErrorCode WaitForData(Sock* sock) {
  Sock_ClearError(sock);
  return Sock_SelectRead(sock, 0, kSliceMicroseconds);
}

ErrorCode WaitForRoom(Sock* sock) {
  Sock_ClearError(sock);
  return Sock_SelectWrite(sock, 0, kSliceMicroseconds);
}

// Waits in slices, so that Ctrl-C is noticed; Error_Timeout after the time-out of the options.
ErrorCode WaitUntilReady(Sock* sock, ErrorCode (*wait)(Sock*), const Options& options) {
  const auto deadline = Clock::now() + std::chrono::seconds(options.timeoutSeconds);
  for (;;) {
    if (console::Interrupted()) throw Interruption{};
    const ErrorCode status = wait(sock);
    if (status != Error_Timeout && status != Error_Block) return status;
    if (Clock::now() >= deadline) return Error_Timeout;
  }
}

bool IsFailure(ErrorCode status) {
  return status != Error_None && status != Error_Block;
}

}  // namespace

ErrorCode ReceiveInto(PartFile* part, Stream* stream, std::optional<std::uint64_t> limit,
                      const Options& options, Reporter* reporter) {
  Error_ClearLast();
  Sock* sock = SocketOf(stream);
  std::vector<char> buffer(kReceiveBytes);
  std::uint64_t received = 0;
  while (!limit || received < *limit) {
    const ErrorCode ready = WaitUntilReady(sock, WaitForData, options);
    if (ready != Error_None) return ready;
    const std::uint64_t left = limit ? *limit - received : kReceiveBytes;
    const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(left, kReceiveBytes));
    const std::uint32_t count = Stream_Read(stream, wanted, buffer.data());
    // Asked before anything else touches the socket: a lost connection must not look like the end of the
    // data.
    const ErrorCode status = count < wanted ? Stream_Error(stream) : Error_None;
    if (count > 0) part->Append(count, buffer.data());
    received += count;
    reporter->MoveProgress(part->Length());
    if (IsFailure(status) && !(limit && received == *limit)) return status;
  }
  return Error_None;
}

OneByte ReadOneByte(Stream* stream, const Options& options) {
  Sock* sock = SocketOf(stream);
  for (;;) {
    const ErrorCode ready = WaitUntilReady(sock, WaitForData, options);
    if (ready != Error_None) return {0, ready};
    char byte = 0;
    if (Stream_Read(stream, 1, &byte) == 1) return {1, Error_None, byte};
    const ErrorCode status = Stream_Error(stream);
    if (IsFailure(status)) return {0, status};
  }
}

ErrorCode SendFrom(DiskFile* file, std::uint64_t* position, std::uint64_t end, Stream* stream,
                   const Options& options, Reporter* reporter) {
  Error_ClearLast();
  Sock* sock = SocketOf(stream);
  std::vector<char> buffer(kSendBytes);
  for (;;) {
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kSendBytes, end - *position));
    const auto count = static_cast<std::uint32_t>(file->Read(wanted, buffer.data()));
    if (count == 0) return Error_None;
    for (std::uint32_t sent = 0; sent < count;) {
      const ErrorCode ready = WaitUntilReady(sock, WaitForRoom, options);
      if (ready != Error_None) return ready;
      const std::uint32_t moved = Stream_Write(stream, count - sent, buffer.data() + sent);
      sent += moved;
      *position += moved;
      reporter->MoveProgress(*position);
      const ErrorCode status = sent < count ? Stream_Error(stream) : Error_None;
      if (IsFailure(status)) return status;
    }
  }
}

void WaitForPeerClose(Stream* stream, const Options& options) {
  Sock* sock = SocketOf(stream);
  char ignored[256];
  const auto deadline = Clock::now() + std::chrono::seconds(options.timeoutSeconds);
  while (Clock::now() < deadline && WaitUntilReady(sock, WaitForData, options) == Error_None) {
    if (Stream_Read(stream, sizeof ignored, ignored) == 0 && Stream_Error(stream) != Error_Block) return;
  }
}

}  // namespace tool
