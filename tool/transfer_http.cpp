// Getting a file over HTTP.
//
// With nothing in the part file the whole is asked for. With n bytes in it the rest is asked for by a range:
//
//   206, first byte n, to an end that fits   the rest is added
//   206 with anything else                   nothing is mixed: the whole is asked for
//   200                                      the server does not resume: the whole is coming
//   416                                      nothing follows byte n: the whole is asked for, for its length
//
// A whole whose length is exactly n means that the part file was complete. The library does not tell the
// total behind a range, so where no earlier whole told the length either, a last request asks what follows:
// 416 means that nothing does.
#include "qz/error.h"
#include "tool/data_loop.h"
#include "tool/download.h"
#include "tool/http_request.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr std::uint32_t kLengthTooLarge = 0xFFFFFFFFu;

bool IsWhole(const HTTPResponse& response) {
  return response.Code() == 200 || response.Code() == 203;
}

class HTTPSource : public Source {
 public:
  HTTPSource(const Address& address, const Options& options, Reporter* reporter)
      : original_(address), options_(options), reporter_(reporter) {}

  void Fetch(PartFile* part) override {
    address_ = original_;
    bool asksWhatFollows = false;
    while (part->Length() > 0 && part->Length() <= kLargestOffset) {
      const auto first = static_cast<std::uint32_t>(part->Length());
      const auto response = Request(&address_, ByteRange{first, kToTheEnd}, options_, reporter_);
      if (response->Code() == 416 && asksWhatFollows) return;
      if (!Continues(*response, first)) {
        if (IsWhole(*response)) return TakeWhole(*response, part);
        if (response->Code() != 206 && response->Code() != 416) throw RefusalOf(*response, address_);
        break;
      }
      TakeRest(*response, part);
      if (total_) return;
      asksWhatFollows = true;
    }
    const auto response = Request(&address_, std::nullopt, options_, reporter_);
    if (!IsWhole(*response)) throw RefusalOf(*response, address_);
    TakeWhole(*response, part);
  }

 private:
  // Whether the body is the rest of the same file, from its first to its last byte.
  bool Continues(const HTTPResponse& response, std::uint32_t first) const {
    const auto range = response.Range();
    if (response.Code() != 206 || !range || response.IsMultipart()) return false;
    if (range->first != first || range->last < first || range->last == kLengthTooLarge) return false;
    const auto length = response.Length();
    if (length && *length != range->last - first + 1) return false;
    return !(total_ && range->last + 1 != *total_) && !Changed(response);
  }

  bool Changed(const HTTPResponse& response) const {
    const auto modified = response.Modified();
    return modified && modified_ && Time_Compare(&*modified, &*modified_) != 0;
  }

  void TakeRest(const HTTPResponse& response, PartFile* part) {
    const auto range = *response.Range();
    if (!modified_) modified_ = response.Modified();
    reporter_->Say("going on at " + SizeText(range.first));
    Receive(response, std::uint64_t{range.last} - range.first + 1, std::uint64_t{range.last} + 1, part);
  }

  void TakeWhole(const HTTPResponse& response, PartFile* part) {
    const auto length = response.Length();
    const bool known = length && *length != kLengthTooLarge;
    if (part->Length() > 0) {
      const bool same = !Changed(response) && (!total_ || length == total_);
      if (known && *length == part->Length() && same) {
        reporter_->Say("\"" + part->Path() + "\" is complete already");
        return;
      }
      SayWhyAgain(part->Length(), known ? length : std::nullopt);
      part->Restart();
    }
    total_ = known ? length : std::nullopt;
    modified_ = response.Modified();
    if (length && !known) {
      reporter_->Say(
          "the file is 4 GiB or larger: its exact size is not known and resuming works below 4 GiB only");
    }
    part->Begin();
    Receive(response, total_, total_, part);
    if (length && !known && part->Length() < kLengthTooLarge) {
      throw Failure{ExitCode::Network, "the connection ended before the whole file came", Retry::Yes};
    }
  }

  void SayWhyAgain(std::uint64_t have, const std::optional<std::uint32_t>& length) {
    if (have > kLargestOffset) {
      reporter_->Say("resuming works below 4 GiB only: starting again");
    } else if (length && *length < have) {
      reporter_->Say("the file on the server has become smaller: starting again");
    } else if (total_) {
      reporter_->Say("the file on the server changed, or it cannot go on there: starting again");
    } else {
      reporter_->Say("the server cannot go on in the middle of this file: starting again");
    }
  }

  void Receive(const HTTPResponse& response, std::optional<std::uint64_t> limit,
               std::optional<std::uint64_t> total, PartFile* part) {
    reporter_->BeginProgress(original_.fileName, part->Length(), total);
    const ErrorCode status = ReceiveInto(part, response.Body(), limit, options_, reporter_);
    if (status == Error_None || (status == Error_Ended && !limit)) return;
    if (status == Error_Ended) {
      throw Failure{ExitCode::Network, "the connection ended before the whole file came", Retry::Yes};
    }
    throw Failure{ExitCode::Network, NetworkTrouble(status), Retry::Yes};
  }

  const Address original_;
  const Options& options_;
  Reporter* reporter_;
  Address address_;
  // What a whole response of this run said about the file.
  std::optional<std::uint32_t> total_;
  std::optional<Time> modified_;
};

}  // namespace

std::unique_ptr<Source> MakeHTTPSource(const Address& address, const Options& options, Reporter* reporter) {
  return std::make_unique<HTTPSource>(address, options, reporter);
}

}  // namespace tool
