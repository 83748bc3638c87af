#include "tool/text.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "qz/error.h"

namespace tool {
namespace {

constexpr std::size_t kLongestName = 200;
constexpr std::string_view kForbiddenInNames = ":*?\"<>|";
constexpr unsigned char kDelete = 0x7F;

// Names that mean a device on Windows, with any extension.
constexpr std::array<std::string_view, 6> kDevices = {"con", "prn", "aux", "nul", "conin$", "conout$"};

struct Character {
  std::size_t bytes;  // 0: not UTF-8
  std::uint32_t code;
};

bool IsContinuation(unsigned char byte) {
  return (byte & 0xC0u) == 0x80u;
}

// Decodes the UTF-8 character at the start of a text that is not empty.
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

bool SteersTerminal(std::uint32_t code) {
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

}  // namespace

std::string Printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Character character = FirstCharacter(text);
    const std::size_t bytes = std::max<std::size_t>(character.bytes, 1);
    if (character.bytes == 0 || SteersTerminal(character.code)) {
      result.push_back('?');
    } else {
      result.append(text.substr(0, bytes));
    }
    text.remove_prefix(bytes);
  }
  return result;
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

std::string NetworkTrouble(ErrorCode status) {
  switch (status) {
    case Error_Timeout:
      return "no answer came in time";
    case Error_Ended:
      return "the server closed the connection";
    case Error_Retry:
      return "the connection was lost";
    case Error_NoAccess:
      return "the connection was refused";
    case Error_NotFound:
      return "the host was not found";
    case Error_System:
      return "the network cannot be reached";
    case Error_Memory:
      return "out of memory";
    case Error_Exceed:
      return "the answer is too long";
    default:
      return std::string("the connection failed (") + Error_ToString(status) + ")";
  }
}

std::string LowerCase(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

}  // namespace tool
