// Config: what is odd in it and stays so.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "config/config_internal.h"
#include "qz/config.h"
#include "qz/error.h"
#include "tests/support/error_capture.h"
#include "tests/support/temp_dir.h"

namespace {

int32_t IsBracketed(uint32_t fieldCount, const char* const* fields) {
  return fieldCount != 0 && fields[0][0] == '[' ? 1 : 0;
}

// A document whose lines have up to two fields and whose headers begin with "[".
class ConfigOddity : public testing::Test {
 protected:
  ConfigOddity() {
    spec_ = ConfigSpec_Start();
    ConfigSpec_SetMaxFields(spec_, 2);
    ConfigSpec_SetSectionMethod(spec_, IsBracketed);
    config_ = Config_New(spec_);
  }
  ~ConfigOddity() override {
    Config_Delete(config_);
    ConfigSpec_Delete(spec_);
  }

  void Read(const std::string& text) {
    folder_.Write("file", text);
    ASSERT_EQ(Config_Read(config_, folder_.Name("file").c_str()), Error_None);
  }
  std::string Written() {
    EXPECT_EQ(Config_Write(config_, folder_.Name("file").c_str()), Error_None);
    std::string text = folder_.Read("file");
    std::erase(text, '\r');
    return text;
  }

  TempDir folder_;
  ConfigSpec* spec_;
  Config* config_;
};

TEST_F(ConfigOddity, LastFieldThatTakesTheRestKeepsTheSeparatorsBeforeIt) {
  ConfigSpec_SetLastFieldGrab(spec_, 1);
  Read("name  all the rest \n");
  EXPECT_STREQ(Config_GetFields(config_, Config_FirstLine(config_, nullptr))[1], "  all the rest ");
}

TEST_F(ConfigOddity, TabsReachTheWidthAndItsDistanceFromTheTabStopBefore) {
  Read("sevenxx 1\na 2\n");
  // The width is 7, the tab stop before it 4: the next column is 7 + 3 = 10, not 8.
  EXPECT_EQ(Written(), "sevenxx\t1\na\t\t\t2\n");
}

TEST_F(ConfigOddity, RetiredLineIsFollowedByAnEmptyOne) {
  Read("a 1\n");
  ASSERT_EQ(Config_Print(config_, nullptr, "a 2", nullptr), Error_None);
  // The old line was the last of its section: the new one stands at the end, behind the comment.
  EXPECT_EQ(Written(), "# UNIQUE a\t1\n\na\t2\n");
}

TEST_F(ConfigOddity, NextLineGoesOnIntoTheNextSection) {
  Read("a 1\n[s]\nb 2\n");
  ConfigLine* const line = Config_NextLine(config_, Config_FirstLine(config_, nullptr));
  ASSERT_NE(line, nullptr);
  EXPECT_STREQ(Config_GetFields(config_, line)[0], "b");
}

TEST_F(ConfigOddity, SectionWithoutLinesEndsTheWalk) {
  Read("[one]\n[two]\na 1\n");
  ConfigSection* const one = Config_NextSection(config_, nullptr);
  EXPECT_STREQ(Config_GetSectionFields(config_, one)[0], "[one]");
  EXPECT_EQ(Config_NextSection(config_, one), nullptr);
}

TEST_F(ConfigOddity, RecordOfAnUnknownCodeIsReported) {
  ConfigRecord record{0x78787878, 0, nullptr, nullptr};
  ConfigSection* current = config_->first;
  const ErrorCapture capture;
  EXPECT_EQ(iConfig_AddRecord(config_, &record, &current), Error_Invalid);
  iConfig_DeleteRecord(&record);
  const std::vector<std::string> lines{"#### Error: Doh!\n", "#### Error: Invalid config line!\n"};
  EXPECT_EQ(ErrorCapture::Lines(), lines);
}

}  // namespace
