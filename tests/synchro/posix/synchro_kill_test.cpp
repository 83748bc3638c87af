// Guarded runs that are killed (SIGKILL) at random moments. QZ_SYNCHRO_KILLS: their number.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <random>
#include <string>

#include "tests/synchro/synchro_fixture.h"
#include "tests/synchro/synchro_moment.h"
#include "tests/synchro/synchro_sequences.h"

namespace {

using synchro::Moment;
using synchro::Outcome;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kTwoWayAndDelete = SynchroFlag_Recurse | 15;

int NumberOfKills() {
  const char* const text = getenv("QZ_SYNCHRO_KILLS");
  return text != nullptr ? atoi(text) : 25;
}

class SynchroKillTest : public synchro::Test {
 protected:
  Outcome Guarded() { return RunLocalGuarded(kTwoWayAndDelete); }

  // A run in a process of its own. True when it came to its end.
  bool RunAndKill(std::chrono::microseconds after) {
    const pid_t child = fork();
    EXPECT_GE(child, 0);
    if (child == 0) {
      Guarded();
      _exit(0);
    }
    if (after.count() >= 0) {
      usleep(static_cast<useconds_t>(after.count()));
      kill(child, SIGKILL);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status);
  }

  std::chrono::microseconds TimeOfARun() {
    const auto start = Clock::now();
    EXPECT_TRUE(RunAndKill(std::chrono::microseconds(-1)));
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
  }

  // Both sides in step but for new, changed and deleted files on both.
  void MakeTrees() {
    for (const char* const name : {"keep", "edited", "gone", "sub/edited", "sub/gone"})
      Put("src/" + std::string(name), "first " + std::string(name));
    Guarded();
    Put("src/edited", "second", 1200000000);
    Put("dst/sub/edited", "third", 1200000000);
    Remove("src/gone");
    Remove("dst/sub/gone");
    Put("src/big", std::string(300000, 'b'));
    Put("src/new", "new");
    Put("dst/sub/new", "newer");
    Put("dst/deep/er/new", "newest");
  }

  static bool EndsWith(const std::string& name, const char* ending) { return name.ends_with(ending); }
};

TEST_F(SynchroKillTest, ComesToTheSameEnd_WhereverItWasKilled) {
  MakeTrees();
  const std::vector<std::filesystem::path> folders = {CachePath(), root_.SystemName("src"),
                                                      root_.SystemName("dst")};
  const Moment start(root_.SystemName("start"), folders);
  const auto whole = TimeOfARun();
  const std::string source = Tree("src");
  const std::string destination = Tree("dst");
  ASSERT_EQ(source, destination);
  ASSERT_EQ(source, "big=" + std::string(300000, 'b') +
                        " deep/ deep/er/ deep/er/new=newest edited=second keep=first keep new=new sub/ "
                        "sub/edited=third sub/new=newer");
  std::mt19937 random(20);
  int killed = 0;
  for (int i = 0; i < NumberOfKills(); ++i) {
    start.Restore();
    const auto after = std::chrono::microseconds(random() % static_cast<uint64_t>(whole.count()));
    SCOPED_TRACE("kill " + std::to_string(i) + " after " + std::to_string(after.count()) + " us");
    killed += RunAndKill(after) ? 0 : 1;
    EXPECT_EQ(Guarded().state, SynchroState_Finished);
    ASSERT_EQ(Tree("src"), source);
    ASSERT_EQ(Tree("dst"), destination);
    ASSERT_EQ(Guarded().counters, "0 0 0 0 0");
    for (const std::string& name : CacheNames())
      ASSERT_FALSE(EndsWith(name, ".done") || EndsWith(name, ".xfer")) << name;
  }
  EXPECT_GT(killed, NumberOfKills() / 4);
}

// ---- random sequences --------------------------------------------------------------------------

class SynchroKillRandomTest : public synchro::Sequences {
 protected:
  void RunKilled() override {
    const auto after = static_cast<useconds_t>(random_() % 12000);
    Check([&] {
      const pid_t child = fork();
      ASSERT_GE(child, 0);
      if (child == 0) {
        Guarded();
        _exit(0);
      }
      usleep(after);
      kill(child, SIGKILL);
      ASSERT_EQ(waitpid(child, nullptr, 0), child);
    });
  }
};

TEST_F(SynchroKillRandomTest, LosesNoFileThatTheGuardsProtect) {
  Play(NumberOfSequences(24));
}

}  // namespace
