// Open files.
//
// An open file is used in three ways: bytes and positions go to the descriptor, formatted text goes through
// the C stream, which holds output back, and lines come from the record's own buffer, which reads ahead of
// them. Before another kind of use the descriptor is brought to the true position: output is written, and
// what was read ahead is given back. The record remembers the last use, so a run of calls of one kind costs
// nothing. Where the owner allows it, bytes are held back as well, until a large buffer is full.
//
// Lines are not read through the C stream: in text mode some C libraries count every line end as CR LF and
// then tell wrong positions.
#include "qz/file.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstring>
#include <utility>

#include "os/core/error_internal.h"
#include "os/core/largebuffer_internal.h"
#include "os/core/memory_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/file/file_testing.h"
#include "os/platform/error.h"
#include "os/platform/filesystem.h"
#include "qz/error.h"
#include "qz/memory.h"

namespace {

constexpr uint32_t kModeNumberMask = 0x0F;
constexpr uint32_t kAppendBits = 10;

struct ModeRow {
  const char* cMode;  // null: refused
  uint32_t bits;
};

// By the low four bits of the mode that is asked for.
constexpr ModeRow kModes[] = {
    {nullptr, 0}, {"r", 1},     {"w", 2},           {"w+", 7},    {"r+", 7},    {"r+", 7},
    {"w+", 7},    {nullptr, 0}, {"a", kAppendBits}, {nullptr, 0}, {nullptr, 0}, {"a+", 15},
    {"a+", 15},   {nullptr, 0}, {nullptr, 0},       {"a+", 15},
};
static_assert(std::size(kModes) == kModeNumberMask + 1);

// Kept: it ends a text file that is read, where lines end with CR LF; files of old editors end so.
constexpr char kEndMark = 0x1A;

using CloseMethod = int (*)(FILE*);

std::atomic<File*> systemFile{nullptr};
std::atomic<CloseMethod> closeMethod{nullptr};

File* FileOf(Stream* stream) {
  return reinterpret_cast<File*>(stream);
}

// Why a call has failed; never Error_None, for some C libraries fail without asking the system.
ErrorCode SystemStatus(const File* file) {
  return iError_FromLastSystem("File", file->name);
}

// ---- moving bytes ------------------------------------------------------------------------------

uint32_t ReadBytes(File* file, uint32_t count, uint8_t* buffer) {
  uint32_t done = 0;
  while (done < count) {
    const uint32_t wanted = std::min(count - done, platform::kLargestMove);
    const int64_t moved = platform::ReadDescriptor(file->descriptor, wanted, buffer + done);
    if (moved < 0) file->lastStatus = SystemStatus(file);
    if (moved <= 0) break;
    done += static_cast<uint32_t>(moved);
    // Less than was asked for is all there is; asking again could wait for a person's next line.
    if (moved < wanted) break;
  }
  if (done == 0 && count != 0 && file->lastStatus == Error_None) file->lastStatus = Error_Ended;
  return done;
}

uint32_t WriteBytes(File* file, uint32_t count, const uint8_t* buffer) {
  uint32_t done = 0;
  while (done < count) {
    const uint32_t wanted = std::min(count - done, platform::kLargestMove);
    const int64_t moved = platform::WriteDescriptor(file->descriptor, wanted, buffer + done);
    if (moved < 0) file->lastStatus = SystemStatus(file);
    if (moved == 0) file->lastStatus = Error_Exceed;
    if (moved <= 0) break;
    done += static_cast<uint32_t>(moved);
  }
  return done;
}

// ---- gathering ---------------------------------------------------------------------------------

// Closing the file will tell that bytes were lost, and why the first were.
void RememberLoss(File* file) {
  if (file->lostOutput == Error_None) file->lostOutput = file->lastStatus;
}

// Writes what was held back. What does not reach the file is lost, and closing it tells so too.
bool WriteGathered(File* file) {
  const uint32_t count = std::exchange(file->gatheredBytes, 0);
  file->gatherLimit -= count;
  if (file->gatherLimit == 0) file->gatherLimit = kLargeBuffer_Bytes;
  if (count == 0 || WriteBytes(file, count, file->gathered) == count) return true;
  RememberLoss(file);
  return false;
}

// Blocks that begin at multiples of their size cost the system least.
void BeginGathering(File* file) {
  const int64_t position = platform::SeekDescriptor(file->descriptor, 0, FileSeek_Current);
  const auto behind = static_cast<uint32_t>(std::max<int64_t>(position, 0) % kLargeBuffer_Bytes);
  file->gatherLimit = kLargeBuffer_Bytes - behind;
}

// Whether a write of so many bytes is held back. Takes the buffer when it is time.
bool Gathers(File* file, uint32_t count) {
  if (!file->mayGather || count >= kLargeBuffer_Bytes) return false;
  if (file->directBytes < kFileDirectBytes) return false;
  if (file->gathered == nullptr) file->gathered = iLargeBuffer_Take();
  return file->gathered != nullptr;
}

uint32_t Gather(File* file, uint32_t count, const uint8_t* bytes) {
  uint32_t done = 0;
  while (done < count) {
    const uint32_t part = std::min(count - done, file->gatherLimit - file->gatheredBytes);
    memcpy(file->gathered + file->gatheredBytes, bytes + done, part);
    file->gatheredBytes += part;
    done += part;
    if (file->gatheredBytes == file->gatherLimit && !WriteGathered(file)) return 0;
  }
  return done;
}

uint32_t WriteDirect(File* file, uint32_t count, const uint8_t* bytes) {
  const uint32_t written = WriteBytes(file, count, bytes);
  file->directBytes += std::min(written, kFileDirectBytes - file->directBytes);
  return written;
}

// ---- from one use to another -------------------------------------------------------------------

// C libraries may drop what they could not write and then close successfully, so the loss is remembered.
void NoteLostOutput(File* file) {
  file->lastStatus = SystemStatus(file);
  RememberLoss(file);
}

// Puts the descriptor back behind the last line. A pipe has no position: the next line continues with what
// was read from it.
void GiveBack(File* file) {
  ReadAhead* ahead = &file->ahead;
  const int64_t unread = ahead->end - ahead->start;
  if (unread == 0 || platform::SeekDescriptor(file->descriptor, -unread, FileSeek_Current) < 0) return;
  ahead->start = 0;
  ahead->end = 0;
}

bool WritePending(File* file) {
  if (fflush(file->cStream) == 0) return true;
  NoteLostOutput(file);
  return false;
}

bool PrepareFor(File* file, FileUse use) {
  if (file->lastUse == use) return true;
  if (file->lastUse == FileUse::Lines) GiveBack(file);
  if (file->lastUse == FileUse::Gathering && !WriteGathered(file)) return false;
  const bool mayHoldOutput = file->lastUse == FileUse::Printing || file->lastUse == FileUse::Unknown;
  if (mayHoldOutput && !WritePending(file)) return false;
  if (use == FileUse::Gathering) BeginGathering(file);
  file->lastUse = use;
  return true;
}

// The new position, or -1.
int64_t MoveTo(File* file, int32_t seekMode, int64_t offset) {
  if (!PrepareFor(file, FileUse::Bytes)) return -1;
  return platform::SeekDescriptor(file->descriptor, offset, seekMode);
}

// ---- lines -------------------------------------------------------------------------------------

bool HasTextLineEnds(const File* file) {
  return (file->mode & FileMode_Text) != 0 && platform::TranslatesLineEnds();
}

// How many of the bytes that were just read stand before the end mark. The descriptor is put back to the
// mark, so that the next read finds it first.
uint32_t CountBeforeEndMark(const File* file, uint32_t count) {
  const void* mark = HasTextLineEnds(file) ? memchr(file->ahead.bytes, kEndMark, count) : nullptr;
  if (mark == nullptr) return count;
  const auto before = static_cast<uint32_t>(static_cast<const char*>(mark) - file->ahead.bytes);
  platform::SeekDescriptor(file->descriptor, -static_cast<int64_t>(count - before), FileSeek_Current);
  return before;
}

// Reads the next block. False at the end and on failure; lastStatus then tells which.
bool FillAhead(File* file) {
  ReadAhead* ahead = &file->ahead;
  ahead->start = 0;
  ahead->end = 0;
  const int64_t moved = platform::ReadUntranslated(file->descriptor, sizeof ahead->bytes, ahead->bytes);
  if (moved < 0) {
    file->lastStatus = SystemStatus(file);
    return false;
  }
  ahead->end = CountBeforeEndMark(file, static_cast<uint32_t>(moved));
  if (ahead->end == 0) file->lastStatus = Error_Ended;
  return ahead->end != 0;
}

struct Piece {
  uint32_t length;
  bool hasLineEnd;
};

// Moves what was read ahead to the piece, up to the LF or until the piece is full.
void TakeAhead(ReadAhead* ahead, uint32_t fullLength, char* buffer, Piece* piece) {
  const char* bytes = ahead->bytes + ahead->start;
  uint32_t count = std::min(fullLength - piece->length, ahead->end - ahead->start);
  if (const void* lineFeed = memchr(bytes, '\n', count); lineFeed != nullptr) {
    count = static_cast<uint32_t>(static_cast<const char*>(lineFeed) - bytes) + 1;
    piece->hasLineEnd = true;
  }
  memcpy(buffer + piece->length, bytes, count);
  piece->length += count;
  ahead->start += count;
}

// In text mode CR LF is one character: a CR that fills the piece takes its LF with it.
void TakeLineFeedBehindReturn(File* file, const char* buffer, Piece* piece) {
  if (!HasTextLineEnds(file) || buffer[piece->length - 1] != '\r') return;
  ReadAhead* ahead = &file->ahead;
  if (ahead->start == ahead->end && !FillAhead(file)) return;
  if (ahead->bytes[ahead->start] != '\n') return;
  ++ahead->start;
  piece->hasLineEnd = true;
}

// What came before a failure is not handed out: the next call begins with the same line.
void PutBack(const File* file, Piece* piece) {
  platform::SeekDescriptor(file->descriptor, -static_cast<int64_t>(piece->length), FileSeek_Current);
  piece->length = 0;
}

// The bytes up to the next LF and with it, at most fullLength of them. Empty at the end and on failure, when
// lastStatus tells which.
Piece TakePiece(File* file, uint32_t fullLength, char* buffer) {
  Piece piece{0, false};
  file->lastStatus = Error_None;
  while (piece.length < fullLength && !piece.hasLineEnd) {
    if (file->ahead.start == file->ahead.end && !FillAhead(file)) break;
    TakeAhead(&file->ahead, fullLength, buffer, &piece);
  }
  if (piece.length == fullLength && !piece.hasLineEnd) TakeLineFeedBehindReturn(file, buffer, &piece);
  if (file->lastStatus == Error_Ended && piece.length != 0) file->lastStatus = Error_None;
  if (file->lastStatus != Error_None && piece.length != 0) PutBack(file, &piece);
  return piece;
}

// ---- opening and closing -----------------------------------------------------------------------

const StreamOperations* Operations();

// The record with its two names behind it, or null.
File* NewRecord(const char* name, const char* removalName) {
  const size_t nameSize = strlen(name) + 1;
  const size_t removalSize = strlen(removalName) + 1;
  File* file = static_cast<File*>(iMemory_NewCleared(sizeof(File) + nameSize + removalSize));
  if (file == nullptr) return nullptr;
  Stream_Init(StreamType_File, Operations(), &file->stream);
  file->name = reinterpret_cast<char*>(file + 1);
  file->removalName = file->name + nameSize;
  memcpy(file->name, name, nameSize);
  memcpy(file->removalName, removalName, removalSize);
  return file;
}

struct OpenRequest {
  uint32_t mode;
  bool mustBeNew;
  bool isPrivate;
};

// Opens the C stream of a record and fills in what depends on it.
bool OpenRecord(File* file, const char* systemName, const OpenRequest& request) {
  const ModeRow& row = kModes[request.mode & kModeNumberMask];
  // Kept: mode 8 is binary even where text is asked for; logs have always been written so.
  const bool isText = (request.mode & FileMode_Text) != 0 && row.bits != kAppendBits;
  file->cStream = platform::OpenStream(systemName, {row.cMode, isText, request.mustBeNew, request.isPrivate});
  if (file->cStream == nullptr) return false;
  file->descriptor = platform::DescriptorOf(file->cStream);
  file->mode = row.bits | (isText ? FileMode_Text : 0);
  file->lastUse = FileUse::Unknown;
  if (row.bits == kAppendBits) platform::SeekDescriptor(file->descriptor, 0, FileSeek_End);
  return true;
}

ErrorCode Open(const char* name, const OpenRequest& request, File** file) {
  if (file == nullptr) return Error_Invalid;
  *file = nullptr;
  if (name == nullptr) return Error_Invalid;
  if (kModes[request.mode & kModeNumberMask].cMode == nullptr) return Error_Fail;

  char systemName[kFileNameSize];
  char absoluteName[kFileNameSize];
  if (iFile_ToSystemName(name, systemName) != Error_None) return Error_Fail;
  const bool isAbsolute = platform::AbsoluteName(systemName, absoluteName);
  Owned<File, Memory_Delete> record(NewRecord(name, isAbsolute ? absoluteName : systemName));
  if (!record) return Error_Memory;
  if (!OpenRecord(record.get(), systemName, request))
    return iError_Record(Error_Fail, "File_Open", name, platform::LastSystemError());
  *file = record.release();
  return Error_None;
}

// A name that leads to another file by now is left alone.
ErrorCode Remove(const char* removalName) {
  if (platform::RemoveFile(removalName)) return Error_None;
  const ErrorCode status = iError_FromLastSystem("File_Close", removalName);
  return status == Error_NotFound ? Error_None : status;
}

int CloseStream(FILE* stream) {
  const CloseMethod method = closeMethod.load();
  return method != nullptr ? method(stream) : fclose(stream);
}

// Closes the C stream, removes the file where that is due, and frees the record.
ErrorCode CloseRecord(File* file, bool removeIncomplete) {
  const bool isTemporary = (file->mode & kFileMode_Temporary) != 0;
  if (file->lastUse == FileUse::Gathering) WriteGathered(file);
  iLargeBuffer_GiveBack(file->gathered);
  const bool mayRemove = (isTemporary || removeIncomplete) &&
                         platform::NameLeadsToDescriptor(file->removalName, file->descriptor);
  const ErrorCode lostOutput = file->lostOutput;
  ErrorCode status = CloseStream(file->cStream) == 0 ? lostOutput : SystemStatus(file);
  if (mayRemove && (isTemporary || status != Error_None)) {
    const ErrorCode removed = Remove(file->removalName);
    if (status == Error_None) status = removed;
  }
  Memory_Delete(file);
  return status;
}

// ---- the stream type ---------------------------------------------------------------------------

ErrorCode StreamDelete(Stream* stream) {
  return File_Close(FileOf(stream));
}

uint32_t StreamRead(Stream* stream, uint32_t count, void* buffer) {
  return File_Read(FileOf(stream), count, buffer);
}

uint32_t StreamReadAvail(Stream* stream) {
  constexpr int64_t kMost = UINT32_MAX - 1;  // all ones would mean that nothing is known
  const int64_t position = File_Tell64(FileOf(stream));
  const int64_t size = iFile_Size64(FileOf(stream));
  if (position < 0 || size <= position) return 0;
  return static_cast<uint32_t>(std::min(size - position, kMost));
}

uint32_t StreamWrite(Stream* stream, uint32_t count, const void* buffer) {
  return File_Write(FileOf(stream), count, buffer);
}

ErrorCode StreamError(Stream* stream) {
  return FileOf(stream)->lastStatus;
}

constexpr StreamOperations kOperations = {
    StreamDelete, StreamRead, StreamReadAvail, StreamWrite, StreamError, nullptr,
};

const StreamOperations* Operations() {
  return &kOperations;
}

}  // namespace

