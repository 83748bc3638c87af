// How many columns of a terminal a text takes. The texts hold no control characters (see Printable). Nothing
// here does I/O.
#ifndef TOOL_TEXT_WIDTH_H
#define TOOL_TEXT_WIDTH_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

// 2 for East Asian wide characters and emoji, 0 for combining marks, else 1.
unsigned ColumnsOf(std::uint32_t code);

std::size_t TextColumns(std::string_view text);

// The longest beginning that fits into so many columns. Marks stay with their character; a character with
// very many loses some.
std::string CutToColumns(std::string_view text, std::size_t columns);

// The same, with spaces behind it up to exactly so many columns.
std::string FitToColumns(std::string_view text, std::size_t columns);

}  // namespace tool

#endif
