// What other parts of the library need of the file layer beyond its exported functions.
#pragma once

#include <cstdint>
#include <cstdio>

#include "qz/file.h"

// The size of every buffer for a name in the library's form, its terminator included.
constexpr size_t kFileNameSize = 1024;

// ---- open files --------------------------------------------------------------------------------

constexpr uint32_t kFileMode_Temporary = 0x80000000u;

// What an open file was last used for.
enum class FileUse : uint8_t { Unknown, Bytes, Lines, Printing, Gathering };

// Bytes that were read for lines: those from start to end are not yet given out.
struct ReadAhead {
  uint32_t start;
  uint32_t end;
  char bytes[4096];
};

// The record of an open file, its name behind it in the same allocation. An open file is a stream.
struct File {
  Stream stream;
  char* name;            // as it was given to File_Open
  uint32_t mode;         // the normalised open mode, FileMode_Text, kFileMode_Temporary
  FILE* cStream;         // for formatted text
  int descriptor;        // of cStream; for bytes and lines
  char* removalName;     // the system form, from the root, fixed at opening: the current directory may change
  ErrorCode lastStatus;  // of the last call that moved bytes
  ErrorCode lostOutput;  // why text that was held back could not be written; Error_None: nothing was lost
  FileUse lastUse;       // decides what must be done before another use
  bool mayGather;        // see iFile_SetGathering
  uint32_t directBytes;  // of the writes that were not gathered; stops at kFileDirectBytes
  uint32_t gatheredBytes;
  uint32_t gatherLimit;  // of gatheredBytes: up to the next multiple of kLargeBuffer_Bytes in the file
  uint8_t* gathered;     // owned; null: none
  ReadAhead ahead;
};

// File_Open for a file that must not exist yet: Error_Exists when anything stands under the name. mode: 2 or
// 3, with 16 for text. isPrivate: nobody else may read it, where the system tells users apart.
ErrorCode iFile_OpenNew(const char* name, uint32_t mode, bool isPrivate, File** file);

// As File_NumberName, but the extension begins at the last "." of the part behind the last "/", so that the
// numbered name is in the same directory.
ErrorCode iFile_NumberLastPart(const char* name, char* result);

// Makes a file that stood nowhere before, marked temporary, in a system directory. Its name, given out in
// `name` (kFileNameSize bytes), is made by File_UniquifyName from the prefix and has the ending behind it.
// mode and isPrivate: as above.
ErrorCode iFile_OpenTemporary(int32_t systemDirectory, const char* prefix, const char* ending, uint32_t mode,
                              bool isPrivate, char* name, File** file);
// The same in any directory.
ErrorCode iFile_OpenTemporaryIn(const char* directory, const char* prefix, const char* ending, uint32_t mode,
                                bool isPrivate, char* name, File** file);

// Lets File_Write hold bytes back until a large buffer is full, for a file that nobody else reads meanwhile
// (mayGather false: no more). Every other call on the file writes them first, File_Flush and File_Close among
// them, so the file's length never counts what it does not have. Bytes that cannot be written then are lost:
// File_Write gives 0, File_Flush -1, and File_Close the status too. The first kFileDirectBytes are written at
// once: a small file gains nothing.
void iFile_SetGathering(File* file, bool mayGather);
inline constexpr uint32_t kFileDirectBytes = 64 * 1024;

// File_Close for a file that was written here: when closing fails, the incomplete file is removed.
ErrorCode iFile_CloseComplete(File* file);

// File_ScanLine that also tells whether the text filled the buffer before the line's LF came; then there is
// more of the line, or the file has ended. isCut is unchanged after a failure.
int32_t iFile_ScanPiece(File* file, int32_t size, char* buffer, bool* isCut);

// A file that is written anew. The bytes go to a file in the same folder, which replaces the old one when it
// is complete: until then the old one is untouched. A link is followed, permissions are kept. What is not an
// ordinary file (a device, a pipe) is written directly.
struct FileReplacement {
  File* file;                  // to be written
  char target[kFileNameSize];  // what it replaces
  char beside[kFileNameSize];  // where it stands until then; empty when it is written directly
};

// mode: as iFile_OpenNew. Error_None, and then one of the other two is due; else what File_Open gives, and
// nothing is left over.
ErrorCode iFile_BeginReplacement(const char* name, uint32_t mode, FileReplacement* replacement);
// Puts the file in its place. Error_None, or Error_Fail: then the old file is as it was, the new one gone.
ErrorCode iFile_CompleteReplacement(FileReplacement* replacement);
// Removes the new file.
void iFile_AbandonReplacement(FileReplacement* replacement);

// The length of an open file in bytes, pending output included; -1 on failure.
int64_t iFile_Size64(File* file);

// The system file (the log) stays open until OS_Exit: File_Close on it has no effect and gives 0. Set makes
// `file` the system file (null: none) without closing the one before; Close closes it (removing it when it
// was marked temporary) and forgets it, and does nothing when there is none.
void iFile_SetSystemFile(File* file);
ErrorCode iFile_CloseSystemFile();

// ---- names -------------------------------------------------------------------------------------

// Whether a drive may be called so.
inline bool iFile_IsDriveLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The name as the system's calls take it. Error_Exceed when it does not fit, Error_Invalid for null;
// systemName is then empty. Where there are drives this is WinOSFile_FileNameToDOSName; elsewhere a name
// stays as it is, but for a leading "/C|", which is dropped.
ErrorCode iFile_ToSystemName(const char* name, char (&systemName)[kFileNameSize]);

// The other way: a name that the system gave, in the library's form. The same buffer may serve both.
ErrorCode iFile_FromSystemName(const char* systemName, char (&name)[kFileNameSize]);

// directory, "/" unless it is empty or ends with one, and name; result may be either of them. Error_Exceed
// when that does not fit; result is then empty.
ErrorCode iFile_Join(const char* directory, const char* name, char (&result)[kFileNameSize]);

// source as a text of at most kFileNameSize - 1 bytes; Error_Exceed when it does not fit, Error_Invalid for
// null; destination is then empty. destination may be null: nothing is stored.
ErrorCode iFile_CopyName(const char* source, char* destination);

// The name from the root, so that it no longer depends on the current directory.
ErrorCode iFile_AbsoluteName(const char* name, char (&absolute)[kFileNameSize]);

// ---- states and volumes ------------------------------------------------------------------------

// Whether a system error (platform/error.h) says that nothing stands under a name.
bool iFile_IsNotFound(uint32_t systemError);

// File_Move; *isOtherVolume tells whether it failed because the new name is on another volume.
ErrorCode iFile_Rename(const char* from, const char* to, bool* isOtherVolume);

// A state's time from 100-nanosecond units since 1601: zero when it is not known (0) or cannot be converted.
void iFile_TimeFromUnits(uint64_t hundredNanoseconds, Time* time);

// Bytes that may still be written on the volume that holds path, whether path exists or not (null: the
// current directory), without wrapping at 4 GiB. freeBytes is all ones after a failure; Error_FromSystem
// statuses.
ErrorCode iVolume_FreeBytes64(const char* path, uint64_t* freeBytes);

// ---- directories -------------------------------------------------------------------------------

namespace platform {
struct DirectoryEntry;
struct DirectorySearch;
}  // namespace platform

// platform::NextEntry, which tests may replace (directory_testing.h).
bool iDirectory_NextEntry(platform::DirectorySearch* search, platform::DirectoryEntry* entry);
