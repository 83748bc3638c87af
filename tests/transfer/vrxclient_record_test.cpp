// The persistent form of a transfer: what is read of the bytes of every version, what is written, and what
// damaged records do.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "os/core/memory_testing.h"
#include "qz/memory.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/record_bytes.h"
#include "tests/transfer/vrxclient_fixture.h"
#include "tests/traverse/formats_page_table.h"
#include "tests/traverse/traverse_fixture.h"

namespace {

using namespace transfer_record;

std::string Trimmed(std::string hex) {
  while (!hex.empty() && hex.back() == ' ') hex.pop_back();
  return hex;
}

// ---- the fields ------------------------------------------------------------------------------------

// Fields that free themselves.
struct Fields : VRXClientData {
  Fields() : VRXClientData{} { iVRXClient_InitRecord(this); }
  ~Fields() { iVRXClient_FreeRecord(this, 0); }
  Fields(const Fields&) = delete;
  Fields& operator=(const Fields&) = delete;

  ErrorCode Read(const std::string& hex, Order order = Order::Plain) {
    Context context(hex, order);
    const ErrorCode status = iVRXClient_ReadRecord(context.traverse(), this);
    EXPECT_EQ(context.error(), Error_None);
    if (status == Error_None) {
      EXPECT_EQ(context.Rest(), "");
    }
    return status;
  }
  std::string Written(bool isWithoutPasswords = false) {
    Context context;
    EXPECT_EQ(iVRXClient_WriteRecord(context.traverse(), this, isWithoutPasswords), Error_None);
    return context.Written();
  }
};

std::string Shown(const ServerList& servers) {
  std::string text;
  for (const ServerEntry* entry = servers.first; entry != nullptr; entry = entry->next) {
    char url[1024];
    EXPECT_EQ(URL_FromData(entry->url, url), Error_None);
    text += (text.empty() ? "" : " ") + std::string(entry->isFailed ? "!" : "") + url;
  }
  return text;
}

// A line for each field that the versions differ in, and one for those that all have.
Lines Shown(const VRXClientData& data) {
  return {
      std::to_string(data.created.seconds) + "." + std::to_string(data.created.milliseconds) + " " +
          std::to_string(data.reserved) + " " + std::to_string(data.isUpload) + " " + data.user + " " +
          data.password + " " + data.dataPath + " " + data.logPath,
      "size " + std::to_string(data.size) + " declared " + std::to_string(data.declaredSize),
      std::string("server file name ") + data.serverFileName,
      "state " + std::to_string(static_cast<uint32_t>(data.state)) + " flags " +
          std::to_string(data.editFlags),
      "servers " + Shown(data.servers),
      "source time " + std::to_string(data.sourceTime.seconds) + "." +
          std::to_string(data.sourceTime.milliseconds),
      std::string("name ") + data.name + " local path " + data.localPath,
      "elapsed " + std::to_string(data.elapsedMilliseconds),
  };
}

const std::string kCommon = "1000000000.500 7 0 me pw /d /l";

TEST(TransferRecord, OfEveryVersionIsRead) {
  const std::vector<Lines> expected = {
      {kCommon, "size 4096 declared 4096", "server file name ", "state 0 flags 58", "servers ftp://a/x",
       "source time 0.0", "name  local path ", "elapsed 0"},
      {kCommon, "size 4096 declared 4096", "server file name ", "state 0 flags 58", "servers ftp://a/x",
       "source time 0.0", "name n local path /p", "elapsed 0"},
      {kCommon, "size 4096 declared 4096", "server file name ", "state 13 flags 62", "servers ftp://a/x",
       "source time 0.0", "name n local path /p", "elapsed 0"},
      {kCommon, "size 4096 declared 4096", "server file name ", "state 13 flags 62",
       "servers ftp://a/x !ftp://b/x", "source time 0.0", "name n local path /p", "elapsed 0"},
      {kCommon, "size 4096 declared 5000", "server file name ", "state 13 flags 62",
       "servers ftp://a/x !ftp://b/x", "source time 0.0", "name n local path /p", "elapsed 0"},
      {kCommon, "size 4096 declared 5000", "server file name ", "state 13 flags 62",
       "servers ftp://a/x !ftp://b/x", "source time 2.3", "name n local path /p", "elapsed 0"},
      {kCommon, "size 4096 declared 5000", "server file name ", "state 13 flags 62",
       "servers ftp://a/x !ftp://b/x", "source time 2.3", "name n local path /p", "elapsed 1500"},
      {kCommon, "size 4096 declared 5000", "server file name s.bin", "state 13 flags 62",
       "servers ftp://a/x !ftp://b/x", "source time 2.3", "name n local path /p", "elapsed 1500"},
      {kCommon, "size 4886718345 declared 5000", "server file name s.bin", "state 13 flags 62",
       "servers ftp://a/x !ftp://b/x", "source time 2.3", "name n local path /p", "elapsed 1500"},
  };
  for (size_t i = 0; i < kVersions.size(); ++i) {
    Fields fields;
    EXPECT_EQ(fields.Read(kVersions[i]), Error_None) << "version " << i + 1;
    EXPECT_EQ(Shown(fields), expected[i]) << "version " << i + 1;
    EXPECT_EQ(fields.agents.count, 0u);
    EXPECT_EQ(fields.agents.nextIndex, 0u);
  }
}

TEST(TransferRecord, OfVersions1And2IsOfStateZero_WithTheFlagsOfANewTransfer) {
  for (const char* version : {"01 00 00 00 ", "02 00 00 00 "}) {
    const std::string names = version[1] == '2' ? kNames : "";
    Fields upload;
    EXPECT_EQ(upload.Read(kTag + version + kCreated + kSize + kUploadFlags + kURL + kLogin + kPaths + names),
              Error_None);
    EXPECT_EQ(upload.isUpload, 1);
    EXPECT_EQ(upload.editFlags, 0x38u);
    EXPECT_EQ(upload.state, TransferState::SelectServer);
    Fields download;
    EXPECT_EQ(download.Read(kTag + version + kCreated + kSize + kFlags + kURL + kLogin + kPaths + names),
              Error_None);
    EXPECT_EQ(download.editFlags, 0x3Au);
  }
}

TEST(TransferRecord, OfANewerOrAnotherKindIsRefused) {
  for (const char* beginning : {"76 72 78 63 0A 00 00 00 ", "76 72 78 63 00 00 00 00 ",
                                "76 72 78 63 FF FF FF FF ", "76 72 78 73 08 00 00 00 "}) {
    Fields fields;
    EXPECT_EQ(fields.Read(beginning + kVersion8.substr(24)), Error_NotFound) << beginning;
  }
}

TEST(TransferRecord, IsReadInNetworkOrderToo) {
  Fields fields;
  EXPECT_EQ(fields.Read("63 78 72 76 00 00 00 01 3B 9A CA 00 00 00 01 F4 00 00 10 00 07 00 "
                        "00 00 00 0A 66 74 70 3A 2F 2F 61 2F 78 00 "
                        "00 00 00 03 6D 65 00 00 00 00 03 70 77 00 "
                        "00 00 00 03 2F 64 00 00 00 00 03 2F 6C 00",
                        Order::Network),
            Error_None);
  EXPECT_EQ(Shown(fields)[0], kCommon);
  EXPECT_EQ(fields.size, 4096u);
}

TEST(TransferRecord, IsTheOneOfThePage) {
  Fields fields;
  EXPECT_EQ(fields.Read(ColumnBelow("#### Transfer, version 8", kPlainColumn, Side::Reader)), Error_None);
  EXPECT_EQ(fields.Written(), ColumnBelow("#### Transfer, version 8", kPlainColumn, Side::Writer));
  EXPECT_EQ(Trimmed(kVersion8), ColumnBelow("#### Transfer, version 8", kPlainColumn, Side::Writer));
  Fields wide;
  EXPECT_EQ(wide.Read(kVersion9), Error_None);
  const std::string end = ColumnBelow("#### Transfer, what version 9 adds", kPlainColumn, Side::Writer);
  const std::string written = wide.Written();
  EXPECT_EQ(written.substr(written.size() - end.size()), end);
}

// ---- writing -------------------------------------------------------------------------------------------

TEST(TransferRecord, IsWrittenAsVersion8_WhileAllSizesFit) {
  Fields fields;
  ASSERT_EQ(fields.Read(kVersion8), Error_None);
  EXPECT_EQ(fields.Written(), Trimmed(kVersion8));
  Fields old;
  ASSERT_EQ(old.Read(kVersion1), Error_None);
  EXPECT_EQ(old.Written(),
            Trimmed(kTag + "08 00 00 00 " + kCreated + kSize + kSize + "01 00 00 00 00 " + kFlags +
                    "00 00 00 00 3A 00 00 00 " + kAgents +
                    "76 72 78 73 01 00 00 00 01 00 00 00 0B 00 00 00 20 66 74 70 3A 2F 2F 61 2F 78 00 " +
                    "00 00 00 00 00 00 00 00 " + kLogin + kPaths + "01 00 00 00 00 01 00 00 00 00 " +
                    "00 00 00 00"));
}

TEST(TransferRecord, IsWrittenAsVersion9_WhenASizeDoesNotFit) {
  Fields fields;
  ASSERT_EQ(fields.Read(kVersion9), Error_None);
  EXPECT_EQ(fields.Written(), Trimmed(kVersion9));

  struct {
    uint64_t size;
    uint64_t declared;
    const char* version;
    const char* narrow;
    const char* wide;
  } const rows[] = {
      {kSizeUnknown, 0, "08", "FF FF FF FF 00 00 00 00", ""},
      {kSizeUnknown, kSizeUnknown, "08", "FF FF FF FF FF FF FF FF", ""},
      {0, 0xFFFFFFFE, "08", "00 00 00 00 FE FF FF FF", ""},
      {0xFFFFFFFE, 1, "08", "FE FF FF FF 01 00 00 00", ""},
      {0xFFFFFFFF, 0, "09", "FF FF FF FF 00 00 00 00", "FF FF FF FF 00 00 00 00 00 00 00 00 00 00 00 00"},
      {0x100000000, 0, "09", "FF FF FF FF 00 00 00 00", "00 00 00 00 01 00 00 00 00 00 00 00 00 00 00 00"},
      {4096, 0xFFFFFFFF, "09", "00 10 00 00 FF FF FF FF", "00 10 00 00 00 00 00 00 FF FF FF FF 00 00 00 00"},
      {kSizeUnknown, 0x123456789ABCDEF0, "09", "FF FF FF FF FF FF FF FF",
       "FF FF FF FF FF FF FF FF F0 DE BC 9A 78 56 34 12"},
  };
  for (const auto& row : rows) {
    fields.size = row.size;
    fields.declaredSize = row.declared;
    const std::string written = fields.Written();
    EXPECT_EQ(written.substr(12, 2), row.version) << row.size;
    EXPECT_EQ(written.substr(48, 23), row.narrow) << row.size;
    const std::string wide = row.wide;
    EXPECT_EQ(wide.empty() ? "DC 05 00 00" : wide,
              written.substr(written.size() - (wide.empty() ? 11 : wide.size())));
    EXPECT_EQ(fields.size, row.size) << "writing changes nothing";
    EXPECT_EQ(fields.declaredSize, row.declared);
    Fields again;
    EXPECT_EQ(again.Read(written), Error_None);
    EXPECT_EQ(again.size, row.size);
    EXPECT_EQ(again.declaredSize, row.declared);
  }
}

TEST(TransferRecord, TakesThe64BitsOfVersion9_WhateverThe32BitsAre) {
  Fields fields;
  ASSERT_EQ(fields.Read(kTag + "09 00 00 00 " + kCreated + kSize + kDeclared + kServerFileName + kFlags +
                        kState + kAgents + kServers + kSourceTime + kLogin + kPaths + kNames + kElapsed +
                        "07 00 00 00 00 00 00 00 FF FF FF FF FF FF FF FF"),
            Error_None);
  EXPECT_EQ(fields.size, 7u);
  EXPECT_EQ(fields.declaredSize, kSizeUnknown);
  EXPECT_EQ(fields.Written().substr(12, 2), "08");
}

TEST(TransferRecord, LeavesPasswordsOut) {
  Fields fields;
  ASSERT_EQ(fields.Read(kVersion8), Error_None);
  bool isAdded = false;
  iServerList_Delete(&fields.servers);
  ASSERT_EQ(iServerList_Add(&fields.servers, "ftp://u:secret@a/x", &isAdded), Error_None);
  const std::string with = fields.Written();
  EXPECT_NE(with.find("70 77 00"), std::string::npos);
  EXPECT_NE(with.find("75 3A 73 65 63 72 65 74 40"), std::string::npos);  // "u:secret@"
  EXPECT_EQ(
      fields.Written(true),
      Trimmed(kTag + "08 00 00 00 " + kCreated + kSize + kDeclared + kServerFileName + kFlags + kState +
              kAgents + "76 72 78 73 01 00 00 00 01 00 00 00 0B 00 00 00 20 66 74 70 3A 2F 2F 61 2F 78 00 " +
              kSourceTime + "03 00 00 00 6D 65 00 01 00 00 00 00 " + kPaths + kNames + kElapsed));
  EXPECT_STREQ(fields.password, "pw");
  EXPECT_STREQ(fields.servers.first->url->password, "secret");
}

TEST(TransferRecord, IsNotWritten_WhenTheStreamTakesNoMore) {
  Fields fields;
  ASSERT_EQ(fields.Read(kVersion8), Error_None);
  const size_t whole = Bytes(kVersion8).size();
  for (size_t size = 0; size < whole; ++size) {
    Context context;
    context.bytes().LimitWrites(size, Error_Exceed);
    EXPECT_EQ(iVRXClient_WriteRecord(context.traverse(), &fields, false), Error_Ended) << size;
  }
}

// ---- odd values ------------------------------------------------------------------------------------------

TEST(TransferRecord, TakesAnUploadFlagForOneOrZero) {
  for (const char* flags : {"07 01 ", "07 02 ", "07 FF "}) {
    Fields fields;
    ASSERT_EQ(fields.Read(kTag + "01 00 00 00 " + kCreated + kSize + flags + kURL + kLogin + kPaths),
              Error_None);
    EXPECT_EQ(fields.isUpload, 1) << flags;
    EXPECT_EQ(fields.reserved, 7);
  }
}

TEST(TransferRecord, KeepsTheReservedByteAndAllEditFlags) {
  std::string hex = kVersion8;
  hex.replace(hex.find(kFlags + kState), 6, "A5 00 ");
  hex.replace(hex.find("3E 00 00 00"), 11, "FF FF FF FF");
  Fields fields;
  ASSERT_EQ(fields.Read(hex), Error_None);
  EXPECT_EQ(fields.reserved, 0xA5);
  EXPECT_EQ(fields.editFlags, 0xFFFFFFFFu);
  EXPECT_EQ(fields.Written(), Trimmed(hex));
}

TEST(TransferRecord, TakesAStateThatThereIsNotForZero) {
  for (const auto& [stored, state] : std::vector<std::pair<std::string, uint32_t>>{
           {"0E 00 00 00", 14}, {"0F 00 00 00", 0}, {"FF FF FF FF", 0}, {"0B 00 00 00", 11}}) {
    std::string hex = kVersion8;
    hex.replace(hex.find("0D 00 00 00 3E"), 11, stored);
    Fields fields;
    ASSERT_EQ(fields.Read(hex), Error_None);
    EXPECT_EQ(static_cast<uint32_t>(fields.state), state) << stored;
  }
}

// A text that fills its field, and one that has no terminator.
TEST(TransferRecord, EndsEveryText) {
  const std::string name(1023, 'n');
  std::string hex = kTag + "02 00 00 00 " + kCreated + kSize + kFlags + kURL +
                    "02 00 00 00 6D 65 03 00 00 00 70 77 00 " + kPaths + "00 04 00 00 " + Hex(name) +
                    " 00 00 04 00 00 " + Hex(name) + " 70";
  Fields fields;
  EXPECT_EQ(fields.Read(hex), Error_None);
  EXPECT_STREQ(fields.user, "me");
  EXPECT_EQ(fields.name, name);
  EXPECT_EQ(fields.localPath, name) << "the last byte makes room for the terminator";
}

TEST(TransferRecord, IsLost_WhenATextIsTooLong) {
  const std::string name(1024, 'n');
  std::string hex = kTag + "02 00 00 00 " + kCreated + kSize + kFlags + kURL + kLogin + kPaths +
                    "01 04 00 00 " + Hex(name) + " 00 03 00 00 00 2F 70 00";
  Fields fields;
  EXPECT_EQ(fields.Read(hex), Error_Ended);
}

TEST(TransferRecord, IsRefused_WithServersThatAreNoURLs) {
  Fields fields;
  EXPECT_EQ(
      fields.Read(kTag + "01 00 00 00 " + kCreated + kSize + kFlags + "01 00 00 00 00 " + kLogin + kPaths),
      Error_Invalid);
  Fields none;
  std::string hex = kVersion8;
  hex.replace(hex.find("02 00 00 00 0B 00 00 00 20"), 11, "00 00 00 00");
  EXPECT_EQ(none.Read(hex), Error_Invalid);
  const std::string url = "ftp://a/" + std::string(1014, 'x');
  Fields tooLong;
  EXPECT_EQ(tooLong.Read(kTag + "01 00 00 00 " + kCreated + kSize + kFlags + "FF 03 00 00 " + Hex(url) +
                         " 00 " + kLogin + kPaths),
            Error_Invalid)
      << "no list could write it again";
}

TEST(TransferRecord, GivesEnded_WhereverItIsCut) {
  for (const std::string& hex : kVersions) {
    const std::string whole = Bytes(hex);
    const int64_t before = iMemory_CountLive();
    for (size_t length = 0; length < whole.size(); ++length) {
      Fields fields;
      EXPECT_EQ(fields.Read(Hex(whole.substr(0, length))), Error_Ended) << "cut at " << length;
    }
    EXPECT_EQ(iMemory_CountLive(), before);
  }
}

TEST(TransferRecord, IsReadOrRefused_WhicheverBitIsWrong) {
  const std::vector<ErrorCode> clean = {Error_None, Error_NotFound, Error_Invalid, Error_Ended, Error_Exceed};
  for (const std::string& hex : kVersions) {
    const std::string whole = Bytes(hex);
    const int64_t before = iMemory_CountLive();
    for (size_t bit = 0; bit < whole.size() * 8; ++bit) {
      std::string damaged = whole;
      damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
      Fields fields;
      Context context(Hex(damaged));
      iMemory_FailAllocation(1000000);
      const ErrorCode status = iVRXClient_ReadRecord(context.traverse(), &fields);
      EXPECT_GT(iMemory_AllocationsUntilFailure(), 1000000 - 50) << "bit " << bit;
      iMemory_FailAllocation(0);
      EXPECT_NE(std::find(clean.begin(), clean.end(), status), clean.end()) << status << " for bit " << bit;
      if (bit < 32) {
        EXPECT_EQ(status, Error_NotFound) << "the tag";
      }
      EXPECT_LE(static_cast<uint32_t>(fields.state), 14u);
      EXPECT_LE(fields.isUpload, 1);
    }
    EXPECT_EQ(iMemory_CountLive(), before);
  }
}

TEST(TransferRecord, GivesMemory_WhicheverAllocationFails) {
  for (const std::string& hex : kVersions) {
    int succeeded = 0;
    FailEveryAllocation([&] {
      TestStream stream(Bytes(hex));
      Traverse* traverse = Traverse_New(0, stream.stream());
      if (traverse == nullptr) return;
      Fields fields;
      const ErrorCode status = iVRXClient_ReadRecord(traverse, &fields);
      if (status == Error_None) {
        ++succeeded;
      } else {
        EXPECT_EQ(status, Error_Memory);
      }
      Traverse_Delete(traverse);
    });
    EXPECT_EQ(succeeded, 1);
  }
}

}  // namespace
