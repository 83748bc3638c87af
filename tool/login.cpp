#include "tool/login.h"

#include <string_view>

#include "tool/console.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr const char* kAnonymousUser = "anonymous";
constexpr const char* kAnonymousPassword = "qz@";

bool FitsALine(const std::string& text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

}  // namespace

Login AnonymousLogin() {
  return {kAnonymousUser, kAnonymousPassword};
}

bool IsAnonymous(const Login& login) {
  return login.password == kAnonymousPassword;
}

void Passwords::Ask(const std::string& user, const std::string& host) {
  if (Find(user, host)) return;
  const auto answer = console::AskHidden("Password of " + Printable(user) + " at " + host + ": ");
  if (answer) known_[user + "@" + host] = *answer;
}

std::optional<std::string> Passwords::Find(const std::string& user, const std::string& host) const {
  const auto known = known_.find(user + "@" + host);
  if (known != known_.end()) return known->second;
  return options_.password;
}

WantedLogin WantedLoginFor(const Address& address, const std::string& host, const Options& options,
                           Passwords* passwords) {
  WantedLogin login;
  if (!address.user && !options.user) {
    if (!options.password) return login;
    throw Failure{ExitCode::Usage, "--password-file needs a user name; add --user NAME"};
  }
  login.user = address.user ? *address.user : *options.user;
  login.password = address.password;
  if (!login.password) {
    passwords->Ask(login.user, host);
    login.password = passwords->Find(login.user, host);
  }
  if (FitsALine(login.user) && (!login.password || FitsALine(*login.password))) return login;
  throw Failure{ExitCode::Usage, "user name and password must not contain line breaks or null bytes"};
}

Login LoginFor(const Address& address, const Options& options) {
  Passwords passwords(options);
  const WantedLogin wanted = WantedLoginFor(address, address.host, options, &passwords);
  if (!address.user && !options.user) return AnonymousLogin();
  if (!wanted.password) throw MissingPassword(wanted.user);
  return {wanted.user, *wanted.password};
}

Failure MissingPassword(const std::string& user) {
  return {ExitCode::Usage,
          "no password for \"" + user + "\" and no terminal to ask on; use --password-file FILE"};
}

}  // namespace tool
