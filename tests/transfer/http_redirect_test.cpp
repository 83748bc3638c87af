// Redirects: where they lead, what the transfer says, and where it ends.
#include "qz/proxy.h"
#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

class HTTPRedirect : public TransferTest {
 protected:
  static std::string To(const std::string& location) {
    return "HTTP/1.0 302 Found\r\nLocation: " + location + "\r\nContent-Length: 0\r\n\r\n";
  }
  static constexpr char kFile[] = "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcd";

  static std::vector<std::string> Servers(VRXClient* client) {
    std::vector<std::string> found;
    VRXClientServer entry;
    for (uint32_t i = 0; VRXClient_GetServer(client, i, &entry) == 0; ++i)
      found.push_back((entry.isFailed != 0 ? "!" : "") + std::string(entry.url));
    return found;
  }
  // The redirected request, and the one of the target.
  static Lines Follows(const std::string& server = "SERVER0") {
    return Join({Begins(),
                 {"Attempting to reconnect.", "Idle: 1, state 0", "Selecting server..."},
                 ConnectsAgain("Idle: 0, state 1", server),
                 {kCannotResume, "Downloading...", "Idle: 1, state 11", kDataStep},
                 Ends()});
  }
  // A redirect within one server, from one path to another.
  void ExpectTarget(const std::string& path, const std::string& location, const std::string& target) {
    ScriptedServer server({Answers("0", To(location), path), Answers("0", kFile, target)});
    auto download = NewDownload(server, path);
    download->RunToCompletion();
    EXPECT_EQ(download->Take(), Follows());
    EXPECT_EQ(OutBytes(), "abcd");
  }
};

// ---- where a location leads --------------------------------------------------------------------

TEST_F(HTTPRedirect, LeadsToAnotherServer) {
  ScriptedServer second({Answers("0", kFile, "/new/place.bin")});
  ScriptedServer first({Answers("0", To(URL(second, "/new/place.bin")))});
  auto download = NewDownload(first);
  Name(second);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Follows("SERVER1"));
  EXPECT_EQ(OutBytes(), "abcd");
  EXPECT_EQ(Servers(*download), (Lines{"!" + URL(first, "/file.bin"), URL(second, "/new/place.bin")}));
  EXPECT_EQ(download->Reason(), 0u);
}

TEST_F(HTTPRedirect, TellsTheReasonUntilTheNextStep) {
  ScriptedServer server({Answers("0", To("/other.bin"))});
  auto download = NewDownload(server);
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Reason(), 21u);
  download->Idle();
  EXPECT_EQ(download->Reason(), 0u);
}

TEST_F(HTTPRedirect, ReplacesThePath_WhenTheLocationIsOne) {
  ExpectTarget("/dir/file.bin", "/other/place.bin", "/other/place.bin");
}

TEST_F(HTTPRedirect, JoinsARelativeLocationToTheDirectory) {
  ExpectTarget("/dir/sub/file.bin", "place.bin", "/dir/sub/place.bin");
}

TEST_F(HTTPRedirect, JoinsARelativeLocationToTheRoot) {
  ExpectTarget("/file.bin", "place.bin", "/place.bin");
}

TEST_F(HTTPRedirect, CutsTheBaseAtItsQuestionMark) {
  ExpectTarget("/dir/file.bin?a=/b/c", "place.bin", "/dir/place.bin");
}

TEST_F(HTTPRedirect, CutsTheBaseAtItsNumberSign) {
  ExpectTarget("/dir/file.bin#/b/c", "place.bin", "/dir/place.bin");
}

TEST_F(HTTPRedirect, CutsTheBaseAtTheFirstOfThem) {
  ExpectTarget("/dir/file.bin#x?y=/z/w", "place.bin", "/dir/place.bin");
}

TEST_F(HTTPRedirect, KeepsTheQueryOfTheLocation) {
  ExpectTarget("/dir/file.bin", "place.bin?x=/y", "/dir/place.bin?x=/y");
}

