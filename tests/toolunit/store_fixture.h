// An empty folder of saved transfers, and other programs that work in it.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "qz/process.h"
#include "tests/support/environment.h"
#include "tests/support/temp_dir.h"
#include "tool/store.h"

// The transfers of a program, as it keeps them.
class StoreTest : public testing::Test {
 protected:
  StoreTest() : variable_("QZ_TRANSFERS", folder_.SystemName("transfers").string().c_str()) {}

  std::string Read(const std::string& name) const { return folder_.Read("transfers/" + name); }
  void Write(const std::string& name, const std::string& bytes) const {
    folder_.Write("transfers/" + name, bytes);
  }
  bool Exists(const std::string& name) const { return folder_.Exists("transfers/" + name); }
  // The names in the folder but the lock, the next number, and the folder of files.
  std::vector<std::string> Names() const {
    std::vector<std::string> names = folder_.List("transfers");
    std::erase_if(
        names, [](const std::string& name) { return name == "lock" || name == "next" || name == "files"; });
    return names;
  }
  void Remove(const std::string& name) const {
    std::filesystem::remove_all(folder_.SystemName("transfers/" + name));
  }
  void MakeDirectory(const std::string& name) const { folder_.MakeDirectory("transfers/" + name); }

  TempDir folder_;

 private:
  ScopedVariable variable_;
};

inline tool::SavedTransfer Download(unsigned number, const std::string& url, const std::string& path) {
  tool::SavedTransfer transfer;
  transfer.number = number;
  transfer.url = url;
  transfer.localPath = path;
  return transfer;
}

// Creates a transfer and saves it; gives its number, 0 when there was one already.
inline unsigned Save(tool::Store* store, const std::string& url, const std::string& path,
                     const std::string& record = "a record") {
  std::optional<tool::SavedTransfer> found;
  const auto claim = store->Create(false, url, path, &found);
  if (!claim) return 0;
  store->Save(Download(claim->Number(), url, path), record);
  return claim->Number();
}

// A second program (store_user.cpp).
class StoreUser {
 public:
  explicit StoreUser(const std::string& action) {
    const std::filesystem::path program =
        ProgramPath().replace_filename("store_user" + ProgramPath().extension().string());
    const std::string command =
        '"' + program.string() + "\" \"" + file_.SystemName("said").string() + "\" " + action;
    EXPECT_EQ(Process_Launch(nullptr, command.c_str(), nullptr, &process_), 0);
  }
  ~StoreUser() {
    End("die");
    Process_Detach(process_);
  }
  StoreUser(const StoreUser&) = delete;
  StoreUser& operator=(const StoreUser&) = delete;

  // What it says once it has done its work.
  std::string Says() const {
    Wait([&] { return file_.Exists("said"); });
    std::string line = file_.Exists("said") ? file_.Read("said") : "nothing";
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    return line;
  }
  bool HasSaid() const { return file_.Exists("said"); }
  void Leave() { End("leave"); }
  // Ends without letting go of anything.
  void Die() { End("die"); }

 private:
  template <typename Condition>
  static void Wait(Condition condition) {
    for (int i = 0; i < 3000 && !condition(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  void End(const char* how) {
    file_.Write(std::string("said.") + how, "");
    Wait([&] { return Process_IsActive(process_) == 0; });
    EXPECT_EQ(Process_IsActive(process_), 0);
  }

  TempDir file_;
  Process* process_ = nullptr;
};
