// The parts of the upgrade check.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "qz/types.h"

constexpr size_t kUpgradeLocationSize = 1024;

// The locations to try in turn, with the separator between them (0: there is only one): those that the
// program has set, else the registry's, else the built-in one.
char iVRXUpgrade_GetLocations(char (&locations)[kUpgradeLocationSize]);

// When the next check is due after one at that time (seconds since 1970; 0: never).
uint64_t iVRXUpgrade_DueSeconds(uint32_t lastCheckSeconds);

// What a line of a listing offers.
struct UpgradeFile {
  std::string_view name;  // what stands behind the line's last "/"
  uint32_t version;       // 4294967295 for a greater number too
};

// Nothing for a line without a digit behind its last ".", and for a name with a "\" or "..".
std::optional<UpgradeFile> iVRXUpgrade_ParseName(std::string_view line);

// Checks one location; its status.
using UpgradeCheckMethod = ErrorCode (*)(const char* location, void* context);

// Checks locations, between which a separator stands (0: there is only one), until one succeeds or gives
// Error_System. Gives the last status. locations: is changed.
ErrorCode iVRXUpgrade_TryEach(char* locations, char separator, UpgradeCheckMethod check, void* context);
