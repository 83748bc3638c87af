// Whole files through the engine, cut behind nine tenths and resumed: 64 MiB, or as many GiB as QZ_WHOLE_GIB
// says; from 5 GiB on the cut lies beyond 4 GiB. The server makes the bytes and compares them, the disk has
// them. The tails of files beyond 4 GiB, whose beginning has holes, are moved always.
#include <chrono>
#include <cstdio>

#include "tests/support/file_system.h"
#include "tests/support/numbered.h"
#include "tests/transfer/ftp_trace.h"

using namespace script;

namespace transfer {
namespace {

constexpr int kLimitMilliseconds = 3600 * 1000;

class TransferWhole : public FTPTransferTest {
 protected:
  void SetUp() override {
    FTPTransferTest::SetUp();
    began_ = std::chrono::steady_clock::now();
  }

  // Works until the transfer is completed, whatever comes between; false when it never is.
  static bool RunWhateverComes(VRXClient* client) {
    // A step moves a few kilobytes.
    const uint64_t most = 100000 + WholeBytes() / 256;
    for (uint64_t i = 0; i < most; ++i) {
      if (VRXClient_Idle(client) == VRXClientResult_Completed) return true;
    }
    return false;
  }

  ScriptStep SendsFile(uint64_t from, uint64_t to) const {
    return Do([=, this](ScriptSession& session) { numbered_.Send(&session.data(), from, to); });
  }
  // Takes what the client sends from `from` on, and ends the connection at `to`.
  ScriptStep TakesFile(uint64_t from, uint64_t to) {
    return Do([=, this](ScriptSession& session) {
      uint64_t position = from;
      std::string bytes;
      while (position < to) {
        bytes.clear();
        const size_t most = std::min<uint64_t>(65536, to - position);
        if (session.data().ReceiveSome(&bytes, most) != loopback::Result::Data) break;
        if (!numbered_.Matches(position, bytes.data(), bytes.size())) isWrong_ = true;
        position += bytes.size();
      }
      taken_ = position;
    });
  }
  // Expects the request for the bytes from `from` on.
  Script Answers206(uint64_t from, uint64_t to, uint64_t size) {
    return {Do([=, this](ScriptSession& session) {
      std::string head;
      if (!ReadHead(&session, &head)) isWrong_ = true;
      if (head.find("Range: bytes=" + std::to_string(from) + "-\r\n") == head.npos) isWrong_ = true;
      session.Send("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + std::to_string(from) + "-" +
                   std::to_string(size - 1) + "/" + std::to_string(size) + "\r\n\r\n");
      numbered_.Send(&session.control(), from, to);
      session.Close();
    })};
  }

  static Script BeginsUpload() {
    return ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors("/pub/x.bin"),
                      ftp::Exchange("CWD /pub", "250 ok"), ftp::Exchange("TYPE I", "200 ok")});
  }
  static Script CutsData() { return {DataClose(), SendLine("426 cut"), Close()}; }
  static Script EndsData() { return ftp::Join({{DataClose(), SendLine("226 done")}, ftp::Quit()}); }

  void MakeFile(const std::filesystem::path& path, uint64_t size) const {
    FILE* file = fopen(path.string().c_str(), "wb");
    ASSERT_NE(file, nullptr);
    for (uint64_t position = 0; position < size; position += Numbered::kBlock) {
      const size_t count = std::min<uint64_t>(Numbered::kBlock, size - position);
      ASSERT_EQ(fwrite(numbered_.At(position), 1, count, file), count);
    }
    ASSERT_EQ(fclose(file), 0);
  }
  // The file's bytes from `from` on.
  void ExpectFile(const std::filesystem::path& path, uint64_t from, uint64_t size) const {
    ASSERT_EQ(std::filesystem::file_size(path), size);
    File* file = nullptr;
    ASSERT_EQ(File_Open(LibraryName(path).c_str(), FileMode_Read, &file), Error_None);
    ASSERT_EQ(File_Seek64(file, FileSeek_Start, static_cast<int64_t>(from)), 0);
    std::string block(Numbered::kBlock, '\0');
    for (uint64_t position = from; position < size; position += block.size()) {
      const auto count = static_cast<uint32_t>(std::min<uint64_t>(block.size(), size - position));
      ASSERT_EQ(File_Read(file, count, block.data()), count);
      ASSERT_TRUE(numbered_.Matches(position, block.data(), count)) << position;
    }
    EXPECT_EQ(File_Close(file), Error_None);
  }
  void Tell(const char* what) const {
    const auto took =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - began_);
    printf("%s: %llu MiB in %lld ms\n", what, static_cast<unsigned long long>(WholeBytes() >> 20),
           static_cast<long long>(took.count()));
  }

  const Numbered numbered_;
  std::atomic<uint64_t> taken_{0};
  std::atomic<bool> isWrong_{false};

 private:
  std::chrono::steady_clock::time_point began_;
};

TEST_F(TransferWhole, ComesOverHTTP) {
  const uint64_t size = WholeBytes();
  const uint64_t cut = size / 10 * 9;
  ScriptedServer server({Answers206(0, cut, size), Answers206(cut, size, size)}, kLimitMilliseconds);
  auto download = NewDownload(server);
  ASSERT_TRUE(RunWhateverComes(*download));
  Tell("HTTP down");
  server.Finish();
  EXPECT_FALSE(isWrong_);
  ExpectFile(OutPath("file.bin"), 0, size);
}

