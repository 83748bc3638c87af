// The last failure of a thread in this system's own numbers and words.
#include "qz/error.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "os/core/error_internal.h"
#include "qz/file.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(ErrorGetLastOnWindows, GivesTheSystemsNumberAsItIs) {
  SetLastError(ERROR_DISK_FULL);
  EXPECT_EQ(iError_FromLastSystem("File_Write", "C:\\x"), Error_Exceed);
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_EQ(detail.systemNumber, 112u);
  EXPECT_EQ(detail.nativeNumber, 112u);
}

// The words are the system's, in the user's language.
TEST(ErrorGetLastOnWindows, HasTheSystemsWordsWithoutALineEnd) {
  Error_FromSystem("File_Open", "C:\\x", ERROR_FILE_NOT_FOUND);
  char text[512];
  ASSERT_GT(Error_GetLastText(sizeof text, text), 0);
  const std::string line = text;
  const std::string begin = "File_Open \"C:\\x\": ";
  const std::string end = " (2)";
  ASSERT_GT(line.size(), begin.size() + end.size());
  EXPECT_EQ(line.substr(0, begin.size()), begin);
  EXPECT_EQ(line.substr(line.size() - end.size()), end);
  EXPECT_EQ(line.find("Item/index"), std::string::npos) << line;
  EXPECT_EQ(line.find_first_of("?\r\n"), std::string::npos) << line;
  EXPECT_NE(line[line.size() - end.size() - 1], '.') << line;
}

TEST(ErrorGetLastOnWindows, LeavesTheSystemsErrorAlone) {
  char text[512];
  SetLastError(ERROR_DISK_FULL);
  Error_FromSystem("File_Open", "C:\\x", ERROR_FILE_NOT_FOUND);
  ErrorDetail detail;
  Error_GetLast(&detail);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
  Error_GetLastText(sizeof text, text);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_DISK_FULL));
}

}  // namespace
