// Open files and names where links, line ends in names, full disks and read-only directories can be arranged.
#include "qz/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/file/file_testing.h"
#include "os/platform/error.h"
#include "os/platform/filesystem.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"
#include "tests/support/time_zone.h"

namespace {

namespace fs = std::filesystem;

using OwnedFile = Owned<File, File_Close>;

class FileOnPosixTest : public testing::Test {
 protected:
  std::string Name(const std::string& name) { return directory_.Name(name); }

  OwnedFile Open(const std::string& name, uint32_t mode) {
    OwnedFile file;
    EXPECT_EQ(File_Open(Name(name).c_str(), mode, file.out()), Error_None) << name;
    return file;
  }

  TempDir directory_;
};

// ---- temporary files ---------------------------------------------------------------------------

TEST_F(FileOnPosixTest, ClosesATemporaryFileThatIsGone) {
  OwnedFile file = Open("f", 2);
  File_SetTemporary(file.get(), 1);
  std::filesystem::remove(directory_.SystemName("f"));
  EXPECT_EQ(File_Close(file.release()), Error_None);
}

TEST_F(FileOnPosixTest, LeavesAnotherFileUnderTheTemporaryName) {
  OwnedFile file = Open("f", 2);
  File_SetTemporary(file.get(), 1);
  std::filesystem::rename(directory_.SystemName("f"), directory_.SystemName("g"));
  directory_.Write("f", "somebody else's");
  EXPECT_EQ(File_Close(file.release()), Error_None);
  EXPECT_EQ(directory_.Read("f"), "somebody else's");
}

// ---- a disk that fills up ----------------------------------------------------------------------

TEST_F(FileOnPosixTest, WritesWhatFitsAFullDisk) {
  DiskLimit limit(100);
  OwnedFile file = Open("f", 2);
  EXPECT_EQ(File_Write(file.get(), 60, std::string(60, 'a').c_str()), 60u);
  EXPECT_EQ(File_Write(file.get(), 60, std::string(60, 'b').c_str()), 40u);
  EXPECT_EQ(Stream_Error(File_GetStream(file.get())), Error_Exceed);
  EXPECT_EQ(File_Write(file.get(), 1, "c"), 0u);
  EXPECT_EQ(Stream_Error(File_GetStream(file.get())), Error_Exceed);
  EXPECT_EQ(File_Close(file.release()), Error_None);
  EXPECT_EQ(directory_.Size("f"), 100u);
}

TEST_F(FileOnPosixTest, SaysThatPendingTextDoesNotFitAFullDisk) {
  DiskLimit limit(10);
  OwnedFile file = Open("f", 2);
  EXPECT_EQ(File_Print(file.get(), "%s", "0123456789abc"), 13);
  EXPECT_EQ(File_Flush(file.get()), -1);
  EXPECT_EQ(Stream_Error(File_GetStream(file.get())), Error_Exceed);
  EXPECT_EQ(File_Close(file.release()), Error_Exceed);
}

TEST_F(FileOnPosixTest, SaysOnClosingThatPendingTextDidNotFit) {
  DiskLimit limit(10);
  OwnedFile file = Open("f", 2);
  EXPECT_EQ(File_Print(file.get(), "%s", "0123456789abc"), 13);
  EXPECT_EQ(File_Close(file.release()), Error_Exceed);
}

TEST_F(FileOnPosixTest, SaysOnClosingWhyTextWasLostFirst) {
  DiskLimit limit(10);
  OwnedFile file = Open("f", 2);
  EXPECT_EQ(File_Print(file.get(), "%s", "0123456789abc"), 13);
  EXPECT_EQ(File_Flush(file.get()), -1);
  EXPECT_EQ(Stream_Error(File_GetStream(file.get())), Error_Exceed);
  // From now on writing fails for another reason.
  const int unwritable = open("/dev/null", O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(dup3(unwritable, file->descriptor, O_CLOEXEC), file->descriptor);
  close(unwritable);
  EXPECT_EQ(File_Print(file.get(), "%s", "more"), 4);
  EXPECT_EQ(File_Flush(file.get()), -1);
  EXPECT_NE(Stream_Error(File_GetStream(file.get())), Error_Exceed);
  // A C library that drops what it could not write, and closes well.
  iFile_SetCloseMethod([](FILE* stream) {
    fclose(stream);
    return 0;
  });
  const ErrorCode status = File_Close(file.release());
  iFile_SetCloseMethod(nullptr);
  EXPECT_EQ(status, Error_Exceed);
}

TEST_F(FileOnPosixTest, WritesNoBytesWhenPendingTextDidNotFit) {
  DiskLimit limit(10);
  OwnedFile file = Open("f", 2);
  EXPECT_EQ(File_Print(file.get(), "%s", "0123456789abc"), 13);
  EXPECT_EQ(File_Write(file.get(), 1, "x"), 0u);
  EXPECT_EQ(Stream_Error(File_GetStream(file.get())), Error_Exceed);
  EXPECT_EQ(File_Close(file.release()), Error_Exceed);
}

TEST_F(FileOnPosixTest, LeavesNoPartOfACopyOnAFullDisk) {
  directory_.Write("f", std::string(1000, 'a'));
  DiskLimit limit(500);
  EXPECT_EQ(File_Copy(Name("f").c_str(), Name("g").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("g"));
}

// ---- a directory that may not be written -------------------------------------------------------

TEST_F(FileOnPosixTest, SaysThatADirectoryMayNotBeWritten) {
  directory_.MakeDirectory("d");
  directory_.Write("d/f", "abc");
  directory_.Write("g", "abc");
  WriteProtection protection(directory_.SystemName("d"));
  EXPECT_EQ(File_Unlink(Name("d/f").c_str()), Error_NoAccess);
  EXPECT_EQ(File_Move(Name("d/f").c_str(), Name("d/h").c_str()), Error_NoAccess);
  EXPECT_EQ(Directory_New(Name("d/new").c_str()), Error_NoAccess);
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), Error_NoAccess);
  File* file = nullptr;
  EXPECT_EQ(File_Open(Name("d/new").c_str(), 2, &file), Error_Fail);
  EXPECT_TRUE(directory_.Exists("d/f"));
}

// ---- what is no ordinary file ------------------------------------------------------------------

TEST_F(FileOnPosixTest, DoesNotWaitForTheOtherEndOfAPipe) {
  ASSERT_EQ(mkfifo(directory_.SystemName("pipe").c_str(), 0600), 0);
  char byte;
  EXPECT_EQ(File_Read(Open("pipe", 1).get(), 1, &byte), 0u);
  File* file = nullptr;
  EXPECT_EQ(File_Open(Name("pipe").c_str(), 2, &file), Error_Fail);
  EXPECT_EQ(File_Copy(Name("pipe").c_str(), Name("copy").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("copy"));
}

// A pipe has no position to go back to, so what was read ahead of the lines is kept for the next one.
TEST_F(FileOnPosixTest, LosesNoLineOfAPipeByAnotherKindOfCall) {
  ASSERT_EQ(mkfifo(directory_.SystemName("pipe").c_str(), 0600), 0);
  OwnedFile file = Open("pipe", 1);
  const int writer = open(directory_.SystemName("pipe").c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(write(writer, "one\ntwo\n", 8), 8);
  close(writer);
  char line[16];
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
  EXPECT_EQ(File_Tell(file.get()), -1);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
  EXPECT_STREQ(line, "two");
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), -1);
}

// A line that breaks off with a read error is no line.
TEST_F(FileOnPosixTest, HandsOutNoPartOfALineThatCannotBeReadToItsEnd) {
  OwnedFile file;
  ASSERT_EQ(File_Open("/proc/self/mem", 1, file.out()), Error_None);
  const auto page = static_cast<size_t>(getpagesize());
  void* memory = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  char* end = static_cast<char*>(memory) + page;
  memcpy(end - 8, "one\ntwo?", 8);
  munmap(end, page);  // reading fails from here on
  EXPECT_EQ(File_Seek64(file.get(), FileSeek_Start, reinterpret_cast<intptr_t>(end - 8)), 0);
  char first[16];
  char second[16] = "unset";
  const int32_t firstLength = File_ScanLine(file.get(), sizeof first, first);
  const int32_t secondLength = File_ScanLine(file.get(), sizeof second, second);
  munmap(memory, page);
  EXPECT_EQ(firstLength, 3);
  EXPECT_STREQ(first, "one");
  EXPECT_EQ(secondLength, -1);
  EXPECT_STREQ(second, "");
  EXPECT_LT(Stream_Error(File_GetStream(file.get())), Error_None);
}

TEST_F(FileOnPosixTest, BeginsWithTheSameLineAfterAFailure) {
  OwnedFile file;
  ASSERT_EQ(File_Open("/proc/self/mem", 1, file.out()), Error_None);
  const auto page = static_cast<size_t>(getpagesize());
  constexpr int kKind = MAP_PRIVATE | MAP_ANONYMOUS;
  void* memory = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, kKind, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  char* end = static_cast<char*>(memory) + page;
  memcpy(end - 8, "one\ntwo ", 8);
  munmap(end, page);
  EXPECT_EQ(File_Seek64(file.get(), FileSeek_Start, reinterpret_cast<intptr_t>(end - 8)), 0);
  char line[16];
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), -1);
  EXPECT_EQ(File_Tell64(file.get()), reinterpret_cast<intptr_t>(end - 4));
  ASSERT_EQ(mmap(end, page, PROT_READ | PROT_WRITE, kKind | MAP_FIXED, -1, 0), end);
  memcpy(end, "three\n", 6);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 9);
  EXPECT_STREQ(line, "two three");
  munmap(memory, 2 * page);
}

