// The line connection when its log cannot be written, where a full disk can be arranged.
#include <gtest/gtest.h>

#include <string>

#include "qz/telnet.h"
#include "tests/net/sock_fixture.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"

namespace {

TEST_F(SockTest, TalksOn_WhenTheLogOfItsLinesCannotBeWritten) {
  Open();
  Telnet* telnet = Telnet_Open(reinterpret_cast<Stream*>(sock), 0);
  const TempDir directory;
  ASSERT_EQ(Telnet_SetLog(telnet, directory.Name("log").c_str()), Error_None);
  ASSERT_TRUE(peer.Send("220 a\r\n"));
  char line[16] = "";
  ErrorCode logged = 0;
  ErrorCode sent = -1;
  ErrorCode received = -1;
  {
    const DiskLimit full(0);
    // The first lines fill the file's buffer.
    for (int i = 0; i < 100 && logged == 0; ++i)
      logged = Telnet_Log(telnet, "%s", std::string(1000, 'r').c_str());
    sent = Telnet_SendLine(telnet, "NOOP");
    received = Telnet_ReceiveLine(telnet, sizeof line, nullptr, line);
    Telnet_Delete(telnet);
    sock = nullptr;
  }
  EXPECT_EQ(logged, Error_Fail);
  EXPECT_EQ(sent, Error_None);
  EXPECT_EQ(received, Error_None);
  EXPECT_STREQ(line, "220 a\n");
  std::string got;
  peer.ReceiveExactly(&got, 6);
  EXPECT_EQ(got, "NOOP\r\n");
}

}  // namespace
