#include "tests/support/fault_proxy.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

using loopback::Result;

namespace {
constexpr int kSliceMilliseconds = 20;
constexpr size_t kPieceBytes = 65536;
}  // namespace

struct FaultProxy::Pair {
  loopback::Connection ends[2];  // [ToClient]: the client's side, [ToServer]: the server's
  Fault faults[2];
  size_t number = 0;
  bool isData = false;
  std::string unfinishedLine;  // of the server's replies
  std::atomic<bool> ended{false};
  std::atomic<bool> stalled{false};
  std::atomic<int> running{2};
  std::atomic<Fault::Kind> end{Fault::Kind::CutByFin};
};

FaultProxy::FaultProxy(uint16_t serverPort) : serverPort_(serverPort), port_(listener_.port()) {
  StartThread(std::thread([this] { Accept(&listener_, serverPort_, false, false); }));
}

FaultProxy::~FaultProxy() {
  Stop();
}

void FaultProxy::Stop() {
  stopped_ = true;
  // Threads that still run may start others, so this repeats until none is left.
  for (;;) {
    std::vector<std::thread> threads;
    {
      const std::lock_guard lock(mutex_);
      threads.swap(threads_);
    }
    if (threads.empty()) return;
    for (std::thread& thread : threads) thread.join();
  }
}

void FaultProxy::StartThread(std::thread thread) {
  const std::lock_guard lock(mutex_);
  threads_.push_back(std::move(thread));
}

void FaultProxy::Set(bool isData, size_t number, Direction direction, Fault fault) {
  const std::lock_guard lock(mutex_);
  FamilyOf(isData).single[direction][number] = fault;
}

void FaultProxy::OnConnection(size_t number, Direction direction, Fault fault) {
  Set(false, number, direction, fault);
}

void FaultProxy::OnDataConnection(size_t number, Direction direction, Fault fault) {
  Set(true, number, direction, fault);
}

void FaultProxy::OnEvery(Direction direction, Fault fault) {
  const std::lock_guard lock(mutex_);
  control_.every[direction] = fault;
}

void FaultProxy::OnEveryDataConnection(Direction direction, Fault fault) {
  const std::lock_guard lock(mutex_);
  data_.every[direction] = fault;
}

size_t FaultProxy::Connections() const {
  const std::lock_guard lock(mutex_);
  return control_.passed[ToClient].size();
}

size_t FaultProxy::DataConnections() const {
  const std::lock_guard lock(mutex_);
  return data_.passed[ToClient].size();
}

uint64_t FaultProxy::Passed(size_t number, Direction direction) const {
  const std::lock_guard lock(mutex_);
  return number < control_.passed[direction].size() ? control_.passed[direction][number] : 0;
}

uint64_t FaultProxy::DataPassed(size_t number, Direction direction) const {
  const std::lock_guard lock(mutex_);
  return number < data_.passed[direction].size() ? data_.passed[direction][number] : 0;
}

void FaultProxy::Accept(loopback::Listener* listener, uint16_t serverPort, bool isData, bool onlyOne) {
  while (!stopped_) {
    loopback::Connection client = listener->Accept(kSliceMilliseconds);
    if (!client.IsOpen()) continue;
    auto pair = std::make_shared<Pair>();
    pair->ends[ToClient] = std::move(client);
    pair->ends[ToServer] = loopback::Connect(serverPort, 5000);
    if (!pair->ends[ToServer].IsOpen()) {
      pair->ends[ToClient].Reset();
      continue;
    }
    pair->isData = isData;
    {
      const std::lock_guard lock(mutex_);
      Family& family = FamilyOf(isData);
      pair->number = family.passed[ToClient].size();
      for (const Direction direction : {ToClient, ToServer}) {
        family.passed[direction].push_back(0);
        const auto single = family.single[direction].find(pair->number);
        pair->faults[direction] =
            single != family.single[direction].end() ? single->second : family.every[direction];
      }
    }
    StartThread(std::thread([this, pair] { Pump(pair, ToClient); }));
    StartThread(std::thread([this, pair] { Pump(pair, ToServer); }));
    if (onlyOne) return;
  }
}

bool FaultProxy::Pause(int milliseconds) const {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  while (!stopped_ && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(std::min(milliseconds, kSliceMilliseconds)));
  }
  return !stopped_;
}

