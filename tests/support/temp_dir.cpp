#include "tests/support/temp_dir.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "tests/support/file_system.h"

namespace fs = std::filesystem;

std::string TempDir::Name() const {
  return folder_.Name();
}

std::string TempDir::Name(const std::string& name) const {
  return folder_.Name(name);
}

fs::path TempDir::SystemName(const std::string& name) const {
  return name.empty() ? folder_.Path() : folder_.Path() / name;
}

void TempDir::Write(const std::string& name, const std::string& bytes) const {
  std::ofstream(SystemName(name), std::ios::binary) << bytes;
}

std::string TempDir::Read(const std::string& name) const {
  std::ifstream stream(SystemName(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void TempDir::MakeDirectory(const std::string& name) const {
  fs::create_directories(SystemName(name));
}

bool TempDir::Exists(const std::string& name) const {
  std::error_code ignored;
  return fs::exists(fs::symlink_status(SystemName(name), ignored));
}

uint64_t TempDir::Size(const std::string& name) const {
  return fs::file_size(SystemName(name));
}

std::vector<std::string> TempDir::List(const std::string& name) const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(SystemName(name))) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

void TempDir::SetModified(const std::string& name, int64_t secondsSince1970) const {
  SetModifiedTime(SystemName(name), secondsSince1970);
}
