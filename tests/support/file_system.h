// What file tests need of the system at hand, and what sets the two systems apart.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

// True where names have drives, line ends are CR LF and a name with * or ? is a pattern.
extern const bool kIsWindows;

void SetModifiedTime(const std::filesystem::path& path, int64_t secondsSince1970);

// Leave what a read error, a refused access or the end of a search would leave as the calling thread's last
// system error.
void SetReadError();
void SetNoAccess();
void SetNoError();

// The library's name of a file that can be opened and not be read.
std::string UnreadableFile();

// A directory link at `link`, removed at the end (and never followed for that). On Windows it is the system's
// own kind, under Wine a link of the host's file system.
class DirectoryLink {
 public:
  DirectoryLink(const std::filesystem::path& target, const std::filesystem::path& link);
  ~DirectoryLink();
  DirectoryLink(const DirectoryLink&) = delete;
  DirectoryLink& operator=(const DirectoryLink&) = delete;

 private:
  std::filesystem::path link_;
};

// Makes the file `sizeBytes` long without filling it, with one byte 'x' at its end.
void MakeSparseFile(const std::filesystem::path& path, uint64_t sizeBytes);

// The rest of the scope runs on as a user who may not write `path`; false where the tests cannot arrange
// that.
class WriteProtection {
 public:
  explicit WriteProtection(const std::filesystem::path& path);
  ~WriteProtection();
  WriteProtection(const WriteProtection&) = delete;
  WriteProtection& operator=(const WriteProtection&) = delete;

 private:
  std::filesystem::path path_;
};

// The rest of the scope runs on as a user who may list and write `path` and not enter it.
class Unenterable {
 public:
  explicit Unenterable(const std::filesystem::path& path);
  ~Unenterable();
  Unenterable(const Unenterable&) = delete;
  Unenterable& operator=(const Unenterable&) = delete;

 private:
  std::filesystem::path path_;
};

// The rest of the scope runs on as a user who may enter `path` and not list it.
class Unlistable {
 public:
  explicit Unlistable(const std::filesystem::path& path);
  ~Unlistable();
  Unlistable(const Unlistable&) = delete;
  Unlistable& operator=(const Unlistable&) = delete;

 private:
  std::filesystem::path path_;
};

// No file can grow over `bytes` in this scope, as on a disk that fills up.
class DiskLimit {
 public:
  explicit DiskLimit(uint64_t bytes);
  ~DiskLimit();
  DiskLimit(const DiskLimit&) = delete;
  DiskLimit& operator=(const DiskLimit&) = delete;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// A volume of its own of the given size, mounted on an existing directory while the object lives; for that
// the tests must run as root of a system that lets them.
class SmallVolume {
 public:
  SmallVolume(const std::filesystem::path& directory, uint64_t sizeBytes);
  ~SmallVolume();
  SmallVolume(const SmallVolume&) = delete;
  SmallVolume& operator=(const SmallVolume&) = delete;
  bool IsMounted() const { return isMounted_; }

 private:
  std::filesystem::path directory_;
  bool isMounted_ = false;
};
