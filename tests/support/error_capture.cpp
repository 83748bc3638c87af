#include "tests/support/error_capture.h"

#include "qz/error.h"

namespace {
std::vector<std::string>& Store() {
  static std::vector<std::string> lines;
  return lines;
}
}  // namespace

ErrorCapture::ErrorCapture() {
  Store().clear();
  Error_SetReporter([](const char* line) { Store().emplace_back(line); });
}

ErrorCapture::~ErrorCapture() {
  Error_SetReporter(nullptr);
}

std::vector<std::string> ErrorCapture::Lines() {
  return Store();
}
