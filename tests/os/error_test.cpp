// Status codes: texts, translations and the diagnostic line.
#include "qz/error.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <thread>

#include "qz/file.h"
#include "tests/support/debug_channel.h"
#include "tests/support/error_capture.h"
#include "tests/support/os_session.h"

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
  ASSERT_EQ(session.Status(), 0);
  const std::filesystem::path log = session.Folder().Path() / "session.log";
  auto report = [] { Error("%s", "unexpected"); };
  EXPECT_EQ(CaptureDebugChannel(report), "#### Error: unexpected\n");
  EXPECT_FALSE(std::filesystem::exists(log));
  File* file = File_GetSysFile(0, 2);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(CaptureDebugChannel(report), "#### Error: unexpected\n");
  EXPECT_EQ(File_Flush(file), 0);
  EXPECT_EQ(std::filesystem::file_size(log), 0u);
}

TEST(Error, WorksAfterTheLibraryHasEnded) {
  {
    OSSession session;
    ASSERT_EQ(session.Status(), 0);
  }
  EXPECT_EQ(CaptureDebugChannel([] { Error("%s", "late"); }), "#### Error: late\n");
  EXPECT_STREQ(Error_ToString(-3), "Not Found");
  EXPECT_STREQ(Error_ToLongString(9), "Retry: Must try again");
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
  const int32_t rows[][2] = {{0, 0}, {2, -3}, {3, -3}, {5, -5}, {32, -7}, {112, 5}, {123, -4}};
  for (auto& row : rows)
    EXPECT_EQ(Error_FromSystem("a", "b", static_cast<uint32_t>(row[0])), row[1]) << row[0];
}

TEST(ErrorFromSystem, GivesFailForAnyOtherNumber) {
  // 183 (already exists) and 145 (not empty) have no status of their own.
  for (uint32_t number : {1u, 4u, 31u, 33u, 80u, 145u, 183u, 0xFFFFFFFFu}) {
    EXPECT_EQ(Error_FromSystem(nullptr, nullptr, number), -1) << number;
  }
}

TEST(ErrorFromSocket, TranslatesEveryRow) {
  const int32_t rows[][2] = {{0, 0},     {10004, 7}, {10038, 7}, {10014, -4}, {10024, 1},
                             {10055, 1}, {10035, 6}, {10048, 3}, {10050, -7}, {10051, -7},
                             {10054, 9}, {11002, 9}, {10060, 8}, {10061, -5}, {11001, -3}};
  ErrorCapture capture;
  for (auto& row : rows)
    EXPECT_EQ(Error_FromSocket("a", "b", static_cast<uint32_t>(row[0])), row[1]) << row[0];
  EXPECT_TRUE(capture.Lines().empty());
}

TEST(ErrorFromSocket, ReportsThatSocketsWereNotStarted) {
  ErrorCapture capture;
  EXPECT_EQ(Error_FromSocket("a", "b", 10093), -1);
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: WSA Not initialized!\n");
}

TEST(ErrorFromSocket, GivesFailForAnyOtherNumber) {
  for (uint32_t number : {1u, 10022u, 10036u, 10057u, 11003u}) {
    EXPECT_EQ(Error_FromSocket(nullptr, nullptr, number), -1) << number;
  }
}

}  // namespace
