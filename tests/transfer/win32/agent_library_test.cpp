// A library whose start-up code fails half-way, and refuses the load.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/transfer/agent_host.h"

namespace {

TEST(AgentLibraryOnWindows, LosesItsClasses_WhenItRefusesTheLoad) {
  const AgentHost host({"half"});
  const std::string report = host.Run();
  EXPECT_EQ(report.substr(0, report.find("VRXClientSystem_Init")),
            "half: loaded\n"
            "half: the first class, 0\n"
            "half: the second class, -4\n"
            "half: unloaded\n");
  EXPECT_EQ(report.substr(report.find("VRXClientSystem_Init")),
            "VRXClientSystem_Init 0\n"
            "class /, child VRXx\n"
            "class /, child Metafile\n"
            "class Metafile, child Encodec\n"
            "class Metafile, child Codec\n"
            "end\n");
}

// What the library "where" tells of itself.
std::string LoadedName(const AgentHost& host) {
  const std::string report = host.Run();
  const std::string before = "where: ";
  EXPECT_EQ(report.substr(0, before.size()), before) << report;
  return report.substr(before.size(), report.find('\n') - before.size());
}

// A name as old systems know it: at most 8 characters, a dot, and at most 3 more.
TEST(AgentLibraryOnWindows, IsLoadedByItsShortName) {
  const AgentHost host({});
  host.Write("an extension with a long name.AXT", host.Library("where"));
  const std::filesystem::path name = LoadedName(host);
  EXPECT_LE(name.stem().string().size(), 8u) << name;
  EXPECT_EQ(name.stem().string().find(' '), std::string::npos) << name;
  EXPECT_EQ(name.extension().string(), ".AXT");
  EXPECT_TRUE(std::filesystem::equivalent(name, host.Path("an extension with a long name.AXT"))) << name;
}

}  // namespace
