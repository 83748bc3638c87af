// The system directories: their sources, their fallbacks, their return after they were deleted.
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <string>

#include "os/file/sysdir_internal.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/thread.h"
#include "tests/support/environment.h"
#include "tests/support/error_capture.h"
#include "tests/support/os_session.h"
#include "tests/support/system_folders.h"

namespace {

using Lines = std::vector<std::string>;
namespace fs = std::filesystem;

class SysDirs : public testing::Test {
 protected:
  void TearDown() override {
    OS_Exit(0);
    iSysDir_Exit();
  }

  const char* Name() const { return places_.ApplicationName().c_str(); }
  ErrorCode Init() { return OS_Init(Name(), 1, places_.Folder().Name("x.log").c_str(), 0); }

  static std::string Directory(int32_t id) {
    char buffer[1024] = "as was";
    EXPECT_EQ(File_GetSysDir(id, buffer), Error_None) << id;
    return buffer;
  }
  fs::path BesideProgram(const char* suffix) const {
    return ProgramPath().parent_path() / (places_.ApplicationName() + suffix);
  }
  // A name that no folder can be made under.
  fs::path BelowAFile() const {
    std::ofstream(places_.Folder().Path() / "plain") << "x";
    return places_.Folder().Path() / "plain" / "folder";
  }

  OSPlaces places_{"qzdirs" + std::to_string(ProgramNumber())};
  ErrorCapture errors_;
};

TEST_F(SysDirs, GiveNotInited_AndAnEmptyName_WhileTheLibraryIsDown) {
  char buffer[1024] = "as was";
  EXPECT_EQ(File_GetSysDir(SysDir_App, buffer), Error_NotInited);
  EXPECT_STREQ(buffer, "");
}

TEST_F(SysDirs, GiveNotFound_ForANumberThatIsNone) {
  ASSERT_EQ(Init(), Error_None);
  for (int32_t id : {-1, 8, 1000, INT32_MIN}) {
    char buffer[1024] = "as was";
    EXPECT_EQ(File_GetSysDir(id, buffer), Error_NotFound) << id;
    EXPECT_STREQ(buffer, "") << id;
  }
  EXPECT_EQ(File_GetSysDir(0, nullptr), Error_Invalid);
}

TEST_F(SysDirs, ComeFromTheSystem) {
  ASSERT_EQ(Init(), Error_None);
  EXPECT_EQ(Directory(SysDir_App), LibraryName(ProgramPath().parent_path()));
  EXPECT_EQ(Directory(SysDir_Temp), LibraryName(ExpectedTemporaryFolder()));
  EXPECT_EQ(Directory(SysDir_Cache), LibraryName(BesideProgram("Cache")));
  EXPECT_EQ(Directory(SysDir_Desk), LibraryName(ExpectedDesktopFolder(BesideProgram("Desk"))));
  EXPECT_EQ(Directory(SysDir_Prefs), LibraryName(ExpectedPreferencesFolder(BesideProgram("Prefs"))));
  EXPECT_EQ(Directory(SysDir_Startup), LibraryName(ExpectedStartupFolder()));
  EXPECT_EQ(Directory(SysDir_OS), LibraryName(ExpectedSystemFolder()));
  EXPECT_EQ(Directory(SysDir_Programs), LibraryName(ExpectedProgramsFolder()));
}

TEST_F(SysDirs, AreCreated) {
  ASSERT_EQ(Init(), Error_None);
  EXPECT_TRUE(fs::is_directory(BesideProgram("Cache")));
  EXPECT_FALSE(fs::exists(BesideProgram("Temp"))) << "the system has its own";
}

TEST_F(SysDirs, FallBackBesideTheProgram_WithoutASeparator) {
  const ScopedTemporaryVariable temporary(BelowAFile().string().c_str());
  ASSERT_EQ(Init(), Error_None);
  EXPECT_EQ(Directory(SysDir_Temp), LibraryName(BesideProgram("Temp")));
  EXPECT_TRUE(fs::is_directory(BesideProgram("Temp")));
}

TEST_F(SysDirs, CreateAMissingPrimaryDirectory) {
  const fs::path missing = places_.Folder().Path() / "made";
  const ScopedTemporaryVariable temporary(missing.string().c_str());
  ASSERT_EQ(Init(), Error_None);
  EXPECT_EQ(Directory(SysDir_Temp), LibraryName(missing));
  EXPECT_TRUE(fs::is_directory(missing));
}

TEST_F(SysDirs, LoseATrailingSeparator) {
  const fs::path folder = places_.Folder().Path() / "ended";
  fs::create_directory(folder);
  const std::string ended = folder.string() + static_cast<char>(fs::path::preferred_separator);
  const ScopedTemporaryVariable temporary(ended.c_str());
  ASSERT_EQ(Init(), Error_None);
  EXPECT_EQ(Directory(SysDir_Temp), LibraryName(folder));
}

TEST_F(SysDirs, AreMadeAgain_WhenTheyWereDeleted) {
  ASSERT_EQ(Init(), Error_None);
  const std::string cache = Directory(SysDir_Cache);
  fs::remove_all(BesideProgram("Cache"));
  EXPECT_EQ(Directory(SysDir_Cache), cache);
  EXPECT_TRUE(fs::is_directory(BesideProgram("Cache")));
}

// What eight threads got for the same directory, all asking at once.
struct Askers {
  static constexpr int kCount = 8;
  std::atomic<int> ready{0};
  std::atomic<int> refused{0};
  std::atomic<int> done{0};

