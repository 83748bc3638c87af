// Pipes in the folders of a guarded run.
#include <sys/stat.h>

#include "tests/synchro/synchro_fixture.h"

namespace {

using synchro::Lines;
using synchro::Outcome;

class SynchroSpecialTest : public synchro::Test {};

TEST_F(SynchroSpecialTest, LeavesPipes) {
  Put("src/a", "1");
  Put("dst/other", "1");
  ASSERT_EQ(mkfifo(root_.SystemName("src/pipe").c_str(), 0600), 0);
  ASSERT_EQ(mkfifo(root_.SystemName("src/both").c_str(), 0600), 0);
  ASSERT_EQ(mkfifo(root_.SystemName("dst/both").c_str(), 0600), 0);
  Synchro* const synchro =
      New(SynchroFlag_ToDestination | SynchroFlag_ToSource, FileURL("src"), FileURL("dst"));
  ASSERT_NE(synchro, nullptr);
  Synchro_SetGuarded(synchro, 1);
  const Outcome outcome = Go(synchro);
  Synchro_Delete(synchro);
  EXPECT_EQ(outcome.counters, "0 1 0 1 0");
  EXPECT_FALSE(root_.Exists("dst/pipe"));
  struct stat status;
  ASSERT_EQ(stat(root_.SystemName("dst/both").c_str(), &status), 0);
  EXPECT_TRUE(S_ISFIFO(status.st_mode));
}

}  // namespace
