// What bears the name of an extension and is none, where the system has pipes among its files.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "qz/error.h"
#include "tests/support/temp_dir.h"
#include "tests/transfer/agent_fixture.h"

namespace {

class AgentExtensionOnPosix : public AgentSystemTest {};

TEST_F(AgentExtensionOnPosix, PassesOverAPipe_WithoutWaitingForItsWriter) {
  const TempDir folder;
  ASSERT_EQ(mkfifo(folder.SystemName("pipe.AXT").c_str(), 0600), 0);
  uint32_t failed = 0;
  EXPECT_EQ(iAgentClass_LoadExtensions(folder.Name().c_str(), nullptr, &failed), Error_None);
  EXPECT_EQ(failed, 1u);
}

}  // namespace
