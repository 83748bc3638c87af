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
  std::string root;               // of a local side, in the library's form
  std::string shown;              // for messages, without the password
  std::string identity;           // the same text for the same folder, without the password
};

// Takes an argument. Throws Failure (Usage) for what cannot be a side.
SyncSide ParseSyncSide(const std::string& text);

// Asks for the password of a server, if need be. Throws Failure (Usage), Interruption.
void FindLogin(const Options& options, Passwords* passwords, SyncSide* side);

// The URL for the library, with the password. Of a server: logs in, to learn where its folder is. Throws
// Failure, Interruption.
std::string LibraryURL(const SyncSide& side, const Options& options, Reporter* reporter);

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
