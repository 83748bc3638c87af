// A terminal in memory: what a person sees of the bytes that a program writes.
#ifndef TESTS_TOOLUNIT_SCREEN_H
#define TESTS_TOOLUNIT_SCREEN_H

#include <cstddef>
#include <string>
#include <vector>

// Knows carriage return, line feed (with one implied), cursor up, erase below and colours; anything else that
// controls a terminal is kept in Unknown. Each byte is a column of its own, so texts are ASCII.
class Screen {
 public:
  Screen(std::size_t rows, std::size_t columns) : rows_(rows), columns_(columns), lines_(1) {}

  void Show(const std::string& bytes) {
    for (const char byte : bytes) Take(byte);
  }

  // The rows from the first ever written, those that went out at the top included, without spaces at their
  // ends and without empty rows at the end.
  std::vector<std::string> Lines() const {
    std::vector<std::string> trimmed;
    for (const std::string& line : lines_) trimmed.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
    while (!trimmed.empty() && trimmed.back().empty()) trimmed.pop_back();
    return trimmed;
  }

  bool Wrapped() const { return wrapped_; }
  const std::string& Unknown() const { return unknown_; }

 private:
  std::size_t Top() const { return lines_.size() > rows_ ? lines_.size() - rows_ : 0; }

  void Take(char byte) {
    if (!sequence_.empty()) return TakeSequence(byte);
    if (byte == '\x1b') {
      sequence_ = byte;
    } else if (byte == '\r') {
      column_ = 0;
    } else if (byte == '\n') {
      column_ = 0;
      NextRow();
    } else if (static_cast<unsigned char>(byte) < ' ') {
      unknown_ += byte;
    } else {
      Put(byte);
    }
  }

  void TakeSequence(char byte) {
    sequence_ += byte;
    const bool ends = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
    if (!ends) return;
    if (byte == 'A') {
      const std::size_t up = std::stoul(sequence_.substr(2));
      row_ = row_ >= Top() + up ? row_ - up : Top();
    } else if (sequence_ == "\x1b[J") {
      lines_.resize(row_ + 1);
      lines_[row_].resize(column_, ' ');
    } else if (byte != 'm') {
      unknown_ += sequence_;
    }
    sequence_.clear();
  }

  void Put(char byte) {
    if (column_ == columns_) {
      wrapped_ = true;
      column_ = 0;
      NextRow();
    }
    if (lines_[row_].size() <= column_) lines_[row_].resize(column_ + 1, ' ');
    lines_[row_][column_++] = byte;
  }

  void NextRow() {
    if (++row_ == lines_.size()) lines_.emplace_back();
  }

  const std::size_t rows_, columns_;
  std::vector<std::string> lines_;
  std::size_t row_ = 0, column_ = 0;
  bool wrapped_ = false;
  std::string sequence_, unknown_;
};

#endif
