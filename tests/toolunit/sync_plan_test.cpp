// The plan of qz sync in memory.
#include "tool/sync_plan.h"

#include <gtest/gtest.h>

#include <vector>

using tool::SyncKind;
using tool::SyncPlan;

namespace {

constexpr SynchroValues kNone = {0, 0, 0, {0, 0}};
constexpr SynchroValues kFile = {1, 0, 5, {1000, 0}};
constexpr SynchroValues kFolder = {1, 1, 2, {1000, 0}};

SynchroEntryInfo Entry(const char* directory, const char* name, std::int32_t decision, std::int32_t reason,
                       SynchroValues source, SynchroValues destination) {
  SynchroEntryInfo entry = {};
  entry.directory = directory;
  entry.name = name;
  entry.decision = decision;
  entry.reason = reason;
  entry.now[0] = source;
  entry.now[1] = destination;
  return entry;
}

SynchroEntryInfo Copy(const char* directory, const char* name) {
  return Entry(directory, name, SynchroDecision_CopyToDestination, SynchroReason_Missing, kFile, kNone);
}

SynchroEntryInfo Left(std::int32_t reason, SynchroValues source, SynchroValues destination) {
  return Entry("", "x", SynchroDecision_Leave, reason, source, destination);
}

TEST(SyncKind, FollowsTheDecision) {
  const auto kindOf = [](std::int32_t decision) {
    return tool::KindOf(Entry("", "x", decision, SynchroReason_Changed, kFile, kFile));
  };
  EXPECT_EQ(kindOf(SynchroDecision_CopyToSource), SyncKind::CopyToSource);
  EXPECT_EQ(kindOf(SynchroDecision_CopyToDestination), SyncKind::CopyToDestination);
  EXPECT_EQ(kindOf(SynchroDecision_DeleteAtSource), SyncKind::DeleteAtSource);
  EXPECT_EQ(kindOf(SynchroDecision_DeleteAtDestination), SyncKind::DeleteAtDestination);
  EXPECT_EQ(kindOf(SynchroDecision_Enter), SyncKind::Folder);
}

TEST(SyncKind, OfWhatIsLeftFollowsTheReason) {
  EXPECT_EQ(tool::KindOf(Left(SynchroReason_Unchanged, kFile, kFile)), SyncKind::Equal);
  EXPECT_EQ(tool::KindOf(Left(SynchroReason_Alike, kFile, kFile)), SyncKind::Equal);
  EXPECT_EQ(tool::KindOf(Left(SynchroReason_Conflict, kFile, kFile)), SyncKind::Conflict);
  EXPECT_EQ(tool::KindOf(Left(SynchroReason_Conflict, kFolder, kFile)), SyncKind::FolderConflict);
  EXPECT_EQ(tool::KindOf(Left(SynchroReason_Conflict, kFile, kFolder)), SyncKind::FolderConflict);
  EXPECT_EQ(tool::KindOf(Left(SynchroReason_Kept, kFile, kNone)), SyncKind::KeptAtSource);
  EXPECT_EQ(tool::KindOf(Left(SynchroReason_Kept, kNone, kFile)), SyncKind::KeptAtDestination);
  EXPECT_EQ(tool::KindOf(Left(SynchroReason_NotWhole, kFile, kNone)), SyncKind::NotWhole);
  EXPECT_EQ(tool::KindOf(Left(SynchroReason_Ambiguous, kFile, kFile)), SyncKind::Ambiguous);
  EXPECT_EQ(tool::KindOf(Left(SynchroReason_Unclear, kFile, kNone)), SyncKind::Unclear);
  EXPECT_EQ(tool::KindOf(Left(SynchroReason_Directory, kFolder, kNone)), SyncKind::Folder);
}

TEST(SyncKind, OfAChangeAgainstTheDirectionTellsTheSide) {
  SynchroEntryInfo entry = Left(SynchroReason_Kept, kFile, kFile);
  entry.before[0] = kFile;
  entry.before[1] = {1, 0, 4, {1000, 0}};
  EXPECT_EQ(tool::KindOf(entry), SyncKind::ChangedAtDestination);
  std::swap(entry.before[0], entry.before[1]);
  EXPECT_EQ(tool::KindOf(entry), SyncKind::ChangedAtSource);
}

TEST(SyncKind, OfWhatASideHasLostMindsPresenceOnly) {
  SynchroValues lost = kFolder;
  lost.isPresent = 0;
  EXPECT_EQ(tool::KindOf(Left(SynchroReason_Conflict, kFile, lost)), SyncKind::Conflict);
}

TEST(Adoption, IsWhatTheTableDoesNotHave) {
  EXPECT_TRUE(tool::IsAdopted(Left(SynchroReason_Alike, kFile, kFile)));
  EXPECT_TRUE(tool::IsAdopted(Left(SynchroReason_Forgotten, kNone, kNone)));
  EXPECT_FALSE(tool::IsAdopted(Left(SynchroReason_Unchanged, kFile, kFile)));
  EXPECT_FALSE(tool::IsAdopted(Left(SynchroReason_Kept, kFile, kNone)));
  SynchroEntryInfo folder = Left(SynchroReason_Directory, kFolder, kFolder);
  EXPECT_TRUE(tool::IsAdopted(folder)) << "unknown";
  folder.isKnown = 1;
  folder.before[0] = folder.before[1] = {1, 1, 9, {2000, 0}};
  EXPECT_FALSE(tool::IsAdopted(folder)) << "size and time change with what is in it";
  folder.before[1] = kNone;
  EXPECT_TRUE(tool::IsAdopted(folder));
}

TEST(SyncPlan, HasWhatWasPlannedWithTheSameValues) {
  SyncPlan plan;
  plan.Add(Copy("s", "x"), SyncKind::CopyToDestination);
  plan.Seal();
  EXPECT_TRUE(plan.Has(Copy("s", "x"), SyncKind::CopyToDestination));
  EXPECT_FALSE(plan.Has(Copy("s", "x"), SyncKind::CopyToSource));
  EXPECT_FALSE(plan.Has(Copy("s", "x"), SyncKind::DeleteAtSource));
  EXPECT_FALSE(plan.Has(Copy("s", "y"), SyncKind::CopyToDestination));
  EXPECT_FALSE(plan.Has(Copy("s", "w"), SyncKind::CopyToDestination));
  EXPECT_FALSE(plan.Has(Copy("", "x"), SyncKind::CopyToDestination));
  EXPECT_FALSE(plan.Has(Copy("s/t", "x"), SyncKind::CopyToDestination));
}

TEST(SyncPlan, MindsEachValueOfBothSides) {
  SyncPlan plan;
  plan.Add(Entry("", "x", SynchroDecision_CopyToDestination, SynchroReason_Changed, kFile, kFile),
           SyncKind::CopyToDestination);
  plan.Seal();
  constexpr SynchroValues kOther[] = {{0, 0, 5, {1000, 0}},
                                      {1, 1, 5, {1000, 0}},
                                      {1, 0, 6, {1000, 0}},
                                      {1, 0, 5, {1001, 0}},
                                      {1, 0, 5, {1000, 1}}};
  for (const SynchroValues& other : kOther) {
    for (const int side : {0, 1}) {
      SynchroEntryInfo entry =
          Entry("", "x", SynchroDecision_CopyToDestination, SynchroReason_Changed, kFile, kFile);
      EXPECT_TRUE(plan.Has(entry, SyncKind::CopyToDestination));
      entry.now[side] = other;
      EXPECT_FALSE(plan.Has(entry, SyncKind::CopyToDestination)) << side;
    }
  }
}

TEST(SyncPlan, MindsOfAMissingFileOnlyThatItIsMissing) {
  SyncPlan plan;
  plan.Add(Copy("", "x"), SyncKind::CopyToDestination);
  plan.Seal();
  SynchroEntryInfo entry = Copy("", "x");
  entry.now[1].size = 7;
  EXPECT_TRUE(plan.Has(entry, SyncKind::CopyToDestination));
}

TEST(SyncPlan, MindsOfAFolderOnlyWhereItIs) {
  const auto folder = [](std::uint32_t links) {
    return Entry("", "s", SynchroDecision_Enter, SynchroReason_Directory, {1, 1, links, {links, 0}}, kNone);
  };
  SyncPlan plan;
  plan.Add(folder(2), SyncKind::Folder);
  plan.Seal();
  EXPECT_TRUE(plan.Has(folder(3), SyncKind::Folder));
  SynchroEntryInfo other = folder(2);
  other.now[1] = kFolder;
  EXPECT_FALSE(plan.Has(other, SyncKind::Folder));
}

TEST(SyncPlan, ShowsFoldersAndNamesInOrder) {
  SyncPlan plan;
  for (const auto& [directory, name] : std::vector<std::pair<const char*, const char*>>{
           {"s", "b"}, {"", "z"}, {"s", "a"}, {"", "m"}, {"r/q", "k"}})
    plan.Add(Copy(directory, name), SyncKind::CopyToDestination);
  plan.Seal();
  std::vector<std::string> shown;
  plan.ForEach([&shown](const std::string& path, SyncKind) { shown.push_back(path); });
  EXPECT_EQ(shown, (std::vector<std::string>{"m", "z", "r/q/k", "s/a", "s/b"}));
  EXPECT_TRUE(plan.Has(Copy("s", "a"), SyncKind::CopyToDestination)) << "added out of order";
}

TEST(SyncPlan, PathsOfEntries) {
  EXPECT_EQ(tool::PathOf(Copy("", "x")), "x");
  EXPECT_EQ(tool::PathOf(Copy("s/t", "x")), "s/t/x");
  EXPECT_EQ(tool::PathOf(Copy("s/t", "")), "s/t");
}

}  // namespace
