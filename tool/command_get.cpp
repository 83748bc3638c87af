// qz get: URLs into files of the current folder, or one URL into a file anywhere.
#include <atomic>

#include "tool/commands.h"
#include "tool/console.h"
#include "tool/jobs.h"
#include "tool/transfer_make.h"

namespace tool {

void RunGet(const Options& options, Reporter* reporter) {
  console::SetInterruptHint("; received data is kept, rerun the command to resume");
  const std::vector<WantedDownload> wanted = WantedDownloads(options);
  Store store;
  store.Sweep();
  std::size_t next = 0;
  const NextJob nextJob = [&]() -> std::unique_ptr<Job> {
    if (next == wanted.size()) return nullptr;
    return MakeDownload(&store, wanted[next++], options, reporter);
  };
  const ExitCode code = RunJobs(nextJob, options.jobs, true, reporter);
  if (code == ExitCode::Disk && next < wanted.size())
    reporter->ReportError("the remaining URLs were skipped");
  if (code != ExitCode::Done) throw Failure{code, ""};
}

}  // namespace tool
