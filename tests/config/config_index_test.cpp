// ConfigIndex: keys that meet in one place of the table.
#include "config/config_index.h"

#include <gtest/gtest.h>

#include <string>

#include "os/text/texthash_testing.h"
#include "tests/config/config_fixture.h"

namespace {

// The texts below have equal hashes from the seed 1.
class ConfigIndexWithSeed : public testing::Test {
 protected:
  ConfigIndexWithSeed() { iTextHash_SetSeed(1); }
  ~ConfigIndexWithSeed() override { iTextHash_SetSeed(0); }
};

TEST_F(ConfigIndexWithSeed, KeepsDifferentKeysOfTheSameHash) {
  ConfigKey first;
  ConfigKey second;
  first.Set("K579599", true);
  second.Set("K762382", true);
  ASSERT_EQ(first.hash, second.hash) << "other texts are needed for this test";
  Document document(Pairs(), "K579599 1\nK762382 2\n");
  EXPECT_EQ(document.Fields(document.Find("k579599")), "<K579599><1>");
  EXPECT_EQ(document.Fields(document.Find("k762382")), "<K762382><2>");
  Config_RemoveLine(document.get(), document.Find("k579599"));
  EXPECT_EQ(document.Fields(document.Find("k579599")), "none");
  EXPECT_EQ(document.Fields(document.Find("k762382")), "<K762382><2>");
}

// Whatever is removed, in whatever order, the others are found.
TEST(ConfigIndex, FindsTheOthersWhenSomeAreRemoved) {
  constexpr int kKeys = 300;
  for (int step : {1, 7, 61, 299}) {
    Document document(Pairs());
    std::string bytes;
    for (int i = 0; i < kKeys; ++i) bytes += "k" + std::to_string(i) + " v\n";
    document.Read(bytes);
    for (int removed = 0; removed < kKeys; ++removed) {
      const std::string key = "k" + std::to_string(removed * step % kKeys);
      ASSERT_NE(document.Find(key.c_str()), nullptr) << key;
      Config_RemoveLine(document.get(), document.Find(key.c_str()));
      ASSERT_EQ(document.Find(key.c_str()), nullptr) << key;
      for (int left = removed + 1; left < kKeys; left += 5) {
        const std::string other = "k" + std::to_string(left * step % kKeys);
        ASSERT_NE(document.Find(other.c_str()), nullptr) << other;
      }
    }
  }
}

}  // namespace
