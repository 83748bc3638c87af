// A library whose start-up code fails half-way, where that code cannot refuse the load.
#include <gtest/gtest.h>

#include "tests/transfer/agent_host.h"

namespace {

TEST(AgentLibraryOnPosix, KeepsTheClassesThatItCouldRegister) {
  const AgentHost host({"half"});
  EXPECT_EQ(host.Run(),
            "half: loaded\n"
            "half: the first class, 0\n"
            "half: the second class, -4\n"
            "VRXClientSystem_Init 0\n"
            "class /, child VRXx\n"
            "class VRXx, child FirstHalf\n"
            "class /, child Metafile\n"
            "class Metafile, child Encodec\n"
            "class Metafile, child Codec\n"
            "half: unregister\n"
            "half: unloaded\n"
            "end\n");
}

}  // namespace
