// Removing a whole tree.
//
// The tree is walked by what the system lists, never by lines of text: a name with a line end in it would
// become two names. Links are removed and never followed. Each level works within the open search of the one
// above, so that a link that replaces a directory meanwhile is not followed. What leads to a root is refused.
// While others keep adding entries the deletion ends all the same, without success.
#include <atomic>
#include <cstring>

#include "os/core/error_internal.h"
#include "os/core/owned.h"
#include "os/file/directory_testing.h"
#include "os/file/file_internal.h"
#include "os/platform/error.h"
#include "os/platform/filesystem.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"

namespace {

// Even where a search also gives what is added while it lasts, it has an end.
constexpr uint32_t kLongestPass = 1u << 24;

// A search may skip up to half of the entries when others are removed meanwhile. Repeated passes that remove
// more than the first ones did, and this many besides, remove what others add.
constexpr uint64_t kMostAdded = 1000;

std::atomic<uint32_t> longestPass{kLongestPass};

using platform::DirectorySearch;
using Search = Owned<DirectorySearch, platform::EndSearch>;

// One path serves all levels: each puts its entry's name behind its own and takes it off again.
struct Removal {
  char path[kFileNameSize];  // in the system's form
  size_t length;
  char separator;
  ErrorCode firstFailure;
  bool isRepeated;  // this pass, or one above, goes through its directory again
  uint64_t removed;
  uint64_t removedAgain;  // in repeated passes
  platform::DirectoryEntry entry;
};

void Note(Removal* removal, ErrorCode status) {
  if (removal->firstFailure == Error_None) removal->firstFailure = status;
}

void NoteSystemError(Removal* removal) {
  Note(removal, iError_FromLastSystem("File_Unlink", removal->path));
}

bool IsEndless(const Removal* removal) {
  return removal->removedAgain > removal->removed + kMostAdded;
}

bool Enter(Removal* removal, const char* name) {
  const size_t nameLength = strlen(name);
  if (removal->length + 1 + nameLength >= sizeof removal->path) {
    Note(removal, Error_Exceed);
    return false;
  }
  removal->path[removal->length] = removal->separator;
  memcpy(removal->path + removal->length + 1, name, nameLength + 1);
  removal->length += 1 + nameLength;
  return true;
}

void Leave(Removal* removal, size_t length) {
  removal->length = length;
  removal->path[length] = '\0';
}

bool RemoveTree(Removal* removal, DirectorySearch* parent);

bool RemoveEntry(Removal* removal, DirectorySearch* search) {
  const platform::FileInformation information = removal->entry.information;
  const size_t length = removal->length;
  if (!Enter(removal, removal->entry.name)) return false;
  bool removed;
  if (information.isDirectory && !information.isLink) {
    removed = RemoveTree(removal, search);
  } else {
    const auto remove = information.isLink ? platform::RemoveLinkIn : platform::RemoveFileIn;
    removed = remove(search, removal->path);
    if (!removed) NoteSystemError(removal);
  }
  Leave(removal, length);
  if (removed) ++(removal->isRepeated ? removal->removedAgain : removal->removed);
  return removed;
}

struct Pass {
  bool removedAny;
  ErrorCode searchStatus;
};

// Why a search did not begin or has ended; Error_None at its end.
ErrorCode SearchStatus(const Removal* removal) {
  const uint32_t error = platform::LastSystemError();
  if (error == platform::SystemError_None) return Error_None;
  if (error == platform::SystemError_OutOfMemory) {
    return iError_Record(Error_Memory, "File_Unlink", removal->path, error);
  }
  return Error_FromSystem("File_Unlink", removal->path, error);
}

Pass RemoveEntries(Removal* removal, DirectorySearch* parent) {
  Search search(platform::BeginSearchIn(parent, removal->path));
  if (!search) return {false, SearchStatus(removal)};
  Pass pass{false, Error_None};
  for (uint32_t left = longestPass.load(); left != 0 && !IsEndless(removal); --left) {
    if (!iDirectory_NextEntry(search.get(), &removal->entry)) {
      pass.searchStatus = SearchStatus(removal);
      break;
    }
    if (RemoveEntry(removal, search.get())) pass.removedAny = true;
  }
  return pass;
}

// Some systems skip entries when others are removed during a search, so a directory that is still not empty
// is searched again as long as that removes anything.
bool RemoveInPasses(Removal* removal, DirectorySearch* parent) {
  for (;;) {
    const Pass pass = RemoveEntries(removal, parent);
    if (platform::RemoveEmptyDirectoryIn(parent, removal->path)) return true;
    const uint32_t error = platform::LastSystemError();
    const bool mayHaveSkipped = pass.removedAny && error == platform::SystemError_DirectoryNotEmpty;
    if (!mayHaveSkipped || IsEndless(removal)) {
      if (pass.searchStatus != Error_None) Note(removal, pass.searchStatus);
      Note(removal, Error_FromSystem("File_Unlink", removal->path, error));
      return false;
    }
    removal->isRepeated = true;
  }
}

bool RemoveTree(Removal* removal, DirectorySearch* parent) {
  const bool wasRepeated = removal->isRepeated;
  const bool removed = RemoveInPasses(removal, parent);
  removal->isRepeated = wasRepeated;
  return removed;
}

// ---- what may not be removed -------------------------------------------------------------------

// How many names stand below the root, with "." and ".." taken into account.
size_t DepthBelowRoot(const char* rest) {
  size_t depth = 0;
  while (*rest != '\0') {
    const size_t length = strcspn(rest, "/");
    if (length == 2 && memcmp(rest, "..", 2) == 0) {
      depth -= depth != 0 ? 1 : 0;
    } else if (length != 0 && !(length == 1 && rest[0] == '.')) {
      ++depth;
    }
    rest += length;
    rest += *rest == '/' ? 1 : 0;
  }
  return depth;
}

size_t RootLength(const char* absolute) {
  if (absolute[0] != '/') return 0;
  const bool hasRootName = platform::UsesDriveLetters();
  const int32_t length = hasRootName ? File_StripRoot(absolute, nullptr, nullptr) : 1;
  return length > 0 ? static_cast<size_t>(length) : strlen(absolute);
}

bool IsDevicePrefix(const char* name) {
  return (name[2] == '?' || name[2] == '.') && name[3] == '/';
}

bool BeginsWithUnc(const char* device) {
  return (device[0] | 0x20) == 'u' && (device[1] | 0x20) == 'n' && (device[2] | 0x20) == 'c' &&
         device[3] == '/';
}

const char* BehindParts(const char* name, int count) {
  for (; count != 0; --count) {
    name += strspn(name, "/");
    name += strcspn(name, "/");
  }
  return name;
}

// A share is a root on every platform, so that one name is refused everywhere. Windows also writes shares and
// drives as //?/UNC/server/share and //?/C:.
bool IsShare(const char* name) {
  if (name[0] != '/' || name[1] != '/') return false;
  if (!IsDevicePrefix(name)) return DepthBelowRoot(BehindParts(name, 2)) == 0;
  const char* device = name + 4;
  return DepthBelowRoot(BehindParts(device, BeginsWithUnc(device) ? 3 : 1)) == 0;
}

bool LeadsToRoot(const char* name) {
  char absolute[kFileNameSize];
  if (name[0] == '\0' || IsShare(name) || iFile_AbsoluteName(name, absolute) != Error_None) return true;
  // A name may also be given in the system's form.
  return IsShare(absolute) || DepthBelowRoot(absolute + RootLength(absolute)) == 0;
}

void DropTrailingSeparators(Removal* removal) {
  while (removal->length > 1 && removal->path[removal->length - 1] == removal->separator) {
    Leave(removal, removal->length - 1);
  }
}

// Whether the path ends with the name of a directory, rather than with a drive or a way back ("d/."): the
// system would look through a link there, and could not remove the directory once it is emptied. Where there
// are drives, dots and spaces at the end of a name count for nothing.
bool EndsWithName(const Removal& removal) {
  const bool hasDrives = platform::UsesDriveLetters();
  const char* separator = strrchr(removal.path, removal.separator);
  const char* last = separator != nullptr ? separator + 1 : removal.path;
  if (hasDrives && last == removal.path && last[0] != '\0' && last[1] == ':') last += 2;
  if (hasDrives) return last[strspn(last, ". ")] != '\0';
  return last[0] != '\0' && strcmp(last, ".") != 0 && strcmp(last, "..") != 0;
}

ErrorCode CheckTarget(Removal* removal, platform::FileInformation* information) {
  // Where names are searched by pattern, none may choose what is removed.
  const bool isPattern = platform::UsesDriveLetters() && strpbrk(removal->path, "*?") != nullptr;
  if (isPattern) return Error_Invalid;
  if (!platform::GetInformation(removal->path, information)) {
    return iError_FromLastSystem("File_Unlink", removal->path);
  }
  return information->isDirectory ? Error_None : Error_Invalid;
}

}  // namespace

void iDirectory_SetLongestPass(uint32_t entries) {
  longestPass.store(entries != 0 ? entries : kLongestPass);
}

ErrorCode Directory_Delete(const char* name) {
  Removal removal{};
  removal.separator = platform::UsesDriveLetters() ? '\\' : '/';
  ErrorCode status = iFile_ToSystemName(name, removal.path);
  if (status != Error_None) return status;
  if (LeadsToRoot(name)) return Error_Invalid;
  removal.length = strlen(removal.path);
  DropTrailingSeparators(&removal);
  if (!EndsWithName(removal)) return Error_Invalid;

  platform::FileInformation information;
  status = CheckTarget(&removal, &information);
  if (status != Error_None) return status;
  if (!information.isLink) {
    RemoveTree(&removal, nullptr);
  } else if (!platform::RemoveLink(removal.path)) {
    NoteSystemError(&removal);
  }
  return removal.firstFailure;
}
