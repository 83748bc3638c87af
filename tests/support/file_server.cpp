#include "tests/support/file_server.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

using loopback::Result;

namespace {

constexpr int kSliceMilliseconds = 20;
// A client that says nothing for so long is gone.
constexpr int kIdleMilliseconds = 10000;
constexpr int kDataMilliseconds = 500;

}  // namespace

FileServer::FileServer(Protocol protocol) : protocol_(protocol) {
  thread_ = std::thread([this] { Run(); });
}

FileServer::~FileServer() {
  stops_ = true;
  thread_.join();
}

std::string FileServer::URL(const std::string& name) const {
  const std::string place = "127.0.0.1:" + std::to_string(listener_.port()) + "/pub/" + name;
  return protocol_ == Protocol::FTP ? "ftp://u:p@" + place : "http://" + place;
}

void FileServer::SetBytes(std::string bytes) {
  const std::lock_guard lock(mutex_);
  bytes_ = std::move(bytes);
}

std::string FileServer::Bytes() const {
  const std::lock_guard lock(mutex_);
  return bytes_;
}

void FileServer::CutAfter(uint64_t bytes, Cut how) {
  const std::lock_guard session(session_);
  left_ = bytes;
  cut_ = how;
  isCut_ = false;
  sessions_ = 0;
  sessionBytes_ = 0;
  fileBytesSent_ = 0;
}

uint32_t FileServer::Sessions() const {
  const std::lock_guard session(session_);
  return sessions_;
}

uint64_t FileServer::SessionBytes() const {
  const std::lock_guard session(session_);
  return sessionBytes_;
}

uint64_t FileServer::FileBytesSent() const {
  const std::lock_guard session(session_);
  return fileBytesSent_;
}

// ---- sessions ----------------------------------------------------------------------------------

void FileServer::Run() {
  while (!stops_) {
    Connection control = listener_.Accept(kSliceMilliseconds);
    if (control.IsOpen()) Play(std::move(control));
  }
}

void FileServer::Play(Connection control) {
  const std::lock_guard session(session_);
  control_ = std::move(control);
  // Two replies in a row would wait for each other.
  control_.SendAtOnce();
  CountSession();
  offset_ = 0;
  if (!mayCut_ || !isCut_) {
    if (protocol_ == Protocol::HTTP) {
      PlayHTTP();
    } else {
      PlayFTP();
    }
  }
  if (isSilent_) AwaitEnd();
  data_.Close();
  control_.Close();
}

// Only the first session is cut, which may be before its first byte.
void FileServer::CountSession() {
  mayCut_ = sessions_++ == 0 && left_ != UINT64_MAX;
  isSilent_ = false;
  sessionBytes_ = 0;
  if (mayCut_ && left_ == 0) Strike(&control_);
}

void FileServer::Strike(Connection* connection) {
  if (cut_ == Cut::Fin) {
    connection->Close();
  } else if (cut_ == Cut::Reset) {
    data_.Reset();
    control_.Reset();
  } else {
    isSilent_ = true;
  }
  isCut_ = true;
}

// A client that has given up closes its connections.
void FileServer::AwaitEnd() {
  std::string ignored;
  for (int waited = 0; waited < kIdleMilliseconds && !stops_; waited += kSliceMilliseconds) {
    const Result result = control_.ReceiveSome(&ignored, 65536, kSliceMilliseconds);
    if (result == Result::Closed || result == Result::Reset) return;
  }
}

// ---- bytes -------------------------------------------------------------------------------------

bool FileServer::Send(Connection* connection, std::string_view bytes) {
  const bool strikes = mayCut_ && !isCut_ && bytes.size() >= left_;
  if (strikes) bytes = bytes.substr(0, static_cast<size_t>(left_));
  if (isSilent_) return false;
  const bool isSent = connection->Send(bytes);
  sessionBytes_ += bytes.size();
  if (mayCut_ && !isCut_) left_ -= bytes.size();
  if (strikes) Strike(connection);
  return isSent && !strikes;
}

bool FileServer::SendFile(Connection* connection, size_t offset) {
  const std::string rest = Take(offset);
  const uint64_t before = sessionBytes_;
  const bool isSent = Send(connection, rest);
  fileBytesSent_ += sessionBytes_ - before;
  return isSent;
}

std::string FileServer::Take(size_t offset) {
  const std::lock_guard lock(mutex_);
  return bytes_.substr(std::min(offset, bytes_.size()));
}

