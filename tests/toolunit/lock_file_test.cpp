// Locks of two holders; they need not be two programs.
#include "tool/lock_file.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/support/temp_dir.h"
#include "tool/failure.h"

namespace {

using tool::LockFile;
using Kind = tool::LockFile::Kind;

class LockFileTest : public testing::Test {
 protected:
  std::string Path() const { return folder_.SystemName("lock").string(); }

  TempDir folder_;
  LockFile one_{Path()};
  LockFile other_{Path()};
};

TEST_F(LockFileTest, ExcludesTheOther) {
  EXPECT_TRUE(one_.TryLock(5, Kind::Exclusive));
  EXPECT_FALSE(other_.TryLock(5, Kind::Exclusive));
  EXPECT_FALSE(other_.TryLock(5, Kind::Shared));
  EXPECT_TRUE(other_.IsLockedElsewhere(5));
  one_.Unlock(5);
  EXPECT_FALSE(other_.IsLockedElsewhere(5));
  EXPECT_TRUE(other_.TryLock(5, Kind::Exclusive));
}

TEST_F(LockFileTest, SharesWithTheOther) {
  EXPECT_TRUE(one_.TryLock(5, Kind::Shared));
  EXPECT_TRUE(other_.TryLock(5, Kind::Shared));
  other_.Unlock(5);
  EXPECT_FALSE(other_.TryLock(5, Kind::Exclusive));
}

TEST_F(LockFileTest, LocksSingleBytesFarBeyondTheEnd) {
  EXPECT_TRUE(one_.TryLock(4000000016u, Kind::Exclusive));
  EXPECT_TRUE(other_.TryLock(4000000015u, Kind::Exclusive));
  EXPECT_TRUE(other_.TryLock(4000000017u, Kind::Exclusive));
  EXPECT_FALSE(other_.TryLock(4000000016u, Kind::Exclusive));
  EXPECT_EQ(folder_.Size("lock"), 0u);
}

TEST_F(LockFileTest, EndsWithItsHolder) {
  {
    LockFile third(Path());
    EXPECT_TRUE(third.TryLock(1, Kind::Exclusive));
  }
  EXPECT_TRUE(one_.TryLock(1, Kind::Exclusive));
}

TEST_F(LockFileTest, WaitsForTheOther) {
  one_.Lock(1, Kind::Exclusive);
  std::atomic<bool> isLocked = false;
  std::thread waiting([&] {
    other_.Lock(1, Kind::Exclusive);
    isLocked = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_FALSE(isLocked);
  one_.Unlock(1);
  waiting.join();
  EXPECT_TRUE(isLocked);
}

TEST_F(LockFileTest, NeedsItsFolder) {
  try {
    LockFile(folder_.SystemName("missing/lock").string());
    FAIL() << "there is no such folder";
  } catch (const tool::Failure& failure) {
    EXPECT_EQ(failure.code, tool::ExitCode::Disk);
  }
}

}  // namespace