TEST_F(HTTPRedirect, TakesParentDirectoriesAsWritten) {
  ExpectTarget("/dir/sub/file.bin", "../place.bin", "/dir/sub/../place.bin");
}

TEST_F(HTTPRedirect, TakesTwoSlashesAsAPath) {
  ExpectTarget("/dir/file.bin", "//other.example/place.bin", "//other.example/place.bin");
}

TEST_F(HTTPRedirect, IsOneURL_ThoughItHoldsASemicolon) {
  ScriptedServer server({Answers("0", To("/a;b;c"), "/file.bin"), Answers("0", kFile, "/a;b;c")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(Servers(*download), (Lines{"!" + URL(server, "/file.bin"), URL(server, "/a%3Bb%3Bc")}));
}

TEST_F(HTTPRedirect, FollowsEveryCodeOfTheClass) {
  for (const char* code :
       {"300 Choice", "301 Moved", "303 See", "304 Not", "307 Temporary", "308 Permanent"}) {
    ScriptedServer server({Answers("0", "HTTP/1.0 " + std::string(code) + "\r\nLocation: /other.bin\r\n\r\n"),
                           Answers("0", kFile, "/other.bin")});
    auto download = NewDownload(server, "/file.bin", Callbacks::MessagesOnly, std::string(code, 3));
    download->RunToCompletion();
    EXPECT_EQ(OutBytes(std::string(code, 3)), "abcd") << code;
  }
}

TEST_F(HTTPRedirect, LeavesTheLocalNameAsItWas) {
  ExpectTarget("/file.bin", "/evil.exe", "/evil.exe");
  EXPECT_EQ(OutNames(), Lines{"file.bin"});
}

TEST_F(HTTPRedirect, TakesTheRestOfAFileFromItsTarget) {
  ScriptedServer server(
      {AnswersAndStalls("0", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcd"),
       Answers("4", To("/other.bin")),
       Answers("4", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-9/10\r\n\r\nefghij",
               "/other.bin")});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPRedirect, ContinuesFromRedirectToRedirect) {
  ScriptedServer server({Answers("0", To("/1")), Answers("0", To("/2"), "/1"), Answers("0", kFile, "/2")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({Begins(),
                                    {"Attempting to reconnect.", "Idle: 1, state 0", "Selecting server..."},
                                    ConnectsAgain("Idle: 0, state 1"),
                                    {"Attempting to reconnect.", "Idle: 1, state 0", "Selecting server..."},
                                    ConnectsAgain("Idle: 0, state 1"),
                                    {kCannotResume, "Downloading...", "Idle: 1, state 11", kDataStep},
                                    Ends()}));
}

// ---- locations that lead nowhere ---------------------------------------------------------------

Lines NoLocation() {
  return Join(
      {Begins(),
       {"Server redirected client, but didn't give location.", "Invalid address.", "Idle: 1, state 0"}});
}

TEST_F(HTTPRedirect, DropsTheServer_WhenNoLocationIsGiven) {
  ScriptedServer server({Answers("0", "HTTP/1.0 302 Found\r\n\r\n")});
  auto download = NewDownload(server);
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Take(), NoLocation());
  EXPECT_EQ(download->Reason(), 10u);
  EXPECT_EQ(Servers(*download), Lines{"!" + URL(server, "/file.bin")});
}

// Half a URL leads to another place.
TEST_F(HTTPRedirect, NeverCutsALocation) {
  ScriptedServer server({Answers("0", To("/" + std::string(300, 'x')))});
  auto download = NewDownload(server);
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Take(), NoLocation());
  EXPECT_EQ(Servers(*download), Lines{"!" + URL(server, "/file.bin")});
}

TEST_F(HTTPRedirect, DoesNotReadLocalFiles) {
  ScriptedServer server({Answers("0", To("file:///etc/passwd"))});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  const Lines lines = download->Take();
  EXPECT_NE(std::find(lines.begin(), lines.end(), "Unsupported protocol: \"file\""), lines.end());
  EXPECT_EQ(Lines(lines.end() - 4, lines.end()), (Lines{"Idle: 1, state 0", "Selecting server...",
                                                        "No server or mirror found.", "Idle: 4, state 0"}));
  EXPECT_EQ(Servers(*download), (Lines{"!" + URL(server, "/file.bin"), "!file:///etc/passwd"}));
  EXPECT_EQ(OutNames(), Lines{});
}

// What the library knows no scheme of is no URL to it.
TEST_F(HTTPRedirect, TakesAnUnknownSchemeForAPath) {
  ExpectTarget("/dir/file.bin", "gopher://a.example/x", "/dir/gopher://a.example/x");
}

TEST_F(HTTPRedirect, LeadsToTheRootOfAServer) {
  ScriptedServer second({Answers("0", kFile, "/")});
  ScriptedServer first({Answers("0", To(URL(second, "/")))});
  auto download = NewDownload(first);
  Name(second);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Follows("SERVER1"));
  EXPECT_EQ(OutBytes(), "abcd");
}

// ---- targets in the list -----------------------------------------------------------------------

TEST_F(HTTPRedirect, EndsTheList_WhenItLeadsToItself) {
  ScriptedServer server({Answers("0", To("/file.bin"))});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Take(), Join({Begins(),
                                    {"Attempting to reconnect.", "Idle: 1, state 0", "Selecting server...",
                                     "No server or mirror found.", "Idle: 4, state 0"}}));
  EXPECT_EQ(Servers(*download), Lines{"!" + URL(server, "/file.bin")});
  EXPECT_EQ(download->Reason(), 8u);
}

