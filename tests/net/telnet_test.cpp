// The line connection: receiving, sending, logging.
#include "qz/telnet.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

#include "net/sock_testing.h"
#include "net/telnet_internal.h"
#include "os/core/socketlayer_internal.h"
#include "os/platform/clock.h"
#include "qz/readbufferstream.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/loopback.h"
#include "tests/support/temp_dir.h"

namespace {

// A stream that gives a text and keeps what is written.
struct TextStream {
  Stream stream;
  std::string input;
  size_t position = 0;
  std::string output;
  std::vector<uint32_t> writes;  // sizes
  uint32_t room = 0xFFFFFFFFu;   // bytes that are still taken
  bool deleted = false;

  explicit TextStream(std::string text = "") : input(std::move(text)) {
    Stream_Init(0x74657374u, &kOperations, &stream);
  }

  static TextStream* Of(Stream* stream) { return reinterpret_cast<TextStream*>(stream); }
  static uint32_t Read(Stream* stream, uint32_t count, void* buffer) {
    TextStream* self = Of(stream);
    const size_t left = self->input.size() - self->position;
    const size_t taken = count < left ? count : left;
    memcpy(buffer, self->input.data() + self->position, taken);
    self->position += taken;
    return static_cast<uint32_t>(taken);
  }
  static uint32_t Write(Stream* stream, uint32_t count, const void* buffer) {
    TextStream* self = Of(stream);
    const uint32_t taken = count < self->room ? count : self->room;
    self->output.append(static_cast<const char*>(buffer), taken);
    self->writes.push_back(count);
    self->room -= taken;
    return taken;
  }
  static ErrorCode Delete(Stream* stream) {
    Of(stream)->deleted = true;
    return 0;
  }
  static constexpr StreamOperations kOperations = {Delete, Read, nullptr, Write, nullptr, nullptr};
};

struct Line {
  ErrorCode status;
  uint32_t length;
  std::string bytes;  // without the terminator that the length counts

  bool operator==(const Line&) const = default;
};

void PrintTo(const Line& line, std::ostream* out) {
  *out << line.status << ", " << line.length << ", \"" << line.bytes << "\"";
}

Line Receive(Telnet* telnet, uint32_t bufferSize = 1024) {
  std::string buffer(bufferSize + 16, '\x7e');
  uint32_t length = 77;
  const ErrorCode status = Telnet_ReceiveLine(telnet, bufferSize, &length, buffer.data());
  for (size_t i = bufferSize; i < buffer.size(); ++i)
    EXPECT_EQ(buffer[i], '\x7e') << "written past the buffer";
  if (status != Error_None) return {status, length, ""};
  EXPECT_EQ(buffer[length - 1], '\0');
  return {status, length, buffer.substr(0, length - 1)};
}

class TelnetTest : public testing::Test {
 protected:
  void Open(const std::string& input) {
    text = std::make_unique<TextStream>(input);
    telnet = Telnet_Open(&text->stream, 5);
    ASSERT_NE(telnet, nullptr);
  }
  void TearDown() override {
    Telnet_Delete(telnet);
    if (text != nullptr) {
      EXPECT_TRUE(text->deleted);
    }
  }
  // What the log holds; the log is closed first.
  std::string Logged() {
    Telnet_Delete(telnet);
    telnet = nullptr;
    return directory.Read("log");
  }

  const TempDir directory;
  const std::string logName = directory.Name("log");
  const std::string otherLogName = directory.Name("other");
  const char* const kLog = logName.c_str();
  const char* const kOtherLog = otherLogName.c_str();
  std::unique_ptr<TextStream> text;
  Telnet* telnet = nullptr;
};

TEST_F(TelnetTest, EndsALineInOneLineFeed) {
  Open("220 Ready\r\n");
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 11, "220 Ready\n"}));
}

TEST_F(TelnetTest, KeepsWhatFollowsForTheNextLine) {
  Open("a\r\n\r\nbc\r\n");
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 3, "a\n"}));
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 2, "\n"}));
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 4, "bc\n"}));
  EXPECT_EQ(Receive(telnet), (Line{Error_Ended, 0, ""}));
}

