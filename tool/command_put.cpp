// qz put: a local file onto an FTP server.
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/jobs.h"
#include "tool/transfer_make.h"

namespace tool {

void RunPut(const Options& options, Reporter* reporter) {
  console::SetInterruptHint("; rerun the command to resume");
  Store store;
  store.Sweep();
  std::unique_ptr<Job> upload = MakeUpload(&store, options, reporter);
  const NextJob nextJob = [&] { return std::move(upload); };
  const ExitCode code = RunJobs(nextJob, 1, true, reporter);
  if (code != ExitCode::Done) throw Failure{code, ""};
}

}  // namespace tool
