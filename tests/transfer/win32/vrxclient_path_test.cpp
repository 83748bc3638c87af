// Paths of transfers where names in capital and small letters are of one file.
#include "tests/transfer/vrxclient_fixture.h"

namespace {

using TransferPath = TransferTest;

TEST_F(TransferPath, IsTakenInWhateverLetters) {
  Transfer first;
  Download("ftp://a/1", &first);
  Transfer second;
  Download("ftp://a/2", &second);
  ASSERT_EQ(VRXClient_SetDataFilePath(first.get(), directory_.Name("some.part").c_str()), Error_None);
  EXPECT_EQ(VRXClient_SetDataFilePath(second.get(), directory_.Name("SOME.Part").c_str()), Error_Exists);
  EXPECT_EQ(VRXClient_SetDataFilePath(second.get(), directory_.Name("some2.part").c_str()), Error_None);
}

TEST_F(TransferPath, OfAPartBesideTheTargetMayBeInOtherLetters) {
  Transfer transfer;
  directory_.MakeDirectory("Folder");
  Download("ftp://a/1", directory_.Name("Folder/file"), &transfer);
  ASSERT_EQ(VRXClient_SetDataFilePath(transfer.get(), directory_.Name("FOLDER/FILE.part").c_str()),
            Error_None);
  EXPECT_TRUE(iVRXClient_HasOwnDataPath(transfer.get()));
}

}  // namespace
