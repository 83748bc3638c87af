// The line connection and a text that the system cannot format; elsewhere every text can be.
#include <gtest/gtest.h>

#include <string>

#include "qz/telnet.h"
#include "tests/net/sock_fixture.h"
#include "tests/support/temp_dir.h"

namespace {

TEST_F(SockTest, LogsAndSendsNothing_WhenALineCannotBeFormatted) {
  Open();
  Telnet* telnet = Telnet_Open(reinterpret_cast<Stream*>(sock), 0);
  const TempDir directory;
  ASSERT_EQ(Telnet_SetLog(telnet, directory.Name("log").c_str()), Error_None);
  // No character: a lone half of a pair.
  const wchar_t unwritable[] = {L'a', static_cast<wchar_t>(0xD800), 0};
  EXPECT_EQ(Telnet_Log(telnet, "%ls", unwritable), Error_Fail);
  EXPECT_EQ(Telnet_PrintLine(telnet, "%ls", unwritable), Error_Exceed);
  EXPECT_EQ(Telnet_SendLine(telnet, "NOOP"), Error_None);
  std::string got;
  EXPECT_EQ(peer.ReceiveExactly(&got, 6), loopback::Result::Data);
  EXPECT_EQ(got, "NOOP\r\n");
  Telnet_Delete(telnet);
  sock = nullptr;
  EXPECT_EQ(directory.Read("log"), "> NOOP\r\n");
}

}  // namespace
