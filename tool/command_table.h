// The commands and their options, one row each: what the command line takes, and what the help says.
#ifndef TOOL_COMMAND_TABLE_H
#define TOOL_COMMAND_TABLE_H

#include <array>

#include "tool/options.h"

namespace tool {

constexpr unsigned kGet = 1, kPut = 2, kAdd = 4, kRun = 8, kRetry = 16, kLs = 32, kSize = 64, kUpgrade = 128;
constexpr unsigned kList = 256, kShow = 512, kRemove = 1024, kPrefs = 2048, kFolders = 4096;
constexpr unsigned kDownloads = kGet | kAdd;
constexpr unsigned kNewTransfers = kDownloads | kPut;
constexpr unsigned kSavedTransfers = kRun | kRetry;
constexpr unsigned kTransfers = kGet | kPut | kSavedTransfers;
constexpr unsigned kLogins = kNewTransfers | kLs | kSize | kFolders;
constexpr unsigned kConnections = kTransfers | kLs | kSize | kUpgrade | kFolders;
constexpr unsigned kAll = kConnections | kAdd | kList | kShow | kRemove | kPrefs;

// Values of the options that have no letter.
enum Long {
  kActive = 256,
  kContinue,
  kDelete,
  kDryRun,
  kExclude,
  kForce,
  kInstalled,
  kLocation,
  kMaxDelete,
  kMirror,
  kName,
  kNames,
  kNoRecursion,
  kOverwrite,
  kPasswordFile,
  kProgress,
  kProxy,
  kRestart,
  kRetries,
  kRetryWait,
  kReverse,
  kSavePassword,
  kSHA256,
  kSync,
  kTimeout,
  kTwoWay,
  kUnpack,
  kUser,
  kVerify,
};

struct OptionRow {
  const char* name;
  const char* valueName;  // null: it takes no value
  int value;              // the letter, or an enumerator of Long
  unsigned commands;      // where it is allowed
  const char* help;
};

// In the order of the help. An option that means something else for another command has a row for each.
constexpr auto kOptions = std::to_array<OptionRow>({
    {"output", "FILE", 'o', kDownloads, "save as FILE (one URL only)"},
    {"mirror", "URL", kMirror, kDownloads, "another server's copy of the file (one URL only; repeatable)"},
    {"overwrite", nullptr, kOverwrite, kDownloads, "replace an existing FILE when the new one is complete"},
    {"verify", nullptr, kVerify, kDownloads, "compare with the digest in FILE.sha256 beside the URL"},
    {"sha256", "DIGEST", kSHA256, kDownloads, "compare with this SHA-256 digest (one URL only)"},
    {"unpack", nullptr, kUnpack, kDownloads, "unpack a FILE that ends in .gz"},
    {"sync", nullptr, kSync, kDownloads, "flush the file to disk before it gets its name"},
    {"restart", nullptr, kRestart, kGet, "ignore FILE.part and download from the beginning"},
    {"continue", nullptr, kContinue, kPut, "keep what the server has of FILE, send the rest"},
    {"restart", nullptr, kRestart, kPut, "send the whole file, whatever the server has"},
    {"names", nullptr, kNames, kLs, "names only, one per line"},
    {"delete", nullptr, kDelete, kFolders, "delete what was deleted on the side that is copied from"},
    {"reverse", nullptr, kReverse, kFolders, "copy from DESTINATION to SOURCE"},
    {"two-way", nullptr, kTwoWay, kFolders, "copy in both directions; nothing is deleted"},
    {"dry-run", nullptr, kDryRun, kFolders, "show what would be done, file by file; change nothing"},
    {"exclude", "PATTERN", kExclude, kFolders,
     "leave these files and folders alone, such as *.tmp (repeatable)"},
    {"max-delete", "N|N%", kMaxDelete, kFolders, "do nothing when there is more to delete (default 50)"},
    {"force", "NAME", kForce, kFolders, "settle a conflict: copy NAME all the same (repeatable)"},
    {"no-recursion", nullptr, kNoRecursion, kFolders, "leave subfolders alone"},
    {"name", "NAME", kName, kFolders, "remember what was done under this name"},
    {"location", "URL", kLocation, kUpgrade, "folder of an FTP server to look in, not the preference's"},
    {"installed", "N", kInstalled, kUpgrade, "number of the installed version (25 at least)"},
    {"jobs", "N", 'j', kGet, "transfers at once, 1 to 64 (default 1)"},
    {"jobs", "N", 'j', kSavedTransfers, "transfers at once, 1 to 64 (default 4)"},
    {"progress", "KIND", kProgress, kTransfers | kFolders,
     "auto (a bar on a terminal, else lines), bar, lines or none"},
    {"retries", "N", kRetries, kTransfers, "automatic retries without progress (default 5)"},
    {"retry-wait", "S", kRetryWait, kTransfers,
     "seconds before the first retry, doubled each time (default 2)"},
    {"timeout", "S", kTimeout, kTransfers | kFolders,
     "seconds without data before the connection counts as lost (default 61)"},
    {"user", "NAME", kUser, kLogins, "FTP user name; the password is asked for, or read from the file"},
    {"password-file", "F", kPasswordFile, kLogins | kSavedTransfers,
     "read the password from the first line of F (\"-\": standard input)"},
    {"save-password", nullptr, kSavePassword, kNewTransfers, "keep the password with the saved transfer"},
    {"active", nullptr, kActive, kLogins, "FTP active mode: the server opens the data connections"},
    {"proxy", "HOST:PORT", kProxy, kConnections, "connect through an HTTP or FTP proxy"},
    {"quiet", nullptr, 'q', kAll, "show errors only"},
    {"verbose", nullptr, 'v', kTransfers | kLs | kSize, "show the protocol exchange; passwords are hidden"},
    {"verbose", nullptr, 'v', kFolders, "show a line for each file"},
    {"help", nullptr, 'h', kAll, "show this text"},
});

struct CommandRow {
  const char* name;
  Command command;
  unsigned bit;
  const char* operands;
  const char* summary;
  const char* description;
  const char* examples;
};

constexpr auto kCommands = std::to_array<CommandRow>({
    {"get", Command::Get, kGet, "URL...", "get files into the current folder",
     R"(Downloads each file into the current folder, named by the last part of its URL. "-" reads URLs from standard
input, one a line. During the download the file is called FILE.part, and the transfer is saved: rerun the
command, or qz run, to resume. An existing FILE is never overwritten unasked: the new one is called FILE(0),
FILE(1) and so on.
)",
     R"(  qz get ftp://ftp.example.org/pub/disk.iso
  qz get http://127.0.0.1:8080/disk.iso -o /tmp/copy.iso --mirror http://127.0.0.1:8081/disk.iso
  qz get --user me --password-file secret.txt ftp://ftp.example.org/private/plan.pdf
  qz get --verify http://127.0.0.1:8080/disk.iso
  qz get --jobs 4 - < urls.txt
)"},
    {"put", Command::Put, kPut, "FILE URL", "store a file on an FTP server",
     R"(Stores FILE on an FTP server. A URL that ends in "/" takes the file's own name. A file of that name on the
server is replaced. An interrupted upload is saved: rerun the command, or qz run, to send the rest. When FILE
changed meanwhile, it is sent from the beginning.
)",
     R"(  qz put report.pdf ftp://me@ftp.example.org/inbox/
  qz put report.pdf ftp://ftp.example.org/incoming/report-2.pdf --restart
  qz put backup.tar ftp://me@ftp.example.org/backup.tar --continue
)"},
    {"sync", Command::Sync, kFolders, "SOURCE DESTINATION", "keep two folders in step",
     R"(Copies new and changed files from SOURCE to DESTINATION: local folders, or URLs of folders of FTP servers.
With --reverse the other way, with --two-way both ways. With --delete a file that was deleted is deleted on the
other side as well. What both sides had is remembered. A file that changed on both sides is a conflict: it is
shown and left. A file that was never the same on both sides is neither deleted nor overwritten; where one
side is a server, files of the same size count as the same.
First all is planned. Nothing is done with more deletions than --max-delete, or when SOURCE or DESTINATION
shows nothing where files were. A folder below them that shows nothing leads to no deletion.
A NAME of --force is a path below both folders; source:NAME or destination:NAME tells whose file is kept, which
--two-way needs. A PATTERN has *, ?, [a-z], and ** across folders. With "/" in it, it is compared with paths;
"/" at its end is for folders only, at its beginning for the top only.
)",
     R"(  qz sync --dry-run photos /mnt/backup/photos
  qz sync photos /mnt/backup/photos --delete
  qz sync photos ftp://me@ftp.example.org/photos --exclude "*.tmp" --exclude cache/
  qz sync notes /mnt/stick/notes --two-way --force source:plans/june.txt
)"},
    {"add", Command::Add, kAdd, "URL...", "save downloads without running them",
     R"(Saves a download of each file into the current folder; qz run runs it. "-" reads URLs from standard input,
one a line. The options are saved too.
)",
     R"(  qz add ftp://ftp.example.org/pub/disk.iso --mirror http://127.0.0.1:8080/disk.iso
  qz add http://127.0.0.1:8080/disk.iso -o /tmp/copy.iso --verify
  qz add - < urls.txt
)"},
    {"run", Command::Run, kRun, "", "run all saved transfers that have not failed",
     R"(Runs the saved transfers that wait, several at once. Those that are completed are removed from the list; one
that fails for good stays there, see qz list.
)",
     R"(  qz run
  qz run --jobs 8 --quiet
)"},
    {"list", Command::List, kList, "", "list the saved transfers",
     R"(Lists the saved transfers on standard output: number, state (waiting, running, failed), size, what is done of
it, and name.
)",
     R"(  qz list
)"},
    {"show", Command::Show, kShow, "N", "show a saved transfer, its servers and messages",
     R"(Shows all that is known of the saved transfer with number N.
)",
     R"(  qz show 3
)"},
    {"remove", Command::Remove, kRemove, "N...", "remove saved transfers and their unfinished data",
     R"(Removes saved transfers, and FILE.part of downloads. A file that is complete stays.
)",
     R"(  qz remove 3
  qz remove 4 5 6
)"},
    {"retry", Command::Retry, kRetry, "N...", "run saved transfers, failed ones too",
     R"(Runs the saved transfers with these numbers, whatever their state.
)",
     R"(  qz retry 3
  qz retry 4 5 6 --jobs 1
)"},
    {"prefs", Command::Prefs, kPrefs, "[NAME [VALUE]]", "show or change the preferences",
     R"(Shows all preferences, or one, or changes one. "" is the value for none.
)",
     R"(  qz prefs
  qz prefs anonymous-password me@example.org
  qz prefs http-proxy proxy.example.org:3128
  qz prefs proxy yes
)"},
    {"upgrade", Command::Upgrade, kUpgrade, "", "look for a newer version on an FTP server",
     R"(Looks in a folder of an FTP server for a file whose name ends in a dot and a number above the installed
version, and shows its URL. The folder is the preference upgrade-location.
)",
     R"(  qz prefs upgrade-location ftp://ftp.example.org/pub/qz
  qz upgrade
  qz upgrade --location ftp://ftp.example.org/pub/qz --installed 27
)"},
    {"ls", Command::Ls, kLs, "URL", "list a folder of an FTP server",
     R"(Lists a folder of an FTP server on standard output, in the server's own format.
)",
     R"(  qz ls ftp://ftp.example.org/pub/
  qz ls --names ftp://ftp.example.org/
)"},
    {"size", Command::Size, kSize, "URL", "show size and time of a file, and whether it can be resumed",
     R"(Shows size and time of a file, and whether a download can be resumed, without downloading it.
)",
     R"(  qz size ftp://ftp.example.org/pub/disk.iso
  qz size http://127.0.0.1:8080/disk.iso
)"},
});

}  // namespace tool

#endif
