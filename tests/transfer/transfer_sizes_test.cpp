// Files of 4 GiB and more: what goes over the wire, what the calls and callbacks give, and the record.
#include "tests/support/file_system.h"
#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

constexpr uint64_t kOffset = 4294967297u;  // 4 GiB and 1
constexpr uint64_t kSize = 4294967301u;    // four bytes more

class TransferSizes : public TransferTest {
 protected:
  // A download that has the first 4 GiB and 1 of its bytes, with holes, in OUT/file.part.
  std::unique_ptr<TracedTransfer> NewLargeDownload(const std::string& url) {
    MakeSparseFile(OutPath("file.part"), kOffset);
    auto download = NewDownload(url);
    EXPECT_EQ(VRXClient_SetDataFilePath(*download, Out("file.part").c_str()), 0);
    return download;
  }
  std::unique_ptr<TracedTransfer> NewLargeDownload(const ScriptedServer& server) {
    Name(server);
    return NewLargeDownload(URL(server, "/file.bin"));
  }
  static std::string LastBytes(const std::filesystem::path& path, int count) {
    std::ifstream in(path, std::ios::binary);
    in.seekg(-count, std::ios::end);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }
  static constexpr char kRest[] =
      "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4294967297-4294967300/4294967301\r\n"
      "Content-Length: 4\r\n\r\nabcd";
};

TEST_F(TransferSizes, ResumesBehind4GiBOverHTTP) {
  ScriptedServer server({Answers("4294967297", kRest)});
  auto download = NewLargeDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({{"Idle: 1, state 1", "Idle: 0, state 2"},
                                    Connects("SERVER0"),
                                    {kCanResume, "Downloading...", "Idle: 1, state 11", kDataStep},
                                    Ends()}));
  EXPECT_EQ(std::filesystem::file_size(OutPath("file.bin")), kSize);
  EXPECT_EQ(LastBytes(OutPath("file.bin"), 5), "xabcd");
}

TEST_F(TransferSizes, ResumesBehind4GiBOverFTP) {
  using namespace script;
  ScriptedServer server({{SendLine("220 ready"),
                          ExpectLine("USER me"),
                          SendLine("331 who?"),
                          ExpectLine("PASS secret"),
                          SendLine("230 in"),
                          ExpectLine("MIRR /dir/file.bin"),
                          SendLine("500 what?"),
                          ExpectLine("CWD /dir"),
                          SendLine("250 ok"),
                          ExpectLine("CWD file.bin"),
                          SendLine("550 no"),
                          ExpectLine("TYPE I"),
                          SendLine("200 ok"),
                          ExpectLine("SIZE file.bin"),
                          SendLine("213 4294967301"),
                          ExpectLine("PASV"),
                          OpenPassive(),
                          SendLine("227 Entering Passive Mode ({pasv})."),
                          ExpectLine("REST 4294967297"),
                          SendLine("350 ok"),
                          ExpectLine("RETR file.bin"),
                          DataAccept(),
                          SendLine("150 go"),
                          DataSend("abcd"),
                          DataClose(),
                          SendLine("226 done"),
                          ExpectLine("QUIT"),
                          SendLine("221 bye"),
                          ExpectEnd()}});
  Name(server);
  auto download = NewLargeDownload("ftp://" + server.address() + "/dir/file.bin");
  EXPECT_EQ(VRXClient_SetUser(*download, "me", "secret"), 0);
  download->RunToCompletion();
  const Lines lines = download->Take();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "File size is 4294967301 bytes."), 1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), kCanResume), 1);
  EXPECT_EQ(std::filesystem::file_size(OutPath("file.bin")), kSize);
  EXPECT_EQ(LastBytes(OutPath("file.bin"), 5), "xabcd");
}

