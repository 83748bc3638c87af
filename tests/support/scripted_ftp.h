// What the FTP tests put their scripts together from, and the client's side of them.
//
//   ScriptedServer server({ftp::Join({ftp::Login(), {ExpectLine("PWD"), SendLine("257 \"/\"")},
//   ftp::Gone()})}); ftp::Client client(server.port());
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "net/sock_testing.h"
#include "qz/ftpc.h"
#include "qz/memorystream.h"
#include "qz/os.h"
#include "qz/proxy.h"
#include "tests/support/os_session.h"
#include "tests/support/scripted_server.h"
#include "tests/support/system_folders.h"

namespace ftp {

inline constexpr uint32_t kPassive = FTPcFlag_Passive | FTPcFlag_NoProxy;
inline constexpr uint32_t kActive = FTPcFlag_NoProxy;

inline Script Join(std::initializer_list<Script> parts) {
  Script whole;
  for (const Script& part : parts) whole.insert(whole.end(), part.begin(), part.end());
  return whole;
}

inline Script Greeting() {
  return {script::SendLine("220 ready")};
}

inline Script Login() {
  using namespace script;
  return {SendLine("220 ready"), ExpectLine("USER anonymous"), SendLine("331 who?"), ExpectLine("PASS me@"),
          SendLine("230 in")};
}

// One command and its reply.
inline Script Exchange(const std::string& command, const std::string& reply) {
  return {script::ExpectLine(command), script::SendLine(reply)};
}

// The data connection is set up, not opened.
inline Script Passive() {
  using namespace script;
  return {ExpectLine("PASV"), OpenPassive(), SendLine("227 Entering Passive Mode ({pasv}).")};
}
inline Script Active() {
  return {script::ExpectPort(), script::SendLine("200 ok")};
}

// A transfer command is taken and the data connection opened.
inline Script Started(const std::string& command) {
  using namespace script;
  return {ExpectLine(command), DataAccept(), SendLine("150 go")};
}
inline Script StartedActive(const std::string& command) {
  using namespace script;
  return {ExpectLine(command), SendLine("150 go"), DataConnect()};
}

// The bytes of a file, and the end of the transfer.
inline Script SendsFile(const std::string& bytes) {
  using namespace script;
  return {DataSend(bytes), DataClose(), SendLine("226 done")};
}
inline Script TakesFile() {
  using namespace script;
  return {DataReadToEnd(), DataClose(), SendLine("226 done")};
}

// The client goes away without another word.
inline Script Gone() {
  return {script::ExpectEnd()};
}
inline Script Quit() {
  return {script::ExpectLine("QUIT"), script::SendLine("221 bye"), script::ExpectEnd()};
}

// A server that answers what it is asked and never minds what is not: for runs in which the client gives up
// anywhere. Every RETR, LIST and NLST gives `file`; every STOR and STOU is read to its end.
Script Patient(const std::string& file);

// A connection that is opened, and logged in unless told otherwise; freed without QUIT.
class Client {
 public:
  explicit Client(uint16_t port, uint32_t flags = kPassive, bool logIn = true) {
    EXPECT_EQ(FTPc_Open("127.0.0.1", port, flags, &connection_, &reply), 0);
    if (!logIn || connection_ == nullptr) return;
    EXPECT_EQ(FTPc_Login(connection_, "anonymous", "me@", &reply), 0);
  }
  ~Client() { FTPc_Delete(connection_); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  operator FTPc*() const { return connection_; }
  // The connection is freed by someone else.
  FTPc* Release() { return std::exchange(connection_, nullptr); }

  Reply reply = {};

 private:
  FTPc* connection_ = nullptr;
};

// Starts the library for a test, with folders and active ports of the test's own, and sets back what tests
// change.
class LibraryTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string log = places_.Folder().Name("session.log");
    ASSERT_EQ(OS_Init(places_.ApplicationName().c_str(), OSInitCode_LogPath, log.c_str(), OSInitCode_End), 0);
    FTPc_SetPortRange(loopback::UnusedPorts(kActivePorts), kActivePorts);
  }
  void TearDown() override {
    iSock_SetWaitMilliseconds(0);
    Proxy_SetEnabled(0);
    OS_Exit(0);
  }

 private:
  static constexpr int kActivePorts = 32;
  OSPlaces places_{"qzftp" + std::to_string(ProgramNumber())};
  ScopedTemporaryVariable temporary_{places_.Folder().Path().string().c_str()};
};

}  // namespace ftp
