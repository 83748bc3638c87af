// Runs of a synchroniser between two folders or servers, with a cache folder of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "net/sock_testing.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/proxy.h"
#include "qz/synchro.h"
#include "tests/support/os_session.h"
#include "tests/support/scripted_ftp.h"
#include "tests/support/temp_dir.h"

namespace synchro {

using Lines = std::vector<std::string>;

// The flags of a mode that goes through subdirectories.
inline constexpr uint32_t kRecurse = SynchroFlag_Recurse;
inline constexpr uint32_t kMirror = kRecurse | SynchroFlag_ToDestination;
inline constexpr uint32_t kDelete = kMirror | SynchroFlag_DeleteAtDestination;
inline constexpr uint32_t kTwoWay = kMirror | SynchroFlag_ToSource;

// A path in the library's form as the system takes it.
inline std::filesystem::path SystemPath(const std::string& name) {
  if (name.size() < 3 || name[0] != '/' || name[2] != '|') return name;
  return std::string(1, name[1]) + ":" + name.substr(3);
}

inline std::string ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void WriteAll(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

inline void ReplaceAll(std::string* text, const std::string& what, const std::string& with) {
  for (size_t at = text->find(what); at != std::string::npos; at = text->find(what, at + with.size()))
    text->replace(at, what.size(), with);
}

// Text files have the system's line ends.
inline std::string WithoutReturns(std::string text) {
  ReplaceAll(&text, "\r\n", "\n");
  return text;
}

// What a run came to.
struct Outcome {
  ErrorCode go = -1;
  int32_t state = -1;
  std::string counters;  // the five numbers
  Lines lines;
};

class Test : public testing::Test {
 protected:
  void SetUp() override {
    const std::string log = places_.Folder().Name("session.log");
    ASSERT_EQ(OS_Init(places_.ApplicationName().c_str(), OSInitCode_LogPath, log.c_str(), OSInitCode_End),
              Error_None);
    Proxy_SetEnabled(0);
    char folder[1024];
    ASSERT_EQ(File_GetSysDir(SysDir_Cache, folder), Error_None);
    cache_ = folder;
    root_.MakeDirectory("src");
    root_.MakeDirectory("dst");
    Call(root_.Name("src"), "SRC");
    Call(root_.Name("dst"), "DST");
  }
  void TearDown() override {
    iSock_SetWaitMilliseconds(0);
    OS_Exit(0);
    for (const auto& entry : std::filesystem::directory_iterator(SystemPath(cache_)))
      std::filesystem::remove_all(entry.path());
  }

  // ---- what runs ---------------------------------------------------------------------------------

  std::string FileURL(const std::string& name) const { return "file://" + root_.Name(name); }
  static std::string FTPURL(const ScriptedServer& server, const std::string& path = "/pub") {
    return "ftp://u:p@" + server.address() + path;
  }

  // Another name for a text that differs from run to run.
  void Call(const std::string& text, const std::string& name) {
    std::string escaped = text;
    ReplaceAll(&escaped, "|", "%7C");
    names_.emplace_back(text, name);
    if (escaped != text) names_.emplace_back(escaped, name);
  }

  Synchro* New(uint32_t flags, const std::string& source, const std::string& destination) {
    Synchro* synchro = nullptr;
    EXPECT_EQ(Synchro_New("t", flags, source.c_str(), destination.c_str(), &synchro), Error_None);
    EXPECT_NE(synchro, nullptr);
    if (synchro == nullptr) return nullptr;
    lines_.clear();
    EXPECT_EQ(Synchro_SetStatusMethod(synchro, reinterpret_cast<Word>(this), TakeLine), synchro);
    return synchro;
  }

  static void Wait(Synchro* synchro) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (Synchro_Status(synchro, nullptr) == SynchroState_Running) {
      ASSERT_LT(std::chrono::steady_clock::now(), end) << "the run does not end";
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  Outcome Go(Synchro* synchro) {
    Outcome outcome;
    outcome.go = Synchro_Go(synchro);
    Wait(synchro);
    uint32_t counters[SynchroCounter_Count];
    outcome.state = Synchro_Status(synchro, counters);
    for (const uint32_t counter : counters)
      outcome.counters += std::to_string(static_cast<int32_t>(counter)) + " ";
    outcome.counters.pop_back();
    const std::lock_guard<std::mutex> lock(mutex_);
    outcome.lines = lines_;
    return outcome;
  }

  Lines AllLines() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }

  // A whole life. Deleting waits until the run is over and its tables are saved. prepare: sets what is to be
  // set before the run.
  Outcome Run(uint32_t flags, const std::string& source, const std::string& destination,
              const std::function<void(Synchro*)>& prepare = nullptr) {
    Synchro* const synchro = New(flags, source, destination);
    if (synchro == nullptr) return {};
    if (prepare) prepare(synchro);
    Outcome outcome = Go(synchro);
    Synchro_Delete(synchro);
    outcome.lines = AllLines();
    return outcome;
  }
  Outcome RunLocal(uint32_t flags) { return Run(flags, FileURL("src"), FileURL("dst")); }

  Outcome RunGuarded(uint32_t flags, const std::string& source, const std::string& destination,
                     const std::function<void(Synchro*)>& prepare = nullptr) {
    return Run(flags, source, destination, [&](Synchro* synchro) {
      EXPECT_EQ(Synchro_SetGuarded(synchro, 1), Error_None);
      if (prepare) prepare(synchro);
    });
  }
  Outcome RunLocalGuarded(uint32_t flags, const std::function<void(Synchro*)>& prepare = nullptr) {
    return RunGuarded(flags, FileURL("src"), FileURL("dst"), prepare);
  }

  // The lines that tell what became of files.
  static Lines FileLines(const Outcome& outcome) {
    Lines found;
    for (const std::string& line : outcome.lines) {
      if (line.find(" -> ") != std::string::npos) found.push_back(line);
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  // ---- both trees --------------------------------------------------------------------------------

  // A file with its text, last modified at a second.
  void Put(const std::string& name, const std::string& text, int64_t seconds = 1000000000) {
    std::filesystem::create_directories(root_.SystemName(name).parent_path());
    root_.Write(name, text);
    root_.SetModified(name, seconds);
  }
  void Remove(const std::string& name) { std::filesystem::remove_all(root_.SystemName(name)); }
  void EmptyTrees() {
    for (const char* const side : {"src", "dst"}) {
      Remove(side);
      root_.MakeDirectory(side);
    }
  }

  // The texts of a side's files, by their paths.
  std::map<std::string, std::string> FilesOf(const std::string& side) const {
    std::map<std::string, std::string> found;
    const std::filesystem::path root = root_.SystemName(side);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
      if (entry.is_regular_file())
        found[std::filesystem::relative(entry.path(), root).generic_string()] = ReadAll(entry.path());
    }
    return found;
  }

  // "a.txt=text sub/ sub/b.txt=text", sorted.
  std::string Tree(const std::string& name) const {
    std::map<std::string, std::string> found;
    const std::filesystem::path root = root_.SystemName(name);
    if (!std::filesystem::exists(root)) return "missing";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
      const std::string below = std::filesystem::relative(entry.path(), root).generic_string();
      found[below] = entry.is_directory() ? "/" : "=" + ReadAll(entry.path());
    }
    std::string text;
    for (const auto& [below, rest] : found) text += (text.empty() ? "" : " ") + below + rest;
    return text;
  }

  // ---- what is remembered ------------------------------------------------------------------------

  std::filesystem::path CachePath(const std::string& name = "") const {
    return name.empty() ? SystemPath(cache_) : SystemPath(cache_ + "/" + name);
  }
  Lines CacheNames() const {
    Lines found;
    for (const auto& entry : std::filesystem::directory_iterator(CachePath()))
      found.push_back(entry.path().filename().string());
    std::sort(found.begin(), found.end());
    return found;
  }
  void ForgetTables() const {
    for (const std::string& name : CacheNames()) std::filesystem::remove_all(CachePath(name));
  }
  // The name of a directory's table, as the index has it; "" for none.
  std::string TableName(const std::string& directory) const {
    const std::string index = WithoutReturns(ReadAll(CachePath("t.sync")));
    for (size_t at = 0; at < index.size(); at = index.find('\n', at) + 1) {
      const std::string line = index.substr(at, index.find('\n', at) - at);
      std::string key = line.substr(0, line.find(':'));
      while (key.ends_with(' ')) key.pop_back();
      if (key == directory) return line.substr(line.find(':') + 1);
    }
    return "";
  }
  // The lines of a directory's table.
  std::string Table(const std::string& directory) const {
    const std::string name = TableName(directory);
    return name.empty() ? "no table" : WithoutReturns(ReadAll(CachePath(name)));
  }
  // A table of the root as a run would have left it.
  void WriteTable(const std::string& text, const std::string& name = "syncentry1") const {
    WriteAll(CachePath("t.sync"), "/:" + name + "\n");
    WriteAll(CachePath(name), text);
  }

  // A change that comes between the listing and the action.
  void WhenListed(const std::function<void()>& change) {
    onLine_ = [change](const std::string& line) {
      if (line == "Updating tables...") change();
    };
  }

  std::string cache_;
  TempDir root_;
  // Called for each status line, on the run's thread, behind its being kept.
  std::function<void(const std::string&)> onLine_;

 private:
  static void TakeLine(Word value, const char* text) {
    auto* const test = reinterpret_cast<Test*>(value);
    std::string line = text;
    for (const auto& [what, with] : test->names_) ReplaceAll(&line, what, with);
    {
      const std::lock_guard<std::mutex> lock(test->mutex_);
      test->lines_.push_back(line);
    }
    if (test->onLine_) test->onLine_(line);
  }

  OSPlaces places_{"qzsync" + std::to_string(ProgramNumber())};
  std::vector<std::pair<std::string, std::string>> names_;
  std::mutex mutex_;
  Lines lines_;
};

}  // namespace synchro
