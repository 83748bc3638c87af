// A TCP server on 127.0.0.1 that plays one script a connection and keeps every byte the client sent.
//
//   using namespace script;
//   ScriptedServer server({{SendLine("220 ready"), ExpectLine("USER a"), SendLine("331 ?"), Close()}});
//   ... the client connects to server.port() ...
//   server.Finish();                        // waits for the scripts; what went wrong fails the test
//   EXPECT_EQ(server.Received(0), "USER a\r\n");
//
// The n-th connection (from 0) plays the n-th script on a thread of its own. A connection without a script, a
// script that did not play to its end and an unexpected byte are failures of the test, told by Finish or, at
// the latest, by the destructor. Nothing here waits beyond the time limit of the whole server.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/loopback.h"

class ScriptedServer;

// One connection while its script plays. A step calls these; each gives false when the script cannot
// continue.
class ScriptSession {
 public:
  ScriptSession(ScriptedServer* server, size_t number, loopback::Connection control);

  // The control connection.
  bool Expect(const std::string& bytes);
  bool ReadUntil(const std::string& end, std::string* read);
  bool ReadCount(size_t count);
  bool ReadToEnd();
  bool Send(const std::string& bytes);  // "{pasv}" and "{port}": the passive data port, see OpenPassive
  bool SendSlowly(const std::string& bytes, int millisecondsBetween);
  bool Wait(int milliseconds);
  bool Stall();
  bool Finish();
  bool Close();
  bool Reset();

  // Data connections, one at a time.
  bool OpenPassive();
  bool ClosePassive();
  bool ExpectPort();
  bool DataAccept();
  bool DataConnect();
  bool DataSend(const std::string& bytes);
  bool DataReadToEnd();
  bool DataStall();
  bool DataClose();
  bool DataReset();

  // Ends the script with a failure of the test.
  bool Fail(const std::string& what);
  size_t number() const { return number_; }
  loopback::Connection& control() { return control_; }
  loopback::Connection& data() { return data_; }

 private:
  bool Receive(loopback::Connection& from, size_t most, std::string* bytes, bool isData,
               loopback::Result* result);
  std::string Fill(std::string text) const;

  ScriptedServer* server_;
  size_t number_;
  loopback::Connection control_;
  loopback::Connection data_;
  std::unique_ptr<loopback::Listener> passive_;
  uint16_t activePort_ = 0;
};

using ScriptStep = std::function<bool(ScriptSession&)>;
using Script = std::vector<ScriptStep>;

namespace script {

// What the client must send next, byte for byte.
ScriptStep Expect(std::string bytes);
// The same with CR LF behind it.
ScriptStep ExpectLine(std::string line);
// Takes whatever comes, up to and including `end`; the request head of HTTP is ReadUntil("\r\n\r\n").
ScriptStep ReadUntil(std::string end);
ScriptStep ReadCount(size_t count);
// Takes everything up to the client's close or reset.
ScriptStep ReadToEnd();
// The client must end without sending another byte.
ScriptStep ExpectEnd();

// Sends. In all texts "{pasv}" stands for the passive port as "127,0,0,1,p1,p2" and "{port}" for its number.
ScriptStep Send(std::string bytes);
ScriptStep SendLine(std::string line);
// One byte, a pause, one byte ...
ScriptStep SendSlowly(std::string bytes, int millisecondsBetween);

ScriptStep Wait(int milliseconds);
// Says nothing until the client goes away or the server ends; neither is a failure.
ScriptStep Stall();
// Ends the sending direction by FIN; the script may continue to read.
ScriptStep Finish();
// Ends the connection by FIN or by a reset.
ScriptStep Close();
ScriptStep Reset();

// Listens for a passive data connection at a free port; an earlier one is closed.
ScriptStep OpenPassive();
ScriptStep ClosePassive();
// Takes a "PORT h1,h2,h3,h4,p1,p2" line, for DataConnect. The address must be 127.0.0.1.
ScriptStep ExpectPort();
ScriptStep DataAccept();
ScriptStep DataConnect();
ScriptStep DataSend(std::string bytes);
// Takes everything up to the client's close of the data connection; see DataReceived.
ScriptStep DataReadToEnd();
ScriptStep DataStall();
ScriptStep DataClose();
ScriptStep DataReset();

// Anything else.
ScriptStep Do(std::function<void(ScriptSession&)> action);

}  // namespace script

class ScriptedServer {
 public:
  explicit ScriptedServer(std::vector<Script> scripts, int limitMilliseconds = 20000);
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  uint16_t port() const { return port_; }
  // "127.0.0.1:port"
  std::string address() const;

  // Connections beyond the scripts play the last one again.
  void RepeatLast() { repeatLast_ = true; }
  // Scripts that no connection played, or not to the end, are no failures. Unexpected bytes still are.
  void AllowUnfinished() { allowUnfinished_ = true; }

  // Waits until every script has been played, ends the server and tells what went wrong.
  void Finish();
  // Ends now: scripts that wait are given up, which is no failure.
  void Stop();

  // What the n-th connection's client sent so far, over the control connection and over all data connections.
  std::string Received(size_t connection) const;
  std::string DataReceived(size_t connection) const;
  size_t Connections() const;

 private:
  friend class ScriptSession;
  void AcceptConnections();
  void Play(size_t number, loopback::Connection connection);
  void Record(size_t connection, bool isData, const std::string& bytes);
  void AddFailure(const std::string& what);
  bool IsOver() const;
  void Join();
  void Report();

  const std::vector<Script> scripts_;
  const std::chrono::steady_clock::time_point end_;
  loopback::Listener listener_;
  uint16_t port_;
  std::atomic<bool> repeatLast_{false};
  std::atomic<bool> allowUnfinished_{false};
  std::atomic<bool> stopped_{false};
  std::atomic<size_t> played_{0};
  mutable std::mutex mutex_;
  std::map<size_t, std::string> received_;
  std::map<size_t, std::string> dataReceived_;
  std::vector<std::string> failures_;
  std::vector<std::thread> players_;
  size_t connections_ = 0;
  bool reported_ = false;
  std::thread acceptor_;
};
