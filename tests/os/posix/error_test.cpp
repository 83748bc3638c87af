// The last failure of a thread in this system's own numbers and words.
#include "qz/error.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "os/core/error_internal.h"
#include "os/platform/error.h"
#include "qz/file.h"
#include "tests/support/temp_dir.h"

namespace {

std::string LastText() {
  char text[512];
  Error_GetLastText(sizeof text, text);
  return text;
}

TEST(ErrorGetLastOnPosix, GivesTheSystemsOwnNumberAndWords) {
  errno = ENOSPC;
  EXPECT_EQ(iError_FromLastSystem("File_Write", "/x/y"), Error_Exceed);
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_EQ(detail.systemNumber, 112u);
  EXPECT_EQ(detail.nativeNumber, 28u);
  EXPECT_EQ(LastText(), "File_Write \"/x/y\": No space left on device (28)");
}

TEST(ErrorGetLastOnPosix, GivesThemForSocketsToo) {
  errno = ECONNREFUSED;
  EXPECT_EQ(iError_FromLastSocket("Sock_Connect", nullptr), Error_NoAccess);
  EXPECT_EQ(LastText(), "Sock_Connect: Connection refused (111)");
}

TEST(ErrorGetLastOnPosix, NamesAnErrorThatTheCommonNumberingLacks) {
  errno = EIO;
  EXPECT_EQ(iError_FromLastSystem("File_Read", "/x"), Error_Fail);
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_EQ(detail.systemNumber, 0x80000005u);
  EXPECT_EQ(detail.nativeNumber, 5u);
  EXPECT_EQ(LastText(), "File_Read \"/x\": Input/output error (5)");
}

TEST(ErrorGetLastOnPosix, HasWordsForLookUps) {
  errno = 0;
  Error_FromSocket("Sock_Connect", "host.invalid", 11001);
  EXPECT_EQ(LastText(), "Sock_Connect \"host.invalid\": Name or service not known (11001)");
}

TEST(ErrorGetLastOnPosix, TakesNoForeignErrorForTheOneBehindANumber) {
  errno = EINTR;
  Error_FromSystem("File_Open", "/x", 112);
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_EQ(detail.nativeNumber, 0u);
  EXPECT_EQ(LastText(), "File_Open \"/x\": Exceeded buffer/file/network/allowed size (112)");
}

TEST(ErrorGetLastOnPosix, LeavesTheSystemsErrorAlone) {
  errno = ENOSPC;
  Error_FromSystem("File_Open", "/x", 112);
  LastText();
  EXPECT_EQ(errno, ENOSPC);
}

TEST(ErrorGetLastOnPosix, GivesTheOtherwiseStatus_WhenTheSystemGaveNoReason) {
  errno = 0;
  EXPECT_EQ(iError_FromLastSystem("File_Close", "/x"), Error_Fail);
  EXPECT_EQ(iError_FromLastSocket("Sock_Read", nullptr, Error_Ended), Error_Ended);
  EXPECT_EQ(LastText(), "Sock_Read: Hit end of buffer/file/socket");
}

TEST(ErrorGetLastOnPosix, TellsWhyAFileCannotBeOpened) {
  const TemporaryFolder folder;
  const std::string name = folder.Name("missing/file");
  File* file = nullptr;
  ASSERT_EQ(File_Open(name.c_str(), 1, &file), Error_Fail);
  EXPECT_EQ(LastText(), "File_Open \"" + name + "\": No such file or directory (2)");
}

struct NumberRow {
  int native;
  uint32_t common;
};

TEST(SystemErrorOnPosix, HasItsNumberInTheCommonNumbering) {
  constexpr NumberRow kRows[] = {
      {0, 0},        {ENOENT, 2},         {ENOTDIR, 3},     {EMFILE, 4},   {ENFILE, 4},
      {EACCES, 5},   {EPERM, 5},          {EROFS, 5},       {ENOMEM, 8},   {EXDEV, 17},
      {EBUSY, 32},   {ETXTBSY, 32},       {ENOSPC, 112},    {EDQUOT, 112}, {EFBIG, 112},
      {EINVAL, 123}, {ENAMETOOLONG, 123}, {ENOTEMPTY, 145}, {EEXIST, 183},
  };
  for (const NumberRow& row : kRows) {
    errno = row.native;
    EXPECT_EQ(platform::LastSystemError(), row.common) << row.native;
  }
}

TEST(SocketErrorOnPosix, HasItsNumberInTheCommonNumbering) {
  constexpr NumberRow kRows[] = {
      {0, 0},
      {EINTR, 10004},
      {EACCES, 10013},
      {EFAULT, 10014},
      {EINVAL, 10022},
      {EMFILE, 10024},
      {ENFILE, 10024},
      {EAGAIN, 10035},
      {EINPROGRESS, 10035},
      {EBADF, 10038},
      {ENOTSOCK, 10038},
      {EADDRINUSE, 10048},
      {EADDRNOTAVAIL, 10049},
      {ENETDOWN, 10050},
      {ENETUNREACH, 10051},
      {ECONNABORTED, 10053},
      {ECONNRESET, 10054},
      {EPIPE, 10054},
      {ENOBUFS, 10055},
      {ENOMEM, 10055},
      {EISCONN, 10056},
      {ENOTCONN, 10057},
      {ESHUTDOWN, 10058},
      {ETIMEDOUT, 10060},
      {ECONNREFUSED, 10061},
      {EHOSTDOWN, 10064},
      {EHOSTUNREACH, 10065},
  };
  for (const NumberRow& row : kRows) {
    errno = row.native;
    EXPECT_EQ(platform::LastSocketError(), row.common) << row.native;
  }
}

}  // namespace
