#include "os/platform/registry.h"

#include <windows.h>

#include <cstring>

namespace platform {
namespace {

static_assert(SystemError_FileNotFound == ERROR_FILE_NOT_FOUND && SystemError_MoreData == ERROR_MORE_DATA &&
              SystemError_NoMoreItems == ERROR_NO_MORE_ITEMS);
static_assert(kRegistryText == REG_SZ && kRegistryExpandableText == REG_EXPAND_SZ &&
              kRegistryNumber == REG_DWORD && kRegistryBigEndianNumber == REG_DWORD_BIG_ENDIAN);

// The roots are numbers that the system takes in the place of handles.
HKEY RootOf(uint32_t root) {
  return reinterpret_cast<HKEY>(static_cast<uintptr_t>(root));
}

HKEY KeyOf(RegistryKey* handle) {
  return reinterpret_cast<HKEY>(handle);
}

HKEY* SlotOf(RegistryKey** handle) {
  return reinterpret_cast<HKEY*>(handle);
}

uint32_t Number(LONG result) {
  return static_cast<uint32_t>(result);
}

}  // namespace

bool HasRegistry() {
  return true;
}

uint32_t OpenRegistryKey(uint32_t root, const char* key, bool forChange, RegistryKey** handle) {
  *handle = nullptr;
  const REGSAM access = forChange ? KEY_ALL_ACCESS : KEY_READ;
  return Number(RegOpenKeyExA(RootOf(root), key, 0, access, SlotOf(handle)));
}

uint32_t OpenRegistrySubkey(RegistryKey* parent, const char* name, RegistryKey** handle) {
  *handle = nullptr;
  return Number(RegOpenKeyExA(KeyOf(parent), name, 0, KEY_ALL_ACCESS, SlotOf(handle)));
}

uint32_t CreateRegistryKey(uint32_t root, const char* key, RegistryKey** handle) {
  *handle = nullptr;
  return Number(RegCreateKeyExA(RootOf(root), key, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                                nullptr, SlotOf(handle), nullptr));
}

void CloseRegistryKey(RegistryKey* handle) {
  RegCloseKey(KeyOf(handle));
}

uint32_t ReadRegistryValue(RegistryKey* handle, const char* valueName, uint32_t* type, void* data,
                           uint32_t* sizeBytes) {
  DWORD valueType = 0;
  DWORD valueSize = *sizeBytes;
  const LONG result =
      RegQueryValueExA(KeyOf(handle), valueName, nullptr, &valueType, static_cast<BYTE*>(data), &valueSize);
  *type = valueType;
  *sizeBytes = valueSize;
  return Number(result);
}

uint32_t WriteRegistryText(RegistryKey* handle, const char* valueName, const char* text) {
  const size_t sizeBytes = strlen(text) + 1;
  return Number(RegSetValueExA(KeyOf(handle), valueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                               static_cast<DWORD>(sizeBytes)));
}

uint32_t DeleteRegistryValue(RegistryKey* handle, const char* valueName) {
  return Number(RegDeleteValueA(KeyOf(handle), valueName));
}

uint32_t FirstRegistrySubkey(RegistryKey* handle, char* name, size_t sizeBytes) {
  return Number(RegEnumKeyA(KeyOf(handle), 0, name, static_cast<DWORD>(sizeBytes)));
}

uint32_t DeleteEmptyRegistryKey(uint32_t root, const char* key) {
  return Number(RegDeleteKeyA(RootOf(root), key));
}

uint32_t DeleteEmptyRegistrySubkey(RegistryKey* parent, const char* name) {
  return Number(RegDeleteKeyA(KeyOf(parent), name));
}

}  // namespace platform