// Appends what has come, as much of it as passes before the cut.
Result FileServer::Receive(Connection* connection, std::string* bytes) {
  if (isSilent_) return Result::Timeout;
  const bool isLimited = mayCut_ && !isCut_;
  const size_t most = isLimited ? static_cast<size_t>(std::min<uint64_t>(left_, 65536)) : 65536;
  const size_t before = bytes->size();
  for (int waited = 0; waited < kIdleMilliseconds && !stops_; waited += kSliceMilliseconds) {
    const Result result = connection->ReceiveSome(bytes, most, kSliceMilliseconds);
    if (result == Result::Timeout) continue;
    sessionBytes_ += bytes->size() - before;
    if (isLimited) left_ -= bytes->size() - before;
    if (isLimited && left_ == 0) Strike(connection);
    return result;
  }
  return Result::Timeout;
}

// Clients send a command at a time, and wait for its reply.
bool FileServer::ReadTo(std::string_view end, std::string* text) {
  text->clear();
  while (!text->ends_with(end)) {
    if (Receive(&control_, text) != Result::Data || !control_.IsOpen() || isSilent_) return false;
  }
  return true;
}

// ---- HTTP --------------------------------------------------------------------------------------

void FileServer::PlayHTTP() {
  std::string head;
  if (!ReadTo("\r\n\r\n", &head)) return;
  const size_t range = head.find("Range: bytes=");
  const size_t first = range == std::string::npos ? 0 : strtoul(head.c_str() + range + 13, nullptr, 10);
  const std::string size = std::to_string(Bytes().size());
  if (first >= Bytes().size()) {
    Send(&control_, "HTTP/1.1 416 Range Not Satisfiable\r\nContent-Range: bytes */" + size + "\r\n\r\n");
    return;
  }
  const std::string last = std::to_string(Bytes().size() - 1);
  const std::string answer = "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + std::to_string(first) +
                             "-" + last + "/" + size +
                             "\r\nContent-Length: " + std::to_string(Bytes().size() - first) + "\r\n\r\n";
  if (Send(&control_, answer)) SendFile(&control_, first);
}

// ---- FTP ---------------------------------------------------------------------------------------

void FileServer::PlayFTP() {
  if (!Say("220 ready")) return;
  std::string line;
  while (ReadTo("\r\n", &line)) {
    line.resize(line.size() - 2);
    if (!Answer(line.substr(0, 4), line.size() > 5 ? line.substr(5) : "")) return;
  }
}

bool FileServer::Answer(const std::string& command, const std::string& argument) {
  if (command == "USER") return Say("331 who?");
  if (command == "PASS") return Say("230 in");
  if (command == "CWD ") return Say(argument == "/pub" || argument == "pub" ? "250 ok" : "550 no");
  if (command == "MIRR") return Say("500 what?");
  if (command == "SIZE") return TellSize();
  if (command == "PASV") return TellPassivePort();
  if (command == "RETR" || command == "STOR") return Transfer(command == "RETR");
  if (command == "REST") {
    offset_ = strtoul(argument.c_str(), nullptr, 10);
    return Say("350 ok");
  }
  return Say(command == "QUIT" ? "221 bye" : "200 ok");
}

bool FileServer::TellSize() {
  const std::string bytes = Bytes();
  return Say(bytes.empty() ? "550 no" : "213 " + std::to_string(bytes.size()));
}

bool FileServer::TellPassivePort() {
  // Of an earlier session, whose control connection was cut.
  while (passive_.Accept(0).IsOpen()) {
  }
  const int port = passive_.port();
  return Say("227 (127,0,0,1," + std::to_string(port / 256) + "," + std::to_string(port % 256) + ")");
}

bool FileServer::Transfer(bool sends) {
  const size_t offset = std::exchange(offset_, 0);
  data_ = passive_.Accept(kDataMilliseconds);
  if (!data_.IsOpen()) return Say("425 nobody came");
  if (!Say("150 go")) return control_.IsOpen();
  if (sends) {
    SendFile(&data_, offset);
  } else {
    const std::lock_guard lock(mutex_);
    bytes_.resize(offset);
    while (Receive(&data_, &bytes_) == Result::Data) {
    }
  }
  const bool isWhole = data_.IsOpen();
  if (isSilent_ || !control_.IsOpen()) return false;
  data_.Close();
  return Say(isWhole ? "226 done" : "426 cut");
}
