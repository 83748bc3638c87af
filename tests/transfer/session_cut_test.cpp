// The connection is cut after every byte of whole sessions, by FIN, reset and silence. Whatever is lost, the
// transfer ends with the identical file, and takes no byte twice that it had already.
#include <atomic>
#include <thread>
#include <vector>

#include "tests/support/file_server.h"
#include "tests/support/file_system.h"
#include "tests/transfer/ftp_trace.h"

namespace transfer {
namespace {

constexpr size_t kFileBytes3000 = 3000;

std::string Numbers(size_t count) {
  std::string text;
  for (size_t i = 0; text.size() < count; ++i) text += std::to_string(i) + "\n";
  return text.substr(0, count);
}

// Several of them may run at once, each with a server and names of its own.
class Sweep {
 public:
  using Protocol = FileServer::Protocol;

  Sweep(const Names* names, std::string folder, std::string name, Protocol protocol)
      : names_(names), folder_(std::move(folder)), name_(std::move(name)), server_(protocol) {}

  void PrepareDownload() {
    move_ = &Sweep::Download;
    server_.SetBytes(Numbers(kFileBytes3000));
  }
  void PrepareUpload(const std::string& source) {
    move_ = &Sweep::Upload;
    source_ = source;
  }

  // Cuts behind every `step`-th byte of a session that nothing cuts, from `first` on.
  void Run(Cut how, uint64_t first, uint64_t step) {
    server_.CutNothing();
    (this->*move_)();
    EXPECT_EQ(server_.Sessions(), 1u);
    const uint64_t whole = server_.SessionBytes();
    ASSERT_GT(whole, kFileBytes3000);
    for (uint64_t cut = first; cut < whole && !testing::Test::HasFailure(); cut += step) {
      SCOPED_TRACE("behind byte " + std::to_string(cut));
      server_.CutAfter(cut, how);
      (this->*move_)();
      EXPECT_GE(server_.Sessions(), 1u);
      EXPECT_TRUE(server_.IsCut());
      // What a FIN ends has come: a transfer that goes on does not ask for it again.
      if (how == Cut::Fin && move_ == &Sweep::Download && !IsReadAgain()) {
        EXPECT_EQ(server_.FileBytesSent(), kFileBytes3000);
      }
    }
  }

 private:
  // Works until the transfer is completed, whatever comes between.
  static bool RunWhateverComes(VRXClient* client) {
    for (int i = 0; i < 3000; ++i) {
      if (VRXClient_Idle(client) == VRXClientResult_Completed) return true;
    }
    return false;
  }

  // Works until the cut, saves the transfer, and goes on from the record, as after the end of the program.
  bool RunThroughRecord(TracedTransfer* before) {
    const std::string record = folder_ + "/record" + name_;
    for (int i = 0; i < 3000 && !server_.IsCut(); ++i) VRXClient_Idle(*before);
    EXPECT_EQ(before->Write(record), Error_None);
    before->Close();
    TracedTransfer after(names_);
    EXPECT_EQ(after.Read(record), Error_None);
    const bool isCompleted = RunWhateverComes(after);
    after.Delete();
    return isCompleted;
  }

  // Every second transfer goes on in another run of the program.
  bool IsReadAgain() const { return runs_ % 2 == 0; }
  bool RunEither(TracedTransfer* transfer) {
    ++runs_;
    const bool isCompleted = IsReadAgain() ? RunThroughRecord(transfer) : RunWhateverComes(*transfer);
    transfer->Delete();
    return isCompleted;
  }

  void Download() {
    const std::string target = folder_ + "/" + name_;
    TracedTransfer download(names_);
    ASSERT_EQ(download.Download(server_.URL(name_), target), Error_None);
    EXPECT_TRUE(RunEither(&download));
    EXPECT_TRUE(ReadFile(SystemPath(target)) == Numbers(kFileBytes3000));
    EXPECT_TRUE(std::filesystem::remove(SystemPath(target)));
  }
  void Upload() {
    server_.SetBytes("");
    TracedTransfer upload(names_);
    ASSERT_EQ(upload.Upload(source_, server_.URL("")), Error_None);
    EXPECT_TRUE(RunEither(&upload));
    EXPECT_TRUE(server_.Bytes() == Numbers(kFileBytes3000)) << server_.Bytes().size();
  }

