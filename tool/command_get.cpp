// qz get: URLs into files of the current folder, or one URL into a file anywhere.
#include <utility>
#include <vector>

#include "qz/directory.h"
#include "qz/error.h"
#include "tool/address.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/download.h"
#include "tool/library_call.h"
#include "tool/text.h"

namespace tool {
namespace {

// Changes to the target's folder and returns the bare file name: the numbering of names takes the last dot of
// the whole path for the beginning of the extension.
std::string EnterFolderOf(const std::string& output) {
  const std::string path = console::ToLibraryName(output);
  const std::size_t separator = path.rfind('/');
  std::string name = separator == std::string::npos ? path : path.substr(separator + 1);
  if (name.empty() || name == "." || name == "..") {
    throw Failure{ExitCode::Usage, "\"" + output + "\" is a folder; --output takes a file name"};
  }
  if (separator != std::string::npos) {
    const std::string folder = separator == 0 ? "/" : path.substr(0, separator);
    Error_ClearLast();
    if (Directory_SetCurrent(folder.c_str()) != 0) {
      throw Failure{ExitCode::Disk, "cannot enter the folder of \"" + output + "\"" + RecordedDetails()};
    }
  }
  const DiskFile::Kind kind = DiskFile::KindOf(name);
  if (kind == DiskFile::Kind::Folder || kind == DiskFile::Kind::Other) {
    throw Failure{ExitCode::Usage, "\"" + output + "\" is not a regular file; --output takes a file name"};
  }
  return name;
}

// Part files that URLs of this run left behind. None is resumed with the data of another URL.
class IncompleteDownloads {
 public:
  void Add(const std::string& target, const std::string& url) {
    if (DiskFile::KindOf(target + PartFile::kSuffix) == DiskFile::Kind::File) {
      left_.emplace_back(LowerCase(target), url);
    }
  }
  void Check(const std::string& target, const std::string& url) const {
    for (const auto& [name, owner] : left_) {
      if (name != LowerCase(target) || owner == url) continue;
      throw Failure{ExitCode::Other,
                    "\"" + target + PartFile::kSuffix +
                        "\" is the incomplete download of another URL; get this one with --output"};
    }
  }

 private:
  std::vector<std::pair<std::string, std::string>> left_;
};

// Every URL is checked before anything is fetched.
std::vector<Address> ParseAll(const Options& options) {
  std::vector<Address> addresses;
  bool anyFTP = false;
  for (const std::string& url : options.operands) {
    addresses.push_back(ParseAddress(url));
    const Address& address = addresses.back();
    if (address.scheme != Scheme::FTP) continue;
    anyFTP = true;
    if (address.path.empty() || address.path.back() == '/') {
      throw Failure{ExitCode::Usage, "\"" + address.shown + "\" is a folder; list it with qz ls"};
    }
  }
  if (!anyFTP) RejectHTTPLogin(options);
  return addresses;
}

bool EndsTheRun(ExitCode code) {
  return code == ExitCode::Disk || code == ExitCode::Usage;
}

}  // namespace

void RunGet(const Options& options, Reporter* reporter) {
  console::SetInterruptHint("; received data is kept, rerun the command to resume");
  const std::vector<Address> addresses = ParseAll(options);
  ExitCode first = ExitCode::Done;
  IncompleteDownloads incompleteDownloads;
  for (std::size_t i = 0; i < addresses.size(); i++) {
    const std::string& url = options.operands[i];
    std::string target = addresses[i].fileName;
    try {
      if (options.output) target = EnterFolderOf(*options.output);
      incompleteDownloads.Check(target, url);
      Download(addresses[i], target, options, reporter);
    } catch (const Failure& failure) {
      if (!failure.text.empty()) reporter->ReportError(failure.text);
      if (first == ExitCode::Done) first = failure.code;
      if (EndsTheRun(failure.code)) {
        if (i + 1 < addresses.size()) reporter->ReportError("the remaining URLs were skipped");
        break;
      }
      incompleteDownloads.Add(target, url);
    }
  }
  if (first != ExitCode::Done) throw Failure{first, ""};
}

}  // namespace tool
