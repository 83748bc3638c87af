// Whole transfers over FTP that lose a connection somewhere, or memory: whatever they do, the file is the
// identical one in the end.
#include <cstdlib>
#include <mutex>

#include "tests/support/fail_allocation.h"
#include "tests/support/fault_proxy.h"
#include "tests/support/file_system.h"
#include "tests/transfer/ftp_trace.h"

using namespace script;

namespace transfer {
namespace {

// What a server has, whichever of its connections touches it.
struct ServedFile {
  std::string bytes;
  std::mutex mutex;
};

// A connection to a server that has /pub/f.bin, or takes it, and answers as long as the client stays.
class FileServer {
 public:
  FileServer(loopback::Connection* control, ServedFile* file) : control_(control), file_(file) {}

  void Play() {
    Say("220 ready");
    std::string line;
    while (ReadLine(&line)) Answer(line.substr(0, 4), line.size() > 5 ? line.substr(5) : "");
  }

 private:
  void Say(const std::string& line) { control_->Send(line + "\r\n"); }

  bool ReadLine(std::string* line) {
    line->clear();
    while (!line->ends_with("\r\n")) {
      if (control_->ReceiveSome(line, 1) != loopback::Result::Data) return false;
    }
    line->resize(line->size() - 2);
    return true;
  }

  void Answer(const std::string& command, const std::string& argument) {
    if (command == "USER") return Say("331 who?");
    if (command == "PASS") return Say("230 in");
    if (command == "CWD ") return Say(argument == "pub" ? "250 ok" : "550 no");
    if (command == "MIRR") return Say("500 what?");
    if (command == "SIZE") return Say(Size());
    if (command == "PASV") return OpenPassive();
    if (command == "RETR" || command == "STOR") return Transfer(command == "RETR");
    if (command == "REST") {
      offset_ = strtoul(argument.c_str(), nullptr, 10);
      return Say("350 ok");
    }
    Say(command == "QUIT" ? "221 bye" : "200 ok");
  }

  std::string Size() {
    const std::lock_guard lock(file_->mutex);
    return file_->bytes.empty() ? "550 no" : "213 " + std::to_string(file_->bytes.size());
  }

  void OpenPassive() {
    listener_ = loopback::Listener();
    const int port = listener_.port();
    Say("227 (127,0,0,1," + std::to_string(port / 256) + "," + std::to_string(port % 256) + ")");
  }

  void Transfer(bool sends) {
    loopback::Connection data = listener_.Accept(500);
    listener_.Close();
    if (!data.IsOpen()) return Say("425 nobody came");
    const std::lock_guard lock(file_->mutex);
    Say("150 go");
    if (sends) {
      data.Send(std::string_view(file_->bytes).substr(offset_));
    } else {
      file_->bytes.resize(offset_);
      if (data.ReceiveAll(&file_->bytes) != loopback::Result::Closed) return Say("426 cut");
    }
    offset_ = 0;
    data.Close();
    Say("226 done");
  }

  loopback::Connection* control_;
  ServedFile* file_;
  loopback::Listener listener_;
  size_t offset_ = 0;
};

Script Serves(ServedFile* file) {
  return {Do([file](ScriptSession& session) { FileServer(&session.control(), file).Play(); })};
}

std::string Numbers(size_t count) {
  std::string text;
  for (size_t i = 0; text.size() < count; ++i) text += std::to_string(i) + "\n";
  return text.substr(0, count);
}

class FTPFaults : public FTPTransferTest {
 protected:
  static constexpr size_t kBytes = 3000;

  // Works until the transfer is completed, whatever comes between.
  static bool RunWhateverComes(VRXClient* client, int calls = 3000) {
    for (int i = 0; i < calls; ++i) {
      if (VRXClient_Idle(client) == VRXClientResult_Completed) return true;
    }
    return false;
  }

  // Downloads through a proxy that spoils connections as `spoil` says.
  template <typename Spoil>
  void DownloadThrough(const ScriptedServer& server, Spoil spoil) {
    FaultProxy proxy(server.port());
    proxy.FollowPassiveReplies();
    spoil(&proxy);
    VRXClient* client = nullptr;
    const std::string url = "ftp://u:p@127.0.0.1:" + std::to_string(proxy.port()) + "/pub/f.bin";
    ASSERT_EQ(VRXClient_NewDownload(url.c_str(), Out("f.bin").c_str(), 0, nullptr, &client), Error_None);
    EXPECT_TRUE(RunWhateverComes(client));
    EXPECT_TRUE(Bytes() == Numbers(kBytes));
    VRXClient_Delete(client);
    std::filesystem::remove(OutPath("f.bin"));
  }
  template <typename Spoil>
  void UploadThrough(const ScriptedServer& server, ServedFile* file, Spoil spoil) {
    FaultProxy proxy(server.port());
    proxy.FollowPassiveReplies();
    spoil(&proxy);
    VRXClient* client = nullptr;
    const std::string url = "ftp://u:p@127.0.0.1:" + std::to_string(proxy.port()) + "/pub/";
    ASSERT_EQ(VRXClient_NewUpload(source_.Name("f.bin").c_str(), url.c_str(), 0, nullptr, &client),
              Error_None);
    EXPECT_TRUE(RunWhateverComes(client));
    const std::lock_guard lock(file->mutex);
    EXPECT_TRUE(file->bytes == Numbers(kBytes)) << file->bytes.size();
    VRXClient_Delete(client);
  }

