// Status codes: texts, translations and the diagnostic line.
#include "qz/error.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "os/core/error_internal.h"
#include "os/core/error_testing.h"
#include "os/core/memory_testing.h"
#include "qz/file.h"
#include "tests/support/debug_channel.h"
#include "tests/support/error_capture.h"
#include "tests/support/os_session.h"
#include "tests/support/temp_dir.h"

namespace {

struct TextRow {
  int32_t code;
  const char* shortText;
  const char* longText;
};

constexpr TextRow kTexts[] = {
    {-7, "System", "System: A system/subsystem is not operational"},
    {-5, "No Access", "NoAccess: No access to resource/file/network"},
    {-4, "Invalid", "Invalid: Invalid data/address/format"},
    {-3, "Not Found", "NotFound: Item/index/lookup/file/address not found"},
    {-2, "Not Inited", "NotInited: System/Variable not inited correctly"},
    {-1, "Fail", "Fail: Generic failure"},
    {0, "None", "None: Success"},
    {1, "Memory", "Memory: Out of memory"},
    {2, "Inited", "Inited: System/module/variable already inited"},
    {3, "Exists", "Exists: Item/index/lookup/file already exists"},
    {4, "Ended", "Ended: Hit end of buffer/file/socket"},
    {5, "Exceed", "Exceed: Exceeded buffer/file/network/allowed size"},
    {6, "Block", "Block: operation blocked/in use"},
    {7, "Cancel", "Cancel: Interrupted"},
    {8, "Timeout", "Timeout: Operation timed out"},
    {9, "Retry", "Retry: Must try again"},
};

TEST(Error, GivesTheShortAndLongTextOfEveryStatus) {
  for (const TextRow& row : kTexts) {
    EXPECT_STREQ(Error_ToString(row.code), row.shortText) << row.code;
    EXPECT_STREQ(Error_ToLongString(row.code), row.longText) << row.code;
  }
}

TEST(Error, HasNoTextOutsideTheStatuses) {
  for (int32_t code : {-8, -6, 10, 1000, INT32_MIN, INT32_MAX}) {
    EXPECT_STREQ(Error_ToString(code), "(no error string)") << code;
    EXPECT_STREQ(Error_ToLongString(code), "(no error string)") << code;
  }
}

TEST(Error, WritesExactlyOneLine) {
  ErrorCapture capture;
  Error("%d", 5);
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: 5\n");
}

TEST(Error, ReachesTheSystemsDiagnosticChannel) {
  EXPECT_EQ(CaptureDebugChannel([] { Error("%d", 5); }), "#### Error: 5\n");
}

TEST(Error, SendsEachMessageAsALineOfItsOwn) {
  const std::string received = CaptureDebugChannel([] {
    Error("OS_Init: %s failed", "WSAStartup");
    Error_FromSocket("Socket_Exit", "WSACleanup", 10093);
  });
  EXPECT_EQ(received, "#### Error: OS_Init: WSAStartup failed\n#### Error: WSA Not initialized!\n");
}

TEST(Error, WritesNothingToTheLog) {
  OSSession session;
  ASSERT_EQ(session.Status(), Error_None);
  const std::filesystem::path log = session.Folder().Path() / "session.log";
  auto report = [] { Error("%s", "unexpected"); };
  EXPECT_EQ(CaptureDebugChannel(report), "#### Error: unexpected\n");
  EXPECT_FALSE(std::filesystem::exists(log));
  File* file = File_GetSysFile(0, 2);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(CaptureDebugChannel(report), "#### Error: unexpected\n");
  EXPECT_EQ(File_Flush(file), Error_None);
  EXPECT_EQ(std::filesystem::file_size(log), 0u);
}

TEST(Error, WorksAfterTheLibraryHasEnded) {
  {
    OSSession session;
    ASSERT_EQ(session.Status(), Error_None);
  }
  EXPECT_EQ(CaptureDebugChannel([] { Error("%s", "late"); }), "#### Error: late\n");
  EXPECT_STREQ(Error_ToString(Error_NotFound), "Not Found");
  EXPECT_STREQ(Error_ToLongString(Error_Retry), "Retry: Must try again");
}

TEST(Error, KeepsTheLinesOfTwoThreadsApart) {
  const std::string received = CaptureDebugChannel([] {
    auto report = [](const char* name) {
      for (int i = 0; i < 100; ++i) Error("%s", name);
    };
    std::thread first(report, "first");
    std::thread second(report, "second");
    first.join();
    second.join();
  });
  std::istringstream lines(received);
  int countFirst = 0;
  int countSecond = 0;
  for (std::string line; std::getline(lines, line);) {
    countFirst += line == "#### Error: first" ? 1 : 0;
    countSecond += line == "#### Error: second" ? 1 : 0;
  }
  EXPECT_EQ(countFirst, 100);
  EXPECT_EQ(countSecond, 100);
  EXPECT_EQ(received.size(), 100u * 18 + 100u * 19);
}

TEST(Error, SendsAnEmptyLineForAMissingFormat) {
  ErrorCapture capture;
  const char* noFormat = nullptr;
  Error(noFormat);
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: \n");
}

TEST(Error, KeepsAMessageThatJustFits) {
  ErrorCapture capture;
  Error("%s", std::string(1010, 'y').c_str());
  EXPECT_EQ(capture.Lines()[0], "#### Error: " + std::string(1010, 'y') + "\n");
}

TEST(Error, CutsALongMessageAndKeepsTheNewline) {
  ErrorCapture capture;
  Error("%s", std::string(5000, 'x').c_str());
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: " + std::string(1010, 'x') + "\n");
  EXPECT_EQ(capture.Lines()[0].size(), 1023u);
}

TEST(Error, NeverTakesUserTextForAFormat) {
  ErrorCapture capture;
  Error("%s", "%n%s%d");
  EXPECT_EQ(capture.Lines()[0], "#### Error: %n%s%d\n");
}

TEST(ErrorFromSystem, TranslatesEveryRow) {
  const int32_t rows[][2] = {{0, Error_None},     {2, Error_NotFound}, {3, Error_NotFound},
                             {5, Error_NoAccess}, {32, Error_System},  {112, Error_Exceed},
                             {123, Error_Invalid}};
  for (auto& row : rows)
    EXPECT_EQ(Error_FromSystem("a", "b", static_cast<uint32_t>(row[0])), row[1]) << row[0];
}

TEST(ErrorFromSystem, GivesFailForAnyOtherNumber) {
  // 183 (already exists) and 145 (not empty) have no status of their own.
  for (uint32_t number : {1u, 4u, 31u, 33u, 80u, 145u, 183u, 206u, 0xFFFFFFFFu}) {
    EXPECT_EQ(Error_FromSystem(nullptr, nullptr, number), Error_Fail) << number;
  }
}

TEST(ErrorFromSocket, TranslatesEveryRow) {
  const int32_t rows[][2] = {{0, Error_None},        {10004, Error_Cancel},   {10038, Error_Cancel},
                             {10014, Error_Invalid}, {10024, Error_Memory},   {10055, Error_Memory},
                             {10035, Error_Block},   {10048, Error_Exists},   {10050, Error_System},
                             {10051, Error_System},  {10054, Error_Retry},    {11002, Error_Retry},
                             {10060, Error_Timeout}, {10061, Error_NoAccess}, {11001, Error_NotFound}};
  ErrorCapture capture;
  for (auto& row : rows)
    EXPECT_EQ(Error_FromSocket("a", "b", static_cast<uint32_t>(row[0])), row[1]) << row[0];
  EXPECT_TRUE(capture.Lines().empty());
}

TEST(ErrorFromSocket, ReportsThatSocketsWereNotStarted) {
  ErrorCapture capture;
  EXPECT_EQ(Error_FromSocket("a", "b", 10093), Error_Fail);
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: WSA Not initialized!\n");
}

TEST(ErrorFromSocket, GivesFailForAnyOtherNumber) {
  for (uint32_t number : {1u, 206u, 10022u, 10036u, 10053u, 10057u, 10065u, 11003u}) {
    EXPECT_EQ(Error_FromSocket(nullptr, nullptr, number), Error_Fail) << number;
  }
}

// ---- the last failure of each thread -------------------------------------------------------------

class ErrorGetLast : public testing::Test {
 protected:
  void SetUp() override { Error_ClearLast(); }
  void TearDown() override { Error_ClearLast(); }

