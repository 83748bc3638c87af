// qz ls: the listing of a folder of an FTP server on standard output.
#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/ftp_session.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr std::size_t kNameBytes = 1024;
constexpr std::uint32_t kReadText = 1 + 16;
constexpr std::int32_t kLineBytes = 4096;

// The library lists into a file that it opens like any other, so this one is in the program's own folder,
// where nobody else puts a link in its way; and it never stays.
class TemporaryName {
 public:
  TemporaryName() {
    char folder[kNameBytes] = "";
    char name[kNameBytes] = "";
    if (File_GetSysDir(SysDir_Cache, folder) != Error_None ||
        File_UniquifyName(folder, "qzList", name) != Error_None) {
      throw Failure{ExitCode::Disk, "there is no folder for temporary files"};
    }
    name_ = name;
    console::RemoveWhenEnded(console::ToSystemName(name_));
  }
  ~TemporaryName() {
    File_Unlink(name_.c_str());
    console::RemoveWhenEnded("");
  }
  TemporaryName(const TemporaryName&) = delete;
  TemporaryName& operator=(const TemporaryName&) = delete;
  const std::string& Get() const { return name_; }

 private:
  std::string name_;
};

class ListFile {
 public:
  explicit ListFile(const std::string& name) {
    if (File_Open(name.c_str(), kReadText, &file_) != Error_None) {
      throw Failure{ExitCode::Disk, "cannot read the list that was received"};
    }
  }
  ~ListFile() { File_Close(file_); }
  ListFile(const ListFile&) = delete;
  ListFile& operator=(const ListFile&) = delete;
  bool NextLine(std::string* line) {
    char buffer[kLineBytes];
    const std::int32_t length = File_ScanLine(file_, kLineBytes, buffer);
    if (length < 0) return false;
    line->assign(buffer, static_cast<std::size_t>(length));
    return true;
  }

 private:
  File* file_ = nullptr;
};

void Print(const std::string& name) {
  ListFile file(name);
  std::string output, line;
  while (file.NextLine(&line)) output += Printable(line) + "\n";
  if (console::Write(console::Channel::Output, output.data(), output.size())) return;
  throw Failure{ExitCode::Disk, "cannot write to standard output"};
}

std::string WithoutTrailingSlash(std::string path) {
  if (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

void RunList(const Options& options, Reporter* reporter) {
  const Address address = ParseAddress(options.operands[0]);
  if (address.scheme != Scheme::FTP)
    throw Failure{ExitCode::Usage, "qz ls lists folders of FTP servers only"};
  const Login login = LoginFor(address, options);
  const TemporaryName list;
  FTPSession session(address, options, reporter);
  session.LogIn(login);
  session.SetType('A');
  session.List(WithoutTrailingSlash(address.path), options.namesOnly, list.Get());
  Print(list.Get());
  session.SayGoodbye();
}

}  // namespace tool
