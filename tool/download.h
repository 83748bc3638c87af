// Downloading one file: retries, resuming, and the final name.
#ifndef TOOL_DOWNLOAD_H
#define TOOL_DOWNLOAD_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "qz/time.h"
#include "tool/address.h"
#include "tool/failure.h"
#include "tool/options.h"
#include "tool/part_file.h"
#include "tool/reporter.h"

namespace tool {

// Where the bytes come from. One object lives for all attempts of a download, so that it can notice that the
// file on the server changed between them.
class Source {
 public:
  virtual ~Source() = default;
  // Receives into the part file until it is complete. Throws Failure; received data stays in the part file.
  virtual void Fetch(PartFile* part) = 0;
  // Closes the connection cleanly, once the file is saved.
  virtual void Quit() {}
};

std::unique_ptr<Source> MakeFTPSource(const Address& address, const Options& options, Reporter* reporter,
                                      ProgressLine* progress);
std::unique_ptr<Source> MakeHTTPSource(const Address& address, const Options& options, Reporter* reporter,
                                       ProgressLine* progress);

// The largest offset that the library's calls can take.
constexpr std::uint64_t kLargestOffset = 0xFFFFFFFEu;

// Gets the file into `target` in the current folder.
void Download(const Address& address, const std::string& target, const Options& options, Reporter* reporter);

// Counts retries without progress. A connection that never moved data was not lost: its failure is final at
// once.
class RetryCounter {
 public:
  RetryCounter(const Options& options, std::uint64_t position, Reporter* reporter)
      : options_(options), reporter_(reporter), furthest_(position) {}
  // Notes that an attempt moved data, before it is known how much of it the peer kept.
  void NoteMovement() { moved_ = true; }
  // After a failure at a position: waits for the next retry, or rethrows after too many.
  void Wait(const Failure& failure, std::uint64_t position);

 private:
  const Options& options_;
  Reporter* reporter_;
  std::uint64_t furthest_;
  bool moved_ = false;
  unsigned failedRetries_ = 0;
};

}  // namespace tool

#endif
