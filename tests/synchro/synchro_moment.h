// What stands in a set of folders at one moment, to be put back.
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/synchro/synchro_fixture.h"

namespace synchro {

class Moment {
 public:
  // work: an empty folder's name, where it is kept.
  Moment(const std::filesystem::path& work, std::vector<std::filesystem::path> folders)
      : work_(work), folders_(std::move(folders)) {
    for (size_t i = 0; i < folders_.size(); ++i) Copy(folders_[i], Kept(i));
  }
  void Restore() const {
    for (size_t i = 0; i < folders_.size(); ++i) {
      for (const auto& entry : std::filesystem::directory_iterator(folders_[i]))
        std::filesystem::remove_all(entry.path());
      Copy(Kept(i), folders_[i]);
    }
  }

 private:
  std::filesystem::path Kept(size_t i) const { return work_ / std::to_string(i); }
  // With the times, which decide what the next run does.
  static void Copy(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::filesystem::create_directories(to);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(from)) {
      const auto target = to / std::filesystem::relative(entry.path(), from);
      if (entry.is_directory()) {
        std::filesystem::create_directories(target);
      } else {
        WriteAll(target, ReadAll(entry.path()));
        std::filesystem::last_write_time(target, entry.last_write_time());
      }
    }
  }

  std::filesystem::path work_;
  std::vector<std::filesystem::path> folders_;
};

}  // namespace synchro
