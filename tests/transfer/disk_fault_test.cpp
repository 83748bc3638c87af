// Every call to the system about the data file fails in turn, once and for a while: opening, reading, writing
// (nothing, or half of it), seeking, cutting, looking, renaming and closing. Whatever is lost, the file is
// the identical one in the end, and nothing else is touched. The linker sends these calls through the ones
// below.
#include <array>

#include "os/file/file_testing.h"
#include "os/platform/filesystem.h"
#include "tests/support/file_server.h"
#include "tests/support/file_system.h"
#include "tests/transfer/ftp_trace.h"

// A 64-bit number has another letter in a function's name on each platform.
#ifdef _WIN32
#  define QZ_REAL_SEEK __real__ZN8platform14SeekDescriptorEixi
#  define QZ_WRAPPED_SEEK __wrap__ZN8platform14SeekDescriptorEixi
#else
#  define QZ_REAL_SEEK __real__ZN8platform14SeekDescriptorEili
#  define QZ_WRAPPED_SEEK __wrap__ZN8platform14SeekDescriptorEili
#endif

namespace {

using platform::FileInformation;
using platform::OpenOptions;

enum class Lasting { Once, ForAWhile };

// Which of the calls about watched files fail.
struct DiskFault {
  int64_t callsUntilFailure = 0;  // the call that counts it down to 0 fails; 0: none
  Lasting lasting = Lasting::Once;
  bool writesHalf = false;
  bool hasFailed = false;
};
DiskFault fault;
std::array<bool, 4096> isWatched;

bool IsWatchedName(const char* name) {
  const std::string_view text = name;
  return text.find("vrxData") != text.npos || text.find("watched") != text.npos;
}
bool IsWatched(int descriptor) {
  return descriptor >= 0 && static_cast<size_t>(descriptor) < isWatched.size() &&
         isWatched[static_cast<size_t>(descriptor)];
}
bool Fails() {
  if (fault.callsUntilFailure <= 0) return fault.hasFailed && fault.lasting == Lasting::ForAWhile;
  if (--fault.callsUntilFailure > 0) return false;
  return fault.hasFailed = true;
}
bool FailsFor(const char* name) {
  if (!IsWatchedName(name) || !Fails()) return false;
  SetReadError();
  return true;
}
bool FailsFor(int descriptor) {
  if (!IsWatched(descriptor) || !Fails()) return false;
  SetReadError();
  return true;
}
int CloseStream(FILE* stream) {
  const bool fails = FailsFor(platform::DescriptorOf(stream));
  const int result = fclose(stream);
  if (fails) SetReadError();
  return fails ? EOF : result;
}

}  // namespace

extern "C" {

FILE* __real__ZN8platform10OpenStreamEPKcRKNS_11OpenOptionsE(const char*, const OpenOptions&);
FILE* __wrap__ZN8platform10OpenStreamEPKcRKNS_11OpenOptionsE(const char* name, const OpenOptions& options) {
  if (FailsFor(name)) return nullptr;
  FILE* stream = __real__ZN8platform10OpenStreamEPKcRKNS_11OpenOptionsE(name, options);
  const int descriptor = stream != nullptr ? platform::DescriptorOf(stream) : -1;
  if (descriptor >= 0 && static_cast<size_t>(descriptor) < isWatched.size())
    isWatched[static_cast<size_t>(descriptor)] = IsWatchedName(name);
  return stream;
}

int64_t __real__ZN8platform14ReadDescriptorEijPv(int, uint32_t, void*);
int64_t __wrap__ZN8platform14ReadDescriptorEijPv(int descriptor, uint32_t count, void* buffer) {
  return FailsFor(descriptor) ? -1 : __real__ZN8platform14ReadDescriptorEijPv(descriptor, count, buffer);
}

int64_t __real__ZN8platform15WriteDescriptorEijPKv(int, uint32_t, const void*);
int64_t __wrap__ZN8platform15WriteDescriptorEijPKv(int descriptor, uint32_t count, const void* buffer) {
  if (!FailsFor(descriptor)) return __real__ZN8platform15WriteDescriptorEijPKv(descriptor, count, buffer);
  if (fault.writesHalf) __real__ZN8platform15WriteDescriptorEijPKv(descriptor, count / 2, buffer);
  SetReadError();
  return -1;
}

int64_t QZ_REAL_SEEK(int, int64_t, int);
int64_t QZ_WRAPPED_SEEK(int descriptor, int64_t offset, int whence) {
  return FailsFor(descriptor) ? -1 : QZ_REAL_SEEK(descriptor, offset, whence);
}

bool __real__ZN8platform18TruncateDescriptorEi(int);
bool __wrap__ZN8platform18TruncateDescriptorEi(int descriptor) {
  return !FailsFor(descriptor) && __real__ZN8platform18TruncateDescriptorEi(descriptor);
}

bool __real__ZN8platform14GetInformationEPKcPNS_15FileInformationE(const char*, FileInformation*);
bool __wrap__ZN8platform14GetInformationEPKcPNS_15FileInformationE(const char* name,
                                                                   FileInformation* information) {
  return !FailsFor(name) && __real__ZN8platform14GetInformationEPKcPNS_15FileInformationE(name, information);
}

bool __real__ZN8platform22RenameWithoutReplacingEPKcS1_(const char*, const char*);
bool __wrap__ZN8platform22RenameWithoutReplacingEPKcS1_(const char* from, const char* to) {
  return !FailsFor(from) && __real__ZN8platform22RenameWithoutReplacingEPKcS1_(from, to);
}

}  // extern "C"

namespace transfer {
namespace {

class DiskFaults : public TransferTest {
 public:
  using Protocol = FileServer::Protocol;

