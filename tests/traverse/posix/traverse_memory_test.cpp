// How much memory a record that lies about its size really takes.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/traverse/traverse_fixture.h"

namespace {

// The pages of a block that are in memory, in bytes.
size_t CountTouched(const void* block, size_t size) {
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const uintptr_t first = reinterpret_cast<uintptr_t>(block) & ~(page - 1);
  const size_t length = (reinterpret_cast<uintptr_t>(block) + size - first + page - 1) & ~(page - 1);
  std::vector<unsigned char> present(length / page);
  EXPECT_EQ(mincore(reinterpret_cast<void*>(first), length, present.data()), 0);
  size_t touched = 0;
  for (const unsigned char byte : present) touched += (byte & 1) != 0 ? page : 0;
  return touched;
}

constexpr size_t kMebibyte = 1024 * 1024;

TEST(TraverseMemoryOnPosix, TouchesNoMoreOfABlockThanWasRead) {
  for (const Order order : kOrders) {
    // A gibibyte is promised, 1000 bytes are there.
    Context context((order == Order::Plain ? "00 00 00 10 " : "10 00 00 00 ") + Hex(std::string(1000, 'x')),
                    order);
    uint32_t count = 0;
    uint32_t* numbers = nullptr;
    DataRead(context.traverse(), [&](Traverse* traverse) {
      const ErrorCode status = Traverse_BUns32(traverse, &count, &numbers);
      EXPECT_TRUE(status == Error_Ended || status == Error_Memory) << status;
      if (numbers == nullptr) return;
      EXPECT_LE(CountTouched(numbers, size_t{0x10000000} * 4), 16 * 1004 + kMebibyte);
    });
  }
}

TEST(TraverseMemoryOnPosix, TouchesNoMoreOfATextThanWasRead) {
  Context context("FF FF FF 3F 61 62 63");
  char* text = nullptr;
  DataRead(context.traverse(), [&](Traverse* traverse) {
    const ErrorCode status = Traverse_BString(traverse, &text);
    EXPECT_TRUE(status == Error_Ended || status == Error_Memory) << status;
    if (text == nullptr) return;
    EXPECT_LE(CountTouched(text, 0x40000000), 16 * 7 + kMebibyte);
  });
}

TEST(TraverseMemoryOnPosix, TouchesNoMoreOfAListThanWasRead) {
  Context context("FF FF FF 07 00 00 00 00 02 00 00 00 61 00");
  char** list = nullptr;
  uint32_t count = 0;
  DataRead(context.traverse(), [&](Traverse* traverse) {
    const ErrorCode status = Traverse_BBString(traverse, &count, &list);
    EXPECT_TRUE(status == Error_Ended || status == Error_Memory) << status;
    if (list == nullptr) return;
    EXPECT_LE(CountTouched(list, size_t{0x07FFFFFF} * sizeof(char*)), 16 * 14 + kMebibyte);
  });
}

}  // namespace
