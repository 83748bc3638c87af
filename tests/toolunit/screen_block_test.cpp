// The block of lines at the bottom of a terminal: its updates, and what they make of the screen.
#include "tool/screen_block.h"

#include <gtest/gtest.h>

#include "tests/toolunit/screen.h"

namespace {

using tool::ScreenBlock;
using tool::ScreenUpdate;
using Texts = std::vector<std::string>;

TEST(ScreenBlock, DrawsOneLineWithoutMovingUp) {
  ScreenBlock block;
  EXPECT_EQ(block.Replace("", {"one"}, 10), (ScreenUpdate{0, false, "one"}));
  EXPECT_EQ(block.Replace("", {"two"}, 10), (ScreenUpdate{0, false, "\rtwo"}));
  EXPECT_EQ(block.Replace("hello\n", {"two"}, 10), (ScreenUpdate{0, false, "\r         \rhello\ntwo"}));
  EXPECT_EQ(block.Replace("last\n", {}, 10), (ScreenUpdate{0, false, "\r         \rlast\n"}));
}

TEST(ScreenBlock, DoesNothingWhenNothingChanges) {
  ScreenBlock block;
  EXPECT_EQ(block.Replace("", {}, 10), ScreenUpdate());
  block.Replace("", {"one", "two"}, 10);
  EXPECT_EQ(block.Replace("", {"one", "two"}, 10), ScreenUpdate());
}

TEST(ScreenBlock, PrintsMessagesAsTheyAreWithoutABlock) {
  ScreenBlock block;
  EXPECT_EQ(block.Replace("hello\n", {}, 10), (ScreenUpdate{0, false, "hello\n"}));
}

TEST(ScreenBlock, MovesTheCursorUpForSeveralLines) {
  ScreenBlock block;
  EXPECT_EQ(block.Replace("", {"one", "two", "three"}, 10), (ScreenUpdate{0, false, "one\ntwo\nthree"}));
  EXPECT_EQ(block.Replace("", {"ONE", "two", "THREE"}, 10), (ScreenUpdate{2, false, "ONE\ntwo\nTHREE"}));
  EXPECT_EQ(block.Replace("hello\n", {"ONE", "two", "THREE"}, 10),
            (ScreenUpdate{2, true, "hello\nONE\ntwo\nTHREE"}));
  EXPECT_EQ(block.Replace("", {"one"}, 10), (ScreenUpdate{2, true, "one"}));
}

class BlockOnScreen : public testing::Test {
 protected:
  void Replace(const std::string& messages, const Texts& lines) {
    const ScreenUpdate update = block_.Replace(messages, lines, 20);
    if (update.linesUp > 0) screen_.Show("\x1b[" + std::to_string(update.linesUp) + "A\r");
    if (update.erasesBelow) screen_.Show("\x1b[J");
    screen_.Show(update.text);
  }

  Screen screen_{4, 20};
  ScreenBlock block_;
};

TEST_F(BlockOnScreen, GrowsAndShrinks) {
  Replace("", {"a  1"});
  Replace("", {"a  2", "b  1"});
  EXPECT_EQ(screen_.Lines(), (Texts{"a  2", "b  1"}));
  Replace("", {"a  3", "b  2", "c  1"});
  EXPECT_EQ(screen_.Lines(), (Texts{"a  3", "b  2", "c  1"}));
  Replace("", {"b  3"});
  EXPECT_EQ(screen_.Lines(), Texts{"b  3"});
  Replace("", {});
  EXPECT_EQ(screen_.Lines(), Texts{});
}

TEST_F(BlockOnScreen, LetsMessagesPassAbove) {
  Replace("", {"a  1", "b  1"});
  Replace("hello\n", {"a  1", "b  1"});
  EXPECT_EQ(screen_.Lines(), (Texts{"hello", "a  1", "b  1"}));
  Replace("two\nlines\n", {"a  2", "b  2"});
  EXPECT_EQ(screen_.Lines(), (Texts{"hello", "two", "lines", "a  2", "b  2"}));
  Replace("a is done\n", {"b  3"});
  EXPECT_EQ(screen_.Lines(), (Texts{"hello", "two", "lines", "a is done", "b  3"}));
  Replace("b is done\n", {});
  EXPECT_EQ(screen_.Lines(), (Texts{"hello", "two", "lines", "a is done", "b is done"}));
}

TEST_F(BlockOnScreen, StaysRightWhenTheScreenScrolls) {
  for (int i = 0; i < 6; i++) Replace("message " + std::to_string(i) + "\n", {"a", "b", "c"});
  Replace("", {"A", "B", "C"});
  EXPECT_EQ(screen_.Lines(), (Texts{"message 0", "message 1", "message 2", "message 3", "message 4",
                                    "message 5", "A", "B", "C"}));
}

TEST_F(BlockOnScreen, LetsAMessageWrap) {
  Replace("", {"a", "b"});
  Replace("a message of more than twenty columns\n", {"a", "b"});
  EXPECT_EQ(screen_.Lines(), (Texts{"a message of more th", "an twenty columns", "a", "b"}));
}

}  // namespace
