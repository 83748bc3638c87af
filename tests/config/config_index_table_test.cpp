// The table of keys, with hashes that a test chooses: those that meet in one place, and round the table's
// end.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "config/config_index.h"
#include "config/config_internal.h"
#include "qz/error.h"
#include "tests/support/fail_allocation.h"

namespace {

class Entry {
 public:
  Entry(const char* text, uint32_t hash) {
    key_.Set(text, false);
    key_.hash = hash;
    key_.bytes[key_.length] = '\0';
    record_.field = key_.bytes;
    record_.line.code = ConfigCode_Line;
    record_.line.fieldCount = 1;
  }
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  const ConfigKey& key() const { return key_; }
  uint32_t hash() const { return key_.hash; }
  ConfigLine* line() { return &record_.line; }

 private:
  ConfigKey key_;
  // The pointers to the fields stand right behind a line.
  struct {
    ConfigLine line;
    char* field;
  } record_{};
};

class ConfigIndexTable : public testing::Test {
 protected:
  ~ConfigIndexTable() override { index_.Free(); }

  void Insert(Entry* entry) { ASSERT_EQ(index_.Insert(entry->key(), entry->line()), Error_None); }

  ConfigIndex index_{};
};

TEST_F(ConfigIndexTable, KeepsKeysApartWhoseHashesAreEqual) {
  Entry a("a", 9);
  Entry b("b", 9);
  Entry ab("ab", 9);
  Entry none("c", 9);
  for (Entry* entry : {&ab, &a, &b}) Insert(entry);
  EXPECT_EQ(index_.Find(a.key()), a.line());
  EXPECT_EQ(index_.Find(b.key()), b.line());
  EXPECT_EQ(index_.Find(ab.key()), ab.line());
  EXPECT_EQ(index_.Find(none.key()), nullptr);
  EXPECT_TRUE(index_.Holds(9, b.line()));
  EXPECT_FALSE(index_.Holds(9, none.line()));
}

TEST_F(ConfigIndexTable, PutsARecordInThePlaceOfAnother) {
  Entry a("a", 9);
  Entry b("b", 9);
  Entry newer("b", 9);
  Insert(&a);
  Insert(&b);
  index_.Replace(9, b.line(), newer.line());
  EXPECT_EQ(index_.Find(a.key()), a.line());
  EXPECT_EQ(index_.Find(b.key()), newer.line());
  EXPECT_FALSE(index_.Holds(9, b.line()));
  EXPECT_TRUE(index_.Holds(9, newer.line()));
}

// A new table has eight places, and four keys are the most that it takes. The low three bits of a hash are
// its own place: 8 and 16 lead to the first, which follows the last.
TEST_F(ConfigIndexTable, FindsTheOthersWhicheverIsRemoved) {
  const std::vector<uint32_t> hashes = {5, 6, 7, 8, 1, 16};
  const size_t count = hashes.size();
  for (size_t i = 0; i < count * count * count * count; ++i) {
    Entry a("a", hashes[i % count]);
    Entry b("b", hashes[i / count % count]);
    Entry c("c", hashes[i / count / count % count]);
    Entry d("d", hashes[i / count / count / count]);
    Entry* const entries[] = {&a, &b, &c, &d};
    for (int first = 0; first < 4; ++first) {
      for (Entry* entry : entries) Insert(entry);
      for (int removed = 0; removed < 4; ++removed) {
        Entry* entry = entries[(first + removed * 3) % 4];
        index_.Remove(entry->hash(), entry->line());
        EXPECT_EQ(index_.Find(entry->key()), nullptr);
        EXPECT_FALSE(index_.Holds(entry->hash(), entry->line()));
        for (int left = removed + 1; left < 4; ++left) {
          Entry* other = entries[(first + left * 3) % 4];
          ASSERT_EQ(index_.Find(other->key()), other->line()) << i << " " << first << " " << removed;
          ASSERT_TRUE(index_.Holds(other->hash(), other->line()));
        }
      }
    }
  }
}

TEST_F(ConfigIndexTable, TakesNoMoreMemoryForKeysThatComeAndGo) {
  Entry a("a", 1);
  Entry b("b", 2);
  Insert(&a);
  iMemory_FailAllocation(1);
  for (int i = 0; i < 1000; ++i) {
    Insert(&b);
    index_.Remove(b.hash(), b.line());
  }
  iMemory_FailAllocation(0);
  EXPECT_EQ(index_.Find(a.key()), a.line());
}

TEST_F(ConfigIndexTable, GoesInTheOrderOfKeysWhateverTheirHashes) {
  Entry b("b", 3);
  Entry a("a", 11);
  Entry ab("ab", 19);
  Entry high("\xE4", 27);
  for (Entry* entry : {&b, &a, &ab, &high}) Insert(entry);
  EXPECT_EQ(index_.Next(nullptr, false), high.line());
  EXPECT_EQ(index_.Next("\xE4", false), a.line());
  EXPECT_EQ(index_.Next("a", false), ab.line());
  EXPECT_EQ(index_.Next("aa", false), ab.line());
  EXPECT_EQ(index_.Next("ab", false), b.line());
  EXPECT_EQ(index_.Next("b", false), nullptr);
}

// Each step has to find the next key without a place to keep the order.
TEST_F(ConfigIndexTable, GoesInTheSameOrderWithoutMemory) {
  Entry b("b", 3);
  Entry longer("a\xE4", 11);
  Entry a("a", 19);
  Entry high("\xE4", 27);
  for (Entry* entry : {&b, &longer, &a, &high}) Insert(entry);
  const auto next = [&](const char* after) {
    iMemory_FailAllocation(1);
    ConfigRecord* record = index_.Next(after, false);
    iMemory_FailAllocation(0);
    return record;
  };
  EXPECT_EQ(next(nullptr), high.line());
  EXPECT_EQ(next("\xE4"), a.line());
  EXPECT_EQ(next("a"), longer.line());
  EXPECT_EQ(next("a\xE4"), b.line());
  EXPECT_EQ(next("b"), nullptr);
}

// The order is there before the keys change, and follows them.
TEST_F(ConfigIndexTable, KeepsTheOrderOverChanges) {
  Entry a("a", 1);
  Entry b("b", 2);
  Entry c("c", 3);
  Entry newer("b", 2);
  Insert(&a);
  Insert(&c);
  EXPECT_EQ(index_.Next("a", false), c.line());
  Insert(&b);
  EXPECT_EQ(index_.Next("a", false), b.line());
  index_.Replace(2, b.line(), newer.line());
  EXPECT_EQ(index_.Next("a", false), newer.line());
  index_.Remove(2, newer.line());
  EXPECT_EQ(index_.Next("a", false), c.line());
  index_.Remove(1, a.line());
  EXPECT_EQ(index_.Next(nullptr, false), c.line());
}

// The same when the order cannot be kept: it is made anew.
TEST_F(ConfigIndexTable, GoesInOrderAfterAChangeWithoutMemory) {
  Entry a("a", 1);
  Entry abc("abc", 2);
  Entry abd("abd", 3);
  Insert(&a);
  Insert(&abd);
  EXPECT_EQ(index_.Next("a", false), abd.line());
  iMemory_FailAllocation(1);
  Insert(&abc);
  iMemory_FailAllocation(0);
  EXPECT_EQ(index_.Next("a", false), abc.line());
  EXPECT_EQ(index_.Next("abc", false), abd.line());
}

}  // namespace
