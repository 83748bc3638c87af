// Allocation and raw bytes. Every block that the library owns comes from here.
#include "qz/memory.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "os/core/memory_internal.h"
#include "os/core/memory_testing.h"

namespace {

// What the tests asked for: bits of those below. Without them a block costs one look at this.
std::atomic<uint32_t> testAids{0};
constexpr uint32_t kCounts = 1;
constexpr uint32_t kFails = 2;
constexpr uint32_t kFailsOn = 4;  // and from then on

std::atomic<int64_t> allocationsUntilFailure{0};
// Who sees it go down also sees what the thread that freed the block did before.
std::atomic<int64_t> liveBlocks{0};

bool MustFail() {
  const uint32_t aids = testAids.load(std::memory_order_relaxed);
  if ((aids & kFails) == 0) return false;
  const int64_t left = allocationsUntilFailure.fetch_sub(1);
  return left == 1 || (left < 1 && (aids & kFailsOn) != 0);
}

void Count(int64_t blocks) {
  if ((testAids.load(std::memory_order_relaxed) & kCounts) == 0) return;
  liveBlocks.fetch_add(blocks, std::memory_order_release);
}

}  // namespace

void iMemory_FailAllocation(int64_t n) {
  allocationsUntilFailure.store(n);
  if (n > 0) {
    testAids.fetch_or(kFails);
  } else {
    testAids.fetch_and(~kFails);
  }
  testAids.fetch_and(~kFailsOn);
}

void iMemory_FailAllocationsFrom(int64_t n) {
  iMemory_FailAllocation(n);
  if (n > 0) testAids.fetch_or(kFailsOn);
}

int64_t iMemory_AllocationsUntilFailure() {
  return allocationsUntilFailure.load();
}

int64_t iMemory_CountLive() {
  testAids.fetch_or(kCounts);
  return liveBlocks.load();
}

void* iMemory_NewCleared(size_t size) {
  if (MustFail()) return nullptr;
  void* pointer = calloc(1, size != 0 ? size : 1);
  if (pointer != nullptr) Count(1);
  return pointer;
}

void* Memory_New(size_t size) {
  if (MustFail()) return nullptr;
  void* pointer = malloc(size);
  if (pointer != nullptr) Count(1);
  return pointer;
}

void* Memory_Realloc(void* pointer, size_t size) {
  if (MustFail()) return nullptr;
  void* result = realloc(pointer, size);
  if (pointer == nullptr && result != nullptr) Count(1);
  if (pointer != nullptr && result == nullptr && size == 0) Count(-1);
  return result;
}

void Memory_Delete(void* pointer) {
  if (pointer == nullptr) return;
  Count(-1);
  free(pointer);
}

void Memory_Copy(const void* source, void* destination, size_t count) {
  if (count == 0 || source == nullptr || destination == nullptr) return;
  memmove(destination, source, count);
}

void Memory_Set(void* pointer, size_t count, int byte) {
  if (count != 0 && pointer != nullptr) memset(pointer, byte, count);
}

int32_t Memory_Compare(const void* a, const void* b, size_t count) {
  if (count == 0) return 0;
  if (a == nullptr || b == nullptr) return (a != nullptr ? 1 : 0) - (b != nullptr ? 1 : 0);
  if (memcmp(a, b, count) == 0) return 0;
  // Signed characters on every platform, whatever the compiler's own are.
  const int8_t* left = static_cast<const int8_t*>(a);
  const int8_t* right = static_cast<const int8_t*>(b);
  while (*left == *right) {
    ++left;
    ++right;
  }
  return *left - *right;
}
