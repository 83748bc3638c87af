#include "tool/sync_limit.h"

#include "tool/text.h"
#include "tool/usage.h"

namespace tool {
namespace {

constexpr unsigned kWhole = 100;

}  // namespace

std::optional<DeletionLimit> ParseDeletionLimit(const std::string& text) {
  const bool isShare = !text.empty() && text.back() == '%';
  const auto number =
      NumberIn(text.substr(0, text.size() - (isShare ? 1 : 0)), 0, isShare ? kWhole : kLargestNumber);
  if (!number) return std::nullopt;
  return DeletionLimit{*number, isShare};
}

bool ExceedsLimit(const DeletionLimit& limit, std::uint64_t deletions, std::uint64_t files) {
  if (!limit.isShare) return deletions > limit.number;
  return deletions * kWhole > files * limit.number;
}

std::string LimitText(const DeletionLimit& limit, std::uint64_t files) {
  if (!limit.isShare) return GroupedNumber(limit.number);
  return std::to_string(limit.number) + "% of " + GroupedNumber(files) + " files";
}

}  // namespace tool
