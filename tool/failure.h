// Failures of the program: what a person reads, and the exit code that scripts read.
#ifndef TOOL_FAILURE_H
#define TOOL_FAILURE_H

#include <string>

namespace tool {

// Documented in `qz --help`; scripts depend on the numbers.
enum class ExitCode {
  Done = 0,
  Other = 1,
  Usage = 2,
  NotFound = 3,
  Network = 4,
  Login = 5,
  Protocol = 6,
  Disk = 7,
  Refused = 8,
  Unsafe = 9,
  Conflict = 10,
  Incomplete = 11,
  Interrupted = 130,
};

enum class Retry { No, Yes };

// Thrown when a command fails.
struct Failure {
  ExitCode code;
  std::string text;
  Retry retry = Retry::No;  // Yes: the same request may succeed later
};

// Thrown when Ctrl-C was noticed.
struct Interruption {};

}  // namespace tool

#endif
