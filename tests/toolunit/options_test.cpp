// The command line: words to options.
#include "tool/options.h"

#include <getopt.h>
#include <gtest/gtest.h>

#include "tool/failure.h"

using tool::Command;
using tool::Options;

namespace {

Options Parsed(std::vector<std::string> words) {
  words.insert(words.begin(), "qz");
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  const int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  optind = 1;  // the system's parser goes on where it was
  return tool::ParseCommandLine(count, arguments.data());
}

TEST(CommandLine, GivesEachCommandItsNumberOfJobs) {
  EXPECT_EQ(Parsed({"get", "ftp://h/x"}).jobs, 1u);
  EXPECT_EQ(Parsed({"run"}).jobs, 4u);
  EXPECT_EQ(Parsed({"retry", "1"}).jobs, 4u);
  EXPECT_EQ(Parsed({"retry", "1", "--jobs", "64"}).jobs, 64u);
  EXPECT_EQ(Parsed({"get", "ftp://h/x", "-j", "2"}).jobs, 2u);
}

TEST(CommandLine, TakesAllOptionsOfADownload) {
  const Options options =
      Parsed({"add", "--mirror", "ftp://a/x", "ftp://h/x", "--mirror=ftp://b/x", "--overwrite",
              "--save-password", "--sha256", std::string(63, 'A') + "0", "--unpack", "--sync"});
  EXPECT_EQ(options.command, Command::Add);
  EXPECT_EQ(options.operands, std::vector<std::string>{"ftp://h/x"});
  EXPECT_EQ(options.mirrors, (std::vector<std::string>{"ftp://a/x", "ftp://b/x"}));
  EXPECT_EQ(options.sha256, std::string(63, 'a') + "0");
  EXPECT_TRUE(options.overwrite && options.savePassword && options.unpack && options.synchronise);
  EXPECT_FALSE(options.verify || options.continueUpload || options.restart || options.active);
}

TEST(CommandLine, TakesEachNumberOnce) {
  EXPECT_EQ(Parsed({"remove", "3", "1", "3", "4000000000"}).numbers,
            (std::vector<unsigned>{3, 1, 4000000000u}));
}

TEST(CommandLine, RefusesNumbersThatAreNone) {
  for (const char* number : {"0", "4000000001", "18446744073709551617", "+1", " 1", "0x1", ""})
    EXPECT_THROW(Parsed({"show", number}), tool::Failure) << number;
}

TEST(Proxy, IsAHostAndAPort) {
  const auto proxy = tool::ParseProxy("a.example:8080");
  ASSERT_TRUE(proxy);
  EXPECT_EQ(proxy->host, "a.example");
  EXPECT_EQ(proxy->port, 8080u);
  for (const char* text :
       {"", "a", ":1", "a:", "a:0", "a:65536", "a:b:1", "me@a:1", "http://a:1", "a b:1", "a:1x"})
    EXPECT_FALSE(tool::ParseProxy(text)) << text;
}

}  // namespace
