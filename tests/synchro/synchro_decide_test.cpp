// Which side changed, and what follows: every combination of the four flags with every situation, by hand.
#include <gtest/gtest.h>

#include <string>

#include "qz/synchro.h"
#include "synchro/synchro_decide_internal.h"
#include "synchro/synchro_entries_internal.h"

namespace {

constexpr uint32_t kNotListed = 0;
constexpr uint32_t kKnownTime = 100;
constexpr uint32_t kNewTime = 200;

SynchroSide FileOf(uint32_t seconds) {
  return {1, 0, 5, {seconds, 0}};
}

void List(const SynchroMasks& masks, SynchroEnd end, uint32_t seconds, SynchroEntry* entry) {
  entry->sides[end].present = 0;
  if (seconds != kNotListed) iSynchro_TakeListed(masks, end, FileOf(seconds), entry);
}

// What a run does to a file that both sides had: "C" copies, "D" deletes, to or on the side of the mark.
std::string Outcome(uint32_t flags, uint32_t atSource, uint32_t atDestination) {
  const SynchroMasks masks = iSynchro_Masks(flags);
  SynchroEntry entry = {nullptr, 0, 0, {FileOf(kKnownTime), FileOf(kKnownTime)}};
  List(masks, SynchroEnd_Source, atSource, &entry);
  List(masks, SynchroEnd_Destination, atDestination, &entry);
  entry.state =
      iSynchro_Settle(masks, entry.state, entry.IsAt(SynchroEnd_Source), entry.IsAt(SynchroEnd_Destination));
  const SynchroAction action = iSynchro_Decide(flags, entry);
  const char* const steps[] = {"", "?", "?", "C", "D"};
  return steps[static_cast<int>(action.step)] + std::string(1, action.mark);
}

TEST(SynchroDecide, FollowsTheFlagsInEverySituation) {
  const struct {
    uint32_t flags;
    const char* onlySource;
    const char* onlyDestination;
    const char* unchanged;
    const char* sourceChanged;
    const char* destinationChanged;
    const char* bothChanged;
  } rows[] = {
      {0, "=", "=", "=", "=", "=", "="},      {1, "C>", "=", "=", "C>", "=", "C>"},
      {2, "=", "C<", "=", "=", "C<", "C<"},   {3, "C>", "C<", "=", "C>", "C<", "!"},
      {4, "D<", "=", "=", "=", "=", "="},     {5, "D<", "=", "=", "C>", "=", "C>"},
      {6, "D<", "C<", "=", "=", "C<", "C<"},  {7, "D<", "C<", "=", "C>", "C<", "C<"},
      {8, "=", "D>", "=", "=", "=", "="},     {9, "C>", "D>", "=", "C>", "=", "C>"},
      {10, "=", "D>", "=", "=", "C<", "C<"},  {11, "C>", "D>", "=", "C>", "C<", "C>"},
      {12, "D<", "D>", "=", "=", "=", "="},   {13, "C>", "D>", "=", "C>", "=", "C>"},
      {14, "D<", "D>", "=", "=", "C<", "C<"}, {15, "C>", "D>", "=", "C>", "C<", "C>"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.flags);
    EXPECT_EQ(Outcome(row.flags, kKnownTime, kNotListed), row.onlySource);
    EXPECT_EQ(Outcome(row.flags, kNotListed, kKnownTime), row.onlyDestination);
    // That the remaining file changed too makes no difference.
    EXPECT_EQ(Outcome(row.flags, kNewTime, kNotListed), row.onlySource);
    EXPECT_EQ(Outcome(row.flags, kNotListed, kNewTime), row.onlyDestination);
    EXPECT_EQ(Outcome(row.flags, kKnownTime, kKnownTime), row.unchanged);
    EXPECT_EQ(Outcome(row.flags, kNewTime, kKnownTime), row.sourceChanged);
    EXPECT_EQ(Outcome(row.flags, kKnownTime, kNewTime), row.destinationChanged);
    EXPECT_EQ(Outcome(row.flags, kNewTime, kNewTime), row.bothChanged);
    // The flag for subdirectories says nothing about files.
    EXPECT_EQ(Outcome(row.flags | SynchroFlag_Recurse, kNewTime, kNewTime), row.bothChanged);
  }
}

TEST(SynchroMasks, HoldTwoBitsForEachSide) {
  const struct {
    uint32_t flags;
    uint32_t source;
    uint32_t destination;
  } rows[] = {
      {0, 0, 0},  {1, 2, 0},  {2, 1, 0},  {3, 3, 0},  {4, 0, 1},           {5, 2, 1},
      {6, 1, 1},  {7, 3, 1},  {8, 0, 2},  {9, 2, 2},  {10, 1, 2},          {11, 3, 2},
      {12, 0, 3}, {13, 2, 3}, {14, 1, 3}, {15, 3, 3}, {0x80000000u, 0, 0}, {0x80000009u, 2, 2},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(iSynchro_Masks(row.flags).source, row.source) << row.flags;
    EXPECT_EQ(iSynchro_Masks(row.flags).destination, row.destination) << row.flags;
  }
}

TEST(SynchroChangeBits, DependOnTheOtherSide) {
  const struct {
    SynchroMasks masks;
    uint32_t source, sourceAlone, destination, destinationAlone;
  } rows[] = {
      {{0, 0}, 0, 0, 0, 0}, {{0, 1}, 0, 1, 0, 0}, {{0, 2}, 0, 0, 0, 2}, {{0, 3}, 0, 1, 0, 2},
      {{1, 0}, 0, 0, 1, 1}, {{1, 1}, 0, 1, 1, 1}, {{1, 2}, 0, 0, 1, 3}, {{1, 3}, 0, 1, 1, 3},
      {{2, 0}, 2, 2, 0, 0}, {{2, 1}, 2, 3, 0, 0}, {{2, 2}, 2, 2, 0, 2}, {{2, 3}, 2, 3, 0, 2},
      {{3, 0}, 2, 2, 1, 1}, {{3, 1}, 2, 3, 1, 1}, {{3, 2}, 2, 2, 1, 3}, {{3, 3}, 2, 3, 1, 3},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.masks.source) + " " + std::to_string(row.masks.destination));
    EXPECT_EQ(iSynchro_ChangeBits(row.masks, SynchroEnd_Source, true), row.source);
    EXPECT_EQ(iSynchro_ChangeBits(row.masks, SynchroEnd_Source, false), row.sourceAlone);
    EXPECT_EQ(iSynchro_ChangeBits(row.masks, SynchroEnd_Destination, true), row.destination);
    EXPECT_EQ(iSynchro_ChangeBits(row.masks, SynchroEnd_Destination, false), row.destinationAlone);
  }
}

