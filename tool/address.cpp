#include "tool/address.h"

#include <algorithm>
#include <memory>

#include "qz/error.h"
#include "qz/memory.h"
#include "qz/url.h"
#include "tool/failure.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr std::size_t kLongestURL = 1000;  // the library's limit is 1023, the request adds a little
constexpr std::string_view kSchemeEnd = "://";
constexpr const char* kUnsupported = "unsupported URL";

[[noreturn]] void Refuse(const std::string& text, const std::string& why,
                         const char* verdict = "invalid URL") {
  constexpr std::size_t kShown = 120;
  // In a text that cannot be split, anything before an "@" may be a password.
  const std::size_t at = text.rfind('@');
  const std::string safe = at == std::string::npos ? text : "..." + text.substr(at + 1);
  const std::string url = safe.size() > kShown ? safe.substr(0, kShown) + "..." : safe;
  throw Failure{ExitCode::Usage, std::string(verdict) + " \"" + url + "\": " + why};
}

std::string EscapeOf(unsigned char byte) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  return {'%', kDigits[byte >> 4], kDigits[byte & 15u]};
}

bool IsHexadecimal(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool IsEscape(const std::string& text, std::size_t position) {
  return text[position] == '%' && position + 2 < text.size() && IsHexadecimal(text[position + 1]) &&
         IsHexadecimal(text[position + 2]);
}

// The library's parser reads upper-case escapes only.
std::string WithUpperCaseEscapes(std::string text) {
  for (std::size_t i = 0; i < text.size(); i++) {
    if (!IsEscape(text, i)) continue;
    for (std::size_t digit = i + 1; digit <= i + 2; digit++) {
      if (text[digit] >= 'a') text[digit] = static_cast<char>(text[digit] - 'a' + 'A');
    }
  }
  return text;
}

// A query or fragment may follow the host without a slash; the library's parser, which takes everything
// before the first slash for the host, gets one.
std::string WithPath(std::string text) {
  const std::size_t scheme = text.find(kSchemeEnd);
  if (scheme == std::string::npos || LowerCase(text.substr(0, scheme)) != "http") return text;
  const std::size_t end = text.find_first_of("/?#", scheme + kSchemeEnd.size());
  if (end != std::string::npos && text[end] != '/') text.insert(end, "/");
  return text;
}

std::string Trimmed(const std::string& text) {
  constexpr const char* kWhitespace = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kWhitespace);
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(kWhitespace) - first + 1);
}

// For messages: the part between the scheme, if any, and the last "@" of the host part is a
// password or near one.
std::string WithoutLogin(const std::string& text) {
  const std::size_t scheme = text.find(kSchemeEnd);
  const std::size_t start = scheme == std::string::npos ? 0 : scheme + kSchemeEnd.size();
  const std::size_t end = std::min(text.find('/', start), text.size());
  const std::size_t at = text.rfind('@', end == 0 ? 0 : end - 1);
  if (at == std::string::npos || at < start) return text;
  return text.substr(0, start) + text.substr(at + 1);
}

Scheme SchemeOf(const std::string& text) {
  const std::size_t end = text.find(kSchemeEnd);
  const std::string shown = WithoutLogin(text);
  if (end == std::string::npos) Refuse(shown, "no scheme; write ftp://host/path or http://host/path");
  const std::string scheme = LowerCase(text.substr(0, end));
  if (scheme == "http") return Scheme::HTTP;
  if (scheme == "ftp") return Scheme::FTP;
  if (scheme == "https") {
    Refuse(shown, "https (encrypted HTTP) is not supported; try http:// or ftp://", kUnsupported);
  }
  Refuse(shown, "the scheme \"" + scheme + "\" is not supported; use ftp:// or http://", kUnsupported);
}

bool IsHostCharacter(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '-' ||
         c == '_';
}

