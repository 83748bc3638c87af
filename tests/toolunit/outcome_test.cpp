// What failed steps mean: words, exit codes, and whether a retry may help.
#include "tool/outcome.h"

#include <gtest/gtest.h>

#include "qz/error.h"
#include "qz/vrxclient.h"

namespace tool {
namespace {

AttemptEnd EndOf(const char* scheme) {
  AttemptEnd end;
  end.state = TransferState_Data;
  end.scheme = scheme;
  end.isHTTP = end.scheme != "ftp";
  end.host = "a.example";
  end.what = "file";
  end.localName = "local";
  return end;
}

void Expect(const AttemptEnd& end, ExitCode code, Retry retry, const std::string& text) {
  const Failure failure = ExplainAttempt(end);
  EXPECT_EQ(static_cast<int>(failure.code), static_cast<int>(code)) << failure.text;
  EXPECT_EQ(failure.retry == Retry::Yes, retry == Retry::Yes) << failure.text;
  EXPECT_EQ(failure.text, text);
}

TEST(Outcome, TellsWhatIsWrongOnThisSide) {
  const struct {
    std::uint32_t reason;
    ExitCode code;
    const char* text;
  } kRows[] = {
      {VRXClientReason_Memory, ExitCode::Other, "\"local\": out of memory"},
      {VRXClientReason_OpenDataFile, ExitCode::Disk, "\"local\": the data file cannot be opened"},
      {VRXClientReason_DataFile, ExitCode::Disk,
       "\"local\": the data file cannot be created, read or written"},
      {VRXClientReason_NoSource, ExitCode::NotFound, "\"local\": the file to upload is missing"},
      {VRXClientReason_Agent, ExitCode::Refused, "\"local\": an extension refused the file"},
      {VRXClientReason_EmptySource, ExitCode::Disk, "\"local\": the file to upload is empty"},
      {VRXClientReason_DiskFull, ExitCode::Disk,
       "\"local\": disk full, or not writable; free some space, then rerun the command to resume"},
      {VRXClientReason_NoDestination, ExitCode::Disk, "\"local\": the destination's folder does not exist"},
  };
  for (const auto& row : kRows) {
    AttemptEnd end = EndOf("http");
    end.reason = row.reason;
    Expect(end, row.code, Retry::No, row.text);
  }
}

TEST(Outcome, TellsWhereAnAttemptEnded) {
  AttemptEnd end = EndOf("ftp");
  end.status = Error_Timeout;
  end.state = TransferState_Connect;
  Expect(end, ExitCode::Network, Retry::Yes, "cannot connect to a.example: timed out");
  end.proxy = "proxy:8080";
  Expect(end, ExitCode::Network, Retry::Yes,
         "cannot connect to a.example through the proxy proxy:8080: timed out");
  end.state = TransferState_Login;
  Expect(end, ExitCode::Network, Retry::Yes, "cannot log in to a.example: timed out");
  end.state = TransferState_Data;
  Expect(end, ExitCode::Network, Retry::Yes, "cannot get \"file\": timed out");
  end.isUpload = true;
  Expect(end, ExitCode::Network, Retry::Yes, "cannot store \"file\": timed out");
}

TEST(Outcome, TriesAgainWhatMayPass) {
  const struct {
    ErrorCode status;
    std::uint32_t state;
    ExitCode code;
    Retry retry;
  } kRows[] = {
      {Error_Retry, TransferState_Data, ExitCode::Network, Retry::Yes},
      {Error_Ended, TransferState_Data, ExitCode::Network, Retry::Yes},
      {Error_NoAccess, TransferState_Connect, ExitCode::Network, Retry::Yes},
      {Error_System, TransferState_Connect, ExitCode::Network, Retry::Yes},
      {Error_NotFound, TransferState_Connect, ExitCode::Network, Retry::No},
      {Error_Invalid, TransferState_Start, ExitCode::Protocol, Retry::No},
      {Error_Exceed, TransferState_Start, ExitCode::Protocol, Retry::No},
      {Error_Memory, TransferState_Data, ExitCode::Other, Retry::No},
  };
  for (const auto& row : kRows) {
    AttemptEnd end = EndOf("http");
    end.status = row.status;
    end.state = row.state;
    const Failure failure = ExplainAttempt(end);
    EXPECT_EQ(static_cast<int>(failure.code), static_cast<int>(row.code)) << row.status;
    EXPECT_EQ(failure.retry == Retry::Yes, row.retry == Retry::Yes) << row.status;
  }
}

TEST(Outcome, GoesByTheServersReply) {
  const struct {
    const char* scheme;
    std::int32_t code;
    ExitCode exit;
    Retry retry;
  } kRows[] = {
      {"ftp", 550, ExitCode::NotFound, Retry::No},  {"ftp", 421, ExitCode::Network, Retry::Yes},
      {"ftp", 425, ExitCode::Network, Retry::Yes},  {"ftp", 451, ExitCode::Network, Retry::Yes},
      {"ftp", 552, ExitCode::Other, Retry::No},     {"ftp", 530, ExitCode::Login, Retry::No},
      {"ftp", 332, ExitCode::Login, Retry::No},     {"ftp", 500, ExitCode::Protocol, Retry::No},
      {"http", 404, ExitCode::NotFound, Retry::No}, {"http", 410, ExitCode::NotFound, Retry::No},
      {"http", 401, ExitCode::Login, Retry::No},    {"http", 403, ExitCode::Login, Retry::No},
      {"http", 503, ExitCode::Network, Retry::Yes}, {"http", 429, ExitCode::Network, Retry::Yes},
      {"http", 400, ExitCode::Protocol, Retry::No},
  };
  for (const auto& row : kRows) {
    AttemptEnd end = EndOf(row.scheme);
    end.status = Error_Invalid;
    end.replyCode = row.code;
    const Failure failure = ExplainAttempt(end);
    EXPECT_EQ(static_cast<int>(failure.code), static_cast<int>(row.exit)) << row.code;
    EXPECT_EQ(failure.retry == Retry::Yes, row.retry == Retry::Yes) << row.code;
  }
}

TEST(Outcome, NamesTheReasonOfAStatusWhole) {
  EXPECT_EQ(HTTPReasonText(404, "Not"), "Not Found");
  EXPECT_EQ(HTTPReasonText(503, "Service"), "Service Unavailable");
  EXPECT_EQ(HTTPReasonText(404, "Verboten"), "Verboten");
  EXPECT_EQ(HTTPReasonText(599, "Not"), "Not");
}

TEST(Outcome, TellsHowToBeginAnew_WhenAnotherPartIsSent) {
  AttemptEnd end = EndOf("http");
  end.status = Error_Invalid;
  end.state = TransferState_Start;
  end.replyCode = 206;
  const Failure failure = ExplainAttempt(end);
  EXPECT_EQ(failure.code, ExitCode::Protocol);
  EXPECT_NE(failure.text.find("another part of the file than was asked for; --restart"), std::string::npos);
}

TEST(Outcome, BlamesTheLoginForARefusedOne) {
  AttemptEnd end = EndOf("ftp");
  end.state = TransferState_Login;
  end.status = Error_NoAccess;
  end.replyCode = 530;
  end.replyText = "no";
  Expect(end, ExitCode::Login, Retry::No, "a.example refused the login: \"530 no\"; log in with --user NAME");
  end.user = "me";
  Expect(end, ExitCode::Login, Retry::No,
         "a.example refused the login of \"me\": \"530 no\"; check the user name and the password");
}

TEST(Outcome, BlamesNoLoginForAServerThatIsBusy) {
  AttemptEnd end = EndOf("ftp");
  end.state = TransferState_Login;
  end.status = Error_NoAccess;
  end.replyCode = 421;
  end.replyText = "later";
  Expect(end, ExitCode::Network, Retry::Yes, "cannot log in to a.example: the server answered \"421 later\"");
}

TEST(Outcome, CountsTheBytesOfAFileThatIsNotWhole) {
  AttemptEnd end = EndOf("ftp");
  end.status = Error_Ended;
  end.position = 1234;
  end.size = 5678;
  Expect(end, ExitCode::Network, Retry::Yes, "connection closed after 1,234 of 5,678 bytes");
  end.position = 5678;
  Expect(end, ExitCode::Network, Retry::Yes, "connection closed before the end of the file");
  end.size = std::nullopt;
  Expect(end, ExitCode::Network, Retry::Yes, "connection closed before the end of the file");
}

TEST(Outcome, TellsOfASurplus_OnceAllBytesHaveCome) {
  AttemptEnd end = EndOf("ftp");
  end.status = Error_Invalid;
  end.position = 1234;
  end.size = 5678;
  Expect(end, ExitCode::Protocol, Retry::No, "cannot get \"file\": invalid response");
  end.position = 5678;
  Expect(end, ExitCode::Protocol, Retry::No,
         "the server sent more than the reported 5,678 bytes; the data cannot be trusted");
}

TEST(Outcome, HintsAtNoDataConnectionWhileThereIsNone) {
  AttemptEnd end = EndOf("ftp");
  end.status = Error_NoAccess;
  end.state = TransferState_Connect;
  Expect(end, ExitCode::Network, Retry::Yes, "cannot connect to a.example: connection refused");
  end.state = TransferState_Start;
  Expect(end, ExitCode::Network, Retry::Yes,
         "cannot get \"file\": connection refused (data connection); try --active");
  end.isHTTP = true;
  Expect(end, ExitCode::Network, Retry::Yes, "cannot get \"file\": connection refused");
}

TEST(Outcome, TellsWhereRedirectsEnd) {
  AttemptEnd end = EndOf("http");
  end.state = TransferState_Start;
  end.reason = VRXClientReason_Redirected;
  Expect(end, ExitCode::Protocol, Retry::No, "the server redirects too often, more than 10 times in a row");
  end.reason = VRXClientReason_None;
  end.replyCode = 302;
  Expect(end, ExitCode::Protocol, Retry::No, "the server redirects without a usable Location");
  end.scheme = "https";
  Expect(end, ExitCode::Protocol, Retry::No,
         "the server redirects to https://a.example; https is not supported");
}

TEST(Outcome, HintsAtTheOtherModeOfDataConnections) {
  AttemptEnd end = EndOf("ftp");
  end.state = TransferState_Start;
  end.replyCode = 425;
  end.replyText = "no";
  Expect(end, ExitCode::Network, Retry::Yes,
         "cannot get \"file\": the server answered \"425 no\" (data connection); try --active");
  end.isActive = true;
  Expect(end, ExitCode::Network, Retry::Yes,
         "cannot get \"file\": the server answered \"425 no\" (data connection); try without --active");
}

TEST(Outcome, MakesPausesLonger_UpToAMinute) {
  const struct {
    unsigned first, failedRetries, seconds;
  } kRows[] = {{2, 0, 2},   {2, 1, 4}, {2, 4, 32},  {2, 5, 60},  {1, 5, 32},    {1, 6, 60},
               {1, 40, 60}, {0, 3, 0}, {60, 0, 60}, {61, 0, 60}, {3600, 0, 60}, {3600, 1000, 60}};
  for (const auto& row : kRows)
    EXPECT_EQ(PauseSeconds(row.first, row.failedRetries), row.seconds)
        << row.first << " " << row.failedRetries;
}

}  // namespace
}  // namespace tool
