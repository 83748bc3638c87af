// One connection to an FTP server. Every failure is thrown as a Failure.
#ifndef TOOL_FTP_SESSION_H
#define TOOL_FTP_SESSION_H

#include <cstdint>
#include <optional>
#include <string>

#include "qz/ftpc.h"
#include "tool/address.h"
#include "tool/login.h"
#include "tool/options.h"
#include "tool/reporter.h"

namespace tool {

class FTPSession {
 public:
  FTPSession(const Address& address, const Options& options, Reporter* reporter);
  ~FTPSession();
  FTPSession(const FTPSession&) = delete;
  FTPSession& operator=(const FTPSession&) = delete;

  void LogIn(const Login& login);
  void SetType(char type);  // 'I' for files, 'A' for lists

  std::optional<std::uint64_t> SizeOf(const std::string& path);
  std::optional<Time> TimeOf(const std::string& path);
  bool CanRestart();
  // The folder in which the session is, as the server names it.
  std::string CurrentFolder();

  // Whether the server lets a folder be entered; the session is then in it.
  bool HasFolder(const std::string& path);

  // Removes a file. Throws Failure when the server refuses.
  void Remove(const std::string& path);

  // Lists a folder ("" for the login's own) into a local file, named in the library's form.
  void List(const std::string& folder, bool namesOnly, const std::string& localFile);

  // Sends "QUIT" and frees the connection. Never fails; waits two seconds at most for the reply, and ends at
  // Ctrl-C.
  void Quit();
  // Whether a thread of Quit is still waiting for its server.
  static bool IsQuitPending();

 private:
  [[noreturn]] void Fail(const std::string& what, ErrorCode status, const Reply& reply) const;

  const Options& options_;
  Reporter* reporter_;
  std::string host_;
  FTPc* connection_ = nullptr;
};

}  // namespace tool

#endif
