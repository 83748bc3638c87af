// A library whose start-up code fails half-way, and refuses the load.
#include <gtest/gtest.h>

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

}  // namespace