TEST_F(TelnetTest, TakesALoneLineFeedOrCarriageReturnForData) {
  Open("a\nb\rc\n\r\r\n");
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 9, "a\nb\rc\n\r\n"}));
}

TEST_F(TelnetTest, HoldsTheByteThatDoesNotFit) {
  Open("abcdef\r\n");
  EXPECT_EQ(Receive(telnet, 4), (Line{Error_None, 4, "abc"}));
  EXPECT_EQ(Receive(telnet, 4), (Line{Error_None, 4, "def"}));
  // The held CR meets its LF.
  EXPECT_EQ(Receive(telnet, 4), (Line{Error_None, 2, "\n"}));
}

TEST_F(TelnetTest, HoldsBytesAbove127) {
  Open(
      "abc\xff\xe9"
      "de\x80\r\n");
  EXPECT_EQ(Receive(telnet, 4), (Line{Error_None, 4, "abc"}));
  EXPECT_EQ(Receive(telnet, 4), (Line{Error_None, 4,
                                      "\xff\xe9"
                                      "d"}));
  EXPECT_EQ(Receive(telnet, 3), (Line{Error_None, 3, "e\x80"}));
  EXPECT_EQ(Receive(telnet, 3), (Line{Error_None, 2, "\n"}));
}

TEST_F(TelnetTest, NeedsNoRoomForTheLineFeed) {
  Open("abc\r\nd\r\n");
  EXPECT_EQ(Receive(telnet, 5), (Line{Error_None, 5, "abc\n"}));
  EXPECT_EQ(Receive(telnet, 5), (Line{Error_None, 3, "d\n"}));
}

TEST_F(TelnetTest, LosesAZeroThatDoesNotFit) {
  Open(std::string("abc\0de\r\n", 8));
  EXPECT_EQ(Receive(telnet, 4), (Line{Error_None, 4, "abc"}));
  EXPECT_EQ(Receive(telnet, 8), (Line{Error_None, 4, "de\n"}));
}

TEST_F(TelnetTest, TellsALineThatWasCutFromAWholeOne) {
  // Both end in a line feed that fills the buffer.
  Open(std::string("ab\ncd\r\nabc\r\nab\n\0\r\n", 18));
  EXPECT_EQ(Receive(telnet, 4), (Line{Error_None, 4, "ab\n"}));
  EXPECT_TRUE(iTelnet_IsLineCut(telnet));
  EXPECT_EQ(Receive(telnet, 4), (Line{Error_None, 4, "cd\n"}));
  EXPECT_FALSE(iTelnet_IsLineCut(telnet));
  EXPECT_EQ(Receive(telnet, 5), (Line{Error_None, 5, "abc\n"}));
  EXPECT_FALSE(iTelnet_IsLineCut(telnet));
  // A zero that is lost was there all the same.
  EXPECT_EQ(Receive(telnet, 4), (Line{Error_None, 4, "ab\n"}));
  EXPECT_TRUE(iTelnet_IsLineCut(telnet));
  EXPECT_EQ(Receive(telnet, 4), (Line{Error_None, 2, "\n"}));
  EXPECT_FALSE(iTelnet_IsLineCut(telnet));
}

TEST_F(TelnetTest, ReceivesNoLineBeyondTheMomentOfGivingUp) {
  Open("a\r\nb\r\nc\r\n");
  iTelnet_GiveUpAt(telnet, platform::MonotonicMilliseconds() + 60000);
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 3, "a\n"}));
  iTelnet_GiveUpAt(telnet, 1);
  char buffer[16];
  uint32_t length = 7;
  EXPECT_EQ(Telnet_ReceiveLine(telnet, sizeof buffer, &length, buffer), Error_Timeout);
  EXPECT_EQ(length, 0u);
  // One byte was taken.
  iTelnet_GiveUpAt(telnet, 0);
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 2, "\n"}));
}

TEST_F(TelnetTest, KeepsAZeroThatFits) {
  Open(std::string("a\0b\r\n", 5));
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 5, std::string("a\0b\n", 4)}));
}

TEST_F(TelnetTest, ReadsNothingIntoABufferOfNoBytes) {
  Open("ab\r\n");
  char untouched = '~';
  uint32_t length = 7;
  EXPECT_EQ(Telnet_ReceiveLine(telnet, 0, &length, &untouched), Error_Exceed);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(untouched, '~');
  EXPECT_EQ(text->position, 0u);
}

