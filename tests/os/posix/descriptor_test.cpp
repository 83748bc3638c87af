// A host that closed its standard streams: whatever stands in their place receives its diagnostics, so
// nothing of the library's may.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "os/file/file_internal.h"
#include "os/platform/filesystem.h"
#include "os/platform/socket.h"
#include "qz/error.h"
#include "qz/file.h"
#include "tests/support/environment.h"

namespace {

constexpr int kNothingOpened = 90;
constexpr int kStandardStreamTaken = 91;

bool AreStandardStreamsClosed() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1) return false;
  }
  return true;
}

// Closes the standard streams in a child, lets it open something, and gives its exit code: 0 when something
// was opened and the streams' places stayed empty.
int RunWithoutStandardStreams(const std::function<bool()>& open) {
  const pid_t child = fork();
  if (child == 0) {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) close(descriptor);
    const bool isOpened = open();
    _exit(!isOpened ? kNothingOpened : AreStandardStreamsClosed() ? 0 : kStandardStreamTaken);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class ClosedStandardStreams : public testing::Test {
 protected:
  TemporaryFolder folder_;
  std::string name_ = folder_.Name("file");
};

TEST_F(ClosedStandardStreams, AreNotReplacedByAFile) {
  EXPECT_EQ(RunWithoutStandardStreams([this] {
              File* file = nullptr;
              return File_Open(name_.c_str(), 3, &file) == Error_None;
            }),
            0);
}

TEST_F(ClosedStandardStreams, LeaveAFileThatOtherProgramsDoNotInherit) {
  EXPECT_EQ(RunWithoutStandardStreams([this] {
              File* file = nullptr;
              return File_Open(name_.c_str(), 3, &file) == Error_None &&
                     (fcntl(file->descriptor, F_GETFD) & FD_CLOEXEC) != 0;
            }),
            0);
}

TEST_F(ClosedStandardStreams, SendNoDiagnosticsIntoAFile) {
  EXPECT_EQ(RunWithoutStandardStreams([this] {
              // The third would stand where diagnostics go.
              for (int i = 0; i < 3; ++i) {
                File* file = nullptr;
                if (File_Open(name_.c_str(), 3, &file) != Error_None) return false;
              }
              Error("%s", "a diagnostic");
              return true;
            }),
            0);
  EXPECT_EQ(std::filesystem::file_size(folder_.Path() / "file"), 0u);
}

TEST_F(ClosedStandardStreams, AreNotReplacedByADirectory) {
  EXPECT_EQ(
      RunWithoutStandardStreams([this] { return platform::BeginSearch(folder_.Path().c_str()) != nullptr; }),
      0);
  EXPECT_EQ(RunWithoutStandardStreams(
                [this] { return platform::BeginSearchIn(nullptr, folder_.Path().c_str()) != nullptr; }),
            0);
}

TEST_F(ClosedStandardStreams, AreNotReplacedByASocket) {
  EXPECT_EQ(RunWithoutStandardStreams([] { return platform::SocketCreate() != platform::kNoSocket; }), 0);
}

// The address of a listening socket on this machine, at a port that the system chose.
bool Listen(platform::SocketDescriptor listener, platform::SocketAddress* address) {
  *address = {};
  address->address[0] = 127;
  address->address[3] = 1;
  return platform::SocketBind(listener, *address) && platform::SocketListen(listener, 1) &&
         platform::SocketLocalAddress(listener, address);
}

TEST_F(ClosedStandardStreams, AreNotReplacedByAnAcceptedConnection) {
  EXPECT_EQ(RunWithoutStandardStreams([] {
              const platform::SocketDescriptor listener = platform::SocketCreate();
              const platform::SocketDescriptor client = platform::SocketCreate();
              platform::SocketAddress address;
              if (!Listen(listener, &address)) return false;
              platform::SocketConnect(client, address);
              return platform::SocketWait(listener, platform::SocketEvents_Read, 10000) ==
                         platform::SocketEvents_Read &&
                     platform::SocketAccept(listener) != platform::kNoSocket;
            }),
            0);
}

TEST_F(ClosedStandardStreams, LeaveNothingOpen_WhenNoDescriptorIsFreeAboveThem) {
  const rlimit three = {3, 3};
  const auto openNothing = [&] {
    setrlimit(RLIMIT_NOFILE, &three);
    File* file = nullptr;
    return File_Open(name_.c_str(), 3, &file) == Error_Fail &&
           platform::SocketCreate() == platform::kNoSocket &&
           platform::BeginSearch(folder_.Path().c_str()) == nullptr;
  };
  EXPECT_EQ(RunWithoutStandardStreams(openNothing), 0);
}

TEST_F(ClosedStandardStreams, AreNoHindranceToACopy) {
  EXPECT_EQ(RunWithoutStandardStreams([this] {
              File* file = nullptr;
              if (File_Open(name_.c_str(), 3, &file) != Error_None) return false;
              if (File_Print(file, "%s", "contents") != 8 || File_Close(file) != Error_None) return false;
              const std::string copy = name_ + " copy";
              return platform::DuplicateFile(name_.c_str(), copy.c_str());
            }),
            0);
  EXPECT_EQ(std::filesystem::file_size(folder_.Path() / "file copy"), 8u);
}

}  // namespace
