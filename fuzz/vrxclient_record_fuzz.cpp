// Records of transfers: arbitrary bytes read, with bounded memory and nothing left behind; and what was read
// well is written, read again and written to the same bytes.
//
// Input: byte 0 the byte order and whether passwords are left out; the rest is the stream.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "os/core/memory_testing.h"
#include "qz/error.h"
#include "tests/support/test_stream.h"
#include "transfer/vrxclient_internal.h"

namespace {

constexpr int64_t kManyAllocations = 1000000;

void Require(bool condition) {
  if (!condition) abort();
}

template <size_t Size>
void RequireText(const char (&text)[Size]) {
  Require(memchr(text, 0, Size) != nullptr);
}

void RequireSound(const VRXClientData& data) {
  RequireText(data.serverFileName);
  RequireText(data.user);
  RequireText(data.password);
  RequireText(data.dataPath);
  RequireText(data.logPath);
  RequireText(data.name);
  RequireText(data.localPath);
  Require(data.isUpload <= 1);
  Require(data.state <= TransferState::Completed);
}

ErrorCode Read(const std::string& bytes, bool isNetwork, VRXClientData* data) {
  TestStream stream(bytes);
  Traverse* traverse = Traverse_New(isNetwork ? 1 : 0, stream.stream());
  *data = {};
  iVRXClient_InitRecord(data);
  iMemory_FailAllocation(kManyAllocations);
  const ErrorCode status = iVRXClient_ReadRecord(traverse, data);
  const int64_t allocations = kManyAllocations - iMemory_AllocationsUntilFailure();
  iMemory_FailAllocation(0);
  Require(allocations <= static_cast<int64_t>(16 + bytes.size()));
  Traverse_Delete(traverse);
  RequireSound(*data);
  return status;
}

std::string Write(VRXClientData* data, bool isNetwork, bool isWithoutPasswords) {
  TestStream stream;
  Traverse* traverse = Traverse_New(isNetwork ? 1 : 0, stream.stream());
  Require(iVRXClient_WriteRecord(traverse, data, isWithoutPasswords) == Error_None);
  const std::string written = stream.written();
  Traverse_Delete(traverse);
  return written;
}

// Agents are what their classes make of them, and there are none here.
void ReadAndWrite(const std::string& bytes, bool isNetwork, bool isWithoutPasswords) {
  VRXClientData first;
  if (Read(bytes, isNetwork, &first) == Error_None) {
    const std::string written = Write(&first, isNetwork, isWithoutPasswords);
    VRXClientData second;
    Require(Read(written, isNetwork, &second) == Error_None);
    Require(Write(&second, isNetwork, isWithoutPasswords) == written);
    if (isWithoutPasswords) Require(second.password[0] == 0);
    iVRXClient_FreeRecord(&second, 0);
  }
  iVRXClient_FreeRecord(&first, 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 16384) return 0;
  const int64_t before = iMemory_CountLive();
  ReadAndWrite(std::string(reinterpret_cast<const char*>(data + 1), size - 1), (data[0] & 1) != 0,
               (data[0] & 2) != 0);
  Require(iMemory_CountLive() == before);
  return 0;
}