TEST_F(TelnetTest, GivesAnEmptyLineForABufferOfOneByte) {
  Open("ab\r\n");
  EXPECT_EQ(Receive(telnet, 1), (Line{Error_None, 1, ""}));
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 4, "ab\n"}));
}

TEST_F(TelnetTest, GivesEndedAndLogsNothing_WhenTheStreamEndsInsideALine) {
  Open("abc");
  ASSERT_EQ(Telnet_SetLog(telnet, kLog), Error_None);
  char buffer[8];
  memset(buffer, '~', sizeof buffer);
  uint32_t length = 7;
  EXPECT_EQ(Telnet_ReceiveLine(telnet, sizeof buffer, &length, buffer), Error_Ended);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(std::string(buffer, 4), "abc~");
  EXPECT_EQ(Logged(), "");
}

TEST_F(TelnetTest, StoresCommandsAsDataAndAnswersNothing) {
  Open("a\xff\xfb\x01z\xff\xfd\x03\xff\xf1\xff\xff\xff\xf9\r\n");
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 16, "a\xff\xfb\x01z\xff\xfd\x03\xff\xf1\xff\xff\xff\xf9\n"}));
  EXPECT_EQ(text->output, "");
}

TEST_F(TelnetTest, BoundsALineWithoutEnd) {
  Open(std::string(1 << 20, 'x'));
  for (int i = 0; i < 10; ++i) EXPECT_EQ(Receive(telnet, 100), (Line{Error_None, 100, std::string(99, 'x')}));
}

TEST_F(TelnetTest, ReceivesWithoutALengthArgument) {
  Open("ab\r\n");
  char buffer[8];
  EXPECT_EQ(Telnet_ReceiveLine(telnet, sizeof buffer, nullptr, buffer), Error_None);
  EXPECT_STREQ(buffer, "ab\n");
}

TEST_F(TelnetTest, SendsALineByOneWrite) {
  Open("");
  EXPECT_EQ(Telnet_SendLine(telnet, "USER a%sb"), Error_None);
  EXPECT_EQ(Telnet_PrintLine(telnet, "PASS %s %d", "x", 7), Error_None);
  EXPECT_EQ(Telnet_SendLine(telnet, ""), Error_None);
  EXPECT_EQ(text->output, "USER a%sb\r\nPASS x 7\r\n\r\n");
  EXPECT_EQ(text->writes, (std::vector<uint32_t>{11, 10, 2}));
}

TEST_F(TelnetTest, SendsUpTo4093Characters) {
  Open("");
  ASSERT_EQ(Telnet_SetLog(telnet, kLog), Error_None);
  const std::string longest(4093, 'l');
  const std::string tooLong(4094, 'l');
  EXPECT_EQ(Telnet_SendLine(telnet, tooLong.c_str()), Error_Exceed);
  EXPECT_EQ(Telnet_PrintLine(telnet, "%s", tooLong.c_str()), Error_Exceed);
  EXPECT_EQ(Telnet_SendLine(telnet, std::string(1 << 20, 'l').c_str()), Error_Exceed);
  EXPECT_EQ(text->output, "");
  EXPECT_EQ(Telnet_SendLine(telnet, longest.c_str()), Error_None);
  EXPECT_EQ(Telnet_PrintLine(telnet, "%s", longest.c_str()), Error_None);
  EXPECT_EQ(text->output, longest + "\r\n" + longest + "\r\n");
  // 1022 characters and the line end.
  const std::string line = "> " + std::string(1020, 'l') + "\n";
  EXPECT_EQ(Logged(), line + line);
}

TEST_F(TelnetTest, GivesEndedAndLogsTheFailure_WhenAWriteIsShort) {
  Open("");
  ASSERT_EQ(Telnet_SetLog(telnet, kLog), Error_None);
  text->room = 5;
  EXPECT_EQ(Telnet_SendLine(telnet, "QUIT"), Error_Ended);
  EXPECT_EQ(text->output, "QUIT\r");
  EXPECT_EQ(Logged(), "> QUIT\r\n! Failed\n");
}

