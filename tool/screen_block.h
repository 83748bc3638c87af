// Lines at the bottom of a terminal that are drawn again and again while messages pass above them.
#ifndef TOOL_SCREEN_BLOCK_H
#define TOOL_SCREEN_BLOCK_H

#include <string>
#include <vector>

namespace tool {

// Knows what stands on the screen and composes what has to be written next; writes nothing itself. The cursor
// stays behind the last line of the block. A block of one line needs no escape sequence.
class ScreenBlock {
 public:
  // The bytes that print `messages`, whole lines with their ends or nothing, above the block and make `lines`
  // the block. Empty when nothing changes. The lines are as wide as those before and shorter than `columns`.
  std::string Replace(const std::string& messages, const std::vector<std::string>& lines, unsigned columns);

 private:
  std::string ToFirstLine() const;
  std::string Erase(unsigned columns) const;

  std::vector<std::string> shown_;
};

}  // namespace tool

#endif
