// Random edits of two small trees, guarded runs in every mode between them, and mishaps on the way. What must
// hold after each run: a file that was edited on a side since both had it, or that both never had, stays
// there as it is. QZ_SYNCHRO_SEQUENCES: the number of sequences.
#pragma once

#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <string>

#include "os/file/directory_testing.h"
#include "tests/support/file_system.h"
#include "tests/synchro/synchro_fixture.h"

namespace synchro {

using Files = std::map<std::string, std::string>;

class Sequences : public Test {
 protected:
  static constexpr uint32_t kModes[] = {1, 9, 2, 6, 3, 15, 7, 11};
  static constexpr int kEdits = 12;

  static int NumberOfSequences(int usual) {
    const char* const text = getenv("QZ_SYNCHRO_SEQUENCES");
    return text != nullptr ? atoi(text) : usual;
  }

  void TearDown() override {
    iDirectory_SetNextEntry(nullptr);
    Test::TearDown();
  }

  void Play(int sequences) {
    int runs = 0;
    for (int sequence = 0; sequence < sequences; ++sequence) {
      SCOPED_TRACE("sequence " + std::to_string(sequence));
      random_.seed(static_cast<uint32_t>(sequence));
      Clear();
      flags_ = kModes[random_() % std::size(kModes)];
      for (int edit = 0; edit < kEdits; ++edit) {
        SCOPED_TRACE("edit " + std::to_string(edit) + ", flags " + std::to_string(flags_));
        Edit();
        if (random_() % 3 != 0) continue;
        if (random_() % 2 == 0) Mishap();
        CheckedRun();
        ASSERT_FALSE(HasFailure());
        // A root that somebody has emptied ends the run.
        const bool isEmptied = Tree("src").empty() || Tree("dst").empty();
        const std::string atRest = Guarded().counters;
        ASSERT_TRUE(atRest == "0 0 0 0 0" || (isEmptied && atRest == "-3 0 0 0 0")) << atRest;
        ++runs;
      }
    }
    EXPECT_GT(runs, sequences * 2);
  }

  // ---- what a sequence is made of ----------------------------------------------------------------

  // A new or changed file, or one that goes. No two edits have one time or one text.
  void Edit() {
    const std::string names[] = {"a", "b", "c", "sub/a", "sub/b", "other/deep/c"};
    const std::string below = names[random_() % std::size(names)];
    const std::string name = (random_() % 2 == 0 ? "src/" : "dst/") + below;
    edited_.insert(below);
    if (random_() % 3 == 0) {
      if (root_.Exists(name)) Remove(name);
    } else {
      ++moment_;
      Put(name, "text " + std::to_string(moment_), 1000000000 + moment_);
    }
  }

  void Mishap() {
    const std::string side = random_() % 2 == 0 ? "src" : "dst";
    switch (random_() % 8) {
      case 0:
        return LoseTables();
      case 1:
        return RunWithout(side);
      case 2:
        return RunCut(SetReadError);
      case 3:
        return RunCut(SetNoAccess);
      case 4:
        return MoveByAnHour(side);
      case 5:
        flags_ = kModes[random_() % std::size(kModes)];
        return;
      case 6:
        return RunKilled();
      default:
        return RunWithAnEdit();
    }
  }

  Outcome Guarded() { return RunLocalGuarded(SynchroFlag_Recurse | flags_); }

  // ---- mishaps -----------------------------------------------------------------------------------

  // Without what a killed run has left.
  Files FilesOf(const std::string& side) const {
    Files found = Test::FilesOf(side);
    std::erase_if(found, [](const auto& file) {
      return file.first.substr(file.first.rfind('/') + 1).starts_with("xfer");
    });
    return found;
  }

  void LoseTables() {
    ForgetTables();
    inStep_.clear();
  }

