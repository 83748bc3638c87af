// The environment variables of the test program, and names of files in the library's form.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

// Sets a variable, or removes it (null), and puts back what was there.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value);
  ~ScopedVariable();
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  std::string name_;
  std::optional<std::string> before_;
};

// The running program's file and number, as the system says.
std::filesystem::path ProgramPath();
uint32_t ProgramNumber();

// C:\a\b as /C|/a/b; elsewhere the path as it is. Works by itself, not through the library.
std::string LibraryName(const std::filesystem::path& path);

// An empty folder in the system's temporary folder, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  // In the library's form.
  std::string Name() const { return LibraryName(path_); }
  std::string Name(const std::string& below) const { return LibraryName(path_) + "/" + below; }

 private:
  std::filesystem::path path_;
};
