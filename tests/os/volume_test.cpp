// Space on volumes.
#include "qz/volume.h"

#include <gtest/gtest.h>

#include <string>

#include "os/file/file_internal.h"
#include "qz/error.h"
#include "tests/support/error_capture.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(Volume, TakesTheCurrentVolumeForARelativePath) {
  uint32_t fromNull = 0;
  uint32_t fromRelative = 1;
  EXPECT_EQ(Volume_GetInformation(nullptr, nullptr, &fromNull), Error_None);
  EXPECT_EQ(Volume_GetInformation("no/such/file", nullptr, &fromRelative), Error_None);
  EXPECT_EQ(fromNull, fromRelative);
  uint64_t free64 = UINT64_MAX;
  EXPECT_EQ(iVolume_FreeBytes64(nullptr, &free64), Error_None);
  EXPECT_NE(free64, UINT64_MAX);
  EXPECT_EQ(iVolume_FreeBytes64("no/such/file", &free64), Error_None);
  EXPECT_NE(free64, UINT64_MAX);
  EXPECT_EQ(iVolume_FreeBytes64(nullptr, nullptr), Error_Invalid);
}

TEST(Volume, GivesTheSpaceOfTheTemporaryDirectory) {
  TempDir directory;
  uint32_t totalBytes = 0;
  EXPECT_EQ(Volume_GetInformation(directory.Name("f").c_str(), nullptr, &totalBytes), Error_None);
  EXPECT_NE(totalBytes, 0u);
  uint64_t free64 = 0;
  EXPECT_EQ(iVolume_FreeBytes64(directory.Name("missing/f").c_str(), &free64), Error_None);
  EXPECT_GT(free64, 0u);
  EXPECT_NE(free64, UINT64_MAX);
  directory.Write("file", "bytes");
  free64 = 0;
  EXPECT_EQ(iVolume_FreeBytes64(directory.Name("file").c_str(), &free64), Error_None);
  EXPECT_GT(free64, 0u);
  EXPECT_NE(free64, UINT64_MAX);
}

TEST(Volume, SetsAllOnesAfterAFailure) {
  ErrorCapture capture;  // the network name is also reported where there are drives
  const std::string impossible = kIsWindows ? "/Q|/x" : "/" + std::string(1100, 'a');
  uint32_t freeBytes = 0;
  uint32_t totalBytes = 9;
  EXPECT_EQ(Volume_GetInformation(impossible.c_str(), &freeBytes, &totalBytes),
            kIsWindows ? Error_NotFound : Error_Exceed);
  EXPECT_EQ(freeBytes, 0xFFFFFFFFu);
  EXPECT_EQ(totalBytes, 0u);
  EXPECT_NE(Volume_GetInformation(impossible.c_str(), nullptr, nullptr), Error_None);
  uint64_t free64 = 0;
  EXPECT_NE(iVolume_FreeBytes64(impossible.c_str(), &free64), Error_None);
  EXPECT_EQ(free64, UINT64_MAX);
}

}  // namespace
