// Small files that only their owner reads, replaced as a whole. Paths are the system's.
//
// The bodies are in posix/private_file.cpp and win32/private_file.cpp.
#ifndef TOOL_PRIVATE_FILE_H
#define TOOL_PRIVATE_FILE_H

#include <optional>
#include <string>

namespace tool {

// Makes the folder and those above it, each readable by its owner only. Throws Failure (Disk).
void MakePrivateFolder(const std::string& path);

// The bytes of a file; nothing when it does not exist. Throws Failure (Disk).
std::optional<std::string> ReadPrivateFile(const std::string& path);

// Replaces the file, or creates it: the old bytes or the new ones stand there at any moment, complete. What a
// killed program leaves is PATH.new. synchronise: flushed to disk, with its folder. Throws Failure (Disk).
void WritePrivateFile(const std::string& path, const std::string& bytes, bool synchronise);

// Missing is fine. Throws Failure (Disk).
void RemovePrivateFile(const std::string& path);

}  // namespace tool

#endif
