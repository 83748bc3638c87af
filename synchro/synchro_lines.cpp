// Lines out of blocks of a file.
#include <cstring>

#include "synchro/synchro_lines_internal.h"

bool SynchroLines::Next() {
  for (;;) {
    auto* const lineFeed = static_cast<char*>(memchr(block_ + start_, '\n', end_ - start_));
    if (lineFeed != nullptr) {
      if (TakeLine(lineFeed)) return true;
      hasLeftOut_ = true;
      continue;
    }
    if (isAtEnd_) return TakeRest();
    if (HeldLength() > kSynchroLongestLine || IsFull()) DropBlock();
    if (!Fill()) return false;
  }
}

// Of the line that has no LF yet. CR may turn out to be its end.
uint32_t SynchroLines::HeldLength() const {
  uint32_t end = end_;
  while (end > start_ && block_[end - 1] == '\r') --end;
  return end - start_;
}

bool SynchroLines::IsFull() const {
  return end_ - start_ == sizeof block_ - 1;
}

// False when the line is left out.
bool SynchroLines::TakeLine(char* lineFeed) {
  char* const begin = block_ + start_;
  start_ = static_cast<uint32_t>(lineFeed + 1 - block_);
  char* end = lineFeed;
  while (end > begin && end[-1] == '\r') --end;
  *end = '\0';
  text_ = begin;
  length_ = static_cast<uint32_t>(end - begin);
  isEnded_ = true;
  const bool wasTooLong = isTooLong_;
  isTooLong_ = false;
  return !wasTooLong && length_ <= kSynchroLongestLine && strlen(begin) == length_;
}

// What stands behind the last LF.
bool SynchroLines::TakeRest() {
  if (start_ == end_) return false;
  const bool isTaken = TakeLine(block_ + end_);
  if (!isTaken) hasLeftOut_ = true;
  start_ = end_;
  isEnded_ = false;
  return isTaken;
}

// The line has become too long: what was read of it goes, the rest as it comes.
void SynchroLines::DropBlock() {
  isTooLong_ = true;
  start_ = end_ = 0;
}

bool SynchroLines::Fill() {
  memmove(block_, block_ + start_, end_ - start_);
  end_ -= start_;
  start_ = 0;
  const uint32_t count = File_Read(file_, static_cast<uint32_t>(sizeof block_) - 1 - end_, block_ + end_);
  end_ += count;
  if (count != 0) return true;
  const ErrorCode status = Stream_Error(File_GetStream(file_));
  if (status != Error_Ended && status != Error_None) status_ = status;
  isAtEnd_ = true;
  return status_ == Error_None;
}
