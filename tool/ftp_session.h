// One logged-in connection to an FTP server; every refusal and fault becomes a Failure that says what to do.
#ifndef TOOL_FTP_SESSION_H
#define TOOL_FTP_SESSION_H

#include <cstdint>
#include <optional>
#include <string>

#include "qz/ftpc.h"
#include "tool/address.h"
#include "tool/options.h"
#include "tool/reporter.h"

namespace tool {

struct Login {
  std::string user;
  std::string password;
};

// The login for an address: the URL's, else the options', else asked on the terminal, else anonymous.
Login LoginFor(const Address& address, const Options& options);

// A size as the server tells it.
struct RemoteSize {
  std::uint32_t bytes = 0;
  // The server's number is this or larger: the library counts in 32 bits.
  bool tooLarge() const { return bytes == 0xFFFFFFFFu; }
};

class FTPSession {
 public:
  FTPSession(const Address& address, const Options& options, Reporter* reporter);
  ~FTPSession();
  FTPSession(const FTPSession&) = delete;
  FTPSession& operator=(const FTPSession&) = delete;

  void LogIn(const Login& login);
  void SetType(char type);  // 'I' for files, 'A' for lists

  std::optional<RemoteSize> SizeOf(const std::string& path);
  std::optional<Time> TimeOf(const std::string& path);
  bool CanRestart();

  // Open the data connection. offset: asked for; 0 afterwards when the server does not restart.
  Stream* StartRetrieve(const std::string& path, std::uint32_t* offset);
  Stream* StartStore(const std::string& path, std::uint32_t* offset);

  // Releases the data connection and waits for the server's word that the transfer was complete. Throws
  // Failure when it says otherwise or nothing.
  void EndTransfer(Stream* stream);

  // Lists a folder ("" for the login's own) into a local file, named in the library's form.
  void List(const std::string& folder, bool namesOnly, const std::string& localFile);

  // Says "QUIT" and frees the connection. The work is done by then, so it never fails, and neither a silent
  // server nor Ctrl-C makes it wait for more than a second or two.
  void SayGoodbye();
  // Whether a thread of SayGoodbye still waits for its server.
  static bool IsGoodbyePending();

 private:
  ErrorCode AwaitFinalReply(Reply* reply);
  [[noreturn]] void Fail(const std::string& what, ErrorCode status, const Reply& reply) const;

  const Options& options_;
  Reporter* reporter_;
  std::string host_;
  FTPc* connection_ = nullptr;
};

}  // namespace tool

#endif