// The port as written, because the parser takes anything else for the scheme's own port.
void CheckPort(const std::string& text, const std::string& shown) {
  const std::string bare = WithoutLogin(text);
  const std::size_t start = bare.find(kSchemeEnd) + kSchemeEnd.size();
  const std::string host = bare.substr(start, bare.find('/', start) - start);
  if (!host.empty() && host[0] == '[') {
    Refuse(shown, "IPv6 addresses are not supported; use the host name or the IPv4 address", kUnsupported);
  }
  const std::size_t colon = host.find(':');
  if (colon == std::string::npos) return;
  const std::string port = host.substr(colon + 1);
  const bool digits = !port.empty() && port.find_first_not_of("0123456789") == std::string::npos;
  if (!digits || port.size() > 5 || std::stoul(port) == 0 || std::stoul(port) > 65535) {
    Refuse(shown, "the port must be a number from 1 to 65535");
  }
}

// The library drops null bytes, which would make the path another file's; and what some programs take for
// the transfer type would be a part of the name.
void CheckFTPPath(const std::string& text, const std::string& shown) {
  if (text.find("%00") != std::string::npos) Refuse(shown, "it contains a null byte (%00)");
  constexpr std::string_view kType = ";type=";
  if (text.size() <= kType.size()) return;
  const std::string end = LowerCase(text.substr(text.size() - kType.size() - 1));
  if (end.rfind(kType, 0) == 0) {
    Refuse(shown, "omit the transfer type \"" + text.substr(text.size() - end.size()) +
                      "\"; files are always transferred in binary");
  }
}

struct FreeBlock {
  void operator()(URLData* data) const { Memory_Delete(data); }
};

std::unique_ptr<URLData, FreeBlock> Split(const std::string& text, const std::string& shown) {
  URLData* data = nullptr;
  const ErrorCode status = URL_NewData(text.c_str(), &data);
  if (status == Error_Memory) throw Failure{ExitCode::Other, "out of memory"};
  if (status != Error_None) Refuse(shown, "write ftp://host/path or http://host/path");
  return std::unique_ptr<URLData, FreeBlock>(data);
}

// Blanks and bytes that are no ASCII stand in no request: they are escaped. All else is as it was written.
std::string Requestable(const std::string& target) {
  std::string requestable;
  for (const char c : target) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isEscaped = byte <= ' ' || byte >= 0x7F;
    requestable += isEscaped ? EscapeOf(byte) : std::string(1, c);
  }
  return requestable;
}

// What follows the host, as written, without a fragment; "/" when nothing does.
std::string TargetOf(const std::string& text) {
  const std::size_t start = text.find('/', text.find(kSchemeEnd) + kSchemeEnd.size());
  if (start == std::string::npos) return "/";
  return Requestable(text.substr(start, text.find('#', start) - start));
}

std::string Unescaped(const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); i++) {
    if (!IsEscape(text, i)) {
      result.push_back(text[i]);
      continue;
    }
    result.push_back(static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)));
    i += 2;
  }
  return result;
}

void TakeParts(const std::string& text, const URLData& data, Address* address) {
  if (data.user != nullptr) address->user = data.user;
  if (data.password != nullptr) address->password = data.password;
  address->host = data.host == nullptr ? "" : data.host;
  address->port = static_cast<std::uint32_t>(data.port);
  if (address->scheme == Scheme::HTTP) {
    address->target = TargetOf(text);
    address->fileName = SafeFileName(Unescaped(address->target.substr(0, address->target.find('?'))));
    return;
  }
  // A URL's path is relative to the folder that the login leads to; "//x" or "/%2Fx" names the root's.
  if (data.path != nullptr) address->path = data.path + 1;
  address->fileName = SafeFileName(address->path);
}

