// What the exit codes of the system mean to Process_IsActive.
#include "qz/process.h"

#include <gtest/gtest.h>

#include <string>

#include "qz/os.h"
#include "tests/support/environment.h"
#include "tests/support/module.h"

namespace {

TEST(ProcessIsActive, TakesTheExitCode259ForAChildThatRuns) {
  std::string command = "\"";
  command += ProgramPath().string() + "\" --qz-child exit 259";
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch(nullptr, command.c_str(), nullptr, &process), 0);
  // The record begins with the process's number.
  const uint32_t number = *reinterpret_cast<uint32_t*>(process);
  for (int i = 0; i < 10000 && IsProcessListed(number); ++i) OS_Delay(0.001f);
  ASSERT_FALSE(IsProcessListed(number));
  EXPECT_EQ(Process_IsActive(process), 1);
  Process_Detach(process);
}

}  // namespace
