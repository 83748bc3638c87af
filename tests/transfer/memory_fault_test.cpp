// Memory fails in whole transfers: one allocation, or all from one on until there is memory again. Whatever
// is lost, the file is the identical one in the end, and no block and no file is left behind.
#include "tests/support/fail_allocation.h"
#include "tests/support/file_server.h"
#include "tests/transfer/ftp_trace.h"

namespace transfer {
namespace {

class MemoryFault : public TransferTest {
 public:
  using Protocol = FileServer::Protocol;

  void SetUp() override {
    TransferTest::SetUp();
    for (size_t i = 0; bytes_.size() < 3000; ++i) bytes_ += std::to_string(i) + "\n";
    source_.Write("f.bin", bytes_);
    VRXClientSystem_Exit();
  }
  void TearDown() override {
    iMemory_FailAllocation(0);
    EXPECT_EQ(VRXClientSystem_Init(), Error_None);
    EXPECT_EQ(DataFiles(), Lines());
    TransferTest::TearDown();
  }

  static void ExpectNoneOrMemory(ErrorCode status) {
    EXPECT_TRUE(status == Error_None || status == Error_Memory) << Error_ToString(status);
  }
  void EndFailing() {
    if (iMemory_AllocationsUntilFailure() <= 0) hasFailed_ = true;
    iMemory_FailAllocation(0);
    iMemory_FailAllocationsFrom(INT64_MAX);
  }
  // Works until the transfer is completed; there is memory again from the hundredth call on.
  bool Run(VRXClient* client) {
    for (int i = 0; i < 3000; ++i) {
      if (i == 100 && isForAWhile_) EndFailing();
      if (VRXClient_Idle(client) == VRXClientResult_Completed) return true;
    }
    return false;
  }

  void Download(FileServer* server) {
    VRXClient* client = nullptr;
    const ErrorCode status =
        VRXClient_NewDownload(server->URL("f.bin").c_str(), Out("f.bin").c_str(), 0, nullptr, &client);
    ExpectNoneOrMemory(status);
    if (status != Error_None) return;
    EXPECT_TRUE(Run(client));
    EXPECT_TRUE(OutBytes("f.bin") == bytes_) << OutBytes("f.bin").size();
    EXPECT_EQ(VRXClient_Delete(client), Error_None);
    std::filesystem::remove(OutPath("f.bin"));
  }
  void Upload(FileServer* server) {
    VRXClient* client = nullptr;
    server->SetBytes("");
    const ErrorCode status =
        VRXClient_NewUpload(source_.Name("f.bin").c_str(), server->URL("").c_str(), 0, nullptr, &client);
    ExpectNoneOrMemory(status);
    if (status != Error_None) return;
    EXPECT_TRUE(Run(client));
    EXPECT_TRUE(server->Bytes() == bytes_) << server->Bytes().size();
    EXPECT_EQ(VRXClient_Delete(client), Error_None);
  }

  using Move = void (MemoryFault::*)(FileServer*);

  // A whole program run: from the start of the transfer system to its end.
  void RunProgram(FileServer* server, Move move) {
    const ErrorCode started = VRXClientSystem_Init();
    ExpectNoneOrMemory(started);
    if (started != Error_None) return;
    (this->*move)(server);
    VRXClientSystem_Exit();
  }

  void FailOnce(Protocol protocol, Move move) {
    FileServer server(protocol);
    server.SetBytes(bytes_);
    FailEveryAllocation([&] { RunProgram(&server, move); });
  }
  void FailFrom(Protocol protocol, Move move) {
    FileServer server(protocol);
    server.SetBytes(bytes_);
    isForAWhile_ = true;
    const int64_t before = iMemory_CountLive();
    for (int64_t n = 1; n < 2000; ++n) {
      SCOPED_TRACE("from allocation " + std::to_string(n));
      hasFailed_ = false;
      iMemory_FailAllocationsFrom(n);
      RunProgram(&server, move);
      EndFailing();
      iMemory_FailAllocation(0);
      ASSERT_EQ(iMemory_CountLive(), before);
      if (!hasFailed_) return;
    }
    ADD_FAILURE() << "too many allocations";
  }

  std::string bytes_;
  TempDir source_;
  bool isForAWhile_ = false;
  bool hasFailed_ = false;
};

TEST_F(MemoryFault, CostsADownloadOverHTTPNothing_WhicheverAllocationFails) {
  FailOnce(Protocol::HTTP, &MemoryFault::Download);
}

TEST_F(MemoryFault, CostsAnUploadNothing_WhicheverAllocationFails) {
  FailOnce(Protocol::FTP, &MemoryFault::Upload);
}

TEST_F(MemoryFault, CostsADownloadOverHTTPNothing_WhenAllAllocationsFailForAWhile) {
  FailFrom(Protocol::HTTP, &MemoryFault::Download);
}

TEST_F(MemoryFault, CostsADownloadOverFTPNothing_WhenAllAllocationsFailForAWhile) {
  FailFrom(Protocol::FTP, &MemoryFault::Download);
}

TEST_F(MemoryFault, CostsAnUploadNothing_WhenAllAllocationsFailForAWhile) {
  FailFrom(Protocol::FTP, &MemoryFault::Upload);
}

}  // namespace
}  // namespace transfer
