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

TEST(ConfigWriteOnWindows, TakesNamesOfTheCodePage) {
  Document document(Pairs());
  document.Print("a 1");
  const std::wstring folder = document.directory().SystemName().wstring();
  const wchar_t wide[] = L"\u00E4\u00F6.conf";
  char name[16] = {};
  BOOL isReplaced = FALSE;
  WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide, -1, name, sizeof name, nullptr, &isReplaced);
  ASSERT_FALSE(isReplaced) << "this test needs a code page with these characters";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(Config_Write(document.get(), document.directory().Name(name).c_str()), Error_None);
  }
  EXPECT_NE(GetFileAttributesW((folder + L"\\" + wide).c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(Config_Read(document.get(), document.directory().Name(name).c_str()), Error_None);
  EXPECT_EQ(document.Written(), "a\t1\r\n# DUP a\t1\r\n");
}

TEST(ConfigWriteOnWindows, WritesBackWhatStandsBehindTheEndMarkOfOldTextFiles) {
  Document document(Pairs(), "a 1\r\n\x1A\r\nb 2\r\n");
  EXPECT_EQ(document.Written(), "a\t1\r\n# MIN \x1A\r\nb\t2\r\n");
}

}  // namespace
