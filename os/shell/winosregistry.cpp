// Registry values addressed by one path text, ROOT\key\subkey, and the application identifiers.
#include "qz/winosregistry.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "os/core/owned.h"
#include "os/platform/registry.h"
#include "qz/error.h"
#include "qz/os.h"
#include "qz/string.h"

namespace {

constexpr size_t kPathBytes = 512;
constexpr size_t kSavedValueBytes = 512;
// The system's limit for the name of a key is 255.
constexpr size_t kKeyNameBytes = 260;

using Path = char[kPathBytes];
using Key = Owned<platform::RegistryKey, platform::CloseRegistryKey>;

// ---- roots ------------------------------------------------------------------------------------

struct RootRow {
  const char* name;
  uint32_t root;
};

constexpr uint32_t kClassesRoot = 0x80000000u;
constexpr uint32_t kCurrentUser = 0x80000001u;
constexpr uint32_t kLocalMachine = 0x80000002u;
constexpr uint32_t kUsers = 0x80000003u;

constexpr RootRow kRootNames[] = {
    {"HKEY_CLASSES_ROOT", kClassesRoot},
    {"HKEY_CURRENT_USER", kCurrentUser},
    {"HKEY_LOCAL_MACHINE", kLocalMachine},
    {"HKEY_USERS", kUsers},
};

// Searched in this order when no whole name matches; "USERS" must come before "USER".
constexpr RootRow kRootWords[] = {
    {"USERS", kUsers},         {"ROOT", kClassesRoot},   {"CLASSES", kClassesRoot},  {"USER", kCurrentUser},
    {"CURRENT", kCurrentUser}, {"LOCAL", kLocalMachine}, {"MACHINE", kLocalMachine},
};

// The root that a first component names; 0 when unknown.
uint32_t FindRoot(const char* component) {
  for (const RootRow& row : kRootNames) {
    if (String_CompareInsensitive(component, row.name) == 0) return row.root;
  }
  for (const RootRow& row : kRootWords) {
    if (String_FindFirstInsensitive(component, row.name) >= 0) return row.root;
  }
  return 0;
}

// ---- paths ------------------------------------------------------------------------------------

struct ParsedPath {
  uint32_t root;
  Path key;
};

// Copies text up to its first "\" and returns the rest behind it; null when there is no "\" or it does not
// fit.
const char* SplitFirstComponent(const char* text, Path& component) {
  const size_t length = strcspn(text, "\\");
  if (length >= kPathBytes) return nullptr;
  memcpy(component, text, length);
  component[length] = '\0';
  return text[length] == '\\' ? text + length + 1 : nullptr;
}

ErrorCode ParsePath(const char* path, ParsedPath* parsed) {
  if (path == nullptr) return Error_Invalid;
  if (strlen(path) >= kPathBytes) return Error_Exceed;
  Path component;
  const char* key = SplitFirstComponent(path, component);
  parsed->root = FindRoot(component);
  if (parsed->root == 0 || key == nullptr || key[0] == '\0' || key[0] == '\\') return Error_Invalid;
  String_Copy(key, parsed->key);
  return Error_None;
}

// Adds "\" and the component when the whole stays below the limit.
bool AppendComponent(Path& path, const char* component) {
  const size_t length = strlen(path);
  if (length + 1 + strlen(component) >= kPathBytes) return false;
  snprintf(path + length, kPathBytes - length, "\\%s", component);
  return true;
}

void ReportTooLong() {
  Error("WinOSRegistry_BuildPath: Exceed max length of string!");
}

// ---- keys and values --------------------------------------------------------------------------

ErrorCode OpenForReading(const char* path, const char* context, Key* key) {
  ParsedPath parsed;
  if (const ErrorCode status = ParsePath(path, &parsed); status != Error_None) return status;
  if (!platform::HasRegistry()) return Error_System;
  return Error_FromSystem(context, "RegOpenKeyEx",
                          platform::OpenRegistryKey(parsed.root, parsed.key, false, key->out()));
}

bool IsText(uint32_t type) {
  return type == platform::kRegistryText || type == platform::kRegistryExpandableText;
}

ErrorCode StatusOfReading(const char* context, uint32_t result) {
  if (result == platform::SystemError_MoreData) return Error_Exceed;
  return Error_FromSystem(context, "RegQueryValueEx", result);
}

// Reads a text value into the buffer of `size` bytes. What is stored may lack its terminator; the copy has
// one.
ErrorCode ReadText(platform::RegistryKey* key, const char* valueName, uint32_t size, char* buffer) {
  constexpr char kContext[] = "WinOSRegistry_GetStringEntry";
  uint32_t type = 0;
  uint32_t valueBytes = 0;
  uint32_t result = platform::ReadRegistryValue(key, valueName, &type, nullptr, &valueBytes);
  if (result != 0) return StatusOfReading(kContext, result);
  if (!IsText(type)) return Error_Invalid;
  if (valueBytes > size) return Error_Exceed;

  valueBytes = size;
  result = platform::ReadRegistryValue(key, valueName, &type, buffer, &valueBytes);
  if (result != 0) return StatusOfReading(kContext, result);
  // Someone may have written another value between the two calls.
  if (!IsText(type)) return Error_Invalid;
  if (valueBytes != 0 && buffer[valueBytes - 1] == '\0') return Error_None;
  if (valueBytes >= size) return Error_Exceed;
  buffer[valueBytes] = '\0';
  return Error_None;
}

uint32_t SwapBytes(uint32_t value) {
  return value >> 24 | (value >> 8 & 0xFF00u) | (value << 8 & 0xFF0000u) | value << 24;
}

ErrorCode ReadNumber(platform::RegistryKey* key, const char* valueName, uint32_t* value) {
  uint32_t type = 0;
  uint32_t number = 0;
  uint32_t valueBytes = sizeof number;
  const uint32_t result = platform::ReadRegistryValue(key, valueName, &type, &number, &valueBytes);
  // A longer value is of another type, or broken.
  if (result == platform::SystemError_MoreData) return Error_Invalid;
  if (result != 0) return StatusOfReading("WinOSRegistry_GetUns32Entry", result);
  if (valueBytes != sizeof number) return Error_Invalid;
  if (type == platform::kRegistryNumber) {
    *value = number;
    return Error_None;
  }
  if (type != platform::kRegistryBigEndianNumber) return Error_Invalid;
  *value = SwapBytes(number);
  return Error_None;
}

// Deletes what is below an open key. Stops at the first subkey that cannot be deleted: it would be the first
// for ever.
bool DeleteSubkeys(platform::RegistryKey* key) {
  char name[kKeyNameBytes];
  for (;;) {
    const uint32_t result = platform::FirstRegistrySubkey(key, name, sizeof name);
    if (result == platform::SystemError_NoMoreItems) return true;
    if (result != 0) return false;
    Key subkey;
    if (platform::OpenRegistrySubkey(key, name, subkey.out()) != 0) return false;
    if (!DeleteSubkeys(subkey.get())) return false;
    subkey.reset();
    if (platform::DeleteEmptyRegistrySubkey(key, name) != 0) return false;
  }
}

bool DeleteTree(const ParsedPath& path) {
  Key key;
  if (platform::OpenRegistryKey(path.root, path.key, true, key.out()) != 0) return false;
  if (!DeleteSubkeys(key.get())) return false;
  key.reset();
  return platform::DeleteEmptyRegistryKey(path.root, path.key) == 0;
}

// ---- identifiers ------------------------------------------------------------------------------

constexpr uint32_t kIdentifierSlots = 3;
const void* identifiers[kIdentifierSlots];

struct Guid {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  uint8_t data4[8];
};

// The bytes of an identifier stand in the order of the Windows record, whatever the machine.
Guid ReadGuid(const void* bytes) {
  const uint8_t* b = static_cast<const uint8_t*>(bytes);
  Guid guid = {};
  guid.data1 = static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8 |
               static_cast<uint32_t>(b[2]) << 16 | static_cast<uint32_t>(b[3]) << 24;
  guid.data2 = static_cast<uint16_t>(b[4] | b[5] << 8);
  guid.data3 = static_cast<uint16_t>(b[6] | b[7] << 8);
  memcpy(guid.data4, b + 8, sizeof guid.data4);
  return guid;
}

}  // namespace

