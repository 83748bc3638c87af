// The ports of active data connections.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "net/ftpc_internal.h"
#include "tests/net/ftpc_fixture.h"

using namespace script;

namespace {

// The ports that so many transfers announce.
std::vector<unsigned> AnnouncedPorts(size_t count) {
  Script script = ftp::Greeting();
  for (size_t i = 0; i < count; ++i) {
    script.push_back(ReadUntil("\r\n"));
    script.push_back(SendLine("500 no"));
  }
  script.push_back(ExpectEnd());
  ScriptedServer server({script});
  {
    ftp::Client client(server.port(), ftp::kActive, false);
    for (size_t i = 0; i < count; ++i) EXPECT_EQ(iFTPc_SetUpData(client, &client.reply), -4);
  }
  server.Finish();
  std::vector<unsigned> ports;
  const std::string received = server.Received(0);
  for (size_t at = 0; at < received.size(); at = received.find("\r\n", at) + 2) {
    unsigned high = 0;
    unsigned low = 0;
    EXPECT_EQ(sscanf(received.c_str() + at, "PORT 127,0,0,1,%u,%u", &high, &low), 2);
    ports.push_back(high * 256 + low);
  }
  return ports;
}

using Ports = std::vector<unsigned>;

TEST_F(FTPcData, RotatesTheActivePorts) {
  const unsigned outside = loopback::UnusedPort();
  const unsigned base = loopback::UnusedPorts(50);
  // The counter lies outside the new range at first, whatever ran before.
  FTPc_SetPortRange(outside, 1);
  EXPECT_EQ(AnnouncedPorts(2), (Ports{outside, outside}));
  FTPc_SetPortRange(base, 50);
  const Ports ports = AnnouncedPorts(51);
  ASSERT_EQ(ports.size(), 51u);
  for (unsigned i = 0; i < 50; ++i) ASSERT_EQ(ports[i], base + i);
  EXPECT_EQ(ports[50], base);
}

TEST_F(FTPcData, KeepsActivePortsInsideThePossible) {
  FTPc_SetPortRange(65534, 10);
  EXPECT_EQ(AnnouncedPorts(4), (Ports{65534, 65535, 65534, 65535}));
  FTPc_SetPortRange(65535, 4294967295u);
  EXPECT_EQ(AnnouncedPorts(2), (Ports{65535, 65535}));
  FTPc_SetPortRange(0, 10);
  FTPc_SetPortRange(65536, 10);
  FTPc_SetPortRange(4294967295u, 10);
  EXPECT_EQ(AnnouncedPorts(1), (Ports{65535}));
  const unsigned single = loopback::UnusedPort();
  FTPc_SetPortRange(single, 0);
  EXPECT_EQ(AnnouncedPorts(2), (Ports{single, single}));
}

TEST_F(FTPcData, GoesOnFromItsCounter_WhenThatIsInsideANewRange) {
  const unsigned outside = loopback::UnusedPort();
  const unsigned base = loopback::UnusedPorts(100) + 10;  // ten ports below it are used too
  FTPc_SetPortRange(outside, 1);
  EXPECT_EQ(AnnouncedPorts(1), (Ports{outside}));
  FTPc_SetPortRange(base, 50);
  EXPECT_EQ(AnnouncedPorts(5), (Ports{base, base + 1, base + 2, base + 3, base + 4}));
  // The counter is at base + 5.
  FTPc_SetPortRange(base + 3, 4);
  EXPECT_EQ(AnnouncedPorts(4), (Ports{base + 5, base + 6, base + 3, base + 4}));
  // The first of a range, the last of it, and one behind it.
  FTPc_SetPortRange(base + 5, 2);
  EXPECT_EQ(AnnouncedPorts(1), (Ports{base + 5}));
  FTPc_SetPortRange(base, 7);
  EXPECT_EQ(AnnouncedPorts(2), (Ports{base + 6, base}));
  FTPc_SetPortRange(base - 10, 11);
  EXPECT_EQ(AnnouncedPorts(1), (Ports{base - 10}));
  // Below a range.
  FTPc_SetPortRange(base - 8, 10);
  EXPECT_EQ(AnnouncedPorts(1), (Ports{base - 8}));
}

TEST_F(FTPcData, NamesTheServersAddressInPort_AfterPasv) {
  ScriptedServer server({AfterLogin(
      {ftp::Exchange("PASV", "227 (10,1,2,3,4,5)"), ftp::Exchange("PORT 10,1,2,3,4,5", "200 ok")})});
  ftp::Client client(server.port());
  EXPECT_EQ(iFTPc_SetPassive(client, &client.reply), 0);
  FTPc* connection = client;
  EXPECT_EQ(iFTPc_SendPort(connection, connection->localAddress, connection->dataPort, &client.reply), 0);
  FTPc_Delete(client.Release());
  server.Finish();
}

}  // namespace
