#include "tests/support/standard_input.h"

#include <cstdio>
#include <cstdlib>

#ifdef _WIN32
#  include <fcntl.h>
#  include <io.h>
namespace {
int MakePipe(int* ends) {
  return _pipe(ends, 65536, _O_BINARY);
}
int Write(int file, const std::string& text) {
  return _write(file, text.data(), static_cast<unsigned>(text.size()));
}
int Duplicate(int file) {
  return _dup(file);
}
int DuplicateTo(int file, int target) {
  return _dup2(file, target);
}
int Close(int file) {
  return _close(file);
}
}  // namespace
#else
#  include <unistd.h>
namespace {
int MakePipe(int* ends) {
  return pipe(ends);
}
int Write(int file, const std::string& text) {
  return static_cast<int>(write(file, text.data(), text.size()));
}
int Duplicate(int file) {
  return dup(file);
}
int DuplicateTo(int file, int target) {
  return dup2(file, target);
}
int Close(int file) {
  return close(file);
}
}  // namespace
#endif

StandardInput::StandardInput(const std::string& text) {
  int ends[2];
  savedDescriptor_ = Duplicate(0);
  if (MakePipe(ends) != 0 || Write(ends[1], text) != static_cast<int>(text.size())) abort();
  DuplicateTo(ends[0], 0);
  Close(ends[0]);
  Close(ends[1]);
  // Nothing may stay behind in the buffer of the stream for the next test.
  setvbuf(stdin, nullptr, _IONBF, 0);
  clearerr(stdin);
}

StandardInput::~StandardInput() {
  if (savedDescriptor_ < 0) return;
  DuplicateTo(savedDescriptor_, 0);
  Close(savedDescriptor_);
}