TEST_F(FileOnPosixTest, SaysThatADeviceIsFull) {
  OwnedFile file;
  ASSERT_EQ(File_Open("/dev/full", 2, file.out()), Error_None);
  EXPECT_EQ(File_Write(file.get(), 3, "abc"), 0u);
  EXPECT_EQ(Stream_Error(File_GetStream(file.get())), Error_Exceed);
  EXPECT_EQ(File_Print(file.get(), "abc"), 3);
  EXPECT_EQ(File_Close(file.release()), Error_Exceed);
}

TEST_F(FileOnPosixTest, IsNotInheritedByOtherPrograms) {
  for (uint32_t mode : {2u, 8u, 4u, 1u}) {
    OwnedFile file = Open("f", mode);
    EXPECT_EQ(fcntl(file->descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC) << mode;
  }
}

// As when a directory took the place of the file that was looked at a moment ago.
TEST_F(FileOnPosixTest, MayNotRemoveADirectoryAsAFile) {
  directory_.MakeDirectory("d");
  EXPECT_FALSE(platform::RemoveFile(directory_.SystemName("d").c_str()));
  EXPECT_EQ(platform::LastSystemError(), uint32_t{platform::SystemError_AccessDenied});
  EXPECT_TRUE(directory_.Exists("d"));
}

TEST_F(FileOnPosixTest, LeavesNoNewFileBehind_WhenTheCLibraryMakesNoStreamOfIt) {
  // A mode that it does not know stands for what else it may lack.
  EXPECT_EQ(platform::OpenStream(directory_.SystemName("f").c_str(), {"x", false, true, false}), nullptr);
  EXPECT_FALSE(directory_.Exists("f"));
}

TEST_F(FileOnPosixTest, RefusesToMoveADirectoryIntoItself) {
  directory_.MakeDirectory("d");
  EXPECT_EQ(File_Move(Name("d").c_str(), Name("d/e").c_str()), Error_Fail);
  EXPECT_TRUE(directory_.Exists("d"));
}

TEST_F(FileOnPosixTest, IsReadByNobodyElseWhenPrivate) {
  const mode_t original = umask(0);
  for (bool isPrivate : {true, false}) {
    File* file = nullptr;
    EXPECT_EQ(iFile_OpenNew(Name("f").c_str(), 3, isPrivate, &file), Error_None);
    struct stat status;
    EXPECT_EQ(fstat(file->descriptor, &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, isPrivate ? 0600u : 0666u);
    File_SetTemporary(file, 1);
    File_Close(file);
  }
  umask(original);
}

// ---- names near the limit ----------------------------------------------------------------------

TEST_F(FileOnPosixTest, NumbersANameThatJustFits) {
  for (size_t length : {1020u, 1021u}) {
    std::string name = "d";
    while (Name(name).size() < 800) name += "/" + std::string(100, 'x');
    directory_.MakeDirectory(name);
    name += "/" + std::string(length - Name(name).size() - 1, 'y');
    directory_.Write(name, "");
    char result[1024] = "unset";
    EXPECT_EQ(File_NumberName(Name(name).c_str(), result), length == 1020 ? 0 : 5);
    EXPECT_EQ(result, length == 1020 ? Name(name) + "(0)" : "");
  }
}

// ---- times -------------------------------------------------------------------------------------

TEST_F(FileOnPosixTest, GivesTheSameMomentInAnyTimeZone) {
  directory_.Write("f", "abc");
  const struct timespec times[2] = {{852454987, 987654321}, {852454987, 987654321}};
  ASSERT_EQ(utimensat(AT_FDCWD, directory_.SystemName("f").c_str(), times, 0), 0);
  TimeZone zone("EST5EDT");
  FileState state;
  EXPECT_EQ(File_GetState(Name("f").c_str(), &state), Error_None);
  EXPECT_EQ(state.modificationTime.seconds, 852454987u);
  EXPECT_EQ(state.modificationTime.milliseconds, 987u);
  EXPECT_EQ(File_GetStateOpenFile(Open("f", 1).get(), &state), 0);
  EXPECT_EQ(state.modificationTime.seconds, 852454987u);
  EXPECT_EQ(state.modificationTime.milliseconds, 0u);
}

TEST_F(FileOnPosixTest, CopiesTimesAndPermissions) {
  directory_.Write("f", "abc");
  const struct timespec times[2] = {{852000000, 0}, {852454987, 987654321}};
  ASSERT_EQ(utimensat(AT_FDCWD, directory_.SystemName("f").c_str(), times, 0), 0);
  ASSERT_EQ(chmod(directory_.SystemName("f").c_str(), 0751), 0);
  const mode_t original = umask(0);
  EXPECT_EQ(File_Copy(Name("f").c_str(), Name("g").c_str()), Error_None);
  umask(original);
  struct stat status;
  ASSERT_EQ(stat(directory_.SystemName("g").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777u, 0751u);
  EXPECT_EQ(status.st_atim.tv_sec, 852000000);
  EXPECT_EQ(status.st_mtim.tv_sec, 852454987);
  EXPECT_EQ(status.st_mtim.tv_nsec, 987654321);
}

// ---- links -------------------------------------------------------------------------------------

class FileLinkTest : public FileOnPosixTest {
 protected:
  FileLinkTest() {
    directory_.Write("f", "abcde");
    directory_.MakeDirectory("d");
    directory_.Write("d/kept", "abc");
    fs::create_symlink("f", directory_.SystemName("toFile"));
    fs::create_symlink("d", directory_.SystemName("toDirectory"));
    fs::create_symlink("nowhere", directory_.SystemName("dangling"));
    fs::create_symlink("loop", directory_.SystemName("loop"));
  }

  FileState StateOf(const std::string& name) {
    FileState state;
    EXPECT_EQ(File_GetState(Name(name).c_str(), &state), Error_None) << name;
    return state;
  }
};

TEST_F(FileLinkTest, CountsAsWhatItLeadsTo) {
  EXPECT_EQ(StateOf("toFile").size, 5u);
  EXPECT_EQ(StateOf("toFile").isDirectory, 0);
  EXPECT_EQ(StateOf("toDirectory").isDirectory, 1);
}

TEST_F(FileLinkTest, ExistsEvenWhenItLeadsNowhere) {
  for (const char* name : {"dangling", "loop"}) {
    EXPECT_EQ(StateOf(name).exists, 1) << name;
    EXPECT_EQ(StateOf(name).isDirectory, 0) << name;
  }
}

TEST_F(FileLinkTest, IsRemovedItself) {
  for (const char* name : {"toFile", "toDirectory", "dangling", "loop"}) {
    EXPECT_EQ(File_Unlink(Name(name).c_str()), Error_None) << name;
    EXPECT_FALSE(directory_.Exists(name)) << name;
  }
  EXPECT_EQ(directory_.Read("f"), "abcde");
  EXPECT_EQ(directory_.Read("d/kept"), "abc");
}

// With the separator the system would mean what the link leads to.
TEST_F(FileLinkTest, IsRemovedItself_WithSeparatorsBehindItsNameToo) {
  EXPECT_EQ(File_Unlink(Name("toDirectory//").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("toDirectory"));
  EXPECT_EQ(File_Unlink(Name("toFile/").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("toFile"));
  EXPECT_EQ(directory_.Read("f"), "abcde");
  EXPECT_EQ(directory_.Read("d/kept"), "abc");
}

TEST_F(FileLinkTest, IsRenamedItself) {
  EXPECT_EQ(File_Move(Name("dangling").c_str(), Name("moved").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("dangling"));
  EXPECT_EQ(fs::read_symlink(directory_.SystemName("moved")), "nowhere");
}

TEST_F(FileLinkTest, IsNeverReplacedOrWrittenThrough) {
  EXPECT_EQ(File_Move(Name("f").c_str(), Name("dangling").c_str()), Error_Fail);
  EXPECT_EQ(File_Copy(Name("f").c_str(), Name("dangling").c_str()), Error_None);
  FileCopy* copy = nullptr;
  EXPECT_EQ(File_CopyStart(Name("f").c_str(), Name("dangling").c_str(), 0, nullptr, nullptr, &copy),
            Error_Exists);
  File* file = nullptr;
  EXPECT_EQ(iFile_OpenNew(Name("dangling").c_str(), 2, false, &file), Error_Exists);
  EXPECT_FALSE(directory_.Exists("nowhere"));
}

// ---- replacing ---------------------------------------------------------------------------------

TEST_F(FileOnPosixTest, ReplacesALinkItself) {
  directory_.Write("kept", "kept");
  directory_.MakeDirectory("d");
  directory_.Write("f", "abc");
  fs::create_symlink("kept", directory_.SystemName("toFile"));
  fs::create_symlink("nowhere", directory_.SystemName("dangling"));
  fs::create_symlink("d", directory_.SystemName("toDirectory"));
  EXPECT_EQ(File_Replace(Name("f").c_str(), Name("toFile").c_str()), Error_None);
  EXPECT_FALSE(fs::is_symlink(directory_.SystemName("toFile")));
  EXPECT_EQ(directory_.Read("kept"), "kept");
  EXPECT_EQ(File_Replace(Name("toFile").c_str(), Name("dangling").c_str()), Error_None);
  EXPECT_FALSE(fs::is_symlink(directory_.SystemName("dangling")));
  EXPECT_EQ(directory_.Read("dangling"), "abc");
  EXPECT_EQ(File_Replace(Name("dangling").c_str(), Name("toDirectory").c_str()), Error_Fail);
  EXPECT_TRUE(fs::is_symlink(directory_.SystemName("toDirectory")));
  // A link is also renamed itself.
  fs::create_symlink("kept", directory_.SystemName("link"));
  EXPECT_EQ(File_Replace(Name("link").c_str(), Name("dangling").c_str()), Error_None);
  EXPECT_EQ(fs::read_symlink(directory_.SystemName("dangling")), "kept");
}

// Whoever opens the name finds one of the files, whole.
TEST_F(FileOnPosixTest, AlwaysShowsOneOfTheFiles_WhileOneIsReplaced) {
  const std::string texts[2] = {std::string(3000, 'a'), std::string(5000, 'b')};
  directory_.Write("g", texts[0]);
  std::atomic<bool> isDone{false};
  std::thread replacing([&] {
    for (size_t i = 0; i < 300; ++i) {
      directory_.Write("f", texts[i % 2]);
      EXPECT_EQ(File_Replace(Name("f").c_str(), Name("g").c_str()), Error_None);
    }
    isDone = true;
  });
  while (!isDone) {
    const std::string seen = directory_.Read("g");
    EXPECT_TRUE(seen == texts[0] || seen == texts[1]) << seen.size();
  }
  replacing.join();
}

TEST_F(FileOnPosixTest, ReplacesNothing_WhereItMayNotWrite) {
  directory_.MakeDirectory("d");
  directory_.Write("d/f", "abc");
  directory_.Write("d/g", "xyz");
  {
    const WriteProtection protection(directory_.SystemName("d"));
    EXPECT_EQ(File_Replace(Name("d/f").c_str(), Name("d/g").c_str()), Error_NoAccess);
  }
  EXPECT_EQ(directory_.Read("d/f"), "abc");
  EXPECT_EQ(directory_.Read("d/g"), "xyz");
}

TEST_F(FileOnPosixTest, ReplacesNothingOnAnotherVolume) {
  struct stat here, there;
  ASSERT_EQ(stat(directory_.SystemName().c_str(), &here), 0);
  ASSERT_EQ(stat("/dev/shm", &there), 0);
  if (here.st_dev == there.st_dev) GTEST_SKIP() << "/dev/shm is on the volume of the temporary folder";
  directory_.Write("f", "abc");
  const std::string target = "/dev/shm/qz-replaced-" + std::to_string(getpid());
  EXPECT_EQ(File_Replace(Name("f").c_str(), target.c_str()), Error_Fail);
  EXPECT_FALSE(fs::exists(target));
  EXPECT_EQ(directory_.Read("f"), "abc");
}

// ---- waiting for the disk ----------------------------------------------------------------------

TEST_F(FileOnPosixTest, SaysThatWhatWasHeldBackDidNotReachTheDisk) {
  OwnedFile file;
  ASSERT_EQ(File_Open("/dev/full", FileMode_Write, file.out()), Error_None);
  EXPECT_GT(File_Print(file.get(), "%s", "abc"), 0);
  EXPECT_EQ(File_FlushToDisk(file.get()), -1);
  EXPECT_EQ(Stream_Error(File_GetStream(file.get())), Error_Exceed);
}

// ---- writes that are held back -----------------------------------------------------------------

class FullDiskWhileGathering : public FileOnPosixTest {
 protected:
  // 65,536 bytes that are in the file and `held` ones that are not; 70,000 are all that fit.
  void Fill(uint32_t held) {
    file_ = Open("f", FileMode_Write);
    iFile_SetGathering(file_.get(), true);
    const std::string bytes(65536, 'd');
    ASSERT_EQ(File_Write(file_.get(), 65536, bytes.data()), 65536u);
    const std::string rest(held, 'h');
    ASSERT_EQ(File_Write(file_.get(), held, rest.data()), held);
  }
  ErrorCode Status() { return Stream_Error(File_GetStream(file_.get())); }

  OwnedFile file_;
};

TEST_F(FullDiskWhileGathering, FailsTheWriteThatFillsTheBuffer) {
  const DiskLimit limit(70000);
  Fill(65000);
  const std::string last(12288, 'l');
  EXPECT_EQ(File_Write(file_.get(), 12288, last.data()), 0u);
  EXPECT_EQ(Status(), Error_Exceed);
  EXPECT_EQ(directory_.Read("f"), std::string(65536, 'd') + std::string(4464, 'h'));
  EXPECT_EQ(File_Close(file_.release()), Error_Exceed);
  // What was lost does not come back.
  EXPECT_EQ(directory_.Size("f"), 70000u);
}

TEST_F(FullDiskWhileGathering, FailsTheFlush) {
  const DiskLimit limit(70000);
  Fill(10000);
  EXPECT_EQ(File_Flush(file_.get()), -1);
  EXPECT_EQ(Status(), Error_Exceed);
  EXPECT_EQ(File_Flush(file_.get()), 0);
  EXPECT_EQ(File_Close(file_.release()), Error_Exceed);
  EXPECT_EQ(directory_.Size("f"), 70000u);
}

TEST_F(FullDiskWhileGathering, FailsTheCallThatNeedsTheBytesInTheFile) {
  const DiskLimit limit(70000);
  Fill(10000);
  EXPECT_EQ(File_Tell64(file_.get()), -1);
  EXPECT_EQ(Status(), Error_Exceed);
  EXPECT_EQ(File_Tell64(file_.get()), 70000);
}

TEST_F(FullDiskWhileGathering, FailsTheClose) {
  const DiskLimit limit(70000);
  Fill(10000);
  EXPECT_EQ(File_Close(file_.release()), Error_Exceed);
  EXPECT_EQ(directory_.Size("f"), 70000u);
}

TEST_F(FullDiskWhileGathering, RemovesAnIncompleteFile) {
  const DiskLimit limit(70000);
  Fill(10000);
  EXPECT_EQ(iFile_CloseComplete(file_.release()), Error_Exceed);
  EXPECT_FALSE(directory_.Exists("f"));
}

}  // namespace
