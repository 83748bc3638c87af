// What the program keeps beside the library's preferences: settings.conf in the folder of the saved
// transfers.
#ifndef TOOL_SETTINGS_H
#define TOOL_SETTINGS_H

#include <string>

namespace tool {

// FTP URLs of folders with ";" between them, where newer versions are looked for; empty: none.
// Throws Failure (Disk, Other).
std::string ReadUpgradeLocation();
void WriteUpgradeLocation(const std::string& location);

// Throws Failure (Usage) for what cannot be such a location.
void CheckUpgradeLocation(const std::string& location);

}  // namespace tool

#endif
