// The command line.
#ifndef TOOL_OPTIONS_H
#define TOOL_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "tool/sync_limit.h"

namespace tool {

enum class Command {
  Get,
  Put,
  Add,
  Run,
  List,
  Show,
  Remove,
  Retry,
  Prefs,
  Upgrade,
  Ls,
  Size,
  Sync,
  Help,
  Version
};
enum class ProgressKind { Automatic, Bar, Lines, None };

struct Options {
  Command command = Command::Help;
  std::vector<std::string> operands;
  std::vector<unsigned> numbers;  // the operands of show, remove and retry, each once
  std::string commandName;        // "" for the program itself
  bool help = false;

  std::optional<std::string> output;
  std::optional<std::string> user;
  std::optional<std::string> passwordFile;
  std::optional<std::string> password;  // its first line, filled by ReadPasswordFile
  std::optional<std::string> proxyHost;
  unsigned proxyPort = 0;
  std::vector<std::string> mirrors;
  std::optional<std::string> sha256;  // 64 digits, in lower case
  std::optional<std::string> upgradeLocation;
  std::optional<unsigned> installedVersion;
  unsigned jobs = 1;
  bool active = false;
  bool continueUpload = false;
  bool overwrite = false;
  bool restart = false;
  bool savePassword = false;
  bool synchronise = false;
  bool unpack = false;
  bool verify = false;
  bool namesOnly = false;
  bool quiet = false;
  bool verbose = false;
  ProgressKind progress = ProgressKind::Automatic;
  unsigned retries = 5;
  unsigned retryWaitSeconds = 2;
  unsigned timeoutSeconds = 61;

  bool deleteGone = false;
  bool dryRun = false;
  bool noRecursion = false;
  bool reverse = false;
  bool twoWay = false;
  DeletionLimit maxDelete;
  std::vector<std::string> excludes;
  std::vector<std::string> forced;
  std::optional<std::string> syncName;
};

struct ProxyServer {
  std::string host;
  unsigned port = 0;
};

// "HOST:PORT"; nothing for anything else.
std::optional<ProxyServer> ParseProxy(const std::string& text);

// Throws Failure (Usage).
Options ParseCommandLine(int count, char** arguments);

// Masks the passwords of URLs in the arguments, which the system shows in its list of processes.
void HidePasswords(int count, char** arguments);

// Takes the password from the file that the options name, if they name one. Throws Failure (Usage).
void ReadPasswordFile(Options* options);

// The URLs among the operands; "-" is replaced by those of standard input, one a line, which is read here.
// Blank lines and those that begin with "#" are skipped. Throws Failure (Usage) when none is left.
std::vector<std::string> URLsOf(const Options& options);

// Throws Failure (Usage) when the options carry a login: HTTP authentication is not supported.
void RejectHTTPLogin(const Options& options);

// The text of `qz --help` for "", else of `qz COMMAND --help`.
std::string HelpText(const std::string& commandName);

}  // namespace tool

#endif
