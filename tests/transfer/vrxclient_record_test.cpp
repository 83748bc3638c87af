// The persistent form of a transfer: the bytes of every version, typed by hand, what is written, what is made
// of a record when it is read back, and what damaged records do.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "os/core/memory_testing.h"
#include "qz/directory.h"
#include "qz/memory.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/vrxclient_fixture.h"
#include "tests/traverse/formats_page_table.h"
#include "tests/traverse/traverse_fixture.h"

namespace {

// ---- the bytes, in pieces that versions share ------------------------------------------------------

const std::string kTag = "76 72 78 63 ";
const std::string kCreated = "00 CA 9A 3B F4 01 00 00 ";               // 1000000000 s, 500 ms
const std::string kSize = "00 10 00 00 ";                              // 4096
const std::string kDeclared = "88 13 00 00 ";                          // 5000
const std::string kServerFileName = "06 00 00 00 73 2E 62 69 6E 00 ";  // "s.bin"
const std::string kFlags = "07 00 ";                                   // reserved 7, a download
const std::string kUploadFlags = "07 01 ";
const std::string kState = "0D 00 00 00 3E 00 00 00 ";  // 13, edit flags 0x3E
const std::string kAgentsBefore7 = "00 00 00 00 ";      // none
const std::string kAgents = "00 00 00 00 00 00 00 00 ";
const std::string kServers =
    "76 72 78 73 01 00 00 00 02 00 00 00 "
    "0B 00 00 00 20 66 74 70 3A 2F 2F 61 2F 78 00 "                       // " ftp://a/x"
    "0B 00 00 00 21 66 74 70 3A 2F 2F 62 2F 78 00 ";                      // "!ftp://b/x"
const std::string kURL = "0A 00 00 00 66 74 70 3A 2F 2F 61 2F 78 00 ";    // "ftp://a/x"
const std::string kSourceTime = "02 00 00 00 03 00 00 00 ";               // 2 s, 3 ms
const std::string kLogin = "03 00 00 00 6D 65 00 03 00 00 00 70 77 00 ";  // "me", "pw"
const std::string kPaths = "03 00 00 00 2F 64 00 03 00 00 00 2F 6C 00 ";  // "/d", "/l"
const std::string kNames = "02 00 00 00 6E 00 03 00 00 00 2F 70 00 ";     // "n", "/p"
const std::string kElapsed = "DC 05 00 00 ";                              // 1500

const std::string kVersion1 = kTag + "01 00 00 00 " + kCreated + kSize + kFlags + kURL + kLogin + kPaths;
const std::string kVersion2 =
    kTag + "02 00 00 00 " + kCreated + kSize + kFlags + kURL + kLogin + kPaths + kNames;
const std::string kVersion3 = kTag + "03 00 00 00 " + kCreated + kSize + kFlags + kState + kAgentsBefore7 +
                              kURL + kLogin + kPaths + kNames;
const std::string kVersion4 = kTag + "04 00 00 00 " + kCreated + kSize + kFlags + kState + kAgentsBefore7 +
                              kServers + kLogin + kPaths + kNames;
const std::string kVersion5 = kTag + "05 00 00 00 " + kCreated + kSize + kDeclared + kFlags + kState +
                              kAgentsBefore7 + kServers + kLogin + kPaths + kNames;
const std::string kVersion6 = kTag + "06 00 00 00 " + kCreated + kSize + kDeclared + kFlags + kState +
                              kAgentsBefore7 + kServers + kSourceTime + kLogin + kPaths + kNames;
const std::string kVersion7 = kTag + "07 00 00 00 " + kCreated + kSize + kDeclared + kFlags + kState +
                              kAgents + kServers + kSourceTime + kLogin + kPaths + kNames + kElapsed;
const std::string kVersion8 = kTag + "08 00 00 00 " + kCreated + kSize + kDeclared + kServerFileName +
                              kFlags + kState + kAgents + kServers + kSourceTime + kLogin + kPaths + kNames +
                              kElapsed;
const std::string kVersion9 = kTag + "09 00 00 00 " + kCreated + "FF FF FF FF " + kDeclared +
                              kServerFileName + kFlags + kState + kAgents + kServers + kSourceTime + kLogin +
                              kPaths + kNames + kElapsed +
                              "89 67 45 23 01 00 00 00 "   // 4886718345
                              "88 13 00 00 00 00 00 00 ";  // 5000
const std::vector<std::string> kVersions = {kVersion1, kVersion2, kVersion3, kVersion4, kVersion5,
                                            kVersion6, kVersion7, kVersion8, kVersion9};

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

// ---- a transfer from its record ------------------------------------------------------------------------

class TransferReadTest : public TransferTest {
 protected:
  // A record of version 8 of a download with the size 10 that is in this state.
  static std::string Record(uint32_t state, const std::string& dataPath, bool isUpload = false,
                            const std::string& logPath = "", const std::string& localPath = "/p") {
    return Bytes(kTag + "08 00 00 00 " + kCreated + "0A 00 00 00 00 00 00 00 01 00 00 00 00 " +
                 (isUpload ? kUploadFlags : kFlags)) +
           Number(state) + Bytes("3A 00 00 00 " + kAgents + kServers + kSourceTime + kLogin) +
           Text(dataPath) + Text(logPath) + Bytes("01 00 00 00 00") + Text(localPath) + Bytes(kElapsed);
  }
  // The names that the library gives to data files.
  static std::string Own(int number) { return CacheDirectory() + "/vrxData" + std::to_string(number); }
  static void MakeOwn(int number, const std::string& bytes) {
    File* file = nullptr;
    ASSERT_EQ(File_Open(Own(number).c_str(), FileMode_Write, &file), Error_None);
    EXPECT_EQ(File_Write(file, static_cast<uint32_t>(bytes.size()), bytes.data()), bytes.size());
    EXPECT_EQ(File_Close(file), Error_None);
  }
  void TearDown() override {
    for (int number = 71; number <= 74; ++number) File_Unlink(Own(number).c_str());
    Directory_Delete(Own(75).c_str());
    TransferTest::TearDown();
  }
  static std::string Number(uint32_t number) {
    std::string bytes;
    for (int i = 0; i < 4; ++i) bytes += static_cast<char>(number >> 8 * i & 0xFF);
    return bytes;
  }
  static std::string Text(const std::string& text) {
    return Number(static_cast<uint32_t>(text.size()) + 1) + text + '\0';
  }
  ErrorCode Read(const std::string& bytes, Transfer* transfer) {
    Context context(Hex(bytes));
    return VRXClient_Read(context.traverse(), heard_.userData(), &kHearing, transfer->out());
  }
  void ReadWell(const std::string& bytes, Transfer* transfer) {
    ASSERT_EQ(Read(bytes, transfer), Error_None);
    ASSERT_NE(transfer->get(), nullptr);
  }
  static std::string DataPath(const Transfer& transfer) {
    return TextOf(VRXClient_GetDataFilePath, transfer.get());
  }
};

TEST_F(TransferReadTest, GivesATransferInTheList) {
  Transfer transfer;
  ReadWell(Record(0, ""), &transfer);
  EXPECT_EQ(iVRXClientList_Count(), 1u);
  EXPECT_EQ(TextOf(VRXClient_GetSourceURL, transfer.get()), "ftp://a/x");
  EXPECT_EQ(transfer->entry, transfer->data.servers.first);
  EXPECT_EQ(TextOf(VRXClient_GetLocalFilePath, transfer.get()), "/p");
  EXPECT_EQ(transfer->dataFileSize, kSizeUnknown);
  EXPECT_EQ(transfer->remaining, kSizeUnknown);
  EXPECT_EQ(transfer->connectionKind, -1);
  EXPECT_EQ(VRXClient_GetError(transfer.get()), 0u);
  EXPECT_FALSE(transfer->isChanged);
  Transfer another;
  EXPECT_EQ(VRXClient_NewDownload("ftp://b/x", directory_.Name("f").c_str(), 0, nullptr, another.out()),
            Error_Exists)
      << "its second server counts as well";
}

TEST_F(TransferReadTest, ReportsSizeProgressAndTime) {
  MakeOwn(71, "abcde");
  Transfer transfer;
  ReadWell(Record(0, Own(71)), &transfer);
  EXPECT_EQ(heard_.Take(), Lines({"size 10", "progress 5 of 10", "time 4294967295"}));
  Transfer finished;
  ReadWell(Record(13, ""), &finished);
  EXPECT_EQ(heard_.Take(), Lines({"size 10", "progress 0 of 10", "time 1500"}));
}

TEST_F(TransferReadTest, ResumesWhereTheDataFileEnds) {
  MakeOwn(71, "abcde");
  Transfer transfer;
  ReadWell(Record(11, Own(71)), &transfer);
  EXPECT_EQ(VRXClient_GetState(transfer.get()), 0u);
  EXPECT_EQ(DataPath(transfer), Own(71));
  EXPECT_EQ(transfer->dataFileSize, 5u);
  EXPECT_EQ(transfer->offset, 5u);
  EXPECT_FALSE(transfer->isChanged);
}

TEST_F(TransferReadTest, TakesTheDataFileSizeOfAnUploadWithoutAnOffset) {
  MakeOwn(71, "abcde");
  Transfer transfer;
  ReadWell(Record(11, Own(71), true), &transfer);
  EXPECT_EQ(transfer->dataFileSize, 5u);
  EXPECT_EQ(transfer->offset, 0u);
  EXPECT_EQ(VRXClient_GetSize(transfer.get()), 5u);
}

TEST_F(TransferReadTest, BeginsAgain_WhenTheDataFileIsGoneOrEmpty) {
  MakeOwn(74, "");
  ASSERT_EQ(Directory_New(Own(75).c_str()), Error_None);
  for (const bool isUpload : {false, true}) {
    for (const int name : {73, 74, 75}) {
      for (const uint32_t state : {0u, 11u, 12u}) {
        Transfer transfer;
        ReadWell(Record(state, Own(name), isUpload), &transfer);
        EXPECT_EQ(VRXClient_GetState(transfer.get()), 0u) << name << " " << state;
        EXPECT_EQ(DataPath(transfer), "") << name;
        EXPECT_EQ(transfer->dataFileSize, 0u);
        EXPECT_EQ(transfer->offset, 0u);
        EXPECT_TRUE(transfer->isChanged);
      }
    }
  }
  EXPECT_EQ(File_Exists(Own(74).c_str(), nullptr), 1);
}

TEST_F(TransferReadTest, KeepsTheStatesOfCompleteData) {
  MakeOwn(71, "abcdefghij");
  for (const uint32_t state : {12u, 13u, 14u}) {
    Transfer transfer;
    ReadWell(Record(state, Own(71)), &transfer);
    EXPECT_EQ(VRXClient_GetState(transfer.get()), state);
    EXPECT_EQ(VRXClient_IsCompleted(transfer.get()), state == 14 ? 1 : 0);
  }
  for (uint32_t state = 0; state < 12; ++state) {
    Transfer transfer;
    ReadWell(Record(state, Own(71)), &transfer);
    EXPECT_EQ(VRXClient_GetState(transfer.get()), 0u) << state;
  }
  Transfer agents;
  ReadWell(Record(13, Own(73)), &agents);
  EXPECT_EQ(VRXClient_GetState(agents.get()), 13u) << "the file is in its place by then";
}

TEST_F(TransferReadTest, ForgetsADataFileThatTheLibraryDidNotMake) {
  directory_.Write("victim", "precious");
  for (const bool isUpload : {false, true}) {
    for (const uint32_t state : {0u, 11u, 12u}) {
      Transfer transfer;
      ReadWell(Record(state, directory_.Name("victim"), isUpload), &transfer);
      EXPECT_EQ(VRXClient_GetState(transfer.get()), 0u) << isUpload << state;
      EXPECT_EQ(DataPath(transfer), "") << isUpload << state;
      EXPECT_NE(transfer->dataFileSize, 8u);
      EXPECT_EQ(transfer->offset, 0u);
      EXPECT_TRUE(transfer->isChanged);
    }
  }
  EXPECT_EQ(directory_.Read("victim"), "precious");
}

TEST_F(TransferReadTest, KeepsAPartBesideTheTargetOfADownload) {
  directory_.Write("any.part", "abcde");
  const std::string part = directory_.Name("any.part");
  const std::string target = directory_.Name("target");
  {
    Transfer download;
    ReadWell(Record(11, part, false, "", target), &download);
    EXPECT_EQ(DataPath(download), part);
    EXPECT_EQ(download->offset, 5u);
  }
  Transfer upload;
  ReadWell(Record(11, part, true, "", target), &upload);
  EXPECT_EQ(DataPath(upload), "");
  EXPECT_EQ(directory_.Read("any.part"), "abcde");
}

TEST_F(TransferReadTest, ForgetsADataFileThatAnotherTransferHas) {
  MakeOwn(72, "abcde");
  Transfer first;
  ReadWell(Record(11, Own(72)), &first);
  {
    Transfer second;
    ReadWell(Record(11, Own(72)), &second);
    EXPECT_EQ(DataPath(second), "");
    EXPECT_EQ(second->offset, 0u);
  }
  EXPECT_EQ(DataPath(first), Own(72));
  first.Close();
  Transfer third;
  ReadWell(Record(11, Own(72)), &third);
  EXPECT_EQ(DataPath(third), Own(72));
}

TEST_F(TransferReadTest, BeginsAgain_WhenADownloadHasNoDataFileToMove) {
  Transfer download;
  ReadWell(Record(12, ""), &download);
  EXPECT_EQ(VRXClient_GetState(download.get()), 0u);
  Transfer upload;
  ReadWell(Record(12, "", true), &upload);
  EXPECT_EQ(VRXClient_GetState(upload.get()), 12u) << "all of it is sent, and the copy removed";
}

TEST_F(TransferReadTest, MakesACompletedTransferThatDoesNotKeepItsURL) {
  Transfer completed;
  ReadWell(Record(14, ""), &completed);
  Transfer another;
  EXPECT_EQ(VRXClient_NewDownload("ftp://a/x", directory_.Name("f").c_str(), 0, nullptr, another.out()),
            Error_None);
}

TEST_F(TransferReadTest, GivesNothing_ForADamagedRecord) {
  Transfer transfer;
  EXPECT_EQ(Read("vrxs", &transfer), Error_NotFound);
  EXPECT_EQ(Read(Record(0, "").substr(0, 100), &transfer), Error_Ended);
  EXPECT_EQ(transfer.get(), nullptr);
  EXPECT_EQ(iVRXClientList_Count(), 0u);
  EXPECT_EQ(heard_.Take(), Lines());
}

TEST_F(TransferReadTest, NeedsATraverseAndAPlaceForTheTransfer) {
  Context context;
  VRXClient* client = reinterpret_cast<VRXClient*>(1);
  EXPECT_EQ(VRXClient_Read(nullptr, 0, nullptr, &client), Error_Invalid);
  EXPECT_EQ(client, nullptr);
  EXPECT_EQ(VRXClient_Read(context.traverse(), 0, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(VRXClient_Write(context.traverse(), nullptr), Error_Invalid);
  Transfer transfer;
  ReadWell(Record(0, ""), &transfer);
  EXPECT_EQ(VRXClient_Write(nullptr, transfer.get()), Error_Invalid);
}

TEST_F(TransferReadTest, GivesTheErrorThatWasSet) {
  Context context(Hex(Record(0, "")));
  Traverse_SetError(context.traverse(), Error_Cancel);
  Transfer transfer;
  EXPECT_EQ(VRXClient_Read(context.traverse(), 0, nullptr, transfer.out()), Error_Cancel);
  Download("ftp://a/x", &transfer);
  EXPECT_EQ(VRXClient_Write(context.traverse(), transfer.get()), Error_Cancel);
}

TEST_F(TransferReadTest, ReadsWhatIsWritten) {
  Transfer transfer;
  ReadWell(Record(0, ""), &transfer);
  Context context;
  EXPECT_EQ(VRXClient_Write(context.traverse(), transfer.get()), Error_None);
  EXPECT_EQ(context.bytes().written(), Record(0, ""));
}

TEST_F(TransferReadTest, WritesWithoutPasswords_WhenAskedTo) {
  Transfer transfer;
  ReadWell(Record(0, ""), &transfer);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_SetSavePassword(transfer.get(), 0), Error_None);
  EXPECT_TRUE(transfer->isChanged);
  Context without;
  EXPECT_EQ(VRXClient_Write(without.traverse(), transfer.get()), Error_None);
  EXPECT_EQ(without.bytes().written().find("pw"), std::string::npos);
  EXPECT_NE(without.bytes().written().find("me"), std::string::npos);
  EXPECT_EQ(VRXClient_SetSavePassword(transfer.get(), 1), Error_None);
  Context with;
  EXPECT_EQ(VRXClient_Write(with.traverse(), transfer.get()), Error_None);
  EXPECT_EQ(with.bytes().written(), Record(0, ""));
  EXPECT_EQ(VRXClient_SetSavePassword(nullptr, 1), Error_Invalid);
}

TEST_F(TransferReadTest, WritesIntoALogOfTheLibraryAlone) {
  directory_.Write("victim", "precious");
  Transfer hostile;
  ReadWell(Record(0, "", false, directory_.Name("victim")), &hostile);
  const char* text = nullptr;
  EXPECT_EQ(VRXClient_GetInfo(hostile.get(), &text), Error_NotFound);
  iVRXClient_Message(hostile.get(), 18);
  hostile.Delete();
  EXPECT_EQ(directory_.Read("victim"), "precious");

  const std::string own = CacheDirectory() + "/info77";
  Transfer transfer;
  ReadWell(Record(0, "", false, own), &transfer);
  iVRXClient_Message(transfer.get(), 18);
  EXPECT_EQ(VRXClient_GetInfo(transfer.get(), &text), Error_None);
  EXPECT_STREQ(text, "Connected.\r\n");
  EXPECT_EQ(File_Exists(own.c_str(), nullptr), 1);
  transfer.Delete();
  EXPECT_EQ(File_Exists(own.c_str(), nullptr), 0);
}

TEST_F(TransferReadTest, LeavesNothingBehind_WhicheverAllocationFails) {
  int succeeded = 0;
  const std::string record = Record(0, "");
  FailEveryAllocation([&] {
    TestStream stream(record);
    Traverse* traverse = Traverse_New(0, stream.stream());
    if (traverse == nullptr) return;
    VRXClient* client = nullptr;
    const ErrorCode status = VRXClient_Read(traverse, 0, nullptr, &client);
    Traverse_Delete(traverse);
    if (status == Error_None) {
      ++succeeded;
      VRXClient_Close(client);
    } else {
      EXPECT_EQ(status, Error_Memory);
      EXPECT_EQ(client, nullptr);
    }
    EXPECT_EQ(iVRXClientList_Count(), 0u);
  });
  EXPECT_EQ(succeeded, 1);
}

}  // namespace
