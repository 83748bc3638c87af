// The URL of a command, split by the library's own parser and checked before anything is sent.
#ifndef TOOL_ADDRESS_H
#define TOOL_ADDRESS_H

#include <cstdint>
#include <optional>
#include <string>

namespace tool {

enum class Scheme { HTTP, FTP };

struct Address {
  Scheme scheme = Scheme::FTP;
  std::optional<std::string> user;
  std::optional<std::string> password;
  std::string host;
  std::uint32_t port = 0;
  std::string path;      // FTP: unescaped, relative to the folder of the login, "" for that folder
  std::string target;    // HTTP: path and query as written; blanks and non-ASCII escaped
  std::string fileName;  // last part of the path, made safe for the local disk
  std::string shown;     // the URL for messages, without the password
};

// Throws Failure (Usage) for an invalid or unsupported URL.
Address ParseAddress(const std::string& text);

// The address that a redirect of `from` leads to. Throws Failure (Protocol) for another scheme than http and
// for an invalid URL. The file name stays the one of `from`.
Address Redirected(const Address& from, const std::string& location);

// The URL of an HTTP request as HTTPc_Get takes it. Without a proxy that function unescapes the path once, so
// every "%" is escaped once more and the server sees exactly what was written.
std::string RequestURL(const Address& address, bool throughProxy);

// A file name as a part of a URL's path: every byte but unreserved ones is escaped (RFC 3986, section 2.3).
std::string EscapedForURL(const std::string& name);

// "host", or "host:8080" where the port is not the scheme's own.
std::string HostAndPort(const Address& address);

}  // namespace tool

#endif
