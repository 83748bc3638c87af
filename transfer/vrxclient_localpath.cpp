// Where a download goes: names that are safe on this machine, and what becomes of a path that was given.
//
//   given                         becomes
//   nothing there                 the path, if its parent is a directory
//   a directory                   the directory with a file name behind it
//   a file                        the path
#include <cstdio>
#include <cstring>
#include <string_view>

#include "os/file/file_internal.h"
#include "os/text/characterclass_internal.h"
#include "os/text/textview_internal.h"
#include "transfer/vrxclient_testing.h"
#include "transfer/vrxprefs_internal.h"

namespace {

constexpr std::string_view kUnsafeCharacters = ":*?\"<>|";
constexpr std::string_view kSeparators = "/\\";
constexpr size_t kLongestStoredPath = kPathSize - 2;

// File systems take 255 bytes; a number, ".part" and the number of that may come behind the name.
constexpr size_t kLongestSafeName = 240;
constexpr size_t kLongestEnding = 32;
constexpr size_t kLongestContinuation = 3;  // bytes of a character behind its first one

// Names of devices, with any ending.
constexpr std::string_view kDevices[] = {"CON", "PRN", "AUX", "NUL", "CLOCK$", "CONIN$", "CONOUT$"};
// ... and those with a digit behind them.
constexpr std::string_view kNumberedDevices[] = {"COM", "LPT"};

bool IsDevice(std::string_view name) {
  std::string_view base = name.substr(0, name.find('.'));
  while (base.ends_with(' ')) base.remove_suffix(1);
  for (const std::string_view device : kDevices) {
    if (iCharacter_EqualsWithoutCase(base, device)) return true;
  }
  for (const std::string_view device : kNumberedDevices) {
    if (base.size() == device.size() + 1 && base.back() >= '0' && base.back() <= '9' &&
        iCharacter_EqualsWithoutCase(base.substr(0, device.size()), device))
      return true;
  }
  return false;
}

// "", ".", "..", and what a system that drops dots and blanks at the end makes one of these.
bool IsDirectoryName(std::string_view name) {
  return name.find_first_not_of(". ") == std::string_view::npos;
}

char SafeCharacter(char c) {
  return static_cast<unsigned char>(c) < 32 || kUnsafeCharacters.find(c) != std::string_view::npos ? '_' : c;
}

std::string_view LastPart(std::string_view path, std::string_view separators) {
  const size_t separator = path.find_last_of(separators);
  return separator == std::string_view::npos ? path : iTextView_Part(path, separator + 1);
}

// The name under which a download was to be stored so far; empty when there is none to use.
std::string_view CurrentName(const char* current) {
  const std::string_view name = LastPart(current, "/");
  return IsDirectoryName(name) ? std::string_view() : name;
}

bool IsContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// The longest beginning of at most `length` bytes that ends with a whole character of UTF-8.
std::string_view Beginning(std::string_view text, size_t length) {
  if (length >= text.size()) return text;
  for (size_t i = 0; i < kLongestContinuation && length > 0 && IsContinuation(text[length]); ++i) --length;
  return text.substr(0, length);
}

// What stands behind the last ".", with it; empty when there is none, or it is too long for an ending.
std::string_view EndingOf(std::string_view name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || name.size() - dot > kLongestEnding) return {};
  return iTextView_Part(name, dot);
}

LocalPathFacts LookAt(const char* path) {
  int32_t isDirectory = 0;
  LocalPathFacts facts = {};
  facts.exists = File_Exists(path, &isDirectory) != 0;
  facts.isDirectory = isDirectory != 0;
  // What ends in "/" would be in a directory that is not there.
  if (facts.exists || std::string_view(path).ends_with('/')) return facts;
  char parent[kPathSize];
  char name[kPathSize];
  if (File_SplitDir(path, parent, name) != Error_None) return facts;
  facts.parentExists = parent[0] == '\0' || File_Exists(parent, &isDirectory) != 0;
  facts.parentIsDirectory = parent[0] == '\0' || isDirectory != 0;
  return facts;
}

ErrorCode AppendName(const char* directory, std::string_view name, char (&path)[kPathSize]) {
  char text[kPathSize];
  snprintf(text, sizeof text, "%.*s", static_cast<int>(name.size()), name.data());
  const ErrorCode status = iFile_Join(directory, text, path);
  if (status != Error_None || strlen(path) <= kLongestStoredPath) return status;
  path[0] = '\0';
  return Error_Exceed;
}

}  // namespace

void iVRXClient_SafeName(const char* name, char (&safeName)[kPathSize]) {
  const std::string_view part = LastPart(name, kSeparators);
  const bool isSpecial = IsDirectoryName(part) || IsDevice(part);
  const std::string_view front = isSpecial ? "_" : "";
  const std::string_view ending = EndingOf(part);
  const std::string_view base =
      Beginning(part.substr(0, part.size() - ending.size()), kLongestSafeName - front.size() - ending.size());
  snprintf(safeName, sizeof safeName, "%s%.*s%.*s", front.data(), static_cast<int>(base.size()), base.data(),
           static_cast<int>(ending.size()), ending.data());
  for (char* c = safeName; *c != '\0'; ++c) *c = SafeCharacter(*c);
}

void iVRXClient_SafeFileName(const VRXClient* client, char (&name)[kPathSize]) {
  char fileName[kPathSize];
  VRXClient_GetFileName(client, fileName);
  iVRXClient_SafeName(fileName, name);
}

ErrorCode iVRXClient_ChooseLocalPath(const LocalPathFacts& facts, const char* given, const char* current,
                                     const char* fileName, char (&chosen)[kPathSize]) {
  chosen[0] = '\0';
  if (strlen(given) > kLongestStoredPath) return Error_Exceed;
  if (facts.exists && facts.isDirectory) {
    const std::string_view name = CurrentName(current);
    return AppendName(given, name.empty() ? std::string_view(fileName) : name, chosen);
  }
  if (!facts.exists && !facts.parentExists) return Error_NotFound;
  if (!facts.exists && !facts.parentIsDirectory) return Error_Invalid;
  snprintf(chosen, sizeof chosen, "%s", given);
  return Error_None;
}

ErrorCode iVRXClient_ApplyLocalPath(VRXClient* client, const char* path) {
  if (path[0] == '\0') return Error_Invalid;
  if (strlen(path) > kLongestStoredPath) return Error_Exceed;
  // Kept: marked before the path is checked; a save too many costs nothing.
  client->isChanged = true;
  char fileName[kPathSize];
  char chosen[kPathSize];
  iVRXClient_SafeFileName(client, fileName);
  const ErrorCode status =
      iVRXClient_ChooseLocalPath(LookAt(path), path, client->data.localPath, fileName, chosen);
  if (status != Error_None) return status;
  snprintf(client->data.localPath, sizeof client->data.localPath, "%s", chosen);
  // What was to be replaced is not what stands there.
  client->replacedPath[0] = '\0';
  return Error_None;
}

ErrorCode iVRXClient_ApplyDefaultLocalPath(VRXClient* client) {
  if (client->data.localPath[0] != '\0') return Error_None;
  char directory[kPathSize];
  {
    const PreferencesAccess preferences;
    if (!preferences) return Error_NotInited;
    snprintf(directory, sizeof directory, "%s", preferences->downloadDirectory);
  }
  char fileName[kPathSize];
  iVRXClient_SafeFileName(client, fileName);
  const ErrorCode status = AppendName(directory, fileName, client->data.localPath);
  if (status == Error_None) client->isChanged = true;
  return status;
}
