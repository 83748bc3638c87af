// Random edits of two small trees and runs between them: what must hold after each run, whatever was done.
#include <map>
#include <random>
#include <string>

#include "tests/synchro/synchro_fixture.h"

namespace {

using synchro::kRecurse;
using synchro::Outcome;
using Files = std::map<std::string, std::string>;

constexpr int kSequences = 4;
constexpr int kEdits = 24;

class SynchroRandomTest : public synchro::Test {
 protected:
  void Clear() {
    EmptyTrees();
    ForgetTables();
  }

  // A new or changed file, or one that goes. No two edits have one time or one text.
  void Edit(std::mt19937* random, const std::string& side) {
    const std::string names[] = {"a", "b", "c", "sub/a", "sub/b", "other/deep/c"};
    const std::string name = side + "/" + names[(*random)() % std::size(names)];
    if ((*random)() % 3 == 0) {
      if (root_.Exists(name)) Remove(name);
    } else {
      ++moment_;
      Put(name, "text " + std::to_string(moment_), 1000000000 + moment_);
    }
  }

  template <typename Check>
  void Play(uint32_t flags, Check check) {
    for (int sequence = 0; sequence < kSequences; ++sequence) {
      std::mt19937 random(static_cast<uint32_t>(sequence));
      Clear();
      for (int edit = 0; edit < kEdits; ++edit) {
        Edit(&random, random() % 2 == 0 ? "src" : "dst");
        if (random() % 4 != 0) continue;
        const Files source = FilesOf("src");
        const Files destination = FilesOf("dst");
        const Outcome outcome = RunLocal(kRecurse | flags);
        ASSERT_EQ(outcome.state, SynchroState_Finished) << sequence << " " << edit;
        check(source, destination);
        ASSERT_FALSE(HasFailure()) << "sequence " << sequence << ", edit " << edit;
        ASSERT_EQ(RunLocal(kRecurse | flags).counters, "0 0 0 0 0") << "at rest: " << sequence << " " << edit;
      }
    }
  }

  int moment_ = 0;
};

TEST_F(SynchroRandomTest, LeavesTheSourceAlone_InTheDirectionOfTheDestination) {
  Play(SynchroFlag_ToDestination, [&](const Files& source, const Files& destination) {
    EXPECT_EQ(FilesOf("src"), source);
    const Files now = FilesOf("dst");
    for (const auto& [name, text] : source) EXPECT_TRUE(now.contains(name)) << name;
    for (const auto& [name, text] : destination)
      EXPECT_TRUE(now.contains(name)) << "nothing is deleted: " << name;
  });
}

TEST_F(SynchroRandomTest, LeavesTheDestinationAlone_InTheDirectionOfTheSource) {
  Play(SynchroFlag_ToSource, [&](const Files& source, const Files& destination) {
    EXPECT_EQ(FilesOf("dst"), destination);
    const Files now = FilesOf("src");
    for (const auto& [name, text] : destination) EXPECT_TRUE(now.contains(name)) << name;
    for (const auto& [name, text] : source) EXPECT_TRUE(now.contains(name)) << "nothing is deleted: " << name;
  });
}

TEST_F(SynchroRandomTest, DeletesNothing_BothWays) {
  Play(SynchroFlag_ToDestination | SynchroFlag_ToSource, [&](const Files& source, const Files& destination) {
    for (const char* const side : {"src", "dst"}) {
      const Files now = FilesOf(side);
      for (const auto& [name, text] : source) EXPECT_TRUE(now.contains(name)) << side << " " << name;
      for (const auto& [name, text] : destination) EXPECT_TRUE(now.contains(name)) << side << " " << name;
      for (const auto& [name, text] : now) {
        const bool isKnown = (source.contains(name) && source.at(name) == text) ||
                             (destination.contains(name) && destination.at(name) == text);
        EXPECT_TRUE(isKnown) << "no file is made up: " << name;
      }
    }
  });
}

}  // namespace
