// Extensions as real libraries, loaded by a program that uses the shared library
// (tests/support/extensions/host.c).
#include <gtest/gtest.h>

#include <string>

#include "tests/support/scripted_ftp.h"
#include "tests/support/scripted_http.h"
#include "tests/support/scripted_server.h"
#include "tests/transfer/agent_host.h"

namespace {

TEST(AgentLibrary, RegistersItsClasses_AndGoesWithThem) {
  const AgentHost host({"good"});
  EXPECT_EQ(host.Run(),
            "good: loaded\n"
            "good: register\n"
            "VRXClientSystem_Init 0\n"
            "class /, child VRXx\n"
            "class VRXx, child Good\n"
            "class /, child Metafile\n"
            "class Metafile, child Encodec\n"
            "class Metafile, child Codec\n"
            "classinfo \"keeps a number\", 3\n"
            "good: new, number 0\n"
            "Agent_New 0\n"
            "setnumber 0\n"
            "getnumber 0\n"
            "number 42\n"
            "startcache 1001\n"
            "good: delete, forever 1\n"
            "good: unregister\n"
            "good: unloaded\n"
            "end\n");
}

// What every host without the extension "good" writes between its start and its end.
constexpr char kLibrarysClasses[] =
    "VRXClientSystem_Init 0\n"
    "class /, child VRXx\n"
    "class /, child Metafile\n"
    "class Metafile, child Encodec\n"
    "class Metafile, child Codec\n"
    "end\n";

TEST(AgentLibrary, IsUnloadedAtOnce_WhenItRegistersNothing) {
  const AgentHost host({"silent"});
  EXPECT_EQ(host.Run(), std::string("silent: loaded\nsilent: unloaded\n") + kLibrarysClasses);
}

TEST(AgentLibrary, IsPassedOver_WhenItIsForAnotherMachine) {
  const AgentHost host({});
  std::string bytes = host.Library("good");
  // The field that names the machine; no processor has this number.
  const size_t machine = host.MachineField(bytes);
  bytes[machine] = '\x34';
  bytes[machine + 1] = '\x12';
  host.Write("good.AXT", bytes);
  EXPECT_EQ(host.Run(), kLibrarysClasses);
}

TEST(AgentLibrary, IsPassedOver_WhenItIsNone) {
  const AgentHost host({});
  host.Write("text.AXT", "This is no library.\n");
  host.Write("empty.AXT", "");
  host.MakeDirectory("directory.AXT");
  EXPECT_EQ(host.Run(), kLibrarysClasses);
}

TEST(AgentLibrary, IsLoadedWhateverStandsBesideIt) {
  const AgentHost host({"good", "silent"});
  host.Write("a.AXT", "This is no library.\n");
  const std::string report = host.Run();
  EXPECT_NE(report.find("class VRXx, child Good\n"), std::string::npos) << report;
  EXPECT_NE(report.find("silent: unloaded\n"), std::string::npos) << report;
}

TEST(AgentLibrary, SavesAnAgentWithItsTransfer_AndGetsItBackInTheNextRun) {
  const AgentHost host({"good"});
  EXPECT_EQ(host.Run("save", "transfer.vrx"),
            "good: loaded\n"
            "good: register\n"
            "VRXClientSystem_Init 0\n"
            "VRXClient_NewDownload 0\n"
            "good: new, number 0\n"
            "Agent_New 0\n"
            "VRXClient_AddAgent 0\n"
            "File_OpenTraverse 0\n"
            "VRXClient_Write 0\n"
            "good: delete, forever 0\n"
            "good: unregister\n"
            "good: unloaded\n"
            "end\n");
  const std::string saved = host.Read("transfer.vrx");
  EXPECT_NE(saved.find(std::string("\x05\0\0\0Good\0\x01\0\0\0\x67\x12\0\0", 17)), std::string::npos);
  EXPECT_EQ(host.Run("read", "transfer.vrx"),
            "good: loaded\n"
            "good: register\n"
            "VRXClientSystem_Init 0\n"
            "File_OpenTraverse 0\n"
            "VRXClient_Read 0\n"
            "agent of class Good\n"
            "getnumber 0\n"
            "number 4711\n"
            "File_OpenTraverse 0\n"
            "VRXClient_Write 0\n"
            "good: delete, forever 1\n"
            "good: unregister\n"
            "good: unloaded\n"
            "end\n");
  EXPECT_EQ(host.Read("transfer.vrx"), saved);
}

TEST(AgentLibrary, TakesPartInATransfer) {
  const AgentHost host({"good"});
  ScriptedServer server({scripted_http::Answer(scripted_http::Okay("hello"))});
  const std::string url = "http://127.0.0.1:" + std::to_string(server.port()) + "/dir/thing";
  EXPECT_EQ(host.Run("get", "target", url),
            "good: loaded\n"
            "good: register\n"
            "VRXClientSystem_Init 0\n"
            "VRXClient_NewDownload 0\n"
            "good: check thing\n"
            "good: new, number 0\n"
            "good: completed thing\n"
            "good: completed thing\n"
            "VRXClient_Idle 5\n"
            "getnumber 0\n"
            "number 2\n"
            "good: delete, forever 0\n"
            "good: unregister\n"
            "good: unloaded\n"
            "end\n");
  EXPECT_EQ(host.Read("target"), "hello");
}

// ---- the filter of uploads ---------------------------------------------------------------------

// The message of the end has the date.
std::string WithoutDate(std::string report) {
  const std::string before = "completed on ";
  const size_t begin = report.find(before);
  if (begin == std::string::npos) return report;
  const size_t date = begin + before.size();
  return report.replace(date, report.find('\n', date) - date, "DATE");
}

Script TakesTheFilteredFile() {
  using namespace script;
  return ftp::Join({ftp::Greeting(), ftp::Exchange("USER u", "331 who?"), ftp::Exchange("PASS p", "230 in"),
                    ftp::Exchange("MIRR /pub/x", "500 what?"), ftp::Exchange("CWD /pub", "250 ok"),
                    ftp::Exchange("TYPE I", "200 ok"), ftp::Exchange("SIZE letter.txt.capitals", "550 what?"),
                    ftp::Exchange("REST 100", "350 ok"), ftp::Exchange("REST 0", "350 ok"), ftp::Passive(),
                    ftp::Started("STOR letter.txt.capitals"), ftp::TakesFile(), ftp::Quit()});
}

TEST(AgentLibrary, MakesTheCopyOfAnUpload) {
  const AgentHost host({"filter"});
  ScriptedServer server({TakesTheFilteredFile()});
  const std::string place = "127.0.0.1:" + std::to_string(server.port());
  const std::string url = "ftp://u:p@" + place + "/pub/x";
  host.Write("letter.txt", "Dear reader,\n");
  EXPECT_EQ(WithoutDate(host.Run("put", "letter.txt", url)),
            "filter: loaded\n"
            "VRXClientSystem_Init 0\n"
            "VRXClient_NewUpload 0\n"
            "filter: check letter.txt " +
                url +
                "\n"
                "filter: new letter.txt " +
                url +
                " with a transfer\n"
                "message Copying upload file...\n"
                "filter: startcache letter.txt, answer \"\"\n"
                "message Agent \"Filter\" invoked for upload filter. Server file name is "
                "\"letter.txt.capitals\"\n"
                "message Trying \"ftp://" +
                place +
                "\"...\n"
                "message Connected.\n"
                "message Logging in as \"u\"...\n"
                "message Locating mirror sites...\n"
                "message Not a Netcask server.\n"
                "message Changing directory...\n"
                "message Setting transfer mode...\n"
                "message File size is unknown.\n"
                "message Initiating download...\n"
                "message Server supports pause/resume.\n"
                "message Downloading...\n"
                "message Download completed on DATE\n"
                "VRXClient_Idle 5\n"
                "filter: delete, forever 1\n"
                "filter: unloaded\n"
                "end\n");
  EXPECT_EQ(server.DataReceived(0), "DEAR READER,\n");
  EXPECT_EQ(host.Read("letter.txt"), "Dear reader,\n");
}

TEST(AgentLibrary, CancelsAnUpload) {
  const AgentHost host({"filter"});
  host.Write("secret", "It is me.\n");
  EXPECT_EQ(host.Run("put", "secret", "ftp://u:p@127.0.0.1:1/pub/x"),
            "filter: loaded\n"
            "VRXClientSystem_Init 0\n"
            "VRXClient_NewUpload 0\n"
            "filter: check secret ftp://u:p@127.0.0.1:1/pub/x\n"
            "filter: new secret ftp://u:p@127.0.0.1:1/pub/x with a transfer\n"
            "message Copying upload file...\n"
            "filter: startcache secret, answer \"\"\n"
            "message Agent \"\" cancelled the upload. Reason: it is secret\n"
            "message Connection cancelled.\n"
            "VRXClient_Idle 3\n"
            "filter: delete, forever 1\n"
            "filter: unloaded\n"
            "end\n");
}

TEST(AgentLibrary, FailsTheRecord_WhenItIsMissing) {
  const AgentHost host({"good"});
  host.Run("save", "transfer.vrx");
  const std::string saved = host.Read("transfer.vrx");
  host.Remove("good.AXT");
  EXPECT_EQ(host.Run("read", "transfer.vrx"),
            "VRXClientSystem_Init 0\n"
            "File_OpenTraverse 0\n"
            "VRXClient_Read -3\n"
            "end\n");
  EXPECT_EQ(host.Read("transfer.vrx"), saved);
}

}  // namespace
