// qz put: a local file onto an FTP server, resuming at the end of the server's copy.
#include <limits>

#include "qz/error.h"
#include "qz/sock.h"
#include "tool/address.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/data_loop.h"
#include "tool/disk_file.h"
#include "tool/download.h"
#include "tool/ftp_session.h"
#include "tool/library_call.h"
#include "tool/text.h"

namespace tool {
namespace {

class Upload {
 public:
  Upload(const std::string& file, const Address& address, const Options& options, Reporter* reporter)
      : name_(file),
        address_(address),
        options_(options),
        reporter_(reporter),
        progress_(reporter, address.fileName) {
    file_.OpenForReading(file);
    login_ = LoginFor(address, options);
    size_ = file_.Size();
  }

  void Run() {
    RetryCounter retries(options_, 0, reporter_);
    for (bool again = false;; again = true) {
      try {
        Attempt(again);
        session_->Quit();
        return;
      } catch (const Failure& failure) {
        progress_.End();
        // What was sent is not what the server kept; only the next attempt asks for that.
        if (position_ > held_) retries.NoteMovement();
        retries.Wait(failure, held_);
      } catch (const Interruption&) {
        progress_.End();
        throw;
      }
    }
  }

 private:
  void Attempt(bool again) {
    session_.reset();
    session_ = std::make_unique<FTPSession>(address_, options_, reporter_);
    session_->LogIn(login_);
    session_->SetType('I');
    std::uint32_t offset = Offset(again);
    if (offset > 0 && offset == size_) {
      reporter_->Say("\"" + address_.path + "\" is already complete on the server; --restart sends it again");
      return;
    }
    const bool resuming = offset > 0;
    Stream* stream = session_->StartStore(address_.path, &offset);
    if (resuming && offset == 0)
      reporter_->Say("the server does not support resuming: restarting from the beginning");
    if (resuming && offset > 0) reporter_->Say("resuming at " + SizeText(offset));
    Send(stream, offset);
    CheckWhole();
    progress_.End();
    reporter_->Say("stored \"" + address_.path + "\" (" + SizeText(size_) + ")");
    if (file_.Size() > size_) {
      reporter_->Say("\"" + name_ + "\" grew during the transfer; rerun the command to send the rest");
    }
  }

  // The offset to resume at: what the server has of this file, 0 for nothing or for another file. A server
  // may keep the old file until the new one is complete, so a retry does not resume while the old one is
  // still there.
  std::uint32_t Offset(bool again) {
    const auto remote = session_->SizeOf(address_.path);
    const bool tooLong = remote && (remote->bytes > size_ || remote->tooLarge());
    const std::uint32_t held = remote && !tooLong ? static_cast<std::uint32_t>(remote->bytes) : 0;
    const bool another = tooLong || (again ? held == replaced_ : options_.restart);
    if (!again && another) replaced_ = held;
    return another ? 0 : held;
  }

  void Send(Stream* stream, std::uint32_t offset) {
    ErrorCode status = Error_None;
    try {
      file_.SeekTo(offset);
      held_ = offset;
      position_ = offset;
      progress_.Begin(offset, size_);
      status = SendFrom(&file_, &position_, size_, stream, options_, reporter_, &progress_);
      if (status == Error_None && position_ < size_) {
        throw Failure{ExitCode::Disk,
                      "\"" + name_ + "\" was truncated during the transfer; send it again with --restart"};
      }
      // Closing a socket drops unsent data, so the server closes first.
      Sock_Shutdown(reinterpret_cast<Sock*>(Stream_FindType(stream, StreamType_Sock)), SockShutdown_Send);
      if (status == Error_None) WaitForPeerClose(stream, options_);
    } catch (...) {
      Stream_Delete(stream);
      throw;
    }
    // The final reply explains a broken connection: disk full, not allowed.
    session_->EndTransfer(stream);
    if (status != Error_None) throw Failure{ExitCode::Network, NetworkErrorText(status), Retry::Yes};
    position_ = size_;
  }

  void CheckWhole() {
    const auto remote = session_->SizeOf(address_.path);
    if (!remote || remote->bytes == size_ || (remote->tooLarge() && size_ >= remote->bytes)) return;
    throw Failure{ExitCode::Network,
                  "the server has " + GroupedNumber(remote->bytes) + " of " + GroupedNumber(size_) + " bytes",
                  Retry::Yes};
  }

  const std::string name_;
  const Address address_;
  const Options& options_;
  Reporter* reporter_;
  ProgressLine progress_;
  DiskFile file_;
  Login login_;
  std::uint64_t size_ = 0;
  std::uint64_t held_ = 0;  // what the server had when the last attempt began to send
  std::uint64_t position_ = 0;
  std::uint32_t replaced_ = 0;  // the length of the old file on the server
  std::unique_ptr<FTPSession> session_;
};

std::string LastPart(const std::string& path) {
  return path.substr(path.find_last_of("/\\") + 1);
}

}  // namespace

void RunPut(const Options& options, Reporter* reporter) {
  console::SetInterruptHint("; rerun the command to resume");
  const std::string& file = options.operands[0];
  Address address = ParseAddress(options.operands[1]);
  if (address.scheme != Scheme::FTP) throw Failure{ExitCode::Usage, "put supports FTP servers only"};
  if (address.path.empty() || address.path.back() == '/') {
    address.path += LastPart(file);
    address.fileName = LastPart(file);
  }
  if (address.path.find_first_of("\r\n") != std::string::npos) {
    throw Failure{ExitCode::Usage,
                  "the name \"" + LastPart(file) + "\" contains a line break; give the file name in the URL"};
  }
  const DiskFile::Kind kind = DiskFile::KindOf(file);
  if (kind == DiskFile::Kind::Nothing) {
    throw Failure{ExitCode::NotFound, "\"" + file + "\" does not exist"};
  }
  if (kind == DiskFile::Kind::Folder) {
    throw Failure{ExitCode::Usage, "\"" + file + "\" is a folder; put stores one file"};
  }
  try {
    Upload(file, address, options, reporter).Run();
  } catch (const Interruption&) {
    reporter->ReportError("interrupted; rerun the command to resume");
    throw;
  }
}

}  // namespace tool
