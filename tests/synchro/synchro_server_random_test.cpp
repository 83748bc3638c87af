// Random edits, guarded runs and mishaps with servers on one side or both: no file that the guards protect is
// lost, whatever was done.
//
// No two files have one size, so that files of one size have one text. A file is protected on a side until
// both sides have had it with the same text.
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <string>

#include "synchro/synchro_upload_testing.h"
#include "tests/support/ftp_tree.h"
#include "tests/synchro/synchro_fixture.h"

namespace {

using synchro::kRecurse;
using synchro::Outcome;
using Files = std::map<std::string, std::string>;

constexpr uint32_t kDeleteAt[] = {SynchroFlag_DeleteAtSource, SynchroFlag_DeleteAtDestination};
constexpr const char* kSides[] = {"src", "dst"};
constexpr int kEdits = 24;

class SynchroServerRandomTest : public synchro::Test {
 protected:
  // ---- trees -----------------------------------------------------------------------------------

  void Clear() {
    EmptyTrees();
    LoseTables();
    moment_ = 0;
  }
  void LoseTables() {
    ForgetTables();
    inStep_.clear();
  }

  void Edit(const std::string& side) {
    const std::string names[] = {"a", "b", "c", "sub/a", "sub/b", "other/deep/c"};
    const std::string name = side + "/" + names[random_() % std::size(names)];
    if (random_() % 3 == 0) {
      if (root_.Exists(name)) Remove(name);
      return;
    }
    ++moment_;
    Put(name, "text " + std::string(static_cast<size_t>(moment_), 'x'), 1000000000 + moment_ * 61);
  }

  // ---- runs ------------------------------------------------------------------------------------

  std::string URLOf(int side) { return servers_[side] ? servers_[side]->URL() : FileURL(kSides[side]); }

  Outcome Guarded(uint32_t flags) {
    const Outcome outcome = RunGuarded(kRecurse | flags, URLOf(0), URLOf(1));
    for (const auto& server : servers_) {
      if (server) server->AwaitEnd();
    }
    return outcome;
  }

  // A run, and what must hold behind it. mayMove: an old file may stand aside until the next run.
  void CheckedRun(uint32_t flags, bool mayMove) {
    const Files before[] = {FilesOf("src"), FilesOf("dst")};
    const Outcome outcome = Guarded(flags);
    told_ = testing::PrintToString(outcome.lines);
    for (int side = 0; side < 2; ++side) {
      const Files after = FilesOf(kSides[side]);
      for (const auto& [name, text] : before[side]) {
        if (IsTemporary(name)) continue;
        const bool isInStep = inStep_.contains(name) && inStep_.at(name) == text;
        const bool isAside = mayMove && IsAmong(after, text);
        if (!isInStep) {
          EXPECT_TRUE((after.contains(name) && after.at(name) == text) || isAside)
              << kSides[side] << " " << name;
        }
        if ((flags & kDeleteAt[side]) == 0) {
          EXPECT_TRUE(after.contains(name) || isAside) << kSides[side] << " " << name;
        }
      }
      for (const auto& [name, text] : after) {
        const bool isKnown = IsAmong(before[0], text) || IsAmong(before[1], text);
        EXPECT_TRUE(isKnown || IsTemporary(name)) << "made up: " << name;
      }
    }
    NoteInStep();
  }
  static bool IsAmong(const Files& files, const std::string& text) {
    return std::any_of(files.begin(), files.end(), [&](const auto& file) { return file.second == text; });
  }
  static bool IsTemporary(const std::string& name) {
    return std::filesystem::path(name).filename().string().starts_with("xfer");
  }

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

  // ---- mishaps ---------------------------------------------------------------------------------

  FTPTree* AnyServer() {
    FTPTree* const first = servers_[random_() % 2].get();
    return first != nullptr ? first : servers_[0] ? servers_[0].get() : servers_[1].get();
  }

  // A run in which something goes wrong at a server.
  void RunWithMishap(uint32_t flags) {
    FTPTree* const server = AnyServer();
    const FTPTree::Settings whole = server->settings;
    int commands = static_cast<int>(random_() % 30);
    switch (random_() % 5) {
      case 0:
      case 1:
        server->settings.listing = static_cast<FTPTree::Listing>(1 + random_() % 6);
        if (random_() % 2 == 0) server->settings.strangeFolder = random_() % 2 == 0 ? "sub" : "deep";
        break;
      case 2:
        server->settings.storesAtMost = random_() % 8;
        break;
      case 3:  // the connection ends at some command
        server->onCommand = [server, commands](const std::string& command) mutable {
          if (--commands == 0) server->settings.replies[command] = "";
        };
        break;
      default:  // the run is stopped
        onLine_ = nullptr;
        StoppedRun(flags, server, commands);
    }
    CheckedRun(flags, true);
    server->onCommand = nullptr;
    server->settings = whole;
  }

