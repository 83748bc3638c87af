// --max-delete: how many deletions a plan may have. Pure.
#ifndef TOOL_SYNC_LIMIT_H
#define TOOL_SYNC_LIMIT_H

#include <cstdint>
#include <optional>
#include <string>

namespace tool {

struct DeletionLimit {
  std::uint32_t number = 50;
  bool isShare = false;  // the number is a percentage
};

// "50" or "20%"; a share is at most 100. Nothing for anything else.
std::optional<DeletionLimit> ParseDeletionLimit(const std::string& text);

// Whether a plan with so many deletions among so many files is too much.
bool ExceedsLimit(const DeletionLimit& limit, std::uint64_t deletions, std::uint64_t files);

// "50", or "20% of 400 files".
std::string LimitText(const DeletionLimit& limit, std::uint64_t files);

}  // namespace tool

#endif
