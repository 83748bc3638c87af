// Space on volumes.
#include "qz/volume.h"

#include <gtest/gtest.h>

#include <string>

#include "os/file_internal.h"
#include "tests/support/error_capture.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(Volume, GivesTheSpaceOfASmallVolume) {
  TempDir directory;
  SmallVolume volume(directory.SystemName(), 1048576);
  if (!volume.IsMounted()) GTEST_SKIP() << "no small volume can be made here";
  uint32_t freeBytes = 0;
  uint32_t totalBytes = 0;
  EXPECT_EQ(Volume_GetInformation(directory.Name().c_str(), &freeBytes, &totalBytes), 0);
  EXPECT_EQ(freeBytes, 1048576u);
  EXPECT_EQ(totalBytes, 1048576u);
  directory.Write("f", std::string(65536, 'a'));
  // What does not exist yet will stand on the volume of what is above it.
  EXPECT_EQ(Volume_GetInformation(directory.Name("missing/deeper/file").c_str(), &freeBytes, &totalBytes), 0);
  EXPECT_EQ(freeBytes, 1048576u - 65536u);
  EXPECT_EQ(Volume_GetInformation(directory.Name("f").c_str(), &freeBytes, nullptr), 0);
  EXPECT_EQ(freeBytes, 1048576u - 65536u);
  uint64_t free64 = 0;
  EXPECT_EQ(iVolume_FreeBytes64(directory.Name("missing/deeper/file").c_str(), &free64), 0);
  EXPECT_EQ(free64, 1048576u - 65536u);
}

TEST(Volume, WrapsAtFourGigabytes) {
  TempDir directory;
  SmallVolume volume(directory.SystemName(), 0x140000000);  // 5 GiB
  if (!volume.IsMounted()) GTEST_SKIP() << "no small volume can be made here";
  uint32_t freeBytes = 0;
  uint32_t totalBytes = 0;
  EXPECT_EQ(Volume_GetInformation(directory.Name().c_str(), &freeBytes, &totalBytes), 0);
  EXPECT_EQ(freeBytes, 0x40000000u);
  EXPECT_EQ(totalBytes, 0x40000000u);
  uint64_t free64 = 0;
  EXPECT_EQ(iVolume_FreeBytes64(directory.Name().c_str(), &free64), 0);
  EXPECT_EQ(free64, 0x140000000u);
}

TEST(Volume, TakesTheCurrentVolumeForARelativePath) {
  uint32_t fromNull = 0;
  uint32_t fromRelative = 1;
  EXPECT_EQ(Volume_GetInformation(nullptr, nullptr, &fromNull), 0);
  EXPECT_EQ(Volume_GetInformation("no/such/file", nullptr, &fromRelative), 0);
  EXPECT_EQ(fromNull, fromRelative);
  uint64_t free64 = UINT64_MAX;
  EXPECT_EQ(iVolume_FreeBytes64(nullptr, &free64), 0);
  EXPECT_NE(free64, UINT64_MAX);
  EXPECT_EQ(iVolume_FreeBytes64("no/such/file", &free64), 0);
  EXPECT_NE(free64, UINT64_MAX);
  EXPECT_EQ(iVolume_FreeBytes64(nullptr, nullptr), -4);
}

TEST(Volume, GivesTheSpaceOfTheTemporaryDirectory) {
  TempDir directory;
  uint32_t totalBytes = 0;
  EXPECT_EQ(Volume_GetInformation(directory.Name("f").c_str(), nullptr, &totalBytes), 0);
  EXPECT_NE(totalBytes, 0u);
  uint64_t free64 = 0;
  EXPECT_EQ(iVolume_FreeBytes64(directory.Name("missing/f").c_str(), &free64), 0);
  EXPECT_GT(free64, 0u);
  EXPECT_NE(free64, UINT64_MAX);
}

TEST(Volume, SetsAllOnesAfterAFailure) {
  ErrorCapture capture;  // the network name is also reported where there are drives
  const std::string impossible = kIsWindows ? "/Q|/x" : "/" + std::string(1100, 'a');
  uint32_t freeBytes = 0;
  uint32_t totalBytes = 9;
  EXPECT_NE(Volume_GetInformation(impossible.c_str(), &freeBytes, &totalBytes), 0);
  EXPECT_EQ(freeBytes, 0xFFFFFFFFu);
  EXPECT_EQ(totalBytes, 0u);
  EXPECT_NE(Volume_GetInformation(impossible.c_str(), nullptr, nullptr), 0);
  uint64_t free64 = 0;
  EXPECT_NE(iVolume_FreeBytes64(impossible.c_str(), &free64), 0);
  EXPECT_EQ(free64, UINT64_MAX);
}

TEST(Volume, GivesNotFoundForAMissingDrive) {
  if (!kIsWindows) GTEST_SKIP() << "there are no drives here";
  EXPECT_EQ(Volume_GetInformation("/Q|/x", nullptr, nullptr), -3);
}

}  // namespace
