// Meter, bars and lines of transfers, with a clock of the test's own.
#include "tool/progress.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using tool::BarContent;
using tool::BarLines;
using tool::FitToRows;
using tool::PlainLine;
using tool::ProgressMeter;
using Texts = std::vector<std::string>;

constexpr std::uint64_t kMebibyte = 1024 * 1024;

class Meter : public testing::Test {
 protected:
  ProgressMeter::Clock::time_point start_{seconds(1000)};
  ProgressMeter meter_{0, 100 * kMebibyte, start_};
};

TEST_F(Meter, ShowsNoSpeedAtFirst) {
  EXPECT_EQ(meter_.Text(start_), "0 bytes of 100.0 MiB");
  meter_.MoveTo(kMebibyte, start_ + milliseconds(499));
  EXPECT_EQ(meter_.Text(start_ + milliseconds(499)), "1.0 MiB of 100.0 MiB");
}

TEST_F(Meter, TakesTheFirstSampleAfterHalfASecond) {
  meter_.MoveTo(kMebibyte, start_ + milliseconds(500));
  EXPECT_EQ(meter_.SpeedText(), "2.0 MiB/s");
  EXPECT_EQ(meter_.TimeLeftText(), "50 seconds left");  // 49.5
  EXPECT_EQ(meter_.Text(start_ + milliseconds(500)), "1.0 MiB of 100.0 MiB  2.0 MiB/s  50 seconds left");
}

TEST_F(Meter, SmoothsLaterSamples) {
  meter_.MoveTo(10 * kMebibyte, start_ + seconds(1));
  meter_.MoveTo(30 * kMebibyte, start_ + seconds(2));
  EXPECT_EQ(meter_.SpeedText(), "13.0 MiB/s");  // 0.3 * 20 + 0.7 * 10
}

TEST_F(Meter, MeasuresAcrossAPause) {
  meter_.MoveTo(10 * kMebibyte, start_ + seconds(1));
  for (int i = 1; i < 20; i++) meter_.MoveTo(10 * kMebibyte, start_ + seconds(1) + milliseconds(100 * i));
  EXPECT_EQ(meter_.SpeedText(), "10.0 MiB/s");
  meter_.MoveTo(12 * kMebibyte, start_ + seconds(3));
  EXPECT_EQ(meter_.SpeedText(), "7.3 MiB/s");  // 0.3 * 1 + 0.7 * 10
}

TEST_F(Meter, BeginsAnewAtAPositionBefore) {
  meter_.MoveTo(10 * kMebibyte, start_ + seconds(1));
  meter_.MoveTo(0, start_ + seconds(2));
  EXPECT_EQ(meter_.Text(start_ + seconds(2)), "0 bytes of 100.0 MiB  10.0 MiB/s  10 seconds left");
  meter_.MoveTo(20 * kMebibyte, start_ + seconds(3));
  EXPECT_EQ(meter_.SpeedText(), "13.0 MiB/s");
}

TEST_F(Meter, TellsForHowLongNoDataCame) {
  meter_.MoveTo(kMebibyte, start_ + seconds(1));
  const auto last = start_ + seconds(1);
  EXPECT_EQ(meter_.NoDataText(last + milliseconds(2999)), "");
  EXPECT_EQ(meter_.NoDataText(last + seconds(3)), "no data for 3 s");
  EXPECT_EQ(meter_.NoDataText(last + milliseconds(12999)), "no data for 12 s");
  EXPECT_EQ(meter_.NoDataText(last + seconds(7200)), "no data for 7200 s");
  EXPECT_EQ(meter_.Text(last + milliseconds(2999)),
            "1.0 MiB of 100.0 MiB  1.0 MiB/s  1 minute 39 seconds left");
  EXPECT_EQ(meter_.Text(last + seconds(12)), "1.0 MiB of 100.0 MiB  no data for 12 s");
}

TEST_F(Meter, CountsFromTheLastByteWhateverIsDrawn) {
  meter_.MoveTo(kMebibyte, start_ + seconds(1));
  for (int i = 0; i < 5; i++) meter_.MoveTo(kMebibyte, start_ + seconds(2 + i));
  EXPECT_EQ(meter_.NoDataText(start_ + seconds(6)), "no data for 5 s");
  meter_.MoveTo(kMebibyte + 1, start_ + seconds(7));
  EXPECT_EQ(meter_.NoDataText(start_ + seconds(7)), "");
}

TEST_F(Meter, MissesNothingBeforeTheFirstByteOrBehindTheLast) {
  EXPECT_EQ(meter_.Text(start_ + seconds(4)), "0 bytes of 100.0 MiB  no data for 4 s");
  meter_.MoveTo(100 * kMebibyte, start_ + seconds(5));
  EXPECT_EQ(meter_.Text(start_ + seconds(60)), "100.0 MiB of 100.0 MiB  20.0 MiB/s");
}

TEST_F(Meter, TakesATotalThatIsKnownLater) {
  ProgressMeter meter(0, std::nullopt, start_);
  meter.MoveTo(5 * kMebibyte, start_ + seconds(1));
  EXPECT_EQ(meter.Share(), std::nullopt);
  EXPECT_EQ(meter.Text(start_ + seconds(1)), "5.0 MiB  5.0 MiB/s");
  meter.SetTotal(20 * kMebibyte);
  EXPECT_EQ(meter.Share(), 0.25);
  EXPECT_EQ(meter.Text(start_ + seconds(1)), "5.0 MiB of 20.0 MiB  5.0 MiB/s  3 seconds left");
}

