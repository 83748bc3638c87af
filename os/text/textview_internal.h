// Parts of texts. std::string_view::substr throws for a place behind the end, and one throw that can be
// reached links the whole C++ runtime into qz.dll.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

// The text from `first` on, at most `length` bytes of it; empty when the text ends before.
inline std::string_view iTextView_Part(std::string_view text, size_t first,
                                       size_t length = std::string_view::npos) {
  text.remove_prefix(std::min(first, text.size()));
  return text.substr(0, length);
}
