// What the program prints on standard output.
#ifndef TOOL_OUTPUT_H
#define TOOL_OUTPUT_H

#include <string>

namespace tool {

// Writes a text at once. Throws Failure (Disk).
void Print(const std::string& text);

}  // namespace tool

#endif
