// Runs on disks that are full, and folders that may not be read or written.
#include "tests/support/error_capture.h"
#include "tests/support/file_system.h"
#include "tests/synchro/synchro_fixture.h"

namespace {

using synchro::Lines;
using synchro::Outcome;

class SynchroDiskTest : public synchro::Test {
 protected:
  static bool Has(const Outcome& outcome, const std::string& line) {
    return std::find(outcome.lines.begin(), outcome.lines.end(), line) != outcome.lines.end();
  }
};

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

TEST_F(SynchroDiskTest, FailsAFolderThatItsParentShows_WhenItMayNotBeRead) {
  Put("src/sub/a", "a");
  EXPECT_EQ(RunLocal(SynchroFlag_Recurse | 9).counters, "0 0 0 1 0");
  Outcome outcome;
  {
    const Unlistable closed(root_.SystemName("src/sub"));
    outcome = RunLocal(SynchroFlag_Recurse | 9);
  }
  EXPECT_TRUE(Has(outcome, "* Retrieval failed: No Access"));
  EXPECT_EQ(outcome.counters, "0 0 0 0 0");
  EXPECT_EQ(Tree("dst"), "sub/ sub/a=a");
}

TEST_F(SynchroDiskTest, FailsARootThatMayNotBeRead_WhenTheTableKnowsFilesThere) {
  Put("src/a", "a");
  RunLocal(9);
  Outcome outcome;
  {
    const Unlistable closed(root_.SystemName("src"));
    outcome = RunLocal(9);
  }
  EXPECT_EQ(outcome.lines.back(), "* Retrieval failed: No Access");
  EXPECT_EQ(Tree("dst"), "a=a");
}

TEST_F(SynchroDiskTest, TellsThatATargetMayNotBeWritten) {
  Put("src/a", "new");
  Put("dst/a", "old");
  WriteTable("a:0:True:False:3:1.0:True:False:3:1000000000.0\n");
  Outcome outcome;
  {
    const WriteProtection closed(root_.SystemName("dst"));
    outcome = RunLocal(1);
  }
  EXPECT_EQ(outcome.counters, "0 0 0 0 0");
  EXPECT_EQ(Tree("dst"), "a=old");
  EXPECT_EQ(RunLocal(1).counters, "0 0 0 1 0");
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
  EXPECT_TRUE(root_.Exists("dst/" + five.substr(0, 4 * 201) + "short"));
  EXPECT_FALSE(root_.Exists("dst/" + five));
}

TEST_F(SynchroDiskTest, KeepsALinkToADirectoryAndItsFiles) {
  Put("elsewhere/kept", "k");
  std::filesystem::create_directory_symlink(root_.SystemName("elsewhere"), root_.SystemName("dst/link"));
  const Outcome outcome = RunLocal(9);
  EXPECT_EQ(FileLines(outcome), Lines{"file > file:  link DELETE -> Invalid"});
  EXPECT_EQ(Tree("elsewhere"), "kept=k");
}

}  // namespace
