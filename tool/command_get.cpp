// qz get: URLs into files of the current folder, or one URL into a file anywhere.
#include "qz/directory.h"
#include "tool/address.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/download.h"

namespace tool {
namespace {

// Where the file goes: the program works in the target's folder, so that the numbering of names, which takes
// the last dot of the whole path for the beginning of the extension, sees the bare name.
std::string EnterFolderOf(const std::string& output) {
  const std::string path = console::ToLibraryName(output);
  const std::size_t separator = path.rfind('/');
  const std::string name = separator == std::string::npos ? path : path.substr(separator + 1);
  if (name.empty() || name == "." || name == "..") {
    throw Failure{ExitCode::Usage, "\"" + output + "\" is a folder; --output takes the name of a file"};
  }
  if (separator != std::string::npos) {
    const std::string folder = separator == 0 ? "/" : path.substr(0, separator);
    if (Directory_SetCurrent(folder.c_str()) != 0) {
      throw Failure{ExitCode::Disk, "the folder of \"" + output + "\" does not exist or cannot be entered"};
    }
  }
  const DiskFile::Kind kind = DiskFile::KindOf(name);
  if (kind == DiskFile::Kind::Folder || kind == DiskFile::Kind::Other) {
    throw Failure{ExitCode::Usage,
                  "\"" + output + "\" is not a plain file; --output takes the name of a file"};
  }
  return name;
}

bool EndsTheRun(ExitCode code) {
  return code == ExitCode::Disk || code == ExitCode::Usage;
}

}  // namespace

void RunGet(const Options& options, Reporter* reporter) {
  std::vector<Address> addresses;
  for (const std::string& url : options.operands) addresses.push_back(ParseAddress(url));
  ExitCode first = ExitCode::Done;
  for (const Address& address : addresses) {
    try {
      Download(address, options.output ? EnterFolderOf(*options.output) : address.fileName, options,
               reporter);
    } catch (const Failure& failure) {
      if (!failure.text.empty()) reporter->Complain(failure.text);
      if (first == ExitCode::Done) first = failure.code;
      if (EndsTheRun(failure.code)) break;
    }
  }
  if (first != ExitCode::Done) throw Failure{first, ""};
}

}  // namespace tool
