#include "tool/transfer_make.h"

#include <algorithm>
#include <string_view>

#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"
#include "tool/console.h"
#include "tool/disk_file.h"
#include "tool/library_call.h"
#include "tool/proxy.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr std::size_t kPathBytes = 1024;

std::string CurrentFolder() {
  char folder[kPathBytes] = "";
  Error_ClearLast();
  if (Directory_GetCurrent(folder) == Error_None) return folder;
  throw Failure{ExitCode::Disk, "cannot tell the current folder" + RecordedDetails()};
}

std::string Joined(const std::string& folder, const std::string& name) {
  return folder.empty() || folder.back() != '/' ? folder + "/" + name : folder + name;
}

// The absolute path of a folder, found by entering it.
std::string AbsoluteFolder(const std::string& folder, const std::string& output) {
  const std::string before = CurrentFolder();
  Error_ClearLast();
  if (Directory_SetCurrent(folder.c_str()) != 0)
    throw Failure{ExitCode::Disk, "cannot enter the folder of \"" + output + "\"" + RecordedDetails()};
  std::string entered = CurrentFolder();
  Directory_SetCurrent(before.c_str());
  return entered;
}

std::string TargetOf(const std::string& output) {
  const std::string path = console::ToLibraryName(output);
  const std::size_t separator = path.rfind('/');
  const std::string name = separator == std::string::npos ? path : path.substr(separator + 1);
  if (name.empty() || name == "." || name == "..")
    throw Failure{ExitCode::Usage, "\"" + output + "\" is a folder; --output takes a file name"};
  if (separator == std::string::npos) return Joined(CurrentFolder(), name);
  return Joined(AbsoluteFolder(separator == 0 ? "/" : path.substr(0, separator), output), name);
}

// The longest name leaves room for ".part" and a number, as file systems count it.
void CheckTarget(const std::string& target, const std::string& output) {
  constexpr std::size_t kLongestPath = kPathBytes - 16;
  if (target.size() > kLongestPath)
    throw Failure{ExitCode::Disk, "the path of \"" + output + "\" is too long; choose a shorter name"};
  // The system refuses a name that is too long.
  DiskFile::KindOf(console::ToSystemName(PartPath(target)));
  const DiskFile::Kind kind = DiskFile::KindOf(console::ToSystemName(target));
  if (kind == DiskFile::Kind::Folder || kind == DiskFile::Kind::Other)
    throw Failure{ExitCode::Usage, "\"" + output + "\" is not a regular file; --output takes a file name"};
}

Address CheckedSource(const std::string& url, const Options& options) {
  Address address = ParseAddress(url);
  CheckProxyPort(address, options);
  if (address.scheme == Scheme::FTP && (address.path.empty() || address.path.back() == '/'))
    throw Failure{ExitCode::Usage, "\"" + address.shown + "\" is a folder; list it with qz ls"};
  return address;
}

TransferExtras PartsOf(const Options& options) {
  TransferExtras parts;
  parts.mirrors = options.mirrors;
  if (options.verify) parts.digest = "";
  if (options.sha256) parts.digest = *options.sha256;
  parts.unpacks = options.unpack;
  return parts;
}

void TakeSettings(const Options& options, SavedTransfer* saved) {
  saved->isActive |= options.active;
  saved->isSynchronised |= options.synchronise;
  saved->overwrites |= options.overwrite;
  saved->savesPassword |= options.savePassword;
  saved->continuesUpload |= options.continueUpload;
}

[[noreturn]] void RefuseTaken(unsigned number) {
  throw Failure{ExitCode::Other, "transfer " + std::to_string(number) +
                                     " is running in another program, or in another job of this one"};
}

// The saved transfer with this URL and path, or a new number. found says which.
std::unique_ptr<Claim> ClaimFor(Store* store, const SavedTransfer& wanted,
                                std::optional<SavedTransfer>* found) {
  auto claim = store->Create(wanted.isUpload, wanted.url, wanted.localPath, found);
  if (claim) return claim;
  claim = store->Take((*found)->number);
  if (!claim) RefuseTaken((*found)->number);
  // It may have ended since it was found.
  *found = store->Find((*found)->number);
  return *found ? std::move(claim) : ClaimFor(store, wanted, found);
}

std::unique_ptr<Transfer> Make(Store* store, const SavedTransfer& wanted, const TransferExtras& parts,
                               const Options& options, const std::optional<std::string>& password,
                               Reporter* reporter) {
  std::optional<SavedTransfer> found;
  auto claim = ClaimFor(store, wanted, &found);
  SavedTransfer saved = found ? *found : wanted;
  saved.number = claim->Number();
  saved.user = wanted.user;
  TakeSettings(options, &saved);
  return std::make_unique<Transfer>(store, std::move(claim), std::move(saved), !found, parts, options,
                                    password, reporter);
}

}  // namespace