TEST(SynchroMark, ComesFromTheLowTwoBits) {
  for (const uint32_t more : {0u, 4u, 0xFFFFFFFCu}) {
    EXPECT_EQ(iSynchro_Mark(3, more | 0), '=');
    EXPECT_EQ(iSynchro_Mark(3, more | 1), '<');
    EXPECT_EQ(iSynchro_Mark(3, more | 2), '>');
    EXPECT_EQ(iSynchro_Mark(3, more | 3), '!');
    EXPECT_EQ(iSynchro_Mark(3 | 4, more | 3), '<');
    EXPECT_EQ(iSynchro_Mark(3 | 8, more | 3), '>');
    EXPECT_EQ(iSynchro_Mark(3 | 4 | 8, more | 3), '>');
  }
}

TEST(SynchroTakeListed, ReplacesAllFiveValues) {
  SynchroEntry entry = {nullptr, 0, 0, {FileOf(100), FileOf(100)}};
  const SynchroSide listed = {1, 1, 7, {100, 0}};
  EXPECT_EQ(iSynchro_TakeListed(iSynchro_Masks(1), SynchroEnd_Source, listed, &entry), SynchroTaken::Values);
  EXPECT_EQ(entry.sides[0].directory, 1u);
  EXPECT_EQ(entry.sides[0].size, 7u);
  EXPECT_EQ(entry.sides[1].size, 5u);
  EXPECT_EQ(entry.state, 0u) << "only the time counts";
}

TEST(SynchroTakeListed, AddsToTheStateThatIsThere) {
  SynchroEntry entry = {nullptr, 1, 0, {FileOf(100), FileOf(100)}};
  EXPECT_EQ(iSynchro_TakeListed(iSynchro_Masks(3), SynchroEnd_Source, FileOf(101), &entry),
            SynchroTaken::Change);
  EXPECT_EQ(entry.state, 3u);
}

TEST(SynchroTakeListed, TellsThatTheTableWasLater) {
  SynchroEntry entry = {nullptr, 0, 0, {FileOf(100), FileOf(100)}};
  EXPECT_EQ(iSynchro_TakeListed(iSynchro_Masks(1), SynchroEnd_Source, FileOf(99), &entry),
            SynchroTaken::BackInTime);
  EXPECT_EQ(entry.state, 2u);
  EXPECT_EQ(entry.sides[0].time.seconds, 99u);
}

