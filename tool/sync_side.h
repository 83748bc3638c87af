// A side of a synchronisation: a local folder, or a folder of an FTP server.
#ifndef TOOL_SYNC_SIDE_H
#define TOOL_SYNC_SIDE_H

#include <optional>
#include <string>

#include "tool/address.h"
#include "tool/login.h"
#include "tool/options.h"
#include "tool/reporter.h"

namespace tool {

struct SyncSide {
  std::optional<Address> server;  // nothing: a local folder
  Login login;                    // of the server
  std::string folder;             // on the server, from its root; FindFolder finds it
  std::string root;               // of a local side, in the library's form
  std::string shown;              // for messages, without the password; of a local side, the system's path
  std::string identity;           // the same text for the same folder, without the password
};

// Takes an argument. Throws Failure (Usage) for what cannot be a side.
SyncSide ParseSyncSide(const std::string& text);

// Asks for the password of a server, if need be. Throws Failure (Usage), Interruption.
void FindLogin(const Options& options, Passwords* passwords, SyncSide* side);

// Logs in to a server, to learn where its folder is. mustExist: fails when it cannot be entered. Throws
// Failure, Interruption.
void FindFolder(const Options& options, bool mustExist, SyncSide* side);

// Whether both sides are one folder, or one is in the other. Local folders are compared by what the system
// knows of them, those of a server by their paths. Once the folders are found.
bool AreSameFolder(const SyncSide& one, const SyncSide& other);
bool AreNested(const SyncSide& one, const SyncSide& other);

// The URL for the library, with the password. Once the folder is found.
std::string LibraryURL(const SyncSide& side);

// What stands where a local side is to be. Of a server: Folder.
enum class SyncPlace {
  Folder,
  NoFolder,  // something else
  Free,      // nothing, in a folder
  Nowhere,   // nothing, and no folder above
};
SyncPlace PlaceOf(const SyncSide& side);

// Pure: a path as a part of a "file" URL; the parts of a server's folder put together.
std::string EscapedLocalPath(const std::string& path);
std::string ServerFolder(const std::string& loginFolder, const std::string& path);

}  // namespace tool

#endif