Word WinOSRegistry_StringToHKEY(const char* text) {
  if (text == nullptr) return 0;
  Path component;
  if (strcspn(text, "\\") >= kPathBytes) return 0;
  SplitFirstComponent(text, component);
  return FindRoot(component);
}

const char* WinOSRegistry_HKEYToString(Word root) {
  for (const RootRow& row : kRootNames) {
    if (row.root == root) return row.name;
  }
  return nullptr;
}

char* WinOSRegistry_BuildPath(char* result, const char* root, ...) {
  if (result == nullptr) return nullptr;
  if (root == nullptr || strlen(root) >= kPathBytes) {
    if (root != nullptr) ReportTooLong();
    result[0] = '\0';
    return result;
  }
  // Joined aside: root or a component may be what result holds now.
  Path path;
  String_Copy(root, path);
  va_list components;
  va_start(components, root);
  while (const char* component = va_arg(components, const char*)) {
    if (AppendComponent(path, component)) continue;
    ReportTooLong();
    break;
  }
  va_end(components);
  String_Copy(path, result);
  return result;
}

ErrorCode WinOSRegistry_SetStringEntry(const char* path, const char* valueName, const char* text) {
  constexpr char kContext[] = "WinOSRegistry_SetStringEntry";
  ParsedPath parsed;
  if (const ErrorCode status = ParsePath(path, &parsed); status != Error_None) return status;
  if (!platform::HasRegistry()) return Error_System;
  Key key;
  // Kept: created even to delete a value in it; after any call programs find the key there.
  const uint32_t result = platform::CreateRegistryKey(parsed.root, parsed.key, key.out());
  if (result != 0) return Error_FromSystem(kContext, "RegCreateKeyEx", result);
  if (text == nullptr) {
    return Error_FromSystem(kContext, "RegDeleteValue", platform::DeleteRegistryValue(key.get(), valueName));
  }
  return Error_FromSystem(kContext, "RegSetValueEx", platform::WriteRegistryText(key.get(), valueName, text));
}

