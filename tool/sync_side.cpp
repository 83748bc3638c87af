#include "tool/sync_side.h"

#include <algorithm>

#include "qz/error.h"
#include "qz/file.h"
#include "qz/memory.h"
#include "qz/url.h"
#include "tool/console.h"
#include "tool/folder_place.h"
#include "tool/ftp_session.h"
#include "tool/private_file.h"
#include "tool/sync_pair.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr const char* kSchemeEnd = "://";

std::string SchemeOf(const std::string& text) {
  const std::size_t end = text.find(kSchemeEnd);
  return end == std::string::npos ? "" : LowerCase(text.substr(0, end));
}

// Names of one folder differ in case where the system does not tell cases apart; drives stand for that.
std::string IdentityOf(const std::string& root) {
  const bool hasDrive = root.size() > 2 && root[0] == '/' && root[2] == '|';
  return hasDrive ? LowerCase(root) : root;
}

SyncSide LocalSide(const std::string& systemPath) {
  if (systemPath.empty()) throw Failure{ExitCode::Usage, "a folder has an empty name"};
  SyncSide side;
  const std::string absolute = AbsolutePath(systemPath);
  side.root =
      PlainPath(console::ToLibraryName(console::HasDrives() ? absolute : PathWithoutParents(absolute)), 0);
  side.shown = console::ToSystemName(side.root);
  side.identity = IdentityOf(side.root);
  return side;
}

// "/C:/folder" as "C:/folder".
std::string WithoutRootBeforeDrive(const std::string& path) {
  const bool hasDrive = path.size() > 2 && path[0] == '/' && path[2] == ':';
  return hasDrive ? path.substr(1) : path;
}

SyncSide FileURLSide(const std::string& text) {
  URLData* data = nullptr;
  const bool isParsed = URL_NewData(text.c_str(), &data) == Error_None;
  const std::string path = isParsed && data->path != nullptr ? data->path : "";
  Memory_Delete(data);
  if (path.empty() || path[0] != '/')
    throw Failure{ExitCode::Usage, "\"" + text + "\" names no local folder; write file:///folder"};
  return LocalSide(WithoutRootBeforeDrive(path));
}

SyncSide ServerSide(const std::string& text) {
  SyncSide side;
  side.server = ParseAddress(text);
  Address& address = *side.server;
  if (address.scheme != Scheme::FTP) {
    throw Failure{ExitCode::Usage, "\"" + address.shown +
                                       "\": folders of HTTP servers cannot be listed; use ftp:// or a "
                                       "local folder"};
  }
  while (address.path.size() > 1 && address.path.back() == '/') address.path.pop_back();
  side.shown = address.shown;
  return side;
}

std::string EscapedPath(const std::string& path) {
  std::string escaped;
  for (std::size_t begin = 0; begin <= path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    escaped += (begin == 0 ? "" : "/") + EscapedForURL(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return escaped;
}

bool IsFolder(const std::string& path) {
  int32_t isDirectory = 0;
  return File_Exists(path.c_str(), &isDirectory) != 0 && isDirectory != 0;
}

// The same user's folders: another one's path of the same name may be another folder.
bool AreOfOneLogin(const SyncSide& one, const SyncSide& other) {
  return LowerCase(one.server->host) == LowerCase(other.server->host) &&
         one.server->port == other.server->port && one.login.user == other.login.user;
}

}  // namespace

SyncSide ParseSyncSide(const std::string& text) {
  const std::string scheme = SchemeOf(text);
  if (scheme.empty()) return LocalSide(text);
  return scheme == "file" ? FileURLSide(text) : ServerSide(text);
}

void FindLogin(const Options& options, Passwords* passwords, SyncSide* side) {
  if (!side->server) return;
  const Address& address = *side->server;
  const WantedLogin wanted = WantedLoginFor(address, address.host, options, passwords);
  const bool isAnonymous = !address.user && !options.user;
  if (!isAnonymous && !wanted.password) throw MissingPassword(wanted.user);
  side->login = isAnonymous ? AnonymousLogin() : Login{wanted.user, *wanted.password};
  // Whose folder it is counts: another user's path of the same name is another folder.
  side->identity = "ftp://" + (isAnonymous ? "" : wanted.user + "@") + LowerCase(HostAndPort(address)) + "/" +
                   address.path;
}

void FindFolder(const Options& options, bool mustExist, SyncSide* side) {
  if (!side->server) return;
  Options quiet = options;  // --verbose has a line for each file
  quiet.verbose = false;
  Reporter reporter(quiet);
  FTPSession session(*side->server, quiet, &reporter);
  session.LogIn(side->login);
  side->folder = ServerFolder(session.CurrentFolder(), side->server->path);
  const bool isMissing = mustExist && !session.HasFolder(side->folder);
  session.Quit();
  if (isMissing)
    throw Failure{ExitCode::NotFound,
                  "\"" + side->shown + "\" does not exist, or the server does not let it be entered"};
}

bool AreSameFolder(const SyncSide& one, const SyncSide& other) {
  if (one.server && other.server)
    return AreOfOneLogin(one, other) && PlainPath(one.folder, 0) == PlainPath(other.folder, 0);
  if (one.server || other.server) return false;
  return one.identity == other.identity || PlaceInFolder(one.shown, other.shown) == "";
}

bool AreNested(const SyncSide& one, const SyncSide& other) {
  if (one.server && other.server)
    return AreOfOneLogin(one, other) && Overlap(PlainPath(one.folder, 0), PlainPath(other.folder, 0));
  if (one.server || other.server) return false;
  return Overlap(one.identity, other.identity) || PlaceInFolder(one.shown, other.shown) ||
         PlaceInFolder(other.shown, one.shown);
}

std::string LibraryURL(const SyncSide& side) {
  if (!side.server) return "file://" + EscapedLocalPath(side.root);
  const std::string login = EscapedForURL(side.login.user) + ":" + EscapedForURL(side.login.password);
  return "ftp://" + login + "@" + side.server->host + ":" + std::to_string(side.server->port) +
         EscapedPath(side.folder);
}

SyncPlace PlaceOf(const SyncSide& side) {
  if (side.server || IsFolder(side.root)) return SyncPlace::Folder;
  if (File_Exists(side.root.c_str(), nullptr) != 0) return SyncPlace::NoFolder;
  const std::string above = side.root.substr(0, side.root.rfind('/'));
  return above.empty() || IsFolder(above) ? SyncPlace::Free : SyncPlace::Nowhere;
}

std::string EscapedLocalPath(const std::string& path) {
  std::string escaped;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    constexpr const char* kDigits = "0123456789ABCDEF";
    const bool isPlain = byte > ' ' && byte != 0x7F && c != '%';
    escaped += isPlain ? std::string(1, c) : std::string{'%', kDigits[byte >> 4], kDigits[byte & 15u]};
  }
  return escaped;
}

std::string ServerFolder(const std::string& loginFolder, const std::string& path) {
  std::string folder = path;
  if (path.empty()) folder = loginFolder;
  if (!path.empty() && path[0] != '/')
    folder = loginFolder + (!loginFolder.empty() && loginFolder.back() == '/' ? "" : "/") + path;
  // A URL that ends with "/" alone means the login's folder.
  return folder == "/" && loginFolder != "/" ? "/." : folder;
}

}  // namespace tool
