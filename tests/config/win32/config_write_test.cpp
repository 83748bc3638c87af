// Writing a document over a file that is in use, and text files of old editors.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "tests/config/config_fixture.h"

namespace {

TEST(ConfigWriteOnWindows, KeepsTheOldFile_WhenAnotherProgramHoldsIt) {
  Document document(Pairs());
  document.Print("a 1");
  document.directory().Write("file", "old");
  const std::wstring path = document.directory().SystemName("file").wstring();
  const HANDLE held = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(held, INVALID_HANDLE_VALUE);
  const ErrorCode status = Config_Write(document.get(), document.directory().Name("file").c_str());
  CloseHandle(held);
  EXPECT_EQ(status, Error_Fail);
  EXPECT_EQ(document.directory().Read("file"), "old");
  EXPECT_EQ(document.directory().List(), std::vector<std::string>{"file"});
}

TEST(ConfigWriteOnWindows, WritesBackWhatStandsBehindTheEndMarkOfOldTextFiles) {
  Document document(Pairs(), "a 1\r\n\x1A\r\nb 2\r\n");
  EXPECT_EQ(document.Written(), "a\t1\r\n# MIN \x1A\r\nb\t2\r\n");
}

}  // namespace