TEST_F(Meter, CountsBeyondFourGibibytes) {
  ProgressMeter meter(std::uint64_t{5} << 30, std::uint64_t{20} << 30, start_);
  EXPECT_EQ(meter.Share(), 0.25);
  meter.MoveTo(std::uint64_t{10} << 30, start_ + seconds(5));
  EXPECT_EQ(meter.Text(start_ + seconds(5)), "10.0 GiB of 20.0 GiB  1.0 GiB/s  10 seconds left");
}

TEST_F(Meter, HasAFullShareOfNothingAndOfTooMuch) {
  EXPECT_EQ(ProgressMeter(0, 0, start_).Share(), 1.0);
  EXPECT_EQ(ProgressMeter(11, 10, start_).Share(), 1.0);
}

TEST(BarLines, ShowsNameShareBarAndText) {
  EXPECT_EQ(BarLines({{"disk.iso", 0.25, "1.0 MiB of 4.0 MiB"}}, 80),
            Texts{"disk.iso  25% [=====>              ] 1.0 MiB of 4.0 MiB                      "});
  EXPECT_EQ(BarLines({{"disk.iso", 1.0, "done"}}, 48),
            Texts{"disk.iso 100% [====================] done    "});
}

TEST(BarLines, LeavesOutTheBarThenPartsOfTheText) {
  const BarContent content{"disk.iso", 0.25, "1.0 MiB of 4.0 MiB"};
  EXPECT_EQ(BarLines({content}, 48), Texts{"disk.iso  25% [==>       ] 1.0 MiB of 4.0 MiB"});
  EXPECT_EQ(BarLines({content}, 47), Texts{"disk.iso  25% 1.0 MiB of 4.0 MiB            "});
  EXPECT_EQ(BarLines({content}, 30), Texts{"disk.iso  25%              "});
  EXPECT_EQ(BarLines({content}, 12), Texts{"dis  25% "});
  EXPECT_EQ(BarLines({content}, 3), Texts{" "});
  EXPECT_EQ(BarLines({content}, 1), Texts{" "});
}

TEST(BarLines, CutsNoNumberInTwo) {
  const BarContent content{"disk.iso", 0.25, "1.0 MiB of 4.0 MiB  512.0 KiB/s  6 seconds left"};
  EXPECT_EQ(BarLines({content}, 64), Texts{"disk.iso  25% 1.0 MiB of 4.0 MiB  512.0 KiB/s  6 seconds left"});
  EXPECT_EQ(BarLines({content}, 63), Texts{"disk.iso  25% 1.0 MiB of 4.0 MiB  512.0 KiB/s               "});
  EXPECT_EQ(BarLines({content}, 48), Texts{"disk.iso  25% 1.0 MiB of 4.0 MiB  512.0 KiB/s"});
  EXPECT_EQ(BarLines({content}, 47), Texts{"disk.iso  25% 1.0 MiB of 4.0 MiB            "});
  EXPECT_EQ(BarLines({content}, 34), Texts{"disk.iso  25%                  "});
}

TEST(BarLines, HasNoBarWithoutAShare) {
  EXPECT_EQ(BarLines({{"disk.iso", std::nullopt, "next try in 8 s"}}, 40),
            Texts{"disk.iso next try in 8 s             "});
}

TEST(BarLines, AlignsTheNames) {
  EXPECT_EQ(BarLines({{"a", 0.5, "x"}, {"long.iso", std::nullopt, "y"}, {"日本", 0.0, "z"}}, 31),
            (Texts{"a         50% [=====>    ] x", "long.iso y                  ",
                   "日本       0% [>         ] z"}));
}

TEST(BarLines, CutsNamesAtAThirdOfTheLineAnd24Columns) {
  const std::string name(60, 'n');
  EXPECT_EQ(BarLines({{name, std::nullopt, "text"}}, 33), Texts{"nnnnnnnnnn text               "});
  EXPECT_EQ(BarLines({{name, std::nullopt, "t"}}, 103)[0].substr(0, 27), "nnnnnnnnnnnnnnnnnnnnnnnn t ");
  // Nine columns: four characters of two, and no half one.
  EXPECT_EQ(BarLines({{"日本語日本語", std::nullopt, "text"}}, 30), Texts{"日本語日 text              "});
}

TEST(PlainLine, NamesTheTransferFirst) {
  EXPECT_EQ(PlainLine({"disk.iso", 0.256, "1.0 MiB of 4.0 MiB"}), "disk.iso:  25%  1.0 MiB of 4.0 MiB");
  EXPECT_EQ(PlainLine({"disk.iso", std::nullopt, "1.0 MiB"}), "disk.iso: 1.0 MiB");
}

TEST(FitToRows, KeepsARowForMessages) {
  const Texts three = {"a", "b", "c"};
  EXPECT_EQ(FitToRows(three, 24, 20), three);
  EXPECT_EQ(FitToRows(three, 4, 20), three);
  EXPECT_EQ(FitToRows(three, 3, 20), (Texts{"a", "... and 2 more   "}));
  EXPECT_EQ(FitToRows(three, 2, 20), (Texts{"a", "... and 2 more   "}));
  EXPECT_EQ(FitToRows(three, 1, 20), (Texts{"a", "... and 2 more   "}));
  EXPECT_EQ(FitToRows({"a", "b"}, 1, 20), (Texts{"a", "b"}));
  EXPECT_EQ(FitToRows({}, 1, 20), Texts{});
}

TEST(FitToRows, CountsWhatIsMissing) {
  const Texts lines(16, "x");
  EXPECT_EQ(FitToRows(lines, 6, 13), (Texts{"x", "x", "x", "x", "... and 12"}));
  EXPECT_EQ(FitToRows(lines, 6, 30).back(), "... and 12 more            ");
}

}  // namespace
