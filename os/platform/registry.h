// The system's registry: keys that hold subkeys and typed values.
//
// Every function gives 0, or the error as platform::LastSystemError numbers it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "os/platform/error.h"

namespace platform {

struct RegistryKey;

// The types of values that the library knows.
constexpr uint32_t kRegistryText = 1;
constexpr uint32_t kRegistryExpandableText = 2;
constexpr uint32_t kRegistryNumber = 4;
constexpr uint32_t kRegistryBigEndianNumber = 5;

// False on a system without a registry; there the other functions fail.
bool HasRegistry();

// Opens the key below a root (0x80000000 to 0x80000003), for reading or, with forChange, for everything.
// Closed by CloseRegistryKey.
uint32_t OpenRegistryKey(uint32_t root, const char* key, bool forChange, RegistryKey** handle);

// The same for a subkey of an open key, for everything.
uint32_t OpenRegistrySubkey(RegistryKey* parent, const char* name, RegistryKey** handle);

// Opens the key for everything; creates it, and those above it, where missing.
uint32_t CreateRegistryKey(uint32_t root, const char* key, RegistryKey** handle);

void CloseRegistryKey(RegistryKey* handle);

// Reads a value. valueName may be null: the key's unnamed value. *sizeBytes is the room in data, and then the
// size of the value; data may be null, to ask for type and size alone. SystemError_MoreData when there is
// not room enough.
uint32_t ReadRegistryValue(RegistryKey* handle, const char* valueName, uint32_t* type, void* data,
                           uint32_t* sizeBytes);

uint32_t WriteRegistryText(RegistryKey* handle, const char* valueName, const char* text);
uint32_t DeleteRegistryValue(RegistryKey* handle, const char* valueName);

// Writes the name of the first subkey. SystemError_NoMoreItems when there is none.
uint32_t FirstRegistrySubkey(RegistryKey* handle, char* name, size_t sizeBytes);

// Deletes a key that has no subkeys.
uint32_t DeleteEmptyRegistryKey(uint32_t root, const char* key);
uint32_t DeleteEmptyRegistrySubkey(RegistryKey* parent, const char* name);

}  // namespace platform
