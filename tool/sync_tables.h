// The folder in which synchronisations remember what both sides had. Of each name it has
//
//   NAME.sync, syncentryN, syncentryN.done, NAME.xfer  the library's index, tables, journals, temporary names
//   NAME.pair                                          which folders and which mode the name belongs to
//   NAME.lock                                          empty; byte 0 is locked while the name is used
//
// The folder is $QZ_SYNC; else $XDG_DATA_HOME/qz/sync, ~/.local/share/qz/sync, on Windows
// %LOCALAPPDATA%\qz\sync; where that cannot be made, "sync" in the library's cache folder.
#ifndef TOOL_SYNC_TABLES_H
#define TOOL_SYNC_TABLES_H

#include <memory>
#include <string>

#include "tool/lock_file.h"

namespace tool {

class SyncTables {
 public:
  // Locks the name for the life of this object. mayChange false: nothing is made or written. pair: PairText
  // of what is about to run. Throws Failure: when another program has the name, when the name belongs to
  // another pair, when the folder cannot be used.
  SyncTables(const std::string& name, const std::string& pair, bool mayChange);

  // Writes down whom the name belongs to: before the first table is written.
  void Claim() const;

  const std::string& Folder() const { return folder_; }
  std::string IndexPath() const;
  // Whether the name was used before.
  bool AreKnown() const;
  // Whether a killed run has left the name of a temporary file.
  bool HasLeftovers() const;

 private:
  std::string PathOf(const char* ending) const;
  void Lock(bool mayChange);
  void CheckPair() const;

  const std::string name_;
  const std::string pair_;
  const std::string folder_;
  std::unique_ptr<LockFile> lock_;
};

}  // namespace tool

#endif
