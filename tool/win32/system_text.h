// What the system says of an error of its own.
#ifndef TOOL_SYSTEM_TEXT_H
#define TOOL_SYSTEM_TEXT_H

#include <windows.h>

#include <string>

namespace tool {

// "Access denied (5)".
std::string SystemText(DWORD error);

}  // namespace tool

#endif
