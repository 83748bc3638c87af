// Documents from and to files.
//
// A file is read as bytes on both platforms: as text it would end at the first byte 0x1A on one of them, and
// writing the document back would lose the rest.
#include <algorithm>
#include <cstring>

#include "config/config_format.h"
#include "config/config_internal.h"
#include "config/configspec_internal.h"
#include "os/core/error_internal.h"
#include "os/core/memory_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "qz/config.h"
#include "qz/error.h"
#include "qz/memory.h"

namespace {

// ---- lines -------------------------------------------------------------------------------------

// Gives out the lines of a file without their ends. A line end is LF with all CR before it; at the end of the
// file also CR alone. A line that is longer than kConfigLineLength comes in pieces. A byte 0 ends a text.
class LineReader {
 public:
  explicit LineReader(File* file) : file_(file) {}

  // False at the end of the file, and after a failure, which Status tells.
  bool Next() {
    if (TakeWholeLine()) return true;
    bool isStarted = false;
    length_ = 0;
    textLength_ = kConfigLineLength;
    text_ = piece_;
    while (HasMore()) {
      isStarted = true;
      if (block_[start_] == '\n') {
        ++start_;
        returns_ = 0;
        break;
      }
      if (!TakeUpToLineFeed()) break;
    }
    textLength_ = std::min(textLength_, length_);
    piece_[textLength_] = '\0';
    return isStarted && status_ == Error_None;
  }

  const char* Text() const { return text_; }
  uint32_t TextLength() const { return textLength_; }
  ErrorCode Status() const { return status_; }

 private:
  bool HasMore() {
    if (start_ < end_) return true;
    start_ = 0;
    end_ = File_Read(file_, sizeof block_, block_);
    if (end_ != 0) return true;
    const ErrorCode status = Stream_Error(File_GetStream(file_));
    if (status != Error_Ended) status_ = status;
    return false;
  }

  // Where the CR before an end begin.
  static char* TextEnd(const char* begin, char* end) {
    while (end > begin && end[-1] == '\r') --end;
    return end;
  }

  // Gives out a line where it was read, when all of it is there: most lines need no copy.
  bool TakeWholeLine() {
    char* const begin = block_ + start_;
    auto* const lineFeed = static_cast<char*>(memchr(begin, '\n', end_ - start_));
    if (lineFeed == nullptr || lineFeed - begin > static_cast<ptrdiff_t>(kConfigLineLength) || returns_ != 0)
      return false;
    char* const textEnd = TextEnd(begin, lineFeed);
    *textEnd = '\0';
    text_ = begin;
    textLength_ = static_cast<uint32_t>(strlen(begin));
    start_ += static_cast<uint32_t>(lineFeed + 1 - begin);
    return true;
  }

  // False when the piece is full and there is more text. CR before the LF wait, for they may belong to the
  // line end.
  bool TakeUpToLineFeed() {
    char* const begin = block_ + start_;
    auto* const lineFeed = static_cast<char*>(memchr(begin, '\n', end_ - start_));
    char* const end = lineFeed != nullptr ? lineFeed : block_ + end_;
    const char* const textEnd = TextEnd(begin, end);
    if (textEnd != begin && !TakeText(static_cast<uint32_t>(textEnd - begin))) return false;
    returns_ += static_cast<uint64_t>(end - textEnd);
    start_ += static_cast<uint32_t>(end - textEnd);
    return true;
  }

  // Moves text to the piece, behind the CR that turned out to be text. False when not all of it has room.
  bool TakeText(uint32_t length) {
    const auto returns = static_cast<uint32_t>(std::min<uint64_t>(returns_, kConfigLineLength - length_));
    memset(piece_ + length_, '\r', returns);
    length_ += returns;
    returns_ -= returns;
    const uint32_t count = std::min(length, kConfigLineLength - length_);
    NoteZero(block_ + start_, count);
    memcpy(piece_ + length_, block_ + start_, count);
    length_ += count;
    start_ += count;
    return count == length;
  }

  void NoteZero(const char* bytes, uint32_t count) {
    const auto* zero = static_cast<const char*>(memchr(bytes, '\0', count));
    if (zero == nullptr) return;
    textLength_ = std::min(textLength_, length_ + static_cast<uint32_t>(zero - bytes));
  }

