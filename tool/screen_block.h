// Lines at the bottom of a terminal that are drawn again and again while messages pass above them.
#ifndef TOOL_SCREEN_BLOCK_H
#define TOOL_SCREEN_BLOCK_H

#include <cstddef>
#include <string>
#include <vector>

namespace tool {

// What makes the next state of the screen out of the one before.
struct ScreenUpdate {
  std::size_t linesUp = 0;   // the cursor moves up so many lines and to the first column
  bool erasesBelow = false;  // then all from the cursor to the end of the screen is erased
  std::string text;          // then this is printed

  bool operator==(const ScreenUpdate&) const = default;
};

// Knows what stands on the screen and composes what has to be written next; writes nothing itself. The cursor
// stays behind the last line of the block. A block of one line needs no cursor that moves up.
class ScreenBlock {
 public:
  // Prints `messages`, whole lines with their ends or nothing, above the block and makes `lines` the block.
  // Nothing when nothing changes. The lines are as wide as those before and shorter than `columns`.
  ScreenUpdate Replace(const std::string& messages, const std::vector<std::string>& lines, unsigned columns);

 private:
  std::vector<std::string> shown_;
};

}  // namespace tool

#endif