  const Names* names_;
  const std::string folder_;
  const std::string name_;
  FileServer server_;
  void (Sweep::*move_)() = nullptr;
  std::string source_;
  int runs_ = 0;
};

class SessionCut : public TransferTest {
 protected:
  using Protocol = FileServer::Protocol;

  enum class Direction { Down, Up };

  // One of `lanes` that share the cuts.
  void RunLane(Protocol protocol, Direction direction, Cut how, uint64_t step, int lane, int lanes) {
    const std::string name = std::to_string(lane) + ".bin";
    Sweep sweep(&names_, cache_, name, protocol);
    if (direction == Direction::Down) {
      sweep.PrepareDownload();
    } else {
      sweep.PrepareUpload(source_.Name(name));
    }
    sweep.Run(how, step * static_cast<uint64_t>(lane), step * static_cast<uint64_t>(lanes));
  }

  void CutEverywhere(Protocol protocol, Direction direction, Cut how, uint64_t step, int lanes = 1) {
    for (int lane = 0; lane < lanes; ++lane)
      source_.Write(std::to_string(lane) + ".bin", Numbers(kFileBytes3000));
    std::vector<std::thread> threads;
    for (int lane = 1; lane < lanes; ++lane)
      threads.emplace_back([=, this] { RunLane(protocol, direction, how, step, lane, lanes); });
    RunLane(protocol, direction, how, step, 0, lanes);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(DataFiles(), Lines());
  }
  // Nearly all of the time is waiting.
  void FallSilentEverywhere(Protocol protocol, Direction direction) {
    iSock_SetWaitMilliseconds(kLimitMilliseconds);
    CutEverywhere(protocol, direction, Cut::Silence, kEveryTenthByte, 8);
  }

  // Every byte in the release build; with sanitizers and under Wine a session takes several times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  static constexpr uint64_t kEveryByte = 7;
#else
  const uint64_t kEveryByte = kIsWindows ? 10 : 1;
#endif
  static constexpr uint64_t kEveryTenthByte = 10;
  // The limit of waits in the sweeps of silence.
  const uint32_t kLimitMilliseconds = kIsWindows ? 500 : 60;

  TempDir source_;
};

TEST_F(SessionCut, DownloadsTheIdenticalFileOverHTTP_WhereverItEnds) {
  CutEverywhere(Protocol::HTTP, Direction::Down, Cut::Fin, kEveryByte);
}

TEST_F(SessionCut, DownloadsTheIdenticalFileOverHTTP_WhereverItIsReset) {
  CutEverywhere(Protocol::HTTP, Direction::Down, Cut::Reset, kEveryByte);
}

TEST_F(SessionCut, DownloadsTheIdenticalFileOverHTTP_WhereverItFallsSilent) {
  FallSilentEverywhere(Protocol::HTTP, Direction::Down);
}

TEST_F(SessionCut, DownloadsTheIdenticalFileOverFTP_WhereverItEnds) {
  CutEverywhere(Protocol::FTP, Direction::Down, Cut::Fin, kEveryByte);
}

TEST_F(SessionCut, DownloadsTheIdenticalFileOverFTP_WhereverItIsReset) {
  CutEverywhere(Protocol::FTP, Direction::Down, Cut::Reset, kEveryByte);
}

TEST_F(SessionCut, DownloadsTheIdenticalFileOverFTP_WhereverItFallsSilent) {
  FallSilentEverywhere(Protocol::FTP, Direction::Down);
}

TEST_F(SessionCut, UploadsTheIdenticalFile_WhereverItEnds) {
  CutEverywhere(Protocol::FTP, Direction::Up, Cut::Fin, kEveryByte);
}

TEST_F(SessionCut, UploadsTheIdenticalFile_WhereverItIsReset) {
  CutEverywhere(Protocol::FTP, Direction::Up, Cut::Reset, kEveryByte);
}

TEST_F(SessionCut, UploadsTheIdenticalFile_WhereverItFallsSilent) {
  FallSilentEverywhere(Protocol::FTP, Direction::Up);
}

}  // namespace
}  // namespace transfer
