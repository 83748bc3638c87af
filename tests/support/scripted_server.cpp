#include "tests/support/scripted_server.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <utility>

using loopback::Result;

namespace {

constexpr int kSliceMilliseconds = 20;

std::string Quote(const std::string& bytes) {
  std::string text = "\"";
  for (char c : bytes.substr(0, 300)) {
    const auto byte = static_cast<unsigned char>(c);
    char escaped[8];
    if (byte >= 32 && byte < 127) {
      text += c;
    } else {
      snprintf(escaped, sizeof escaped, "\\x%02x", byte);
      text += escaped;
    }
  }
  return text + (bytes.size() > 300 ? "\"..." : "\"");
}

void ReplaceAll(std::string* text, const std::string& from, const std::string& to) {
  for (size_t at = text->find(from); at != std::string::npos; at = text->find(from, at + to.size())) {
    text->replace(at, from.size(), to);
  }
}

}  // namespace

ScriptSession::ScriptSession(ScriptedServer* server, size_t number, loopback::Connection control)
    : server_(server), number_(number), control_(std::move(control)) {}

bool ScriptSession::Fail(const std::string& what) {
  server_->AddFailure("connection " + std::to_string(number_) + ": " + what);
  return false;
}

// Waits in slices, so that the end of the server ends the wait. False when the server's time is over; *result
// is never Timeout otherwise.
bool ScriptSession::Receive(loopback::Connection& from, size_t most, std::string* bytes, bool isData,
                            Result* result) {
  for (;;) {
    std::string piece;
    *result = from.ReceiveSome(&piece, most, kSliceMilliseconds);
    if (*result == Result::Data) {
      server_->Record(number_, isData, piece);
      *bytes += piece;
      return true;
    }
    if (*result != Result::Timeout) return true;
    if (server_->IsOver()) return false;
  }
}

bool ScriptSession::Expect(const std::string& bytes) {
  std::string got;
  while (got.size() < bytes.size()) {
    Result result;
    if (!Receive(control_, bytes.size() - got.size(), &got, false, &result)) {
      return server_->stopped_ ? false
                               : Fail("time is over, expected " + Quote(bytes) + " got " + Quote(got));
    }
    const bool matches = bytes.compare(0, got.size(), got) == 0;
    if (result != Result::Data || !matches) return Fail("expected " + Quote(bytes) + " got " + Quote(got));
  }
  return true;
}

bool ScriptSession::ReadUntil(const std::string& end, std::string* read) {
  while (read->size() < end.size() || read->compare(read->size() - end.size(), end.size(), end) != 0) {
    Result result;
    if (!Receive(control_, 1, read, false, &result)) {
      return server_->stopped_ ? false : Fail("time is over before " + Quote(end) + ", got " + Quote(*read));
    }
    if (result != Result::Data)
      return Fail("the client ended before " + Quote(end) + ", sent " + Quote(*read));
  }
  return true;
}

bool ScriptSession::ReadCount(size_t count) {
  std::string read;
  while (read.size() < count) {
    Result result;
    if (!Receive(control_, count - read.size(), &read, false, &result)) {
      return server_->stopped_ ? false : Fail("time is over before " + std::to_string(count) + " bytes");
    }
    if (result != Result::Data) {
      return Fail("the client ended after " + std::to_string(read.size()) + " of " + std::to_string(count) +
                  " bytes");
    }
  }
  return true;
}

bool ScriptSession::ReadToEnd() {
  std::string read;
  for (;;) {
    Result result;
    if (!Receive(control_, 65536, &read, false, &result)) {
      return server_->stopped_ ? false : Fail("time is over before the client's close");
    }
    if (result != Result::Data) return true;
  }
}

bool ScriptSession::Send(const std::string& bytes) {
  // A client that is gone shows in the next step that expects something of it.
  control_.Send(Fill(bytes));
  return true;
}

bool ScriptSession::SendSlowly(const std::string& bytes, int millisecondsBetween) {
  for (char c : Fill(bytes)) {
    if (!control_.Send(std::string(1, c))) return true;
    if (!Wait(millisecondsBetween)) return false;
  }
  return true;
}

bool ScriptSession::Wait(int milliseconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    const auto left = end - std::chrono::steady_clock::now();
    if (left <= std::chrono::milliseconds(0)) return true;
    if (server_->IsOver()) return false;
    std::this_thread::sleep_for(
        std::min<std::chrono::nanoseconds>(left, std::chrono::milliseconds(kSliceMilliseconds)));
  }
}

bool ScriptSession::Stall() {
  std::string read;
  Result result = Result::Data;
  while (result == Result::Data) {
    if (!Receive(control_, 65536, &read, false, &result)) return true;
  }
  return true;
}

bool ScriptSession::Finish() {
  control_.Finish();
  return true;
}

bool ScriptSession::Close() {
  control_.Close();
  return true;
}