TEST_F(TransferWhole, ComesOverFTP) {
  const uint64_t size = WholeBytes();
  const uint64_t cut = size / 10 * 9;
  ScriptedServer server({ftp::Join({wire::Begins(),
                                    wire::TellsSize(std::to_string(size)),
                                    wire::CanRestart(),
                                    wire::StartsRetrieve(),
                                    {SendsFile(0, cut)},
                                    CutsData()}),
                         ftp::Join({wire::Begins(),
                                    wire::TellsSize(std::to_string(size)),
                                    wire::RestartsAt(std::to_string(cut)),
                                    {SendsFile(cut, size)},
                                    EndsData()})},
                        kLimitMilliseconds);
  auto download = Get(server);
  ASSERT_TRUE(RunWhateverComes(*download));
  Tell("FTP down");
  server.Finish();
  ExpectFile(OutPath("f.bin"), 0, size);
}

TEST_F(TransferWhole, GoesOverFTP) {
  const uint64_t size = WholeBytes();
  const uint64_t cut = size / 10 * 9;
  ScriptedServer server({ftp::Join({BeginsUpload(),
                                    wire::KnowsNoSize(),
                                    wire::CanRestart(),
                                    ftp::Passive(),
                                    ftp::Started("STOR f.bin"),
                                    {TakesFile(0, cut)},
                                    CutsData()}),
                         ftp::Join({BeginsUpload(),
                                    wire::TellsSize(std::to_string(cut)),
                                    ftp::Passive(),
                                    ftp::Exchange("REST " + std::to_string(cut), "350 ok"),
                                    ftp::Started("STOR f.bin"),
                                    {TakesFile(cut, size), DataReadToEnd()},
                                    EndsData()})},
                        kLimitMilliseconds);
  Name(server);
  MakeFile(source_.SystemName("f.bin"), size);
  auto upload = NewTransfer();
  ASSERT_EQ(upload->Upload(source_.Name("f.bin"), FTPURL(server, "/pub/x.bin")), Error_None);
  ASSERT_TRUE(RunWhateverComes(*upload));
  Tell("FTP up");
  server.Finish();
  EXPECT_FALSE(isWrong_);
  EXPECT_EQ(taken_, size);
  EXPECT_EQ(server.DataReceived(1), "");
}

// ---- tails -------------------------------------------------------------------------------------

constexpr uint64_t kHeld = 4294968296u;  // 4 GiB and 1000
constexpr uint64_t kCut = 4294970000u;
constexpr uint64_t kWholeBytes = 4294972296u;  // 4 GiB and 5000

TEST_F(TransferWhole, TailBehind4GiBComesOverHTTP) {
  ScriptedServer server({Answers206(kHeld, kCut, kWholeBytes), Answers206(kCut, kWholeBytes, kWholeBytes)});
  MakeSparseFile(OutPath("file.bin.part"), kHeld);
  auto download = NewDownload(server);
  ASSERT_EQ(VRXClient_SetDataFilePath(*download, Out("file.bin.part").c_str()), Error_None);
  ASSERT_TRUE(RunWhateverComes(*download));
  ExpectFile(OutPath("file.bin"), kHeld, kWholeBytes);
  server.Finish();
  EXPECT_FALSE(isWrong_);
}

TEST_F(TransferWhole, TailBehind4GiBComesOverFTP) {
  ScriptedServer server({ftp::Join({wire::Begins(),
                                    wire::TellsSize("4294972296"),
                                    wire::RestartsAt("4294968296"),
                                    {SendsFile(kHeld, kCut)},
                                    CutsData()}),
                         ftp::Join({wire::Begins(),
                                    wire::TellsSize("4294972296"),
                                    wire::RestartsAt("4294970000"),
                                    {SendsFile(kCut, kWholeBytes)},
                                    EndsData()})});
  auto download = Get(server);
  MakeSparseFile(OutPath("f.bin.part"), kHeld);
  ASSERT_EQ(VRXClient_SetDataFilePath(*download, Out("f.bin.part").c_str()), Error_None);
  ASSERT_TRUE(RunWhateverComes(*download));
  ExpectFile(OutPath("f.bin"), kHeld, kWholeBytes);
}

// The copy in the cache is made once; its place is taken by one with holes, as the source's.
TEST_F(TransferWhole, TailBehind4GiBGoesOverFTP) {
  ScriptedServer server({ftp::Join({BeginsUpload(),
                                    wire::TellsSize("4294968296"),
                                    ftp::Passive(),
                                    ftp::Exchange("REST 4294968296", "350 ok"),
                                    ftp::Started("STOR f.bin"),
                                    {DataReadToEnd()},
                                    EndsData()})});
  auto upload = Put(server);
  upload->RunToState(2);
  const std::string record = Out("record");
  ASSERT_EQ(upload->Write(record), Error_None);
  MakeSparseFile(SystemPath(upload->DataPath()), kWholeBytes);
  upload->Close();
  MakeSparseFile(source_.SystemName("f.bin"), kWholeBytes);
  source_.SetModified("f.bin", 900000000);
  ASSERT_EQ(upload->Read(record), Error_None);
  ASSERT_TRUE(RunWhateverComes(*upload));
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), std::string(3999, '\0') + "x");
  const Lines lines = upload->Take();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Copying upload file..."), 1);
}

}  // namespace
}  // namespace transfer