TEST_F(TelnetTest, LogsBothDirections) {
  Open("331 %n%s ok\r\nx");
  ASSERT_EQ(Telnet_SetLog(telnet, kLog), Error_None);
  EXPECT_EQ(Telnet_Log(telnet, "number %d", 3), Error_None);
  EXPECT_EQ(Telnet_SendLine(telnet, "PASS secret"), Error_None);
  EXPECT_EQ(Receive(telnet).status, Error_None);
  EXPECT_EQ(Logged(), "# number 3\n> PASS secret\r\n< 331 %n%s ok\n");
}

TEST_F(TelnetTest, LogsALineThatWasCutByItsBuffer) {
  Open("abcdef\r\n");
  ASSERT_EQ(Telnet_SetLog(telnet, kLog), Error_None);
  Receive(telnet, 4);
  Receive(telnet, 100);
  EXPECT_EQ(Logged(), "< abc\n< def\n");
}

TEST_F(TelnetTest, CutsALogLineAt1022Characters) {
  Open(std::string(1019, 'r') + "\r\n" + std::string(1020, 's') + "\r\n" + std::string(5000, 't') + "\r\n");
  ASSERT_EQ(Telnet_SetLog(telnet, kLog), Error_None);
  for (int i = 0; i < 3; ++i) Receive(telnet, 8000);
  EXPECT_EQ(Telnet_Log(telnet, "%s", std::string(3000, 'u').c_str()), Error_None);
  EXPECT_EQ(Logged(), "< " + std::string(1019, 'r') + "\n< " + std::string(1020, 's') + "\n< " +
                          std::string(1020, 't') + "\n# " + std::string(1020, 'u') + "\n");
}

TEST_F(TelnetTest, EndsALogLineOnce) {
  Open("");
  ASSERT_EQ(Telnet_SetLog(telnet, kLog), Error_None);
  EXPECT_EQ(Telnet_Log(telnet, "ended\n"), Error_None);
  EXPECT_EQ(Telnet_Log(telnet, "%s", ""), Error_None);
  EXPECT_EQ(Telnet_Log(telnet, "\r"), Error_None);
  EXPECT_EQ(Telnet_Log(telnet, "%s\n", std::string(1019, 'a').c_str()), Error_None);
  EXPECT_EQ(Telnet_Log(telnet, "%s\n", std::string(1020, 'b').c_str()), Error_None);
  EXPECT_EQ(Telnet_Log(telnet, "%s\n", std::string(1021, 'c').c_str()), Error_None);
  EXPECT_EQ(Logged(), "# ended\n# \n# \r\n# " + std::string(1019, 'a') + "\n# " + std::string(1020, 'b') +
                          "\n# " + std::string(1020, 'c') + "\n");
}

TEST_F(TelnetTest, GivesNotInited_WhenThereIsNoLog) {
  Open("");
  EXPECT_EQ(Telnet_Log(telnet, "x"), Error_NotInited);
}

TEST_F(TelnetTest, AppendsToALogAndKeepsItUnderTheSameName) {
  directory.Write("log", "before\n");
  Open("");
  ASSERT_EQ(Telnet_SetLog(telnet, kLog), Error_None);
  EXPECT_EQ(Telnet_Log(telnet, "one"), Error_None);
  ASSERT_EQ(Telnet_SetLog(telnet, kLog), Error_None);
  EXPECT_EQ(Telnet_Log(telnet, "two"), Error_None);
  ASSERT_EQ(Telnet_SetLog(telnet, kOtherLog), Error_None);
  EXPECT_EQ(Telnet_Log(telnet, "three"), Error_None);
  EXPECT_EQ(Logged(), "before\n# one\n# two\n");
  EXPECT_EQ(directory.Read("other"), "# three\n");
}

TEST_F(TelnetTest, KeepsTheOldLog_WhenTheNewOneCannotBeOpened) {
  Open("");
  ASSERT_EQ(Telnet_SetLog(telnet, kLog), Error_None);
  EXPECT_EQ(Telnet_SetLog(telnet, directory.Name("missing/log").c_str()), Error_Fail);
  EXPECT_EQ(Telnet_Log(telnet, "still here"), Error_None);
  EXPECT_EQ(Logged(), "# still here\n");
}

