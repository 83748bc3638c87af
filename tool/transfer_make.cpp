#include "tool/transfer_make.h"

#include <algorithm>
#include <string_view>

#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"
#include "tool/console.h"
#include "tool/discard.h"
#include "tool/disk_file.h"
#include "tool/library_call.h"
#include "tool/proxy.h"
#include "tool/saved_text.h"
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

// One login is used for all servers of a transfer.
void CheckMirror(const std::string& url, const Options& options) {
  const Address address = CheckedSource(url, options);
  if (!address.user) return;
  throw Failure{
      ExitCode::Usage,
      "\"" + address.shown + "\" has a user name; a mirror takes the login of the URL, omit this one"};
}

void AddMirror(const std::string& url, SavedTransfer* saved) {
  const std::string shown = ParseAddress(url).shown;
  if (("\n" + saved->mirrors + "\n").find("\n" + shown + "\n") != std::string::npos) return;
  saved->mirrors += (saved->mirrors.empty() ? "" : "\n") + shown;
}

void TakeSettings(const Options& options, SavedTransfer* saved) {
  saved->isActive |= options.active;
  saved->isSynchronised |= options.synchronise;
  saved->overwrites |= options.overwrite;
  saved->savesPassword |= options.savePassword;
  saved->continuesUpload |= options.continueUpload;
  for (const std::string& mirror : options.mirrors) AddMirror(mirror, saved);
}

// What is to be done with the file in addition, which the transfer does not do yet.
NewAgents TakeAgents(const Options& options, SavedTransfer* saved) {
  const bool verifies = options.verify || options.sha256;
  const std::string digest = options.sha256.value_or("");
  if (verifies && saved->verifies && saved->digest != digest) {
    throw Failure{ExitCode::Usage, "transfer " + std::to_string(saved->number) +
                                       " compares with another digest; qz remove " +
                                       std::to_string(saved->number) + " ends it"};
  }
  const NewAgents added = {verifies && !saved->verifies, options.unpack && !saved->unpacks};
  if (added.verifies) saved->digest = digest;
  saved->verifies |= verifies;
  saved->unpacks |= options.unpack;
  return added;
}

[[noreturn]] void RefuseTaken(unsigned number) {
  throw Failure{ExitCode::Other, "transfer " + std::to_string(number) +
                                     " is running in another program, or in another job of this one"};
}

[[noreturn]] void RefusePath(const SavedTransfer& other) {
  const std::string number = std::to_string(other.number);
  throw Failure{ExitCode::Other,
                "transfer " + number + " gets \"" + console::ToSystemName(other.localPath) + "\" from " +
                    other.url +
                    "; add this URL to it with --mirror when it is the same file, else remove "
                    "it with qz remove " +
                    number + ", or choose another name with --output"};
}

// Nothing is lost with it: its last run failed, and no byte came.
bool IsReplaceable(const SavedTransfer& other) {
  const std::uint64_t partBytes = SizeOfFile(PartPath(other.localPath)).value_or(0);
  return !other.lastReason.empty() && other.doneBytes == 0 && partBytes == 0 && other.finalPath.empty();
}

// Ends the other transfer. Throws Failure when something would be lost with it.
void MakeRoom(Store* store, const SavedTransfer& other, Reporter* reporter) {
  const auto claim = store->Take(other.number);
  if (!claim) RefusePath(other);
  const auto current = store->Find(other.number);
  if (!current) return;
  if (!IsReplaceable(*current)) RefusePath(*current);
  Discard(store, other.number);
  reporter->Say("replacing transfer " + std::to_string(other.number) + ", which failed without a byte of " +
                other.url);
}

// The saved transfer with this URL and path, or a new number. found says which.
std::unique_ptr<Claim> ClaimFor(Store* store, const SavedTransfer& wanted, Reporter* reporter,
                                std::optional<SavedTransfer>* found) {
  for (;;) {
    auto claim = store->Create(wanted.isUpload, wanted.url, wanted.localPath, found);
    if (claim) return claim;
    if ((*found)->url != wanted.url) {
      MakeRoom(store, **found, reporter);
      continue;
    }
    claim = store->Take((*found)->number);
    if (!claim) RefuseTaken((*found)->number);
    // It may have ended since it was found.
    *found = store->Find((*found)->number);
    if (*found) return claim;
  }
}

std::unique_ptr<Transfer> Make(Store* store, const SavedTransfer& wanted, const Options& options,
                               const std::optional<std::string>& password, Reporter* reporter) {
  std::optional<SavedTransfer> found;
  auto claim = ClaimFor(store, wanted, reporter, &found);
  SavedTransfer saved = found ? *found : wanted;
  saved.number = claim->Number();
  saved.user = wanted.user;
  const NewAgents added = TakeAgents(options, &saved);
  TakeSettings(options, &saved);
  return std::make_unique<Transfer>(store, std::move(claim), std::move(saved), !found, added, options,
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
  for (const std::string& mirror : options.mirrors) CheckMirror(mirror, options);
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
  SavedTransfer saved;
  saved.url = wanted.address.shown;
  saved.localPath = wanted.target;
  saved.user = wanted.login.user;
  return Make(store, saved, options, wanted.login.password, reporter);
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
  return Make(store, saved, options, login.password, reporter);
}

// ---- saved ones --------------------------------------------------------------------------------

std::unique_ptr<Transfer> MakeSaved(Store* store, unsigned number, const Options& options,
                                    const Passwords& passwords, Reporter* reporter) {
  auto claim = store->Take(number);
  if (!claim) RefuseTaken(number);
  const auto saved = store->Find(number);
  if (!saved) return nullptr;
  const auto password = passwords.Find(saved->user, HostAndPort(ParseAddress(saved->url)));
  return std::make_unique<Transfer>(store, std::move(claim), *saved, false, NewAgents{}, options,
                                    saved->user.empty() ? std::nullopt : password, reporter);
}

}  // namespace tool
