// What is remembered of servers: the fields of its two files, the arithmetic, when it is saved, and what
// damaged files do.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "formats_page.h"
#include "os/core/memory_testing.h"
#include "os/file/file_internal.h"
#include "os/platform/filelock.h"
#include "tests/config/config_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/transfer_fixture.h"
#include "transfer/statistics_internal.h"
#include "transfer/statistics_testing.h"
#include "transfer/statistics_values.h"

namespace {

constexpr uint8_t kAddress[4] = {10, 0, 0, 1};
constexpr uint8_t kOtherAddress[4] = {192, 168, 20, 255};
constexpr char kServer[] = "ftp.example";

std::string Shown(const ServerStatistics& statistics) {
  return std::to_string(statistics.speedSamples) + " " + std::to_string(statistics.averageSpeed) + " " +
         std::to_string(statistics.outcomeSamples) + " " + std::to_string(statistics.successRatio);
}

std::string Formatted(const ServerStatistics& statistics) {
  char text[kStatisticsTextSize];
  iStatistics_FormatValues(statistics, text);
  return text;
}

// The block of docs/formats.md below a heading.
std::string PageText(const std::string& heading) {
  const std::string page(kFormatsPage);
  const std::string fence = "```\n";
  const size_t below = page.find("\n" + heading + "\n");
  if (below == std::string::npos) return "no such heading";
  const size_t begin = page.find(fence, below) + fence.size();
  return page.substr(begin, page.find(fence, begin) - begin);
}

// ---- the fields --------------------------------------------------------------------------------

TEST(StatisticsValues, PrintsAnAverageWithSixPlaces) {
  const struct {
    float average;
    const char* text;
  } rows[] = {
      {-1.0f, "-1.000000"},
      {0.0f, "0.000000"},
      {0.5f, "0.500000"},
      {0.1f, "0.100000"},
      {1000.25f, "1000.250000"},
      {0.0078125f, "0.007812"},  // half-way, to the even digit
      {0.0234375f, "0.023438"},
      {0.0000004f, "0.000000"},
      {0.0000006f, "0.000001"},
      {0.9999999f, "1.000000"},
      {123456.789f, "123456.789062"},
      {16777215.0f, "16777215.000000"},
      {16777216.0f, "16777216.000000"},
      {1.5e9f, "1500000000.000000"},
      {1e20f, "100000002004087734272.000000"},
      {std::numeric_limits<float>::max(), "340282346638528859811704183484516925440.000000"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Formatted({7, row.average, 0, 0.5f}), std::string("7 ") + row.text + " 0 0.500000");
}

TEST(StatisticsValues, PrintsCountsAndRatio) {
  EXPECT_EQ(Formatted(kNoStatistics), "0 -1.000000 0 0.500000");
  EXPECT_EQ(Formatted({4294967295u, 2.0f, 3000000000u, 0.75f}), "4294967295 2.000000 3000000000 0.750000");
}

TEST(StatisticsValues, ReadsWhatItPrints) {
  const struct {
    std::vector<const char*> fields;
    ServerStatistics values;
  } rows[] = {
      {{"0", "-1.000000", "0", "0.500000"}, {0, -1.0f, 0, 0.5f}},
      {{"3", "1000.250000", "4", "0.750000"}, {3, 1000.25f, 4, 0.75f}},
      {{"4294967295", "0.100000", "1", "0.000000"}, {4294967295u, 0.1f, 1, 0.0f}},
      {{"4294967296", "1.0", "99999999999999999999", "1"}, {4294967295u, 1.0f, 4294967295u, 1.0f}},
      {{"1", "340282346638528859811704183484516925440.000000", "0", "0.5"},
       {1, std::numeric_limits<float>::max(), 0, 0.5f}},
      {{"1", "7.", "1", "00.25"}, {1, 7.0f, 1, 0.25f}},
      // Without a sample the average is none.
      {{"0", "12.5", "0", "0.9"}, {0, -1.0f, 0, 0.5f}},
      {{"0", "-7", "0", "-3"}, {0, -1.0f, 0, 0.5f}},
  };
  for (const auto& row : rows) {
    ServerStatistics statistics = {9, 9, 9, 9};
    EXPECT_TRUE(iStatistics_ParseValues(row.fields.data(), &statistics)) << row.fields[0] << row.fields[1];
    EXPECT_EQ(statistics.speedSamples, row.values.speedSamples);
    EXPECT_EQ(statistics.averageSpeed, row.values.averageSpeed);
    EXPECT_EQ(statistics.outcomeSamples, row.values.outcomeSamples);
    EXPECT_EQ(statistics.successRatio, row.values.successRatio);
  }
}

TEST(StatisticsValues, TakesADamagedLineForAMissingOne) {
  const std::vector<const char*> rows[] = {
      {"-1", "5", "1", "0.5"},
      {"1", "nan", "1", "0.5"},
      {"1", "5", "1", "nan"},
      {"1", "inf", "1", "0.5"},
      {"1", "-5", "1", "0.5"},
      {"1", "5", "1", "-0.5"},
      {"1", "5", "1", "1.000001"},
      {"x", "5", "1", "0.5"},
      {"1", "x", "1", "0.5"},
      {"1", "5", "x", "0.5"},
      {"1", "5", "1", "x"},
      {"1x", "5", "1", "0.5"},
      {"1", "5x", "1", "0.5"},
      {"1", "5.5.5", "1", "0.5"},
      {"1", "1e5", "1", "0.5"},
      {"1", ".5", "1", "0.5"},
      {"1", "0x5", "1", "0.5"},
      {"1", "5", "-1", "0.5"},
      {"1", "--5", "1", "0.5"},
      {"1", "", "1", "0.5"},
      {"", "5", "1", "0.5"},
      {"0", "nan", "0", "0.5"},
      {"1", "5,5", "1", "0.5"},
      {"+1", "5", "1", "0.5"},
      {"1", "340282356779733661637539395458142568448", "1", "0.5"},
  };
  for (const auto& row : rows) {
    ServerStatistics statistics = {9, 9, 9, 9};
    EXPECT_FALSE(iStatistics_ParseValues(row.data(), &statistics))
        << row[0] << " " << row[1] << " " << row[3];
    EXPECT_EQ(Shown(statistics), "0 -1.000000 0 0.500000");
  }
  const std::string many(5000, '9');
  for (const std::string& number : {many, "0." + many, many + "." + many}) {
    const char* fields[] = {"1", number.c_str(), "1", "0.5"};
    ServerStatistics statistics;
    EXPECT_FALSE(iStatistics_ParseValues(fields, &statistics)) << "a number of 5,000 digits";
  }
}

TEST(StatisticsValues, AveragesSamples) {
  ServerStatistics statistics = kNoStatistics;
  iStatistics_AddSpeed(100.0f, &statistics);
  EXPECT_EQ(Shown(statistics), "1 100.000000 0 0.500000") << "(0 x -1 + 100) / 1";
  iStatistics_AddSpeed(200.0f, &statistics);
  EXPECT_EQ(Shown(statistics), "2 150.000000 0 0.500000");
  iStatistics_AddSpeed(0.0f, &statistics);
  EXPECT_EQ(Shown(statistics), "3 100.000000 0 0.500000");
  iStatistics_AddOutcome(0.0f, &statistics);
  EXPECT_EQ(Shown(statistics), "3 100.000000 1 0.000000") << "(0 x 0.5 + 0) / 1";
  iStatistics_AddOutcome(1.0f, &statistics);
  EXPECT_EQ(Shown(statistics), "3 100.000000 2 0.500000");
  statistics = {0, -1.0f, 3, 1.0f};
  iStatistics_AddOutcome(0.0f, &statistics);
  EXPECT_EQ(Shown(statistics), "0 -1.000000 4 0.750000");
}

TEST(StatisticsValues, ComputesInDoublePrecision) {
  // In single precision 16777217 is 16777216, and the average would stay.
  ServerStatistics statistics = {16777217, 16777216.0f, 0, 0.5f};
  iStatistics_AddSpeed(0.0f, &statistics);
  EXPECT_EQ(statistics.averageSpeed, 16777215.0f);
  EXPECT_EQ(statistics.speedSamples, 16777218u);
}

TEST(StatisticsValues, StopsCountingAtTheLargestNumber) {
  ServerStatistics statistics = {4294967294u, 8.0f, 4294967295u, 1.0f};
  iStatistics_AddSpeed(8.0f, &statistics);
  iStatistics_AddSpeed(8.0f, &statistics);
  iStatistics_AddOutcome(1.0f, &statistics);
  EXPECT_EQ(Shown(statistics), "4294967295 8.000000 4294967295 1.000000");
}

TEST(StatisticsValues, NamesAServerByHostAndPort) {
  char key[kServerKeySize];
  EXPECT_TRUE(iStatistics_MakeServerKey("Ftp.example", 21, key));
  EXPECT_STREQ(key, "Ftp.example:21");
  EXPECT_TRUE(iStatistics_MakeServerKey("h\xC3\xA9", -7, key));
  EXPECT_STREQ(key, "h\xC3\xA9:-7");
  EXPECT_TRUE(iStatistics_MakeServerKey(std::string(1023, 'h').c_str(), 65535, key));
  EXPECT_EQ(std::string(key), std::string(1023, 'h') + ":65535");
  EXPECT_FALSE(iStatistics_MakeServerKey(std::string(1024, 'h').c_str(), 21, key));
  EXPECT_FALSE(iStatistics_MakeServerKey(nullptr, 21, key));
  for (const char* host : {"a b", " a", "a\t", "a\n", "a\r", "a\x01", "a\x7F", "a#b", "#"})
    EXPECT_FALSE(iStatistics_MakeServerKey(host, 21, key)) << host;
}

TEST(StatisticsValues, PrintsAndReadsAddresses) {
  char text[kAddressTextSize];
  iStatistics_FormatAddress({{255, 0, 16, 1}}, text);
  EXPECT_STREQ(text, "255.0.16.1");
  iStatistics_FormatAddress({{255, 255, 255, 255}}, text);
  EXPECT_STREQ(text, "255.255.255.255");
  ServerAddress address;
  EXPECT_TRUE(iStatistics_ParseAddress("1.22.255.0", &address));
  iStatistics_FormatAddress(address, text);
  EXPECT_STREQ(text, "1.22.255.0");
  for (const char* wrong :
       {"", "1", "1.2.3", "1.2.3.", "1.2.3.4.", "1.2.3.4.5", "1.2.3.256", "4294967297.2.3.4", "1.2.3.4x",
        "a.b.c.d", "1..3.4", ".1.2.3.4", "-1.2.3.4", "+1.2.3.4", "1,2,3,4"})
    EXPECT_FALSE(iStatistics_ParseAddress(wrong, &address)) << wrong;
}

// ---- the files ---------------------------------------------------------------------------------

class StatisticsTest : public KeptFilesTest {
 protected:
  void SetUp() override {
    KeptFilesTest::SetUp();
    live_ = iMemory_CountLive();
  }
  void TearDown() override {
    iStatistics_End();
    EXPECT_EQ(iMemory_CountLive(), live_);
    KeptFilesTest::TearDown();
  }

  void Start() { ASSERT_EQ(iStatistics_Start(), Error_None); }
  void Restart() {
    iStatistics_End();
    Start();
  }
  // Later than the last save, by a minute.
  void PassAMinute() { SetClock(now_ += 60); }

  std::string Of(const char* host, int32_t port = 21) {
    ServerStatistics statistics;
    const bool isKnown = iStatistics_Get(host, port, &statistics);
    return (isKnown ? "" : "none ") + Shown(statistics);
  }

 private:
  uint32_t now_ = kStartSeconds;
  int64_t live_ = 0;
};

TEST_F(StatisticsTest, KnowsNothingAtFirst) {
  Start();
  EXPECT_EQ(iStatistics_AverageSpeed(kServer, 21), -1.0f);
  EXPECT_EQ(Of(kServer), "none 0 -1.000000 0 0.500000");
  iStatistics_End();
  EXPECT_EQ(Names(), "") << "what is not dirty is not written";
}

TEST_F(StatisticsTest, WaitFiveSeconds) {
  EXPECT_EQ(kStatisticsWaitMilliseconds, 5000u);
}

TEST_F(StatisticsTest, StartsOnce) {
  Start();
  EXPECT_EQ(iStatistics_Start(), Error_Inited);
  iStatistics_RecordAddress(kServer, 21, kAddress);
  iStatistics_RecordSpeed(kServer, 21, 5);
  EXPECT_EQ(Of(kServer), "1 5.000000 0 0.500000") << "still there";
  iStatistics_End();
  iStatistics_End();
  Start();
}

TEST_F(StatisticsTest, DoesNothingWhileItIsNotStarted) {
  iStatistics_RecordAddress(kServer, 21, kAddress);
  iStatistics_RecordSpeed(kServer, 21, 5);
  iStatistics_RecordFailure(kServer, 21);
  EXPECT_EQ(iStatistics_AverageSpeed(kServer, 21), -1.0f);
  EXPECT_EQ(Of(kServer), "none 0 -1.000000 0 0.500000");
}

TEST_F(StatisticsTest, WritesTheAddressOfAServer) {
  Start();
  iStatistics_RecordAddress(kServer, 21, kAddress);
  EXPECT_EQ(Read("names.qzc"), LineEnds("ftp.example:21\t10.0.0.1\n")) << "saved at the first access";
  EXPECT_FALSE(Exists("through.qzc"));
  iStatistics_RecordAddress("h", 8080, kOtherAddress);
  iStatistics_End();
  EXPECT_EQ(Read("names.qzc"), LineEnds("ftp.example:21\t10.0.0.1\nh:8080\t\t\t192.168.20.255\n"));
  EXPECT_FALSE(Exists("through.qzc"));
}

TEST_F(StatisticsTest, WritesSamplesOfTheServerAndOfAll) {
  Start();
  iStatistics_RecordAddress(kServer, 21, kAddress);
  iStatistics_RecordAddress("h", 80, kOtherAddress);
  iStatistics_RecordSpeed(kServer, 21, 1000);
  iStatistics_RecordSpeed("h", 80, 500.5f);
  iStatistics_RecordSpeed(kServer, 21, 2000);
  iStatistics_RecordFailure("h", 80);
  EXPECT_EQ(Of(kServer), "2 1500.000000 0 0.500000");
  EXPECT_EQ(Of("h", 80), "1 500.500000 1 0.000000");
  EXPECT_EQ(Of("h", 81), "none 0 -1.000000 0 0.500000") << "another port is another server";
  iStatistics_End();
  EXPECT_EQ(Read("through.qzc"), LineEnds("10.0.0.1\t\t2\t1500.000000\t0\t0.500000\n"
                                          "default\t\t\t3\t1166.833374\t1\t0.000000\n"
                                          "192.168.20.255\t1\t500.500000\t1\t0.000000\n"));
}

TEST_F(StatisticsTest, AreAsThePageOfFormatsShows) {
  Start();
  iStatistics_RecordAddress(kServer, 21, kAddress);
  iStatistics_RecordAddress("www.example", 8080, kOtherAddress);
  iStatistics_RecordSpeed(kServer, 21, 1000);
  iStatistics_RecordSpeed(kServer, 21, 2000);
  iStatistics_RecordFailure("www.example", 8080);
  iStatistics_End();
  EXPECT_EQ(Read("names.qzc"), LineEnds(PageText("#### names.qzc")));
  EXPECT_EQ(Read("through.qzc"), LineEnds(PageText("#### through.qzc")));
}

TEST_F(StatisticsTest, ComeBackInTheNextRun) {
  Start();
  iStatistics_RecordAddress(kServer, 21, kAddress);
  iStatistics_RecordSpeed(kServer, 21, 1000);
  iStatistics_RecordFailure(kServer, 21);
  Restart();
  EXPECT_EQ(Of(kServer), "1 1000.000000 1 0.000000");
  EXPECT_EQ(Of("FTP.Example"), "1 1000.000000 1 0.000000") << "without regard to case";
  EXPECT_EQ(iStatistics_AverageSpeed(kServer, 21), 1000.0f);
  EXPECT_EQ(iStatistics_AverageSpeed("unknown", 21), 1000.0f) << "of all servers";
}

TEST_F(StatisticsTest, KeepThePlaceOfALine) {
  Write("through.qzc", "10.0.0.1 1 10.000000 0 0.5\ndefault 1 10.0 0 0.5\n");
  Write("names.qzc", "ftp.example:21 10.0.0.1\nh:21 10.0.0.2\n");
  Start();
  iStatistics_RecordSpeed(kServer, 21, 30);
  iStatistics_RecordAddress(kServer, 21, kOtherAddress);
  iStatistics_End();
  EXPECT_EQ(Read("names.qzc"), LineEnds("ftp.example:21\t192.168.20.255\nh:21\t\t\t10.0.0.2\n"));
  EXPECT_EQ(Read("through.qzc"), LineEnds("default\t2\t20.000000\t0\t0.500000\n"));
}

TEST_F(StatisticsTest, LoseTheStatisticsOfAnOldAddress) {
  Start();
  iStatistics_RecordAddress(kServer, 21, kAddress);
  iStatistics_RecordSpeed(kServer, 21, 1000);
  iStatistics_RecordAddress(kServer, 21, kAddress);
  EXPECT_EQ(Of(kServer), "1 1000.000000 0 0.500000") << "the same address";
  iStatistics_RecordAddress(kServer, 21, kOtherAddress);
  EXPECT_EQ(Of(kServer), "none 0 -1.000000 0 0.500000");
  iStatistics_End();
  EXPECT_EQ(Read("names.qzc"), LineEnds("ftp.example:21\t192.168.20.255\n"));
  EXPECT_EQ(Read("through.qzc"), LineEnds("default\t1\t1000.000000\t0\t0.500000\n"));
}

TEST_F(StatisticsTest, AreSharedByTheNamesOfAnAddress) {
  Start();
  iStatistics_RecordAddress("a", 21, kAddress);
  iStatistics_RecordAddress("b", 80, kAddress);
  iStatistics_RecordSpeed("a", 21, 10);
  EXPECT_EQ(Of("b", 80), "1 10.000000 0 0.500000");
  iStatistics_RecordAddress("b", 80, kOtherAddress);
  EXPECT_EQ(Of("a", 21), "none 0 -1.000000 0 0.500000") << "the line of the old address goes";
}

TEST_F(StatisticsTest, TakeNoSampleWithoutAnAddress) {
  Start();
  iStatistics_RecordSpeed(kServer, 21, 1000);
  iStatistics_RecordFailure(kServer, 21);
  EXPECT_EQ(iStatistics_AverageSpeed(kServer, 21), -1.0f) << "nor does the line of all servers";
  iStatistics_End();
  EXPECT_EQ(Names(), "");
}

TEST_F(StatisticsTest, TakeNoSampleThatIsNone) {
  Start();
  iStatistics_RecordAddress(kServer, 21, kAddress);
  for (const float sample : {-1.0f, NAN, INFINITY, -INFINITY}) iStatistics_RecordSpeed(kServer, 21, sample);
  EXPECT_EQ(Of(kServer), "none 0 -1.000000 0 0.500000");
  iStatistics_End();
  EXPECT_FALSE(Exists("through.qzc"));
}

TEST_F(StatisticsTest, KeepNothingOfAHostThatCannotBeAField) {
  Start();
  for (const char* host : {"a b", "a#b", "a\nb:21 1.2.3.4"}) {
    iStatistics_RecordAddress(host, 21, kAddress);
    iStatistics_RecordSpeed(host, 21, 1000);
  }
  iStatistics_RecordAddress(nullptr, 21, kAddress);
  EXPECT_EQ(iStatistics_AverageSpeed(nullptr, 21), -1.0f);
  iStatistics_End();
  EXPECT_EQ(Names(), "");
}

TEST_F(StatisticsTest, GiveTheAverageOfAllOnlyToAServerWithoutALine) {
  Start();
  iStatistics_RecordAddress("a", 21, kAddress);
  iStatistics_RecordAddress("b", 21, kOtherAddress);
  iStatistics_RecordSpeed("a", 21, 1000);
  EXPECT_EQ(iStatistics_AverageSpeed("b", 21), 1000.0f);
  iStatistics_RecordFailure("b", 21);
  EXPECT_EQ(iStatistics_AverageSpeed("b", 21), -1.0f) << "it has a line now, without a sample";
}

TEST_F(StatisticsTest, TakeADamagedLineForAMissingOne) {
  Write("names.qzc", "a:21 10.0.0.1\nb:21 nonsense\nc:21 10.0.0.3\nd:21 1.2.3\n");
  Write("through.qzc", "10.0.0.1 1 nan 0 0.5\n10.0.0.3 2 50.000000 0 0.500000\ndefault 1 -5 1 0.5\n");
  Start();
  EXPECT_EQ(Of("a"), "none 0 -1.000000 0 0.500000");
  EXPECT_EQ(iStatistics_AverageSpeed("a", 21), -1.0f);
  EXPECT_EQ(Of("b"), "none 0 -1.000000 0 0.500000");
  EXPECT_EQ(Of("c"), "2 50.000000 0 0.500000");
  iStatistics_RecordSpeed("a", 21, 7);
  iStatistics_RecordAddress("b", 21, kOtherAddress);
  iStatistics_RecordSpeed("d", 21, 7);
  iStatistics_End();
  EXPECT_EQ(Read("names.qzc"),
            LineEnds("a:21\t10.0.0.1\nb:21\t192.168.20.255\nc:21\t10.0.0.3\nd:21\t1.2.3\n"));
  EXPECT_EQ(Read("through.qzc"), LineEnds("10.0.0.1\t1\t7.000000\t0\t0.500000\n"
                                          "10.0.0.3\t2\t50.000000\t0\t0.500000\n"
                                          "default\t\t1\t7.000000\t0\t0.500000\n"));
}

TEST_F(StatisticsTest, KeepTheLineOfAnAddressThatADamagedOneBeginsWith) {
  Write("names.qzc", "a:21 10.0.0.1\nb:21 10.0.0.1x\n");
  Write("through.qzc", "10.0.0.1 1 10.0 0 0.5\n");
  Start();
  iStatistics_RecordAddress("b", 21, kOtherAddress);
  EXPECT_EQ(Of("a"), "1 10.000000 0 0.500000");
}

TEST_F(StatisticsTest, ReadFilesOfAnyBytes) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  const std::string files[] = {"",
                               "\n\n",
                               bytes,
                               "\xEF\xBB\xBF"
                               "a:21 10.0.0.1\n",
                               std::string(1 << 20, 'x'),
                               std::string(1 << 16, '\0'),
                               "a:21",
                               "a:21 10.0.0.1 more\n",
                               "default default default default default",
                               "default 99999999999 5 4294967296 1\n"};
  for (const std::string& file : files) {
    Write("names.qzc", file);
    Write("through.qzc", file);
    Start();
    iStatistics_AverageSpeed("a", 21);
    iStatistics_RecordAddress("a", 21, kAddress);
    iStatistics_RecordSpeed("a", 21, 5);
    EXPECT_EQ(Of("a"), "1 5.000000 0 0.500000");
    iStatistics_End();
    Start();
    EXPECT_EQ(Of("a"), "1 5.000000 0 0.500000");
    iStatistics_End();
  }
}

TEST_F(StatisticsTest, DropComments) {
  Write("names.qzc", "# mine\na:21 10.0.0.1 # yes\n\nA:21 10.0.0.2\n");
  Start();
  iStatistics_RecordAddress("b", 21, kOtherAddress);
  iStatistics_End();
  EXPECT_EQ(Read("names.qzc"), LineEnds("a:21\t10.0.0.1\nb:21\t192.168.20.255\n"));
}

TEST_F(StatisticsTest, LeaveFilesAloneThatDoNotChange) {
  Write("names.qzc", "# mine\na:21 10.0.0.1\n");
  Write("through.qzc", "# mine\n10.0.0.1 1 10 0 0.5\n");
  Start();
  iStatistics_RecordAddress("a", 21, kAddress);
  EXPECT_EQ(iStatistics_AverageSpeed("a", 21), 10.0f);
  iStatistics_End();
  EXPECT_EQ(Read("names.qzc"), "# mine\na:21 10.0.0.1\n");
  EXPECT_EQ(Read("through.qzc"), "# mine\n10.0.0.1 1 10 0 0.5\n");
}

// ---- saving ------------------------------------------------------------------------------------

TEST_F(StatisticsTest, AreSavedOnceAMinute) {
  Start();
  iStatistics_RecordAddress("a", 21, kAddress);
  ASSERT_TRUE(Exists("names.qzc"));
  iStatistics_RecordSpeed("a", 21, 10);
  SetClock(kStartSeconds + 59);
  iStatistics_RecordSpeed("a", 21, 20);
  EXPECT_FALSE(Exists("through.qzc"));
  SetClock(kStartSeconds + 60);
  EXPECT_EQ(iStatistics_AverageSpeed("a", 21), 15.0f);
  EXPECT_EQ(Read("through.qzc"), LineEnds("10.0.0.1\t2\t15.000000\t0\t0.500000\n"
                                          "default\t\t2\t15.000000\t0\t0.500000\n"))
      << "a call that only reads saves too";
  iStatistics_RecordSpeed("a", 21, 30);
  SetClock(kStartSeconds + 119);
  iStatistics_RecordSpeed("a", 21, 40);
  EXPECT_EQ(Read("through.qzc").substr(0, 20), "10.0.0.1\t2\t15.000000")
      << "the minute begins with each save";
  SetClock(kStartSeconds + 120);
  Of("a");
  EXPECT_EQ(Read("through.qzc").substr(0, 20), "10.0.0.1\t4\t25.000000");
}

TEST_F(StatisticsTest, AreSavedAtTheEndWithinTheMinute) {
  Start();
  iStatistics_RecordAddress("a", 21, kAddress);
  iStatistics_RecordSpeed("a", 21, 10);
  iStatistics_RecordAddress("b", 21, kAddress);
  EXPECT_FALSE(Exists("through.qzc"));
  iStatistics_End();
  EXPECT_EQ(Read("names.qzc"), LineEnds("a:21\t10.0.0.1\nb:21\t10.0.0.1\n"));
  EXPECT_TRUE(Exists("through.qzc"));
}

TEST_F(StatisticsTest, AreSaved_WhenTheClockWasSetBack) {
  Start();
  iStatistics_RecordAddress("a", 21, kAddress);
  iStatistics_RecordSpeed("a", 21, 10);
  SetClock(kStartSeconds - 315360000);
  iStatistics_RecordSpeed("a", 21, 10);
  EXPECT_TRUE(Exists("through.qzc"));
}

TEST_F(StatisticsTest, SaveWhatChangedOnly) {
  Write("names.qzc", "a:21 10.0.0.1\n");
  Start();
  iStatistics_RecordSpeed("a", 21, 10);
  EXPECT_EQ(Read("names.qzc"), "a:21 10.0.0.1\n");
  EXPECT_TRUE(Exists("through.qzc"));
  Write("through.qzc", "touched\n");
  PassAMinute();
  iStatistics_RecordAddress("b", 21, kOtherAddress);
  EXPECT_EQ(Read("names.qzc"), LineEnds("a:21\t10.0.0.1\nb:21\t192.168.20.255\n"));
  EXPECT_EQ(Read("through.qzc"), "touched\n") << "it was saved before";
}

TEST_F(StatisticsTest, TryAFailedSaveAgainAfterAMinute) {
  Start();
  std::filesystem::create_directory(Path("names.qzc"));
  iStatistics_RecordAddress("a", 21, kAddress);
  iStatistics_RecordSpeed("a", 21, 10);
  PassAMinute();
  iStatistics_RecordSpeed("a", 21, 10);
  EXPECT_TRUE(Exists("through.qzc")) << "one fails, the other is written";
  std::filesystem::remove(Path("names.qzc"));
  iStatistics_RecordSpeed("a", 21, 10);
  EXPECT_FALSE(Exists("names.qzc")) << "not before the minute has passed";
  PassAMinute();
  Of("a");
  EXPECT_EQ(Read("names.qzc"), LineEnds("a:21\t10.0.0.1\n"));
}

// ---- other programs ----------------------------------------------------------------------------

TEST_F(StatisticsTest, KeepAndKnowTheLinesThatAnotherProgramHasStored) {
  Write("names.qzc", "a:21 10.0.0.1\n");
  Write("through.qzc", "10.0.0.1 1 10.000000 0 0.500000\n");
  Start();
  Write("names.qzc", "z:21 10.0.0.9\na:21 10.0.0.1\n");
  Write("through.qzc", "10.0.0.9 3 30.000000 0 0.500000\n10.0.0.1 1 10.000000 0 0.500000\n");
  iStatistics_RecordAddress("b", 21, kOtherAddress);
  PassAMinute();
  iStatistics_RecordSpeed("b", 21, 5);
  EXPECT_EQ(Read("names.qzc"), LineEnds("z:21\t10.0.0.9\na:21\t10.0.0.1\nb:21\t192.168.20.255\n"));
  EXPECT_EQ(Read("through.qzc"), LineEnds("10.0.0.9\t\t3\t30.000000\t0\t0.500000\n"
                                          "10.0.0.1\t\t1\t10.000000\t0\t0.500000\n"
                                          "192.168.20.255\t1\t5.000000\t0\t0.500000\n"
                                          "default\t\t\t1\t5.000000\t0\t0.500000\n"));
  EXPECT_EQ(iStatistics_AverageSpeed("z", 21), 30.0f);
}

TEST_F(StatisticsTest, StoreTheirOwnLine_WhenBothChangedIt) {
  Write("names.qzc", "a:21 10.0.0.1\n");
  Write("through.qzc", "10.0.0.1 1 10.000000 0 0.500000\n10.0.0.9 1 10.000000 0 0.500000\n");
  Start();
  Of("a");
  iStatistics_RecordAddress("b", 21, kOtherAddress);
  iStatistics_RecordSpeed("a", 21, 20);
  Write("through.qzc", "10.0.0.1 7 70.000000 0 0.500000\n10.0.0.9 8 80.000000 0 0.500000\n");
  PassAMinute();
  Of("a");
  EXPECT_EQ(Read("through.qzc"), LineEnds("10.0.0.1\t2\t15.000000\t0\t0.500000\n"
                                          "10.0.0.9\t8\t80.000000\t0\t0.500000\n"
                                          "default\t\t1\t20.000000\t0\t0.500000\n"));
  // What is saved counts as read: the next save takes the other program's line again.
  Write("through.qzc", "10.0.0.1 7 70.000000 0 0.500000\n");
  PassAMinute();
  iStatistics_RecordAddress("c", 21, kOtherAddress);
  iStatistics_RecordSpeed("c", 21, 5);
  iStatistics_End();
  EXPECT_EQ(Read("through.qzc").substr(0, 20), "10.0.0.1\t\t7\t70.00000");
}

TEST_F(StatisticsTest, RemoveALineThatAnotherProgramHasChanged) {
  Write("names.qzc", "a:21 10.0.0.1\n");
  Write("through.qzc", "10.0.0.1 1 10.000000 0 0.500000\n");
  Start();
  iStatistics_RecordAddress("b", 21, kAddress);
  iStatistics_RecordAddress("a", 21, kOtherAddress);
  Write("through.qzc", "10.0.0.1 7 70.000000 0 0.500000\n10.0.0.9 8 80.000000 0 0.500000\n");
  iStatistics_End();
  EXPECT_EQ(Read("through.qzc"), LineEnds("10.0.0.9\t8\t80.000000\t0\t0.500000\n"));
}

TEST_F(StatisticsTest, AreWrittenWhole_WhenTheirFilesAreGone) {
  Write("names.qzc", "a:21 10.0.0.1\n");
  Start();
  std::filesystem::remove(Path("names.qzc"));
  iStatistics_RecordAddress("b", 21, kOtherAddress);
  EXPECT_EQ(Read("names.qzc"), LineEnds("a:21\t10.0.0.1\nb:21\t192.168.20.255\n"));
}

TEST_F(StatisticsTest, WaitForTheNextMinute_WhenAnotherProgramHasTheLock) {
  char name[kFileNameSize];
  ASSERT_EQ(iFile_ToSystemName(Name("qz.lock").c_str(), name), Error_None);
  platform::FileLock lock = 0;
  ASSERT_EQ(platform::TryFileLock(name, &lock), platform::FileLockResult::Taken);
  Start();
  const auto begin = std::chrono::steady_clock::now();
  iStatistics_RecordAddress("a", 21, kAddress);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  EXPECT_FALSE(Exists("names.qzc"));
  platform::ReleaseFileLock(lock);
  iStatistics_RecordAddress("b", 21, kAddress);
  EXPECT_FALSE(Exists("names.qzc"));
  PassAMinute();
  Of("a");
  EXPECT_EQ(Read("names.qzc"), LineEnds("a:21\t10.0.0.1\nb:21\t10.0.0.1\n"));
}

// ---- starting and failing ----------------------------------------------------------------------

TEST_F(StatisticsTest, DoNotStart_WhenAFileCannotBeRead) {
  for (const char* name : {"names.qzc", "through.qzc"}) {
    std::filesystem::create_directory(Path(name));
    EXPECT_EQ(iStatistics_Start(), Error_Invalid) << name;
    std::filesystem::remove(Path(name));
    Start();
    iStatistics_End();
  }
}

TEST_F(StatisticsTest, DoNotStartBeforeTheLibrary) {
  OS_Exit(0);
  EXPECT_EQ(iStatistics_Start(), Error_NotInited);
}

TEST_F(StatisticsTest, DoNothing_WhenTheListsCannotBeHad) {
  Start();
  iStatistics_RecordAddress("a", 21, kAddress);
  iStatistics_RecordSpeed("a", 21, 10);
  iStatistics_SetWaitMilliseconds(20);
  iStatistics_Hold();
  iStatistics_RecordAddress("a", 21, kOtherAddress);
  iStatistics_RecordSpeed("a", 21, 30);
  iStatistics_RecordFailure("a", 21);
  EXPECT_EQ(iStatistics_AverageSpeed("a", 21), -1.0f);
  EXPECT_EQ(Of("a"), "none 0 -1.000000 0 0.500000");
  iStatistics_Release();
  iStatistics_SetWaitMilliseconds(0);
  EXPECT_EQ(Of("a"), "1 10.000000 0 0.500000");
}

TEST_F(StatisticsTest, CountTheSamplesOfEightThreads) {
  Start();
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([i] {
      const std::string host = "h" + std::to_string(i);
      const uint8_t address[4] = {10, 0, 1, static_cast<uint8_t>(i)};
      for (int round = 0; round < 200; ++round) {
        iStatistics_RecordAddress(host.c_str(), 21, address);
        iStatistics_RecordSpeed(host.c_str(), 21, 64);
        iStatistics_RecordFailure(host.c_str(), 21);
        EXPECT_EQ(iStatistics_AverageSpeed(host.c_str(), 21), 64.0f);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < 8; ++i) EXPECT_EQ(Of(("h" + std::to_string(i)).c_str()), "200 64.000000 200 0.000000");
  iStatistics_End();
  EXPECT_NE(Read("through.qzc").find(LineEnds("default\t\t1600\t64.000000\t1600\t0.000000\n")),
            std::string::npos)
      << Read("through.qzc");
}

TEST_F(StatisticsTest, StayWhole_WhicheverAllocationFails) {
  const std::string kBefore = LineEnds("a:21\t10.0.0.9\n");
  FailEveryAllocation([&] {
    Write("names.qzc", kBefore);
    Write("through.qzc", "10.0.0.9 1 10.0 0 0.5\ndefault 1 10.0 0 0.5\n");
    const ErrorCode status = iStatistics_Start();
    EXPECT_TRUE(status == Error_None || status == Error_Memory) << status;
    if (status != Error_None) return;
    iStatistics_RecordSpeed("a", 21, 20);
    iStatistics_RecordAddress("a", 21, kAddress);
    const std::string now = Of("a");
    EXPECT_TRUE(now == "none 0 -1.000000 0 0.500000" || now == "2 15.000000 0 0.500000" ||
                now == "1 10.000000 0 0.500000")
        << now;
    iStatistics_RecordFailure("a", 21);
    iStatistics_End();
    const std::string names = Read("names.qzc");
    EXPECT_TRUE(names == kBefore || names == LineEnds("a:21\t10.0.0.1\n")) << names;
  });
}

}  // namespace
