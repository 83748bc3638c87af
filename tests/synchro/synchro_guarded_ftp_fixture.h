// Guarded runs with FTP servers of folders on the disk, on one side or both.
#pragma once

#include <functional>
#include <string>

#include "synchro/synchro_upload_testing.h"
#include "tests/support/ftp_tree.h"
#include "tests/synchro/synchro_fixture.h"

namespace synchro {

// "src" and "dst" are folders of the disk; a side that is a server serves its folder.
class GuardedFTPTest : public Test {
 protected:
  GuardedFTPTest() { iSynchro_SetNextTemporaryNumber(1); }

  std::string URLOf(FTPTree* server, const std::string& folder) {
    return server != nullptr ? server->URL() : FileURL(folder);
  }
  // A server is told by its folder; null for a local side.
  Outcome Guarded(uint32_t flags, FTPTree* source, FTPTree* destination) {
    const Outcome outcome =
        RunGuarded(flags, URLOf(source, "src"), URLOf(destination, "dst"), [this](Synchro* synchro) {
          if (settles_) Synchro_SetEntryMethod(synchro, 0, SettleConflict);
        });
    for (FTPTree* const server : {source, destination}) {
      if (server != nullptr) server->AwaitEnd();
    }
    return outcome;
  }
  static int32_t SettleConflict(Word, const SynchroEntryInfo* info) {
    return info->reason == SynchroReason_Conflict ? SynchroAnswer_CopyToDestination : SynchroAnswer_Proceed;
  }
  Outcome Upload(uint32_t flags, FTPTree* server) { return Guarded(flags, nullptr, server); }
  Outcome Download(uint32_t flags, FTPTree* server) { return Guarded(flags, server, nullptr); }

  // Both trees empty, and nothing known.
  void Clear() {
    onLine_ = nullptr;
    EmptyTrees();
    ForgetTables();
  }
  // Runs with a server at the source, at the destination, and at both.
  void WithEachSide(const std::function<void(FTPTree*, FTPTree*)>& test) {
    for (const bool hasFacts : {true, false}) {
      for (const int servers : {1, 2, 3}) {
        SCOPED_TRACE(testing::Message() << "MLSD " << hasFacts << ", servers " << servers);
        Clear();
        FTPTree source(Folder("src"));
        FTPTree destination(Folder("dst"));
        source.settings.hasFacts = destination.settings.hasFacts = hasFacts;
        test((servers & 1) != 0 ? &source : nullptr, (servers & 2) != 0 ? &destination : nullptr);
        if (HasFailure()) return;
      }
    }
  }

  bool settles_ = false;  // conflicts, by the source's files

  std::filesystem::path Folder(const std::string& name) { return root_.SystemName(name); }
};

}  // namespace synchro
