// Data and log files of transfers that are gone.
#ifndef TOOL_CACHE_SWEEP_H
#define TOOL_CACHE_SWEEP_H

#include <string>
#include <vector>

namespace tool {

// Removes files of the library's own making (vrxData and a number, info and a number) that are older than an
// hour and that none of the records names. Nothing is removed when one of them cannot be read. Paths are the
// system's. Throws Failure (Disk).
void SweepFolder(const std::string& folder, const std::vector<std::string>& recordPaths);

}  // namespace tool

#endif
