// The library up for a test of what transfers keep between runs, with a cache folder of the test's own and a
// clock that stands still.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "os/time/clock_testing.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "tests/support/os_session.h"
#include "tests/support/system_folders.h"
#include "tests/transfer/transfer_common.h"

class KeptFilesTest : public testing::Test {
 protected:
  static constexpr uint32_t kStartSeconds = 1000000000;  // 2001-09-09 01:46:40 UTC, a Sunday

  void SetUp() override {
    const std::string log = places_.Folder().Name("session.log");
    ASSERT_EQ(OS_Init(places_.ApplicationName().c_str(), OSInitCode_LogPath, log.c_str(),
                      OSInitCode_CompanyName, "qztests", OSInitCode_End),
              Error_None);
    SetClock(kStartSeconds);
    char folder[1024];
    ASSERT_EQ(File_GetSysDir(SysDir_Cache, folder), Error_None);
    cache_ = folder;
    EXPECT_NE(cache_, "");
  }
  void TearDown() override {
    iClock_SetWallClock(nullptr);
    OS_Exit(0);
  }

  const std::string& ApplicationName() const { return places_.ApplicationName(); }

  void SetClock(uint32_t seconds) {
    const Time time = {seconds, 0};
    iClock_SetWallClock(&time);
  }

  // A file of the cache folder, in the library's form and in the system's.
  std::string Name(const std::string& name) const { return cache_ + "/" + name; }
  std::filesystem::path Path(const std::string& name) const { return SystemPath(Name(name)); }
  bool Exists(const std::string& name) const { return std::filesystem::exists(Path(name)); }
  std::string Read(const std::string& name) const { return ReadFile(Path(name)); }
  void Write(const std::string& name, const std::string& bytes) const { WriteFile(Path(name), bytes); }
  // The names in the cache folder, each with a blank behind it, sorted.
  std::string Names() const {
    std::string text;
    for (const std::string& name : NamesIn(cache_)) text += name + " ";
    return text;
  }

 private:
  OSPlaces places_{"qzkept" + std::to_string(ProgramNumber())};
  std::string cache_;
};
