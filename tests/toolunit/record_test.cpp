// Records of transfers as bytes.
#include "tool/record.h"

#include <gtest/gtest.h>

#include "tool/failure.h"

namespace {

using tool::ExitCode;
using tool::Failure;
using tool::OwnedTransfer;

OwnedTransfer NewDownload(const std::string& url) {
  VRXClient* client = nullptr;
  EXPECT_EQ(VRXClient_NewDownload(url.c_str(), nullptr, 0, nullptr, &client), 0);
  return OwnedTransfer(client);
}

std::string RecordWithMirrors(int count) {
  const OwnedTransfer transfer = NewDownload("http://a.example/disk.iso");
  for (int i = 0; i < count; ++i) {
    const std::string mirror = "http://b" + std::to_string(i) + ".example/disk.iso";
    EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), mirror.c_str()), 0);
  }
  return tool::WriteRecord(transfer.get());
}

// What a failed reading says; empty when it can be read.
std::string Refusal(const std::string& bytes) {
  try {
    tool::ReadRecord(bytes);
    return "";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code, ExitCode::Other);
    return failure.text.empty() ? "no text" : failure.text;
  }
}

TEST(Record, IsReadBack) {
  const std::string record = tool::WriteRecord(NewDownload("http://a.example/disk.iso").get());
  EXPECT_EQ(record.substr(0, 4), "vrxc");
  const OwnedTransfer transfer = tool::ReadRecord(record);
  char url[1024];
  ASSERT_EQ(VRXClient_GetSourceURL(transfer.get(), url), 0);
  EXPECT_STREQ(url, "http://a.example/disk.iso");
  EXPECT_EQ(tool::WriteRecord(transfer.get()), record);
}

TEST(Record, MayBeLong) {
  const std::string record = RecordWithMirrors(500);
  EXPECT_GT(record.size(), 16384u);
  EXPECT_EQ(tool::WriteRecord(tool::ReadRecord(record).get()), record);
}

TEST(Record, SaysWhyItCannotBeRead) {
  const std::string record = RecordWithMirrors(0);
  EXPECT_EQ(Refusal(record.substr(0, record.size() - 1)),
            "the record of the transfer is damaged: its end is missing");
  EXPECT_EQ(Refusal(""), "the record of the transfer is damaged: its end is missing");
  EXPECT_EQ(Refusal("something else"),
            "the record of the transfer is damaged: its beginning is not that of a record");
  std::string newer = record;
  newer[4] = 100;
  EXPECT_EQ(Refusal(newer),
            "the record of the transfer is of a newer version, or needs an extension that is missing");
}

TEST(Record, CutAnywhereIsRefused) {
  const std::string record = RecordWithMirrors(1);
  for (std::size_t length = 0; length < record.size(); ++length) {
    EXPECT_NE(Refusal(record.substr(0, length)), "") << length;
  }
}

TEST(Record, WithAFlippedBitIsReadOrRefused) {
  const std::string record = RecordWithMirrors(1);
  int refused = 0;
  for (std::size_t bit = 0; bit < record.size() * 8; ++bit) {
    std::string flipped = record;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
    refused += Refusal(flipped).empty() ? 0 : 1;
  }
  EXPECT_GT(refused, 32);
}

}  // namespace
