// qz add: saves downloads without running them.
#include "tool/commands.h"
#include "tool/transfer_make.h"

namespace tool {

void RunAdd(const Options& options, Reporter* reporter) {
  const std::vector<WantedDownload> all = WantedDownloads(options);
  Store store;
  ExitCode first = ExitCode::Done;
  for (const WantedDownload& wanted : all) {
    try {
      const auto transfer = MakeDownload(&store, wanted, options, reporter);
      transfer->Save();
      reporter->Say("saved as transfer " + std::to_string(transfer->Number()) + ": " + wanted.address.shown);
    } catch (const Failure& failure) {
      reporter->ReportError(failure.text);
      if (first == ExitCode::Done) first = failure.code;
    }
  }
  if (first != ExitCode::Done) throw Failure{first, ""};
}

}  // namespace tool
