// From the command line to transfers: which record belongs to a URL, and what a new one gets.
#ifndef TOOL_TRANSFER_MAKE_H
#define TOOL_TRANSFER_MAKE_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tool/address.h"
#include "tool/login.h"
#include "tool/options.h"
#include "tool/reporter.h"
#include "tool/store.h"
#include "tool/transfer.h"

namespace tool {

// A download of the command line: checked, with its absolute target.
struct WantedDownload {
  Address address;
  std::string target;  // in the library's form
  WantedLogin login;   // of an FTP address
};

// All URLs of the command line, checked before anything is fetched. Throws Failure (Usage), Interruption.
std::vector<WantedDownload> WantedDownloads(const Options& options);

// The transfer for it, claimed: the saved one with this URL and target, or a new one. Throws Failure when
// another program runs it, or when the target belongs to the transfer of another URL. One that failed without
// a byte makes room.
std::unique_ptr<Transfer> MakeDownload(Store* store, const WantedDownload& wanted, const Options& options,
                                       Reporter* reporter);

// The same for the upload of the command line.
std::unique_ptr<Transfer> MakeUpload(Store* store, const Options& options, Reporter* reporter);

// A saved transfer, claimed; null when it is gone meanwhile. Throws Failure when another program runs it.
std::unique_ptr<Transfer> MakeSaved(Store* store, unsigned number, const Options& options,
                                    const Passwords& passwords, Reporter* reporter);

}  // namespace tool

#endif
