// Hash: sizes, probing, removal and the table's statuses.
#include "qz/hash.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <utility>
#include <vector>

#include "containers/hash_testing.h"
#include "os/core/owned.h"
#include "qz/error.h"
#include "tests/support/container_models.h"
#include "tests/support/fail_allocation.h"

namespace {

using OwnedHash = Owned<Hash, Hash_Delete>;
using Nodes = std::vector<std::pair<Word, Word>>;

std::vector<Word>& Deleted() {
  static std::vector<Word> values;
  return values;
}

void RecordDeleted(Word value) {
  Deleted().push_back(value);
}

uint32_t Zero(Word) {
  return 0;
}
uint32_t Identity(Word key) {
  return static_cast<uint32_t>(key);
}
uint32_t Tenfold(Word key) {
  return static_cast<uint32_t>(key) * 10;
}
uint32_t Scramble(Word key) {
  return static_cast<uint32_t>(key) * 2654435761u;
}

OwnedHash NewHash(uint32_t sizeHint, std::vector<HashFunction> functions = {}) {
  Deleted().clear();
  return OwnedHash(
      Hash_New(sizeHint, static_cast<uint32_t>(functions.size()), functions.data(), RecordDeleted));
}

// Keys first to last, each with the value 1000 + key.
void InsertKeys(Hash* table, Word first, Word last) {
  for (Word key = first; key <= last; ++key)
    ASSERT_EQ(Hash_InsertNode(table, key, 1000 + key), Error_None) << key;
}

Nodes NodesOf(const Hash* table) {
  Nodes nodes;
  Hash_ForEachNode(
      table,
      [](Word key, Word value, void* context) {
        static_cast<Nodes*>(context)->emplace_back(key, value);
        return 0;
      },
      &nodes);
  return nodes;
}

TEST(HashNew, TakesTheNextPrimeForTheHint) {
  const uint32_t rows[][2] = {{0, 7},         {1, 1},         {2, 2},         {3, 3},         {4, 5},
                              {5, 5},         {6, 7},         {7, 7},         {8, 11},        {12, 13},
                              {100, 103},     {103, 103},     {104, 109},     {110, 127},     {499, 499},
                              {500, 541},     {541, 541},     {1000, 1031},   {32749, 32749}, {32750, 34807},
                              {60139, 60139}, {60140, 63901}, {63900, 63901}, {63901, 63901}};
  for (auto& row : rows) EXPECT_EQ(iHash_CountBuckets(NewHash(row[0]).get()), row[1]) << row[0];
}

TEST(HashNew, HasEverySize) {
  const uint32_t sizes[] = {
      1,     2,     3,     5,     7,     11,    13,    17,    19,    23,    29,    31,    37,    41,
      43,    47,    53,    59,    67,    71,    79,    83,    89,    97,    103,   109,   127,   137,
      149,   163,   173,   191,   211,   227,   241,   257,   277,   307,   331,   353,   379,   409,
      439,   467,   499,   541,   577,   613,   653,   701,   751,   797,   853,   907,   967,   1031,
      1097,  1171,  1249,  1327,  1409,  1499,  1597,  1697,  1811,  1931,  2053,  2203,  2341,  2503,
      2659,  2833,  3011,  3203,  3407,  3623,  3851,  4091,  4349,  4621,  4909,  5227,  5557,  5923,
      6299,  6701,  7121,  7573,  8053,  8563,  9103,  9677,  10289, 10937, 11621, 12347, 13121, 13963,
      14843, 15773, 16759, 17807, 18919, 20101, 21377, 22717, 24137, 25657, 27271, 28979, 30803, 32749,
      34807, 36997, 39313, 41771, 44381, 47161, 50111, 53267, 56597, 60139, 63901};
  EXPECT_EQ(std::size(sizes), 123u);
  uint32_t below = 0;
  for (uint32_t size : sizes) {
    if (below != 0) {
      EXPECT_EQ(iHash_CountBuckets(NewHash(below + 1).get()), size);
    }
    EXPECT_EQ(iHash_CountBuckets(NewHash(size).get()), size);
    below = size;
  }
}

TEST(HashNew, ClampsAHintBeyondTheLargestSize) {
  for (uint32_t hint : {63902u, 100000u, 34918434u, 0xFFFFFFFFu}) {
    EXPECT_EQ(iHash_CountBuckets(NewHash(hint).get()), 63901u) << hint;
  }
}

TEST(HashNew, RefusesMissingFunctions) {
  EXPECT_EQ(Hash_New(0, 1, nullptr, nullptr), nullptr);
  const HashFunction functions[] = {Identity, nullptr};
  EXPECT_EQ(Hash_New(0, 2, functions, nullptr), nullptr);
  EXPECT_EQ(Hash_New(0, 0xFFFFFFFFu, nullptr, nullptr), nullptr);
}

TEST(HashNew, CopiesTheFunctions) {
  HashFunction functions[] = {Zero, Identity};
  OwnedHash table(Hash_New(0, 2, functions, nullptr));
  functions[0] = functions[1] = nullptr;
  EXPECT_EQ(Hash_InsertNode(table.get(), 3, 30), Error_None);
  EXPECT_EQ(Hash_QueryNode(table.get(), 3), 30u);
}

TEST(HashInsert, FillsTheDefaultTableBeforeItGrows) {
  OwnedHash table = NewHash(0);
  InsertKeys(table.get(), 1, 7);
  EXPECT_EQ(iHash_CountBuckets(table.get()), 7u);
  EXPECT_EQ(Hash_CountNodes(table.get()), 7u);
  InsertKeys(table.get(), 8, 8);
  EXPECT_EQ(iHash_CountBuckets(table.get()), 11u);
  EXPECT_EQ(Hash_CountNodes(table.get()), 8u);
}

TEST(HashInsert, FillsEverySmallTableCompletely) {
  OwnedHash table = NewHash(1);
  const uint32_t bucketsAfter[] = {1, 2, 3, 5, 5, 7, 7, 11, 13, 13, 13, 13, 17};
  // 9 nodes: 8 are more than 7, so the table of 11 grew before the ninth; 13 holds 12, one more than 11.
  for (Word key = 1; key <= 13; ++key) {
    InsertKeys(table.get(), key, key);
    EXPECT_EQ(iHash_CountBuckets(table.get()), bucketsAfter[key - 1]) << key;
  }
}

TEST(HashInsert, HoldsTwelveOfThirteen) {
  OwnedHash table = NewHash(13);
  InsertKeys(table.get(), 1, 12);
  EXPECT_EQ(iHash_CountBuckets(table.get()), 13u);
  InsertKeys(table.get(), 13, 13);
  EXPECT_EQ(iHash_CountBuckets(table.get()), 17u);
}

TEST(HashInsert, ReturnsExists_WhenKeyIsPresent) {
  OwnedHash table = NewHash(0);
  InsertKeys(table.get(), 1, 3);
  EXPECT_EQ(Hash_InsertNode(table.get(), 2, 77), Error_Exists);
  EXPECT_EQ(Hash_QueryNode(table.get(), 2), 1002u);
  EXPECT_EQ(Hash_CountNodes(table.get()), 3u);
  EXPECT_TRUE(Deleted().empty());
}

TEST(HashInsert, GrowsEvenForAKeyThatIsPresent) {
  OwnedHash table = NewHash(0);
  InsertKeys(table.get(), 1, 7);
  EXPECT_EQ(Hash_InsertNode(table.get(), 2, 77), Error_Exists);
  EXPECT_EQ(iHash_CountBuckets(table.get()), 11u);
  EXPECT_EQ(Hash_CountNodes(table.get()), 7u);
  EXPECT_EQ(Hash_QueryNode(table.get(), 2), 1002u);
}

TEST(HashInsert, ReturnsExceed_AtTheLargestSize) {
  OwnedHash table = NewHash(63901);
  InsertKeys(table.get(), 1, 60140);
  EXPECT_EQ(Hash_InsertNode(table.get(), 60141, 1), Error_Exceed);
  EXPECT_EQ(Hash_InsertNode(table.get(), 17, 1), Error_Exceed);
  EXPECT_EQ(Hash_CountNodes(table.get()), 60140u);
  EXPECT_EQ(Hash_QueryNode(table.get(), 17), 1017u);
  EXPECT_EQ(Hash_QueryNode(table.get(), 60141), 0u);
}

TEST(HashInsert, RefusesTheValueZero) {
  OwnedHash table = NewHash(0);
  InsertKeys(table.get(), 1, 7);
  EXPECT_EQ(Hash_InsertNode(table.get(), 8, 0), Error_Invalid);
  EXPECT_EQ(iHash_CountBuckets(table.get()), 7u);
  EXPECT_EQ(Hash_CountNodes(table.get()), 7u);
}

TEST(HashInsert, StoresTheKeyZero) {
  OwnedHash table = NewHash(0);
  EXPECT_EQ(Hash_QueryNode(table.get(), 0), 0u);
  EXPECT_EQ(Hash_InsertNode(table.get(), 0, 5), Error_None);
  EXPECT_EQ(Hash_QueryNode(table.get(), 0), 5u);
}

TEST(HashInsert, KeepsKeysApartThatDifferInAnyBit) {
  OwnedHash table = NewHash(0, {Identity});
  const Word high = Word{1} << (sizeof(Word) * 8 - 1);
  EXPECT_EQ(Hash_InsertNode(table.get(), 5, 50), Error_None);
  EXPECT_EQ(Hash_InsertNode(table.get(), high + 5, 51), Error_None);
  EXPECT_EQ(Hash_QueryNode(table.get(), 5), 50u);
  EXPECT_EQ(Hash_QueryNode(table.get(), high + 5), 51u);
}

TEST(HashProbe, StepsForwardAndWrapsWithoutFunctions) {
  OwnedHash table = NewHash(0);
  for (Word key : {6, 13, 20, 2}) EXPECT_EQ(Hash_InsertNode(table.get(), key, key), Error_None);
  EXPECT_EQ(NodesOf(table.get()), (Nodes{{13, 13}, {20, 20}, {2, 2}, {6, 6}}));
}

TEST(HashProbe, TriesEveryFunctionAndThenTheSlotsBehindTheLast) {
  OwnedHash table = NewHash(0, {Zero, Identity});
  for (Word key : {14, 3, 10, 4}) EXPECT_EQ(Hash_InsertNode(table.get(), key, key), Error_None);
  // 14 in slot 0; 3 in slot 3 by the second function; 10 has slot 3 too and moves on to 4; 4 to 5.
  EXPECT_EQ(NodesOf(table.get()), (Nodes{{14, 14}, {3, 3}, {10, 10}, {4, 4}}));
  EXPECT_EQ(Hash_InsertNode(table.get(), 2, 2), Error_None);
  EXPECT_EQ(NodesOf(table.get()), (Nodes{{14, 14}, {2, 2}, {3, 3}, {10, 10}, {4, 4}}));
}

TEST(HashQuery, FindsNoAbsentKeyInAFullTable) {
  const std::vector<HashFunction> choices[] = {{}, {Identity}, {Zero, Identity}, {Zero, Tenfold, Scramble}};
  for (const auto& functions : choices) {
    OwnedHash table = NewHash(0, functions);
    InsertKeys(table.get(), 1, 7);
    EXPECT_EQ(Hash_QueryNode(table.get(), 100), 0u);
    EXPECT_EQ(Hash_RemoveNode(table.get(), 100), 0u);
    for (Word key = 1; key <= 7; ++key) EXPECT_EQ(Hash_QueryNode(table.get(), key), 1000 + key);
  }
}

TEST(HashProbe, TakesKeysAsUnsigned) {
  OwnedHash table = NewHash(0);
  const Word high = 0xFFFFFFFFu;  // 7 goes into it 613566756 times and leaves 3
  for (Word key : {high, Word{3}, Word{1}}) EXPECT_EQ(Hash_InsertNode(table.get(), key, key), Error_None);
  EXPECT_EQ(NodesOf(table.get()), (Nodes{{1, 1}, {high, high}, {3, 3}}));
}

TEST(Hash, WorksWithOneSlot) {
  const std::vector<HashFunction> choices[] = {{}, {Identity}, {Zero, Identity}};
  for (const auto& functions : choices) {
    OwnedHash table = NewHash(1, functions);
    EXPECT_EQ(Hash_QueryNode(table.get(), 5), 0u);
    InsertKeys(table.get(), 5, 5);
    EXPECT_EQ(Hash_QueryNode(table.get(), 6), 0u);
    EXPECT_EQ(Hash_ReplaceNode(table.get(), 6, 1), Error_NotFound);
    EXPECT_EQ(Hash_RemoveNode(table.get(), 6), 0u);
    EXPECT_EQ(Hash_RemoveNode(table.get(), 5), 1005u);
    EXPECT_EQ(Hash_CountNodes(table.get()), 0u);
    InsertKeys(table.get(), 6, 6);
    EXPECT_EQ(NodesOf(table.get()), (Nodes{{6, 1006}}));
    EXPECT_EQ(iHash_CountBuckets(table.get()), 1u);
  }
}

TEST(HashReplace, DeletesTheOldValueEvenWhenItIsTheSame) {
  OwnedHash table = NewHash(0);
  InsertKeys(table.get(), 1, 1);
  EXPECT_EQ(Hash_ReplaceNode(table.get(), 1, 55), Error_None);
  EXPECT_EQ(Hash_ReplaceNode(table.get(), 1, 55), Error_None);
  EXPECT_EQ(Deleted(), (std::vector<Word>{1001, 55}));
  EXPECT_EQ(Hash_QueryNode(table.get(), 1), 55u);
}

TEST(HashReplace, ReturnsNotFound_WhenKeyIsAbsent) {
  OwnedHash table = NewHash(0);
  EXPECT_EQ(Hash_ReplaceNode(table.get(), 1, 55), Error_NotFound);
  EXPECT_EQ(Hash_CountNodes(table.get()), 0u);
}

TEST(HashReplace, RefusesTheValueZero) {
  OwnedHash table = NewHash(0);
  InsertKeys(table.get(), 1, 1);
  EXPECT_EQ(Hash_ReplaceNode(table.get(), 1, 0), Error_Invalid);
  EXPECT_EQ(Hash_ReplaceNode(table.get(), 2, 0), Error_Invalid);
  EXPECT_EQ(Hash_QueryNode(table.get(), 1), 1001u);
  EXPECT_TRUE(Deleted().empty());
}

TEST(HashRemove, HandsTheValueBackWithoutDeletingIt) {
  OwnedHash table = NewHash(0);
  InsertKeys(table.get(), 1, 2);
  EXPECT_EQ(Hash_RemoveNode(table.get(), 1), 1001u);
  EXPECT_EQ(Hash_RemoveNode(table.get(), 1), 0u);
  EXPECT_EQ(Hash_CountNodes(table.get()), 1u);
  EXPECT_TRUE(Deleted().empty());
}

TEST(HashRemove, MovesACollidingKeyBack) {
  OwnedHash table = NewHash(0);
  Hash_InsertNode(table.get(), 7, 70);
  Hash_InsertNode(table.get(), 14, 140);
  EXPECT_EQ(NodesOf(table.get()), (Nodes{{7, 70}, {14, 140}}));
  EXPECT_EQ(Hash_RemoveNode(table.get(), 7), 70u);
  // 1 takes its home slot, which 14 left for slot 0.
  Hash_InsertNode(table.get(), 1, 10);
  EXPECT_EQ(NodesOf(table.get()), (Nodes{{14, 140}, {1, 10}}));
}

TEST(HashRemove, ClosesTheGapAroundTheEndOfTheSlots) {
  OwnedHash table = NewHash(0);
  for (Word key : {6, 13, 20, 2}) Hash_InsertNode(table.get(), key, key);
  EXPECT_EQ(Hash_RemoveNode(table.get(), 6), 6u);
  EXPECT_EQ(NodesOf(table.get()), (Nodes{{20, 20}, {2, 2}, {13, 13}}));
}

TEST(HashRemove, LeavesAKeyInItsHomeSlot) {
  OwnedHash table = NewHash(0);
  for (Word key : {0, 1, 7}) Hash_InsertNode(table.get(), key, key + 1);
  EXPECT_EQ(Hash_RemoveNode(table.get(), 0), 1u);
  // 1 stays in slot 1, 7 moves from 2 to 0.
  EXPECT_EQ(NodesOf(table.get()), (Nodes{{7, 8}, {1, 2}}));
}

TEST(HashRemove, LooksThroughTheWholeTable_WithSeveralFunctions) {
  OwnedHash table = NewHash(0, {Zero, Identity});
  Hash_InsertNode(table.get(), 14, 140);
  Hash_InsertNode(table.get(), 3, 30);  // slot 3, behind the empty slots 1 and 2
  EXPECT_EQ(Hash_RemoveNode(table.get(), 14), 140u);
  EXPECT_EQ(Hash_QueryNode(table.get(), 3), 30u);
  EXPECT_EQ(Hash_InsertNode(table.get(), 3, 31), Error_Exists);
  // 3 is in slot 0 now, so 10 finds slot 3 free.
  Hash_InsertNode(table.get(), 10, 100);
  EXPECT_EQ(NodesOf(table.get()), (Nodes{{3, 30}, {10, 100}}));
}

TEST(HashRemove, ShrinksByOneSize_WhenNodesFallBelowThePrimeThreeBelow) {
  OwnedHash table = NewHash(173);
  InsertKeys(table.get(), 1, 138);
  EXPECT_EQ(Hash_RemoveNode(table.get(), 1), 1001u);
  EXPECT_EQ(iHash_CountBuckets(table.get()), 173u);
  EXPECT_EQ(Hash_RemoveNode(table.get(), 2), 1002u);
  EXPECT_EQ(Hash_CountNodes(table.get()), 136u);
  EXPECT_EQ(iHash_CountBuckets(table.get()), 163u);
  for (Word key = 3; key <= 138; ++key) EXPECT_EQ(Hash_QueryNode(table.get(), key), 1000 + key);
}

TEST(HashRemove, ShrinksOneSizeAtATime) {
  OwnedHash table = NewHash(103);
  InsertKeys(table.get(), 1, 2);
  EXPECT_EQ(Hash_RemoveNode(table.get(), 1), 1001u);
  EXPECT_EQ(iHash_CountBuckets(table.get()), 97u);
}

TEST(HashRemove, NeverShrinksBelowSevenSlots) {
  OwnedHash table = NewHash(11);
  InsertKeys(table.get(), 1, 3);
  EXPECT_EQ(Hash_RemoveNode(table.get(), 1), 1001u);
  EXPECT_EQ(iHash_CountBuckets(table.get()), 7u);
  EXPECT_EQ(Hash_RemoveNode(table.get(), 2), 1002u);
  EXPECT_EQ(Hash_RemoveNode(table.get(), 3), 1003u);
  EXPECT_EQ(iHash_CountBuckets(table.get()), 7u);
  EXPECT_EQ(Hash_CountNodes(table.get()), 0u);
}

TEST(HashDeleteNode, CallsTheDeleter) {
  OwnedHash table = NewHash(0);
  InsertKeys(table.get(), 1, 2);
  EXPECT_EQ(Hash_DeleteNode(table.get(), 2), Error_None);
  EXPECT_EQ(Deleted(), (std::vector<Word>{1002}));
  EXPECT_EQ(Hash_DeleteNode(table.get(), 2), Error_NotFound);
  EXPECT_EQ(Deleted().size(), 1u);
}

TEST(HashDelete, CallsTheDeleterInSlotOrder) {
  OwnedHash table = NewHash(0);
  for (Word key : {5, 3, 1, 8, 7, 6}) Hash_InsertNode(table.get(), key, key * 10);
  table.reset();
  // 7 stands in the first of the seven slots and 6 in the last; 8 belongs in slot 1, which is taken, and
  // stands in 2.
  EXPECT_EQ(Deleted(), (std::vector<Word>{70, 10, 80, 30, 50, 60}));
}

TEST(Hash, NeedsNoDeleter) {
  OwnedHash table(Hash_New(0, 0, nullptr, nullptr));
  InsertKeys(table.get(), 1, 3);
  EXPECT_EQ(Hash_ReplaceNode(table.get(), 1, 5), Error_None);
  EXPECT_EQ(Hash_DeleteNode(table.get(), 1), Error_None);
  EXPECT_EQ(Hash_CountNodes(table.get()), 2u);
}

TEST(HashForEach, StopsAtANonZeroResult) {
  OwnedHash table = NewHash(0);
  InsertKeys(table.get(), 1, 5);
  struct Visit {
    int count = 0;
    static int32_t Next(Word key, Word /*value*/, void* context) {
      ++static_cast<Visit*>(context)->count;
      return key == 3 ? -42 : 0;
    }
  } visit;
  EXPECT_EQ(Hash_ForEachNode(table.get(), Visit::Next, &visit), -42);
  EXPECT_EQ(visit.count, 3);
}

TEST(Hash, RefusesNullPointers) {
  EXPECT_EQ(Hash_InsertNode(nullptr, 1, 1), Error_Invalid);
  EXPECT_EQ(Hash_ReplaceNode(nullptr, 1, 1), Error_Invalid);
  EXPECT_EQ(Hash_QueryNode(nullptr, 1), 0u);
  EXPECT_EQ(Hash_RemoveNode(nullptr, 1), 0u);
  EXPECT_EQ(Hash_DeleteNode(nullptr, 1), Error_Invalid);
  EXPECT_EQ(Hash_CountNodes(nullptr), 0u);
  Hash_Delete(nullptr);
  OwnedHash table = NewHash(0);
  InsertKeys(table.get(), 1, 1);
  EXPECT_EQ(Hash_ForEachNode(table.get(), nullptr, nullptr), 0);
  EXPECT_EQ(Hash_ForEachNode(
                nullptr, [](Word, Word, void*) { return 1; }, nullptr),
            0);
}

TEST(HashMemory, LeavesTheTableAsItWas_WhenGrowingFails) {
  FailEveryAllocation([] {
    OwnedHash table = NewHash(0);
    if (!table) return;
    InsertKeys(table.get(), 1, 7);
    const int32_t status = Hash_InsertNode(table.get(), 8, 1008);
    ASSERT_TRUE(status == 0 || status == 1) << status;
    EXPECT_EQ(iHash_CountBuckets(table.get()), status == 0 ? 11u : 7u);
    EXPECT_EQ(Hash_CountNodes(table.get()), status == 0 ? 8u : 7u);
    for (Word key = 1; key <= 7; ++key) EXPECT_EQ(Hash_QueryNode(table.get(), key), 1000 + key);
  });
}

TEST(HashMemory, ClosesTheGapInPlace_WhenShrinkingFails) {
  const std::vector<HashFunction> choices[] = {{}, {Zero}, {Zero, Identity}};
  for (const auto& functions : choices) {
    OwnedHash table = NewHash(11, functions);
    InsertKeys(table.get(), 1, 3);
    iMemory_FailAllocation(1);
    EXPECT_EQ(Hash_RemoveNode(table.get(), 1), 1001u);
    iMemory_FailAllocation(0);
    EXPECT_EQ(iHash_CountBuckets(table.get()), 11u);
    EXPECT_EQ(Hash_QueryNode(table.get(), 1), 0u);
    EXPECT_EQ(Hash_QueryNode(table.get(), 2), 1002u);
    EXPECT_EQ(Hash_QueryNode(table.get(), 3), 1003u);
  }
}

TEST(HashMemory, AllocatesTheRecordAndTheSlotsOnly) {
  const int64_t before = iMemory_CountLive();
  OwnedHash table = NewHash(0, {Identity, Zero});
  InsertKeys(table.get(), 1, 40);
  EXPECT_EQ(iMemory_CountLive() - before, 2);
}

class HashRandom : public testing::TestWithParam<std::vector<HashFunction>> {};

TEST_P(HashRandom, AgreesWithTheModelSlotBySlot) {
  std::mt19937 random(20250101);
  OwnedHash table = NewHash(0, GetParam());
  HashModel model(4, GetParam());
  for (int step = 0; step < 20000; ++step) {
    // The table fills and empties in turn.
    const bool filling = step / 1500 % 2 == 0;
    const Word key = random() % 400 * 3;
    const Word value = random() % 1000 + 1;
    const uint32_t choice = random() % 8;
    if (choice == 0) {
      ASSERT_EQ(Hash_ReplaceNode(table.get(), key, value), model.Replace(key, value));
    } else if ((choice < 6) == filling) {
      ASSERT_EQ(Hash_InsertNode(table.get(), key, value), model.Insert(key, value));
    } else {
      ASSERT_EQ(Hash_RemoveNode(table.get(), key), model.Remove(key));
    }
    ASSERT_EQ(Hash_QueryNode(table.get(), key), model.Query(key));
    ASSERT_EQ(iHash_CountBuckets(table.get()), model.CountBuckets());
    if (step % 16 == 0) {
      ASSERT_EQ(NodesOf(table.get()), model.Nodes()) << step;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Functions, HashRandom,
                         testing::Values(std::vector<HashFunction>{}, std::vector<HashFunction>{Scramble},
                                         std::vector<HashFunction>{Zero},
                                         std::vector<HashFunction>{Identity, Scramble},
                                         std::vector<HashFunction>{Scramble, Tenfold, Zero}));

}  // namespace