TEST(SynchroTakeListed, RecordsWithoutATraceWhatNoFlagFollows) {
  SynchroEntry entry = {nullptr, 0, 0, {FileOf(100), FileOf(100)}};
  EXPECT_EQ(iSynchro_TakeListed(iSynchro_Masks(1), SynchroEnd_Destination, FileOf(99), &entry),
            SynchroTaken::Values);
  EXPECT_EQ(entry.state, 0u);
  EXPECT_EQ(entry.sides[1].time.seconds, 99u);
}

TEST(SynchroDecide, TakesTheKindFromTheSideThatIsCopied) {
  const SynchroSide folder = {1, 1, 2, {100, 0}};
  const SynchroSide file = FileOf(100);
  SynchroEntry entry = {nullptr, 0, 0, {folder, file}};
  EXPECT_EQ(iSynchro_Decide(3, entry).step, SynchroStep::Pass) << "=: the source's";
  EXPECT_EQ(iSynchro_Decide(3 | SynchroFlag_Recurse, entry).step, SynchroStep::Enter);
  entry.state = 2;
  EXPECT_EQ(iSynchro_Decide(3, entry).step, SynchroStep::Pass) << ">: the source's";
  entry.state = 1;
  EXPECT_EQ(iSynchro_Decide(3, entry).step, SynchroStep::Copy) << "<: the destination's";
  entry.state = 3;
  EXPECT_EQ(iSynchro_Decide(3, entry).step, SynchroStep::Pass) << "!: the source's";
}

TEST(SynchroDecide, LeavesAnUnclearEntry) {
  SynchroEntry entry = {nullptr, 2, SynchroEntryFlag_Unclear, {FileOf(100), FileOf(100)}};
  EXPECT_EQ(iSynchro_Decide(1, entry).mark, '=');
  EXPECT_EQ(iSynchro_Decide(1, entry).step, SynchroStep::Leave);
}

// ---- what is told of an action -----------------------------------------------------------------

TEST(SynchroDecision, IsToldWithItsReason) {
  const SynchroSide file = FileOf(100);
  const SynchroSide folder = {1, 1, 2, {100, 0}};
  const SynchroSide none = {};
  const struct {
    SynchroAction action;
    uint32_t flags;
    SynchroSide source;
    SynchroSide destination;
    int32_t decision;
    int32_t reason;
  } rows[] = {
      {{'=', SynchroStep::Leave, SynchroEnd_Source},
       0,
       file,
       file,
       SynchroDecision_Leave,
       SynchroReason_Unchanged},
      {{'!', SynchroStep::Leave, SynchroEnd_Source},
       0,
       file,
       file,
       SynchroDecision_Leave,
       SynchroReason_Conflict},
      {{'=', SynchroStep::Leave, SynchroEnd_Source},
       SynchroEntryFlag_Unclear,
       file,
       file,
       SynchroDecision_Leave,
       SynchroReason_Unclear},
      {{'=', SynchroStep::Pass, SynchroEnd_Source},
       0,
       folder,
       none,
       SynchroDecision_Leave,
       SynchroReason_Directory},
      {{'=', SynchroStep::Pass, SynchroEnd_Source},
       SynchroEntryFlag_Unclear,
       folder,
       none,
       SynchroDecision_Leave,
       SynchroReason_Directory},
      {{'<', SynchroStep::Enter, SynchroEnd_Destination},
       0,
       none,
       folder,
       SynchroDecision_Enter,
       SynchroReason_Directory},
      {{'>', SynchroStep::Copy, SynchroEnd_Source},
       0,
       file,
       none,
       SynchroDecision_CopyToDestination,
       SynchroReason_Missing},
      {{'>', SynchroStep::Copy, SynchroEnd_Source},
       0,
       file,
       file,
       SynchroDecision_CopyToDestination,
       SynchroReason_Changed},
      {{'<', SynchroStep::Copy, SynchroEnd_Destination},
       0,
       none,
       file,
       SynchroDecision_CopyToSource,
       SynchroReason_Missing},
      {{'<', SynchroStep::Copy, SynchroEnd_Destination},
       0,
       file,
       file,
       SynchroDecision_CopyToSource,
       SynchroReason_Changed},
      {{'>', SynchroStep::Delete, SynchroEnd_Source},
       0,
       none,
       file,
       SynchroDecision_DeleteAtDestination,
       SynchroReason_Gone},
      {{'<', SynchroStep::Delete, SynchroEnd_Destination},
       0,
       file,
       none,
       SynchroDecision_DeleteAtSource,
       SynchroReason_Gone},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(i);
    const SynchroEntry entry = {nullptr, 0, rows[i].flags, {rows[i].source, rows[i].destination}};
    EXPECT_EQ(iSynchro_DecisionOf(rows[i].action), rows[i].decision);
    EXPECT_EQ(iSynchro_ReasonOf(rows[i].action, entry), rows[i].reason);
  }
}

