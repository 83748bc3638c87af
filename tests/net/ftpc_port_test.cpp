// The ports of active data connections.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "net/ftpc_internal.h"
#include "net/ftpc_testing.h"
#include "tests/net/ftpc_fixture.h"
#include "tests/support/test_stream.h"

using namespace script;

namespace {

// The ports that so many transfers try.
std::vector<unsigned> NextPorts(size_t count) {
  std::vector<unsigned> ports;
  while (ports.size() < count) ports.push_back(iFTPc_NextActivePort());
  return ports;
}

using Ports = std::vector<unsigned>;

TEST_F(FTPcData, RotatesTheActivePorts) {
  // The counter lies outside the new range at first, whatever ran before.
  FTPc_SetPortRange(60000, 1);
  EXPECT_EQ(NextPorts(2), (Ports{60000, 60000}));
  FTPc_SetPortRange(3000, 1000);
  const Ports ports = NextPorts(1001);
  ASSERT_EQ(ports.size(), 1001u);
  for (unsigned i = 0; i < 1000; ++i) ASSERT_EQ(ports[i], 3000 + i);
  EXPECT_EQ(ports[1000], 3000u);
}

TEST_F(FTPcData, KeepsActivePortsInsideThePossible) {
  FTPc_SetPortRange(65534, 10);
  EXPECT_EQ(NextPorts(4), (Ports{65534, 65535, 65534, 65535}));
  FTPc_SetPortRange(65535, 4294967295u);
  EXPECT_EQ(NextPorts(2), (Ports{65535, 65535}));
  FTPc_SetPortRange(0, 10);
  FTPc_SetPortRange(65536, 10);
  FTPc_SetPortRange(4294967295u, 10);
  EXPECT_EQ(NextPorts(1), (Ports{65535}));
  FTPc_SetPortRange(5000, 0);
  EXPECT_EQ(NextPorts(2), (Ports{5000, 5000}));
}

TEST_F(FTPcData, GoesOnFromItsCounter_WhenThatIsInsideANewRange) {
  FTPc_SetPortRange(60000, 1);
  EXPECT_EQ(NextPorts(1), (Ports{60000}));
  FTPc_SetPortRange(3000, 1000);
  EXPECT_EQ(NextPorts(5), (Ports{3000, 3001, 3002, 3003, 3004}));
  // The counter is at 3005.
  FTPc_SetPortRange(3003, 4);
  EXPECT_EQ(NextPorts(4), (Ports{3005, 3006, 3003, 3004}));
  // The first of a range, the last of it, and one behind it.
  FTPc_SetPortRange(3005, 2);
  EXPECT_EQ(NextPorts(1), (Ports{3005}));
  FTPc_SetPortRange(3000, 7);
  EXPECT_EQ(NextPorts(2), (Ports{3006, 3000}));
  FTPc_SetPortRange(2990, 11);
  EXPECT_EQ(NextPorts(1), (Ports{2990}));
  // Below a range.
  FTPc_SetPortRange(2992, 10);
  EXPECT_EQ(NextPorts(1), (Ports{2992}));
}

// The next port of the range that is set now is its first.
void SetRangeFromItsStart(uint16_t base, uint32_t count) {
  FTPc_SetPortRange(1, 1);
  iFTPc_NextActivePort();
  FTPc_SetPortRange(base, count);
}

TEST_F(FTPcData, PassesOverAPortThatIsTaken) {
  loopback::Listener taken;
  SetRangeFromItsStart(taken.port(), 50);
  ScriptedServer server({AfterLogin({{ReadUntil("\r\n"), SendLine("500 no")}})});
  ftp::Client client(server.port(), ftp::kActive);
  EXPECT_EQ(iFTPc_SetUpData(client, &client.reply), Error_Invalid);
  FTPc_Delete(client.Release());
  server.Finish();
  const std::string received = server.Received(0);
  unsigned high = 0;
  unsigned low = 0;
  ASSERT_EQ(sscanf(received.c_str() + received.find("PORT"), "PORT 127,0,0,1,%u,%u", &high, &low), 2);
  EXPECT_GT(high * 256 + low, taken.port());
  EXPECT_LT(high * 256 + low, taken.port() + 50u);
}

// A server connects to the port that it was told even before it is asked for a file.
TEST_F(FTPcData, ListensAtTheActivePortItAnnounces) {
  ScriptedServer server({AfterLogin({ftp::Active(),
                                     {ExpectLine("RETR /a"), DataConnect(), DataSend("hello"), DataClose(),
                                      Send("150 go\r\n226 done\r\n")}})});
  ftp::Client client(server.port(), ftp::kActive);
  TestStream local;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), nullptr, &client.reply), Error_None);
  EXPECT_EQ(local.written(), "hello");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, ListensAtTheFirstPort_OfARangeOfNone) {
  const uint16_t port = loopback::UnusedPort();
  FTPc_SetPortRange(port, 0);
  ScriptedServer server({AfterLogin({{ReadUntil("\r\n"), SendLine("500 no")}})});
  ftp::Client client(server.port(), ftp::kActive);
  EXPECT_EQ(iFTPc_SetUpData(client, &client.reply), Error_Invalid);
  FTPc_Delete(client.Release());
  server.Finish();
  EXPECT_NE(server.Received(0).find("PORT 127,0,0,1," + std::to_string(port / 256) + "," +
                                    std::to_string(port % 256) + "\r\n"),
            std::string::npos);
}