// ---- internal functions ------------------------------------------------------------------------

void iFile_SetCloseMethod(int (*close)(FILE* stream)) {
  closeMethod.store(close);
}

ErrorCode iFile_OpenNew(const char* name, uint32_t mode, bool isPrivate, File** file) {
  const ErrorCode status = Open(name, {mode, true, isPrivate}, file);
  if (status != Error_Fail) return status;
  FileState state;
  const bool isTaken = File_GetState(name, &state) == Error_None && state.exists != 0;
  return isTaken ? Error_Exists : status;
}

void iFile_SetGathering(File* file, bool mayGather) {
  file->mayGather = mayGather;
}

ErrorCode iFile_CloseComplete(File* file) {
  return CloseRecord(file, true);
}

int64_t iFile_Size64(File* file) {
  platform::FileInformation information;
  if (!PrepareFor(file, FileUse::Bytes)) return -1;
  if (!platform::GetDescriptorInformation(file->descriptor, &information)) return -1;
  return static_cast<int64_t>(information.sizeBytes);
}

int32_t iFile_ScanPiece(File* file, int32_t size, char* buffer, bool* isCut) {
  if (file == nullptr || buffer == nullptr || size < 2) return -1;
  buffer[0] = '\0';
  if (!PrepareFor(file, FileUse::Lines)) return -1;
  const auto fullLength = static_cast<uint32_t>(size - 1);
  const Piece piece = TakePiece(file, fullLength, buffer);
  buffer[piece.length] = '\0';
  if (piece.length == 0) return -1;
  *isCut = piece.length == fullLength && !piece.hasLineEnd;
  size_t length = strlen(buffer);  // a byte 0 in a line ends its text
  while (length != 0 && (buffer[length - 1] == '\n' || buffer[length - 1] == '\r')) buffer[--length] = '\0';
  return static_cast<int32_t>(length);
}

