// qz ls: the listing of a folder of an FTP server on standard output.
#include <algorithm>
#include <string_view>
#include <vector>

#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/disk_file.h"
#include "tool/failure.h"
#include "tool/ftp_session.h"
#include "tool/library_call.h"
#include "tool/login.h"
#include "tool/output.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr std::size_t kNameBytes = 1024;
constexpr std::size_t kReadBytes = 64 * 1024;

// The library lists into a file that it opens by name, so it is in the program's own folder, where nobody
// else can put a link. It is always removed.
class TemporaryName {
 public:
  TemporaryName() {
    char folder[kNameBytes] = "";
    char name[kNameBytes] = "";
    Error_ClearLast();
    if (File_GetSysDir(SysDir_Cache, folder) != Error_None ||
        File_UniquifyName(folder, "qzList", name) != Error_None) {
      throw Failure{ExitCode::Disk, "no folder for temporary files" + RecordedDetails()};
    }
    name_ = name;
    console::RemoveOnInterrupt(console::ToSystemName(name_));
  }
  ~TemporaryName() {
    File_Unlink(name_.c_str());
    console::RemoveOnInterrupt("");
  }
  TemporaryName(const TemporaryName&) = delete;
  TemporaryName& operator=(const TemporaryName&) = delete;
  const std::string& Get() const { return name_; }

 private:
  std::string name_;
};

std::string ReadAll(const std::string& path) {
  DiskFile file;
  file.OpenForReading(path);
  std::string content;
  std::vector<char> buffer(kReadBytes);
  while (const std::size_t count = file.Read(buffer.size(), buffer.data()))
    content.append(buffer.data(), count);
  return content;
}

std::string WithoutTrailingSlash(std::string path) {
  if (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

void RunLs(const Options& options, Reporter* reporter) {
  const Address address = ParseAddress(options.operands[0]);
  if (address.scheme != Scheme::FTP) throw Failure{ExitCode::Usage, "ls supports FTP servers only"};
  const Login login = LoginFor(address, options);
  const TemporaryName list;
  FTPSession session(address, options, reporter);
  session.LogIn(login);
  session.SetType('A');
  session.List(WithoutTrailingSlash(address.path), options.namesOnly, list.Get());
  Print(PrintableLines("", ReadAll(console::ToSystemName(list.Get()))));
  session.Quit();
}

}  // namespace tool