  static std::string Text() {
    char text[512];
    const int32_t length = Error_GetLastText(sizeof text, text);
    EXPECT_EQ(length, static_cast<int32_t>(strlen(text)));
    return text;
  }
};

TEST_F(ErrorGetLast, FindsNothing_WhenNothingIsRecorded) {
  ErrorDetail detail;
  memset(&detail, 0x55, sizeof detail);
  EXPECT_EQ(Error_GetLast(&detail), Error_NotFound);
  const ErrorDetail zeroed{};
  EXPECT_EQ(memcmp(&detail, &zeroed, sizeof detail), 0);
  EXPECT_EQ(Text(), "");
}

TEST_F(ErrorGetLast, TellsWhatFailedOnWhichNameWithWhichNumber) {
  EXPECT_EQ(Error_FromSystem("File_Open", "/x/y", 112), Error_Exceed);
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_EQ(detail.status, Error_Exceed);
  EXPECT_EQ(detail.systemNumber, 112u);
  EXPECT_STREQ(detail.operation, "File_Open");
  EXPECT_STREQ(detail.name, "/x/y");
}

TEST_F(ErrorGetLast, KeepsSocketFailuresAlike) {
  EXPECT_EQ(Error_FromSocket("Sock_Connect", "host.example", 10061), Error_NoAccess);
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_EQ(detail.status, Error_NoAccess);
  EXPECT_EQ(detail.systemNumber, 10061u);
  EXPECT_STREQ(detail.operation, "Sock_Connect");
  EXPECT_STREQ(detail.name, "host.example");
}

TEST_F(ErrorGetLast, StaysAfterASuccessAndAfterWhatWouldBlock) {
  EXPECT_EQ(Error_FromSystem("File_Open", "first", 5), Error_NoAccess);
  EXPECT_EQ(Error_FromSystem("File_Open", "second", 0), Error_None);
  EXPECT_EQ(Error_FromSocket("Sock_Read", nullptr, 10035), Error_Block);
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_STREQ(detail.name, "first");
}

TEST_F(ErrorGetLast, IsReplacedByTheNextFailureInFull) {
  Error_FromSystem("Directory_Delete", "/a/long/name", 5);
  Error_FromSystem("F", nullptr, 2);
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_EQ(detail.systemNumber, 2u);
  const char operation[sizeof detail.operation] = "F";
  const char name[sizeof detail.name] = "";
  EXPECT_EQ(memcmp(detail.operation, operation, sizeof operation), 0);
  EXPECT_EQ(memcmp(detail.name, name, sizeof name), 0);
}

TEST_F(ErrorGetLast, IsForgottenByClearing) {
  Error_FromSystem("File_Open", "x", 5);
  Error_ClearLast();
  ErrorDetail detail;
  EXPECT_EQ(Error_GetLast(&detail), Error_NotFound);
  EXPECT_EQ(Text(), "");
  Error_FromSystem("File_Open", "y", 5);
  EXPECT_EQ(Error_GetLast(&detail), Error_None);
}

TEST_F(ErrorGetLast, CutsLongLabels) {
  const std::string operation(100, 'o');
  const std::string name(1000, 'n');
  Error_FromSystem(operation.c_str(), name.c_str(), 5);
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_EQ(detail.operation, std::string(63, 'o'));
  EXPECT_EQ(detail.name, std::string(255, 'n'));
}

TEST_F(ErrorGetLast, RefusesNowhereToPutTheAnswer) {
  char text[4] = "abc";
  EXPECT_EQ(Error_GetLast(nullptr), Error_Invalid);
  EXPECT_EQ(Error_GetLastText(4, nullptr), Error_Invalid);
  EXPECT_EQ(Error_GetLastText(0, text), Error_Invalid);
  EXPECT_STREQ(text, "abc");
}

TEST_F(ErrorGetLast, BelongsToTheThreadThatFailed) {
  Error_FromSystem("File_Open", "mine", 5);
  std::thread([] {
    ErrorDetail detail;
    EXPECT_EQ(Error_GetLast(&detail), Error_NotFound);
    Error_FromSystem("File_Open", "its", 2);
    ASSERT_EQ(Error_GetLast(&detail), Error_None);
    EXPECT_STREQ(detail.name, "its");
  }).join();
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_STREQ(detail.name, "mine");
}

TEST_F(ErrorGetLast, IsNeverAnotherThreads_HoweverManyThreadsFail) {
  constexpr int kThreads = 3 * kErrorRecordCount;
  Error_FromSystem("File_Open", "mine", 5);
  for (int i = 0; i < kThreads; ++i) {
    std::thread([i] {
      ErrorDetail detail;
      EXPECT_EQ(Error_GetLast(&detail), Error_NotFound);
      const std::string name = "thread " + std::to_string(i);
      Error_FromSystem("File_Open", name.c_str(), 2);
      ASSERT_EQ(Error_GetLast(&detail), Error_None);
      EXPECT_EQ(detail.name, name);
    }).join();
  }
  // Its place was taken long ago.
  ErrorDetail detail;
  EXPECT_EQ(Error_GetLast(&detail), Error_NotFound);
  Error_FromSystem("File_Open", "mine again", 5);
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_STREQ(detail.name, "mine again");
}

TEST_F(ErrorGetLast, IsWholeWhenManyThreadsFailAtOnce) {
  auto failAndLook = [](char letter) {
    const std::string name(200, letter);
    for (int i = 0; i < 2000; ++i) {
      Error_FromSystem("File_Open", name.c_str(), 2);
      ErrorDetail detail;
      ASSERT_EQ(Error_GetLast(&detail), Error_None);
      ASSERT_EQ(detail.name, name);
    }
  };
  std::vector<std::thread> threads;
  for (char letter : {'a', 'b', 'c', 'd'}) threads.emplace_back(failAndLook, letter);
  for (std::thread& thread : threads) thread.join();
}

TEST_F(ErrorGetLast, NeedsNoMemoryAndNoStartedLibrary) {
  iMemory_FailAllocation(1);
  Error_FromSystem("File_Open", "x", 5);
  ErrorDetail detail;
  EXPECT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_NE(Text(), "");
  EXPECT_EQ(iMemory_AllocationsUntilFailure(), 1);
  iMemory_FailAllocation(0);
}

TEST_F(ErrorGetLast, TellsOfAFileThatCannotBeOpened) {
  const TemporaryFolder folder;
  const std::string name = folder.Name("missing/file");
  File* file = nullptr;
  ASSERT_EQ(File_Open(name.c_str(), 1, &file), Error_Fail);
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_EQ(detail.status, Error_Fail);
  EXPECT_STREQ(detail.operation, "File_Open");
  EXPECT_EQ(detail.name, name);
  EXPECT_NE(detail.nativeNumber, 0u);
}

TEST_F(ErrorGetLast, TellsOfADirectoryThatCannotBeRemoved) {
  const TemporaryFolder folder;
  const std::string name = folder.Name("missing");
  ASSERT_EQ(File_Unlink(name.c_str()), Error_NotFound);
  ASSERT_EQ(File_Move(name.c_str(), folder.Name("other").c_str()), Error_NotFound);
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_STREQ(detail.operation, "File_Move");
  EXPECT_EQ(detail.name, name);
  EXPECT_EQ(detail.systemNumber, 2u);
}

TEST_F(ErrorGetLast, SaysInWordsWhatFailed) {
  iError_Record(Error_Memory, "File_Open", "/x/y");
  EXPECT_EQ(Text(), "File_Open \"/x/y\": Out of memory");
  iError_Record(Error_Timeout, "Sock_Read", nullptr);
  EXPECT_EQ(Text(), "Sock_Read: Operation timed out");
  iError_Record(Error_Invalid, nullptr, "name");
  EXPECT_EQ(Text(), "\"name\": Invalid data/address/format");
  iError_Record(Error_Fail, nullptr, nullptr);
  EXPECT_EQ(Text(), "Generic failure");
}

TEST_F(ErrorGetLast, ShowsNoControlBytes) {
  iError_Record(Error_Memory, "File_Open", "a\x1b[2J\n\x7f%s\xc3\xa4");
  EXPECT_EQ(Text(), "File_Open \"a?[2J??%s\xc3\xa4\": Out of memory");
}

// The first of them begins an instruction to a terminal, as ESC [ does.
TEST_F(ErrorGetLast, ShowsNoControlCharactersOfTwoBytes) {
  iError_Record(Error_Memory, "File_Open", "a\xc2\x9b\x31m\xc2\x80\xc2\x9f\xc2\xa0\xc3\x9b\xc2");
  EXPECT_EQ(Text(), "File_Open \"a??1m????\xc2\xa0\xc3\x9b\xc2\": Out of memory");
}

TEST_F(ErrorGetLast, CutsItsWordsToTheRoom) {
  iError_Record(Error_Memory, "File_Open", "/x/y");
  char text[12];
  memset(text, 'z', sizeof text);
  EXPECT_EQ(Error_GetLastText(10, text), 9);
  EXPECT_STREQ(text, "File_Open");
  EXPECT_EQ(text[10], 'z');
}

}  // namespace