  static int32_t Run(void* argument) {
    auto* askers = static_cast<Askers*>(argument);
    char buffer[1024];
    ++askers->ready;
    while (askers->ready != kCount) Thread_Yield();
    if (File_GetSysDir(SysDir_Cache, buffer) != 0) ++askers->refused;
    ++askers->done;
    return 0;
  }
};

TEST_F(SysDirs, AreMadeAgainForEveryThread_WhenManyAskAtOnce) {
  ASSERT_EQ(Init(), Error_None);
  for (int round = 0; round < 50; ++round) {
    fs::remove_all(BesideProgram("Cache"));
    Askers askers;
    for (int i = 0; i < Askers::kCount; ++i) Thread_Delete(Thread_New(Askers::Run, &askers));
    for (int i = 0; i < 10000 && askers.done != Askers::kCount; ++i) OS_Delay(0.001f);
    ASSERT_EQ(askers.done, 8);
    EXPECT_EQ(askers.refused, 0) << round;
  }
}

TEST_F(SysDirs, GiveNotFound_WhenTheyCannotBeMadeAgain) {
  ASSERT_EQ(Init(), Error_None);
  fs::remove_all(BesideProgram("Cache"));
  std::ofstream(BesideProgram("Cache")) << "a file stands here";
  char buffer[1024] = "as was";
  EXPECT_EQ(File_GetSysDir(SysDir_Cache, buffer), Error_NotFound);
  EXPECT_STREQ(buffer, "");
  fs::remove(BesideProgram("Cache"));
  EXPECT_EQ(File_GetSysDir(SysDir_Cache, buffer), Error_None) << "the next call tries again";
}

TEST_F(SysDirs, FailTheStartWithExists_WhenAFileStandsInTheWayOfAFallback) {
  std::ofstream(BesideProgram("Cache")) << "a file stands here";
  EXPECT_EQ(Init(), Error_Exists);
  EXPECT_EQ(errors_.Lines(),
            (Lines{"#### Error: OS_Init: File: Can't update system directory 2\n",
                   "#### Error: OS_Init: Couldn't initialize default file system directories!\n"}));
  char buffer[1024] = "as was";
  EXPECT_EQ(File_GetSysDir(SysDir_App, buffer), Error_NotInited);
  fs::remove(BesideProgram("Cache"));
  EXPECT_EQ(Init(), Error_None);
}

}  // namespace