// ---- downloads ---------------------------------------------------------------------------------

std::vector<WantedDownload> WantedDownloads(const Options& options) {
  std::vector<WantedDownload> all;
  for (const std::string& url : URLsOf(options)) {
    WantedDownload wanted;
    wanted.address = CheckedSource(url, options);
    all.push_back(std::move(wanted));
  }
  for (const std::string& mirror : options.mirrors) CheckedSource(mirror, options);
  const bool hasFTP = std::any_of(all.begin(), all.end(), [](const WantedDownload& wanted) {
    return wanted.address.scheme == Scheme::FTP;
  });
  if (!hasFTP) RejectHTTPLogin(options);
  Passwords passwords(options);
  const std::string folder = options.output ? "" : CurrentFolder();
  for (WantedDownload& wanted : all) {
    if (wanted.address.scheme == Scheme::FTP)
      wanted.login = WantedLoginFor(wanted.address, HostAndPort(wanted.address), options, &passwords);
    wanted.target = options.output ? TargetOf(*options.output) : Joined(folder, wanted.address.fileName);
    CheckTarget(wanted.target, options.output ? *options.output : wanted.address.fileName);
  }
  return all;
}

std::unique_ptr<Transfer> MakeDownload(Store* store, const WantedDownload& wanted, const Options& options,
                                       Reporter* reporter) {
  const auto other = store->FindTarget(wanted.target);
  if (other && other->url != wanted.address.shown) {
    const std::string number = std::to_string(other->number);
    throw Failure{ExitCode::Other, "transfer " + number + " gets \"" + wanted.address.fileName +
                                       "\" from another URL; remove it with qz remove " + number +
                                       ", or get this one with --output"};
  }
  SavedTransfer saved;
  saved.url = wanted.address.shown;
  saved.localPath = wanted.target;
  saved.user = wanted.login.user;
  return Make(store, saved, PartsOf(options), options, wanted.login.password, reporter);
}

// ---- uploads -----------------------------------------------------------------------------------

std::unique_ptr<Transfer> MakeUpload(Store* store, const Options& options, Reporter* reporter) {
  const std::string& file = options.operands[0];
  const std::size_t separator = file.find_last_of("/\\");
  const std::string name = separator == std::string::npos ? file : file.substr(separator + 1);
  Address address = ParseAddress(options.operands[1]);
  CheckProxyPort(address, options);
  if (address.scheme != Scheme::FTP) throw Failure{ExitCode::Usage, "put supports FTP servers only"};
  if (name.find_first_of("\r\n") != std::string::npos)
    throw Failure{ExitCode::Usage, "the name \"" + name + "\" contains a line break"};
  if (address.path.empty() || address.path.back() == '/')
    address = ParseAddress(Joined(options.operands[1], EscapedForURL(name)));
  const DiskFile::Kind kind = DiskFile::KindOf(file);
  if (kind == DiskFile::Kind::Nothing) throw Failure{ExitCode::NotFound, "\"" + file + "\" does not exist"};
  if (kind == DiskFile::Kind::Folder)
    throw Failure{ExitCode::Usage, "\"" + file + "\" is a folder; put stores one file"};
  if (kind == DiskFile::Kind::Other) throw Failure{ExitCode::Disk, "\"" + file + "\" is not a regular file"};
  SavedTransfer saved;
  saved.isUpload = true;
  saved.url = address.shown;
  saved.localPath = TargetOf(file);
  Passwords passwords(options);
  const WantedLogin login = WantedLoginFor(address, HostAndPort(address), options, &passwords);
  saved.user = login.user;
  return Make(store, saved, {}, options, login.password, reporter);
}

// ---- saved ones --------------------------------------------------------------------------------

std::unique_ptr<Transfer> MakeSaved(Store* store, unsigned number, const Options& options,
                                    const Passwords& passwords, Reporter* reporter) {
  auto claim = store->Take(number);
  if (!claim) RefuseTaken(number);
  const auto saved = store->Find(number);
  if (!saved) return nullptr;
  const auto password = passwords.Find(saved->user, HostAndPort(ParseAddress(saved->url)));
  return std::make_unique<Transfer>(store, std::move(claim), *saved, false, TransferExtras{}, options,
                                    saved->user.empty() ? std::nullopt : password, reporter);
}

}  // namespace tool
