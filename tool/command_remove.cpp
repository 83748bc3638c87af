// qz remove: ends saved transfers for good, with their unfinished data.
#include <memory>

#include "tool/commands.h"
#include "tool/console.h"
#include "tool/discard.h"
#include "tool/failure.h"
#include "tool/private_file.h"
#include "tool/saved_text.h"
#include "tool/store.h"

namespace tool {
namespace {

[[noreturn]] void RefuseDamaged(const Store& store, unsigned number, const Failure& failure) {
  const std::string stem = PathInFolder(store.Folder(), std::to_string(number));
  throw Failure{failure.code, failure.text + "; nothing was removed. Remove \"" + stem + ".vrx\" and \"" +
                                  stem + ".conf\" yourself when they are of no use"};
}

void DiscardUndamaged(Store* store, unsigned number) {
  try {
    Discard(store, number);
  } catch (const Failure& failure) {
    if (failure.code == ExitCode::Disk) throw;
    RefuseDamaged(*store, number, failure);
  }
}

SavedTransfer Claimed(Store* store, unsigned number, std::unique_ptr<Claim>* claim) {
  *claim = store->Take(number);
  if (*claim == nullptr) {
    throw Failure{ExitCode::Other,
                  "transfer " + std::to_string(number) + " is running in another program; end that first"};
  }
  try {
    const auto transfer = store->Find(number);
    if (transfer) return *transfer;
  } catch (const Failure& failure) {
    RefuseDamaged(*store, number, failure);
  }
  throw Failure{ExitCode::NotFound, "there is no transfer " + std::to_string(number)};
}

void Remove(Store* store, unsigned number, Reporter* reporter) {
  std::unique_ptr<Claim> claim;
  const SavedTransfer transfer = Claimed(store, number, &claim);
  DiscardUndamaged(store, number);
  reporter->Say("removed transfer " + std::to_string(number) + " (" + NameOf(transfer) + ")");
}

}  // namespace

void RunRemove(const Options& options, Reporter* reporter) {
  Store store;
  ExitCode first = ExitCode::Done;
  for (const unsigned number : options.numbers) {
    try {
      Remove(&store, number, reporter);
    } catch (const Failure& failure) {
      reporter->ReportError(failure.text);
      if (first == ExitCode::Done) first = failure.code;
    }
  }
  if (first != ExitCode::Done) throw Failure{first, ""};
}

}  // namespace tool
