// A TCP proxy on 127.0.0.1 before a real server, which spoils connections on request.
//
//   FaultProxy proxy(serverPort);
//   proxy.OnConnection(0, FaultProxy::ToClient, Fault::CutByReset(100));   // after the 100th byte
//   proxy.OnEvery(FaultProxy::ToClient, Fault::Slow(1, 5));                // one byte each 5 ms
//   ... the client connects to proxy.port() ...
//
// Connections are numbered from 0 in the order they come. A fault for one number goes before the one for
// every connection. With FollowPassiveReplies the proxy reads the server's "227" replies and puts itself
// between the data connections too; those are numbered on their own, from 0.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/loopback.h"

struct Fault {
  enum class Kind { None, CutByFin, CutByReset, Stall };
  Kind kind = Kind::None;
  uint64_t afterBytes = 0;    // the fault strikes when so many bytes have passed in its direction
  size_t pieceBytes = 0;      // passes at most so many at once; 0: as they come
  int pauseMilliseconds = 0;  // after each piece

  // Both sides of the connection are ended; nothing beyond the n-th byte passes.
  static Fault CutByFin(uint64_t afterBytes) { return {Kind::CutByFin, afterBytes, 0, 0}; }
  static Fault CutByReset(uint64_t afterBytes) { return {Kind::CutByReset, afterBytes, 0, 0}; }
  // Nothing passes any more in either direction; the connection stays open.
  static Fault Stall(uint64_t afterBytes) { return {Kind::Stall, afterBytes, 0, 0}; }
  static Fault OneByteAtATime() { return {Kind::None, 0, 1, 0}; }
  static Fault Slow(size_t pieceBytes, int pauseMilliseconds) {
    return {Kind::None, 0, pieceBytes, pauseMilliseconds};
  }
};

class FaultProxy {
 public:
  enum Direction { ToClient = 0, ToServer = 1 };

  explicit FaultProxy(uint16_t serverPort);
  ~FaultProxy();
  FaultProxy(const FaultProxy&) = delete;
  FaultProxy& operator=(const FaultProxy&) = delete;

  uint16_t port() const { return port_; }

  void OnConnection(size_t number, Direction direction, Fault fault);
  void OnEvery(Direction direction, Fault fault);

  void FollowPassiveReplies() { followPassive_ = true; }
  void OnDataConnection(size_t number, Direction direction, Fault fault);
  void OnEveryDataConnection(Direction direction, Fault fault);

  size_t Connections() const;
  size_t DataConnections() const;
  // Bytes passed on over one connection, up to its cut.
  uint64_t Passed(size_t number, Direction direction) const;
  uint64_t DataPassed(size_t number, Direction direction) const;

  // Ends all connections and the proxy.
  void Stop();

 private:
  // The faults and the counters of the control connections, or of the data connections.
  struct Family {
    std::map<size_t, Fault> single[2];
    Fault every[2];
    std::vector<uint64_t> passed[2];
  };
  struct Pair;

  void Accept(loopback::Listener* listener, uint16_t serverPort, bool isData, bool onlyOne);
  void Pump(std::shared_ptr<Pair> pair, Direction direction);
  bool PassOn(Pair* pair, Direction direction, const std::string& bytes, uint64_t* passed);
  void Strike(Pair* pair, Fault::Kind kind);
  std::string RewritePassiveReplies(Pair* pair, const std::string& bytes);
  uint16_t OpenDataPort(uint16_t serverPort);
  void StartThread(std::thread thread);
  bool Pause(int milliseconds) const;

  Family& FamilyOf(bool isData) { return isData ? data_ : control_; }
  void Set(bool isData, size_t number, Direction direction, Fault fault);

  uint16_t serverPort_;
  loopback::Listener listener_;
  uint16_t port_;
  std::atomic<bool> stopped_{false};
  std::atomic<bool> followPassive_{false};
  mutable std::mutex mutex_;
  Family control_;
  Family data_;
  std::vector<std::thread> threads_;
};
