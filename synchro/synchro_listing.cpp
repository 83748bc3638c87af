// A line of a listing:
//
//   drwxr-xr-x  3  owner  group  4096  Jan  5 09:03 name/          size: 3
//   -rw-r--r--  1  owner  group  1234  Jan  5 09:03 name           size: 1234
//   lrwxrwxrwx  1  owner  group    11  Jan  5 09:03 name -> where  size: 1
//   1           2  3      4      5     6
//
// The sixth field is the rest of the line; its last word is the name, what stands before it the date.
#include <cstring>

#include "os/text/characterclass_internal.h"
#include "os/text/decimal_internal.h"
#include "qz/error.h"
#include "synchro/synchro_listing_internal.h"

namespace {

enum Field { Field_Type = 0, Field_Links = 1, Field_Size = 4, Field_DateAndName = 5 };

constexpr char kLinkArrow[] = "->";
constexpr std::string_view kWhiteSpace = " \t\n\r";

// A longer one fits no path.
constexpr size_t kLongestName = 1023;

constexpr std::string_view kSeparators = "/\\:";
constexpr std::string_view kUnsafeOnWindows = "*?\"<>|";
constexpr std::string_view kDroppedAtEndOnWindows = ". ";
constexpr std::string_view kDevices[] = {"CON", "PRN", "AUX", "NUL", "CLOCK$", "CONIN$", "CONOUT$"};
constexpr std::string_view kNumberedDevices[] = {"COM", "LPT"};

bool IsNumberedDevice(std::string_view base) {
  for (const std::string_view device : kNumberedDevices) {
    const bool fits = base.size() == device.size() + 1 && base.back() >= '0' && base.back() <= '9';
    if (fits && iCharacter_EqualsWithoutCase(base.substr(0, device.size()), device)) return true;
  }
  return false;
}

// A device has its name with every ending.
bool IsDevice(std::string_view name) {
  const std::string_view base = name.substr(0, name.find('.'));
  for (const std::string_view device : kDevices) {
    if (iCharacter_EqualsWithoutCase(base, device)) return true;
  }
  return IsNumberedDevice(base);
}

bool IsUsableOnWindows(std::string_view name) {
  return name.find_first_of(kUnsafeOnWindows) == std::string_view::npos &&
         kDroppedAtEndOnWindows.find(name.back()) == std::string_view::npos && !IsDevice(name);
}

// Ends a text in its own buffer.
std::string_view Cut(char* text, size_t length) {
  text[length] = '\0';
  return {text, length};
}

struct DateAndName {
  char* date;
  char* name;
};

// Kept: a name with blanks is known by its last word; the words before it look like a part of the date.
bool SplitDateAndName(char* field, DateAndName* parts) {
  std::string_view text = field;
  text = text.substr(0, text.find(kLinkArrow));
  const size_t end = text.find_last_not_of(kWhiteSpace);
  if (end == std::string_view::npos) return false;
  text = Cut(field, end + 1);
  const size_t blank = text.find_last_of(kWhiteSpace);
  parts->name = field + (blank == std::string_view::npos ? 0 : blank + 1);
  parts->date = field;
  return true;
}

// A directory may be listed with a "/" behind its name.
void CutSlash(char* name) {
  const size_t length = strlen(name);
  if (length != 0 && name[length - 1] == '/') name[length - 1] = '\0';
}

// The date stands before the name in the same text: read with the name out of the way.
ErrorCode ReadDate(const DateAndName& parts, Time* time) {
  const char first = *parts.name;
  *parts.name = '\0';
  const ErrorCode status = Time_FromString(parts.date, time);
  *parts.name = first;
  return status;
}

bool ReadSize(const char* field, uint32_t* size) {
  std::string_view text = field;
  const std::optional<uint32_t> number = iDecimal_TakeUnsigned(&text);
  *size = number.value_or(0);
  return number.has_value();
}

}  // namespace

bool iSynchro_IsUsableName(std::string_view name, bool isWindows) {
  if (name.empty() || name.size() > kLongestName || name == "." || name == "..") return false;
  if (name.find_first_of(kSeparators) != std::string_view::npos) return false;
  return !isWindows || IsUsableOnWindows(name);
}

SynchroListing iSynchro_ParseListing(char* const* fields, bool isWindows, SynchroListed* listed) {
  *listed = {};
  DateAndName parts;
  if (!SplitDateAndName(fields[Field_DateAndName], &parts)) return SynchroListing::Skipped;
  const char type = fields[Field_Type][0];
  const bool isDirectory = type == 'd' || type == 'l';
  listed->name = parts.name;
  listed->side.present = 1;
  listed->side.directory = isDirectory ? 1 : 0;
  // Kept: the size of a directory is its number of links; stored tables have it so.
  const bool hasSize = ReadSize(fields[isDirectory ? Field_Links : Field_Size], &listed->side.size);
  const bool hasDate = ReadDate(parts, &listed->side.time) == Error_None;
  if (isDirectory) CutSlash(parts.name);
  if (!iSynchro_IsUsableName(parts.name, isWindows)) return SynchroListing::Skipped;
  return isDirectory || (hasSize && hasDate) ? SynchroListing::Taken : SynchroListing::Unclear;
}
