#include "tool/screen_block.h"

namespace tool {
namespace {

constexpr const char* kEraseBelow = "\x1b[J";

std::string CursorUp(std::size_t lines) {
  return "\x1b[" + std::to_string(lines) + "A";
}

std::string Drawn(const std::vector<std::string>& lines) {
  std::string drawn;
  for (const std::string& line : lines) drawn += line + "\n";
  if (!drawn.empty()) drawn.pop_back();
  return drawn;
}

}  // namespace

std::string ScreenBlock::Replace(const std::string& messages, const std::vector<std::string>& lines,
                                 unsigned columns) {
  if (messages.empty() && lines == shown_) return "";
  const bool drawnOver = messages.empty() && !lines.empty();
  std::string bytes = drawnOver ? ToFirstLine() : Erase(columns) + messages;
  bytes += Drawn(lines);
  if (drawnOver && lines.size() < shown_.size()) bytes += kEraseBelow;
  shown_ = lines;
  return bytes;
}

std::string ScreenBlock::ToFirstLine() const {
  return shown_.size() > 1 ? CursorUp(shown_.size() - 1) + "\r" : "\r";
}

std::string ScreenBlock::Erase(unsigned columns) const {
  if (shown_.empty()) return "";
  if (shown_.size() > 1) return ToFirstLine() + kEraseBelow;
  return "\r" + std::string(columns - 1, ' ') + "\r";
}

}  // namespace tool
