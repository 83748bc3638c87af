// A whole server of one file over FTP and HTTP, whose first session is cut wherever a test wants it.
//
//   FileServer server(FileServer::Protocol::FTP);
//   server.SetBytes("...");
//   server.CutAfter(100, Cut::Reset);     // the next session, behind its 100th byte
//   ... transfers from server.URL("f.bin"), again and again until they have the file ...
//   server.IsCut();
//
// The bytes of a session are counted over its control and data connections, in both directions, in the order
// in which they pass. Sessions are played one after the other, on one thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "tests/support/loopback.h"

enum class Cut {
  Fin,     // the connection of that byte ends; the server goes on over the other one
  Reset,   // all connections of the session are reset, as by a machine that was started again
  Silence  // nothing passes any more, and all connections stay open until the client ends them
};

class FileServer {
 public:
  enum class Protocol { FTP, HTTP };

  explicit FileServer(Protocol protocol);
  ~FileServer();
  FileServer(const FileServer&) = delete;
  FileServer& operator=(const FileServer&) = delete;

  // "ftp://u:p@127.0.0.1:port/pub/name"; HTTP without the user.
  std::string URL(const std::string& name) const;

  void SetBytes(std::string bytes);
  std::string Bytes() const;

  // What the next session is to suffer. Sets the counters back. Waits for the end of the session under way,
  // whose client must be gone.
  void CutAfter(uint64_t bytes, Cut how);
  void CutNothing() { CutAfter(UINT64_MAX, Cut::Fin); }
  bool IsCut() const { return isCut_; }

  // Of the sessions since then: their number; the bytes of the last one; the bytes of the file that were
  // sent.
  // They wait for the end of the session under way.
  uint32_t Sessions() const;
  uint64_t SessionBytes() const;
  uint64_t FileBytesSent() const;

 private:
  using Connection = loopback::Connection;

  void Run();
  void Play(Connection control);
  void CountSession();
  void Strike(Connection* connection);

  bool Send(Connection* connection, std::string_view bytes);
  bool SendFile(Connection* connection, size_t offset);
  loopback::Result Receive(Connection* connection, std::string* bytes);
  bool ReadTo(std::string_view end, std::string* text);
  void AwaitEnd();

  void PlayHTTP();
  void PlayFTP();
  bool Answer(const std::string& command, const std::string& argument);
  bool Say(const std::string& line) { return Send(&control_, line + "\r\n"); }
  bool TellSize();
  bool TellPassivePort();
  bool Transfer(bool sends);
  std::string Take(size_t offset);

  const Protocol protocol_;
  loopback::Listener listener_;
  loopback::Listener passive_;
  Connection control_;
  Connection data_;
  size_t offset_ = 0;  // of REST

  mutable std::mutex session_;  // held while one is played
  mutable std::mutex mutex_;
  std::string bytes_;
  uint64_t left_ = UINT64_MAX;  // until the cut
  Cut cut_ = Cut::Fin;
  bool mayCut_ = false;  // the session under way is the one
  bool isSilent_ = false;
  uint32_t sessions_ = 0;
  uint64_t sessionBytes_ = 0;
  uint64_t fileBytesSent_ = 0;

  std::atomic<bool> isCut_{false};
  std::atomic<bool> stops_{false};
  std::thread thread_;
};
