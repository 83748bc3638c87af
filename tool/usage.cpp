#include "tool/usage.h"

#include "tool/failure.h"

namespace tool {

void UsageError(const std::string& commandName, const std::string& text) {
  const std::string help = commandName.empty() ? "qz --help" : "qz " + commandName + " --help";
  throw Failure{ExitCode::Usage, text + "; see " + help};
}

std::optional<unsigned> NumberIn(const std::string& text, unsigned smallest, unsigned largest) {
  constexpr std::size_t kMostDigits = 10;
  const bool digits = !text.empty() && text.size() <= kMostDigits &&
                      text.find_first_not_of("0123456789") == std::string::npos;
  const unsigned long long number = digits ? std::stoull(text) : 0;
  if (!digits || number < smallest || number > largest) return std::nullopt;
  return static_cast<unsigned>(number);
}

unsigned Number(const Options& options, const char* what, const std::string& text, unsigned smallest,
                unsigned largest) {
  if (const auto number = NumberIn(text, smallest, largest)) return *number;
  UsageError(options.commandName, std::string(what) + " takes a number from " + std::to_string(smallest) +
                                      " to " + std::to_string(largest));
}

}  // namespace tool
