// Paths of transfers where names in capital and small letters are of two files.
#include "tests/transfer/vrxclient_fixture.h"

namespace {

using TransferPath = TransferTest;

TEST_F(TransferPath, IsFreeInOtherLetters) {
  Transfer first;
  Download("ftp://a/1", &first);
  Transfer second;
  Download("ftp://a/2", &second);
  ASSERT_EQ(VRXClient_SetDataFilePath(first.get(), directory_.Name("some.part").c_str()), Error_None);
  EXPECT_EQ(VRXClient_SetDataFilePath(second.get(), directory_.Name("SOME.part").c_str()), Error_None);
  EXPECT_EQ(VRXClient_SetDataFilePath(second.get(), directory_.Name("some.part").c_str()), Error_Exists);
}

}  // namespace
