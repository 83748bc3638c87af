// The folders where the program keeps what it knows between runs, one for each purpose.
#ifndef TOOL_DATA_FOLDER_H
#define TOOL_DATA_FOLDER_H

#include <string>

namespace tool {

// The folder that the environment variable names; else "qz/NAME" in the user's folder for data of programs;
// where that cannot be made, NAME in the library's cache folder. It is made, readable by its owner only.
// Throws Failure (Disk).
std::string MadeDataFolder(const char* variable, const char* name);

// The same without making anything: where it is, or would be made.
std::string DataFolder(const char* variable, const char* name);

}  // namespace tool

#endif
