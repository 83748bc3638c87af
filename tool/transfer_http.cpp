// Getting a file over HTTP.
//
// Without a part file the whole file is requested. With n bytes in it the rest is requested by a range:
//
//   206, first byte n, to an end that fits   the rest is appended
//   206 with anything else                   nothing is mixed: the whole file is requested
//   200                                      the server does not resume: the whole file follows
//   416                                      nothing follows byte n: the whole file is requested, for its
//   length
//
// A whole file of exactly n bytes means that the part file was complete. The library does not give the total
// size of a range, so when it is unknown a last request probes for more: 416 means that nothing follows.
#include <algorithm>

#include "qz/error.h"
#include "tool/data_loop.h"
#include "tool/download.h"
#include "tool/http_request.h"
#include "tool/library_call.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr std::uint32_t kLengthTooLarge = 0xFFFFFFFFu;

// The length, or kLengthTooLarge where it is that or more.
std::optional<std::uint32_t> ShortLength(const HTTPResponse& response) {
  const auto length = response.Length();
  if (!length) return std::nullopt;
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(*length, kLengthTooLarge));
}

class HTTPSource : public Source {
 public:
  HTTPSource(const Address& address, const Options& options, Reporter* reporter, ProgressLine* progress)
      : original_(address), options_(options), reporter_(reporter), progress_(progress) {}

  void Fetch(PartFile* part) override {
    address_ = original_;
    bool probesForMore = false;
    while (part->Length() > 0 && part->Length() <= kLargestOffset) {
      const auto first = static_cast<std::uint32_t>(part->Length());
      const auto response = Request(&address_, ByteRange{first, kToTheEnd}, reporter_);
      if (response->Code() == 416 && probesForMore) return;
      if (!Continues(*response, first)) {
        if (response->IsWholeFile()) return ReceiveWhole(*response, part);
        if (response->Code() != 206 && response->Code() != 416) throw FailureOfResponse(*response, address_);
        break;
      }
      ReceiveRest(*response, part);
      if (total_) return;
      probesForMore = true;
    }
    const auto response = Request(&address_, std::nullopt, reporter_);
    if (!response->IsWholeFile()) throw FailureOfResponse(*response, address_);
    ReceiveWhole(*response, part);
  }

 private:
  // Whether the body is the rest of the same file, from its first to its last byte.
  bool Continues(const HTTPResponse& response, std::uint32_t first) const {
    const auto range = response.Range();
    if (response.Code() != 206 || !range || response.IsMultipart()) return false;
    if (range->first != first || range->last < first || range->last == kLengthTooLarge) return false;
    const auto length = ShortLength(response);
    if (length && *length != range->last - first + 1) return false;
    return !(total_ && range->last + 1 != *total_) && !Changed(response);
  }

  bool Changed(const HTTPResponse& response) const {
    const auto modified = response.Modified();
    return modified && modified_ && Time_Compare(&*modified, &*modified_) != 0;
  }

  void ReceiveRest(const HTTPResponse& response, PartFile* part) {
    const auto range = *response.Range();
    if (!modified_) modified_ = response.Modified();
    reporter_->Say("resuming at " + SizeText(range.first));
    Receive(response, std::uint64_t{range.last} - range.first + 1, std::uint64_t{range.last} + 1, part);
  }

  void ReceiveWhole(const HTTPResponse& response, PartFile* part) {
    const auto length = ShortLength(response);
    const bool known = length && *length != kLengthTooLarge;
    if (part->Length() > 0) {
      const bool same = !Changed(response) && (!total_ || length == total_);
      if (known && *length == part->Length() && same) {
        reporter_->Say("\"" + part->Path() + "\" is already complete");
        return;
      }
      SayWhyRestarting(part->Length(), known ? length : std::nullopt);
      part->Restart();
    }
    total_ = known ? length : std::nullopt;
    modified_ = response.Modified();
    if (length && !known) {
      reporter_->Say("the file is 4 GiB or larger: its size is unknown and resuming works below 4 GiB only");
    }
    part->Begin();
    Receive(response, total_, total_, part);
    if (length && !known && part->Length() < kLengthTooLarge) {
      throw Failure{ExitCode::Network, "connection closed before the end of the file", Retry::Yes};
    }
  }

  void SayWhyRestarting(std::uint64_t have, const std::optional<std::uint32_t>& length) {
    if (have > kLargestOffset) {
      reporter_->Say("resuming works below 4 GiB only: restarting from the beginning");
    } else if (length && *length < have) {
      reporter_->Say("the file on the server became smaller: restarting from the beginning");
    } else if (total_) {
      reporter_->Say(
          "the file on the server changed, or it cannot be resumed: restarting from the beginning");
    } else {
      reporter_->Say("the server does not support resuming: restarting from the beginning");
    }
  }

  void Receive(const HTTPResponse& response, std::optional<std::uint64_t> limit,
               std::optional<std::uint64_t> total, PartFile* part) {
    progress_->Begin(part->Length(), total);
    const ErrorCode status = ReceiveInto(part, response.Body(), limit, options_, reporter_, progress_);
    if (status == Error_None || (status == Error_Ended && !limit)) return;
    if (status == Error_Ended) {
      throw Failure{ExitCode::Network, "connection closed before the end of the file", Retry::Yes};
    }
    throw Failure{ExitCode::Network, NetworkErrorText(status), Retry::Yes};
  }

  const Address original_;
  const Options& options_;
  Reporter* reporter_;
  ProgressLine* progress_;
  Address address_;
  // From a response of this run with the whole file.
  std::optional<std::uint32_t> total_;
  std::optional<Time> modified_;
};

}  // namespace

std::unique_ptr<Source> MakeHTTPSource(const Address& address, const Options& options, Reporter* reporter,
                                       ProgressLine* progress) {
  return std::make_unique<HTTPSource>(address, options, reporter, progress);
}

}  // namespace tool
