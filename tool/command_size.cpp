// qz size: size, time and resumability of a file, on standard output.
#include <cstdio>

#include "qz/error.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/ftp_session.h"
#include "tool/http_request.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr std::uint32_t kTooLarge = 0xFFFFFFFFu;

struct FileFacts {
  std::optional<std::uint32_t> size;
  std::string time = "unknown";
  bool canResume = false;
};

std::string DateText(const TimeData& data) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%04u-%02u-%02u", data.year, data.month, data.day);
  return buffer;
}

// Servers tell times in GMT and the library keeps the numbers as they were told.
std::string TimeText(const Time& time, bool fromDateText) {
  TimeData data{};
  Time_TimeToData(&time, &data);
  char clock[32];
  std::snprintf(clock, sizeof clock, " %02u:%02u:%02u GMT", data.hour, data.minute, data.second);
  std::string text = DateText(data) + clock;
  constexpr std::uint32_t kMarch = 3, kMay = 5;
  if (fromDateText && data.month == kMarch) {
    // The library reads "May" as "Mar"; which one the server meant cannot be told from here.
    data.month = kMay;
    text += " (or " + DateText(data) + clock + ")";
  }
  return text;
}

FileFacts AskHTTP(Address address, const Options& options, Reporter* reporter) {
  FileFacts facts;
  {
    const auto whole = Request(&address, std::nullopt, options, reporter);
    if (whole->Code() != 200 && whole->Code() != 203) throw RefusalOf(*whole, address);
    facts.size = whole->Length();
    if (const auto modified = whole->Modified()) facts.time = TimeText(*modified, true);
  }
  const auto range = Request(&address, ByteRange{0, 0}, options, reporter);
  const auto bytes = range->Range();
  facts.canResume = range->Code() == 206 && bytes && bytes->first == 0 && bytes->last == 0;
  return facts;
}

FileFacts AskFTP(const Address& address, const Options& options, Reporter* reporter) {
  const Login login = LoginFor(address, options);
  FTPSession session(address, options, reporter);
  session.LogIn(login);
  session.SetType('I');
  FileFacts facts;
  const auto size = session.SizeOf(address.path);
  const auto time = session.TimeOf(address.path);
  if (!size && !time) {
    throw Failure{ExitCode::NotFound,
                  "\"" + address.shown + "\" was not found, or the server tells nothing about it"};
  }
  if (size) facts.size = size->bytes;
  if (time) facts.time = TimeText(*time, false);
  facts.canResume = session.CanRestart();
  session.SayGoodbye();
  return facts;
}

std::string SizeLine(const std::optional<std::uint32_t>& size) {
  if (!size) return "unknown";
  if (*size == kTooLarge) return "4 GiB or larger";
  return std::to_string(*size) + " bytes" + (*size < 1024 ? "" : " (" + SizeText(*size) + ")");
}

}  // namespace

void RunSize(const Options& options, Reporter* reporter) {
  const Address address = ParseAddress(options.operands[0]);
  if (address.scheme == Scheme::FTP && address.path.empty()) {
    throw Failure{ExitCode::Usage, "\"" + address.shown + "\" names no file"};
  }
  if (address.scheme == Scheme::HTTP) RefuseLogin(options);
  const FileFacts facts = address.scheme == Scheme::HTTP ? AskHTTP(address, options, reporter)
                                                         : AskFTP(address, options, reporter);
  const std::string output = "size:   " + SizeLine(facts.size) + "\ntime:   " + facts.time +
                             "\nresume: " + (facts.canResume ? "yes" : "no") + "\n";
  if (console::Write(console::Channel::Output, output.data(), output.size())) return;
  throw Failure{ExitCode::Disk, "cannot write to standard output"};
}

}  // namespace tool