  void SetUp() override {
    TransferTest::SetUp();
    // More than the first bytes, which are written at once, so that some are gathered too.
    for (size_t i = 0; bytes_.size() < 150000; ++i) bytes_ += std::to_string(i) + "\n";
    source_.Write("watched.src", bytes_);
    iFile_SetCloseMethod(CloseStream);
  }
  void TearDown() override {
    iFile_SetCloseMethod(nullptr);
    fault = {};
    isWatched = {};
    TransferTest::TearDown();
  }

  // Works until the transfer is completed; the disk is well again from the fiftieth call after its failure
  // on.
  static bool Run(VRXClient* client) {
    int callsAfterFailure = 0;
    for (int i = 0; i < 5000; ++i) {
      if (fault.hasFailed && ++callsAfterFailure == 50) fault = {.hasFailed = true};
      if (VRXClient_Idle(client) == VRXClientResult_Completed) return true;
    }
    return false;
  }

  // A file that stands under the target's name is never replaced.
  void Download(FileServer* server) {
    WriteFile(OutPath("watched.bin"), "old");
    VRXClient* client = nullptr;
    ASSERT_EQ(
        VRXClient_NewDownload(server->URL("f.bin").c_str(), Out("watched.bin").c_str(), 0, nullptr, &client),
        Error_None);
    EXPECT_TRUE(Run(client));
    fault = {.hasFailed = fault.hasFailed};
    EXPECT_EQ(VRXClient_Delete(client), Error_None);
    EXPECT_EQ(OutBytes("watched.bin"), "old");
    const Lines names = OutNames();
    ASSERT_EQ(names.size(), 2u);
    const std::string saved = names[0] == "watched.bin" ? names[1] : names[0];
    EXPECT_TRUE(OutBytes(saved) == bytes_) << saved << " " << OutBytes(saved).size();
    std::filesystem::remove(OutPath(saved));
  }
  void DownloadByRename(FileServer* server) {
    Download(server);
    EXPECT_EQ(DataFiles(), Lines());
  }
  // What cannot be removed at the end stays in the cache folder.
  void ExpectOneDataFileAtMost() {
    EXPECT_LE(DataFiles().size(), 1u);
    for (const std::string& name : DataFiles()) std::filesystem::remove(SystemPath(cache_ + "/" + name));
  }
  void DownloadByCopy(FileServer* server) {
    iVRXClient_SetCopiesAlways(true);
    Download(server);
    ExpectOneDataFileAtMost();
  }
  void Upload(FileServer* server) {
    server->SetBytes("");
    VRXClient* client = nullptr;
    const ErrorCode status = VRXClient_NewUpload(source_.Name("watched.src").c_str(), server->URL("").c_str(),
                                                 0, nullptr, &client);
    // A source that cannot be looked at is none.
    if (fault.hasFailed && status == Error_NotFound) return;
    ASSERT_EQ(status, Error_None);
    EXPECT_TRUE(Run(client));
    fault = {.hasFailed = fault.hasFailed};
    EXPECT_EQ(VRXClient_Delete(client), Error_None);
    EXPECT_TRUE(server->Bytes() == bytes_) << server->Bytes().size();
    ExpectOneDataFileAtMost();
  }

  using Move = void (DiskFaults::*)(FileServer*);

  // Every call fails in turn; the transfer is cut in its middle, so that it resumes as well.
  void FailEveryCall(Protocol protocol, Move move, Lasting lasting, bool writesHalf = false) {
    FileServer server(protocol);
    server.SetBytes(bytes_);
    for (int64_t n = 1; n < 3000 && !HasFailure(); ++n) {
      SCOPED_TRACE("call " + std::to_string(n));
      server.CutAfter(80000, Cut::Fin);
      fault = {.callsUntilFailure = n, .lasting = lasting, .writesHalf = writesHalf};
      (this->*move)(&server);
      if (!fault.hasFailed) return;
    }
    EXPECT_TRUE(HasFailure()) << "too many calls";
  }

  std::string bytes_;
  TempDir source_;
};

TEST_F(DiskFaults, CostADownloadNothing) {
  FailEveryCall(Protocol::HTTP, &DiskFaults::DownloadByRename, Lasting::Once);
}

TEST_F(DiskFaults, CostADownloadNothing_WhenHalfOfAWriteIsOnTheDisk) {
  FailEveryCall(Protocol::HTTP, &DiskFaults::DownloadByRename, Lasting::Once, true);
}

TEST_F(DiskFaults, CostADownloadNothing_WhenTheyLast) {
  FailEveryCall(Protocol::HTTP, &DiskFaults::DownloadByRename, Lasting::ForAWhile, true);
}

TEST_F(DiskFaults, CostADownloadOverFTPNothing) {
  FailEveryCall(Protocol::FTP, &DiskFaults::DownloadByRename, Lasting::Once, true);
}

TEST_F(DiskFaults, CostADownloadToAnotherVolumeNothing) {
  FailEveryCall(Protocol::HTTP, &DiskFaults::DownloadByCopy, Lasting::Once, true);
}

TEST_F(DiskFaults, CostADownloadToAnotherVolumeNothing_WhenTheyLast) {
  FailEveryCall(Protocol::HTTP, &DiskFaults::DownloadByCopy, Lasting::ForAWhile);
}

TEST_F(DiskFaults, CostAnUploadNothing) {
  FailEveryCall(Protocol::FTP, &DiskFaults::Upload, Lasting::Once, true);
}

TEST_F(DiskFaults, CostAnUploadNothing_WhenTheyLast) {
  FailEveryCall(Protocol::FTP, &DiskFaults::Upload, Lasting::ForAWhile);
}

}  // namespace
}  // namespace transfer