bool ScriptSession::Reset() {
  control_.Reset();
  return true;
}

bool ScriptSession::OpenPassive() {
  passive_ = std::make_unique<loopback::Listener>();
  return passive_->IsOpen() || Fail("no port for the data connection");
}

bool ScriptSession::ClosePassive() {
  passive_.reset();
  return true;
}

bool ScriptSession::ExpectPort() {
  std::string line;
  if (!ReadUntil("\r\n", &line)) return false;
  unsigned parts[6];
  int length = 0;
  const int count = sscanf(line.c_str(), "PORT %u,%u,%u,%u,%u,%u\r\n%n", &parts[0], &parts[1], &parts[2],
                           &parts[3], &parts[4], &parts[5], &length);
  const bool isLoopback = count == 6 && parts[0] == 127 && parts[1] == 0 && parts[2] == 0 && parts[3] == 1;
  if (!isLoopback || parts[4] > 255 || parts[5] > 255)
    return Fail("expected PORT 127,0,0,1,... got " + Quote(line));
  activePort_ = static_cast<uint16_t>(parts[4] * 256 + parts[5]);
  return true;
}

bool ScriptSession::DataAccept() {
  if (passive_ == nullptr) return Fail("DataAccept without OpenPassive");
  for (;;) {
    data_ = passive_->Accept(kSliceMilliseconds);
    if (data_.IsOpen()) return true;
    if (server_->IsOver()) return server_->stopped_ ? false : Fail("no data connection came");
  }
}

bool ScriptSession::DataConnect() {
  data_ = loopback::Connect(activePort_, 5000);
  return data_.IsOpen() || Fail("the client's data port does not answer");
}

bool ScriptSession::DataSend(const std::string& bytes) {
  data_.Send(bytes);
  return true;
}

bool ScriptSession::DataReadToEnd() {
  std::string read;
  for (;;) {
    Result result;
    if (!Receive(data_, 65536, &read, true, &result)) {
      return server_->stopped_ ? false : Fail("time is over before the close of the data connection");
    }
    if (result == Result::Reset) return Fail("the client reset the data connection");
    if (result != Result::Data) return true;
  }
}

bool ScriptSession::DataStall() {
  std::string read;
  Result result = Result::Data;
  while (result == Result::Data) {
    if (!Receive(data_, 65536, &read, true, &result)) return true;
  }
  return true;
}

bool ScriptSession::DataClose() {
  data_.Close();
  return true;
}

bool ScriptSession::DataReset() {
  data_.Reset();
  return true;
}

std::string ScriptSession::Fill(std::string text) const {
  if (passive_ == nullptr) return text;
  const unsigned port = passive_->port();
  ReplaceAll(&text, "{pasv}", "127,0,0,1," + std::to_string(port >> 8) + "," + std::to_string(port & 255));
  ReplaceAll(&text, "{port}", std::to_string(port));
  return text;
}

namespace script {

ScriptStep Expect(std::string bytes) {
  return [bytes = std::move(bytes)](ScriptSession& session) { return session.Expect(bytes); };
}
ScriptStep ExpectLine(std::string line) {
  return Expect(line + "\r\n");
}
ScriptStep ReadUntil(std::string end) {
  return [end = std::move(end)](ScriptSession& session) {
    std::string read;
    return session.ReadUntil(end, &read);
  };
}
ScriptStep ReadCount(size_t count) {
  return [count](ScriptSession& session) { return session.ReadCount(count); };
}
ScriptStep ReadToEnd() {
  return [](ScriptSession& session) { return session.ReadToEnd(); };
}
ScriptStep ExpectEnd() {
  return [](ScriptSession& session) {
    std::string read;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    Result result = Result::Timeout;
    while (result == Result::Timeout && std::chrono::steady_clock::now() < end) {
      result = session.control().ReceiveSome(&read, 1000, kSliceMilliseconds);
    }
    if (result == Result::Closed || result == Result::Reset) return true;
    return session.Fail("expected the client's end, got " + Quote(read));
  };
}
ScriptStep Send(std::string bytes) {
  return [bytes = std::move(bytes)](ScriptSession& session) { return session.Send(bytes); };
}
ScriptStep SendLine(std::string line) {
  return Send(line + "\r\n");
}
ScriptStep SendSlowly(std::string bytes, int millisecondsBetween) {
  return [=](ScriptSession& session) { return session.SendSlowly(bytes, millisecondsBetween); };
}
ScriptStep Wait(int milliseconds) {
  return [milliseconds](ScriptSession& session) { return session.Wait(milliseconds); };
}
ScriptStep Stall() {
  return [](ScriptSession& session) { return session.Stall(); };
}
ScriptStep Finish() {
  return [](ScriptSession& session) { return session.Finish(); };
}
ScriptStep Close() {
  return [](ScriptSession& session) { return session.Close(); };
}
ScriptStep Reset() {
  return [](ScriptSession& session) { return session.Reset(); };
}
ScriptStep OpenPassive() {
  return [](ScriptSession& session) { return session.OpenPassive(); };
}
ScriptStep ClosePassive() {
  return [](ScriptSession& session) { return session.ClosePassive(); };
}
ScriptStep ExpectPort() {
  return [](ScriptSession& session) { return session.ExpectPort(); };
}
ScriptStep DataAccept() {
  return [](ScriptSession& session) { return session.DataAccept(); };
}
ScriptStep DataConnect() {
  return [](ScriptSession& session) { return session.DataConnect(); };
}
ScriptStep DataSend(std::string bytes) {
  return [bytes = std::move(bytes)](ScriptSession& session) { return session.DataSend(bytes); };
}
ScriptStep DataReadToEnd() {
  return [](ScriptSession& session) { return session.DataReadToEnd(); };
}
ScriptStep DataStall() {
  return [](ScriptSession& session) { return session.DataStall(); };
}
ScriptStep DataClose() {
  return [](ScriptSession& session) { return session.DataClose(); };
}
ScriptStep DataReset() {
  return [](ScriptSession& session) { return session.DataReset(); };
}
ScriptStep Do(std::function<void(ScriptSession&)> action) {
  return [action = std::move(action)](ScriptSession& session) {
    action(session);
    return true;
  };
}

}  // namespace script