// Moves what comes from the other side; the last of the two directions to end closes both sockets.
void FaultProxy::Pump(std::shared_ptr<Pair> pair, Direction direction) {
  loopback::Connection& from = pair->ends[direction == ToClient ? ToServer : ToClient];
  loopback::Connection& to = pair->ends[direction];
  const Fault& fault = pair->faults[direction];
  uint64_t passed = 0;
  if (fault.kind != Fault::Kind::None && fault.afterBytes == 0) Strike(pair.get(), fault.kind);
  while (!stopped_ && !pair->ended) {
    if (pair->stalled) {
      Pause(kSliceMilliseconds);
      continue;
    }
    std::string bytes;
    const Result result = from.ReceiveSome(&bytes, kPieceBytes, kSliceMilliseconds);
    if (result == Result::Timeout) continue;
    if (result == Result::Reset) Strike(pair.get(), Fault::Kind::CutByReset);
    if (result == Result::Closed) to.Finish();
    if (result != Result::Data) break;
    if (followPassive_ && !pair->isData && direction == ToClient)
      bytes = RewritePassiveReplies(pair.get(), bytes);
    if (!PassOn(pair.get(), direction, bytes, &passed)) break;
  }
  if (--pair->running != 0) return;
  for (loopback::Connection& end : pair->ends) {
    if (pair->end == Fault::Kind::CutByReset) {
      end.Reset();
    } else {
      end.Close();
    }
  }
}

bool FaultProxy::PassOn(Pair* pair, Direction direction, const std::string& bytes, uint64_t* passed) {
  const Fault& fault = pair->faults[direction];
  const bool strikes = fault.kind != Fault::Kind::None;
  size_t at = 0;
  while (at < bytes.size()) {
    size_t count = bytes.size() - at;
    if (fault.pieceBytes != 0) count = std::min(count, fault.pieceBytes);
    if (strikes) count = static_cast<size_t>(std::min<uint64_t>(count, fault.afterBytes - *passed));
    *passed += count;
    {
      // Counted first: whoever sees the bytes arrive may ask for the number.
      const std::lock_guard lock(mutex_);
      FamilyOf(pair->isData).passed[direction][pair->number] = *passed;
    }
    if (!pair->ends[direction].Send(bytes.substr(at, count))) {
      Strike(pair, Fault::Kind::CutByReset);
      return false;
    }
    at += count;
    if (strikes && *passed >= fault.afterBytes) {
      Strike(pair, fault.kind);
      return true;
    }
    if (fault.pauseMilliseconds != 0 && !Pause(fault.pauseMilliseconds)) return false;
  }
  return true;
}

void FaultProxy::Strike(Pair* pair, Fault::Kind kind) {
  if (kind == Fault::Kind::Stall) {
    pair->stalled = true;
    return;
  }
  pair->end = kind;
  pair->ended = true;
}

std::string FaultProxy::RewritePassiveReplies(Pair* pair, const std::string& bytes) {
  std::string text = std::exchange(pair->unfinishedLine, std::string()) + bytes;
  std::string out;
  for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
    std::string line = text.substr(0, end + 1);
    text.erase(0, end + 1);
    const size_t open = line.find('(');
    unsigned parts[6];
    if (line.compare(0, 4, "227 ") == 0 && open != std::string::npos &&
        sscanf(line.c_str() + open, "(%u,%u,%u,%u,%u,%u)", &parts[0], &parts[1], &parts[2], &parts[3],
               &parts[4], &parts[5]) == 6) {
      const unsigned port = OpenDataPort(static_cast<uint16_t>(parts[4] * 256 + parts[5]));
      line = "227 Entering Passive Mode (127,0,0,1," + std::to_string(port >> 8) + "," +
             std::to_string(port & 255) + ").\r\n";
    }
    out += line;
  }
  pair->unfinishedLine = text;
  return out;
}

uint16_t FaultProxy::OpenDataPort(uint16_t serverPort) {
  auto listener = std::make_shared<loopback::Listener>();
  const uint16_t port = listener->port();
  StartThread(std::thread([this, listener, serverPort] { Accept(listener.get(), serverPort, true, true); }));
  return port;
}
