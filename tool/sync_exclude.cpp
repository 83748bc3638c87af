#include "tool/sync_exclude.h"

#include <algorithm>
#include <optional>

#include "tool/text.h"

namespace tool {
namespace {

// A character at the start of a text that is not empty; a byte that is not UTF-8 counts as one.
std::size_t CharacterBytes(std::string_view text) {
  return std::max<std::size_t>(FirstCharacter(text).bytes, 1);
}

// Orders characters: single bytes that are not UTF-8 behind all others.
std::uint32_t CodeOf(std::string_view text) {
  const Character character = FirstCharacter(text);
  constexpr std::uint32_t kBehindAll = 0x110000;
  return character.bytes != 0 ? character.code : kBehindAll + static_cast<unsigned char>(text[0]);
}

// A set in brackets at the start of the pattern.
struct Set {
  std::size_t bytes;
  bool hasIt;
};

// Nothing when the bracket is not closed: it stands for itself.
std::optional<Set> TakeSet(std::string_view pattern, std::uint32_t code) {
  std::size_t at = 1;
  const bool isInverse = at < pattern.size() && (pattern[at] == '!' || pattern[at] == '^');
  if (isInverse) at++;
  bool hasIt = false;
  for (bool isFirst = true; at < pattern.size() && (isFirst || pattern[at] != ']'); isFirst = false) {
    const std::uint32_t low = CodeOf(pattern.substr(at));
    at += CharacterBytes(pattern.substr(at));
    std::uint32_t high = low;
    if (at + 1 < pattern.size() && pattern[at] == '-' && pattern[at + 1] != ']') {
      high = CodeOf(pattern.substr(at + 1));
      at += 1 + CharacterBytes(pattern.substr(at + 1));
    }
    hasIt = hasIt || (low <= code && code <= high);
  }
  if (at >= pattern.size()) return std::nullopt;
  return Set{at + 1, hasIt != isInverse};
}

// What the pattern's first element, which is no star, takes of a text that is not empty; 0 for nothing.
struct Step {
  std::size_t patternBytes;
  std::size_t textBytes;
};

Step TakeOne(std::string_view pattern, std::string_view text) {
  const std::size_t textBytes = CharacterBytes(text);
  const bool isSeparator = text[0] == '/';
  if (pattern[0] == '?') return {1, isSeparator ? 0 : textBytes};
  if (pattern[0] == '[') {
    const auto set = TakeSet(pattern, CodeOf(text));
    if (set) return {set->bytes, set->hasIt && !isSeparator ? textBytes : 0};
  }
  return {1, pattern[0] == text[0] ? std::size_t{1} : 0};
}

// Goes back to the last star only, or to the last double one where that is not enough: no pattern takes more
// than some steps for each byte of the text and of itself.
bool MatchesWhole(std::string_view pattern, std::string_view text) {
  struct Star {
    std::size_t pattern = std::string_view::npos;  // behind it
    std::size_t text = 0;                          // the end of what it takes
  };
  Star single;
  Star twin;
  std::size_t p = 0;
  std::size_t t = 0;
  while (t < text.size() || p < pattern.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      const bool isTwin = pattern.substr(p, 2) == "**";
      p += isTwin ? 2 : 1;
      (isTwin ? twin : single) = {p, t};
      if (isTwin) single = {};
      continue;
    }
    if (p < pattern.size() && t < text.size()) {
      const Step step = TakeOne(pattern.substr(p), text.substr(t));
      if (step.textBytes != 0) {
        p += step.patternBytes;
        t += step.textBytes;
        continue;
      }
    }
    if (single.pattern != std::string_view::npos && single.text < text.size() && text[single.text] != '/') {
      t = single.text += CharacterBytes(text.substr(single.text));
      p = single.pattern;
    } else if (twin.pattern != std::string_view::npos && twin.text < text.size()) {
      t = twin.text += CharacterBytes(text.substr(twin.text));
      p = twin.pattern;
      single = {};
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

bool IsExcluded(std::string_view pattern, std::string_view path, bool isFolder, bool ignoresCase) {
  if (ignoresCase) return IsExcluded(LowerCase(pattern), LowerCase(path), isFolder, false);
  const bool isForFolders = pattern.size() > 1 && pattern.back() == '/';
  if (isForFolders && !isFolder) return false;
  if (isForFolders) pattern.remove_suffix(1);
  const bool isPath = pattern.find('/') != std::string_view::npos;
  if (!isPath) return MatchesWhole(pattern, path.substr(path.rfind('/') + 1));
  if (pattern.front() == '/') pattern.remove_prefix(1);
  return MatchesWhole(pattern, path);
}

bool Excludes::Take(std::string_view path, bool isFolder) const {
  return std::any_of(patterns_.begin(), patterns_.end(), [&](const std::string& pattern) {
    return IsExcluded(pattern, path, isFolder, ignoresCase_);
  });
}

}  // namespace tool
