// Open files: descriptors of the C library, which translates line ends in text mode.
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

#include "os/platform/filesystem.h"
#include "os/platform/win32/filesystem_win32.h"

namespace platform {
namespace {

int OpenFlags(const OpenOptions& options) {
  const bool updates = options.mode[1] == '+';
  int flags = _O_NOINHERIT | (options.isText ? _O_TEXT : _O_BINARY);
  switch (options.mode[0]) {
    case 'r':
      return flags | (updates ? _O_RDWR : _O_RDONLY);
    case 'w':
      flags |= _O_CREAT | (options.mustBeNew ? _O_EXCL : 0);
      break;
    default:
      flags |= _O_CREAT | _O_APPEND;
      break;
  }
  return flags | (updates ? _O_RDWR : _O_WRONLY);
}

HANDLE HandleOf(int descriptor) {
  return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
}

// The C library gives out 512 streams at once, and 2,048, as many as it has descriptors, when it is asked to.
// It is asked only when the 512 are used up, as the whole program shares them, and for fewer than there are
// descriptors: some C libraries leave the new file behind that they have no descriptor for.
FILE* StreamOf(int descriptor, const char* mode) {
  constexpr int kMostStreams = 2000;
  FILE* stream = _fdopen(descriptor, mode);
  const bool mayHaveMore = stream == nullptr && _getmaxstdio() < kMostStreams;
  return mayHaveMore && _setmaxstdio(kMostStreams) >= 0 ? _fdopen(descriptor, mode) : stream;
}

// Cuts an old file only when all else has succeeded: a program has fewer C streams than descriptors.
bool CutWhenOverwriting(int descriptor, const OpenOptions& options) {
  const bool isOld = options.mode[0] == 'w' && !options.mustBeNew;
  return !isOld || !IsOrdinaryFile(descriptor) || _chsize(descriptor, 0) == 0;
}

}  // namespace

FILE* OpenStream(const char* name, const OpenOptions& options) {
  const int descriptor = _open(name, OpenFlags(options), _S_IREAD | _S_IWRITE);
  if (descriptor < 0) return nullptr;
  char mode[4] = {options.mode[0], options.isText ? 't' : 'b', options.mode[1], '\0'};
  FILE* stream = StreamOf(descriptor, mode);
  if (stream != nullptr && CutWhenOverwriting(descriptor, options)) return stream;
  if (stream != nullptr) fclose(stream);
  if (stream == nullptr) _close(descriptor);
  if (options.mustBeNew) DeleteFileA(name);
  return nullptr;
}

int DescriptorOf(FILE* stream) {
  return _fileno(stream);
}

bool TranslatesLineEnds() {
  return true;
}

int64_t ReadDescriptor(int descriptor, uint32_t count, void* buffer) {
  const int moved = _read(descriptor, buffer, count);
  // Some C libraries remember the end of a file until the position is set.
  if (moved == 0) _lseeki64(descriptor, 0, SEEK_CUR);
  return moved;
}

int64_t ReadUntranslated(int descriptor, uint32_t count, void* buffer) {
  DWORD moved = 0;
  if (ReadFile(HandleOf(descriptor), buffer, count, &moved, nullptr)) return moved;
  return GetLastError() == ERROR_BROKEN_PIPE ? 0 : -1;  // the other end of a pipe was closed
}

int64_t WriteDescriptor(int descriptor, uint32_t count, const void* buffer) {
  return _write(descriptor, buffer, count);
}

int64_t SeekDescriptor(int descriptor, int64_t offset, int whence) {
  constexpr int kOrigins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  return _lseeki64(descriptor, offset, kOrigins[whence]);
}

bool TruncateDescriptor(int descriptor) {
  return _chsize(descriptor, 0) == 0;
}

bool GetDescriptorInformation(int descriptor, FileInformation* information) {
  BY_HANDLE_FILE_INFORMATION opened;
  if (!GetFileInformationByHandle(HandleOf(descriptor), &opened)) return false;
  const bool isDirectory = (opened.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  const uint64_t size = (static_cast<uint64_t>(opened.nFileSizeHigh) << 32) | opened.nFileSizeLow;
  *information = {isDirectory, false, isDirectory ? 0 : size, UnitsOf(opened.ftLastWriteTime)};
  return true;
}

bool IsOrdinaryFile(int descriptor) {
  return GetFileType(HandleOf(descriptor)) == FILE_TYPE_DISK;
}

bool KeepPermissions(int, int) {
  return true;  // they come from the folder
}

bool FlushToDisk(int descriptor) {
  return _commit(descriptor) == 0;
}

bool FlushFileSystem(const char*) {
  return false;
}

bool NameLeadsToDescriptor(const char*, int) {
  return true;
}

}  // namespace platform
