#include "tests/support/ftp_tree.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <utility>

using loopback::Connection;
using loopback::Result;

namespace {

constexpr int kSliceMilliseconds = 5;
constexpr int kIdleMilliseconds = 20000;
constexpr int kDataMilliseconds = 2000;
constexpr int64_t kRecentSeconds = 180 * 86400;
constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::string ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Of a moment in UTC.
struct Fields {
  int year;
  unsigned month;
  unsigned day;
  int hour;
  int minute;
  int second;
};

Fields FieldsOf(int64_t seconds) {
  using namespace std::chrono;
  const sys_seconds moment{std::chrono::seconds(seconds)};
  const sys_days day = floor<days>(moment);
  const year_month_day date(day);
  const auto rest = static_cast<int>((moment - day).count());
  return {static_cast<int>(date.year()),
          static_cast<unsigned>(date.month()),
          static_cast<unsigned>(date.day()),
          rest / 3600,
          rest / 60 % 60,
          rest % 60};
}

int64_t Now() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

std::vector<std::filesystem::path> Sorted(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> found;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ignored))
    found.push_back(entry.path());
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace

struct FTPTree::Session {
  Connection control;
  loopback::Listener passive{1};
  std::filesystem::path current;
  std::filesystem::path renamed;

  bool Say(const std::string& line) { return control.Send(line + "\r\n"); }
};

FTPTree::FTPTree(std::filesystem::path folder) : folder_(std::move(folder)) {
  thread_ = std::thread([this] { Run(); });
}

FTPTree::~FTPTree() {
  stops_ = true;
  thread_.join();
  for (std::thread& session : sessions_) session.join();
}

std::string FTPTree::URL(const std::string& path) const {
  return "ftp://u:p@127.0.0.1:" + std::to_string(listener_.port()) + path;
}

std::vector<std::string> FTPTree::TakeCommands() {
  const std::lock_guard lock(mutex_);
  return std::exchange(commands_, {});
}

void FTPTree::AwaitEnd() {
  for (int waited = 0; open_ != 0 && waited < kIdleMilliseconds; waited += kSliceMilliseconds)
    std::this_thread::sleep_for(std::chrono::milliseconds(kSliceMilliseconds));
}

// ---- sessions ----------------------------------------------------------------------------------

void FTPTree::Run() {
  while (!stops_) {
    Connection control = listener_.Accept(kSliceMilliseconds);
    if (!control.IsOpen()) continue;
    ++open_;
    sessions_.emplace_back([this, held = std::move(control)]() mutable {
      Play(std::move(held));
      --open_;
    });
  }
}

void FTPTree::Play(Connection control) {
  Session session;
  session.control = std::move(control);
  session.control.SendAtOnce();
  session.current = folder_;
  session.Say("220 ready");
  std::string received;
  while (!stops_) {
    const size_t end = received.find("\r\n");
    if (end == std::string::npos) {
      const Result result = session.control.ReceiveSome(&received, 65536, kSliceMilliseconds);
      if (result != Result::Data && result != Result::Timeout) return;
      continue;
    }
    const std::string line = received.substr(0, end);
    received.erase(0, end + 2);
    const size_t blank = line.find(' ');
    const std::string argument = blank == std::string::npos ? "" : line.substr(blank + 1);
    if (!Answer(&session, line.substr(0, blank), argument)) return;
  }
}