void iFile_SetSystemFile(File* file) {
  systemFile.store(file);
}

ErrorCode iFile_CloseSystemFile() {
  File* file = systemFile.exchange(nullptr);
  return file != nullptr ? CloseRecord(file, false) : Error_None;
}

// ---- exported functions ------------------------------------------------------------------------

ErrorCode File_Open(const char* name, uint32_t mode, File** file) {
  return Open(name, {mode, false, false}, file);
}

ErrorCode File_Close(File* file) {
  if (file == nullptr) return Error_Invalid;
  if (file == systemFile.load()) return Error_None;
  return CloseRecord(file, false);
}

Stream* File_GetStream(File* file) {
  return file != nullptr ? &file->stream : nullptr;
}

void File_SetTemporary(File* file, int32_t flag) {
  if (file == nullptr) return;
  file->mode = flag != 0 ? file->mode | kFileMode_Temporary : file->mode & ~kFileMode_Temporary;
}

ErrorCode File_SetLock(File* /*file*/, ...) {
  Error("%s", "Unimplemented in Windows.");
  return Error_Fail;
}

uint32_t File_Read(File* file, uint32_t count, void* buffer) {
  if (file == nullptr || buffer == nullptr) return 0;
  if (!PrepareFor(file, FileUse::Bytes)) return 0;
  file->lastStatus = Error_None;
  return ReadBytes(file, count, static_cast<uint8_t*>(buffer));
}

