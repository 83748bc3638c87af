// Gives the program a text on its standard input for as long as the object lives.
#pragma once

#include <string>

class StandardInput {
 public:
  // At most 60,000 bytes.
  explicit StandardInput(const std::string& text);
  ~StandardInput();
  StandardInput(const StandardInput&) = delete;
  StandardInput& operator=(const StandardInput&) = delete;

 private:
  int savedDescriptor_;
};
