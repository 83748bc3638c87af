// Files that another program has open alone, as it does while it replaces them.
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <string>
#include <thread>

#include "qz/error.h"
#include "tests/transfer/transfer_fixture.h"
#include "transfer/sharedfiles_internal.h"
#include "transfer/statistics_internal.h"

namespace {

class SharedFilesOnWindows : public KeptFilesTest {};

TEST_F(SharedFilesOnWindows, AreReadWhenTheOtherProgramHasReplacedThem) {
  const std::string path = Path("through.qzc").string();
  auto lock = std::make_unique<SharedFilesLock>(1000);
  const HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  std::thread other([&] {
    Sleep(300);
    CloseHandle(file);
    lock.reset();
  });
  EXPECT_EQ(iStatistics_Start(), Error_None);
  other.join();
  iStatistics_End();
}

}  // namespace
