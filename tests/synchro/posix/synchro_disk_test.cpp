// Runs on disks that are full, and folders that may not be read or written.
#include "synchro/synchro_side_internal.h"
#include "tests/support/error_capture.h"
#include "tests/support/file_system.h"
#include "tests/support/no_descriptors.h"
#include "tests/synchro/synchro_fixture.h"

namespace {

using synchro::Lines;
using synchro::Outcome;

class SynchroDiskTest : public synchro::Test {};

TEST_F(SynchroDiskTest, KeepsTheOldFile_WhenTheDiskIsFull) {
  Put("src/a", std::string(200000, 'x'));
  Put("dst/a", "old");
  WriteTable("a:0:True:False:3:1.0:True:False:3:1000000000.0\n");
  Outcome outcome;
  {
    const DiskLimit limit(100000);
    outcome = RunLocal(1);
  }
  EXPECT_EQ(FileLines(outcome), Lines{"file > file:  a  -> Exceed"});
  EXPECT_EQ(Tree("dst"), "a=old");
  EXPECT_EQ(RunLocal(1).counters, "0 0 0 1 0") << "the state stays until it is done";
}

TEST_F(SynchroDiskTest, FailsAFolderThatIsShown_WhenItMayNotBeRead) {
  Put("src/sub/a", "a");
  std::string url = FileURL("src");
  SynchroConnection side = {};
  ASSERT_EQ(URL_ToData(url.data(), &side.url), Error_None);
  ASSERT_EQ(iSynchro_OpenSide(&side), Error_None);
  const std::string list = root_.Name("list");
  const Unlistable closed(root_.SystemName("src/sub"));
  bool isEmpty = false;
  EXPECT_EQ(iSynchro_ListFolder(&side, "sub", false, true, list.c_str(), &isEmpty), Error_NoAccess);
  EXPECT_EQ(iSynchro_ListFolder(&side, "sub", true, true, list.c_str(), &isEmpty), Error_NoAccess);
  EXPECT_EQ(iSynchro_ListFolder(&side, "sub", false, false, list.c_str(), &isEmpty), Error_None);
  EXPECT_TRUE(isEmpty);
  EXPECT_EQ(iSynchro_ListFolder(&side, "missing", false, true, list.c_str(), &isEmpty), Error_None);
  EXPECT_TRUE(isEmpty);
}

TEST_F(SynchroDiskTest, FailsAFolder_WhenDescriptorsRunOut) {
  Put("src/sub/a", "a");
  std::string url = FileURL("src");
  SynchroConnection side = {};
  ASSERT_EQ(URL_ToData(url.data(), &side.url), Error_None);
  ASSERT_EQ(iSynchro_OpenSide(&side), Error_None);
  const std::string list = root_.Name("list");
  bool isEmpty = false;
  ErrorCode status = Error_None;
  {
    const NoDescriptorsLeft none;
    status = iSynchro_ListFolder(&side, "sub", false, false, list.c_str(), &isEmpty);
  }
  EXPECT_EQ(status, Error_Memory);
  EXPECT_FALSE(isEmpty);
}

TEST_F(SynchroDiskTest, LeavesOutAFileWhosePathIsTooLong) {
  const std::string part(200, 'p');
  const std::string folder = part + "/" + part + "/" + part + "/" + part;
  const std::string name(1000 - folder.size() - root_.Name("src").size(), 'n');
  Put("src/" + folder + "/" + name, "a");
  Put("src/" + folder + "/short", "s");
  const std::string longer = std::string(30, 'd');
  const ErrorCapture capture;
  const Outcome outcome = Run(SynchroFlag_Recurse | 1, FileURL("src"), FileURL(longer));
  EXPECT_EQ(outcome.counters, "0 0 0 1 0");
  EXPECT_EQ(capture.Lines(), Lines{"#### Error: Synchro: the path of \"" + name + "\" is too long\n"});
}

TEST_F(SynchroDiskTest, LeavesOutDirectoriesThatAreTooDeep) {
  std::string deep = "src";
  for (int i = 0; i < 130; ++i) deep += "/d";
  Put(deep + "/a", "a");
  Put("src/b", "b");
  const ErrorCapture capture;
  const Outcome outcome = RunLocal(SynchroFlag_Recurse | 1);
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_EQ(outcome.counters, "0 0 0 1 0");
  EXPECT_EQ(std::count_if(outcome.lines.begin(), outcome.lines.end(),
                          [](const std::string& line) { return line.starts_with("Pushed"); }),
            128);
  std::string parent = "d";
  for (int i = 1; i < 127; ++i) parent += "/d";
  EXPECT_EQ(capture.Lines(), Lines{"#### Error: Synchro: \"d\" of \"" + parent + "\" is too deep\n"});
}

TEST_F(SynchroDiskTest, LeavesOutPathsThatAreTooLong) {
  const std::string part(200, 'p');
  const std::string five = part + "/" + part + "/" + part + "/" + part + "/" + part;
  Put("src/" + five.substr(0, 4 * 201) + "short", "s");
  Put("src/" + five + "/a", "a");
  const ErrorCapture capture;
  const Outcome outcome = RunLocal(SynchroFlag_Recurse | 1);
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_EQ(outcome.counters, "0 0 0 1 0");
  EXPECT_EQ(std::count(outcome.lines.begin(), outcome.lines.end(), "* Retrieval failed: Exceed"), 1);
  EXPECT_TRUE(root_.Exists("dst/" + five.substr(0, 4 * 201) + "short"));
  EXPECT_FALSE(root_.Exists("dst/" + five));
  EXPECT_EQ(capture.Lines(), Lines{});
}

TEST_F(SynchroDiskTest, KeepsALinkToADirectoryAndItsFiles) {
  Put("elsewhere/kept", "k");
  std::filesystem::create_directory_symlink(root_.SystemName("elsewhere"), root_.SystemName("dst/link"));
  const Outcome outcome = RunLocal(9);
  EXPECT_EQ(FileLines(outcome), Lines{"file > file:  link DELETE -> Invalid"});
  EXPECT_EQ(Tree("elsewhere"), "kept=k");
}

TEST_F(SynchroDiskTest, LeavesLinksAndNamesThatATableCannotHold_Guarded) {
  Put("elsewhere/kept", "k");
  Put("src/x -> y", "1");
  std::filesystem::create_directory_symlink(root_.SystemName("elsewhere"), root_.SystemName("src/folder"));
  std::filesystem::create_symlink(root_.SystemName("elsewhere/kept"), root_.SystemName("src/file"));
  std::filesystem::create_symlink("nowhere", root_.SystemName("src/dangling"));
  Put("dst/file", "other");
  for (const char* const name : {"a:b", " a", "a ", "a\tb", "a\nb", "a\\b"})
    synchro::WriteAll(root_.SystemName("src") / name, "odd");
  for (int run = 0; run < 2; ++run) {
    Synchro* const synchro = New(SynchroFlag_Recurse | 15, FileURL("src"), FileURL("dst"));
    ASSERT_NE(synchro, nullptr);
    EXPECT_EQ(Synchro_SetGuarded(synchro, 1), Error_None);
    const Outcome outcome = Go(synchro);
    Synchro_Delete(synchro);
    Lines expected = {"file = file:  dangling  -> Invalid", "file = file:  file  -> Invalid",
                      "file = file:  folder  -> Invalid",
                      run == 0 ? "file > file:  x -> y  -> None" : "file = file:  x -> y  -> None"};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(FileLines(outcome), expected);
    EXPECT_EQ(std::count_if(outcome.lines.begin(), outcome.lines.end(),
                            [](const std::string& line) { return line.starts_with("* Left: "); }),
              6);
    EXPECT_EQ(Tree("dst"), "file=other x -> y=1");
    EXPECT_EQ(Tree("elsewhere"), "kept=k");
  }
}

}  // namespace