void Check(const Address& address) {
  constexpr std::size_t kLongestHost = 255;
  if (address.host.empty()) Refuse(address.shown, "the host is missing");
  if (address.host.size() > kLongestHost) Refuse(address.shown, "the host name is too long");
  // Connecting there would fail with the status of an invalid response.
  if (address.host == "255.255.255.255") Refuse(address.shown, "255.255.255.255 is the broadcast address");
  if (!std::all_of(address.host.begin(), address.host.end(), IsHostCharacter)) {
    Refuse(address.shown, "invalid character in the host name");
  }
  if (address.scheme == Scheme::HTTP && address.user) {
    Refuse(address.shown, "HTTP authentication is not supported; omit the user name", kUnsupported);
  }
  const auto isLineEnd = [](char c) { return c == '\r' || c == '\n'; };
  const std::string& user = address.user ? *address.user : address.path;
  const std::string& password = address.password ? *address.password : address.path;
  for (const std::string* part : {&address.path, &user, &password}) {
    if (std::any_of(part->begin(), part->end(), isLineEnd)) Refuse(address.shown, "it contains a line break");
  }
}

bool HasScheme(const std::string& location) {
  const std::size_t end = location.find_first_of(":/?#");
  return end != std::string::npos && end > 0 && location[end] == ':';
}

std::string AbsoluteLocation(const Address& from, const std::string& location) {
  if (HasScheme(location)) return location;
  if (location.rfind("//", 0) == 0) return "http:" + location;
  const std::string origin = "http://" + HostAndPort(from);
  if (location[0] == '/') return origin + location;
  const std::string path = from.target.substr(0, from.target.find('?'));
  if (location[0] == '?') return origin + path + location;
  return origin + path.substr(0, path.rfind('/') + 1) + location;
}

}  // namespace

Address ParseAddress(const std::string& given) {
  const std::string text = WithPath(WithUpperCaseEscapes(Trimmed(given)));
  const std::string shown = WithoutLogin(text);
  if (text.size() > kLongestURL) Refuse(shown, "it is longer than 1000 characters");
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; };
  if (std::any_of(text.begin(), text.end(), isControl)) Refuse(shown, "it contains control characters");
  Address address;
  address.scheme = SchemeOf(text);
  address.shown = shown;
  CheckPort(text, shown);
  if (address.scheme == Scheme::FTP) CheckFTPPath(text, shown);
  TakeParts(text, *Split(text, shown), &address);
  Check(address);
  return address;
}

Address Redirected(const Address& from, const std::string& location) {
  if (location.empty()) throw Failure{ExitCode::Protocol, "the server redirects without a Location"};
  const std::string text = AbsoluteLocation(from, location);
  if (LowerCase(text.substr(0, text.find(':'))) != "http") {
    const std::string hint = LowerCase(text.substr(0, 6)) == "https:" ? " (https is not supported)" : "";
    throw Failure{ExitCode::Protocol, "the server redirects to \"" + WithoutLogin(text) +
                                          "\"; only redirects to http:// are followed" + hint};
  }
  try {
    Address address = ParseAddress(text);
    address.fileName = from.fileName;
    return address;
  } catch (const Failure& failure) {
    throw Failure{ExitCode::Protocol, "the server redirects to an " + failure.text};
  }
}

std::string EscapedForURL(const std::string& name) {
  constexpr std::string_view kUnreserved = "-._~";
  std::string escaped;
  for (const char c : name) {
    const bool isUnreserved = IsHostCharacter(c) || kUnreserved.find(c) != std::string_view::npos;
    escaped += isUnreserved ? std::string(1, c) : EscapeOf(static_cast<unsigned char>(c));
  }
  return escaped;
}

std::string HostAndPort(const Address& address) {
  const std::uint32_t usual = address.scheme == Scheme::HTTP ? 80 : 21;
  return address.port == usual ? address.host : address.host + ":" + std::to_string(address.port);
}

std::string RequestURL(const Address& address, bool throughProxy) {
  std::string target = address.target;
  for (std::size_t i = 0; !throughProxy && i < target.size(); i++) {
    if (IsEscape(target, i)) target.insert(i + 1, "25");
  }
  return "http://" + HostAndPort(address) + target;
}

}  // namespace tool