TEST_F(TelnetTest, OpensNothing_WhenTheLogHasTheNameAlready) {
  Open("");
  ASSERT_EQ(Telnet_SetLog(telnet, kLog), Error_None);
  // Opening would need memory.
  iMemory_FailAllocation(1);
  EXPECT_EQ(Telnet_SetLog(telnet, kLog), Error_None);
  EXPECT_EQ(Telnet_SetLog(telnet, kOtherLog), Error_Memory);
  iMemory_FailAllocation(0);
  EXPECT_EQ(Telnet_Log(telnet, "one"), Error_None);
  EXPECT_EQ(Logged(), "# one\n");
}

TEST_F(TelnetTest, HasNoSocket_WhenItsStreamIsNone) {
  Open("");
  EXPECT_EQ(Telnet_GetSocket(telnet), nullptr);
  Telnet_Close(telnet);
  telnet = nullptr;
}

TEST_F(TelnetTest, RefusesNullArguments) {
  Open("");
  char buffer[4];
  EXPECT_EQ(Telnet_Open(nullptr, 0), nullptr);
  EXPECT_EQ(Telnet_SetLog(nullptr, kLog), Error_Invalid);
  EXPECT_EQ(Telnet_SetLog(telnet, nullptr), Error_Invalid);
  EXPECT_EQ(Telnet_Log(nullptr, "x"), Error_Invalid);
  EXPECT_EQ(Telnet_GetSocket(nullptr), nullptr);
  EXPECT_EQ(Telnet_ReceiveLine(nullptr, 4, nullptr, buffer), Error_Invalid);
  EXPECT_EQ(Telnet_ReceiveLine(telnet, 4, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(Telnet_SendLine(telnet, nullptr), Error_Invalid);
  EXPECT_EQ(Telnet_SendLine(nullptr, "x"), Error_Invalid);
  EXPECT_EQ(Telnet_PrintLine(nullptr, "x"), Error_Invalid);
  Telnet_Close(nullptr);
  Telnet_Delete(nullptr);
}

TEST(TelnetMemory, GivesTheStatus_WhenAnAllocationFails) {
  const TempDir directory;
  const std::string log = directory.Name("log");
  FailEveryAllocation([&] {
    TextStream stream("ab\r\n");
    Telnet* telnet = Telnet_Open(&stream.stream, 0);
    if (telnet == nullptr) {
      EXPECT_FALSE(stream.deleted);
      return;
    }
    const ErrorCode status = Telnet_SetLog(telnet, log.c_str());
    EXPECT_TRUE(status == Error_None || status == Error_Memory) << status;
    EXPECT_EQ(Receive(telnet), (Line{Error_None, 4, "ab\n"}));
    Telnet_Close(telnet);
    EXPECT_TRUE(stream.deleted);
  });
}

TEST(TelnetSocket, FindsTheSocketAndShutsItDown) {
  ASSERT_EQ(iSock_Init(), Error_None);
  loopback::Listener listener;
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", listener.port(), &sock), Error_None);
  loopback::Connection peer = listener.Accept();
  Telnet* telnet = Telnet_Open(reinterpret_cast<Stream*>(sock), 0);
  EXPECT_EQ(Telnet_GetSocket(telnet), sock);
  ASSERT_TRUE(peer.Send("220 a\r\n220 b\r\n"));
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 7, "220 a\n"}));
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 7, "220 b\n"}));
  EXPECT_EQ(Telnet_SendLine(telnet, "QUIT"), Error_None);
  std::string got;
  EXPECT_EQ(peer.ReceiveExactly(&got, 6), loopback::Result::Data);
  EXPECT_EQ(got, "QUIT\r\n");
  Telnet_Close(telnet);
  EXPECT_NE(peer.ReceiveSome(&got), loopback::Result::Timeout);
  EXPECT_EQ(iSock_CountLive(), 0u);
  iSock_Exit();
}

// A stream over a socket that outlives it.
struct SockKeeper {
  Stream stream;
  Sock* sock;
  bool deleted = false;

  explicit SockKeeper(Sock* kept) : sock(kept) { Stream_Init(0x74657374u, &kOperations, &stream); }