bool FTPTree::Answer(Session* session, const std::string& command, const std::string& argument) {
  if (command == "USER") return session->Say("331 who?");
  if (command == "PASS") return session->Say("230 in");
  if (command == "TYPE") return session->Say("200 ok");
  if (command == "QUIT") return session->Say("221 bye") && false;
  if (command == "PASV") {
    session->passive = loopback::Listener(1);
    const int port = session->passive.port();
    return session->Say("227 (127,0,0,1," + std::to_string(port / 256) + "," + std::to_string(port % 256) +
                        ")");
  }
  {
    const std::lock_guard lock(mutex_);
    commands_.push_back(command + (argument.empty() ? "" : " " + argument));
  }
  if (onCommand) onCommand(command + (argument.empty() ? "" : " " + argument));
  const auto reply = settings.replies.find(command + (argument.empty() ? "" : " " + argument));
  if (reply != settings.replies.end()) return !reply->second.empty() && session->Say(reply->second);
  const std::filesystem::path path = At(*session, argument);
  std::error_code failure;
  const bool isFile = std::filesystem::is_regular_file(path, failure);
  const bool isFolder = std::filesystem::is_directory(path, failure);
  if (command == "FEAT")
    return session->Say(settings.hasFacts ? "211-Features:\r\n MLST type*;size*;modify*;\r\n SIZE\r\n211 End"
                                          : "500 FEAT?");
  if (command == "PWD") return session->Say("257 \"/pub\"");
  if (command == "CWD") {
    if (isFolder) session->current = path;
    return session->Say(isFolder ? "250 ok" : "550 no folder");
  }
  if (command == "MKD") {
    const bool isMade =
        std::filesystem::create_directory(path.string().ends_with('/') ? path.parent_path() : path, failure);
    return session->Say(isMade ? "257 made" : "550 no");
  }
  if (command == "SIZE") {
    if (!settings.hasSizes) return session->Say("500 SIZE?");
    if (!isFile) return session->Say("550 no file");
    return session->Say("213 " + std::to_string(std::filesystem::file_size(path, failure)));
  }
  if (command == "MDTM") {
    if (!settings.hasTimes) return session->Say("502 MDTM?");
    return session->Say(isFile ? "213 " + StampOf(path) : "550 no file");
  }
  if (command == "MLST") {
    if (!settings.hasFacts) return session->Say("500 MLST?");
    if (!isFile && !isFolder) return session->Say("550 nothing there");
    return session->Say("250-Facts\r\n " + FactsOf(path, argument) + "\r\n250 End");
  }
  if (command == "DELE")
    return session->Say(isFile && std::filesystem::remove(path, failure) ? "250 gone" : "550 no");
  if (command == "RNFR") {
    session->renamed = path;
    return session->Say(isFile ? "350 to?" : "550 no file");
  }
  if (command == "RNTO") return Rename(session, argument);
  if (command == "LIST" || command == "MLSD") return List(session, command, argument);
  if (command == "STOR") return Store(session, path);
  if (command == "RETR") {
    if (!isFile) return session->Say("550 no file");
    const std::string bytes = ReadAll(path);
    return Transfer(session, [&](Connection* data) {
      data->Send(bytes);
      data->Close();
      return session->Say("226 done");
    });
  }
  return session->Say("500 " + command + "?");
}

// "/pub" is the folder.
std::filesystem::path FTPTree::At(const Session& session, const std::string& path) const {
  if (!path.starts_with('/')) return session.current / path;
  const std::string below = path == "/pub" ? "" : path.substr(std::min<size_t>(path.size(), 5));
  return below.empty() ? folder_ : folder_ / below;
}

bool FTPTree::Transfer(Session* session, const std::function<bool(Connection*)>& move) {
  Connection data = session->passive.Accept(kDataMilliseconds);
  session->passive.Close();
  if (!data.IsOpen()) return session->Say("425 nobody came");
  return session->Say("150 go") && move(&data);
}

// ---- listings ----------------------------------------------------------------------------------

int64_t FTPTree::SecondsOf(const std::filesystem::path& path) const {
  std::error_code failure;
  const auto written = std::filesystem::last_write_time(path, failure);
  const auto moment = std::chrono::file_clock::to_sys(written);
  return std::chrono::duration_cast<std::chrono::seconds>(moment.time_since_epoch()).count() +
         settings.clockAheadSeconds;
}

std::string FTPTree::StampOf(const std::filesystem::path& path) const {
  const Fields fields = FieldsOf(SecondsOf(path));
  char text[32];
  snprintf(text, sizeof text, "%04d%02u%02u%02d%02d%02d", fields.year, fields.month, fields.day, fields.hour,
           fields.minute, fields.second);
  return text;
}

std::string FTPTree::FactsOf(const std::filesystem::path& path, const std::string& name) const {
  std::error_code failure;
  const bool isFolder = std::filesystem::is_directory(path, failure);
  const std::string size =
      isFolder ? "" : "size=" + std::to_string(std::filesystem::file_size(path, failure)) + ";";
  return std::string(isFolder ? "type=dir;" : "type=file;") + size + "modify=" + StampOf(path) + "; " + name;
}

