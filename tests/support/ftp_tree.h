// An FTP server of a folder on the disk, for whoever lists, retrieves, stores, renames and deletes in it.
//
//   FTPTree server(root_.SystemName("ftp"));
//   server.settings.hasFacts = false;               // LIST only
//   ... clients use server.URL("/pub"), which is that folder ...
//   server.TakeCommands();                          // what they have sent
//
// Each connection has a thread. What clients are to suffer is told by `settings`, before they connect or from
// `onCommand`.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/loopback.h"

class FTPTree {
 public:
  enum class Listing {
    Whole,
    Empty,       // no line at all
    Cut,         // within the last line, and the reply says that all was sent
    CutAndTold,  // the same, and the reply says so
    Refused,     // 550
    Ended,       // the control connection ends in the middle
    Strange,     // a line that means nothing behind the others
  };

  struct Settings {
    bool hasFacts = true;
    bool hasSizes = true;
    bool hasTimes = true;
    bool replacesByRename = true;
    bool showsDaysOnly = false;
    bool hidesDotFiles = false;     // from LIST
    int64_t clockAheadSeconds = 0;  // of what listings and MDTM show
    Listing listing = Listing::Whole;
    std::string listingText;             // in place of every listing of that folder; empty: none
    std::string strangeFolder;           // only this folder suffers; empty: every one
    uint64_t storesAtMost = UINT64_MAX;  // then the upload is cut, and told so
    // Commands that are answered so and not carried out; an empty reply ends the connection.
    std::map<std::string, std::string> replies;
  };

  explicit FTPTree(std::filesystem::path folder);
  ~FTPTree();
  FTPTree(const FTPTree&) = delete;
  FTPTree& operator=(const FTPTree&) = delete;

  uint16_t port() const { return listener_.port(); }
  // "ftp://u:p@127.0.0.1:port/pub"
  std::string URL(const std::string& path = "/pub") const;

  // The commands so far, but for USER, PASS, TYPE, PASV and QUIT; the list is empty then.
  std::vector<std::string> TakeCommands();
  // Waits for the end of all sessions; their clients must be gone.
  void AwaitEnd();

  Settings settings;
  // An upload stands still behind its first bytes as long as `hangs` is set.
  std::atomic<bool> hangs{false};
  std::atomic<bool> isHanging{false};
  // Called before each of these commands is answered, on the thread of its connection.
  std::function<void(const std::string& command)> onCommand;

 private:
  struct Session;

  void Run();
  void Play(loopback::Connection control);
  bool Answer(Session* session, const std::string& command, const std::string& argument);
  std::filesystem::path At(const Session& session, const std::string& path) const;
  bool Transfer(Session* session, const std::function<bool(loopback::Connection*)>& move);
  bool List(Session* session, const std::string& command, const std::string& argument);
  bool SendList(Session* session, loopback::Connection* data, const std::string& text);
  void Hang();
  bool Store(Session* session, const std::filesystem::path& path);
  bool Rename(Session* session, const std::string& argument);
  std::string FactsOf(const std::filesystem::path& path, const std::string& name) const;
  std::string LongLineOf(const std::filesystem::path& path, const std::string& name) const;
  std::string StampOf(const std::filesystem::path& path) const;
  int64_t SecondsOf(const std::filesystem::path& path) const;
  bool Suffers(const std::filesystem::path& folder) const;

  const std::filesystem::path folder_;
  loopback::Listener listener_;
  std::mutex mutex_;
  std::vector<std::string> commands_;
  std::vector<std::thread> sessions_;
  std::atomic<int> open_{0};
  std::atomic<bool> stops_{false};
  std::thread thread_;
};
