#include "tool/output.h"

#include "tool/console.h"
#include "tool/failure.h"

namespace tool {

void Print(const std::string& text) {
  if (console::Write(console::Channel::Output, text.data(), text.size())) return;
  throw Failure{ExitCode::Disk, "cannot write to standard output"};
}

}  // namespace tool
