// What the system directories must be, asked of the system without the library, and ways to disturb them.
#pragma once

#include <filesystem>
#include <memory>
#include <vector>

#include "tests/support/environment.h"

std::filesystem::path ExpectedTemporaryFolder();
// fallback: what it is on a system, or for a user, that has no such folder.
std::filesystem::path ExpectedDesktopFolder(const std::filesystem::path& fallback);
std::filesystem::path ExpectedPreferencesFolder(const std::filesystem::path& fallback);
std::filesystem::path ExpectedStartupFolder();
std::filesystem::path ExpectedSystemFolder();
std::filesystem::path ExpectedProgramsFolder();

// Names another temporary folder to the system.
class ScopedTemporaryVariable {
 public:
  explicit ScopedTemporaryVariable(const char* folder);

 private:
  std::vector<std::unique_ptr<ScopedVariable>> variables_;
};
