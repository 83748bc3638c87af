// Getting a file over FTP.
//
// A file is complete when the data ended, the final reply is positive, and the reported size (if any) was
// received.
#include "qz/error.h"
#include "tool/data_loop.h"
#include "tool/download.h"
#include "tool/ftp_session.h"
#include "tool/library_call.h"
#include "tool/text.h"

namespace tool {
namespace {

class FTPSource : public Source {
 public:
  FTPSource(const Address& address, const Options& options, Reporter* reporter, ProgressLine* progress)
      : address_(address),
        login_(LoginFor(address, options)),
        options_(options),
        reporter_(reporter),
        progress_(progress) {}

  void Fetch(PartFile* part) override {
    session_.reset();
    session_ = std::make_unique<FTPSession>(address_, options_, reporter_);
    session_->LogIn(login_);
    session_->SetType('I');
    QuerySize();
    std::uint32_t offset = Offset(*part);
    if (offset > 0 && total_ && *total_ == offset) {
      reporter_->Say("\"" + part->Path() + "\" is already complete");
      return;
    }
    const bool resuming = offset > 0;
    Stream* stream = session_->StartRetrieve(address_.path, &offset);
    if (resuming && offset == 0)
      reporter_->Say("the server does not support resuming: restarting from the beginning");
    if (resuming && offset > 0) reporter_->Say("resuming at " + SizeText(offset));
    Receive(stream, offset, part);
  }

  void Quit() override { session_->Quit(); }

 private:
  void QuerySize() {
    const auto size = session_->SizeOf(address_.path);
    if (size && size->tooLarge()) {
      reporter_->Say("the file is 4 GiB or larger: its size is unknown and resuming works below 4 GiB only");
    }
    const auto known = size && !size->tooLarge()
                           ? std::optional<std::uint32_t>(static_cast<std::uint32_t>(size->bytes))
                           : std::nullopt;
    // Kept until the part file is truncated: an attempt may fail before that.
    changed_ = changed_ || (asked_ && known != total_);
    asked_ = true;
    tooLarge_ = size && size->tooLarge();
    total_ = known;
  }

  // The offset to resume at; 0 where that is impossible or would mix two files. The part file is truncated
  // only when new data is available.
  std::uint32_t Offset(const PartFile& part) {
    if (part.Length() == 0) return 0;
    if (part.Length() > kLargestOffset) {
      reporter_->Say("resuming works below 4 GiB only: restarting from the beginning");
      return 0;
    }
    if (changed_) {
      reporter_->Say("the file on the server changed: restarting from the beginning");
      return 0;
    }
    if (total_ && *total_ < part.Length()) {
      reporter_->Say("the file on the server became smaller: restarting from the beginning");
      return 0;
    }
    return static_cast<std::uint32_t>(part.Length());
  }

  void Receive(Stream* stream, std::uint32_t offset, PartFile* part) {
    std::uint64_t came = 0;
    ErrorCode status = Error_None;
    try {
      if (offset == 0) {
        part->Restart();
        changed_ = false;
      }
      part->Begin();
      const std::uint64_t before = part->Length();
      progress_->Begin(before, total_ ? std::optional<std::uint64_t>(*total_) : std::nullopt);
      const auto limit = total_ ? std::optional<std::uint64_t>(*total_ - before) : std::nullopt;
      status = ReceiveInto(part, stream, limit, options_, reporter_, progress_);
      if (status == Error_None) status = ExpectEnd(stream, part);
      came = part->Length() - before;
    } catch (...) {
      Stream_Delete(stream);
      throw;
    }
    if (status != Error_Ended) {
      Stream_Delete(stream);
      throw Failure{ExitCode::Network, NetworkErrorText(status), Retry::Yes};
    }
    session_->EndTransfer(stream);
    CheckWhole(*part, offset, came);
  }

  // All bytes of the reported size were received; the data has to end here.
  ErrorCode ExpectEnd(Stream* stream, PartFile* part) {
    const auto more = ReadOneByte(stream, options_);
    if (more.count == 0) return more.status;
    // With a byte too many, no later run takes the part file for complete.
    part->Append(more.count, &more.byte);
    throw Failure{ExitCode::Protocol, "the server sent more than the reported " + GroupedNumber(*total_) +
                                          " bytes; the data cannot be trusted"};
  }

  void CheckWhole(const PartFile& part, std::uint32_t offset, std::uint64_t came) const {
    if (total_ && part.Length() < *total_) {
      throw Failure{ExitCode::Network,
                    "the server ended the data after " + GroupedNumber(part.Length()) + " of " +
                        GroupedNumber(*total_) + " bytes",
                    Retry::Yes};
    }
    if (tooLarge_ && part.Length() < 0xFFFFFFFFu) {
      throw Failure{ExitCode::Network, "the server ended the data too early", Retry::Yes};
    }
    // Without a size, a part file that is longer than the file looks the same as a complete one.
    if (!total_ && offset > 0 && came == 0) {
      throw Failure{ExitCode::Protocol, "the server does not report the size, so \"" + part.Path() +
                                            "\" cannot be checked; download it again with --restart"};
    }
  }

  const Address address_;
  const Login login_;
  const Options& options_;
  Reporter* reporter_;
  ProgressLine* progress_;
  std::unique_ptr<FTPSession> session_;
  bool asked_ = false;
  bool changed_ = false;
  bool tooLarge_ = false;
  std::optional<std::uint32_t> total_;
};

}  // namespace

std::unique_ptr<Source> MakeFTPSource(const Address& address, const Options& options, Reporter* reporter,
                                      ProgressLine* progress) {
  return std::make_unique<FTPSource>(address, options, reporter, progress);
}

}  // namespace tool
