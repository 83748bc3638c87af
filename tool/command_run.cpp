// qz run and qz retry: saved transfers, several at once.
#include <algorithm>

#include "tool/address.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/jobs.h"
#include "tool/transfer_make.h"

namespace tool {
namespace {

// Nobody answers a question in the middle of a run.
void AskForPasswords(const std::vector<SavedTransfer>& transfers, Passwords* passwords) {
  for (const SavedTransfer& saved : transfers) {
    if (saved.user.empty() || saved.savesPassword) continue;
    passwords->Ask(saved.user, HostAndPort(ParseAddress(saved.url)));
  }
}

void RunAll(Store* store, const std::vector<SavedTransfer>& transfers, const Options& options,
            Reporter* reporter) {
  console::SetInterruptHint("; qz run resumes");
  Passwords passwords(options);
  AskForPasswords(transfers, &passwords);
  std::size_t next = 0;
  const NextJob nextJob = [&]() -> std::unique_ptr<Job> {
    while (next < transfers.size()) {
      auto job = MakeSaved(store, transfers[next++].number, options, passwords, reporter);
      if (job) return job;
    }
    return nullptr;
  };
  const ExitCode code = RunJobs(nextJob, options.jobs, false, reporter);
  if (code != ExitCode::Done) throw Failure{code, ""};
}

std::string CountText(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " transfer" : " transfers");
}

}  // namespace

void RunSaved(const Options& options, Reporter* reporter) {
  Store store;
  store.Sweep();
  StoreListing listing = store.List();
  std::vector<SavedTransfer>& all = listing.transfers;
  const auto isFailed = [](const SavedTransfer& saved) { return saved.status == TransferStatus::Failed; };
  const auto failed = static_cast<std::size_t>(std::count_if(all.begin(), all.end(), isFailed));
  std::erase_if(all, isFailed);
  for (const DamagedRecord& damaged : listing.damaged)
    reporter->ReportError("\"" + damaged.path + "\" is passed over: " + damaged.why);
  if (failed > 0)
    reporter->Say(CountText(failed) + " failed before and will not be run; qz retry N tries one again");
  if (all.empty()) reporter->Say("nothing to run");
  RunAll(&store, all, options, reporter);
  if (!listing.damaged.empty()) throw Failure{ExitCode::Other, ""};
}

void RunRetry(const Options& options, Reporter* reporter) {
  Store store;
  std::vector<SavedTransfer> wanted;
  for (const unsigned number : options.numbers) {
    const auto saved = store.Find(number);
    if (!saved) throw Failure{ExitCode::NotFound, "there is no transfer " + std::to_string(number)};
    wanted.push_back(*saved);
  }
  RunAll(&store, wanted, options, reporter);
}

}  // namespace tool
