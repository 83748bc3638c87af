// The configuration file of a saved transfer.
#include "tool/saved_transfer.h"

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace {

using tool::SavedTransfer;
using tool::TransferStatus;

class SavedTransferFile : public testing::Test {
 protected:
  std::optional<SavedTransfer> Read(const std::string& text, unsigned number = 7) const {
    folder_.Write("7.conf", text);
    return tool::ReadSavedTransfer(folder_.SystemName("7.conf").string(), number);
  }
  // What comes back of a transfer; an empty one when it is refused.
  SavedTransfer RoundTrip(const SavedTransfer& transfer) const {
    return Read(FormatSavedTransfer(transfer), transfer.number).value_or(SavedTransfer());
  }

  TempDir folder_;
};

SavedTransfer Whole() {
  SavedTransfer transfer;
  transfer.number = 7;
  transfer.isUpload = true;
  transfer.url = "ftp://a.example/in/disk.iso";
  transfer.localPath = "/home/me/disk.iso";
  transfer.user = "me";
  transfer.mirrors = "http://b.example/a%20b\nftp://c.example/x";
  transfer.digest = "9f86d081884c7d65";
  transfer.verifies = true;
  transfer.unpacks = true;
  transfer.isActive = true;
  transfer.isSynchronised = true;
  transfer.overwrites = true;
  transfer.savesPassword = true;
  transfer.continuesUpload = true;
  transfer.status = TransferStatus::Failed;
  transfer.attempts = 4000000000u;
  transfer.lastReason = "no answer from a.example";
  transfer.lastExitCode = -4;
  transfer.doneBytes = 18446744073709551615u;
  transfer.sizeBytes = 18446744073709551614u;
  transfer.finalPath = "/home/me/disk(0).iso";
  transfer.sourceBytes = 5368709120;
  transfer.sourceSeconds = -1;
  return transfer;
}

constexpr char kWholeText[] =
    "# A saved transfer of qz.\n"
    "format = 1\n"
    "direction = upload\n"
    "url = ftp://a.example/in/disk.iso\n"
    "path = /home/me/disk.iso\n"
    "user = me\n"
    "mirrors = http://b.example/a%2520b%0Aftp://c.example/x\n"
    "digest = 9f86d081884c7d65\n"
    "reason = no answer from a.example\n"
    "final-path = /home/me/disk(0).iso\n"
    "active = yes\n"
    "synchronise = yes\n"
    "overwrite = yes\n"
    "save-password = yes\n"
    "continue = yes\n"
    "verify = yes\n"
    "unpack = yes\n"
    "status = failed\n"
    "attempts = 4000000000\n"
    "exit-code = -4\n"
    "done = 18446744073709551615\n"
    "source-size = 5368709120\n"
    "source-time = -1\n"
    "size = 18446744073709551614\n"
    "end\n";

constexpr char kShortest[] =
    "format = 1\ndirection = download\nurl = http://a.example/\npath = /a\nstatus = waiting\nend\n";

TEST_F(SavedTransferFile, HasALineForEachField) {
  EXPECT_EQ(FormatSavedTransfer(Whole()), kWholeText);
}

TEST_F(SavedTransferFile, IsReadBackWhole) {
  EXPECT_EQ(Read(kWholeText), Whole());
  EXPECT_EQ(RoundTrip(Whole()), Whole());
}

TEST_F(SavedTransferFile, NeedsFewLinesOnly) {
  SavedTransfer expected;
  expected.number = 7;
  expected.url = "http://a.example/";
  expected.localPath = "/a";
  EXPECT_EQ(Read(kShortest), expected);
}

TEST_F(SavedTransferFile, LeavesOutWhatIsNotKnown) {
  SavedTransfer transfer;
  transfer.number = 1;
  transfer.url = "http://a.example/";
  transfer.localPath = "/a";
  EXPECT_EQ(
      FormatSavedTransfer(transfer),
      "# A saved transfer of qz.\nformat = 1\ndirection = download\nurl = http://a.example/\npath = /a\n"
      "active = no\nsynchronise = no\noverwrite = no\nsave-password = no\ncontinue = no\nverify = no\nunpack "
      "= no\nstatus = waiting\n"
      "attempts = 0\nexit-code = 0\ndone = 0\nsource-size = 0\nsource-time = 0\nend\n");
  EXPECT_EQ(RoundTrip(transfer), transfer);
}

TEST_F(SavedTransferFile, PassesOverUnknownKeysAndComments) {
  EXPECT_TRUE(Read("# mine\ncolour = red\n\nalone\nURL = x\n" + std::string(kShortest)));
}

TEST_F(SavedTransferFile, EscapesWhatBreaksALine) {
  SavedTransfer transfer = Whole();
  transfer.lastReason = " a  b\tc\r\nd#e%f=g\x7F ";
  const std::string text = FormatSavedTransfer(transfer);
  EXPECT_NE(text.find("\nreason = %20a %20b%09c%0D%0Ad%23e%25f=g%7F%20\n"), std::string::npos) << text;
  EXPECT_EQ(RoundTrip(transfer), transfer);
}

TEST_F(SavedTransferFile, KeepsEveryByteOfEveryText) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  for (int byte = 0; byte < 256; ++byte) all.append(1, ' ').append(1, static_cast<char>(byte));
  SavedTransfer transfer = Whole();
  transfer.url = transfer.localPath = transfer.user = transfer.lastReason = transfer.finalPath = all;
  EXPECT_EQ(RoundTrip(transfer), transfer);
}

