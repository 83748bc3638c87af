// Texts shown to a person and names made from what servers send. Nothing here does I/O.
#ifndef TOOL_TEXT_H
#define TOOL_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

// A decoded UTF-8 character.
struct Character {
  std::size_t bytes;  // 0: not UTF-8
  std::uint32_t code;
};

// Decodes the character at the start of a text that is not empty.
Character FirstCharacter(std::string_view text);

// A text from outside with every byte that could control a terminal replaced by "?": control bytes and DEL,
// bytes that are not UTF-8, and the UTF-8 forms of control and writing-direction characters.
std::string Printable(std::string_view text);

// Every line of a text made printable, behind an indent; its line end becomes a single newline.
std::string PrintableLines(std::string_view indent, std::string_view text);

// A name for a file in the current folder, made from the last part of a path that a person or a server gave:
// no folder, no device, no hidden meaning, and short enough for ".part" and a number to follow.
std::string SafeFileName(std::string_view path);

// "512 bytes", "45.2 MiB".
std::string SizeText(std::uint64_t bytes);

// "1234567" as "1,234,567".
std::string GroupedNumber(std::uint64_t number);

// The text with "********" in the place of a secret. A secret of fewer than 8 characters is replaced as a
// whole word only, so that it does not mask letters of other words; a longer one everywhere.
std::string MaskSecret(std::string_view text, std::string_view secret);

std::string LowerCase(std::string_view text);

}  // namespace tool

#endif
