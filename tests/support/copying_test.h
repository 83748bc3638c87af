// What tests of copying in steps have in common: a directory, a copy that is aborted at the end, and what it
// reported.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "qz/error.h"
#include "qz/file.h"
#include "tests/support/temp_dir.h"

// Positions and totals.
using Reports = std::vector<std::pair<uint32_t, uint32_t>>;

inline void RecordProgress(void* context, uint32_t position, uint32_t total) {
  static_cast<Reports*>(context)->emplace_back(position, total);
}

// Bytes in which a chunk out of its place shows.
inline std::string Pattern(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
  return bytes;
}

class CopyingTest : public testing::Test {
 protected:
  ~CopyingTest() override { File_CopyAbort(&copy_); }

  ErrorCode Start(const std::string& from, const std::string& to, int32_t move = 0) {
    return File_CopyStart(directory_.Name(from).c_str(), directory_.Name(to).c_str(), move, &reports_,
                          RecordProgress, &copy_);
  }

  // Steps until the copy ends or fails; the number of calls goes to *calls.
  ErrorCode Run(int* calls = nullptr) {
    ErrorCode status = Error_None;
    int count = 0;
    while (copy_ != nullptr && status == Error_None) {
      status = File_CopyEnd(&copy_);
      ++count;
    }
    if (calls != nullptr) *calls = count;
    return status;
  }

  TempDir directory_;
  FileCopy* copy_ = nullptr;
  Reports reports_;
};