TEST_F(HTTPRedirect, AddsNoTargetTwice) {
  ScriptedServer second({Answers("0", kFile, "/copy.bin")});
  ScriptedServer first({Answers("0", To(URL(second, "/copy.bin")))});
  auto download = NewDownload(first);
  Name(second);
  EXPECT_EQ(VRXClient_AddMirrors(*download, URL(second, "/copy.bin").c_str()), 0);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Follows("SERVER1"));
  EXPECT_EQ(Servers(*download), (Lines{"!" + URL(first, "/file.bin"), URL(second, "/copy.bin")}));
}

TEST_F(HTTPRedirect, EndsTheList_WhenTwoServersLeadToEachOther) {
  ScriptedServer server({Answers("0", To("/other.bin")), Answers("0", To("/file.bin"), "/other.bin")});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Take(), Join({Begins(),
                                    {"Attempting to reconnect.", "Idle: 1, state 0", "Selecting server..."},
                                    ConnectsAgain("Idle: 0, state 1"),
                                    {"Attempting to reconnect.", "Idle: 1, state 0", "Selecting server...",
                                     "No server or mirror found.", "Idle: 4, state 0"}}));
}

// ---- too many ----------------------------------------------------------------------------------

TEST_F(HTTPRedirect, FailsAtTheEleventhInARow) {
  std::vector<Script> scripts = {Answers("0", To("/1"))};
  for (int i = 1; i <= 10; ++i)
    scripts.push_back(Answers("0", To("/" + std::to_string(i + 1)), "/" + std::to_string(i)));
  ScriptedServer server(scripts);
  auto download = NewDownload(server);
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Take(), Join({Begins(), {"Attempting to reconnect.", "Idle: 1, state 0"}}));
  for (int i = 2; i <= 10; ++i) {
    download->RunToState(10);
    EXPECT_EQ(download->Idle(), 1);
    EXPECT_EQ(download->Take(), Join({{"Selecting server..."},
                                      ConnectsAgain("Idle: 0, state 1"),
                                      {"Attempting to reconnect.", "Idle: 1, state 0"}}))
        << i;
  }
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 4);
  EXPECT_EQ(download->Take(),
            Join({{"Selecting server..."}, ConnectsAgain("Idle: 0, state 1"), {"Idle: 4, state 0"}}));
  EXPECT_EQ(download->Reason(), 21u);
  const std::vector<std::string> servers = Servers(*download);
  ASSERT_EQ(servers.size(), 11u);
  EXPECT_EQ(servers[10], "!" + URL(server, "/10"));
  EXPECT_EQ(download->Run(), 4);
  // The dropped server changed the record: failures leave that to be told.
  EXPECT_EQ(download->Take(),
            (Lines{"Selecting server...", "No server or mirror found.", "Idle: 4, state 0"}));
}

