// qz: a command-line client that gets and stores files over FTP and HTTP and resumes interrupted transfers.
#include <exception>
#include <new>
#include <string_view>

#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/sock.h"
#include "qz/version.h"
#include "qz/vrxclientsystem.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/ftp_session.h"
#include "tool/library_call.h"
#include "tool/output.h"
#include "tool/proxy.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr const char* kApplicationName = "qz";

class Library {
 public:
  Library() {
    Error_ClearLast();
    const ErrorCode status = OS_Init(kApplicationName, OSInitCode_End);
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

// Where the preferences lie; for messages.
std::string PreferencesPath() {
  constexpr std::size_t kPathBytes = 1024;
  char folder[kPathBytes] = "";
  if (File_GetSysDir(SysDir_Cache, folder) != Error_None) return "";
  return console::ToSystemName(std::string(folder) + "/" + kApplicationName + "VRXPrefs");
}

class TransferSystem {
 public:
  TransferSystem() {
    Error_ClearLast();
    const ErrorCode status = VRXClientSystem_Init();
    if (status == Error_None) return;
    throw Failure{ExitCode::Other, std::string("cannot start transfers: ") + Error_ToLongString(status) +
                                       RecordedDetails(status) + "; the preferences in \"" +
                                       PreferencesPath() +
                                       "\" may be damaged, or name a dial-up entry that does not exist: "
                                       "remove this file to get the defaults"};
  }
  ~TransferSystem() { VRXClientSystem_Exit(); }
  TransferSystem(const TransferSystem&) = delete;
  TransferSystem& operator=(const TransferSystem&) = delete;
};

// Ctrl-C between two calls of the library is told as one within a call is.
void RunTellingInterruption(void (*run)(const Options&, Reporter*), const Options& options,
                            Reporter* reporter) {
  try {
    run(options, reporter);
  } catch (const Interruption&) {
    constexpr std::string_view kText = "\nqz: interrupted\n";
    console::Write(console::Channel::Messages, kText.data(), kText.size());
    throw;
  }
}

void RunCommand(const Options& options) {
  const Library library;
  const TransferSystem transferSystem;
  UseProxy(options);
  Sock_SetTimeout(options.timeoutSeconds * 1000);
  // They are for developers.
  if (!options.verbose) Error_SetReporter([](const char*) {});
  Reporter reporter(options);
  switch (options.command) {
    case Command::Get:
      return RunGet(options, &reporter);
    case Command::Put:
      return RunPut(options, &reporter);
    case Command::Add:
      return RunAdd(options, &reporter);
    case Command::Run:
      return RunSaved(options, &reporter);
    case Command::List:
      return RunList(options, &reporter);
    case Command::Show:
      return RunShow(options, &reporter);
    case Command::Remove:
      return RunRemove(options, &reporter);
    case Command::Retry:
      return RunRetry(options, &reporter);
    case Command::Prefs:
      return RunPrefs(options, &reporter);
    case Command::Upgrade:
      return RunUpgrade(options, &reporter);
    case Command::Ls:
      return RunTellingInterruption(RunLs, options, &reporter);
    case Command::Size:
      return RunTellingInterruption(RunSize, options, &reporter);
    case Command::Sync:
      return RunSync(options, &reporter);
    case Command::Help:
    case Command::Version:
      return;
  }
}

void Run(int count, char** arguments) {
  Options options = ParseCommandLine(count, arguments);
  HidePasswords(count, arguments);
  if (options.command == Command::Version) return Print("qz " QZ_VERSION_STRING "\n");
  if (options.command == Command::Help || options.help) return Print(HelpText(options.commandName));
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
