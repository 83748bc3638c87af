// The example of docs/formats.md.
#include <gtest/gtest.h>

#include <string>

#include "formats_page.h"
#include "tests/config/config_fixture.h"

namespace {

// The block below a heading.
std::string BlockBelow(const std::string& heading) {
  const std::string page(kFormatsPage);
  const std::string fence = "```\n";
  const size_t below = page.find("\n" + heading + "\n");
  if (below == std::string::npos) return "no such heading";
  const size_t begin = page.find(fence, below) + fence.size();
  return page.substr(begin, page.find(fence, begin) - begin);
}

TEST(ConfigPage, ExampleIsReadAndWrittenAsThePageSays) {
  Document document(PairsInSections(), BlockBelow("#### As it is read"));
  EXPECT_EQ(document.Lines(), "<name><value> <timeout><30>");
  EXPECT_EQ(document.Lines(document.Section("[hosts]")), "<beta><2121>");
  document.Print("timeout 45");
  EXPECT_EQ(document.Written(),
            LineEnds(BlockBelow("#### As it is written after `Config_Print` of \"timeout 45\"")));
}

}  // namespace