TEST_F(HTTPRedirect, FailsAProbeAtTheEleventhInARow) {
  // A probe takes the head of the list each time, which leads to the same place each time.
  ScriptedServer server({Answers("0", To("/other.bin"))});
  server.RepeatLast();
  auto download = NewDownload(server);
  for (int i = 1; i <= 10; ++i) {
    while (download->State() != 10) ASSERT_EQ(download->Poll(), 0);
    EXPECT_EQ(download->Poll(), 0);
    EXPECT_EQ(download->Reason(), 21u);
  }
  download->Take();
  while (download->State() != 10) ASSERT_EQ(download->Poll(), 0);
  EXPECT_EQ(download->Poll(), 4);
  EXPECT_EQ(download->Take(),
            (Lines{"Locating server...", "Poll: 0, state 1", "Poll: 0, state 2",
                   "Trying \"http://SERVER0\"...", "Connected.", "Poll: 0, state 3", "Poll: 0, state 7",
                   "Poll: 0, state 10", "Initiating download...", "Poll: 4, state 0"}));
  EXPECT_EQ(server.Connections(), 11u);
  EXPECT_EQ(Servers(*download), (Lines{"!" + URL(server, "/file.bin"), URL(server, "/other.bin")}));
  server.Stop();
}

TEST_F(HTTPRedirect, CountsFromTheLastByteOn) {
  std::vector<Script> scripts = {Answers("0", To("/1"))};
  for (int i = 1; i <= 9; ++i)
    scripts.push_back(Answers("0", To("/" + std::to_string(i + 1)), "/" + std::to_string(i)));
  // Ten redirects, four bytes, and ten redirects again.
  scripts.push_back(Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcd", "/10"));
  ScriptedServer first(scripts);
  std::vector<Script> more;
  for (int i = 0; i <= 9; ++i)
    more.push_back(Answers("4", To("/m" + std::to_string(i + 1)), "/m" + std::to_string(i)));
  more.push_back(
      Answers("4", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-9/10\r\n\r\nefghij", "/m10"));
  ScriptedServer second(more);
  auto download = NewDownload(first);
  while (first.Connections() < 11) download->Idle();
  Name(second);
  EXPECT_EQ(VRXClient_AddMirrors(*download, URL(second, "/m0").c_str()), 0);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPRedirect, CountsAnewAfterTheEleventh) {
  std::vector<Script> scripts = {Answers("0", To("/1"))};
  for (int i = 1; i <= 10; ++i)
    scripts.push_back(Answers("0", To("/" + std::to_string(i + 1)), "/" + std::to_string(i)));
  // The twelfth leads on, once the list is tried again.
  scripts.push_back(Answers("0", To("/1")));
  scripts.push_back(Answers("0", kFile, "/1"));
  ScriptedServer server(scripts);
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Run(), 4);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(HTTPRedirect, AddsNothingToAListOfAThousand) {
  ScriptedServer server({Answers("0", To("/new.bin"))});
  auto download = NewDownload(server);
  std::string mirrors;
  for (int i = 1; i < 1000; ++i) mirrors += "http://127.0.0.1:1/" + std::to_string(i) + ";";
  EXPECT_EQ(VRXClient_AddMirrors(*download, mirrors.c_str()), 0);
  ASSERT_EQ(Servers(*download).size(), 1000u);
  download->RunToState(10);
  download->Idle();
  EXPECT_EQ(Servers(*download).size(), 1000u);
  EXPECT_EQ(Servers(*download)[0], "!" + URL(server, "/file.bin"));
}

// ---- what is kept to itself --------------------------------------------------------------------

TEST_F(HTTPRedirect, TellsTheNextServerNothingOfTheLogin) {
  ScriptedServer second({Answers("0", kFile, "/x")});
  ScriptedServer first({Answers("0", To(URL(second, "/x")))});
  Name(first);
  auto download = NewTransfer();
  EXPECT_EQ(download->Download("http://someone:secret@" + first.address() + "/file.bin", Out("file.bin")), 0);
  download->RunToCompletion();
  EXPECT_EQ(second.Received(0).find("secret"), std::string::npos);
  EXPECT_EQ(second.Received(0).find("someone"), std::string::npos);
}

// ---- requests that name what the URL names -----------------------------------------------------

class HTTPExact : public HTTPRedirect {
 protected:
  void TearDown() override {
    Proxy_SetEnabled(0);
    HTTPRedirect::TearDown();
  }
  Script AnswersForProxy(const std::string& url) const {
    const std::string own = "Host: 127.0.0.1";
    std::string request = Request(url, "0");
    return scripted_http::Exchange(request.replace(request.find(own), own.size(), "Host: server.invalid"),
                                   kFile);
  }
  // Gets the file that the first server of the transfer has under this target.
  void ExpectBytes(TracedTransfer* download, const char* target) {
    EXPECT_EQ(VRXClient_SetRequestTarget(*download, nullptr, target), Error_None);
    download->RunToCompletion();
    EXPECT_EQ(OutBytes(), "abcd");
  }
};

TEST_F(HTTPExact, RequestsTheTargetByteForByte) {
  ScriptedServer server({Answers("0", kFile, "/a%20b?q=%26%2F")});
  auto download = NewDownload(server, "/a%20b?q=%26%2F");
  ExpectBytes(download.get(), "/a%20b?q=%26%2F");
}

TEST_F(HTTPExact, RequestsTheRoot) {
  ScriptedServer server({Answers("0", kFile, "/")});
  auto download = NewDownload(server, "/?");
  ExpectBytes(download.get(), "/");
}

TEST_F(HTTPExact, RequestsTheSameThroughAProxy) {
  ScriptedServer server({AnswersForProxy("http://server.invalid/a%20b?q=%26")});
  Proxy_SetServer(ProxyIndex_HTTP, "127.0.0.1", server.port());
  Proxy_SetEnabled(1);
  auto download = NewDownload("http://server.invalid/a%20b?q=%26");
  ExpectBytes(download.get(), "/a%20b?q=%26");
}

TEST_F(HTTPExact, FollowsARedirectToExactlyItsLocation) {
  ScriptedServer second({Answers("0", kFile, "/new%20place?q=%26")});
  ScriptedServer first({Answers("0", To(URL(second, "/new%20place?q=%26")))});
  auto download = NewDownload(first);
  ExpectBytes(download.get(), "/file.bin");
}

TEST_F(HTTPExact, ResolvesTheEscapesOfTheURLOtherwise) {
  ScriptedServer server({Answers("0", kFile, "/a&b")});
  auto download = NewDownload(server, "/a%26b");
  EXPECT_EQ(VRXClient_SetRequestTarget(*download, nullptr, "/other"), Error_None);
  EXPECT_EQ(VRXClient_SetRequestTarget(*download, nullptr, nullptr), Error_None);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(HTTPExact, RefusesWhatIsNoTarget) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  for (const char* target : {"x", "/a b", "/a\r\nX: y", "?q"})
    EXPECT_EQ(VRXClient_SetRequestTarget(*download, nullptr, target), Error_Invalid) << target;
  EXPECT_EQ(VRXClient_SetRequestTarget(*download, nullptr, ("/" + std::string(1021, 'x')).c_str()),
            Error_Exceed);
  EXPECT_EQ(VRXClient_SetRequestTarget(*download, "http://other/x", "/x"), Error_NotFound);
  EXPECT_EQ(VRXClient_SetRequestTarget(*download, "no url", "/x"), Error_Invalid);
  EXPECT_EQ(VRXClient_SetRequestTarget(nullptr, nullptr, "/x"), Error_Invalid);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

}  // namespace
}  // namespace transfer
