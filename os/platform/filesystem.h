// Files, directories and volumes, as the file layer needs them.
//
// Names are in the system's own form and shorter than kNameSize; nothing here allocates but a directory
// search. A function that returns false, a null pointer or -1 leaves the reason for LastSystemError
// (platform/error.h). One thread uses an open file or a search at a time; everything else may be called from
// any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace platform {

// The size of every buffer for a name, its terminator included.
constexpr size_t kNameSize = 1024;

// ---- names -------------------------------------------------------------------------------------

// Whether the system form of a name is C:\dir\file; otherwise it is /dir/file.
bool UsesDriveLetters();

// The directory that a name without a drive is taken from ("C:\"); empty where there are no drives.
void BootDirectory(char (&directory)[kNameSize]);

// The drives there are: bit 0 is A. None where there are no drives.
uint32_t Drives();

bool CurrentDirectory(char (&directory)[kNameSize]);
bool ChangeDirectory(const char* name);

// The same place as a name that does not depend on the current directory; the file need not exist.
bool AbsoluteName(const char* name, char (&absolute)[kNameSize]);

// ---- what stands under a name ------------------------------------------------------------------

struct FileInformation {
  bool isDirectory;        // also a link that leads to one
  bool isLink;             // a symbolic link, a junction, or another entry that may lead elsewhere
  uint64_t sizeBytes;      // 0 for a directory
  uint64_t modified;       // 100-nanosecond units since 1601, UTC
  bool isSpecial = false;  // neither a file nor a directory: a pipe, a socket, a device
};

// Tells what a name leads to. A link that leads nowhere is a file. Where the system searches directories by
// pattern, the first match of a name with * or ? is meant.
bool GetInformation(const char* name, FileInformation* information);

// What tells one directory from every other while both exist. False where it cannot be told.
struct DirectoryIdentity {
  uint64_t volume;
  uint64_t number;
};
bool IdentifyDirectory(const char* name, DirectoryIdentity* identity);

bool MakeDirectory(const char* name);
bool RemoveEmptyDirectory(const char* name);
// Removes a file, or a link to a file. Refuses directories.
bool RemoveFile(const char* name);
// Removes a link itself, whatever it leads to. Fails (SystemError_AccessDenied) where the system would remove
// what a directory link leads to.
bool RemoveLink(const char* name);
// Never replaces what stands under the new name (SystemError_AlreadyExists or _FileExists);
// SystemError_OtherVolume when that is on another volume.
bool RenameWithoutReplacing(const char* from, const char* to);
// Replaces a file that stands under the new name, in one step where the system can.
bool RenameReplacing(const char* from, const char* to);
// Where a link to a file leads, through all links behind it; nothing need stand there. A name that is no link
// stays as it is, and so does, where the system tells, one that leads to no ordinary file: what the link of
// an open pipe says is no name.
bool FollowLink(const char* name, char (&target)[kNameSize]);
// Copies contents, permissions and modification time of one ordinary file; never replaces. After success
// LastSystemError is 0; after failure the new file is gone again.
bool DuplicateFile(const char* from, const char* to);

// ---- open files --------------------------------------------------------------------------------

struct OpenOptions {
  const char* mode;  // "r", "r+", "w", "w+", "a" or "a+"
  bool isText;       // line ends are translated where the system has its own
  bool mustBeNew;    // with "w" and "w+": fails when anything stands under the name
  bool isPrivate;    // a file made new is for this user alone, where the system tells users apart
};

// Opens a C stream that programs started later do not inherit. A directory is refused. Does not wait for
// a process at the other end of a pipe.
FILE* OpenStream(const char* name, const OpenOptions& options);
int DescriptorOf(FILE* stream);

// Whether text mode means something: a line ends with CR LF in the file, and the byte 0x1A ends the file.
bool TranslatesLineEnds();

// The most that one call below may be asked to move.
constexpr uint32_t kLargestMove = 0x40000000;

// Move up to `count` bytes in one call to the system; the bytes moved, 0 at the end of the file, -1 on
// failure.
int64_t ReadDescriptor(int descriptor, uint32_t count, void* buffer);
// The bytes as they stand in the file, in text mode too.
int64_t ReadUntranslated(int descriptor, uint32_t count, void* buffer);
int64_t WriteDescriptor(int descriptor, uint32_t count, const void* buffer);
// whence: 0 from the start, 1 from the current position, 2 from the end. The new position, or -1.
int64_t SeekDescriptor(int descriptor, int64_t offset, int whence);
// Cuts to length 0; the position stays.
bool TruncateDescriptor(int descriptor);
bool GetDescriptorInformation(int descriptor, FileInformation* information);
// Whether an open file is one on a disk: no device, no pipe.
bool IsOrdinaryFile(int descriptor);
// Gives `to` the permissions of `from`, and its owner and group where this user may, where the system keeps
// them with the file. Another group gets no more than everybody.
bool KeepPermissions(int from, int to);
// Waits until what was written is on the disk, as far as the system can tell.
bool FlushToDisk(int descriptor);
// The same for all that was written to the file system of a directory. False where it cannot be told.
bool FlushFileSystem(const char* directory);
// Whether the name still leads to the open file. True where an open file cannot lose its name.
bool NameLeadsToDescriptor(const char* name, int descriptor);

// ---- directories -------------------------------------------------------------------------------

struct DirectoryEntry {
  char name[kNameSize];
  FileInformation information;
};

struct DirectorySearch;

// Starts a search over all entries of a directory; null on failure, with SystemError_OutOfMemory or
// SystemError_TooManyOpenFiles where there was no memory or no descriptor left for it.
DirectorySearch* BeginSearch(const char* directory);
// The next entry but "." and "..". False at the end, and then LastSystemError is 0, or on failure. An entry
// whose state cannot be read has the kind that the directory tells, with size and time 0; where it tells
// none, the search fails.
bool NextEntry(DirectorySearch* search, DirectoryEntry* entry);
void EndSearch(DirectorySearch* search);

// ---- entries of an open search -----------------------------------------------------------------
//
// As the functions without "In", for an entry of the search `parent`, which is open: `path` ends with the
// entry's name. Where the system can hold a directory open, the entry is looked for in the very directory
// that is searched, whatever stands under that directory's name by now; elsewhere by `path`. parent null:
// always by `path`.

// Never follows a link that `path` itself is.
DirectorySearch* BeginSearchIn(DirectorySearch* parent, const char* path);
bool RemoveEmptyDirectoryIn(DirectorySearch* parent, const char* path);
bool RemoveFileIn(DirectorySearch* parent, const char* path);
bool RemoveLinkIn(DirectorySearch* parent, const char* path);

// ---- volumes -----------------------------------------------------------------------------------

struct VolumeSpace {
  uint64_t freeBytes;
  uint64_t totalBytes;
};

// The volume that holds an existing directory; null: the current directory. Where there are drives the name
// must be a root, and the products are taken from the cluster counts.
bool GetVolumeSpace(const char* name, VolumeSpace* space);

// Bytes that this user may still write on the volume that holds an existing directory; null as above.
bool GetAvailableBytes(const char* name, uint64_t* availableBytes);

}  // namespace platform