  // The folder is not mounted while a run takes place.
  void RunWithout(const std::string& side) {
    const std::string other = side == "src" ? "dst" : "src";
    const Files before = FilesOf(other);
    std::filesystem::rename(root_.SystemName(side), root_.SystemName("away"));
    root_.MakeDirectory(side);
    if (Guarded().state == SynchroState_Failed) {
      EXPECT_EQ(FilesOf(other), before);
      EXPECT_EQ(FilesOf(side), Files{});
    }
    for (const auto& [name, text] : before) EXPECT_TRUE(FilesOf(other).contains(name)) << name;
    NoteBoth();
    Remove(side);
    std::filesystem::rename(root_.SystemName("away"), root_.SystemName(side));
  }

  // A listing ends with a failure, behind its first entries or before them.
  void RunCut(void (*setError)()) {
    cutAfter = static_cast<int>(random_() % 12);
    setCutError = setError;
    iDirectory_SetNextEntry([](platform::DirectorySearch* search, platform::DirectoryEntry* entry) {
      if (cutAfter-- > 0) return platform::NextEntry(search, entry);
      setCutError();
      return false;
    });
    CheckedRun();
    iDirectory_SetNextEntry(nullptr);
  }

  void MoveByAnHour(const std::string& side) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root_.SystemName(side))) {
      if (entry.is_regular_file())
        std::filesystem::last_write_time(entry.path(), entry.last_write_time() + std::chrono::hours(1));
    }
  }

  // Ends at one of its lines; where processes can be killed, anywhere.
  virtual void RunKilled() {
    RunToALine([](Synchro* synchro) { Synchro_Stop(synchro); });
  }

  // Somebody edits a file while the run is under way.
  void RunWithAnEdit() {
    RunToALine([this](Synchro*) {
      NoteBoth();  // what was copied so far
      Edit();
    });
  }

  template <typename Event>
  void RunToALine(Event event) {
    Check([&] {
      Synchro* const synchro = New(SynchroFlag_Recurse | flags_, FileURL("src"), FileURL("dst"));
      EXPECT_EQ(Synchro_SetGuarded(synchro, 1), Error_None);
      int line = static_cast<int>(random_() % 25);
      onLine_ = [&](const std::string&) {
        if (line-- == 0) event(synchro);
      };
      Go(synchro);
      Synchro_Delete(synchro);
      onLine_ = nullptr;
    });
  }

  // ---- what must hold ----------------------------------------------------------------------------

  void CheckedRun() {
    Check([this] { Guarded(); });
  }

  template <typename Run>
  void Check(Run run) {
    const std::map<std::string, Files> before = {{"src", FilesOf("src")}, {"dst", FilesOf("dst")}};
    const Files inStep = inStep_;
    edited_.clear();
    run();
    const std::map<std::string, Files> after = {{"src", FilesOf("src")}, {"dst", FilesOf("dst")}};
    for (const char* const side : {"src", "dst"}) {
      for (const auto& [name, text] : before.at(side)) {
        if (edited_.contains(name) || (inStep.contains(name) && inStep.at(name) == text)) continue;
        EXPECT_TRUE(after.at(side).contains(name) && after.at(side).at(name) == text) << side << " " << name;
      }
    }
    NoteInStep();
  }

  // What both have now is in step.
  void NoteBoth() {
    const Files destination = FilesOf("dst");
    for (const auto& [name, text] : FilesOf("src")) {
      if (destination.contains(name) && destination.at(name) == text) inStep_[name] = text;
    }
  }
  // What neither has is forgotten, too.
  void NoteInStep() {
    NoteBoth();
    const Files source = FilesOf("src");
    const Files destination = FilesOf("dst");
    std::erase_if(inStep_, [&](const auto& known) {
      return !source.contains(known.first) && !destination.contains(known.first);
    });
  }

  // But what a killed run has not completed.
  void Clear() {
    EmptyTrees();
    LoseTables();
  }

  std::mt19937 random_;
  uint32_t flags_ = 0;

 private:
  static inline int cutAfter = 0;
  static inline void (*setCutError)() = nullptr;

  int moment_ = 0;
  Files inStep_;
  std::set<std::string> edited_;  // since the last snapshot
};

}  // namespace synchro
