#include "os/platform/thread.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

namespace platform {
namespace {

// Unlike the Windows figure, which is what is reserved at first, this is all a thread ever gets: room for
// path buffers and the system's name resolver.
constexpr uint32_t kMinimumStackBytes = 1024 * 1024;

// Of the kind that needs no allocation when a thread first asks for it, in a module that was loaded late too.
[[gnu::tls_model("initial-exec")]] thread_local uintptr_t threadWord = 0;

void* RunThread(void* start) {
  const ThreadStart& thread = *static_cast<const ThreadStart*>(start);
  const int32_t exitCode = thread.body(thread.argument);
  return reinterpret_cast<void*>(static_cast<intptr_t>(exitCode));
}

}  // namespace

bool StartThread(const ThreadStart* start, uint32_t stackBytes) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_t thread;
  const bool started =
      pthread_attr_setstacksize(&attributes, std::max(stackBytes, kMinimumStackBytes)) == 0 &&
      pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED) == 0 &&
      pthread_create(&thread, &attributes, RunThread, const_cast<ThreadStart*>(start)) == 0;
  pthread_attr_destroy(&attributes);
  return started;
}

uint32_t CurrentThreadIdentifier() {
  return static_cast<uint32_t>(syscall(SYS_gettid));
}

uintptr_t ThreadWord() {
  return threadWord;
}

void SetThreadWord(uintptr_t word) {
  threadWord = word;
}

}  // namespace platform
