// The tests' own servers: what they promise to the tests that use them.
#include "tests/support/scripted_server.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <memory>

#include "tests/support/fault_proxy.h"
#include "tests/support/loopback.h"

using namespace script;
using loopback::Result;

namespace {

TEST(ScriptedServer, PlaysAScriptAndKeepsWhatTheClientSent) {
  ScriptedServer server({{SendLine("220 ready"), ExpectLine("USER a"), SendLine("331 ?"), Close()}});
  loopback::Connection client = loopback::Connect(server.port());
  std::string got;
  ASSERT_EQ(client.ReceiveExactly(&got, 11), Result::Data);
  EXPECT_EQ(got, "220 ready\r\n");
  ASSERT_TRUE(client.Send("USER a\r\n"));
  EXPECT_EQ(client.ReceiveAll(&got), Result::Closed);
  EXPECT_EQ(got, "220 ready\r\n331 ?\r\n");
  server.Finish();
  EXPECT_EQ(server.Received(0), "USER a\r\n");
  EXPECT_EQ(server.Connections(), 1u);
}

TEST(ScriptedServer, FailsTheTest_WhenTheClientSendsSomethingElse) {
  auto server = std::make_unique<ScriptedServer>(std::vector<Script>{{ExpectLine("USER a")}});
  server->AllowUnfinished();
  loopback::Connection client = loopback::Connect(server->port());
  ASSERT_TRUE(client.Send("USER b\r\n"));
  std::string got;
  client.ReceiveAll(&got);
  EXPECT_NONFATAL_FAILURE(server->Finish(), "USER b");
}

TEST(ScriptedServer, FailsTheTest_WhenAScriptIsNotPlayed) {
  auto server = std::make_unique<ScriptedServer>(std::vector<Script>{{Send("x")}}, 100);
  EXPECT_NONFATAL_FAILURE(server->Finish(), "only 0 of 1 scripts");
}

TEST(ScriptedServer, EndsByAReset) {
  ScriptedServer server({{Send("ab"), ReadCount(1), Reset()}});
  loopback::Connection client = loopback::Connect(server.port());
  std::string got;
  ASSERT_EQ(client.ReceiveExactly(&got, 2), Result::Data);
  client.Send("x");
  EXPECT_EQ(client.ReceiveAll(&got), Result::Reset);
}

TEST(ScriptedServer, ServesAPassiveDataConnection) {
  ScriptedServer server({{OpenPassive(), SendLine("{port}"), DataAccept(), DataSend("data"), DataReadToEnd(),
                          DataClose(), ReadToEnd()}});
  loopback::Connection client = loopback::Connect(server.port());
  std::string line;
  while (line.find('\n') == std::string::npos) ASSERT_EQ(client.ReceiveSome(&line), Result::Data);
  loopback::Connection data = loopback::Connect(static_cast<uint16_t>(std::stoi(line)));
  std::string got;
  ASSERT_EQ(data.ReceiveExactly(&got, 4), Result::Data);
  ASSERT_TRUE(data.Send("up"));
  data.Close();
  client.Close();
  server.Finish();
  EXPECT_EQ(got, "data");
  EXPECT_EQ(server.DataReceived(0), "up");
}

TEST(ScriptedServer, ConnectsToTheClientsPort) {
  ScriptedServer server({{ExpectPort(), DataConnect(), DataSend("data"), DataClose()}});
  loopback::Listener listener;
  loopback::Connection client = loopback::Connect(server.port());
  const unsigned port = listener.port();
  ASSERT_TRUE(client.Send("PORT 127,0,0,1," + std::to_string(port / 256) + "," + std::to_string(port % 256) +
                          "\r\n"));
  loopback::Connection data = listener.Accept();
  std::string got;
  EXPECT_EQ(data.ReceiveAll(&got), Result::Closed);
  EXPECT_EQ(got, "data");
}

TEST(FaultProxy, PassesBothDirectionsUnchanged) {
  ScriptedServer server({{Expect("question"), Send("answer"), Close()}});
  FaultProxy proxy(server.port());
  loopback::Connection client = loopback::Connect(proxy.port());
  ASSERT_TRUE(client.Send("question"));
  std::string got;
  EXPECT_EQ(client.ReceiveAll(&got), Result::Closed);
  EXPECT_EQ(got, "answer");
  EXPECT_EQ(proxy.Passed(0, FaultProxy::ToServer), 8u);
}

TEST(FaultProxy, CutsAfterTheGivenByte) {
  for (const bool byReset : {false, true}) {
    ScriptedServer server({{Send("0123456789"), ReadToEnd()}});
    FaultProxy proxy(server.port());
    proxy.OnConnection(0, FaultProxy::ToClient, byReset ? Fault::CutByReset(4) : Fault::CutByFin(4));
    loopback::Connection client = loopback::Connect(proxy.port());
    std::string got;
    const Result result = client.ReceiveAll(&got);
    // A system may drop what was received before a reset.
    if (!byReset) {
      EXPECT_EQ(got, "0123");
    }
    EXPECT_LE(got.size(), 4u);
    EXPECT_EQ(result, byReset ? Result::Reset : Result::Closed);
    EXPECT_EQ(proxy.Passed(0, FaultProxy::ToClient), 4u);
  }
}

TEST(FaultProxy, StallsAfterTheGivenByte) {
  ScriptedServer server({{Send("0123456789"), ReadToEnd()}});
  FaultProxy proxy(server.port());
  proxy.OnEvery(FaultProxy::ToClient, Fault::Stall(4));
  loopback::Connection client = loopback::Connect(proxy.port());
  std::string got;
  EXPECT_EQ(client.ReceiveExactly(&got, 5, 300), Result::Timeout);
  EXPECT_EQ(got, "0123");
  client.Close();
  proxy.Stop();
}

TEST(FaultProxy, FollowsPassiveReplies) {
  ScriptedServer server({{OpenPassive(), SendLine("227 Entering Passive Mode ({pasv})."), DataAccept(),
                          DataSend("0123456789"), ReadToEnd()}});
  FaultProxy proxy(server.port());
  proxy.FollowPassiveReplies();
  proxy.OnDataConnection(0, FaultProxy::ToClient, Fault::CutByFin(3));
  loopback::Connection client = loopback::Connect(proxy.port());
  std::string line;
  while (line.find('\n') == std::string::npos) ASSERT_EQ(client.ReceiveSome(&line), Result::Data);
  unsigned high = 0;
  unsigned low = 0;
  ASSERT_EQ(sscanf(line.c_str(), "227 Entering Passive Mode (127,0,0,1,%u,%u).", &high, &low), 2) << line;
  loopback::Connection data = loopback::Connect(static_cast<uint16_t>(high * 256 + low));
  std::string got;
  EXPECT_EQ(data.ReceiveAll(&got), Result::Closed);
  EXPECT_EQ(got, "012");
  client.Close();
}

}  // namespace
