#include "tool/screen_block.h"

namespace tool {
namespace {

std::string Joined(const std::vector<std::string>& lines) {
  std::string joined;
  for (const std::string& line : lines) joined += line + "\n";
  if (!joined.empty()) joined.pop_back();
  return joined;
}

}  // namespace

ScreenUpdate ScreenBlock::Replace(const std::string& messages, const std::vector<std::string>& lines,
                                  unsigned columns) {
  ScreenUpdate update;
  if (messages.empty() && lines == shown_) return update;
  const bool drawnOver = messages.empty() && lines.size() >= shown_.size();
  if (shown_.size() > 1) {
    update.linesUp = shown_.size() - 1;
    update.erasesBelow = !drawnOver;
  } else if (!shown_.empty()) {
    update.text = drawnOver ? "\r" : "\r" + std::string(columns - 1, ' ') + "\r";
  }
  update.text += messages + Joined(lines);
  shown_ = lines;
  return update;
}

}  // namespace tool
