// What an open transfer costs: a call that has nothing to do, and the memory of the whole process.
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "qz/error.h"
#include "qz/os.h"
#include "qz/vrxclient.h"
#include "qz/vrxclientsystem.h"

namespace {

void Require(bool holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "vrxclient_bench: %s\n", what);
  abort();
}

// Sends four bytes of a file to every client, and nothing more. It runs in a process of its own: its sockets
// are no part of what is measured.
class StallingServer {
 public:
  StallingServer() {
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    Require(bind(listener_, reinterpret_cast<sockaddr*>(&address), length) == 0, "no port");
    Require(listen(listener_, 1024) == 0, "no listener");
    Require(getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) == 0, "no port number");
    port_ = ntohs(address.sin_port);
    process_ = fork();
    Require(process_ >= 0, "no process");
    if (process_ == 0) Serve();
    close(listener_);
  }
  ~StallingServer() { kill(process_, SIGKILL); }
  std::string URL(size_t number) const {
    return "http://127.0.0.1:" + std::to_string(port_) + "/" + std::to_string(number);
  }

 private:
  [[noreturn]] void Serve() const {
    constexpr char kAnswer[] = "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-7/8\r\n\r\nabcd";
    for (;;) {
      const int connection = accept(listener_, nullptr, nullptr);
      char request[4096];
      if (connection < 0 || read(connection, request, sizeof request) <= 0) continue;
      if (write(connection, kAnswer, sizeof kAnswer - 1) < 0) close(connection);
    }
  }

  int listener_;
  int process_ = -1;
  int port_ = 0;
};

// The library and a folder for its files.
class Library {
 public:
  Library() {
    char name[] = "/tmp/vrxclient_bench.XXXXXX";
    Require(mkdtemp(name) != nullptr, "no folder");
    folder_ = name;
    setenv("TMPDIR", name, 1);
    const std::string log = folder_ + "/log";
    Require(OS_Init("vrxbench", OSInitCode_LogPath, log.c_str(), OSInitCode_End) == Error_None, "no library");
    Require(VRXClientSystem_Init() == Error_None, "no transfers");
  }
  ~Library() {
    VRXClientSystem_Exit();
    OS_Exit(0);
    std::filesystem::remove_all(folder_);
  }
  std::string Name(size_t number) const { return folder_ + "/file" + std::to_string(number); }

 private:
  std::string folder_;
};

VRXClient* Open(const StallingServer& server, const Library& library, size_t number) {
  VRXClient* client = nullptr;
  const ErrorCode status =
      VRXClient_NewDownload(server.URL(number).c_str(), library.Name(number).c_str(), 0, nullptr, &client);
  Require(status == Error_None, "no transfer");
  return client;
}

// Until its first bytes are in the data file.
void StartData(VRXClient* client) {
  for (int i = 0; i < 20 && VRXClient_GetState(client) != 11; ++i) VRXClient_Idle(client);
  Require(VRXClient_GetState(client) == 11, "no data");
  VRXClient_Idle(client);
}

// Resident memory of this process, in bytes.
double Resident() {
  FILE* file = fopen("/proc/self/statm", "r");
  long whole = 0;
  long resident = 0;
  Require(file != nullptr && fscanf(file, "%ld %ld", &whole, &resident) == 2, "no memory figures");
  fclose(file);
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

// A probe that has found out everything.
void PollProbed(benchmark::State& state) {
  const StallingServer server;
  const Library library;
  VRXClient* client = Open(server, library, 0);
  for (int i = 0; i < 20 && VRXClient_Poll(client) != VRXClientResult_Completed; ++i) continue;
  for (auto _ : state) benchmark::DoNotOptimize(VRXClient_Poll(client));
  Require(VRXClient_Poll(client) == VRXClientResult_Completed, "not probed");
  VRXClient_Delete(client);
}
BENCHMARK(PollProbed);

void OpenTransfers(benchmark::State& state) {
  const auto count = static_cast<size_t>(state.range(0));
  const StallingServer server;
  const Library library;
  // What is made once, for all transfers.
  VRXClient* first = Open(server, library, count);
  StartData(first);
  const double before = Resident();
  std::vector<VRXClient*> clients(count);
  for (auto _ : state) {
    for (size_t i = 0; i < count; ++i) {
      clients[i] = Open(server, library, i);
      StartData(clients[i]);
    }
  }
  const double after = Resident();
  state.counters["KiB_each"] = (after - before) / 1024 / static_cast<double>(count);
  state.counters["MiB_whole_process"] = after / 1024 / 1024;
  for (VRXClient* client : clients) VRXClient_Delete(client);
  VRXClient_Delete(first);
}
BENCHMARK(OpenTransfers)->Arg(1)->Arg(100)->Arg(1000)->Iterations(1)->Unit(benchmark::kMillisecond);

// A thousand transfers and their connections are more than most systems allow at first.
const bool isLimitRaised = [] {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return false;
  limit.rlim_cur = limit.rlim_max;
  return setrlimit(RLIMIT_NOFILE, &limit) == 0;
}();

}  // namespace
