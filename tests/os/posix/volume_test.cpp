// Space on volumes of known size.
#include "qz/volume.h"

#include <gtest/gtest.h>

#include <string>

#include "os/file/file_internal.h"
#include "qz/error.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(VolumeOnPosix, GivesTheSpaceOfASmallVolume) {
  TempDir directory;
  SmallVolume volume(directory.SystemName(), 1048576);
  if (!volume.IsMounted()) GTEST_SKIP() << "no small volume can be made here";
  uint32_t freeBytes = 0;
  uint32_t totalBytes = 0;
  EXPECT_EQ(Volume_GetInformation(directory.Name().c_str(), &freeBytes, &totalBytes), Error_None);
  EXPECT_EQ(freeBytes, 1048576u);
  EXPECT_EQ(totalBytes, 1048576u);
  directory.Write("f", std::string(65536, 'a'));
  // What does not exist yet will stand on the volume of what is above it.
  EXPECT_EQ(Volume_GetInformation(directory.Name("missing/deeper/file").c_str(), &freeBytes, &totalBytes),
            Error_None);
  EXPECT_EQ(freeBytes, 1048576u - 65536u);
  EXPECT_EQ(Volume_GetInformation(directory.Name("f").c_str(), &freeBytes, nullptr), Error_None);
  EXPECT_EQ(freeBytes, 1048576u - 65536u);
  uint64_t free64 = 0;
  EXPECT_EQ(iVolume_FreeBytes64(directory.Name("missing/deeper/file").c_str(), &free64), Error_None);
  EXPECT_EQ(free64, 1048576u - 65536u);
}

TEST(VolumeOnPosix, WrapsAtFourGigabytes) {
  TempDir directory;
  SmallVolume volume(directory.SystemName(), 0x140000000);  // 5 GiB
  if (!volume.IsMounted()) GTEST_SKIP() << "no small volume can be made here";
  uint32_t freeBytes = 0;
  uint32_t totalBytes = 0;
  EXPECT_EQ(Volume_GetInformation(directory.Name().c_str(), &freeBytes, &totalBytes), Error_None);
  EXPECT_EQ(freeBytes, 0x40000000u);
  EXPECT_EQ(totalBytes, 0x40000000u);
  uint64_t free64 = 0;
  EXPECT_EQ(iVolume_FreeBytes64(directory.Name().c_str(), &free64), Error_None);
  EXPECT_EQ(free64, 0x140000000u);
}

TEST(VolumeOnPosix, IsTheRootsWhereNoOtherDirectoryStandsAbove) {
  uint32_t rootBytes = 1;
  uint32_t totalBytes = 2;
  EXPECT_EQ(Volume_GetInformation("/", nullptr, &rootBytes), Error_None);
  EXPECT_EQ(Volume_GetInformation("/qz-missing/file", nullptr, &totalBytes), Error_None);
  EXPECT_EQ(totalBytes, rootBytes);
  uint64_t free64 = UINT64_MAX;
  EXPECT_EQ(iVolume_FreeBytes64("/qz-missing", &free64), Error_None);
  EXPECT_NE(free64, UINT64_MAX);
}

}  // namespace
