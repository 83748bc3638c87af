// The help texts. docs/program.md says the same at more length.
#include "tool/options.h"

namespace tool {
namespace {

constexpr const char* kProgram =
    R"(qz gets and stores files over FTP and HTTP, and goes on where it was cut off.

Usage:
  qz get URL... [-o FILE]    get files into the current folder
  qz put FILE URL            store a file on an FTP server
  qz ls URL                  list a folder of an FTP server
  qz size URL                show size and time of a file, and whether it can be resumed
  qz COMMAND --help          options and examples of a command
  qz --version, qz --help

Examples:
  qz get http://127.0.0.1:8080/disk.iso
  qz get ftp://ftp.example.org/pub/disk.iso -o copy.iso
  qz put report.pdf ftp://me@ftp.example.org/inbox/

URLs begin with ftp:// or http://. https:// is not supported.
)";

constexpr const char* kExitCodes =
    R"(
Exit codes:
  0    done
  1    other failure
  2    the command line is wrong
  3    the file or folder was not found
  4    the network failed or no answer came in time; the same command goes on
  5    the login was refused
  6    the server's answer cannot be used
  7    the local disk: full, not writable, or something is in the way
  130  interrupted by Ctrl-C; the same command goes on
)";

constexpr const char* kGetHelp =
    R"(Usage: qz get URL... [-o FILE]

Gets each file into the current folder under the last part of its URL. While it arrives it is called
FILE.part; run the same command again to go on with a FILE.part that was left. An existing FILE is never
overwritten: the new one is called FILE(0), FILE(1) and so on.

Options:
  -o, --output FILE      another name or place for the file (one URL only)
      --restart          do not go on with FILE.part, start again
      --sync             name the file only when the disk holds all of it, even if the power fails
)";

constexpr const char* kPutHelp =
    R"(Usage: qz put FILE URL

Stores FILE on an FTP server. A URL that ends in "/" takes the file's own name. When the server holds the
beginning of the file already, only the rest is sent.

Options:
      --restart          send the whole file, whatever the server holds
)";

constexpr const char* kListHelp =
    R"(Usage: qz ls URL

Lists a folder of an FTP server on standard output, as the server writes it.

Options:
      --names            names only, one a line
)";

constexpr const char* kSizeHelp =
    R"(Usage: qz size URL

Shows size and time of a file, and whether a download of it can be resumed, without getting it.

Options:
)";

constexpr const char* kTransferOptions =
    R"(      --progress KIND    auto (a bar on a terminal, else lines), bar, lines or none
      --retries N        how often to go on by itself after a lost connection (5)
      --retry-wait S     seconds to wait before that; doubled each time (2)
      --timeout S        seconds without data that count as a lost connection (61)
)";

constexpr const char* kCommonOptions =
    R"(      --user NAME        user name for FTP; the password is asked for, or comes from the file
      --password-file F  read the password from the first line of F ("-": standard input)
      --active           FTP: let the server connect to this computer
      --proxy HOST:PORT  connect through a proxy
  -q, --quiet            show errors only
  -v, --verbose          show the conversation with the server; passwords are hidden
  -h, --help             this text
)";

constexpr const char* kGetExamples =
    R"(
Examples:
  qz get ftp://ftp.example.org/pub/disk.iso
  qz get http://127.0.0.1:8080/disk.iso -o /tmp/copy.iso
  qz get --user me --password-file secret.txt ftp://ftp.example.org/private/plan.pdf
)";

constexpr const char* kPutExamples =
    R"(
Examples:
  qz put report.pdf ftp://me@ftp.example.org/inbox/
  qz put report.pdf ftp://ftp.example.org/incoming/report-2.pdf --restart
)";

constexpr const char* kListExamples =
    R"(
Examples:
  qz ls ftp://ftp.example.org/pub/
  qz ls --names ftp://ftp.example.org/
)";

constexpr const char* kSizeExamples =
    R"(
Examples:
  qz size ftp://ftp.example.org/pub/disk.iso
  qz size http://127.0.0.1:8080/disk.iso
)";

}  // namespace

std::string HelpText(const std::string& commandName) {
  const std::string common = kCommonOptions;
  if (commandName == "get")
    return std::string(kGetHelp) + kTransferOptions + common + kGetExamples + kExitCodes;
  if (commandName == "put")
    return std::string(kPutHelp) + kTransferOptions + common + kPutExamples + kExitCodes;
  if (commandName == "ls") return kListHelp + common + kListExamples + kExitCodes;
  if (commandName == "size") return kSizeHelp + common + kSizeExamples + kExitCodes;
  return std::string(kProgram) + kExitCodes;
}

}  // namespace tool