ScriptedServer::ScriptedServer(std::vector<Script> scripts, int limitMilliseconds)
    : scripts_(std::move(scripts)),
      end_(std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMilliseconds)),
      port_(listener_.port()) {
  acceptor_ = std::thread([this] { AcceptConnections(); });
}

ScriptedServer::~ScriptedServer() {
  Finish();
}

std::string ScriptedServer::address() const {
  return "127.0.0.1:" + std::to_string(port_);
}

bool ScriptedServer::IsOver() const {
  return stopped_ || std::chrono::steady_clock::now() >= end_;
}

void ScriptedServer::AcceptConnections() {
  while (!IsOver()) {
    loopback::Connection connection = listener_.Accept(kSliceMilliseconds);
    if (!connection.IsOpen()) continue;
    const std::lock_guard lock(mutex_);
    const size_t number = connections_++;
    if (number >= scripts_.size() && !(repeatLast_ && !scripts_.empty())) {
      failures_.push_back("connection " + std::to_string(number) + " has no script");
      continue;
    }
    players_.emplace_back(
        [this, number, held = std::make_shared<loopback::Connection>(std::move(connection))] {
          Play(number, std::move(*held));
        });
  }
}

void ScriptedServer::Play(size_t number, loopback::Connection connection) {
  const Script& script = scripts_[number < scripts_.size() ? number : scripts_.size() - 1];
  ScriptSession session(this, number, std::move(connection));
  bool goesOn = true;
  size_t step = 0;
  while (goesOn && step < script.size()) goesOn = script[step++](session);
  if (!goesOn && !stopped_ && !allowUnfinished_) {
    AddFailure("connection " + std::to_string(number) + ": the script ended at step " + std::to_string(step) +
               " of " + std::to_string(script.size()));
  }
  ++played_;
}

void ScriptedServer::Record(size_t connection, bool isData, const std::string& bytes) {
  const std::lock_guard lock(mutex_);
  (isData ? dataReceived_ : received_)[connection] += bytes;
}

void ScriptedServer::AddFailure(const std::string& what) {
  const std::lock_guard lock(mutex_);
  failures_.push_back(what);
}

// Without scripts left to play, the connections that came are all there will be.
void ScriptedServer::Finish() {
  while (!IsOver() && !allowUnfinished_ && played_ < scripts_.size()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  if (!stopped_ && !allowUnfinished_ && played_ < scripts_.size()) {
    AddFailure("only " + std::to_string(played_) + " of " + std::to_string(scripts_.size()) +
               " scripts were played in time");
  }
  Stop();
}

void ScriptedServer::Stop() {
  stopped_ = true;
  Join();
  Report();
}

void ScriptedServer::Join() {
  if (acceptor_.joinable()) acceptor_.join();
  for (std::thread& player : players_) {
    if (player.joinable()) player.join();
  }
  listener_.Close();
}

void ScriptedServer::Report() {
  if (std::exchange(reported_, true)) return;
  for (const std::string& failure : failures_) ADD_FAILURE() << "scripted server: " << failure;
}

std::string ScriptedServer::Received(size_t connection) const {
  const std::lock_guard lock(mutex_);
  const auto found = received_.find(connection);
  return found != received_.end() ? found->second : std::string();
}

std::string ScriptedServer::DataReceived(size_t connection) const {
  const std::lock_guard lock(mutex_);
  const auto found = dataReceived_.find(connection);
  return found != dataReceived_.end() ? found->second : std::string();
}

size_t ScriptedServer::Connections() const {
  const std::lock_guard lock(mutex_);
  return connections_;
}