ErrorCode WinOSRegistry_GetStringEntry(const char* path, const char* valueName, uint32_t size, char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  if (size != 0) buffer[0] = '\0';
  Key key;
  ErrorCode status = OpenForReading(path, "WinOSRegistry_GetStringEntry", &key);
  if (status == Error_None) status = ReadText(key.get(), valueName, size, buffer);
  if (status != Error_None && size != 0) buffer[0] = '\0';
  return status;
}

ErrorCode WinOSRegistry_GetUns32Entry(const char* path, const char* valueName, uint32_t* value) {
  if (value == nullptr) return Error_Invalid;
  *value = 0;
  Key key;
  const ErrorCode status = OpenForReading(path, "WinOSRegistry_GetUns32Entry", &key);
  return status != Error_None ? status : ReadNumber(key.get(), valueName, value);
}

int32_t WinOSRegistry_EntryExists(const char* path, const char* valueName) {
  Key key;
  if (OpenForReading(path, "WinOSRegistry_EntryExists", &key) != Error_None) return 0;
  uint32_t type = 0;
  uint32_t valueBytes = 0;
  return platform::ReadRegistryValue(key.get(), valueName, &type, nullptr, &valueBytes) == 0 ? 1 : 0;
}

ErrorCode WinOSRegistry_GetApplicationStringEntry(const char* key, const char* valueName, uint32_t size,
                                                  char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  if (size != 0) buffer[0] = '\0';
  if (key == nullptr) return Error_Invalid;
  // Kept: an empty company name leaves an empty component; that is the path at which applications store.
  Path path = "HKEY_CURRENT_USER";
  for (const char* component : {"Software", OS_GetCompanyName(), OS_GetApplicationName(), key}) {
    if (AppendComponent(path, component)) continue;
    // A shorter path would be another application's.
    ReportTooLong();
    return Error_Exceed;
  }
  if (platform::HasRegistry() && WinOSRegistry_EntryExists(path, valueName) == 0) return Error_NotFound;
  return WinOSRegistry_GetStringEntry(path, valueName, size, buffer);
}

