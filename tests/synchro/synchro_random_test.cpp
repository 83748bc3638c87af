// Random edits of two small trees and runs between them: what must hold after each run, whatever was done.
#include <map>
#include <random>
#include <string>

#include "tests/synchro/synchro_fixture.h"

namespace {

using synchro::Outcome;
using Files = std::map<std::string, std::string>;

constexpr uint32_t kRecurse = SynchroFlag_Recurse;
constexpr int kSequences = 6;
constexpr int kEdits = 30;

class SynchroRandomTest : public synchro::Test {
 protected:
  Files FilesOf(const std::string& side) const {
    Files found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root_.SystemName(side))) {
      if (entry.is_regular_file())
        found[std::filesystem::relative(entry.path(), root_.SystemName(side)).generic_string()] =
            synchro::ReadAll(entry.path());
    }
    return found;
  }

  void Clear() {
    for (const char* const side : {"src", "dst"}) {
      Remove(side);
      root_.MakeDirectory(side);
    }
    for (const std::string& name : CacheNames()) std::filesystem::remove_all(CachePath(name));
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

// ---- guarded runs ------------------------------------------------------------------------------

// A file that was edited on a side since both had it, or that both never had, stays there as it is.
class SynchroGuardedRandomTest : public SynchroRandomTest {
 protected:
  Outcome Guarded(uint32_t flags) {
    Synchro* const synchro = New(kRecurse | flags, FileURL("src"), FileURL("dst"));
    EXPECT_EQ(Synchro_SetGuarded(synchro, 1), Error_None);
    const Outcome outcome = Go(synchro);
    Synchro_Delete(synchro);
    return outcome;
  }

  void LoseTables() {
    for (const std::string& name : CacheNames()) std::filesystem::remove_all(CachePath(name));
    inStep_.clear();
  }

  // The folder is not mounted while a run takes place.
  void RunWithout(const std::string& side, uint32_t flags) {
    const std::string other = side == "src" ? "dst" : "src";
    const Files before = FilesOf(other);
    std::filesystem::rename(root_.SystemName(side), root_.SystemName("away"));
    root_.MakeDirectory(side);
    const Outcome outcome = Guarded(flags);
    if (outcome.state == SynchroState_Failed) {
      EXPECT_EQ(FilesOf(other), before);
      EXPECT_EQ(FilesOf(side), Files{});
    }
    for (const auto& [name, text] : before) EXPECT_TRUE(FilesOf(other).contains(name)) << name;
    NoteInStep();
    Remove(side);
    std::filesystem::rename(root_.SystemName("away"), root_.SystemName(side));
  }

  void CheckedRun(uint32_t flags) {
    const std::map<std::string, Files> before = {{"src", FilesOf("src")}, {"dst", FilesOf("dst")}};
    Guarded(flags);
    const std::map<std::string, Files> after = {{"src", FilesOf("src")}, {"dst", FilesOf("dst")}};
    for (const char* const side : {"src", "dst"}) {
      for (const auto& [name, text] : before.at(side)) {
        if (inStep_.contains(name) && inStep_.at(name) == text) continue;
        EXPECT_TRUE(after.at(side).contains(name) && after.at(side).at(name) == text) << side << " " << name;
      }
    }
    NoteInStep();
  }

  // What both have now is in step; what neither has is forgotten.
  void NoteInStep() {
    const Files source = FilesOf("src");
    const Files destination = FilesOf("dst");
    for (const auto& [name, text] : source) {
      if (destination.contains(name) && destination.at(name) == text) inStep_[name] = text;
    }
    std::erase_if(inStep_, [&](const auto& known) {
      return !source.contains(known.first) && !destination.contains(known.first);
    });
  }

  Files inStep_;
};

TEST_F(SynchroGuardedRandomTest, LosesNoFileThatTheGuardsProtect) {
  uint64_t actions = 0;
  for (const uint32_t flags : {1u, 9u, 2u, 6u, 3u, 15u}) {
    for (uint32_t sequence = 0; sequence < 5; ++sequence) {
      SCOPED_TRACE(std::to_string(flags) + " " + std::to_string(sequence));
      std::mt19937 random(sequence);
      Clear();
      inStep_.clear();
      for (int edit = 0; edit < 40; ++edit) {
        Edit(&random, random() % 2 == 0 ? "src" : "dst");
        if (random() % 3 != 0) continue;
        if (random() % 12 == 0) LoseTables();
        if (random() % 8 == 0) RunWithout(random() % 2 == 0 ? "src" : "dst", flags);
        CheckedRun(flags);
        ASSERT_FALSE(HasFailure()) << "edit " << edit;
        const Outcome rest = Guarded(flags);
        ASSERT_EQ(rest.counters, "0 0 0 0 0") << "edit " << edit;
        ++actions;
      }
    }
  }
  EXPECT_GT(actions, 200u);
}

}  // namespace