uint32_t File_Write(File* file, uint32_t count, const void* buffer) {
  if (file == nullptr || buffer == nullptr) return 0;
  const bool gathers = Gathers(file, count);
  if (!PrepareFor(file, gathers ? FileUse::Gathering : FileUse::Bytes)) return 0;
  file->lastStatus = Error_None;
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  return gathers ? Gather(file, count, bytes) : WriteDirect(file, count, bytes);
}

int32_t File_Seek(File* file, int32_t seekMode, int32_t offset) {
  return File_Seek64(file, seekMode, offset);
}

int32_t File_Seek64(File* file, int32_t seekMode, int64_t offset) {
  if (seekMode < FileSeek_Start || seekMode > FileSeek_End) {
    Error("Invalid seekMode %d", static_cast<int>(seekMode));
    return Error_Fail;
  }
  if (file == nullptr) return -1;
  return MoveTo(file, seekMode, offset) >= 0 ? 0 : -1;
}

int32_t File_Tell(File* file) {
  const int64_t position = File_Tell64(file);
  return position <= INT32_MAX ? static_cast<int32_t>(position) : -1;
}

int64_t File_Tell64(File* file) {
  return file != nullptr ? MoveTo(file, FileSeek_Current, 0) : -1;
}

int32_t File_Print(File* file, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int32_t result = File_VPrint(file, format, arguments);
  va_end(arguments);
  return result;
}