TEST(SynchroDecision, IsLeftInstead) {
  const struct {
    SynchroAction action;
    SynchroStep step;
  } rows[] = {
      {{'>', SynchroStep::Copy, SynchroEnd_Source}, SynchroStep::Leave},
      {{'<', SynchroStep::Delete, SynchroEnd_Destination}, SynchroStep::Leave},
      {{'!', SynchroStep::Leave, SynchroEnd_Source}, SynchroStep::Leave},
      {{'>', SynchroStep::Enter, SynchroEnd_Source}, SynchroStep::Pass},
      {{'<', SynchroStep::Pass, SynchroEnd_Destination}, SynchroStep::Pass},
  };
  for (const auto& row : rows) {
    const SynchroAction left = iSynchro_LeaveInstead(row.action);
    EXPECT_EQ(left.mark, '=');
    EXPECT_EQ(left.step, row.step);
    EXPECT_EQ(left.from, row.action.from);
  }
}

TEST(SynchroDecision, IsForeseenToFailOnAFolder) {
  const SynchroSide file = FileOf(100);
  const SynchroSide folder = {1, 1, 2, {100, 0}};
  const SynchroSide lost = {0, 1, 2, {100, 0}};
  const SynchroAction copy = {'>', SynchroStep::Copy, SynchroEnd_Source};
  const SynchroAction remove = {'<', SynchroStep::Delete, SynchroEnd_Destination};
  EXPECT_EQ(iSynchro_Foresee(copy, {nullptr, 0, 0, {file, file}}), Error_None);
  EXPECT_EQ(iSynchro_Foresee(copy, {nullptr, 0, 0, {file, folder}}), Error_Exists);
  EXPECT_EQ(iSynchro_Foresee(copy, {nullptr, 0, 0, {file, lost}}), Error_None);
  EXPECT_EQ(iSynchro_Foresee(remove, {nullptr, 0, 0, {file, lost}}), Error_None);
  EXPECT_EQ(iSynchro_Foresee(remove, {nullptr, 0, 0, {folder, lost}}), Error_Invalid);
}

TEST(SynchroTakeDone, TakesTheCopysValues) {
  SynchroEntry entry = {nullptr, 2, 0, {FileOf(100), FileOf(50)}};
  const SynchroSide made = {1, 0, 9, {300, 0}};
  iSynchro_TakeDone(&made, SynchroEnd_Destination, &entry);
  EXPECT_EQ(entry.state, 0u);
  EXPECT_EQ(entry.sides[1].size, 9u);
  EXPECT_EQ(entry.sides[1].time.seconds, 300u);
  EXPECT_EQ(entry.sides[0].time.seconds, 100u);
}

TEST(SynchroTakeDone, TakesOnlyThePresenceOfADeletedFile) {
  SynchroEntry entry = {nullptr, 2, 0, {FileOf(100), FileOf(50)}};
  iSynchro_TakeDone(nullptr, SynchroEnd_Destination, &entry);
  EXPECT_EQ(entry.state, 0u);
  EXPECT_EQ(entry.sides[1].present, 0u);
  EXPECT_EQ(entry.sides[1].size, 5u);
  EXPECT_EQ(entry.sides[1].time.seconds, 50u);
}

TEST(SynchroEntries, MarksAllNamesThatDifferOnlyInCase) {
  SynchroEntries entries;
  for (const char* const name : {"a", "B", "A", "c", "sub", "SUB", "b", "d", "D"}) {
    SynchroEntry* const entry = entries.Add(name);
    ASSERT_NE(entry, nullptr);
    entry->sides[SynchroEnd_Source].present = 1;
  }
  entries.Find("D")->sides[SynchroEnd_Source].present = 0;
  entries.Find("SUB")->sides[SynchroEnd_Destination] = {1, 1, 0, {}};
  EXPECT_EQ(iSynchro_MarkLookAlikes(&entries), Error_None);
  std::string marked;
  for (uint32_t i = 0; i < entries.Count(); ++i) {
    const SynchroEntry& entry = entries.At(i);
    if (!entry.Has(SynchroEntryFlag_LookAlike)) continue;
    EXPECT_TRUE(entry.Has(SynchroEntryFlag_Unclear));
    EXPECT_EQ(iSynchro_Decide(SynchroFlag_Recurse | 15, entry).step, SynchroStep::Leave);
    marked += std::string(entry.name) + " ";
  }
  EXPECT_EQ(marked, "a B A sub SUB b ");
}

}  // namespace
