// Shared by the files of this folder that deal with the file system.
#pragma once

#include <sys/stat.h>

#include "os/platform/filesystem.h"

namespace platform {

FileInformation InformationFrom(const struct stat& status);

// As GetInformation, for a name within an open directory.
bool GetInformationAt(int directory, const char* name, FileInformation* information);

// As RemoveFile, likewise.
bool RemoveFileAt(int directory, const char* name);

}  // namespace platform
