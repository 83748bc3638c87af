// Logging in to FTP servers: whose user and password are used, anonymous names, refusals, the banner.
#include "qz/proxy.h"
#include "tests/transfer/ftp_trace.h"

using namespace script;

namespace transfer {
namespace {

// The password of anonymous logins until the preferences are changed.
constexpr char kAnonymousPassword[] = "user@example.invalid";

class FTPLogin : public FTPTransferTest {
 protected:
  // Logs in and leaves: what the server sees of the login, and the lines that it gives.
  Lines LogInTo(TracedTransfer* download) {
    download->RunToState(4);
    download->Take();
    download->Idle();
    return download->Take();
  }
  static Script Refuses(const std::string& user, const std::string& password) {
    return ftp::Join(
        {ftp::Exchange("USER " + user, "331 who?"), ftp::Exchange("PASS " + password, "530 no")});
  }
  static void SetAnonymousPassword(const char* password) {
    VRXPrefs* prefs = VRXPrefs_BeginAccess();
    snprintf(prefs->anonymousPassword, sizeof prefs->anonymousPassword, "%s", password);
    VRXPrefs_EndAccess();
  }
};

Lines LoggedInAs(const std::string& user) {
  return {"Logging in as \"" + user + "\"...", "Idle: 0, state 6"};
}

// ---- whose user --------------------------------------------------------------------------------

TEST_F(FTPLogin, UsesTheUserOfTheURL) {
  ScriptedServer server({ftp::Join({ftp::Greeting(), wire::LogsIn("jo", "pass word"), ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "jo:pass%20word@");
  EXPECT_EQ(LogInTo(download.get()), LoggedInAs("jo"));
}

TEST_F(FTPLogin, UsesAnEmptyPassword_WhenTheURLHasNone) {
  ScriptedServer server({ftp::Join({ftp::Greeting(), wire::LogsIn("jo", ""), ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "jo@");
  EXPECT_EQ(LogInTo(download.get()), LoggedInAs("jo"));
}

TEST_F(FTPLogin, ShowsTheUserAsItIs) {
  ScriptedServer server({ftp::Join({ftp::Greeting(), wire::LogsIn("%n%s", "%s"), ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "%25n%25s:%25s@");
  EXPECT_EQ(LogInTo(download.get()), LoggedInAs("%n%s"));
}

TEST_F(FTPLogin, PrefersTheUserOfTheTransfer) {
  ScriptedServer server({ftp::Join({ftp::Greeting(), wire::LogsIn("own", "secret"), ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "jo:x@");
  EXPECT_EQ(VRXClient_SetUser(*download, "own", "secret"), Error_None);
  EXPECT_EQ(LogInTo(download.get()), LoggedInAs("own"));
}

TEST_F(FTPLogin, NeedsNoPassword_WhenTheServerAsksForNone) {
  ScriptedServer server({ftp::Join({ftp::Greeting(), ftp::Exchange("USER u", "230 in"), ftp::Quit()})});
  auto download = Get(server);
  EXPECT_EQ(LogInTo(download.get()), LoggedInAs("u"));
}

TEST_F(FTPLogin, TakesAUserUntilTheLogin) {
  ScriptedServer server(
      {ftp::Join({ftp::Greeting(), wire::LogsIn("own", "secret"), wire::KnowsNoMirrors(), ftp::Quit()})});
  auto download = Get(server);
  download->RunToState(4);
  EXPECT_EQ(VRXClient_SetUser(*download, "own", "secret"), Error_None);
  download->RunToState(6);
  download->Take();
  EXPECT_EQ(VRXClient_SetUser(*download, "late", "secret"), Error_Inited);
  EXPECT_EQ(download->Take(), Lines{"Authentication already complete."});
  download->RunToState(5);
  download->Take();
  EXPECT_EQ(VRXClient_SetUser(*download, "late", "secret"), Error_Inited);
  EXPECT_EQ(download->Take(), Lines{"Authentication already complete."});
}

// ---- anonymous ---------------------------------------------------------------------------------

TEST_F(FTPLogin, IsAnonymous_WhenNoUserIsGiven) {
  ScriptedServer server({ftp::Join({ftp::Greeting(), wire::LogsIn("ftp", kAnonymousPassword), ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "");
  EXPECT_EQ(LogInTo(download.get()), LoggedInAs("ftp"));
}

TEST_F(FTPLogin, SendsTheAnonymousPasswordOfThePreferences) {
  SetAnonymousPassword("me@example.org");
  ScriptedServer server({ftp::Join({ftp::Greeting(), wire::LogsIn("ftp", "me@example.org"), ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "");
  EXPECT_EQ(LogInTo(download.get()), LoggedInAs("ftp"));
}

TEST_F(FTPLogin, SendsABuiltInPassword_WhenThePreferencesHaveNone) {
  SetAnonymousPassword("");
  ScriptedServer server({ftp::Join({ftp::Greeting(),
                                    ftp::Exchange("USER ftp", "331 who?"),
                                    {ReadUntil("@example.invalid\r\n"), SendLine("230 in")},
                                    ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "");
  EXPECT_EQ(LogInTo(download.get()), LoggedInAs("ftp"));
  EXPECT_TRUE(server.Received(0).starts_with("USER ftp\r\nPASS ")) << server.Received(0);
}

TEST_F(FTPLogin, TriesTheNextAnonymousName_WhenOneIsRefused) {
  ScriptedServer server({ftp::Join({ftp::Greeting(), Refuses("ftp", kAnonymousPassword),
                                    wire::LogsIn("anonymous", kAnonymousPassword), ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "");
  EXPECT_EQ(LogInTo(download.get()), (Lines{"Logging in as \"ftp\"...", "Can't log in as \"ftp\"",
                                            "Logging in as \"anonymous\"...", "Idle: 0, state 6"}));
}

TEST_F(FTPLogin, DropsTheServer_WhenFourAnonymousNamesAreRefused) {
  ScriptedServer server({ftp::Join(
      {ftp::Greeting(), ftp::Exchange("USER ftp", "530 no"), Refuses("anonymous", "user@example.invalid"),
       Refuses("public", "user@example.invalid"), ftp::Exchange("USER guest", "331 who?"),
       ftp::Exchange("PASS user@example.invalid", "332 account?"), ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "");
  EXPECT_EQ(
      LogInTo(download.get()),
      (Lines{"Logging in as \"ftp\"...", "Can't log in as \"ftp\"", "Logging in as \"anonymous\"...",
             "Can't log in as \"anonymous\"", "Logging in as \"public\"...", "Can't log in as \"public\"",
             "Logging in as \"guest\"...", "Can't log in as \"guest\"", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 5u);
  EXPECT_EQ(Servers(*download), Lines{"!ftp://SERVER0/pub/f.bin"});
}

// ---- refusals ----------------------------------------------------------------------------------

TEST_F(FTPLogin, DropsTheServer_WhenItRefusesTheUser) {
  for (const bool isOwnUser : {false, true}) {
    ScriptedServer server({ftp::Join({ftp::Greeting(), Refuses("jo", "x"), ftp::Quit()})});
    auto download = Get(server, "/pub/f.bin", isOwnUser ? "" : "jo:x@");
    if (isOwnUser) {
      EXPECT_EQ(VRXClient_SetUser(*download, "jo", "x"), Error_None);
    }
    // Other names are for anonymous logins alone.
    EXPECT_EQ(LogInTo(download.get()),
              (Lines{"Logging in as \"jo\"...", "Can't log in as \"jo\"", "Idle: 1, state 0"}));
    EXPECT_EQ(download->Reason(), 5u);
  }
}

TEST_F(FTPLogin, TriesNoOtherName_WhenTheServerEnds) {
  ScriptedServer server({ftp::Join({ftp::Greeting(), {ExpectLine("USER ftp"), Close()}})});
  auto download = Get(server, "/pub/f.bin", "");
  EXPECT_EQ(LogInTo(download.get()),
            (Lines{"Logging in as \"ftp\"...", "Server connection terminated.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 15u);
}

TEST_F(FTPLogin, TriesNoOtherName_WhenTheAnswerIsNone) {
  ScriptedServer server({ftp::Join({ftp::Greeting(), ftp::Exchange("USER ftp", "?"), ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "");
  EXPECT_EQ(LogInTo(download.get()),
            (Lines{"Logging in as \"ftp\"...", "Invalid address.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 10u);
}

TEST_F(FTPLogin, SendsNothing_WhenTheUserHasALineEnd) {
  for (const char* user : {"jo%0D%0ADELE%20x:p@", "jo:p%0Aq@", "jo%0D:p@"}) {
    SCOPED_TRACE(user);
    ScriptedServer server({ftp::Join({ftp::Greeting(), ftp::Quit()})});
    auto download = Get(server, "/pub/f.bin", user);
    const Lines lines = LogInTo(download.get());
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_TRUE(lines[0].starts_with("Logging in as \"jo")) << lines[0];
    EXPECT_EQ(lines[1], "Invalid address.");
    EXPECT_EQ(lines[2], "Idle: 1, state 0");
    EXPECT_EQ(download->Reason(), 10u);
  }
}

// ---- a proxy -----------------------------------------------------------------------------------

TEST_F(FTPLogin, GoesThroughTheProxyOfThePreferences) {
  ScriptedServer proxy({ftp::Join({ftp::Greeting(), wire::LogsIn("u@lost.example", "p"), ftp::Quit()})});
  VRXPrefs* prefs = VRXPrefs_BeginAccess();
  prefs->isProxyEnabled = 1;
  snprintf(prefs->ftpProxyHost, sizeof prefs->ftpProxyHost, "127.0.0.1");
  prefs->ftpProxyPort = proxy.port();
  EXPECT_EQ(VRXPrefs_Changed(), Error_None);
  VRXPrefs_EndAccess();
  auto download = NewDownload("ftp://u:p@lost.example/pub/f.bin", Callbacks::MessagesOnly, "f.bin");
  download->RunToState(6);
  Lines expected = Join({rows::kPrepared, rows::kConnected, rows::kLoggedIn});
  expected[2] = "Trying \"ftp://lost.example:21\"...";
  EXPECT_EQ(download->Take(), expected);
  Proxy_SetEnabled(0);
}

// ---- the banner --------------------------------------------------------------------------------

TEST_F(FTPLogin, AddsTheBannerToTheLogAlone) {
  ScriptedServer server(
      {{SendLine("220-Welcome to %n%s"), SendLine("  no code here"), SendLine("220 ready"),
        ExpectLine("USER u"), SendLine("331 who?"), ExpectLine("PASS p"), SendLine("230-Be quiet."),
        SendLine("230 in"), ExpectLine("QUIT"), SendLine("221 bye"), ExpectEnd()}});
  auto download = Get(server);
  EXPECT_EQ(LogInTo(download.get()), rows::kLoggedIn);
  EXPECT_EQ(Log(*download),
            "Trying \"ftp://SERVER0\"...\r\n"
            "Connected.\r\n"
            "Logging in as \"u\"...\r\n"
            "Welcome to %n%s\r\n"
            "no code here\r\n"
            "ready\r\n"
            "who?\r\n"
            "Be quiet.\r\n"
            "in\r\n");
  // The file that held it is gone.
  for (const std::string& name : NamesIn(cache_)) EXPECT_FALSE(name.starts_with("welcome")) << name;
}

TEST_F(FTPLogin, HidesThePasswordInTheBanner) {
  ScriptedServer server({{SendLine("220 ready"), ExpectLine("USER u"), SendLine("331 who?"),
                          ExpectLine("PASS s3cr3t-w0rd"), SendLine("230-PASSs3cr3t-w0rd, s3cr3t-w0rds"),
                          SendLine("230 in"), ExpectLine("QUIT"), SendLine("221 bye"), ExpectEnd()}});
  auto download = Get(server, "/pub/f.bin", "u:s3cr3t-w0rd@");
  EXPECT_EQ(LogInTo(download.get()), rows::kLoggedIn);
  EXPECT_EQ(Log(*download),
            "Trying \"ftp://SERVER0\"...\r\n"
            "Connected.\r\n"
            "Logging in as \"u\"...\r\n"
            "ready\r\n"
            "who?\r\n"
            "PASS***********, ***********s\r\n"
            "in\r\n");
}

TEST_F(FTPLogin, HidesAShortPasswordInTheBannerAsAWholeWord) {
  ScriptedServer server(
      {{SendLine("220 ready"), ExpectLine("USER u"), SendLine("331 who?"), ExpectLine("PASS in"),
        SendLine("230 in again, going in2, 'in'"), ExpectLine("QUIT"), SendLine("221 bye"), ExpectEnd()}});
  auto download = Get(server, "/pub/f.bin", "u:in@");
  EXPECT_EQ(LogInTo(download.get()), rows::kLoggedIn);
  EXPECT_EQ(Log(*download),
            "Trying \"ftp://SERVER0\"...\r\n"
            "Connected.\r\n"
            "Logging in as \"u\"...\r\n"
            "ready\r\n"
            "who?\r\n"
            "** again, going in2, '**'\r\n");
}

TEST_F(FTPLogin, AddsTheBannerOnce_WhenTheSecondNameIsTaken) {
  ScriptedServer server({ftp::Join({ftp::Greeting(), ftp::Exchange("USER ftp", "530 not you"),
                                    wire::LogsIn("anonymous", kAnonymousPassword), ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "");
  download->RunToState(6);
  EXPECT_EQ(Log(*download),
            "Trying \"ftp://SERVER0\"...\r\n"
            "Connected.\r\n"
            "Logging in as \"ftp\"...\r\n"
            "Can't log in as \"ftp\"\r\n"
            "Logging in as \"anonymous\"...\r\n"
            "ready\r\n"
            "not you\r\n"
            "who?\r\n"
            "in\r\n");
}

TEST_F(FTPLogin, LeavesNoBannerFile_WhenNoNameIsTaken) {
  ScriptedServer server({ftp::Join({ftp::Greeting(), Refuses("u", "p"), ftp::Quit()})});
  auto download = Get(server);
  LogInTo(download.get());
  for (const std::string& name : NamesIn(cache_)) EXPECT_FALSE(name.starts_with("welcome")) << name;
}

}  // namespace
}  // namespace transfer
