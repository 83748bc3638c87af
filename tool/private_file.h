// Small files that only their owner reads, replaced as a whole. Paths are the system's.
//
// The bodies are in posix/private_file.cpp and win32/private_file.cpp.
#ifndef TOOL_PRIVATE_FILE_H
#define TOOL_PRIVATE_FILE_H

#include <optional>
#include <string>
#include <vector>

namespace tool {

// Makes the folder and those above it, each readable by its owner only. Throws Failure (Disk), also when the
// folder stands there and others may change it.
void MakePrivateFolder(const std::string& path);

// The names of all entries of a folder, in no order. Throws Failure (Disk).
std::vector<std::string> NamesInFolder(const std::string& folder);

// Whether a regular file stands there; a link is none.
bool IsRegularFile(const std::string& path);

// The bytes of a file; nothing when it does not exist. Throws Failure (Disk).
std::optional<std::string> ReadPrivateFile(const std::string& path);

// Replaces the file, or creates it: the old bytes or the new ones stand there at any moment, complete. What a
// killed program leaves is PATH.new. synchronise: flushed to disk, with its folder. One writer at a time.
// Throws Failure (Disk); the old file is then untouched.
void WritePrivateFile(const std::string& path, const std::string& bytes, bool synchronise);

// Creates a file that does not exist yet, or only as what a killed program left. A kill may leave a part of
// it. Throws Failure (Disk).
void CreatePrivateFile(const std::string& path, const std::string& bytes);

// Writes over the beginning of a file: for a few bytes, which a kill does not part. Throws Failure (Disk).
void OverwritePrivateFile(const std::string& path, const std::string& bytes);

// Gives the file another name in the same folder, and replaces what stands there. A missing one is fine.
// Throws Failure (Disk).
void RenamePrivateFile(const std::string& from, const std::string& to);

// Missing is fine. Throws Failure (Disk).
void RemovePrivateFile(const std::string& path);

// The folder for data of the user's programs: $XDG_DATA_HOME, ~/.local/share, %LOCALAPPDATA%. Empty when
// there is none.
std::string UserDataFolder();

std::string PathInFolder(const std::string& folder, const std::string& name);

// The path from the root of its drive.
std::string AbsolutePath(const std::string& path);

}  // namespace tool

#endif
