// Runs on disks that are full, and folders that may not be read or written.
#include "synchro/synchro_copy_internal.h"
#include "synchro/synchro_side_internal.h"
#include "synchro/synchro_testing.h"
#include "tests/support/error_capture.h"
#include "tests/support/file_system.h"
#include "tests/support/no_descriptors.h"
#include "tests/synchro/synchro_fixture.h"

namespace {

using synchro::Lines;
using synchro::Outcome;

constexpr uint32_t kTwoWay = 3;

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
  for (const bool mayCreate : {false, true}) {
    EXPECT_EQ(iSynchro_ListFolder(&side, "missing", mayCreate, true, list.c_str(), &isEmpty), Error_NoAccess);
    EXPECT_FALSE(isEmpty);
    EXPECT_FALSE(root_.Exists("src/missing")) << "its parent's listing has shown it";
  }
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
    const Outcome outcome = RunLocalGuarded(SynchroFlag_Recurse | 15);
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

// ---- folders that contain themselves -----------------------------------------------------------

TEST_F(SynchroDiskTest, LeavesOutAFolderThatLeadsBackIntoItself) {
  Put("src/sub/a", "a");
  std::filesystem::create_directory_symlink(root_.SystemName("src/sub"), root_.SystemName("src/sub/again"));
  std::filesystem::create_directory_symlink(root_.SystemName("src"), root_.SystemName("src/sub/root"));
  std::filesystem::create_directory_symlink(root_.SystemName("src/sub"), root_.SystemName("src/twice"));
  const ErrorCapture capture;
  const Outcome outcome = RunLocal(SynchroFlag_Recurse | 1);
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_EQ(Tree("dst"), "sub/ sub/a=a twice/ twice/a=a") << "a folder in two places is entered twice";
  Lines reports = capture.Lines();
  std::sort(reports.begin(), reports.end());
  EXPECT_EQ(reports, (Lines{"#### Error: Synchro: \"again\" of \"sub\" leads back into itself\n",
                            "#### Error: Synchro: \"again\" of \"twice\" leads back into itself\n",
                            "#### Error: Synchro: \"root\" of \"sub\" leads back into itself\n",
                            "#### Error: Synchro: \"root\" of \"twice\" leads back into itself\n"}));
}

TEST_F(SynchroDiskTest, EntersSoManyDirectoriesOnly) {
  for (const char* const name : {"src/a/x", "src/b/x", "src/c/x"}) Put(name, "x");
  iSynchro_SetMostDirectories(3);
  const ErrorCapture capture;
  const Outcome outcome = RunLocal(SynchroFlag_Recurse | 1);
  iSynchro_SetMostDirectories(0);
  EXPECT_EQ(outcome.counters, "0 0 0 2 0");
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_TRUE(capture.Lines()[0].ends_with(" of \"\" is one too many\n")) << capture.Lines()[0];
  EXPECT_EQ(RunLocal(SynchroFlag_Recurse | 1).counters, "0 0 0 1 0") << "each run counts anew";
}

// ---- permissions -------------------------------------------------------------------------------

TEST_F(SynchroDiskTest, KeepsThePermissionsOfAFileThatItReplaces) {
  using std::filesystem::perms;
  Put("src/a", "new");
  Put("src/b", "new");
  Put("dst/a", "old");
  WriteTable("a:0:True:False:3:1.0:True:False:3:1000000000.0\n");
  // Neither what a new file has nor what a temporary one has.
  const perms permissions = perms::owner_read | perms::owner_write | perms::group_write;
  std::filesystem::permissions(root_.SystemName("dst/a"), permissions);
  EXPECT_EQ(RunLocal(1).counters, "0 0 0 2 0");
  EXPECT_EQ(Tree("dst"), "a=new b=new");
  EXPECT_EQ(std::filesystem::status(root_.SystemName("dst/a")).permissions(), permissions);
  EXPECT_NE(std::filesystem::status(root_.SystemName("dst/b")).permissions() & perms::group_read,
            perms::none);
}

// ---- names that the system does not take -------------------------------------------------------

TEST_F(SynchroDiskTest, FailsAFolderWhoseNameTheSystemRefuses) {
  Put("dst/a", "a");
  for (const bool isRoot : {true, false}) {
    const std::string longName(300, 'n');
    std::string url = isRoot ? FileURL("src/" + longName) : FileURL("src");
    SynchroConnection side = {};
    ASSERT_EQ(URL_ToData(url.data(), &side.url), Error_None);
    ASSERT_EQ(iSynchro_OpenSide(&side), Error_None);
    bool isEmpty = false;
    EXPECT_EQ(iSynchro_ListFolder(&side, isRoot ? "" : longName.c_str(), false, false,
                                  root_.Name("list").c_str(), &isEmpty),
              Error_Invalid);
    EXPECT_FALSE(isEmpty);
  }
}

// ---- what a killed run has left ----------------------------------------------------------------

TEST_F(SynchroDiskTest, FailsTheRun_WhenItCannotKnowWhatAKilledOneHasLeft) {
  Put("dst/xfer7", "half");
  std::filesystem::create_directory(CachePath("t.xfer"));
  const Outcome outcome = RunLocal(kTwoWay);
  EXPECT_EQ(outcome.state, SynchroState_Failed);
  EXPECT_EQ(Tree("src"), "") << "the leftover is no file to be copied";
  EXPECT_TRUE(std::filesystem::is_directory(CachePath("t.xfer")));
}

TEST_F(SynchroDiskTest, RemembersWhatItCannotRemove) {
  Put("dst/sub/xfer7", "half");
  const std::string path = root_.Name("dst/sub/xfer7");
  synchro::WriteAll(CachePath("t.xfer"), path + "\n");
  SynchroTemporary temporary = {};
  {
    const WriteProtection folder(root_.SystemName("dst/sub"));
    EXPECT_EQ(iSynchro_BeginTemporaries(nullptr, "t", true, &temporary), Error_None);
  }
  char ownName[kFileNameSize] = "x";
  EXPECT_TRUE(iSynchro_IsLeftover(temporary, path.c_str(), ownName));
  EXPECT_STREQ(ownName, "");
  EXPECT_FALSE(iSynchro_IsLeftover(temporary, (path + "7").c_str(), ownName));
  EXPECT_EQ(iSynchro_ChooseTemporary(root_.Name("dst/a").c_str(), &temporary), Error_None);
  EXPECT_EQ(synchro::ReadAll(CachePath("t.xfer")), path + "\n" + temporary.path + "\n");
  iSynchro_EndTemporaries(&temporary);
  EXPECT_EQ(synchro::ReadAll(CachePath("t.xfer")), path + "\n");
  EXPECT_EQ(iSynchro_BeginTemporaries(nullptr, "t", true, &temporary), Error_None);
  EXPECT_EQ(Tree("dst"), "sub/");
  EXPECT_FALSE(std::filesystem::exists(CachePath("t.xfer")));
}

// ---- case --------------------------------------------------------------------------------------

TEST_F(SynchroDiskTest, TellsNamesApartByCase) {
  for (const char* const name : {"a", "A", "sub/x", "Sub/x"}) Put("src/" + std::string(name), name);
  EXPECT_EQ(RunLocal(SynchroFlag_Recurse | 9).counters, "0 0 0 4 0");
  EXPECT_EQ(RunLocal(SynchroFlag_Recurse | 9).counters, "0 0 0 0 0");
  EXPECT_NE(TableName("sub"), TableName("Sub"));
  Put("src/A", "new", 1200000000);
  EXPECT_EQ(RunLocal(SynchroFlag_Recurse | 9).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "A=new Sub/ Sub/x=Sub/x a=a sub/ sub/x=sub/x");
}

}  // namespace
