// Threads where the system refuses to start another one.
#include "qz/thread.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "os/core/memory_internal.h"

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

}  // namespace
