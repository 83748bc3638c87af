// Collects what the library reports through Error() while it lives.
#pragma once

#include <string>
#include <vector>

class ErrorCapture {
 public:
  ErrorCapture();
  ~ErrorCapture();
  // The whole lines, "#### Error: ...\n".
  static std::vector<std::string> Lines();
};
