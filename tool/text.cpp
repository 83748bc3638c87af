#include "tool/text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace tool {
namespace {

constexpr std::size_t kLongestName = 200;
constexpr std::string_view kForbiddenInNames = ":*?\"<>|";
constexpr unsigned char kDelete = 0x7F;
constexpr std::string_view kMask = "********";
constexpr std::size_t kLongSecret = 8;

// Names that mean a device on Windows, with any extension.
constexpr std::array<std::string_view, 6> kDevices = {"con", "prn", "aux", "nul", "conin$", "conout$"};

bool IsContinuation(unsigned char byte) {
  return (byte & 0xC0u) == 0x80u;
}

bool ControlsTerminal(std::uint32_t code) {
  if (code < 0x20u || (code >= 0x7Fu && code <= 0x9Fu)) return true;
  const bool separator = code == 0x2028u || code == 0x2029u;
  const bool direction = code == 0x200Eu || code == 0x200Fu || (code >= 0x202Au && code <= 0x202Eu) ||
                         (code >= 0x2066u && code <= 0x2069u);
  return separator || direction;
}

bool IsNumberedDevice(std::string_view stem) {
  if (stem.size() != 4 || stem[3] < '0' || stem[3] > '9') return false;
  return stem.substr(0, 3) == "com" || stem.substr(0, 3) == "lpt";
}

bool IsDevice(std::string_view name) {
  std::string stem = LowerCase(name.substr(0, name.find('.')));
  while (!stem.empty() && stem.back() == ' ') stem.pop_back();
  return IsNumberedDevice(stem) || std::find(kDevices.begin(), kDevices.end(), stem) != kDevices.end();
}

// Cuts in the stem, so that a file keeps its extension, and never inside a UTF-8 character.
std::string Shortened(const std::string& name) {
  if (name.size() <= kLongestName) return name;
  const std::size_t dot = name.rfind('.');
  constexpr std::size_t kLongestExtension = 16;
  const bool hasExtension = dot != std::string::npos && name.size() - dot <= kLongestExtension;
  const std::string extension = hasExtension ? name.substr(dot) : "";
  std::size_t cut = kLongestName - extension.size();
  while (cut > 0 && IsContinuation(static_cast<unsigned char>(name[cut]))) cut--;
  return name.substr(0, cut) + extension;
}

// Bytes of UTF-8 characters count as letters.
bool IsWordByte(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         (static_cast<unsigned char>(c) & 0x80u) != 0;
}

// Whether neither `begin` nor `end` is inside a word.
bool IsWholeWord(std::string_view text, std::size_t begin, std::size_t end) {
  const bool joinedBefore = begin > 0 && IsWordByte(text[begin - 1]) && IsWordByte(text[begin]);
  const bool joinedBehind = end < text.size() && IsWordByte(text[end]) && IsWordByte(text[end - 1]);
  return !joinedBefore && !joinedBehind;
}

}  // namespace

Character FirstCharacter(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80u) return {1, lead};
  const std::size_t bytes = lead >= 0xF0u ? 4 : lead >= 0xE0u ? 3 : 2;
  constexpr std::array<std::uint32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
  if (lead < 0xC2u || lead > 0xF4u || text.size() < bytes) return {0, 0};
  std::uint32_t code = lead & (0xFFu >> (bytes + 1));
  for (std::size_t i = 1; i < bytes; i++) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (!IsContinuation(byte)) return {0, 0};
    code = (code << 6) | (byte & 0x3Fu);
  }
  const bool surrogate = code >= 0xD800u && code <= 0xDFFFu;
  if (code < kSmallest[bytes] || code > 0x10FFFFu || surrogate) return {0, 0};
  return {bytes, code};
}

std::string Printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Character character = FirstCharacter(text);
    const std::size_t bytes = std::max<std::size_t>(character.bytes, 1);
    if (character.bytes == 0 || ControlsTerminal(character.code)) {
      result.push_back('?');
    } else {
      result.append(text.substr(0, bytes));
    }
    text.remove_prefix(bytes);
  }
  return result;
}

std::string PrintableLines(std::string_view indent, std::string_view text) {
  std::string output;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    while (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    output.append(indent).append(Printable(line)).append("\n");
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return output;
}

std::string SafeFileName(std::string_view path) {
  const std::size_t separator = path.find_last_of("/\\");
  std::string name(separator == std::string_view::npos ? path : path.substr(separator + 1));
  for (char& c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte == kDelete || kForbiddenInNames.find(c) != std::string_view::npos) c = '_';
  }
  if (name.empty() || name == "." || name == ".." || IsDevice(name)) return "_" + name;
  name = Shortened(name);
  // Windows drops these at the end of a name, which would make it another file's.
  if (name.back() == '.' || name.back() == ' ') name.back() = '_';
  return name;
}

std::string SizeText(std::uint64_t bytes) {
  constexpr std::array<const char*, 4> kUnits = {"KiB", "MiB", "GiB", "TiB"};
  if (bytes < 1024) return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
  double value = static_cast<double>(bytes) / 1024;
  std::size_t unit = 0;
  while (value >= 1023.95 && unit + 1 < kUnits.size()) {
    value /= 1024;
    unit++;
  }
  char buffer[48];
  std::snprintf(buffer, sizeof buffer, "%.1f %s", value, kUnits[unit]);
  return buffer;
}

std::string GroupedNumber(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t position = text.size(); position > 3; position -= 3) text.insert(position - 3, ",");
  return text;
}

std::string MaskSecret(std::string_view text, std::string_view secret) {
  if (secret.empty()) return std::string(text);
  std::string result;
  std::size_t copied = 0;
  for (std::size_t found = text.find(secret); found != std::string_view::npos;) {
    const std::size_t end = found + secret.size();
    const bool masked = secret.size() >= kLongSecret || IsWholeWord(text, found, end);
    if (masked) {
      result.append(text.substr(copied, found - copied)).append(kMask);
      copied = end;
    }
    found = text.find(secret, masked ? end : found + 1);
  }
  return result.append(text.substr(copied));
}

std::string LowerCase(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

}  // namespace tool
