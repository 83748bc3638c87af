// A fresh directory for one test, removed with everything in it when the test ends. What it makes and looks
// at goes past the library, so that a test never checks the library by itself.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/environment.h"

class TempDir {
 public:
  // The directory, or what is in it, in the library's form: /tmp/qz-test-1-2/name, /C|/users/.../name.
  std::string Name() const;
  std::string Name(const std::string& name) const;
  // The same for the system.
  std::filesystem::path SystemName(const std::string& name = "") const;

  void Write(const std::string& name, const std::string& bytes) const;
  std::string Read(const std::string& name) const;
  void MakeDirectory(const std::string& name) const;
  // Whether anything stands there, a link that leads nowhere too.
  bool Exists(const std::string& name) const;
  uint64_t Size(const std::string& name) const;
  // The names in the directory, sorted.
  std::vector<std::string> List(const std::string& name = "") const;
  void SetModified(const std::string& name, int64_t secondsSince1970) const;

 private:
  TemporaryFolder folder_;
};
