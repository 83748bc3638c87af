// qz: a command-line client that gets and stores files over FTP and HTTP and resumes interrupted transfers.
#include <exception>
#include <new>

#include "qz/error.h"
#include "qz/os.h"
#include "qz/proxy.h"
#include "qz/version.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/ftp_session.h"
#include "tool/library_call.h"
#include "tool/text.h"

namespace tool {
namespace {

class Library {
 public:
  Library() {
    Error_ClearLast();
    const ErrorCode status = OS_Init("qz", OSInitCode_End);
    if (status == Error_None) return;
    std::string text = std::string("cannot initialise the qz library: ") + Error_ToLongString(status) +
                       RecordedDetails(status);
    if (status == Error_NoAccess || status == Error_NotFound) {
      text += "; set HOME to a folder that can be written";
    }
    throw Failure{ExitCode::Other, text};
  }
  // A thread that is still waiting for the reply to QUIT needs the library; it ends with the process.
  ~Library() {
    if (!FTPSession::IsQuitPending()) OS_Exit(0);
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

void SetProxy(const Options& options) {
  if (!options.proxyHost) return;
  Proxy_SetServer(ProxyIndex_HTTP, options.proxyHost->c_str(), options.proxyPort);
  Proxy_SetServer(ProxyIndex_FTP, options.proxyHost->c_str(), options.proxyPort);
  Proxy_SetEnabled(1);
}

void PrintText(const std::string& text) {
  if (console::Write(console::Channel::Output, text.data(), text.size())) return;
  throw Failure{ExitCode::Disk, "cannot write to standard output"};
}

void RunCommand(const Options& options) {
  const Library library;
  SetProxy(options);
  Reporter reporter(options);
  switch (options.command) {
    case Command::Get:
      return RunGet(options, &reporter);
    case Command::Put:
      return RunPut(options, &reporter);
    case Command::Ls:
      return RunLs(options, &reporter);
    case Command::Size:
      return RunSize(options, &reporter);
    default:
      return;
  }
}

void Run(int count, char** arguments) {
  Options options = ParseCommandLine(count, arguments);
  HidePasswords(count, arguments);
  if (options.command == Command::Version) return PrintText("qz " QZ_VERSION_STRING "\n");
  if (options.command == Command::Help || options.help) return PrintText(HelpText(options.commandName));
  ReadPasswordFile(&options);
  RunCommand(options);
}

int ReportError(ExitCode code, const std::string& text) {
  if (!text.empty()) {
    const std::string line = "qz: " + Printable(text) + "\n";
    console::Write(console::Channel::Messages, line.data(), line.size());
  }
  return static_cast<int>(code);
}

}  // namespace
}  // namespace tool

int main(int count, char** arguments) {
  using tool::ExitCode;
  tool::console::Prepare();
  try {
    tool::Run(count, arguments);
    return static_cast<int>(ExitCode::Done);
  } catch (const tool::Failure& failure) {
    return tool::ReportError(failure.code, failure.text);
  } catch (const tool::Interruption&) {
    return tool::ReportError(ExitCode::Interrupted, "");
  } catch (const std::bad_alloc&) {
    return tool::ReportError(ExitCode::Other, "out of memory");
  } catch (const std::exception& error) {
    return tool::ReportError(ExitCode::Other, error.what());
  }
}
