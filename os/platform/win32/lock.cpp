#include "os/platform/lock.h"

#include <windows.h>

#include <atomic>

namespace platform {
namespace {

enum : int { kUnprepared, kPreparing, kReady };

CRITICAL_SECTION librarySection;
std::atomic<int> sectionState{kUnprepared};

// The first to come prepares the section, whatever thread it is; nothing destroys it, because threads may
// outlive OS_Exit.
void PrepareSection() {
  int expected = kUnprepared;
  if (sectionState.compare_exchange_strong(expected, kPreparing)) {
    InitializeCriticalSection(&librarySection);
    sectionState.store(kReady);
    return;
  }
  while (sectionState.load() != kReady) Sleep(0);
}

}  // namespace

void EnterLibraryLock() {
  if (sectionState.load() != kReady) PrepareSection();
  EnterCriticalSection(&librarySection);
}

void LeaveLibraryLock() {
  LeaveCriticalSection(&librarySection);
}

}  // namespace platform
