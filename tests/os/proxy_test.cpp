// The proxy table.
#include "qz/proxy.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>

namespace {

class ProxyTest : public testing::Test {
 protected:
  ProxyTest() { Empty(); }
  ~ProxyTest() override { Empty(); }

  static void Empty() {
    Proxy_SetEnabled(0);
    for (uint32_t index : {0u, 1u}) Proxy_SetServer(index, nullptr, 0);
    Proxy_SetBypassList(nullptr);
  }

  // "host:port result" of a question about a target at port 21.
  static std::string Resolve(uint32_t index, const char* host) {
    char connectHost[1024] = "old";
    uint32_t port = 99;
    const int32_t result = Proxy_Resolve(index, host, 21, connectHost, &port);
    return std::string(connectHost) + ":" + std::to_string(port) + " " + std::to_string(result);
  }
};

TEST_F(ProxyTest, GoesDirectWhileSwitchedOff) {
  Proxy_SetServer(0, "web-proxy", 8080);
  Proxy_SetServer(1, "ftp-proxy", 2121);
  EXPECT_EQ(Resolve(0, "host.example"), "host.example:21 0");
  EXPECT_EQ(Resolve(1, "host.example"), "host.example:21 0");
}

TEST_F(ProxyTest, UsesTheSlotOfTheProtocol) {
  Proxy_SetEnabled(1);
  Proxy_SetServer(0, "web-proxy", 8080);
  Proxy_SetServer(1, "ftp-proxy", 2121);
  EXPECT_EQ(Resolve(ProxyIndex_HTTP, "host.example"), "web-proxy:8080 1");
  EXPECT_EQ(Resolve(ProxyIndex_FTP, "host.example"), "ftp-proxy:2121 1");
}

TEST_F(ProxyTest, TakesAnyOtherFlagThanZeroForOn) {
  Proxy_SetServer(0, "web-proxy", 8080);
  Proxy_SetEnabled(-1);
  EXPECT_EQ(Resolve(0, "host"), "web-proxy:8080 1");
}

TEST_F(ProxyTest, GoesDirectWhenTheSlotIsEmpty) {
  Proxy_SetEnabled(1);
  Proxy_SetServer(0, "web-proxy", 8080);
  EXPECT_EQ(Resolve(1, "host.example"), "host.example:21 0");
  Proxy_SetServer(0, nullptr, 8080);
  EXPECT_EQ(Resolve(0, "host.example"), "host.example:21 0");
  Proxy_SetServer(0, "", 8080);
  EXPECT_EQ(Resolve(0, "host.example"), "host.example:21 0");
}

TEST_F(ProxyTest, IgnoresASlotThatDoesNotExist) {
  Proxy_SetEnabled(1);
  Proxy_SetBypassList("elsewhere");  // what stands behind the slots is no host either
  Proxy_SetServer(2, "other", 1);
  Proxy_SetServer(0xFFFFFFFFu, "other", 1);
  EXPECT_EQ(Resolve(2, "host.example"), "host.example:21 0");
  EXPECT_EQ(Resolve(0xFFFFFFFFu, "host.example"), "host.example:21 0");
  EXPECT_EQ(Resolve(0, "host.example"), "host.example:21 0");
  EXPECT_EQ(Proxy_IsBypassed("elsewhere.example"), 1);
}

TEST_F(ProxyTest, GoesDirectForABypassedHost) {
  Proxy_SetEnabled(1);
  Proxy_SetServer(0, "web-proxy", 8080);
  Proxy_SetBypassList("local, intranet");
  EXPECT_EQ(Resolve(0, "www.INTRAnet.example"), "www.INTRAnet.example:21 0");
  EXPECT_EQ(Resolve(0, "localhost"), "localhost:21 0");
  EXPECT_EQ(Resolve(0, "www.example"), "web-proxy:8080 1");
}

TEST_F(ProxyTest, MatchesATokenAnywhereInTheHost) {
  Proxy_SetBypassList("net");
  EXPECT_EQ(Proxy_IsBypassed("netbook.example"), 1);
  EXPECT_EQ(Proxy_IsBypassed("www.internet.example"), 1);
  EXPECT_EQ(Proxy_IsBypassed("host.NET"), 1);
  EXPECT_EQ(Proxy_IsBypassed("host.example"), 0);
}

TEST_F(ProxyTest, DoesNotMatchAHostInsideAToken) {
  Proxy_SetBypassList("www.example.org");
  EXPECT_EQ(Proxy_IsBypassed("example.org"), 0);
  EXPECT_EQ(Proxy_IsBypassed("www.example.org"), 1);
}

TEST_F(ProxyTest, SplitsTheListAtItsDelimiters) {
  Proxy_SetBypassList(" ,;one;two,three\nfour\tfive six;");
  for (const char* host : {"one", "two", "three", "four", "five", "six"})
    EXPECT_EQ(Proxy_IsBypassed(host), 1);
  EXPECT_EQ(Proxy_IsBypassed("seven"), 0);
}

TEST_F(ProxyTest, TakesReturnAndStarLiterally) {
  Proxy_SetBypassList("one\r\ntwo *.example");
  EXPECT_EQ(Proxy_IsBypassed("one"), 0);
  EXPECT_EQ(Proxy_IsBypassed("two"), 1);
  EXPECT_EQ(Proxy_IsBypassed("www.example"), 0);
}

TEST_F(ProxyTest, BypassesWhateverTheSwitchSays) {
  Proxy_SetBypassList("local");
  EXPECT_EQ(Proxy_IsBypassed("localhost"), 1);
}

TEST_F(ProxyTest, BypassesNothingWithoutAList) {
  EXPECT_EQ(Proxy_IsBypassed("host"), 0);
  EXPECT_EQ(Proxy_SetBypassList(" ;, "), 4);
  EXPECT_EQ(Proxy_IsBypassed("host"), 0);
  EXPECT_EQ(Proxy_SetBypassList("host"), 4);
  EXPECT_EQ(Proxy_IsBypassed(""), 0);
  EXPECT_EQ(Proxy_IsBypassed(nullptr), 0);
}

TEST_F(ProxyTest, CutsTextsAt1023Bytes) {
  EXPECT_EQ(Proxy_SetBypassList((std::string(1020, ' ') + "abcd").c_str()), 1023);
  EXPECT_EQ(Proxy_IsBypassed("abc"), 1);
  Proxy_SetBypassList(nullptr);
  EXPECT_EQ(Proxy_IsBypassed("abc"), 0);

  Proxy_SetEnabled(1);
  Proxy_SetServer(0, std::string(2000, 'p').c_str(), 1);
  EXPECT_EQ(Resolve(0, "host"), std::string(1023, 'p') + ":1 1");
  EXPECT_EQ(Resolve(1, std::string(65536, 'h').c_str()), std::string(1023, 'h') + ":21 0");
}

TEST_F(ProxyTest, AnswersInTheBufferOfTheHost) {
  char host[1024] = "host.example";
  uint32_t port = 80;
  EXPECT_EQ(Proxy_Resolve(0, host, port, host, &port), 0);
  EXPECT_STREQ(host, "host.example");
  EXPECT_EQ(port, 80u);
  Proxy_SetEnabled(1);
  Proxy_SetServer(0, "web-proxy", 8080);
  EXPECT_EQ(Proxy_Resolve(0, host, port, host, &port), 1);
  EXPECT_STREQ(host, "web-proxy");
  EXPECT_EQ(port, 8080u);
}

TEST_F(ProxyTest, AnswersWithoutOutputs) {
  Proxy_SetEnabled(1);
  Proxy_SetServer(0, "web-proxy", 8080);
  EXPECT_EQ(Proxy_Resolve(0, "host", 80, nullptr, nullptr), 1);
  EXPECT_EQ(Resolve(1, nullptr), ":21 0");
}

TEST_F(ProxyTest, IsReadWhileItIsSet) {
  Proxy_SetEnabled(1);
  Proxy_SetServer(0, std::string(1000, 'a').c_str(), 1);
  std::atomic<bool> isOver{false};
  std::thread setter([&] {
    for (int i = 0; !isOver.load(); ++i) Proxy_SetServer(0, std::string(1000, "ab"[i % 2]).c_str(), 1);
  });
  for (int i = 0; i < 3000; ++i) {
    const std::string host = Resolve(0, "host");
    ASSERT_TRUE(host == std::string(1000, 'a') + ":1 1" || host == std::string(1000, 'b') + ":1 1") << host;
  }
  isOver.store(true);
  setter.join();
}

}  // namespace
