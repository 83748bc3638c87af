// User names and passwords for FTP servers: of URLs, of options, and asked for on the terminal.
#ifndef TOOL_LOGIN_H
#define TOOL_LOGIN_H

#include <map>
#include <optional>
#include <string>

#include "tool/address.h"
#include "tool/failure.h"
#include "tool/options.h"

namespace tool {

struct Login {
  std::string user;
  std::string password;
};

// Anonymous, when nobody is named.
Login AnonymousLogin();
bool IsAnonymous(const Login& login);

// The passwords of a run. They are asked for before it begins, for nobody answers in the middle of it; a
// transfer whose password is missing fails alone.
class Passwords {
 public:
  explicit Passwords(const Options& options) : options_(options) {}

  // Asks on the terminal for the login of this user, unless it is known. Throws Interruption.
  void Ask(const std::string& user, const std::string& host);
  // Nothing when nobody gave it.
  std::optional<std::string> Find(const std::string& user, const std::string& host) const;

 private:
  const Options& options_;
  std::map<std::string, std::string> known_;  // "user@host"
};

// What is known of a login before it is used.
struct WantedLogin {
  std::string user;                     // empty: anonymous
  std::optional<std::string> password;  // nothing: nobody gave it
};

// The login for an address: the URL's, else the options', else asked for as of a user at this host. Throws
// Failure (Usage), Interruption.
WantedLogin WantedLoginFor(const Address& address, const std::string& host, const Options& options,
                           Passwords* passwords);

// The same for a connection that is opened at once: a password that is missing is a Failure (Usage).
Login LoginFor(const Address& address, const Options& options);

Failure MissingPassword(const std::string& user);

}  // namespace tool

#endif
