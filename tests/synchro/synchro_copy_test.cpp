// Copying and deleting one file, between all nine pairs of sides.
#include <memory>
#include <string>

#include "synchro/synchro_copy_internal.h"
#include "synchro/synchro_copy_testing.h"
#include "tests/support/file_system.h"
#include "tests/support/scripted_http.h"
#include "tests/synchro/synchro_fixture.h"
#include "tests/synchro/synchro_ftp_fixture.h"

namespace {

using namespace script;
using ftp::Exchange;
using ftp::Join;
using ftp::Quit;
using synchro::Login;

// A side that is opened, and closed at the end.
class Side {
 public:
  explicit Side(std::string url) : text_(std::move(url)) {
    EXPECT_EQ(URL_ToData(text_.data(), &connection_.url), Error_None);
    connection_.interrupt = &interrupt_;
  }
  ~Side() { iSynchro_CloseSide(&connection_); }
  Side(const Side&) = delete;
  Side& operator=(const Side&) = delete;

  ErrorCode Open() { return iSynchro_OpenSide(&connection_); }
  SynchroConnection* Get() { return &connection_; }
  SockInterrupt& Interrupt() { return interrupt_; }

 private:
  std::string text_;
  SockInterrupt interrupt_;
  SynchroConnection connection_ = {};
};

class SynchroCopyTest : public synchro::Test {
 protected:
  void SetUp() override {
    synchro::Test::SetUp();
    iSynchro_BeginTemporaries(nullptr, "t", true, &temporary_);
  }
  void TearDown() override {
    iSynchro_EndTemporaries(&temporary_);
    EXPECT_EQ(temporary_.leftovers, nullptr);
    synchro::Test::TearDown();
  }

  // The entry "a" of both roots.
  ErrorCode Copy(Side& from, Side& to) {
    made_ = {};
    char fromPath[1024];
    char toPath[1024];
    EXPECT_EQ(iSynchro_EntryPath(*from.Get(), "", "a", fromPath), Error_None);
    EXPECT_EQ(iSynchro_EntryPath(*to.Get(), "", "a", toPath), Error_None);
    return iSynchro_CopyFile({from.Get(), to.Get(), fromPath, toPath, &temporary_}, &made_);
  }
  std::string LocalURL(const char* folder) const { return FileURL(folder); }
  static std::string HTTPURL(const ScriptedServer& server) { return "http://" + server.address() + "/pub"; }

  static Script GetFile(const std::string& path, const std::string& response) {
    return {ReadUntil(" " + path + " HTTP/1.0\r\n"), ReadUntil("\r\n\r\n"), Send(response), Finish(),
            ReadToEnd()};
  }

