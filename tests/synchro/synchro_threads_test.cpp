// A run that others watch and stop from their own threads.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/synchro/synchro_fixture.h"

namespace {

class SynchroThreadsTest : public synchro::Test {
 protected:
  Synchro* Start(const char* name, int32_t isGuarded) {
    Synchro* synchro = nullptr;
    EXPECT_EQ(Synchro_New(name, SynchroFlag_Recurse | 3, FileURL("src").c_str(),
                          FileURL("dst-" + std::string(name)).c_str(), &synchro),
              Error_None);
    EXPECT_EQ(Synchro_SetGuarded(synchro, isGuarded), Error_None);
    EXPECT_EQ(Synchro_Go(synchro), Error_None);
    return synchro;
  }
};

TEST_F(SynchroThreadsTest, MayBeWatchedAndStoppedFromOtherThreads) {
  for (int i = 0; i < 20; ++i) Put("src/sub/" + std::to_string(i), std::to_string(i));
  for (int round = 0; round < 6; ++round) {
    Synchro* const runs[] = {Start("one", 0), Start("two", 1)};
    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
    for (Synchro* const run : runs) {
      threads.emplace_back([&, run] {
        uint32_t counters[SynchroCounter_Count];
        while (!isOver) {
          const int32_t state = Synchro_Status(run, counters);
          EXPECT_TRUE(state >= SynchroState_Running && state <= SynchroState_Finished) << state;
          EXPECT_LE(counters[SynchroCounter_CopiedToDestination], 20u);
        }
      });
      threads.emplace_back([run, round] {
        std::this_thread::sleep_for(std::chrono::milliseconds(3 * round));
        EXPECT_EQ(Synchro_Stop(run), Error_None);
      });
    }
    for (Synchro* const run : runs) {
      while (Synchro_Status(run, nullptr) == SynchroState_Running) std::this_thread::yield();
    }
    isOver = true;
    for (std::thread& thread : threads) thread.join();
    for (Synchro* const run : runs) Synchro_Delete(run);
  }
  for (const char* const name : {"one", "two"}) {
    Synchro* const run = Start(name, 1);
    Wait(run);
    Synchro_Delete(run);
    EXPECT_EQ(Tree("dst-" + std::string(name)), Tree("src")) << name;
  }
}

}  // namespace
