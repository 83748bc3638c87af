// The help texts. docs/program.md has the details.
#include "tool/options.h"

namespace tool {
namespace {

constexpr const char* kProgram =
    R"(qz gets and stores files over FTP and HTTP, and resumes interrupted transfers.

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
  0    success
  1    other failure
  2    wrong command line
  3    file or folder not found
  4    network failure or time-out; rerun the command to resume
  5    authentication failed or required, or access denied
  6    invalid or unexpected response from the server
  7    local disk failure: disk full, not writable, or a file in the way
  130  interrupted by Ctrl-C; rerun the command to resume
)";

constexpr const char* kGetHelp =
    R"(Usage: qz get URL... [-o FILE]

Downloads each file into the current folder, named by the last part of its URL. During the download it is
called FILE.part; rerun the command to resume. An existing FILE is never overwritten: the new one is called
FILE(0), FILE(1) and so on.

Options:
  -o, --output FILE      save as FILE (one URL only)
      --restart          ignore FILE.part and download from the beginning
      --sync             flush the file to disk before it gets its name
)";

constexpr const char* kPutHelp =
    R"(Usage: qz put FILE URL

Stores FILE on an FTP server. A URL that ends in "/" takes the file's own name. When the server already has the
beginning of the file, only the rest is sent.

Options:
      --restart          send the whole file, whatever the server has
)";

constexpr const char* kListHelp =
    R"(Usage: qz ls URL

Lists a folder of an FTP server on standard output, in the server's own format.

Options:
      --names            names only, one per line
)";

constexpr const char* kSizeHelp =
    R"(Usage: qz size URL

Shows size and time of a file, and whether a download can be resumed, without downloading it.

Options:
)";

constexpr const char* kTransferOptions =
    R"(      --progress KIND    auto (a bar on a terminal, else lines), bar, lines or none
      --retries N        automatic retries without progress after a lost connection (default 5)
      --retry-wait S     seconds before the first retry, doubled each time (default 2)
      --timeout S        seconds without data before the connection counts as lost (default 61)
)";

constexpr const char* kCommonOptions =
    R"(      --user NAME        FTP user name; the password is asked for, or read from the file
      --password-file F  read the password from the first line of F ("-": standard input)
      --active           FTP active mode: the server opens the data connections
      --proxy HOST:PORT  connect through an HTTP or FTP proxy
  -q, --quiet            show errors only
  -v, --verbose          show the protocol exchange; passwords are hidden
  -h, --help             show this text
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
