// Receiving into files on a full disk, where one can be arranged.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "qz/file.h"
#include "tests/net/ftpc_fixture.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"

using namespace script;

namespace {

constexpr uint64_t kDiskBytes = 100000;

// A server that sends more than the disk takes, and sees the data connection end before all of it is sent.
Script SendsTooMuch(const std::string& command) {
  return ftp::Join({ftp::Login(),
                    ftp::Passive(),
                    ftp::Started(command),
                    {DataSend(Numbers(kDiskBytes + 5000)), DataStall(), SendLine("426 cut")},
                    ftp::Exchange("DELE /b", "250 ok"),
                    ftp::Gone()});
}

TEST_F(FTPcData, GivesExceedAtOnce_WhenTheDiskIsFull) {
  const TempDir folder;
  const std::string name = folder.Name("file");
  ScriptedServer server({SendsTooMuch("RETR /a")});
  ftp::Client client(server.port());
  File* file = nullptr;
  ASSERT_EQ(File_Open(name.c_str(), 2, &file), Error_None);
  uint32_t count = 0;
  const auto start = std::chrono::steady_clock::now();
  ErrorCode status = Error_None;
  {
    const DiskLimit full(kDiskBytes);
    status = FTPc_Retrieve(client, "/a", File_GetStream(file), &count, &client.reply);
  }
  EXPECT_EQ(status, Error_Exceed);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  EXPECT_EQ(count, kDiskBytes);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_None);
  File_Close(file);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, GivesExceedAtOnce_WhenTheDiskIsFullForAList) {
  const TempDir folder;
  const std::string name = folder.Name("list");
  ScriptedServer server({SendsTooMuch("LIST")});
  ftp::Client client(server.port());
  const auto start = std::chrono::steady_clock::now();
  ErrorCode status = Error_None;
  {
    const DiskLimit full(kDiskBytes);
    status = FTPc_GetDirectoryList(client, nullptr, FTPcList_Long, name.c_str(), &client.reply);
  }
  EXPECT_EQ(status, Error_Exceed);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  EXPECT_EQ(File_Exists(name.c_str(), nullptr), 0);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

}  // namespace