TEST_F(TransferSizes, AreTheTotalOfTheRange_WhenItEndsBefore4GiB) {
  ScriptedServer server({AnswersAndStalls(
      "0", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-3/5368709120\r\n\r\nabcd")});
  auto download = NewDownload(server);
  download->RunToState(11);
  EXPECT_EQ(VRXClient_GetSize64(*download), 5368709120u);
  EXPECT_EQ(VRXClient_GetSize(*download), 4294967295u);
}

TEST_F(TransferSizes, AreTheLengthOfTheBody) {
  ScriptedServer server(
      {AnswersAndStalls("0", "HTTP/1.0 200 OK\r\nContent-Length: 21474836480\r\n\r\nabcd")});
  auto download = NewDownload(server);
  download->RunToState(11);
  EXPECT_EQ(VRXClient_GetSize64(*download), 21474836480u);
  EXPECT_EQ(VRXClient_GetSize(*download), 4294967295u);
}

TEST_F(TransferSizes, AreOfAChangedFile_WhenOnlyTheirUpperHalvesDiffer) {
  // 4 GiB and 10 is not 10.
  ScriptedServer server({AnswersAndStalls("0", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcd"),
                         Answers("4",
                                 "HTTP/1.1 206 Partial Content\r\n"
                                 "Content-Range: bytes 4-4294967305/4294967306\r\n\r\nefghij"),
                         Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\n0123")});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "0123");
}

TEST_F(TransferSizes, AreCutAtTheFullDisk_WhenOnlyTheirLowerHalvesFit) {
  iVRXClient_SetFreeBytes([](const char*, uint64_t* bytes) -> ErrorCode {
    *bytes = 1000;
    return Error_None;
  });
  // Modulo 4 GiB this is a file of 4 bytes.
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 4294967300\r\n\r\nabcd")});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Reason(), 20u);
}

// ---- callbacks ---------------------------------------------------------------------------------

Lines* reports64;

const VRXClientMethods64 kMethods64 = {
    nullptr,
    [](Word, uint64_t done, uint64_t total) {
      reports64->push_back("progress64 " + std::to_string(done) + " of " + std::to_string(total));
    },
    [](Word, uint64_t size) { reports64->push_back("size64 " + std::to_string(size)); },
    nullptr,
    nullptr,
    nullptr};

TEST_F(TransferSizes, AreAllOnesForCallbacksOf32Bits) {
  ScriptedServer server({Answers("4294967297", kRest)});
  MakeSparseFile(OutPath("file.part"), kOffset);
  auto download = NewDownload(server, "/file.bin", Callbacks::All);
  EXPECT_EQ(VRXClient_SetDataFilePath(*download, Out("file.part").c_str()), 0);
  bool isAnyOther = false;
  download->onProgress = [&](uint32_t done, uint32_t total) {
    isAnyOther = isAnyOther || done != 4294967295u || total != 4294967295u;
  };
  download->RunToState(12);
  EXPECT_FALSE(isAnyOther);
  const Lines lines = download->Take();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "size 4294967295"), 1);
}

TEST_F(TransferSizes, AreExactForCallbacksOf64Bits) {
  Lines reports;
  reports64 = &reports;
  ScriptedServer server({Answers("4294967297", kRest)});
  auto download = NewLargeDownload(server);
  EXPECT_EQ(VRXClient_SetMethods64(*download, 0, &kMethods64), 0);
  EXPECT_EQ(reports, Lines{"size64 18446744073709551615"});
  reports.clear();
  download->RunToState(12);
  EXPECT_EQ(reports, (Lines{"size64 4294967301", "progress64 4294967301 of 4294967301"}));
}

TEST_F(TransferSizes, ComeOnceADataStepToCallbacksOf64Bits) {
  Lines reports;
  reports64 = &reports;
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcdefghij")});
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_SetMethods64(*download, 0, &kMethods64), 0);
  reports.clear();
  download->RunToState(12);
  EXPECT_EQ(reports, (Lines{"size64 10", "progress64 10 of 10"}));
}

// ---- the record --------------------------------------------------------------------------------

class LargeRecord : public TransferSizes {
 protected:
  std::string Write(TracedTransfer* transfer) const {
    EXPECT_EQ(transfer->Write(Out("record")), 0);
    return ReadFile(OutPath("record"));
  }
};

TEST_F(LargeRecord, IsOfVersion9_OnceTheSizeDoesNotFit) {
  ScriptedServer server({AnswersAndStalls("4294967297", kRest)});
  auto download = NewLargeDownload(server);
  const std::string small = Write(download.get());
  EXPECT_EQ(small[4], 8);
  download->RunToState(11);
  const std::string large = Write(download.get());
  EXPECT_EQ(large[4], 9);
  // The field of 32 bits, and the 64 bits at the end: the size, then the declared one.
  EXPECT_EQ(large.substr(16, 4), std::string("\xff\xff\xff\xff", 4));
  EXPECT_EQ(large.substr(large.size() - 16), std::string("\x05\0\0\0\x01\0\0\0\0\0\0\0\0\0\0\0", 16));
}

TEST_F(LargeRecord, ResumesBehind4GiB) {
  ScriptedServer server({AnswersAndStalls("4294967297", kRest),
                         Answers("4294967299",
                                 "HTTP/1.1 206 Partial Content\r\n"
                                 "Content-Range: bytes 4294967299-4294967300/4294967301\r\n\r\nyz")});
  auto download = NewLargeDownload(server);
  download->RunToState(11);
  download->Idle();
  VRXClient_Stop(*download);
  Write(download.get());
  download.reset();
  std::filesystem::resize_file(OutPath("file.part"), 4294967299u);
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Out("record")), 0);
  EXPECT_EQ(VRXClient_GetSize64(*again), kSize);
  again->RunToCompletion();
  EXPECT_EQ(std::filesystem::file_size(OutPath("file.bin")), kSize);
  EXPECT_EQ(LastBytes(OutPath("file.bin"), 4), "abyz");
}

TEST_F(LargeRecord, KeepsADeclaredSize) {
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  EXPECT_EQ(VRXClient_SetSize64(*download, 5368709120u), 0);
  EXPECT_EQ(VRXClient_GetSize64(*download), 5368709120u);
  Write(download.get());
  download.reset();
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Out("record")), 0);
  EXPECT_EQ(VRXClient_GetSize64(*again), 5368709120u);
  EXPECT_EQ(VRXClient_GetSize(*again), 4294967295u);
}

}  // namespace
}  // namespace transfer
