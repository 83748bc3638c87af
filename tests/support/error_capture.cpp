#include "tests/support/error_capture.h"

#include "os/core/error_testing.h"

namespace {
std::vector<std::string>& Store() {
  static std::vector<std::string> lines;
  return lines;
}
}  // namespace

ErrorCapture::ErrorCapture() {
  Store().clear();
  iError_SetSink([](const char* line) { Store().emplace_back(line); });
}

ErrorCapture::~ErrorCapture() {
  iError_SetSink(nullptr);
}

std::vector<std::string> ErrorCapture::Lines() {
  return Store();
}