int32_t File_VPrint(File* file, const char* format, va_list arguments) {
  if (file == nullptr || format == nullptr || !PrepareFor(file, FileUse::Printing)) return -1;
  clearerr(file->cStream);
  const int32_t result = vfprintf(file->cStream, format, arguments);
  file->lastStatus = Error_None;
  // Some C libraries count what they could not write.
  if (result >= 0 && !ferror(file->cStream)) return result;
  NoteLostOutput(file);
  return -1;
}

int32_t File_Flush(File* file) {
  if (file == nullptr) return -1;
  if (file->lastUse == FileUse::Gathering) return WriteGathered(file) ? 0 : -1;
  if (file->lastUse != FileUse::Printing) return 0;  // nothing is pending
  return WritePending(file) ? 0 : -1;
}

int32_t File_Sync(File* file) {
  return File_Flush(file);
}

int32_t File_FlushToDisk(File* file) {
  if (file == nullptr || !PrepareFor(file, FileUse::Bytes)) return -1;
  if (platform::FlushToDisk(file->descriptor)) return 0;
  file->lastStatus = SystemStatus(file);
  return -1;
}

int32_t File_ScanLine(File* file, int32_t size, char* buffer) {
  bool isCut = false;
  return iFile_ScanPiece(file, size, buffer, &isCut);
}

