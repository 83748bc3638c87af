// How much memory a list of servers takes beside the record that it is read from.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "net/urllist_internal.h"
#include "qz/error.h"

// Only the address sanitizer has this; its allocator does not answer mallinfo2.
extern "C" __attribute__((weak)) size_t __sanitizer_get_current_allocated_bytes();

namespace {

size_t AllocatedBytes() {
  if (__sanitizer_get_current_allocated_bytes != nullptr) return __sanitizer_get_current_allocated_bytes();
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// A stream over a text, which looks at every read how much memory is in use.
struct MeasuringStream {
  Stream stream = {};
  std::string bytes;
  size_t position = 0;
  size_t most = 0;

  static uint32_t Read(Stream* stream, uint32_t count, void* buffer) {
    auto& self = *reinterpret_cast<MeasuringStream*>(stream);
    self.most = std::max(self.most, AllocatedBytes());
    const size_t given = std::min<size_t>(count, self.bytes.size() - self.position);
    memcpy(buffer, self.bytes.data() + self.position, given);
    self.position += given;
    return static_cast<uint32_t>(given);
  }
};
constexpr StreamOperations kOperations = {nullptr, MeasuringStream::Read, nullptr, nullptr, nullptr, nullptr};

std::string Number(uint32_t number) {
  return std::string(reinterpret_cast<const char*>(&number), sizeof number);
}

// As many different URLs as 2 MiB hold, all as short as can be, and more promised than are there.
std::string DenseRecord() {
  std::string bytes = "vrxs" + Number(1) + Number(0xFFFFFFFF);
  uint32_t number = 0;
  while (bytes.size() < 2 * 1024 * 1024) {
    std::string text = " ";
    while (text.size() < 1000) {
      text += "ftp://";
      for (uint32_t rest = number++; rest != 0; rest /= 200) text += static_cast<char>(rest % 200 + 64);
      text += ";";
    }
    bytes += Number(static_cast<uint32_t>(text.size()) + 1) + text + '\0';
  }
  return bytes;
}

TEST(URLListMemoryOnPosix, TakesNoMoreThanSixteenTimesTheRecord) {
  MeasuringStream stream;
  stream.bytes = DenseRecord();
  Stream_Init(0x74657374u, &kOperations, &stream.stream);
  Traverse* traverse = Traverse_New(0, &stream.stream);
  URLList list = {};
  const size_t before = AllocatedBytes();
  EXPECT_EQ(iURLList_Read(traverse, &list), Error_Ended);
  EXPECT_EQ(stream.position, stream.bytes.size());
  EXPECT_GT(stream.most, before + stream.bytes.size()) << "the list was in memory when this was measured";
  EXPECT_LE(stream.most - before, 16 * stream.bytes.size() + 1024 * 1024);
  RecordProperty("bytes", std::to_string(stream.most - before));
  Traverse_Delete(traverse);
}

}  // namespace
