// What a guarded run does with an entry: situations times flags, by hand.
#include <gtest/gtest.h>

#include <string>

#include "qz/synchro.h"
#include "synchro/synchro_guard_internal.h"

namespace {

constexpr uint32_t kKnown = 100;
constexpr uint32_t kChanged = 200;
constexpr uint32_t kGone = 0;

SynchroSide FileOf(uint32_t seconds) {
  return seconds == kGone ? SynchroSide{} : SynchroSide{1, 0, 5, {seconds, 0}};
}

// A file that was in step.
SynchroEntry Known(uint32_t atSource, uint32_t atDestination) {
  SynchroEntry entry = {nullptr, 0, 0, {FileOf(atSource), FileOf(atDestination)}};
  entry.before[0] = entry.before[1] = FileOf(kKnown);
  return entry;
}

// A file without a line.
SynchroEntry New(uint32_t atSource, uint32_t atDestination) {
  return {nullptr, 0, SynchroEntryFlag_New, {FileOf(atSource), FileOf(atDestination)}};
}

// "C" copies, "D" deletes; the mark; the reason.
std::string Text(const SynchroVerdict& verdict) {
  const char* const steps[] = {"", "pass", "enter", "C", "D"};
  return steps[static_cast<int>(verdict.action.step)] + std::string(1, verdict.action.mark) +
         std::to_string(verdict.reason);
}

std::string Verdict(uint32_t flags, const SynchroEntry& entry, bool isWhole = true, bool areAlike = false) {
  return Text(iSynchro_DecideGuarded(flags, entry, isWhole, areAlike));
}

TEST(SynchroGuard, DecidesInEverySituation) {
  const struct {
    uint32_t flags;
    const char* newAtSource;
    const char* newAtDestination;
    const char* sourceChanged;
    const char* destinationChanged;
    const char* destinationGone;
    const char* destinationGoneSourceChanged;
    const char* sourceGone;
    const char* sourceGoneDestinationChanged;
  } rows[] = {
      {0, "=8", "=8", "=8", "=8", "=8", "=8", "=8", "=8"},
      {1, "C>1", "=8", "C>2", "=8", "C>1", "C>1", "=8", "=8"},
      {2, "=8", "C<1", "=8", "C<2", "=8", "=8", "C<1", "C<1"},
      {3, "C>1", "C<1", "C>2", "C<2", "C>1", "C>1", "C<1", "C<1"},
      {4, "=8", "=8", "=8", "=8", "D<3", "=8", "=8", "=8"},
      {5, "C>1", "=8", "C>2", "=8", "D<3", "C>1", "=8", "=8"},
      {6, "=8", "C<1", "=8", "C<2", "D<3", "=8", "C<1", "C<1"},
      {7, "C>1", "C<1", "C>2", "C<2", "D<3", "C>1", "C<1", "C<1"},
      {8, "=8", "=8", "=8", "=8", "=8", "=8", "D>3", "=8"},
      {9, "C>1", "=8", "C>2", "=8", "C>1", "C>1", "D>3", "=8"},
      {10, "=8", "C<1", "=8", "C<2", "=8", "=8", "D>3", "C<1"},
      {11, "C>1", "C<1", "C>2", "C<2", "C>1", "C>1", "D>3", "C<1"},
      {12, "=8", "=8", "=8", "=8", "D<3", "=8", "D>3", "=8"},
      {13, "C>1", "=8", "C>2", "=8", "D<3", "C>1", "D>3", "=8"},
      {14, "=8", "C<1", "=8", "C<2", "D<3", "=8", "D>3", "C<1"},
      {15, "C>1", "C<1", "C>2", "C<2", "D<3", "C>1", "D>3", "C<1"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.flags);
    EXPECT_EQ(Verdict(row.flags, New(kKnown, kGone)), row.newAtSource);
    EXPECT_EQ(Verdict(row.flags, New(kGone, kKnown)), row.newAtDestination);
    EXPECT_EQ(Verdict(row.flags, Known(kChanged, kKnown)), row.sourceChanged);
    EXPECT_EQ(Verdict(row.flags, Known(kKnown, kChanged)), row.destinationChanged);
    EXPECT_EQ(Verdict(row.flags, Known(kKnown, kGone)), row.destinationGone);
    EXPECT_EQ(Verdict(row.flags, Known(kChanged, kGone)), row.destinationGoneSourceChanged);
    EXPECT_EQ(Verdict(row.flags, Known(kGone, kKnown)), row.sourceGone);
    EXPECT_EQ(Verdict(row.flags, Known(kGone, kChanged)), row.sourceGoneDestinationChanged);
    EXPECT_EQ(Verdict(row.flags, Known(kKnown, kKnown)), "=0");
    for (const bool isWhole : {true, false}) {
      EXPECT_EQ(Verdict(row.flags, New(kKnown, kChanged), isWhole, true), "=7");
      EXPECT_EQ(Verdict(row.flags, New(kKnown, kChanged), isWhole, false), "!4");
      EXPECT_EQ(Verdict(row.flags, Known(kChanged, kChanged), isWhole, true), "=7");
      EXPECT_EQ(Verdict(row.flags, Known(kChanged, kChanged), isWhole, false), "!4");
    }
  }
}

TEST(SynchroGuard, DeletesNothing_WhereAListingCannotBeTrusted) {
  EXPECT_EQ(Verdict(9, Known(kGone, kKnown), false), "=9");
  EXPECT_EQ(Verdict(6, Known(kKnown, kGone), false), "=9");
  EXPECT_EQ(Verdict(15, Known(kGone, kGone), false), "=9");
  EXPECT_EQ(Verdict(5, New(kKnown, kGone), false), "=9") << "with a copy in it the next run would trust it";
  EXPECT_EQ(Verdict(10, Known(kGone, kChanged), false), "=9");
  EXPECT_EQ(Verdict(1, Known(kKnown, kGone), false), "C>1") << "without deletions it is filled again";
  EXPECT_EQ(Verdict(1, Known(kChanged, kKnown), false), "C>2") << "what is shown is there";
}

TEST(SynchroGuard, DeletesAndOverwritesNothing_ThatWasNotInStep) {
  SynchroEntry pending = Known(kGone, kKnown);
  pending.state = 2;
  EXPECT_EQ(Verdict(9, pending), "=8") << "something was left to do";
  SynchroEntry onlyThere = Known(kGone, kKnown);
  onlyThere.before[0].present = 0;
  EXPECT_EQ(Verdict(9, onlyThere), "=8") << "it never was on the other side";
  SynchroEntry wasFolder = Known(kGone, kKnown);
  wasFolder.before[1].directory = 1;
  EXPECT_EQ(Verdict(9, wasFolder), "=8") << "another thing had its name";
  SynchroEntry pendingBoth = Known(kChanged, kKnown);
  pendingBoth.state = 1;
  EXPECT_EQ(Verdict(1, pendingBoth), "!4");
  SynchroEntry higherBits = Known(kGone, kKnown);
  higherBits.state = 4;
  EXPECT_EQ(Verdict(9, higherBits), "D>3") << "only two bits count";
}

TEST(SynchroGuard, TakesAnotherSizeForAChange) {
  SynchroEntry entry = Known(kKnown, kKnown);
  entry.sides[0].size = 6;
  EXPECT_EQ(Verdict(1, entry), "C>2");
  entry.sides[1].size = 7;
  EXPECT_EQ(Verdict(1, entry), "!4");
}

TEST(SynchroGuard, EntersDirectories) {
  const SynchroSide folder = {1, 1, 0, {100, 0}};
  const SynchroEntry both = {nullptr, 0, 0, {folder, folder}};
  const SynchroEntry onlySource = {nullptr, 0, 0, {folder, {}}};
  const SynchroEntry onlyDestination = {nullptr, 0, 0, {{}, folder}};
  for (const SynchroEntry& entry : {both, onlySource, onlyDestination}) {
    EXPECT_EQ(Verdict(SynchroFlag_Recurse | 1, entry), "enter=6");
    EXPECT_EQ(Verdict(1, entry), "pass=6");
  }
  for (const uint32_t flags : {1u, 15u, SynchroFlag_Recurse | 15u}) {
    EXPECT_EQ(Verdict(flags, {nullptr, 0, 0, {folder, FileOf(kKnown)}}), "!4") << "a file in its place";
    EXPECT_EQ(Verdict(flags, {nullptr, 0, 0, {FileOf(kKnown), folder}}), "!4") << "a file in its place";
  }
}

TEST(SynchroGuard, LeavesWhatIsUnclear) {
  for (const uint32_t flags : {1u, 15u}) {
    SynchroEntry entry = Known(kGone, kKnown);
    entry.flags = SynchroEntryFlag_Unclear;
    EXPECT_EQ(Verdict(flags, entry), "=5");
    entry = New(kKnown, kKnown);
    entry.flags |= SynchroEntryFlag_Unclear;
    EXPECT_EQ(Verdict(flags, entry), "=5");
    EXPECT_FALSE(iSynchro_MustCompare(entry));
  }
}

TEST(SynchroGuard, ComparesOnlyWhatItHasTo) {
  const SynchroSide folder = {1, 1, 0, {100, 0}};
  EXPECT_TRUE(iSynchro_MustCompare(New(kKnown, kKnown)));
  EXPECT_TRUE(iSynchro_MustCompare(Known(kChanged, kChanged)));
  EXPECT_FALSE(iSynchro_MustCompare(Known(kKnown, kKnown)));
  EXPECT_FALSE(iSynchro_MustCompare(Known(kChanged, kKnown)));
  EXPECT_FALSE(iSynchro_MustCompare(Known(kKnown, kChanged)));
  EXPECT_FALSE(iSynchro_MustCompare(New(kKnown, kGone)));
  EXPECT_FALSE(iSynchro_MustCompare(New(kGone, kKnown)));
  EXPECT_FALSE(iSynchro_MustCompare({nullptr, 0, SynchroEntryFlag_New, {folder, folder}}));
}

TEST(SynchroGuard, TrustsAnEmptyListing_OnlyWhereNothingWasKnown) {
  const struct {
    uint32_t listed;
    bool isKnown, isGone, isRoot, isTrusted;
  } rows[] = {
      {1, true, false, false, true}, {1, true, false, true, true},  {0, false, false, false, true},
      {0, false, false, true, true}, {0, false, true, true, true},  {0, true, false, false, false},
      {0, true, true, false, true},  {0, true, false, true, false}, {0, true, true, true, false},
  };
  for (const auto& row : rows)
    EXPECT_EQ(iSynchro_IsTrusted(row.listed, row.isKnown, row.isGone, row.isRoot), row.isTrusted);
}

TEST(SynchroGuard, KeepsTheLineOfWhatIsNotInStep) {
  SynchroEntry entry = Known(kChanged, kKnown);
  EXPECT_TRUE(iSynchro_TakeLine(&entry));
  EXPECT_EQ(entry.sides[0].time.seconds, kKnown) << "the change is seen again";
  entry = Known(kChanged, kKnown);
  entry.flags = SynchroEntryFlag_Settled;
  EXPECT_TRUE(iSynchro_TakeLine(&entry));
  EXPECT_EQ(entry.sides[0].time.seconds, kChanged);
  entry = New(kKnown, kKnown);
  EXPECT_FALSE(iSynchro_TakeLine(&entry)) << "no line";
  entry = Known(kGone, kGone);
  entry.flags = SynchroEntryFlag_Settled;
  EXPECT_FALSE(iSynchro_TakeLine(&entry)) << "deleted";
}

TEST(SynchroGuard, ChangesALineOnlyWhenItHasTo) {
  EXPECT_FALSE(iSynchro_DiffersFromLine(Known(kKnown, kKnown)));
  EXPECT_TRUE(iSynchro_DiffersFromLine(Known(kChanged, kKnown)));
  EXPECT_TRUE(iSynchro_DiffersFromLine(Known(kKnown, kChanged)));
  EXPECT_TRUE(iSynchro_DiffersFromLine(New(kKnown, kKnown)));
  SynchroEntry pending = Known(kKnown, kKnown);
  pending.state = 2;
  EXPECT_TRUE(iSynchro_DiffersFromLine(pending));
  SynchroEntry folder = Known(kKnown, kKnown);
  for (int end = 0; end < 2; ++end) folder.sides[end].directory = folder.before[end].directory = 1;
  folder.sides[0].time.seconds = kChanged;
  EXPECT_FALSE(iSynchro_DiffersFromLine(folder)) << "a folder's time says nothing";
  folder.sides[1].present = 0;
  EXPECT_TRUE(iSynchro_DiffersFromLine(folder));
}

TEST(SynchroGuard, SettlesWhatIsInStep) {
  for (const int32_t reason : {0, 6, 7})
    EXPECT_TRUE(iSynchro_IsSettledBy({{'=', SynchroStep::Leave, SynchroEnd_Source}, reason})) << reason;
  for (const int32_t reason : {1, 2, 3, 4, 5, 8, 9})
    EXPECT_FALSE(iSynchro_IsSettledBy({{'=', SynchroStep::Leave, SynchroEnd_Source}, reason})) << reason;
}

}  // namespace
