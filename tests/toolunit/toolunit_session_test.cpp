// The library and its transfers, up for all tests of this program.
#include <gtest/gtest.h>

#include "qz/vrxclientsystem.h"
#include "tests/support/os_session.h"

namespace {

class TransferEnvironment : public OSEnvironment {
 public:
  void SetUp() override {
    OSEnvironment::SetUp();
    ASSERT_EQ(VRXClientSystem_Init(), 0);
  }
  void TearDown() override {
    VRXClientSystem_Exit();
    OSEnvironment::TearDown();
  }
};

const auto* const kEnvironment = testing::AddGlobalTestEnvironment(new TransferEnvironment);

}  // namespace
