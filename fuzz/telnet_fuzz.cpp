// Any bytes from a server, into a buffer of any size: lines stay inside their buffer, come to an end, hold
// the bytes in their order, and nothing is ever answered.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "net/telnet_internal.h"
#include "qz/error.h"

namespace {

struct ByteStream {
  Stream stream;
  const uint8_t* bytes;
  size_t left;
};

uint32_t Read(Stream* stream, uint32_t count, void* buffer) {
  auto* self = reinterpret_cast<ByteStream*>(stream);
  const size_t taken = count < self->left ? count : self->left;
  memcpy(buffer, self->bytes, taken);
  self->bytes += taken;
  self->left -= taken;
  return static_cast<uint32_t>(taken);
}

uint32_t Write(Stream* /*stream*/, uint32_t /*count*/, const void* /*buffer*/) {
  abort();
}

constexpr StreamOperations kOperations = {nullptr, Read, nullptr, Write, nullptr, nullptr};

// What does not depend on how the bytes were cut into lines: all but CR, LF and the zero that may be lost.
std::string Essence(const std::string& bytes) {
  std::string kept;
  for (const char c : bytes) {
    if (c != '\r' && c != '\n' && c != '\0') kept += c;
  }
  return kept;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  if (size < 1) return 0;
  const uint32_t bufferSize = bytes[0];
  ByteStream input{{}, bytes + 1, size - 1};
  Stream_Init(0, &kOperations, &input.stream);
  Telnet* telnet = Telnet_Open(&input.stream, 0);
  if (telnet == nullptr) abort();

  // Of the exact size, so that a byte too many is seen.
  char* buffer = static_cast<char*>(malloc(bufferSize != 0 ? bufferSize : 1));
  std::string received;
  ErrorCode status = Error_None;
  size_t lines = 0;
  while (status == Error_None) {
    uint32_t length = 0;
    status = Telnet_ReceiveLine(telnet, bufferSize, &length, buffer);
    if (status != Error_None) break;
    if (length == 0 || length > bufferSize || buffer[length - 1] != 0) abort();
    received.append(buffer, length - 1);
    // A buffer without room for a byte gives the held byte back for ever.
    if (bufferSize == 1 && ++lines > size) break;
  }
  if (status != Error_None && status != (bufferSize == 0 ? Error_Exceed : Error_Ended)) abort();
  // The last line, cut off by the end, is not handed out.
  const std::string sent = Essence(std::string(reinterpret_cast<const char*>(bytes) + 1, size - 1));
  if (sent.compare(0, Essence(received).size(), Essence(received)) != 0) abort();
  free(buffer);
  Telnet_Delete(telnet);
  return 0;
}
