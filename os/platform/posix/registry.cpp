// This system has no registry.
#include "os/platform/registry.h"

namespace platform {
bool HasRegistry() {
  return false;
}

uint32_t OpenRegistryKey(uint32_t, const char*, bool, RegistryKey** handle) {
  *handle = nullptr;
  return SystemError_NotSupported;
}

uint32_t OpenRegistrySubkey(RegistryKey*, const char*, RegistryKey** handle) {
  *handle = nullptr;
  return SystemError_NotSupported;
}

uint32_t CreateRegistryKey(uint32_t, const char*, RegistryKey** handle) {
  *handle = nullptr;
  return SystemError_NotSupported;
}

void CloseRegistryKey(RegistryKey*) {}

uint32_t ReadRegistryValue(RegistryKey*, const char*, uint32_t*, void*, uint32_t*) {
  return SystemError_NotSupported;
}

uint32_t WriteRegistryText(RegistryKey*, const char*, const char*) {
  return SystemError_NotSupported;
}

uint32_t DeleteRegistryValue(RegistryKey*, const char*) {
  return SystemError_NotSupported;
}

uint32_t FirstRegistrySubkey(RegistryKey*, char*, size_t) {
  return SystemError_NotSupported;
}

uint32_t DeleteEmptyRegistryKey(uint32_t, const char*) {
  return SystemError_NotSupported;
}

uint32_t DeleteEmptyRegistrySubkey(RegistryKey*, const char*) {
  return SystemError_NotSupported;
}

}  // namespace platform