// Windows reports a port that another program holds as access denied, which has no status of its own.
TEST_F(FTPcData, GivesExistsOrFailAndSendsNothing_WhenEveryActivePortIsTaken) {
  loopback::Listener taken;
  FTPc_SetPortRange(taken.port(), 1);
  ScriptedServer server({AfterLogin({ftp::Exchange("DELE /b", "250 ok")})});
  ftp::Client client(server.port(), ftp::kActive);
  Stream* data = nullptr;
  const ErrorCode status = FTPc_StartRetrieve(client, "/a", &data, &client.reply);
  EXPECT_TRUE(status == Error_Exists || status == Error_Fail) << status;
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

// A server that refuses the port must not find it open, nor must the next program find it taken.
TEST_F(FTPcData, ListensNoLonger_WhenTheServerRefusesThePort) {
  const uint16_t port = loopback::UnusedPort();
  FTPc_SetPortRange(port, 1);
  ScriptedServer server({AfterLogin({{ExpectPort(), SendLine("500 no")}})});
  ftp::Client client(server.port(), ftp::kActive);
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_Invalid);
  EXPECT_FALSE(loopback::Connect(port, 1000).IsOpen());
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, ListensNoLonger_WhenRestIsNotAnswered) {
  const uint16_t port = loopback::UnusedPort();
  FTPc_SetPortRange(port, 1);
  ScriptedServer server({ftp::Join({ftp::Login(), ftp::Active(), {ExpectLine("REST 3"), Close()}})});
  ftp::Client client(server.port(), ftp::kActive);
  Stream* data = nullptr;
  uint32_t offset = 3;
  EXPECT_EQ(FTPc_StartRetrieveRestart(client, "/a", &offset, &data, &client.reply), Error_Ended);
  EXPECT_FALSE(loopback::Connect(port, 1000).IsOpen());
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, TriesEveryActivePortOnce_WhenAllAreTaken) {
  const uint16_t first = loopback::UnusedPorts(2);
  Sock* taken[2] = {};
  ASSERT_EQ(Sock_OpenListen(first, &taken[0]), Error_None);
  ASSERT_EQ(Sock_OpenListen(static_cast<uint16_t>(first + 1), &taken[1]), Error_None);
  SetRangeFromItsStart(first, 2);
  ScriptedServer server({AfterLogin({})});
  ftp::Client client(server.port(), ftp::kActive);
  EXPECT_NE(iFTPc_SetUpData(client, &client.reply), Error_None);
  // The search ended at the range's end.
  EXPECT_EQ(NextPorts(1), (Ports{first}));
  FTPc_Delete(client.Release());
  server.Finish();
  for (Sock* each : taken) Sock_Delete(each);
}

TEST_F(FTPcData, NamesTheServersAddressInPort_AfterPasv) {
  ScriptedServer server({AfterLogin(
      {ftp::Exchange("PASV", "227 (10,1,2,3,4,5)"), ftp::Exchange("PORT 10,1,2,3,4,5", "200 ok")})});
  ftp::Client client(server.port());
  EXPECT_EQ(iFTPc_SetPassive(client, &client.reply), Error_None);
  FTPc* connection = client;
  EXPECT_EQ(iFTPc_SendPort(connection, connection->localAddress, connection->dataPort, &client.reply),
            Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

}  // namespace
