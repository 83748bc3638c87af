// FTP URLs that name directories, or whose directory cannot be entered.
#include "tests/transfer/ftp_trace.h"

using namespace script;

namespace transfer {
namespace {

class FTPDirectory : public FTPTransferTest {
 protected:
  // A server that is asked for mirrors of this path, and then plays a script.
  static Script AfterMirrors(const std::string& path, const Script& rest) {
    return ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors(path), rest});
  }
  // Enters the directory, and gives the lines of that step.
  Lines Enter(TracedTransfer* transfer) {
    transfer->RunToState(5);
    transfer->Take();
    transfer->Idle();
    return transfer->Take();
  }
};

TEST_F(FTPDirectory, EntersTheDirectoryOfTheFile) {
  struct Row {
    const char* path;
    const char* directory;
    const char* name;
  };
  for (const Row& row :
       {Row{"/f.bin", "/", "f.bin"}, Row{"/a/f.bin", "/a", "f.bin"}, Row{"/a/b/c/f.bin", "/a/b/c", "f.bin"},
        Row{"/a//f.bin", "/a/", "f.bin"}, Row{"/with space/f g", "/with space", "f g"}}) {
    SCOPED_TRACE(row.path);
    ScriptedServer server(
        {AfterMirrors(row.path, ftp::Join({wire::Enters(row.directory, row.name), ftp::Quit()}))});
    std::string path = row.path;
    for (size_t at = path.find(' '); at != std::string::npos; at = path.find(' ')) path.replace(at, 1, "%20");
    auto download = Get(server, path);
    EXPECT_EQ(Enter(download.get()), rows::kEntered);
  }
}

TEST_F(FTPDirectory, Fails_WhenTheURLNamesADirectory) {
  ScriptedServer server({AfterMirrors(
      "/pub/dir",
      ftp::Join({ftp::Exchange("CWD /pub", "250 ok"), ftp::Exchange("CWD dir", "250 ok"), ftp::Quit()}))});
  auto download = Get(server, "/pub/dir");
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Take(),
            Join({rows::kPrepared,
                  rows::kConnected,
                  rows::kLoggedIn,
                  rows::kNoMirrors,
                  {"Changing directory...", "This item is a directory, not a file.", "Idle: 4, state 0"}}));
  EXPECT_EQ(download->Reason(), 12u);
  EXPECT_EQ(Source(*download), "ftp://u:p@SERVER0/pub/dir/");
  // The transfer's own list keeps the URL, and no mark stands on it.
  EXPECT_EQ(Servers(*download), Lines{"ftp://SERVER0/pub/dir"});
}

TEST_F(FTPDirectory, AddsOneSlashOnly_WhenItFailsAgain) {
  const Script isDirectory = ftp::Join({ftp::Exchange("CWD /pub/dir", "250 ok"), ftp::Quit()});
  ScriptedServer server(
      {AfterMirrors("/pub/dir", ftp::Join({ftp::Exchange("CWD /pub", "250 ok"),
                                           ftp::Exchange("CWD dir", "250 ok"), ftp::Quit()})),
       AfterMirrors("/pub/dir/", isDirectory)});
  auto download = Get(server, "/pub/dir");
  EXPECT_EQ(download->Run(), 4);
  download->Take();
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Take(),
            Join({rows::Reconnects(),
                  rows::kLoggedIn,
                  rows::kNoMirrors,
                  {"Changing directory...", "This item is a directory, not a file.", "Idle: 4, state 0"}}));
  EXPECT_EQ(download->Reason(), 12u);
  EXPECT_EQ(Source(*download), "ftp://u:p@SERVER0/pub/dir/");
}