  // Cuts lie this far apart; Wine is slower.
  const uint64_t kControlStep = kIsWindows ? 31 : 5;
  // The conversation before the end of the data has less.
  static constexpr uint64_t kControlBytes = 260;
  static constexpr int kLimitMilliseconds = 120000;
};

TEST_F(FTPFaults, DownloadsTheIdenticalFile_WhenTheControlConnectionIsCut) {
  ServedFile file;
  file.bytes = Numbers(kBytes);
  ScriptedServer server({Serves(&file)}, kLimitMilliseconds);
  server.RepeatLast();
  server.AllowUnfinished();
  for (uint64_t cut = 0; cut < kControlBytes; cut += kControlStep) {
    SCOPED_TRACE(cut);
    DownloadThrough(server, [&](FaultProxy* proxy) {
      proxy->OnConnection(0, FaultProxy::ToClient, Fault::CutByFin(cut));
    });
    DownloadThrough(server, [&](FaultProxy* proxy) {
      proxy->OnConnection(0, FaultProxy::ToClient, Fault::CutByReset(cut + 1));
    });
  }
}

TEST_F(FTPFaults, DownloadsTheIdenticalFile_WhenTheDataConnectionIsCut) {
  ServedFile file;
  file.bytes = Numbers(kBytes);
  ScriptedServer server({Serves(&file)}, kLimitMilliseconds);
  server.RepeatLast();
  server.AllowUnfinished();
  for (uint64_t cut = 0; cut < kBytes; cut += 10 * kControlStep) {
    SCOPED_TRACE(cut);
    DownloadThrough(server, [&](FaultProxy* proxy) {
      proxy->OnDataConnection(0, FaultProxy::ToClient, Fault::CutByFin(cut));
    });
    DownloadThrough(server, [&](FaultProxy* proxy) {
      proxy->OnDataConnection(0, FaultProxy::ToClient, Fault::CutByReset(cut + 1));
    });
  }
}

TEST_F(FTPFaults, UploadsTheIdenticalFile_WhenAConnectionIsCut) {
  source_.Write("f.bin", Numbers(kBytes));
  ServedFile file;
  ScriptedServer server({Serves(&file)}, kLimitMilliseconds);
  server.RepeatLast();
  server.AllowUnfinished();
  for (uint64_t cut = 0; cut < kControlBytes; cut += 3 * kControlStep) {
    SCOPED_TRACE(cut);
    file.bytes.clear();
    UploadThrough(server, &file, [&](FaultProxy* proxy) {
      proxy->OnConnection(0, FaultProxy::ToClient, Fault::CutByFin(cut));
    });
    file.bytes.clear();
    UploadThrough(server, &file, [&](FaultProxy* proxy) {
      proxy->OnDataConnection(0, FaultProxy::ToServer, Fault::CutByReset(cut * 10 + 1));
    });
  }
}

TEST_F(FTPFaults, DownloadsTheIdenticalFile_WhenItComesByteByByte) {
  ServedFile file;
  file.bytes = Numbers(kBytes);
  ScriptedServer server({Serves(&file)}, kLimitMilliseconds);
  server.RepeatLast();
  server.AllowUnfinished();
  DownloadThrough(server, [](FaultProxy* proxy) {
    proxy->OnEvery(FaultProxy::ToClient, Fault::OneByteAtATime());
    proxy->OnEveryDataConnection(FaultProxy::ToClient, Fault::OneByteAtATime());
  });
}

TEST_F(FTPFaults, DownloadsTheIdenticalFile_WhenAnyAllocationFails) {
  VRXClientSystem_Exit();
  ServedFile file;
  file.bytes = Numbers(kBytes);
  ScriptedServer server({Serves(&file)}, kLimitMilliseconds);
  server.RepeatLast();
  server.AllowUnfinished();
  FailEveryAllocation([&] {
    const ErrorCode started = VRXClientSystem_Init();
    if (started != Error_None) {
      EXPECT_EQ(started, Error_Memory);
      return;
    }
    VRXClient* client = nullptr;
    const ErrorCode status =
        VRXClient_NewDownload(FTPURL(server).c_str(), Out("f.bin").c_str(), 0, nullptr, &client);
    if (status != Error_None) {
      EXPECT_EQ(status, Error_Memory);
    } else {
      EXPECT_TRUE(RunWhateverComes(client));
      EXPECT_TRUE(Bytes() == Numbers(kBytes));
      VRXClient_Delete(client);
      std::filesystem::remove(OutPath("f.bin"));
    }
    VRXClientSystem_Exit();
  });
  EXPECT_EQ(VRXClientSystem_Init(), Error_None);
  EXPECT_EQ(DataFiles(), Lines());
}

}  // namespace
}  // namespace transfer
