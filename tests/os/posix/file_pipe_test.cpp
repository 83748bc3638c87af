// Reading a pipe, which may have less than was asked for and give more later.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <string>

#include "os/file/file_internal.h"
#include "qz/error.h"
#include "qz/file.h"
#include "tests/support/temp_dir.h"

namespace {

// Asking again for the rest could wait for a person's next line.
TEST(FilePipe, GivesWhatHasArrivedWithoutWaitingForMore) {
  const TempDir directory;
  ASSERT_EQ(mkfifo(directory.SystemName("pipe").c_str(), 0600), 0);
  const int writer = open(directory.SystemName("pipe").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  File* file = nullptr;
  ASSERT_EQ(File_Open(directory.Name("pipe").c_str(), 1, &file), Error_None);
  ASSERT_EQ(write(writer, "abc", 3), 3);
  char bytes[10];
  auto read = std::async(std::launch::async, [&] { return File_Read(file, sizeof bytes, bytes); });
  if (read.wait_for(std::chrono::seconds(2)) != std::future_status::ready) {
    ADD_FAILURE() << "waits for more";
    ASSERT_EQ(write(writer, "defghij", 7), 7);
  }
  EXPECT_EQ(read.get(), 3u);
  EXPECT_EQ(Stream_Error(File_GetStream(file)), Error_None);
  EXPECT_EQ(std::string(bytes, 3), "abc");
  EXPECT_EQ(File_Close(file), Error_None);
  close(writer);
}

// It was opened without waiting for its other end; reading waits as usual.
TEST(FilePipe, WaitsForItsFirstBytes) {
  const TempDir directory;
  ASSERT_EQ(mkfifo(directory.SystemName("pipe").c_str(), 0600), 0);
  const int writer = open(directory.SystemName("pipe").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(writer, 0);
  File* file = nullptr;
  ASSERT_EQ(File_Open(directory.Name("pipe").c_str(), 1, &file), Error_None);
  char bytes[10];
  auto read = std::async(std::launch::async, [&] { return File_Read(file, sizeof bytes, bytes); });
  EXPECT_EQ(read.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  ASSERT_EQ(write(writer, "abc", 3), 3);
  EXPECT_EQ(read.get(), 3u);
  EXPECT_EQ(Stream_Error(File_GetStream(file)), Error_None);
  EXPECT_EQ(File_Close(file), Error_None);
  close(writer);
}

}  // namespace
