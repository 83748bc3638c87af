// Getting one file: attempts, going on where the last one was cut off, and the final name.
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
  // Brings the part file forward until it is the whole file. Throws Failure; what came stays in the part
  // file.
  virtual void Fetch(PartFile* part) = 0;
  // Ends the connection politely, once the file is safe.
  virtual void SayGoodbye() {}
};

std::unique_ptr<Source> MakeFTPSource(const Address& address, const Options& options, Reporter* reporter);
std::unique_ptr<Source> MakeHTTPSource(const Address& address, const Options& options, Reporter* reporter);

// The largest offset that the protocols' calls can carry.
constexpr std::uint64_t kLargestOffset = 0xFFFFFFFEu;

// Gets the file into `target` in the current folder.
void Download(const Address& address, const std::string& target, const Options& options, Reporter* reporter);

// Counts attempts in vain: going on is worth it as long as attempts bring the transfer further. A connection
// that never brought anything is not a lost one; that failure is told at once.
class RetryCounter {
 public:
  RetryCounter(const Options& options, std::uint64_t position, Reporter* reporter)
      : options_(options), reporter_(reporter), furthest_(position) {}
  // Notes that an attempt moved data, although it is not known yet how far that brought the transfer.
  void NoteMovement() { moved_ = true; }
  // After a failure at a position: waits, or throws the failure again when there were too many.
  void Wait(const Failure& failure, std::uint64_t position);

 private:
  const Options& options_;
  Reporter* reporter_;
  std::uint64_t furthest_;
  bool moved_ = false;
  unsigned inVain_ = 0;
};

}  // namespace tool

#endif