  SynchroTemporary temporary_ = {};
  SynchroSide made_ = {};
};

TEST_F(SynchroCopyTest, CopiesNothingToHTTP) {
  ScriptedServer servers({{ReadToEnd()}});
  servers.RepeatLast();
  servers.AllowUnfinished();
  ScriptedServer ftpServer({Join({Login(), Quit()})});
  Put("src/a", "hello");
  Side target(HTTPURL(servers));
  Side http(HTTPURL(servers));
  Side ftp(FTPURL(ftpServer));
  Side local(LocalURL("src"));
  ASSERT_EQ(target.Open(), Error_None);
  for (Side* const from : {&http, &ftp, &local}) {
    ASSERT_EQ(from->Open(), Error_None);
    EXPECT_EQ(Copy(*from, target), Error_Fail);
  }
  char path[1024];
  EXPECT_EQ(iSynchro_EntryPath(*target.Get(), "", "a", path), Error_None);
  EXPECT_STREQ(path, "/pub/a");
  EXPECT_EQ(iSynchro_DeleteFile(target.Get(), path), Error_Fail);
  iSynchro_CloseSide(target.Get());
  iSynchro_CloseSide(http.Get());
  iSynchro_CloseSide(ftp.Get());
  ftpServer.Finish();
}

TEST_F(SynchroCopyTest, NeedsBothSidesOpen) {
  Side from(LocalURL("src"));
  Side to(LocalURL("dst"));
  EXPECT_EQ(Copy(from, to), Error_Invalid);
  EXPECT_EQ(from.Open(), Error_None);
  EXPECT_EQ(Copy(from, to), Error_Invalid);
  EXPECT_EQ(iSynchro_DeleteFile(to.Get(), "x"), Error_NotInited);
}

TEST_F(SynchroCopyTest, OpensNoOtherProtocol) {
  Side secure("https://h/x");
  EXPECT_EQ(secure.Open(), Error_Invalid);
  Side ftpu("ftpu://h/x");
  EXPECT_EQ(ftpu.Open(), Error_Invalid);
}

// ---- from HTTP ---------------------------------------------------------------------------------

TEST_F(SynchroCopyTest, GetsAFileOverHTTP) {
  ScriptedServer server({GetFile("/pub/a", scripted_http::Okay("hello")),
                         GetFile("/pub/a", "HTTP/1.0 200 OK\r\n\r\nno length"),
                         GetFile("/pub/a", "HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nmore than that")});
  Side from(HTTPURL(server));
  Side to(LocalURL("dst"));
  ASSERT_EQ(from.Open(), Error_None);
  ASSERT_EQ(to.Open(), Error_None);
  EXPECT_EQ(Copy(from, to), Error_None);
  EXPECT_EQ(Tree("dst"), "a=hello");
  EXPECT_EQ(made_.present, 1u);
  EXPECT_EQ(made_.directory, 0u);
  EXPECT_EQ(made_.size, 5u);
  EXPECT_EQ(made_.time.milliseconds, 0u);
  FileState state;
  ASSERT_EQ(File_GetState(root_.Name("dst/a").c_str(), &state), Error_None);
  EXPECT_EQ(made_.time.seconds, state.modificationTime.seconds);
  EXPECT_EQ(Copy(from, to), Error_None) << "a connection of its own for each file";
  EXPECT_EQ(Tree("dst"), "a=no length");
  EXPECT_EQ(Copy(from, to), Error_None);
  EXPECT_EQ(Tree("dst"), "a=mor");
  iSynchro_CloseSide(from.Get());
  server.Finish();
}

TEST_F(SynchroCopyTest, KeepsTheOldFile_WhenHTTPFails) {
  ScriptedServer server({GetFile("/pub/a", "HTTP/1.0 404 Not Found\r\n\r\nsorry"),
                         GetFile("/pub/a", "HTTP/1.0 302 Found\r\nLocation: http://x/\r\n\r\n"),
                         GetFile("/pub/a", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nhello")});
  Put("dst/a", "old");
  Side from(HTTPURL(server));
  Side to(LocalURL("dst"));
  ASSERT_EQ(from.Open(), Error_None);
  ASSERT_EQ(to.Open(), Error_None);
  EXPECT_EQ(Copy(from, to), Error_NotFound);
  EXPECT_EQ(Copy(from, to), Error_NotFound);
  EXPECT_EQ(Copy(from, to), Error_Ended);
  EXPECT_EQ(Tree("dst"), "a=old");
  iSynchro_CloseSide(from.Get());
  server.Finish();
}

TEST_F(SynchroCopyTest, StoresWhatItGetsOverHTTP) {
  ScriptedServer server({GetFile("/pub/a", scripted_http::Okay("hello")),
                         GetFile("/pub/a", "HTTP/1.0 200 OK\r\n\r\nworld!"),
                         GetFile("/pub/a", "HTTP/1.0 404 Not Found\r\n\r\n"),
                         GetFile("/pub/a", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nshort")});
  const Script store = synchro::Store("/pub/a", "5", "19970105090300");
  ScriptedServer target({Join({Login(),
                               store,
                               store,
                               ftp::Passive(),
                               ftp::Started("STOR /pub/a"),
                               {DataClose(), SendLine("426 cut")},
                               Quit()})});
  Side from(HTTPURL(server));
  Side to(FTPURL(target));
  ASSERT_EQ(from.Open(), Error_None);
  ASSERT_EQ(to.Open(), Error_None);
  EXPECT_EQ(Copy(from, to), Error_None);
  EXPECT_EQ(made_.size, 5u);
  EXPECT_EQ(made_.time.seconds, 852454980u);
  EXPECT_EQ(Copy(from, to), Error_None);
  EXPECT_EQ(Copy(from, to), Error_NotFound);
  EXPECT_EQ(Copy(from, to), Error_Ended);
  iSynchro_CloseSide(from.Get());
  iSynchro_CloseSide(to.Get());
  server.Finish();
  target.Finish();
  EXPECT_EQ(target.DataReceived(0), "helloworld!");
}

// ---- from FTP ----------------------------------------------------------------------------------

TEST_F(SynchroCopyTest, RefusesAFileThatIsLongerThanTheServerSaid) {
  ScriptedServer server({Join({Login(), Exchange("SIZE /pub/a", "213 3"), ftp::Passive(),
                               ftp::Started("RETR /pub/a"), ftp::SendsFile("hello"), Quit()})});
  Put("dst/a", "old");
  Side from(FTPURL(server));
  Side to(LocalURL("dst"));
  ASSERT_EQ(from.Open(), Error_None);
  ASSERT_EQ(to.Open(), Error_None);
  EXPECT_EQ(Copy(from, to), Error_Ended);
  EXPECT_EQ(Tree("dst"), "a=old");
  iSynchro_CloseSide(from.Get());
  server.Finish();
}

TEST_F(SynchroCopyTest, KeepsTheOldFile_WhenTheServerEndsWithAFailure) {
  ScriptedServer server({Join({Login(),
                               Exchange("SIZE /pub/a", "213 5"),
                               ftp::Passive(),
                               ftp::Started("RETR /pub/a"),
                               {DataSend("hello"), DataClose(), SendLine("426 broken")},
                               Quit()})});
  Put("dst/a", "old");
  Side from(FTPURL(server));
  Side to(LocalURL("dst"));
  ASSERT_EQ(from.Open(), Error_None);
  ASSERT_EQ(to.Open(), Error_None);
  EXPECT_EQ(Copy(from, to), Error_Invalid);
  EXPECT_EQ(Tree("dst"), "a=old");
  iSynchro_CloseSide(from.Get());
  server.Finish();
}

TEST_F(SynchroCopyTest, MovesNothingBetweenServersThatAcceptPASVOrPORT) {
  ScriptedServer first({Join({Login(),
                              Exchange("PASV", "227 (127,0,0,1,1,1)"),
                              Exchange("PASV", "500 no"),
                              Exchange("PASV", "500 no"),
                              Exchange("RETR /pub/a", "150 go"),
                              {SendLine("226 done")},
                              Quit()})});
  ScriptedServer second({Join({Login(),
                               synchro::Values("/pub/a", "5", "19970105090300"),
                               {ReadUntil("\r\n"), SendLine("200 ok")},
                               Exchange("SIZE /pub/a", "500 ?"),
                               Exchange("MDTM /pub/a", "213 19970105090300"),
                               {ReadUntil("\r\n"), SendLine("500 no")},
                               Exchange("STOR /pub/a", "150 go"),
                               {SendLine("226 done")},
                               synchro::Values("/pub/a", "7", "19970105090300"),
                               Quit()})});
  Side from(FTPURL(first));
  Side to(FTPURL(second));
  ASSERT_EQ(from.Open(), Error_None);
  ASSERT_EQ(to.Open(), Error_None);
  EXPECT_EQ(Copy(from, to), Error_None);
  EXPECT_EQ(Copy(from, to), Error_Invalid) << "the size decides";
  EXPECT_EQ(made_.size, UINT32_MAX);
  EXPECT_EQ(Copy(from, to), Error_None);
  EXPECT_EQ(made_.size, 7u);
  iSynchro_CloseSide(from.Get());
  iSynchro_CloseSide(to.Get());
  first.Finish();
  second.Finish();
}

// ---- from a local file -------------------------------------------------------------------------

TEST_F(SynchroCopyTest, StoresOnlyAFile) {
  ScriptedServer server({Join({Login(), Quit()})});
  root_.MakeDirectory("dst/a");
  Side from(LocalURL("src"));
  Side folder(LocalURL("dst"));
  Side to(FTPURL(server));
  ASSERT_EQ(from.Open(), Error_None);
  ASSERT_EQ(folder.Open(), Error_None);
  ASSERT_EQ(to.Open(), Error_None);
  EXPECT_EQ(Copy(from, to), Error_NotFound);
  EXPECT_EQ(Copy(folder, to), Error_NotFound);
  iSynchro_CloseSide(to.Get());
  server.Finish();
}

TEST_F(SynchroCopyTest, CopiesALocalFile) {
  Put("src/a", std::string(70000, 'x'), 1000000000);
  Side from(LocalURL("src"));
  Side to(LocalURL("dst"));
  ASSERT_EQ(from.Open(), Error_None);
  ASSERT_EQ(to.Open(), Error_None);
  EXPECT_EQ(Copy(from, to), Error_None);
  EXPECT_EQ(Tree("dst"), "a=" + std::string(70000, 'x'));
  EXPECT_EQ(made_.size, 70000u);
  Remove("src/a");
  EXPECT_EQ(Copy(from, to), Error_NotFound);
  EXPECT_EQ(Tree("dst"), "a=" + std::string(70000, 'x')) << "the old file stays";
  root_.MakeDirectory("src/a");
  EXPECT_EQ(Copy(from, to), Error_Invalid);
}

// A listing of May 5, 1997 is read as one of March 5, and the next run compares with it.
TEST_F(SynchroCopyTest, RecordsTheTimeThatAListingShows) {
  Put("dst/may", "x", 862826400);
  SynchroSide made = {};
  EXPECT_EQ(iSynchro_ReadLocalValues(root_.Name("dst/may").c_str(), &made), Error_None);
  EXPECT_EQ(made.time.seconds, 857556000u);
  EXPECT_EQ(made.time.milliseconds, 0u);
  EXPECT_EQ(made.size, 1u);
  EXPECT_EQ(iSynchro_ReadLocalValues(root_.Name("dst/missing").c_str(), &made), Error_NotFound);
}

// What a guarded run compares with: folders that are read directly show every month.
TEST_F(SynchroCopyTest, ReadsALocalFileAsItIs) {
  Put("dst/may", "x", 862826400);
  SynchroSide side = {};
  EXPECT_EQ(iSynchro_ReadLocal(root_.Name("dst/may").c_str(), &side), Error_None);
  EXPECT_EQ(side.present, 1u);
  EXPECT_EQ(side.directory, 0u);
  EXPECT_EQ(side.size, 1u);
  EXPECT_EQ(side.time.seconds, 862826400u);
  EXPECT_EQ(side.time.milliseconds, 0u);
  EXPECT_EQ(iSynchro_ReadLocal(root_.Name("dst").c_str(), &side), Error_None);
  EXPECT_EQ(side.directory, 1u);
  EXPECT_EQ(iSynchro_ReadLocal(root_.Name("dst/missing").c_str(), &side), Error_None);
  EXPECT_EQ(side.present, 0u);
  EXPECT_EQ(iSynchro_LocalValues(false, 0x140000005, {862826400, 7}).size, 4294967295u);
}

TEST_F(SynchroCopyTest, RecordsTheLargestSizeForALargerOne) {
  MakeSparseFile(root_.SystemName("dst/big"), 0x140000005);  // 5 GiB + 5
  SynchroSide made = {};
  EXPECT_EQ(iSynchro_ReadLocalValues(root_.Name("dst/big").c_str(), &made), Error_None);
  EXPECT_EQ(made.size, 4294967295u);
  MakeSparseFile(root_.SystemName("dst/big"), 4294967294u);
  EXPECT_EQ(iSynchro_ReadLocalValues(root_.Name("dst/big").c_str(), &made), Error_None);
  EXPECT_EQ(made.size, 4294967294u);
}

TEST_F(SynchroCopyTest, PutsNoFileInThePlaceOfAFolder) {
  Put("src/a", "file");
  Put("dst/a/inside", "kept");
  Side from(LocalURL("src"));
  Side to(LocalURL("dst"));
  ASSERT_EQ(from.Open(), Error_None);
  ASSERT_EQ(to.Open(), Error_None);
  EXPECT_EQ(Copy(from, to), Error_Exists);
  EXPECT_EQ(Tree("dst"), "a/ a/inside=kept");
}

TEST_F(SynchroCopyTest, LeavesWhatHasTakenAFreePlace_Guarded) {
  Put("src/a", "new");
  Put("dst/a", "precious");
  Side from(LocalURL("src"));
  Side to(LocalURL("dst"));
  ASSERT_EQ(from.Open(), Error_None);
  ASSERT_EQ(to.Open(), Error_None);
  const std::string fromPath = root_.Name("src/a");
  const std::string toPath = root_.Name("dst/a");
  SynchroSide made = {};
  SynchroCopy copy = {from.Get(), to.Get(), fromPath.c_str(), toPath.c_str(), &temporary_, true};
  EXPECT_EQ(iSynchro_CopyFile(copy, &made), Error_Exists);
  EXPECT_EQ(Tree("dst"), "a=precious");
  copy.replaces = true;
  EXPECT_EQ(iSynchro_CopyFile(copy, &made), Error_None);
  EXPECT_EQ(Tree("dst"), "a=new");
}

TEST_F(SynchroCopyTest, EndsACopyThatIsInterrupted) {
  Put("src/a", std::string(70000, 'x'));
  Put("dst/a", "old");
  Side from(LocalURL("src"));
  Side to(LocalURL("dst"));
  ASSERT_EQ(from.Open(), Error_None);
  ASSERT_EQ(to.Open(), Error_None);
  from.Interrupt().Set();
  EXPECT_EQ(Copy(from, to), Error_Cancel);
  EXPECT_EQ(Tree("dst"), "a=old");
}

TEST_F(SynchroCopyTest, ChoosesAnotherTemporary_WhenTheNameIsTaken) {
  Put("src/a", "hello");
  Side from(LocalURL("src"));
  Side to(LocalURL("dst"));
  ASSERT_EQ(from.Open(), Error_None);
  ASSERT_EQ(to.Open(), Error_None);
  ASSERT_EQ(Copy(from, to), Error_None);
  const std::string name = std::string(temporary_.path).substr(std::string(temporary_.folder).size() + 1);
  Put("dst/" + name, "somebody's");
  EXPECT_EQ(Copy(from, to), Error_None);
  EXPECT_EQ(root_.Read("dst/" + name), "somebody's");
  Remove("dst/" + name);
}

// ---- paths -------------------------------------------------------------------------------------

TEST_F(SynchroCopyTest, JoinsPaths) {
  const struct {
    const char* url;
    const char* directory;
    const char* folder;
    const char* entry;
  } rows[] = {
      {"ftp://h/pub", "", "/pub/", "/pub/a"},
      {"ftp://h/pub/", "", "/pub/", "/pub/a"},
      {"ftp://h/pub", "sub", "/pub/sub", "/pub/sub/a"},
      {"ftp://h/pub", ".", "/pub", "/pub/a"},
      {"http://h/", "sub", "/sub", "/sub/a"},
      {"file:///x", "sub/deep", "/x/sub/deep", "/x/sub/deep/a"},
      {"ftp://h", "sub", "sub", "sub/a"},
  };
  for (const auto& row : rows) {
    Side side(row.url);
    char path[1024];
    EXPECT_EQ(iSynchro_FolderPath(*side.Get(), row.directory, path), Error_None);
    EXPECT_STREQ(path, row.folder) << row.url;
    EXPECT_EQ(iSynchro_EntryPath(*side.Get(), row.directory, "a", path), Error_None);
    EXPECT_STREQ(path, row.entry) << row.url;
  }
  Side side("file:///x");
  char path[1024];
  EXPECT_EQ(iSynchro_EntryPath(*side.Get(), std::string(1020, 'd').c_str(), "a", path), Error_Exceed);
  EXPECT_STREQ(path, "");
  Side nowhere("file://");
  EXPECT_EQ(iSynchro_FolderPath(*nowhere.Get(), "", path), Error_Invalid);
}

}  // namespace
