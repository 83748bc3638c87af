// What every part of the command line needs: refusals, and numbers.
#ifndef TOOL_USAGE_H
#define TOOL_USAGE_H

#include <optional>
#include <string>

#include "tool/options.h"

namespace tool {

constexpr const char* kStandardInput = "-";       // as an operand, and as a password file
constexpr unsigned kLargestNumber = 4000000000u;  // of a transfer, and of a version

// Throws Failure (Usage): the text, and where the help is. commandName: "" for the program itself.
[[noreturn]] void UsageError(const std::string& commandName, const std::string& text);

// A decimal number within limits; nothing for anything else.
std::optional<unsigned> NumberIn(const std::string& text, unsigned smallest, unsigned largest);

// The same; throws Failure (Usage). what: the option, for the message.
unsigned Number(const Options& options, const char* what, const std::string& text, unsigned smallest,
                unsigned largest);

}  // namespace tool

#endif
