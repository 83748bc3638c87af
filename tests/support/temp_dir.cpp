#include "tests/support/temp_dir.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>

#include "tests/support/file_system.h"

namespace fs = std::filesystem;

namespace {

std::string FreshName() {
  static std::atomic<int> count{0};
  return "qz-test-" + std::to_string(ProcessNumber()) + "-" + std::to_string(++count);
}

}  // namespace

TempDir::TempDir() : TempDir(fs::temp_directory_path()) {}

TempDir::TempDir(const fs::path& parent) : path_(parent / FreshName()) {
  fs::remove_all(path_);
  fs::create_directories(path_);
}

TempDir::~TempDir() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string TempDir::Name() const {
  return LibraryName(path_);
}

std::string TempDir::Name(const std::string& name) const {
  return LibraryName(path_) + "/" + name;
}

fs::path TempDir::SystemName(const std::string& name) const {
  return name.empty() ? path_ : path_ / name;
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

std::string LibraryName(const fs::path& path) {
  std::string text = path.string();
  for (char& c : text) {
    if (c == '\\') c = '/';
  }
  const bool hasDrive = text.size() >= 2 && text[1] == ':';
  if (hasDrive) text.replace(1, 1, 1, '|').insert(0, 1, '/');
  return text;
}
