// What callers of guarded runs add: answers that settle conflicts, results, a directory for the tables.
#include <string>

#include "tests/synchro/synchro_fixture.h"
#include "tests/synchro/synchro_ftp_fixture.h"

namespace {

using synchro::kMirror;
using synchro::kTwoWay;
using synchro::Lines;
using synchro::Outcome;

class SynchroAnswersTest : public synchro::Test {
 protected:
  Outcome Guarded(uint32_t flags, bool isPlan = false) {
    reasons_.clear();
    results_.clear();
    return RunLocalGuarded(flags, [&](Synchro* synchro) {
      EXPECT_EQ(Synchro_SetEntryMethod(synchro, reinterpret_cast<Word>(this), Answer), synchro);
      EXPECT_EQ(Synchro_SetResultMethod(synchro, reinterpret_cast<Word>(this), TakeResult), synchro);
      Synchro_SetPlanOnly(synchro, isPlan ? 1 : 0);
    });
  }

  int32_t answer_ = SynchroAnswer_Proceed;
  Lines reasons_;  // "name reason"
  Lines results_;  // "directory/name decision reason status"

 private:
  static int32_t Answer(Word value, const SynchroEntryInfo* entry) {
    auto* const test = reinterpret_cast<SynchroAnswersTest*>(value);
    test->reasons_.push_back(std::string(entry->name) + " " + std::to_string(entry->reason));
    return test->answer_;
  }
  static void TakeResult(Word value, const SynchroEntryInfo* entry, ErrorCode status) {
    auto* const test = reinterpret_cast<SynchroAnswersTest*>(value);
    test->results_.push_back(std::string(entry->directory) + "/" + entry->name + " " +
                             std::to_string(entry->decision) + " " + std::to_string(entry->reason) + " " +
                             std::to_string(status));
  }
};

TEST_F(SynchroAnswersTest, SettleAConflict) {
  Put("src/a", "source");
  Put("dst/a", "destination");
  answer_ = SynchroAnswer_CopyToDestination;
  EXPECT_EQ(Guarded(kMirror, true).counters, "0 0 0 1 0") << "a plan counts it";
  EXPECT_EQ(Tree("dst"), "a=destination");
  EXPECT_EQ(Guarded(kMirror).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=source");
  EXPECT_EQ(results_, (Lines{"/a 2 2 0"}));
  answer_ = SynchroAnswer_Proceed;
  EXPECT_EQ(Guarded(kMirror).counters, "0 0 0 0 0");
  EXPECT_EQ(reasons_, (Lines{"a 0"})) << "in step from then on";
}

TEST_F(SynchroAnswersTest, SettleAConflictTheOtherWay) {
  Put("src/a", "source");
  Put("dst/a", "destination");
  answer_ = SynchroAnswer_CopyToSource;
  EXPECT_EQ(Guarded(kTwoWay).counters, "0 1 0 0 0");
  EXPECT_EQ(Tree("src"), "a=destination");
}

TEST_F(SynchroAnswersTest, SettleNothingAgainstTheFlags) {
  Put("src/a", "source");
  Put("dst/a", "destination");
  answer_ = SynchroAnswer_CopyToSource;
  EXPECT_EQ(Guarded(kMirror).counters, "0 0 0 0 0");
  EXPECT_EQ(Tree("src") + " " + Tree("dst"), "a=source a=destination");
}

TEST_F(SynchroAnswersTest, SettleNothingButConflictsOfFiles) {
  Put("src/new", "1");
  Put("src/same", "1");
  Put("dst/same", "1");
  Put("src/sub/x", "1");
  Put("dst/sub", "a file");
  answer_ = SynchroAnswer_CopyToDestination;
  EXPECT_EQ(Guarded(kMirror).counters, "0 0 0 0 0");
  EXPECT_EQ(Tree("dst"), "same=1 sub=a file");
}

TEST_F(SynchroAnswersTest, FilesThatAreLeftAreNotRead) {
  Put("src/a", "same");
  Put("dst/a", "same");
  answer_ = SynchroAnswer_Leave;
  EXPECT_EQ(Guarded(kMirror).counters, "0 0 0 0 0");
  EXPECT_EQ(reasons_, (Lines{"a 12", "a 8"})) << "nothing is known of their bytes";
  answer_ = SynchroAnswer_Proceed;
  Guarded(kMirror);
  EXPECT_EQ(reasons_, (Lines{"a 12", "a 7"}));
}

TEST_F(SynchroAnswersTest, ForgottenFilesAreTold) {
  Put("src/a", "1");
  Put("src/b", "1");
  Guarded(kMirror);
  Remove("src/a");
  Remove("dst/a");
  Guarded(kMirror, true);
  EXPECT_EQ(reasons_, (Lines{"a 10", "b 0"}));
  Guarded(kMirror);
  Guarded(kMirror, true);
  EXPECT_EQ(reasons_, (Lines{"b 0"})) << "once";
}

// Else a destination with nothing but folders, when it is lost, would be filled again somewhere else.
TEST_F(SynchroAnswersTest, FoldersThatWereMadeAreKnown) {
  Put("src/sub/a", "1");
  EXPECT_EQ(Guarded(kMirror).counters, "0 0 0 1 0");
  std::filesystem::remove_all(synchro::SystemPath(root_.Name("dst/sub")));
  const Outcome outcome = Guarded(kMirror);
  EXPECT_EQ(outcome.state, SynchroState_Failed);
  EXPECT_EQ(Tree("dst"), "");
}

TEST_F(SynchroAnswersTest, ResultsTellFailuresOfFilesAndFolders) {
  Put("src/a", "1");
  Put("src/sub/b", "1");
  // Both stand in the way of what the run is about to make.
  onLine_ = [this](const std::string& line) {
    if (line != "Updating tables...") return;
    Put("dst/a", "other");
    Put("dst/sub", "a file");
  };
  Guarded(kMirror);
  std::sort(results_.begin(), results_.end());
  const std::string exists = std::to_string(Error_Exists);
  EXPECT_EQ(results_, (Lines{"/a 2 1 " + exists, "sub/ 5 6 " + exists}));
}

TEST_F(SynchroAnswersTest, TablesLieInTheCallersDirectory) {
  root_.MakeDirectory("tables");
  Put("src/a", "1");
  for (const char* const expected : {"0 0 0 1 0", "0 0 0 0 0"}) {
    Synchro* synchro = nullptr;
    ASSERT_EQ(Synchro_NewIn(root_.Name("tables").c_str(), "t", kMirror, FileURL("src").c_str(),
                            FileURL("dst").c_str(), &synchro),
              Error_None);
    ASSERT_NE(synchro, nullptr);
    Synchro_SetGuarded(synchro, 1);
    EXPECT_EQ(Go(synchro).counters, expected);
    Synchro_Delete(synchro);
  }
  EXPECT_EQ(CacheNames(), Lines{});
  Lines names;
  for (const auto& entry : std::filesystem::directory_iterator(synchro::SystemPath(root_.Name("tables"))))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(names[0].substr(0, 9), "syncentry");
  EXPECT_EQ(names[1], "t.sync");
}

}  // namespace