std::string FTPTree::LongLineOf(const std::filesystem::path& path, const std::string& name) const {
  std::error_code failure;
  const bool isFolder = std::filesystem::is_directory(path, failure);
  const int64_t seconds = SecondsOf(path);
  const Fields fields = FieldsOf(seconds);
  char date[64];
  const bool isRecent = !settings.showsDaysOnly && seconds > Now() - kRecentSeconds;
  if (isRecent) {
    snprintf(date, sizeof date, "%s %2u %02d:%02d", kMonths[fields.month - 1], fields.day, fields.hour,
             fields.minute);
  } else {
    snprintf(date, sizeof date, "%s %2u  %04d", kMonths[fields.month - 1], fields.day, fields.year);
  }
  const uint64_t size = isFolder ? 4096 : std::filesystem::file_size(path, failure);
  return std::string(isFolder ? "drwxr-xr-x" : "-rw-r--r--") + "   1 owner    group " + std::to_string(size) +
         " " + date + " " + name;
}

bool FTPTree::Suffers(const std::filesystem::path& folder) const {
  return settings.strangeFolder.empty() || folder.filename() == settings.strangeFolder;
}

bool FTPTree::List(Session* session, const std::string& command, const std::string& argument) {
  const bool isFacts = command == "MLSD";
  if (isFacts && !settings.hasFacts) return session->Say("500 MLSD?");
  std::error_code failure;
  const std::filesystem::path path = argument.empty() ? session->current : At(*session, argument);
  const bool isFolder = std::filesystem::is_directory(path, failure);
  if (isFacts && !isFolder) return session->Say("550 no folder");
  const bool suffers = isFolder && Suffers(path);
  if (suffers && settings.listing == Listing::Refused) return session->Say("550 not now");
  std::string text;
  if (isFacts) text = "type=cdir;modify=20200101000000; .\r\ntype=pdir;modify=20200101000000; ..\r\n";
  if (!isFacts && isFolder) text = "total 8\r\n";
  const std::vector<std::filesystem::path> found = isFolder ? Sorted(path)
                                                   : std::filesystem::exists(path, failure)
                                                       ? std::vector{path}
                                                       : std::vector<std::filesystem::path>{};
  for (const std::filesystem::path& entry : found) {
    const std::string name = isFolder ? entry.filename().string() : argument;
    if (!isFacts && settings.hidesDotFiles && entry.filename().string().starts_with('.')) continue;
    text += (isFacts ? FactsOf(entry, name) : LongLineOf(entry, name)) + "\r\n";
  }
  return Transfer(session, [&](Connection* data) {
    if (suffers && !settings.listingText.empty()) text = settings.listingText;
    if (!suffers) {
      data->Send(text);
      data->Close();
      return session->Say("226 done");
    }
    return SendList(session, data, text);
  });
}

bool FTPTree::SendList(Session* session, Connection* data, const std::string& text) {
  switch (settings.listing) {
    case Listing::Empty:
      break;
    case Listing::Cut:
    case Listing::CutAndTold:
    case Listing::Ended:
      data->Send(text.substr(0, text.size() < 4 ? 0 : text.size() - 4));
      break;
    case Listing::Strange:
      data->Send(text + "?\r\n");
      break;
    default:
      data->Send(text);
  }
  if (settings.listing == Listing::Ended) return false;
  data->Close();
  return session->Say(settings.listing == Listing::CutAndTold ? "426 cut" : "226 done");
}

// ---- changes -----------------------------------------------------------------------------------

bool FTPTree::Rename(Session* session, const std::string& argument) {
  const std::filesystem::path path = At(*session, argument);
  std::error_code failure;
  if (!settings.replacesByRename && std::filesystem::exists(path, failure))
    return session->Say("553 it exists");
  std::filesystem::rename(session->renamed, path, failure);
  return session->Say(failure ? "550 no" : "250 renamed");
}

void FTPTree::Hang() {
  while (hangs && !stops_) {
    isHanging = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(kSliceMilliseconds));
  }
}

bool FTPTree::Store(Session* session, const std::filesystem::path& path) {
  if (!std::filesystem::is_directory(path.parent_path())) return session->Say("553 no");
  return Transfer(session, [&](Connection* data) {
    std::string bytes;
    std::ofstream file(path, std::ios::binary);
    bool isWhole = true;
    for (;;) {
      std::string some;
      const Result result = data->ReceiveSome(&some, 65536, kSliceMilliseconds);
      if (result == Result::Timeout && !stops_) continue;
      if (result != Result::Data) break;
      bytes += some;
      Hang();
      if (bytes.size() < settings.storesAtMost) continue;
      bytes.resize(static_cast<size_t>(settings.storesAtMost));
      isWhole = false;
      break;
    }
    file << bytes;
    file.close();
    data->Close();
    return session->Say(isWhole ? "226 done" : "426 cut");
  });
}
