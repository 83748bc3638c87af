// Runs on disks that are full, and folders that may not be read or written.
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

TEST_F(SynchroDiskTest, KeepsALinkToADirectoryAndItsFiles) {
  Put("elsewhere/kept", "k");
  std::filesystem::create_directory_symlink(root_.SystemName("elsewhere"), root_.SystemName("dst/link"));
  const Outcome outcome = RunLocal(9);
  EXPECT_EQ(FileLines(outcome), Lines{"file > file:  link DELETE -> Invalid"});
  EXPECT_EQ(Tree("elsewhere"), "kept=k");
}

}  // namespace