TEST_F(SavedTransferFile, KeepsTextsOfEveryLengthAroundALine) {
  for (std::size_t length = 1990; length < 2010; ++length) {
    SavedTransfer transfer = Whole();
    transfer.localPath = std::string(length, ' ');
    transfer.lastReason = std::string(length, 'x') + " y";
    transfer.user = std::string(length, 'u') + "#";
    EXPECT_EQ(RoundTrip(transfer), transfer) << length;
  }
}

TEST_F(SavedTransferFile, KeepsLongTexts) {
  SavedTransfer transfer = Whole();
  transfer.url = "http://a.example/" + std::string(100000, 'x');
  transfer.localPath = std::string(5000, '#');
  EXPECT_EQ(RoundTrip(transfer), transfer);
  EXPECT_EQ(FormatSavedTransfer(transfer).find(std::string(4000, 'x')), std::string::npos);
}

TEST_F(SavedTransferFile, IsRefusedWithoutALineThatMustBeThere) {
  for (const std::string line : {"format = 1\n", "direction = download\n", "url = http://a.example/\n",
                                 "path = /a\n", "status = waiting\n", "end\n"}) {
    std::string text = kShortest;
    text.erase(text.find(line), line.size());
    EXPECT_FALSE(Read(text)) << line;
  }
}

TEST_F(SavedTransferFile, IsRefusedWithAValueOutOfRange) {
  for (const std::string line : {"format = 2",
                                 "direction = up",
                                 "direction =",
                                 "status = done",
                                 "attempts = -1",
                                 "attempts = 4294967296",
                                 "attempts = 1x",
                                 "attempts =",
                                 "attempts",
                                 "exit-code = 2147483648",
                                 "done = 18446744073709551616",
                                 "done = 0x10",
                                 "size = unknown",
                                 "size = -1",
                                 "source-time = 9223372036854775808",
                                 "active = maybe",
                                 "reason = %",
                                 "reason = %4",
                                 "reason = %G0",
                                 "reason = %0a",
                                 "user = 100%",
                                 "format = 1",
                                 "end",
                                 "direction = upload",
                                 "status = failed"}) {
    EXPECT_FALSE(Read(line + "\n" + kShortest)) << line;
  }
}

TEST_F(SavedTransferFile, CutAnywhereIsRefused) {
  const std::string text = kWholeText;
  // Without its very last line end it is whole.
  EXPECT_EQ(Read(text.substr(0, text.size() - 1)), Whole());
  for (std::size_t length = 0; length + 1 < text.size(); ++length) {
    EXPECT_FALSE(Read(text.substr(0, length))) << length;
  }
}

TEST_F(SavedTransferFile, WithAFlippedBitIsReadOrRefused) {
  const std::string text = "attempts = 12\nreason = a%20b\nactive = yes\n" + std::string(kShortest);
  int refused = 0;
  for (std::size_t bit = 0; bit < text.size() * 8; ++bit) {
    std::string flipped = text;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
    const std::optional<SavedTransfer> transfer = Read(flipped);
    refused += transfer ? 0 : 1;
    EXPECT_EQ(transfer.value_or(Whole()).number, 7u);
  }
  EXPECT_GT(refused, 500);
}

TEST_F(SavedTransferFile, IsRefusedInAnotherFormat) {
  std::string text = kShortest;
  ASSERT_TRUE(Read(text));
  text.replace(text.find("format = 1"), 10, "format = 2");
  EXPECT_FALSE(Read(text));
}

TEST_F(SavedTransferFile, TellsTheSizeOfAFileAlone) {
  folder_.Write("file", "12345");
  folder_.MakeDirectory("folder");
  EXPECT_EQ(tool::SizeOfFile(folder_.Name("file")), 5u);
  EXPECT_FALSE(tool::SizeOfFile(folder_.Name("folder")));
  EXPECT_FALSE(tool::SizeOfFile(folder_.Name("nothing")));
}

TEST_F(SavedTransferFile, HasDoneWhatThePartHolds_InADownloadAlone) {
  folder_.Write("disk.iso.part", "12345");
  SavedTransfer transfer = Whole();
  transfer.localPath = folder_.Name("disk.iso");
  transfer.doneBytes = 3;
  LookAtPartFile(&transfer);
  EXPECT_EQ(transfer.doneBytes, 3u);
  transfer.isUpload = false;
  LookAtPartFile(&transfer);
  EXPECT_EQ(transfer.doneBytes, 5u);
  transfer.localPath = folder_.Name("other.iso");
  LookAtPartFile(&transfer);
  EXPECT_EQ(transfer.doneBytes, 5u);
}

TEST_F(SavedTransferFile, MissingIsNothing) {
  EXPECT_FALSE(tool::ReadSavedTransfer(folder_.SystemName("1.conf").string(), 1));
  EXPECT_FALSE(tool::ReadSavedTransfer(folder_.SystemName().string(), 1));
}

}  // namespace