  File* file_;
  ErrorCode status_ = Error_None;
  uint64_t returns_ = 0;  // CR that were read and are not yet known to be text
  uint32_t start_ = 0;    // of what was read and is not yet taken
  uint32_t end_ = 0;
  uint32_t length_ = 0;      // of the piece
  uint32_t textLength_ = 0;  // up to its first byte 0
  const char* text_ = piece_;
  char piece_[kConfigLineLength + 1];
  char block_[4096];
};

ErrorCode CheckReadable(const char* path) {
  int32_t isDirectory = 0;
  if (File_Exists(path, &isDirectory) == 0) return iError_Record(Error_NotFound, "Config_Read", path);
  return isDirectory == 0 ? Error_None : iError_Record(Error_Invalid, "Config_Read", path);
}

ErrorCode ReadLines(Config* config, File* file) {
  LineReader reader(file);
  ConfigSection* current = config->first;
  while (reader.Next()) {
    ConfigLine* line;
    const ErrorCode status = iConfig_AddText(config, reader.Text(), reader.TextLength(),
                                             ConfigDuplicate::KeepsOld, &current, &line);
    if (status != Error_None) return status;
  }
  return reader.Status();
}

// ---- columns -----------------------------------------------------------------------------------

uint32_t CountColumns(const Config& config) {
  uint32_t count = 0;
  for (const ConfigRecord* record = config.first; record != nullptr; record = record->next) {
    if (record->code != ConfigCode_Comment) count = std::max(count, iConfig_ContentOf(*record).count);
  }
  return count;
}

// The widths that all data lines need, in a block of their own (Memory_Delete).
ErrorCode MakeWidths(const Config& config, ConfigWidths* widths) {
  *widths = {0, nullptr};
  const uint32_t count = config.spec->HasNotField() ? CountColumns(config) : 0;
  if (count == 0) return Error_None;
  widths->widths = static_cast<uint32_t*>(iMemory_NewCleared(count * sizeof(uint32_t)));
  if (widths->widths == nullptr) return Error_Memory;
  widths->count = count;
  for (const ConfigRecord* record = config.first; record != nullptr; record = record->next) {
    if (record->code == ConfigCode_Line) iConfig_Widen(iConfig_ContentOf(*record), widths);
  }
  return Error_None;
}

// ---- writing -----------------------------------------------------------------------------------

bool PrintText(void* context, const char* text, uint32_t length) {
  return File_Print(static_cast<File*>(context), "%s", text) == static_cast<int32_t>(length);
}

bool WriteRecords(const Config& config, const ConfigWidths& widths, File* file) {
  ConfigOutput output;
  iConfig_StartOutput(PrintText, file, &output);
  for (const ConfigRecord* record = config.first; record != nullptr; record = record->next) {
    if (!iConfig_Format(*config.spec, *record, &widths, &output)) return false;
  }
  return iConfig_FlushOutput(&output);
}

}  // namespace

ErrorCode Config_Read(Config* config, const char* path) {
  if (config == nullptr || path == nullptr) return Error_Invalid;
  ErrorCode status = CheckReadable(path);
  if (status != Error_None) return status;
  Owned<File, File_Close> file;
  status = File_Open(path, FileMode_Read, file.out());
  return status == Error_None ? ReadLines(config, file.get()) : status;
}

ErrorCode Config_Write(Config* config, const char* path) {
  if (config == nullptr || path == nullptr) return Error_Invalid;
  ConfigWidths widths;
  ErrorCode status = MakeWidths(*config, &widths);
  const Owned<uint32_t, Memory_Delete> ownedWidths(widths.widths);
  if (status != Error_None) return status;
  FileReplacement replacement;
  status = iFile_BeginReplacement(path, FileMode_Write | FileMode_Text, &replacement);
  if (status != Error_None) return status;
  if (WriteRecords(*config, widths, replacement.file)) return iFile_CompleteReplacement(&replacement);
  iFile_AbandonReplacement(&replacement);
  return Error_Fail;
}
