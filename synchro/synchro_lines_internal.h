// The lines of a listing or a journal. One that is longer than any that means something, or that holds a byte
// 0, is left out whole, however long it is.
#pragma once

#include <cstdint>

#include "qz/error.h"
#include "qz/file.h"

inline constexpr uint32_t kSynchroLongestLine = 4096;

class SynchroLines {
 public:
  explicit SynchroLines(File* file) : file_(file) {}

  // False at the end of the file, and after a failure, which Status tells.
  bool Next();

  // The line at hand, without its end: LF with all CR before it, or the end of the file.
  char* Text() const { return text_; }
  uint32_t Length() const { return length_; }
  // False for a last line without LF.
  bool IsEnded() const { return isEnded_; }
  // Whether a line was left out so far.
  bool HasLeftOut() const { return hasLeftOut_ || isTooLong_; }
  ErrorCode Status() const { return status_; }

 private:
  bool TakeLine(char* lineFeed);
  bool TakeRest();
  uint32_t HeldLength() const;
  bool IsFull() const;
  void DropBlock();
  bool Fill();

  File* file_;
  ErrorCode status_ = Error_None;
  bool isAtEnd_ = false;
  bool isTooLong_ = false;  // what is read belongs to a line that is left out
  bool isEnded_ = false;
  bool hasLeftOut_ = false;
  uint32_t start_ = 0;
  uint32_t end_ = 0;
  char* text_ = nullptr;
  uint32_t length_ = 0;
  char block_[2 * kSynchroLongestLine + 1];
};