int32_t File_GetChar(File* file, uint32_t size, char* buffer, uint32_t* remaining, char** next) {
  const uint32_t count = File_Read(file, size, buffer);
  if (remaining != nullptr) *remaining = count != 0 ? count - 1 : 0;
  if (next != nullptr) *next = count != 0 ? buffer + 1 : buffer;
  return count != 0 ? static_cast<uint8_t>(buffer[0]) : 0;
}

int32_t File_Truncate(File* file) {
  if (file == nullptr || !PrepareFor(file, FileUse::Bytes)) return -1;
  if (platform::TruncateDescriptor(file->descriptor)) return 0;
  file->lastStatus = SystemStatus(file);
  return -1;
}

int32_t File_GetStateOpenFile(File* file, FileState* state) {
  return File_GetStateOpenFile64(file, state, nullptr);
}

int32_t File_GetStateOpenFile64(File* file, FileState* state, uint64_t* sizeBytes) {
  if (sizeBytes != nullptr) *sizeBytes = 0;
  if (state == nullptr) return -1;
  *state = {};
  platform::FileInformation information;
  if (file == nullptr || !PrepareFor(file, FileUse::Bytes)) return -1;
  if (!platform::GetDescriptorInformation(file->descriptor, &information)) return -1;
  state->exists = 1;
  state->isDirectory = information.isDirectory ? 1 : 0;
  state->size = static_cast<uint32_t>(information.sizeBytes);
  iFile_TimeFromUnits(information.modified, &state->modificationTime);
  state->modificationTime.milliseconds = 0;
  if (sizeBytes != nullptr) *sizeBytes = information.sizeBytes;
  return 0;
}
