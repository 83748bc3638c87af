// How much memory a record that lies about its size really takes.
#include <gtest/gtest.h>
#include <windows.h>
// Behind windows.h, whose types it takes.
#include <psapi.h>

#include <cstdint>
#include <string>

#include "tests/traverse/traverse_fixture.h"

namespace {

constexpr size_t kMebibyte = 1024 * 1024;

// What this program has in memory, in bytes. The function stands in another library on older systems.
size_t CountResident() {
  using GetMemoryInfo = BOOL(WINAPI*)(HANDLE, PROCESS_MEMORY_COUNTERS*, DWORD);
  HMODULE library = LoadLibraryA("psapi.dll");
  const auto getMemoryInfo = reinterpret_cast<GetMemoryInfo>(
      reinterpret_cast<void*>(GetProcAddress(library, "GetProcessMemoryInfo")));
  PROCESS_MEMORY_COUNTERS counters = {};
  EXPECT_TRUE(getMemoryInfo(GetCurrentProcess(), &counters, sizeof counters));
  EXPECT_NE(counters.WorkingSetSize, 0u);
  FreeLibrary(library);
  return counters.WorkingSetSize;
}

// Reads a field of a record that promises 48 MiB.
template <typename Field>
void ExpectLittleTouched(const std::string& hex, Field field) {
  Context context(hex);
  DataRead(context.traverse(), [&](Traverse* traverse) {
    CountResident();  // loads what it needs
    const size_t before = CountResident();
    EXPECT_EQ(field(traverse), Error_Ended);
    EXPECT_LE(CountResident(), before + 16 * Bytes(hex).size() + kMebibyte);
  });
}

TEST(TraverseMemoryOnWindows, TouchesNoMoreOfABlockThanWasRead) {
  uint32_t count = 0;
  uint32_t* numbers = nullptr;
  ExpectLittleTouched("00 00 C0 00 61 62 63",
                      [&](Traverse* traverse) { return Traverse_BUns32(traverse, &count, &numbers); });
}

TEST(TraverseMemoryOnWindows, TouchesNoMoreOfATextThanWasRead) {
  char* text = nullptr;
  ExpectLittleTouched("FF FF FF 02 61 62 63",
                      [&](Traverse* traverse) { return Traverse_BString(traverse, &text); });
}

TEST(TraverseMemoryOnWindows, TouchesNoMoreOfAListThanWasRead) {
  char** list = nullptr;
  uint32_t count = 0;
  ExpectLittleTouched("00 00 C0 00 00 00 00 00 02 00 00 00 61 00",
                      [&](Traverse* traverse) { return Traverse_BBString(traverse, &count, &list); });
}

}  // namespace