TEST_F(FTPDirectory, MarksTheServersOwnEntry_WhenItIsDroppedLater) {
  ScriptedServer server(
      {AfterMirrors("/pub/dir", ftp::Join({ftp::Exchange("CWD /pub", "250 ok"),
                                           ftp::Exchange("CWD dir", "250 ok"), ftp::Quit()})),
       AfterMirrors("/pub/dir/", ftp::Join({ftp::Exchange("CWD /pub/dir", "550 gone"), ftp::Quit()}))});
  auto download = Get(server, "/pub/dir");
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(Enter(download.get()), (Lines{"Changing directory...", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 14u);
  EXPECT_EQ(Servers(*download), Lines{"!ftp://SERVER0/pub/dir"});
}

TEST_F(FTPDirectory, Fails_WhenThePathHasNoName) {
  ScriptedServer server(
      {AfterMirrors("/pub/dir/", ftp::Join({ftp::Exchange("CWD /pub/dir", "250 ok"), ftp::Quit()}))});
  auto download = Get(server, "/pub/dir/");
  EXPECT_EQ(Enter(download.get()),
            (Lines{"Changing directory...", "This item is a directory, not a file.", "Idle: 4, state 0"}));
  EXPECT_EQ(download->Reason(), 12u);
  EXPECT_EQ(Source(*download), "ftp://u:p@SERVER0/pub/dir/");
}

TEST_F(FTPDirectory, DropsTheServer_WhenItDoesNotKnowTheDirectory) {
  ScriptedServer server(
      {AfterMirrors("/pub/f.bin", ftp::Join({ftp::Exchange("CWD /pub", "550 no"), ftp::Quit()}))});
  auto download = Get(server);
  // Nothing is said of a denied connection.
  EXPECT_EQ(Enter(download.get()), (Lines{"Changing directory...", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 14u);
  EXPECT_EQ(Servers(*download), Lines{"!ftp://SERVER0/pub/f.bin"});
}

TEST_F(FTPDirectory, TakesAnyRefusalOfTheNameForAFile) {
  for (const char* reply : {"550 no", "500 what?", "421 busy", "350 more?"}) {
    SCOPED_TRACE(reply);
    ScriptedServer server({AfterMirrors(
        "/pub/f.bin",
        ftp::Join({ftp::Exchange("CWD /pub", "250 ok"), ftp::Exchange("CWD f.bin", reply), ftp::Quit()}))});
    auto download = Get(server);
    EXPECT_EQ(Enter(download.get()), rows::kEntered);
  }
}

TEST_F(FTPDirectory, DropsTheServer_WhenItEndsAtTheName) {
  ScriptedServer server({AfterMirrors(
      "/pub/f.bin", ftp::Join({ftp::Exchange("CWD /pub", "250 ok"), {ExpectLine("CWD f.bin"), Close()}}))});
  auto download = Get(server);
  EXPECT_EQ(Enter(download.get()),
            (Lines{"Changing directory...", "Server connection terminated.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 15u);
}

TEST_F(FTPDirectory, SendsNothing_WhenThePathHasALineEnd) {
  struct Row {
    const char* path;
    Script sees;
  };
  for (const Row& row :
       {Row{"/pub/f%0D%0ADELE%20x", ftp::Exchange("CWD /pub", "250 ok")}, Row{"/pub%0Ax/f.bin", Script()}}) {
    SCOPED_TRACE(row.path);
    ScriptedServer server({ftp::Join({wire::GreetsAndLogsIn(), row.sees, ftp::Quit()})});
    auto download = Get(server, row.path);
    download->RunToState(6);
    download->Take();
    download->Idle(2);
    EXPECT_EQ(download->Take(),
              Join({rows::kNoMirrors, {"Changing directory...", "Invalid address.", "Idle: 1, state 0"}}));
    EXPECT_EQ(download->Reason(), 10u);
  }
}

// ---- paths that begin at the login's folder ----------------------------------------------------

TEST_F(FTPDirectory, BeginsAtTheLoginsFolder_WhenPathsAreRelative) {
  struct Row {
    const char* path;
    const char* mirrored;
    const char* directory;  // empty: none is entered
    const char* name;
  };
  for (const Row& row :
       {Row{"/f.bin", "f.bin", "", "f.bin"}, Row{"/pub/f.bin", "pub/f.bin", "pub", "f.bin"},
        Row{"/a/b/f.bin", "a/b/f.bin", "a/b", "f.bin"}, Row{"//etc/motd", "/etc/motd", "/etc", "motd"},
        Row{"/%2Fetc/motd", "/etc/motd", "/etc", "motd"}, Row{"//motd", "/motd", "/", "motd"},
        Row{"/a//f.bin", "a//f.bin", "a/", "f.bin"}}) {
    SCOPED_TRACE(row.path);
    const std::string directory = row.directory;
    const Script entered = directory.empty() ? Script() : ftp::Exchange("CWD " + directory, "250 ok");
    ScriptedServer server({AfterMirrors(
        row.mirrored,
        ftp::Join({entered, ftp::Exchange(std::string("CWD ") + row.name, "550 no"), ftp::Quit()}))});
    auto download = Get(server, row.path);
    EXPECT_EQ(VRXClient_SetRelativePaths(*download, 1), Error_None);
    EXPECT_EQ(Enter(download.get()), rows::kEntered);
  }
  EXPECT_EQ(VRXClient_SetRelativePaths(nullptr, 1), Error_Invalid);
}

TEST_F(FTPDirectory, BeginsAtTheRoot_WhenPathsAreNoLongerRelative) {
  ScriptedServer server({AfterMirrors("/pub/f.bin", ftp::Join({wire::Enters(), ftp::Quit()}))});
  auto download = Get(server);
  EXPECT_EQ(VRXClient_SetRelativePaths(*download, 1), Error_None);
  EXPECT_EQ(VRXClient_SetRelativePaths(*download, 0), Error_None);
  EXPECT_EQ(Enter(download.get()), rows::kEntered);
}

TEST_F(FTPDirectory, EntersTheDirectoryOfAnUpload_WhenPathsAreRelative) {
  struct Row {
    const char* path;
    const char* mirrored;
    const char* directory;  // empty: none is entered
  };
  for (const Row& row : {Row{"/in/", "in/", "in"}, Row{"/x", "x", ""}, Row{"/", ".", ""}, Row{"", ".", ""},
                         Row{"//", "/", "/"}, Row{"//in/", "/in/", "/in"}}) {
    SCOPED_TRACE(row.path);
    const std::string directory = row.directory;
    const Script entered = directory.empty() ? Script() : ftp::Exchange("CWD " + directory, "250 ok");
    ScriptedServer server({AfterMirrors(row.mirrored, ftp::Join({entered, ftp::Quit()}))});
    Name(server);
    source_.Write("f.bin", "0123456789");
    auto upload = NewTransfer();
    ASSERT_EQ(upload->Upload(source_.Name("f.bin"), "ftpu://u:p@" + server.address() + row.path), Error_None);
    EXPECT_EQ(VRXClient_SetRelativePaths(*upload, 1), Error_None);
    EXPECT_EQ(Enter(upload.get()), rows::kEntered);
  }
}

// The URL stays a URL: its path begins with "/".
TEST_F(FTPDirectory, KeepsTheURL_WhenARelativePathNamesADirectory) {
  ScriptedServer server({AfterMirrors("pub", ftp::Join({ftp::Exchange("CWD pub", "250 ok"), ftp::Quit()}))});
  auto download = Get(server, "/pub");
  EXPECT_EQ(VRXClient_SetRelativePaths(*download, 1), Error_None);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Reason(), 12u);
  EXPECT_EQ(Source(*download), "ftp://u:p@SERVER0/pub/");

  ScriptedServer other({AfterMirrors("/pub", ftp::Join({ftp::Exchange("CWD /", "250 ok"),
                                                        ftp::Exchange("CWD pub", "250 ok"), ftp::Quit()}))});
  auto fromRoot = Get(other, "//pub");
  EXPECT_EQ(VRXClient_SetRelativePaths(*fromRoot, 1), Error_None);
  EXPECT_EQ(fromRoot->Run(), 4);
  EXPECT_EQ(Source(*fromRoot), "ftp://u:p@SERVER1//pub/");
}

TEST_F(FTPDirectory, DownloadsFromTheLoginsFolder_WhenPathsAreRelative) {
  ScriptedServer server({AfterMirrors(
      "f.bin",
      ftp::Join({ftp::Exchange("CWD f.bin", "550 no"), ftp::Exchange("TYPE I", "200 ok"), wire::TellsSize(),
                 wire::CanRestart(), wire::StartsRetrieve(), wire::SendsAndQuits()}))});
  auto download = Get(server, "/f.bin");
  EXPECT_EQ(VRXClient_SetRelativePaths(*download, 1), Error_None);
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

// ---- uploads -----------------------------------------------------------------------------------

TEST_F(FTPDirectory, EntersTheDirectoryAlone_WhenAnUploadNamesAFile) {
  ScriptedServer server(
      {AfterMirrors("/pub/x.bin", ftp::Join({ftp::Exchange("CWD /pub", "250 ok"), ftp::Quit()}))});
  auto upload = Put(server);
  EXPECT_EQ(Enter(upload.get()), rows::kEntered);
}

TEST_F(FTPDirectory, EntersTheDirectory_WhenAnUploadNamesOne) {
  struct Row {
    const char* path;
    const char* mirrored;
    const char* directory;
  };
  for (const Row& row : {Row{"/in/", "/in/", "/in"}, Row{"/a/b/", "/a/b/", "/a/b"}, Row{"/x", "/x", "/"},
                         Row{"/", "/", "/"}, Row{"", "/", "/"}}) {
    SCOPED_TRACE(row.path);
    ScriptedServer server({AfterMirrors(
        row.mirrored,
        ftp::Join({ftp::Exchange(std::string("CWD ") + row.directory, "250 ok"), ftp::Quit()}))});
    Name(server);
    source_.Write("f.bin", "0123456789");
    auto upload = NewTransfer();
    // Only URLs for uploads can do without a path.
    ASSERT_EQ(upload->Upload(source_.Name("f.bin"), "ftpu://u:p@" + server.address() + row.path), Error_None);
    EXPECT_EQ(Enter(upload.get()), rows::kEntered);
  }
}

TEST_F(FTPDirectory, DropsTheServer_WhenItDoesNotKnowTheDirectoryOfAnUpload) {
  ScriptedServer server(
      {AfterMirrors("/pub/x.bin", ftp::Join({ftp::Exchange("CWD /pub", "550 no"), ftp::Quit()}))});
  auto upload = Put(server);
  EXPECT_EQ(Enter(upload.get()), (Lines{"Changing directory...", "Idle: 1, state 0"}));
  EXPECT_EQ(upload->Reason(), 14u);
}

}  // namespace
}  // namespace transfer
