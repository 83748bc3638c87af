// Threads where the system refuses to start another one.
#include "qz/thread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "os/core/memory_testing.h"
#include "qz/os.h"

namespace {

constexpr uid_t kNobody = 65534;

int32_t EndAtOnce(void*) {
  return 0;
}

// The exit code is 0 when Thread_New gave null and kept nothing. Runs in a child, which gives up for good
// what lets it start threads.
int RunWithoutTheRightToStartThreads() {
  const rlimit none = {0, 0};
  if (setrlimit(RLIMIT_NPROC, &none) != 0) return 2;
  if (getuid() == 0 && setuid(kNobody) != 0) return 3;
  const int64_t blocksBefore = iMemory_CountLive();
  if (Thread_New(EndAtOnce, nullptr) != nullptr) return 4;
  return iMemory_CountLive() == blocksBefore ? 0 : 5;
}

TEST(ThreadNew, GivesNullAndKeepsNothing_WhenTheSystemStartsNoThread) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(RunWithoutTheRightToStartThreads());
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

int32_t StoreStackBytes(void* bytes) {
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return 1;
  pthread_attr_getstacksize(&attributes, static_cast<size_t*>(bytes));
  pthread_attr_destroy(&attributes);
  return 0;
}

// Not the eight mebibytes that are usual here: a program has a thread for every transfer.
TEST(ThreadNew, GivesAThreadAMebibyteOfStack) {
  size_t stackBytes = 0;
  Thread* thread = Thread_New(StoreStackBytes, &stackBytes);
  ASSERT_NE(thread, nullptr);
  while (Thread_ExitCode(thread) != 0 || Thread_IsRunning(thread) == 1) OS_Delay(0.0005f);
  Thread_Delete(thread);
  // The system may take a page or two of it for itself.
  EXPECT_GT(stackBytes, 1000u * 1024);
  EXPECT_LE(stackBytes, 1100u * 1024);
}

// Of the address space that this process has reserved, stacks included.
size_t ReservedBytes() {
  std::ifstream statistics("/proc/self/statm");
  size_t pages = 0;
  statistics >> pages;
  return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

void RunThreadsOneByOne(int count) {
  for (int i = 0; i < count; ++i) {
    Thread* thread = Thread_New(EndAtOnce, nullptr);
    ASSERT_NE(thread, nullptr);
    while (Thread_ExitCode(thread) != 0 || Thread_IsRunning(thread) == 1) OS_Delay(0.0005f);
    Thread_Delete(thread);
  }
}

TEST(ThreadDelete, GivesTheStackBack) {
  constexpr size_t kStackBytes = 1024 * 1024;
  RunThreadsOneByOne(20);
  const size_t before = ReservedBytes();
  RunThreadsOneByOne(200);
  // The system keeps some stacks for the threads to come, but not two hundred.
  EXPECT_LT(ReservedBytes(), before + 60 * kStackBytes);
}

}  // namespace