  static SockKeeper* Of(Stream* stream) { return reinterpret_cast<SockKeeper*>(stream); }
  static uint32_t Read(Stream* stream, uint32_t count, void* buffer) {
    return Sock_Read(Of(stream)->sock, count, buffer);
  }
  static uint32_t Write(Stream* stream, uint32_t count, const void* buffer) {
    return Sock_Write(Of(stream)->sock, count, buffer);
  }
  static Stream* FindType(Stream* stream, uint32_t type) {
    return Stream_FindType(reinterpret_cast<Stream*>(Of(stream)->sock), type);
  }
  static ErrorCode Delete(Stream* stream) {
    Of(stream)->deleted = true;
    return Error_None;
  }
  static constexpr StreamOperations kOperations = {Delete, Read, nullptr, Write, nullptr, FindType};
};

// The deletion of a socket ends the connection too, but by a reset.
TEST(TelnetSocket, ShutsTheSocketDownItself_WhenClosed) {
  ASSERT_EQ(iSock_Init(), Error_None);
  loopback::Listener listener;
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", listener.port(), &sock), Error_None);
  loopback::Connection peer = listener.Accept();
  SockKeeper keeper(sock);
  Telnet* telnet = Telnet_Open(&keeper.stream, 0);
  EXPECT_EQ(Telnet_GetSocket(telnet), sock);
  Telnet_Close(telnet);
  EXPECT_TRUE(keeper.deleted);
  std::string got;
  EXPECT_EQ(peer.ReceiveAll(&got, 2000), loopback::Result::Closed);
  EXPECT_EQ(got, "");
  EXPECT_EQ(Sock_Write(sock, 1, "x"), 0u);
  Sock_Delete(sock);
  iSock_Exit();
}

TEST(TelnetSocket, FindsTheSocketThatAReadBufferWraps) {
  ASSERT_EQ(iSock_Init(), Error_None);
  loopback::Listener listener;
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", listener.port(), &sock), Error_None);
  loopback::Connection peer = listener.Accept();
  Stream* buffered = ReadBufferStream_New(512, reinterpret_cast<Stream*>(sock), 1);
  ASSERT_NE(buffered, nullptr);
  Telnet* telnet = Telnet_Open(buffered, 0);
  EXPECT_EQ(Telnet_GetSocket(telnet), sock);
  ASSERT_TRUE(peer.Send("220 a\r\n"));
  EXPECT_EQ(Receive(telnet), (Line{Error_None, 7, "220 a\n"}));
  Telnet_Close(telnet);
  std::string got;
  EXPECT_NE(peer.ReceiveSome(&got), loopback::Result::Timeout);
  EXPECT_EQ(iSock_CountLive(), 0u);
  iSock_Exit();
}

TEST(TelnetSocket, AnswersAThousandCommands) {
  ASSERT_EQ(iSock_Init(), Error_None);
  loopback::Listener listener;
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", listener.port(), &sock), Error_None);
  std::thread server([&] {
    loopback::Connection peer = listener.Accept();
    std::string command;
    for (int i = 0; i < 1000 && peer.ReceiveExactly(&command, 6) == loopback::Result::Data; ++i) {
      peer.Send("250 a reply of the usual length, about fifty bytes\r\n");
    }
    EXPECT_EQ(command.size(), 6000u);
  });
  Telnet* telnet = Telnet_Open(reinterpret_cast<Stream*>(sock), 0);
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(Telnet_SendLine(telnet, "NOOP"), Error_None);
    ASSERT_EQ(Receive(telnet),
              (Line{Error_None, 52, "250 a reply of the usual length, about fifty bytes\n"}));
  }
  Telnet_Close(telnet);
  server.join();
  iSock_Exit();
}

TEST(TelnetSocket, GivesEnded_WhenTheSocketTimesOut) {
  ASSERT_EQ(iSock_Init(), Error_None);
  iSock_SetWaitMilliseconds(50);
  loopback::Listener listener;
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", listener.port(), &sock), Error_None);
  loopback::Connection peer = listener.Accept();
  Telnet* telnet = Telnet_Open(reinterpret_cast<Stream*>(sock), 0);
  peer.Send("220");
  EXPECT_EQ(Receive(telnet), (Line{Error_Ended, 0, ""}));
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
  Telnet_Close(telnet);
  iSock_SetWaitMilliseconds(0);
  iSock_Exit();
}

}  // namespace
