#include "tests/support/scripted_ftp.h"

#include <cstdio>
#include <utility>

namespace ftp {

namespace {

using loopback::Connection;
using loopback::Result;

// How long the server waits for a data connection that the client may have given up.
constexpr int kDataMilliseconds = 300;

class PatientServer {
 public:
  PatientServer(Connection* control, const std::string& file) : control_(control), file_(file) {}

  void Play() {
    Say("220 ready");
    std::string line;
    while (ReadLine(&line)) Answer(line.substr(0, 4), line);
  }

 private:
  void Say(const std::string& line) { control_->Send(line + "\r\n"); }

  bool ReadLine(std::string* line) {
    line->clear();
    while (line->size() < 2 || line->compare(line->size() - 2, 2, "\r\n") != 0) {
      if (control_->ReceiveSome(line, 1) != Result::Data) return false;
    }
    return true;
  }

  void Answer(const std::string& command, const std::string& line) {
    if (command == "USER") return Say("331 who?");
    if (command == "PASV") return OpenPassive();
    if (command == "PORT") return TakePort(line);
    if (command == "REST") return Say("350 ok");
    if (command == "RETR" || command == "NLST" || command == "LIST") return Transfer(true);
    if (command == "STOR" || command == "STOU") return Transfer(false);
    if (command == "PWD\r") return Say("257 \"/\"");
    Say("200 ok");
  }

  void OpenPassive() {
    listener_ = loopback::Listener();
    // Always of the same length, so that a cut after a byte of the conversation means the same in every run.
    char line[64];
    snprintf(line, sizeof line, "227 (127,0,0,1,%03d,%03d)", listener_.port() / 256, listener_.port() % 256);
    Say(line);
  }

  void TakePort(const std::string& line) {
    unsigned high = 0;
    unsigned low = 0;
    if (sscanf(line.c_str(), "PORT 127,0,0,1,%u,%u", &high, &low) != 2) return Say("501 no");
    listener_.Close();
    activePort_ = static_cast<uint16_t>(high * 256 + low);
    Say("200 ok");
  }

  void Transfer(bool sends) {
    const bool active = !listener_.IsOpen();
    if (active) Say("150 go");
    Connection data =
        active ? loopback::Connect(activePort_, kDataMilliseconds) : listener_.Accept(kDataMilliseconds);
    listener_.Close();
    if (!data.IsOpen()) return Say("425 no data connection");
    if (!active) Say("150 go");
    std::string received;
    if (sends) {
      data.Send(file_);
    } else {
      data.ReceiveAll(&received);
    }
    data.Close();
    Say("226 done");
  }

  Connection* control_;
  const std::string& file_;
  loopback::Listener listener_;
  uint16_t activePort_ = 0;
};

}  // namespace

Script Patient(const std::string& file) {
  return {script::Do([file](ScriptSession& session) { PatientServer(&session.control(), file).Play(); })};
}

}  // namespace ftp
