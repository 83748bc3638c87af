// Running several transfers at once, until all have ended or the user interrupts.
#ifndef TOOL_JOBS_H
#define TOOL_JOBS_H

#include <functional>
#include <memory>

#include "qz/httpc.h"
#include "tool/failure.h"
#include "tool/reporter.h"

namespace tool {

class Job {
 public:
  virtual ~Job() = default;
  // On a thread of its own, whose jobs leave each other their connections; connections may be null. Throws
  // Failure, which is reported and becomes an exit code, or Interruption.
  virtual void Run(HTTPcPool* connections) = 0;
  // From another thread, at any moment: Run ends within a second with Interruption.
  virtual void Stop() = 0;
};

// The next job; null: there are no more. Called by one thread at a time, on the threads of the jobs. Throws
// Failure for a job that cannot begin.
using NextJob = std::function<std::unique_ptr<Job>()>;

// Runs the jobs, `count` at once, and keeps the display alive meanwhile. Returns the exit code of the first
// one that failed. A failure of the local disk ends the run when the jobs have one disk: the others are not
// begun. Throws Interruption when Ctrl-C was pressed and all jobs have ended; a job that does not end within
// a second is left to the end of the process.
ExitCode RunJobs(const NextJob& next, unsigned count, bool endsOnDiskFailure, Reporter* reporter);

}  // namespace tool

#endif
