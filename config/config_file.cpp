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
// file also CR alone. What is longer than a piece comes in several pieces.
class LineReader {
 public:
  explicit LineReader(File* file) : file_(file) {}

  // False at the end of the file, and after a failure, which Status tells.
  bool Next(char (&piece)[kConfigLineLength + 1]) {
    uint32_t length = 0;
    bool isStarted = false;
    while (HasMore()) {
      isStarted = true;
      const char c = block_[start_];
      if (c != '\n' && c != '\r') {
        length += TakeReturns(piece + length, kConfigLineLength - length);
        if (length == kConfigLineLength) break;
        length += TakeText(piece + length, kConfigLineLength - length);
      } else {
        ++start_;
        returns_ = c == '\r' ? returns_ + 1 : 0;
      }
      if (c == '\n') break;
    }
    piece[length] = '\0';
    return isStarted && status_ == Error_None;
  }

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

  // The CR that turned out to be text.
  uint32_t TakeReturns(char* text, uint32_t room) {
    const auto count = static_cast<uint32_t>(std::min<uint64_t>(returns_, room));
    memset(text, '\r', count);
    returns_ -= count;
    return count;
  }

  uint32_t TakeText(char* text, uint32_t room) {
    const char* const from = block_ + start_;
    const uint32_t most = std::min(room, end_ - start_);
    uint32_t count = 0;
    while (count < most && from[count] != '\n' && from[count] != '\r') ++count;
    memcpy(text, from, count);
    start_ += count;
    return count;
  }

  File* file_;
  ErrorCode status_ = Error_None;
  uint64_t returns_ = 0;  // CR that were read and may belong to a line end
  uint32_t start_ = 0;    // of what was read and is not yet taken
  uint32_t end_ = 0;
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
  ConfigLine* line;
  char text[kConfigLineLength + 1];
  while (reader.Next(text)) {
    const ErrorCode status = iConfig_AddText(config, text, ConfigDuplicate::KeepsOld, &current, &line);
    if (status != Error_None) return status;
  }
  return reader.Status();
}

// ---- columns -----------------------------------------------------------------------------------

const ConfigFields* ContentOrNull(const ConfigRecord* record) {
  return record->code == ConfigCode_Comment ? nullptr : &iConfig_ContentOf(*record);
}

uint32_t CountColumns(const Config& config) {
  uint32_t count = 0;
  for (const ConfigRecord* record = config.first; record != nullptr; record = record->next) {
    const ConfigFields* const content = ContentOrNull(record);
    if (content != nullptr) count = std::max(count, content->count);
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
