// Copying and moving between volumes, and onto full ones.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/stream.h"
#include "tests/support/copying_test.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/file_system.h"

namespace {

namespace fs = std::filesystem;

class FileCopyOnPosixTest : public CopyingTest {};

TEST_F(FileCopyOnPosixTest, SaysThatTheDiskIsFull) {
  directory_.Write("f", Pattern(10000));
  ASSERT_EQ(Start("f", "g"), Error_None);
  DiskLimit limit(6000);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_Exceed);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_Exceed);
  File_CopyAbort(&copy_);
  EXPECT_FALSE(directory_.Exists("g"));
  EXPECT_EQ(directory_.Read("f"), Pattern(10000));
}

TEST_F(FileCopyOnPosixTest, KeepsTheSourceWhenAMoveFillsTheOtherVolume) {
  directory_.Write("f", Pattern(200000));
  directory_.MakeDirectory("small");
  SmallVolume volume(directory_.SystemName("small"), 65536);
  if (!volume.IsMounted()) GTEST_SKIP() << "no small volume can be made here";
  ASSERT_EQ(Start("f", "small/g", 1), Error_None);
  ASSERT_NE(copy_, nullptr);
  EXPECT_EQ(Run(), Error_Exceed);
  File_CopyAbort(&copy_);
  EXPECT_FALSE(directory_.Exists("small/g"));
  EXPECT_EQ(directory_.Read("f"), Pattern(200000));
}

TEST_F(FileCopyOnPosixTest, RenamesWithinOneRootFromTheTop) {
  directory_.Write("f", "abc");
  char original[1024];
  ASSERT_EQ(Directory_GetCurrent(original), Error_None);
  ASSERT_EQ(Directory_SetCurrent("/"), 0);
  EXPECT_EQ(File_CopyStart(directory_.Name("f").c_str() + 1, directory_.Name("g").c_str(), 1, nullptr,
                           nullptr, &copy_),
            Error_None);
  ASSERT_EQ(Directory_SetCurrent(original), 0);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_EQ(directory_.Read("g"), "abc");
  EXPECT_FALSE(directory_.Exists("f"));
}

// One root, but the target is another volume.
class FileMoveAcrossTest : public FileCopyOnPosixTest {
 protected:
  void SetUp() override {
    directory_.MakeDirectory("other");
    volume_ = std::make_unique<SmallVolume>(directory_.SystemName("other"), 16777216);
    if (!volume_->IsMounted()) GTEST_SKIP() << "no second volume can be made here";
  }

  std::unique_ptr<SmallVolume> volume_;
};

TEST_F(FileMoveAcrossTest, CopiesAndThenRemovesTheSource) {
  directory_.Write("f", Pattern(10000));
  ASSERT_EQ(Start("f", "other/g", 1), Error_None);
  ASSERT_NE(copy_, nullptr);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  EXPECT_TRUE(directory_.Exists("f"));
  EXPECT_EQ(Run(), Error_None);
  EXPECT_FALSE(directory_.Exists("f"));
  EXPECT_EQ(directory_.Read("other/g"), Pattern(10000));
}

TEST_F(FileMoveAcrossTest, RefusesADirectory) {
  directory_.MakeDirectory("d");
  EXPECT_EQ(Start("d", "other/e", 1), Error_Invalid);
  EXPECT_TRUE(directory_.Exists("d"));
}

TEST_F(FileMoveAcrossTest, ReplacesNothing) {
  directory_.Write("f", "abc");
  directory_.Write("other/g", "xyz");
  EXPECT_NE(Start("f", "other/g", 1), Error_None);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_EQ(directory_.Read("other/g"), "xyz");
  EXPECT_EQ(directory_.Read("f"), "abc");
}

TEST_F(FileMoveAcrossTest, KeepsTheSourceWhenAborted) {
  directory_.Write("f", Pattern(10000));
  ASSERT_EQ(Start("f", "other/g", 1), Error_None);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  File_CopyAbort(&copy_);
  EXPECT_EQ(directory_.Read("f"), Pattern(10000));
  EXPECT_FALSE(directory_.Exists("other/g"));
}

TEST_F(FileMoveAcrossTest, KeepsASourceThatGrewMeanwhile) {
  directory_.Write("f", Pattern(5000));
  ASSERT_EQ(Start("f", "other/g", 1), Error_None);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  directory_.Write("f", Pattern(6000));
  EXPECT_EQ(Run(), Error_Ended);
  File_CopyAbort(&copy_);
  EXPECT_EQ(directory_.Read("f"), Pattern(6000));
  EXPECT_FALSE(directory_.Exists("other/g"));
}

TEST_F(FileMoveAcrossTest, KeepsTheSourceWhenTheTargetIsRemovedMeanwhile) {
  directory_.Write("f", Pattern(5000));
  ASSERT_EQ(Start("f", "other/g", 1), Error_None);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  fs::remove(directory_.SystemName("other/g"));
  directory_.Write("other/g", "somebody else's");
  EXPECT_EQ(File_CopyEnd(&copy_), Error_NotFound);
  ASSERT_NE(copy_, nullptr);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_NotFound);
  File_CopyAbort(&copy_);
  EXPECT_EQ(directory_.Read("f"), Pattern(5000));
  EXPECT_EQ(directory_.Read("other/g"), "somebody else's");
}

TEST_F(FileMoveAcrossTest, EndsWellWhenTheSourceMayNotBeRemoved) {
  directory_.MakeDirectory("locked");
  directory_.Write("locked/f", Pattern(5000));
  fs::permissions(directory_.SystemName("other"), fs::perms::all);
  ErrorCapture capture;
  {
    WriteProtection protection(directory_.SystemName("locked"));
    // Two roots, so that no rename is tried: it would be refused first.
    ASSERT_EQ(File_CopyStart(directory_.Name("locked/f").c_str(), ("/." + directory_.Name("other/g")).c_str(),
                             1, nullptr, nullptr, &copy_),
              Error_None);
    EXPECT_EQ(Run(), Error_None);
  }
  EXPECT_EQ(copy_, nullptr);
  EXPECT_EQ(directory_.Read("locked/f"), Pattern(5000));
  EXPECT_EQ(directory_.Read("other/g"), Pattern(5000));
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: File_CopyEnd: source not removed, No Access\n");
}

}  // namespace
