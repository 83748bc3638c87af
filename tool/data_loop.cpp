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
// Small enough that the progress moves on a slow line.
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

// Waits in slices, so that Ctrl-C is noticed; Error_Timeout after the time-out of the options.
ErrorCode WaitUntilReadable(Sock* sock, const Options& options, Reporter* reporter = nullptr) {
  const auto deadline = Clock::now() + std::chrono::seconds(options.timeoutSeconds);
  for (;;) {
    if (console::Interrupted()) throw Interruption{};
    const ErrorCode status = WaitForData(sock);
    if (status != Error_Timeout && status != Error_Block) return status;
    if (Clock::now() >= deadline) return Error_Timeout;
    if (reporter != nullptr) reporter->Tick();
  }
}

bool IsFailure(ErrorCode status) {
  return status != Error_None && status != Error_Block;
}

// Sends until all is gone; *sent tells how much. In slices too: a system may report room only when much of
// its send buffer is free, so the end of a slice is another attempt, and a server that takes bytes slowly is
// no time-out.
ErrorCode SendAll(Stream* stream, std::uint32_t count, const char* bytes, const Options& options,
                  Reporter* reporter, std::uint32_t* sent) {
  Sock* sock = SocketOf(stream);
  auto deadline = Clock::now() + std::chrono::seconds(options.timeoutSeconds);
  for (*sent = 0;;) {
    if (console::Interrupted()) throw Interruption{};
    const std::uint32_t moved = Stream_Write(stream, count - *sent, bytes + *sent);
    const ErrorCode status = Stream_Error(stream);
    *sent += moved;
    if (*sent == count) return Error_None;
    if (IsFailure(status)) return status;
    if (moved != 0) deadline = Clock::now() + std::chrono::seconds(options.timeoutSeconds);
    if (Clock::now() >= deadline) return Error_Timeout;
    reporter->Tick();
    Sock_ClearError(sock);
    Sock_SelectWrite(sock, 0, kSliceMicroseconds);
  }
}

}  // namespace

ErrorCode ReceiveInto(PartFile* part, Stream* stream, std::optional<std::uint64_t> limit,
                      const Options& options, Reporter* reporter, ProgressLine* progress) {
  Error_ClearLast();
  Sock* sock = SocketOf(stream);
  std::vector<char> buffer(kReceiveBytes);
  std::uint64_t received = 0;
  while (!limit || received < *limit) {
    const ErrorCode ready = WaitUntilReadable(sock, options, reporter);
    if (ready != Error_None) return ready;
    const std::uint64_t left = limit ? *limit - received : kReceiveBytes;
    const auto wanted = static_cast<std::uint32_t>(std::min<std::uint64_t>(left, kReceiveBytes));
    const std::uint32_t count = Stream_Read(stream, wanted, buffer.data());
    // Asked before anything else touches the socket: a lost connection must not look like the end of the
    // data.
    const ErrorCode status = count < wanted ? Stream_Error(stream) : Error_None;
    if (count > 0) part->Append(count, buffer.data());
    received += count;
    progress->MoveTo(part->Length());
    reporter->Tick();
    if (IsFailure(status) && !(limit && received == *limit)) return status;
  }
  return Error_None;
}

OneByte ReadOneByte(Stream* stream, const Options& options) {
  Sock* sock = SocketOf(stream);
  for (;;) {
    const ErrorCode ready = WaitUntilReadable(sock, options);
    if (ready != Error_None) return {0, ready};
    char byte = 0;
    if (Stream_Read(stream, 1, &byte) == 1) return {1, Error_None, byte};
    const ErrorCode status = Stream_Error(stream);
    if (IsFailure(status)) return {0, status};
  }
}

ErrorCode SendFrom(DiskFile* file, std::uint64_t* position, std::uint64_t end, Stream* stream,
                   const Options& options, Reporter* reporter, ProgressLine* progress) {
  Error_ClearLast();
  // A write then returns at once with what there was room for.
  Sock_SetAsync(SocketOf(stream), 1);
  std::vector<char> buffer(kSendBytes);
  for (;;) {
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kSendBytes, end - *position));
    const auto count = static_cast<std::uint32_t>(file->Read(wanted, buffer.data()));
    if (count == 0) return Error_None;
    std::uint32_t sent = 0;
    const ErrorCode status = SendAll(stream, count, buffer.data(), options, reporter, &sent);
    *position += sent;
    progress->MoveTo(*position);
    reporter->Tick();
    if (status != Error_None) return status;
  }
}

void WaitForPeerClose(Stream* stream, const Options& options) {
  Sock* sock = SocketOf(stream);
  char ignored[256];
  const auto deadline = Clock::now() + std::chrono::seconds(options.timeoutSeconds);
  while (Clock::now() < deadline && WaitUntilReadable(sock, options) == Error_None) {
    if (Stream_Read(stream, sizeof ignored, ignored) == 0 && Stream_Error(stream) != Error_Block) return;
  }
}

}  // namespace tool
