// --max-delete.
#include "tool/sync_limit.h"

#include <gtest/gtest.h>

using tool::DeletionLimit;
using tool::ParseDeletionLimit;

namespace {

std::string Text(const std::string& text) {
  const auto limit = ParseDeletionLimit(text);
  return limit ? std::to_string(limit->number) + (limit->isShare ? " share" : " files") : "none";
}

TEST(DeletionLimit, IsANumberOrAShare) {
  EXPECT_EQ(Text("50"), "50 files");
  EXPECT_EQ(Text("0"), "0 files");
  EXPECT_EQ(Text("4000000000"), "4000000000 files");
  EXPECT_EQ(Text("20%"), "20 share");
  EXPECT_EQ(Text("0%"), "0 share");
  EXPECT_EQ(Text("100%"), "100 share");
}

TEST(DeletionLimit, IsNothingElse) {
  for (const char* text : {"", "%", "-1", "1.5", "101%", "20 %", "%20", "x", "20%%", "4000000001", "0x10"})
    EXPECT_EQ(Text(text), "none") << text;
}

TEST(DeletionLimit, IsExceededByOneMore) {
  EXPECT_FALSE(tool::ExceedsLimit({50, false}, 50, 60));
  EXPECT_TRUE(tool::ExceedsLimit({50, false}, 51, 60));
  EXPECT_FALSE(tool::ExceedsLimit({0, false}, 0, 60));
  EXPECT_TRUE(tool::ExceedsLimit({0, false}, 1, 60));
  EXPECT_FALSE(tool::ExceedsLimit({20, true}, 2, 10));
  EXPECT_TRUE(tool::ExceedsLimit({20, true}, 2, 9));
  EXPECT_FALSE(tool::ExceedsLimit({100, true}, 9, 9));
  EXPECT_FALSE(tool::ExceedsLimit({0, true}, 0, 0));
  EXPECT_TRUE(tool::ExceedsLimit({0, true}, 1, 1000));
  EXPECT_TRUE(tool::ExceedsLimit({99, true}, 4294967295u, 4294967295u)) << "beyond 32 bits";
}

TEST(DeletionLimit, IsFiftyUnasked) {
  EXPECT_EQ(tool::LimitText(DeletionLimit{}, 9), "50");
  EXPECT_EQ(tool::LimitText({20, true}, 1400), "20% of 1,400 files");
}

}  // namespace