  void StoppedRun(uint32_t flags, FTPTree* server, int commands) {
    const Files before[] = {FilesOf("src"), FilesOf("dst")};
    Synchro* const synchro = New(kRecurse | flags, URLOf(0), URLOf(1));
    EXPECT_EQ(Synchro_SetGuarded(synchro, 1), Error_None);
    server->onCommand = [&](const std::string&) {
      if (--commands == 0) Synchro_Stop(synchro);
    };
    Go(synchro);
    Synchro_Delete(synchro);
    for (const auto& each : servers_) {
      if (each) each->AwaitEnd();
    }
    server->onCommand = nullptr;
    for (int side = 0; side < 2; ++side) {
      const Files after = FilesOf(kSides[side]);
      for (const auto& [name, text] : before[side]) {
        if (IsTemporary(name)) continue;
        const bool isInStep = inStep_.contains(name) && inStep_.at(name) == text;
        if (!isInStep) {
          EXPECT_TRUE(IsAmong(after, text)) << kSides[side] << " " << name;
        }
      }
    }
    NoteInStep();
  }

  void ChangeTheServer() {
    FTPTree* const server = AnyServer();
    switch (random_() % 3) {
      case 0:
        server->settings.clockAheadSeconds = server->settings.clockAheadSeconds == 0 ? 3600 : 0;
        break;
      case 1:
        server->settings.showsDaysOnly = !server->settings.showsDaysOnly;
        break;
      default:
        server->settings.replacesByRename = !server->settings.replacesByRename;
    }
  }

  void Play(uint32_t flags, int servers, bool hasFacts, uint32_t sequence) {
    SCOPED_TRACE(testing::Message() << "flags " << flags << ", servers " << servers << ", MLSD " << hasFacts
                                    << ", sequence " << sequence);
    random_.seed(sequence);
    Clear();
    for (int side = 0; side < 2; ++side) {
      servers_[side].reset();
      if ((servers >> side & 1) == 0) continue;
      servers_[side] = std::make_unique<FTPTree>(root_.SystemName(kSides[side]));
      servers_[side]->settings.hasFacts = hasFacts;
    }
    for (int edit = 0; edit < kEdits && !HasFailure(); ++edit) {
      SCOPED_TRACE(testing::Message() << "edit " << edit);
      Edit(kSides[random_() % 2]);
      if (random_() % 3 != 0) continue;
      if (random_() % 12 == 0) LoseTables();
      if (random_() % 8 == 0) ChangeTheServer();
      if (random_() % 2 == 0) RunWithMishap(flags);
      CheckedRun(flags, true);
      const Outcome rest = Guarded(flags);
      // A root that was emptied ends every run.
      EXPECT_EQ(rest.counters, rest.state == SynchroState_Failed ? "-3 0 0 0 0" : "0 0 0 0 0")
          << "at rest, behind\n"
          << told_ << "\n"
          << testing::PrintToString(rest.lines);

      NoteInStep();
      for (const char* const side : kSides) {
        for (const auto& [name, text] : FilesOf(side)) EXPECT_FALSE(IsTemporary(name)) << side << " " << name;
      }
      ++runs_;
    }
  }

  std::mt19937 random_;
  std::unique_ptr<FTPTree> servers_[2];
  Files inStep_;
  int moment_ = 0;
  int runs_ = 0;
  std::string told_;  // by the last checked run
};

// The servers take turns in offering MLSD. QZ_TEST_SEQUENCES: how many are played of each kind, 1 by default.
TEST_F(SynchroServerRandomTest, LosesNoFileThatTheGuardsProtect) {
  const char* const asked = getenv("QZ_TEST_SEQUENCES");
  const int sequences = asked != nullptr ? atoi(asked) : 1;
  uint32_t number = 0;
  for (int sequence = 0; sequence < sequences; ++sequence) {
    for (const uint32_t flags : {1u, 9u, 2u, 6u, 3u, 15u}) {
      for (const int servers : {1, 2, 3}) {
        ++number;
        Play(flags, servers, (number + static_cast<uint32_t>(sequence)) % 2 == 0, number);
        if (HasFailure()) return;
      }
    }
  }
  EXPECT_GT(runs_, 60 * sequences);
}

}  // namespace
