// From the command line to transfers: which record belongs to a URL, and what a new one gets.
#ifndef TOOL_TRANSFER_MAKE_H
#define TOOL_TRANSFER_MAKE_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tool/address.h"
#include "tool/options.h"
#include "tool/reporter.h"
#include "tool/store.h"
#include "tool/transfer.h"

namespace tool {

// The passwords of a run. They are asked for before it begins, for nobody answers in the middle of it; a
// transfer whose password is missing fails alone.
class Passwords {
 public:
  explicit Passwords(const Options& options) : options_(options) {}

  // Asks on the terminal for the login of this user, unless it is known. Throws Interruption.
  void Ask(const std::string& user, const std::string& host);
  // Nothing when nobody gave it.
  std::optional<std::string> Find(const std::string& user, const std::string& host) const;

 private:
  const Options& options_;
  std::map<std::string, std::string> known_;  // "user@host"
};

// A download of the command line: checked, with its absolute target.
struct WantedDownload {
  Address address;
  std::string target;  // in the library's form
  std::string user;    // of URL or options; empty: anonymous
  std::optional<std::string> password;
};

// All URLs of the command line, checked before anything is fetched. Throws Failure (Usage), Interruption.
std::vector<WantedDownload> WantedDownloads(const Options& options);

// The transfer for it, claimed: the saved one with this URL and target, or a new one. Throws Failure when
// another program runs it, or when the target belongs to the transfer of another URL.
std::unique_ptr<Transfer> MakeDownload(Store* store, const WantedDownload& wanted, const Options& options,
                                       Reporter* reporter);

// The same for the upload of the command line.
std::unique_ptr<Transfer> MakeUpload(Store* store, const Options& options, Reporter* reporter);

// A saved transfer, claimed; null when it is gone meanwhile. Throws Failure when another program runs it.
std::unique_ptr<Transfer> MakeSaved(Store* store, unsigned number, const Options& options,
                                    const Passwords& passwords, Reporter* reporter);

}  // namespace tool

#endif