ErrorCode WinOSRegistry_SetSaveStringEntry(const char* path, const char* savePath, const char* valueName,
                                           const char* text) {
  char saved[kSavedValueBytes];
  ErrorCode status = WinOSRegistry_GetStringEntry(path, valueName, sizeof saved, saved);
  if (status != Error_None) return status;
  status = WinOSRegistry_SetStringEntry(savePath, valueName, saved);
  if (status != Error_None) return status;
  status = WinOSRegistry_SetStringEntry(path, valueName, text);
  if (status == Error_None) return Error_None;
  // Kept: the result is that of taking the copy back, success included; callers look at the value, not at
  // this.
  return WinOSRegistry_SetStringEntry(savePath, valueName, nullptr);
}

ErrorCode WinOSRegistry_SetRestoreStringEntry(const char* fromPath, const char* toPath,
                                              const char* valueName) {
  char saved[kSavedValueBytes];
  ErrorCode status = WinOSRegistry_GetStringEntry(fromPath, valueName, sizeof saved, saved);
  if (status != Error_None) return status;
  status = WinOSRegistry_SetStringEntry(toPath, valueName, saved);
  if (status != Error_None) return status;
  // Kept: a copy that cannot be deleted is no failure; the value is back in its place.
  WinOSRegistry_SetStringEntry(fromPath, valueName, nullptr);
  return Error_None;
}

ErrorCode WinOSRegistry_DeleteKey(const char* path) {
  ParsedPath parsed;
  const ErrorCode status = ParsePath(path, &parsed);
  if (status != Error_None) return status == Error_Invalid ? Error_Invalid : Error_Fail;
  if (!platform::HasRegistry()) return Error_System;
  return DeleteTree(parsed) ? Error_None : Error_Fail;
}

ErrorCode WinOSRegistry_DeleteEntry(const char* path) {
  if (path == nullptr) return Error_Invalid;
  const char* separator = strrchr(path, '\\');
  if (separator == nullptr) return Error_Fail;
  const char* valueName = separator + 1;
  const bool namesKey = valueName[0] == '\0';
  const size_t parentLength = static_cast<size_t>(separator - path);
  if (parentLength + strlen(separator) >= kPathBytes) return namesKey ? Error_Fail : Error_Exceed;

  Path parent;
  memcpy(parent, path, parentLength);
  parent[parentLength] = '\0';
  if (namesKey) return WinOSRegistry_DeleteKey(parent);
  ParsedPath parsed;
  if (const ErrorCode status = ParsePath(parent, &parsed); status != Error_None) return status;
  if (!platform::HasRegistry()) return Error_System;
  constexpr char kContext[] = "WinOSRegistry_DeleteEntry";
  Key key;
  const uint32_t result = platform::OpenRegistryKey(parsed.root, parsed.key, true, key.out());
  if (result != 0) return Error_FromSystem(kContext, "RegOpenKeyEx", result);
  return Error_FromSystem(kContext, "RegDeleteValue", platform::DeleteRegistryValue(key.get(), valueName));
}

ErrorCode WinOSRegistry_SetID(uint32_t slot, const void* guid) {
  if (slot >= kIdentifierSlots) return Error_Invalid;
  if (guid != nullptr && identifiers[slot] != nullptr) return Error_Inited;
  identifiers[slot] = guid;
  return Error_None;
}

const void* WinOSRegistry_GetID(uint32_t slot) {
  return slot < kIdentifierSlots ? identifiers[slot] : nullptr;
}

char* WinOSRegistry_GetIDString(uint32_t slot, char* buffer) {
  const void* identifier = WinOSRegistry_GetID(slot);
  if (identifier == nullptr || buffer == nullptr) return nullptr;
  const Guid guid = ReadGuid(identifier);
  const uint8_t* tail = guid.data4;
  OS_sprintf(buffer, "{%.8X-%.4X-%.4X-%.2X%.2X-%.2X%.2X%.2X%.2X%.2X%.2X}", static_cast<unsigned>(guid.data1),
             static_cast<unsigned>(guid.data2), static_cast<unsigned>(guid.data3), tail[0], tail[1], tail[2],
             tail[3], tail[4], tail[5], tail[6], tail[7]);
  return buffer;
}
