// How much memory a record that lies about its size really takes.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
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
    // 48 MiB are promised, 1000 bytes are there.
    Context context((order == Order::Plain ? "00 00 C0 00 " : "00 C0 00 00 ") + Hex(std::string(1000, 'x')),
                    order);
    uint32_t count = 0;
    uint32_t* numbers = nullptr;
    DataRead(context.traverse(), [&](Traverse* traverse) {
      EXPECT_EQ(Traverse_BUns32(traverse, &count, &numbers), Error_Ended);
      EXPECT_LE(CountTouched(numbers, 48 * kMebibyte), 16 * 1004 + kMebibyte);
    });
  }
}

TEST(TraverseMemoryOnPosix, TouchesNoMoreOfATextThanWasRead) {
  Context context("FF FF FF 02 61 62 63");
  char* text = nullptr;
  DataRead(context.traverse(), [&](Traverse* traverse) {
    EXPECT_EQ(Traverse_BString(traverse, &text), Error_Ended);
    EXPECT_LE(CountTouched(text, 48 * kMebibyte), 16 * 7 + kMebibyte);
  });
}

TEST(TraverseMemoryOnPosix, TouchesNoMoreOfAListThanWasRead) {
  Context context("00 00 60 00 00 00 00 00 02 00 00 00 61 00");
  char** list = nullptr;
  uint32_t count = 0;
  DataRead(context.traverse(), [&](Traverse* traverse) {
    EXPECT_EQ(Traverse_BBString(traverse, &count, &list), Error_Ended);
    EXPECT_LE(CountTouched(list, 48 * kMebibyte), 16 * 14 + kMebibyte);
  });
}

// What this program has in memory, in bytes.
size_t CountResident() {
  std::ifstream rollup("/proc/self/smaps_rollup");
  for (std::string word; rollup >> word;) {
    size_t kibibytes = 0;
    if (word == "Rss:" && rollup >> kibibytes) return kibibytes * 1024;
  }
  ADD_FAILURE() << "no count of resident memory";
  return 0;
}

TEST(TraverseMemoryOnPosix, TouchesSixteenTimesTheInputAtMost_WhenItIsAllSmallTexts) {
  constexpr size_t kTexts = 200000;
  std::string bytes = Bytes("41 0D 03 00");  // 200001 texts: one is missing
  for (size_t i = 0; i < kTexts; ++i) bytes += std::string("\x01\0\0\0\0", 5);
  TestStream stream(bytes);
  Traverse* traverse = Traverse_New(0, stream.stream());
  char** list = nullptr;
  uint32_t count = 0;
  DataRead(traverse, [&](Traverse* nested) {
    const size_t before = CountResident();
    EXPECT_EQ(Traverse_BBString(nested, &count, &list), Error_Ended);
    EXPECT_LE(CountResident() - before, 16 * bytes.size() + kMebibyte);
  });
  Traverse_Delete(traverse);
}

}  // namespace
