// qz size: size, time and resumability of a file, on standard output.
#include <cstdio>

#include "qz/error.h"
#include "tool/commands.h"
#include "tool/failure.h"
#include "tool/ftp_session.h"
#include "tool/http_request.h"
#include "tool/login.h"
#include "tool/output.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr std::uint64_t kBeyondCounting = ~std::uint64_t{0};  // of a size that needs more than 64 bits

enum class Resume { Unknown, No, Yes };

struct FileFacts {
  std::optional<std::uint64_t> size;
  std::string time = "unknown";
  Resume resume = Resume::Unknown;
  std::optional<Failure> failure;  // why `resume` is unknown
};

std::string DateText(const TimeData& data) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%04u-%02u-%02u", data.year, data.month, data.day);
  return buffer;
}

// Servers send times in GMT; the library keeps the numbers unchanged.
std::string TimeText(const Time& time, bool fromDateText) {
  TimeData data{};
  Time_TimeToData(&time, &data);
  char clock[32];
  std::snprintf(clock, sizeof clock, " %02u:%02u:%02u GMT", data.hour, data.minute, data.second);
  std::string text = DateText(data) + clock;
  constexpr std::uint32_t kMarch = 3, kMay = 5;
  if (fromDateText && data.month == kMarch) {
    // The library reads "May" as "Mar", so both are possible.
    data.month = kMay;
    text += " (or " + DateText(data) + clock + ")";
  }
  return text;
}

// Judges the response to a request for the first byte. Throws Failure when it does not answer the question.
Resume ResumeOf(const HTTPResponse& response, const Address& address) {
  constexpr int kPartialContent = 206, kRangeNotSatisfiable = 416;
  if (response.IsWholeFile()) return Resume::No;
  // An empty file has no first byte.
  if (response.Code() == kRangeNotSatisfiable) return Resume::Unknown;
  if (response.Code() != kPartialContent) throw FailureOfResponse(response, address);
  const auto bytes = response.Range();
  return bytes && bytes->first == 0 && bytes->last == 0 ? Resume::Yes : Resume::No;
}

FileFacts AskHTTP(Address address, Reporter* reporter) {
  FileFacts facts;
  {
    const auto whole = Request(&address, std::nullopt, reporter);
    if (!whole->IsWholeFile()) throw FailureOfResponse(*whole, address);
    facts.size = whole->Length();
    if (const auto modified = whole->Modified()) facts.time = TimeText(*modified, true);
  }
  try {
    const auto first = Request(&address, ByteRange{0, 0}, reporter);
    facts.resume = ResumeOf(*first, address);
  } catch (const Failure& failure) {
    facts.failure = failure;
    facts.failure->text = "cannot query whether the server can resume: " + failure.text;
  }
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
                  "\"" + address.shown + "\" was not found, or the server reports neither size nor time"};
  }
  facts.size = size;
  if (time) facts.time = TimeText(*time, false);
  try {
    facts.resume = session.CanRestart() ? Resume::Yes : Resume::No;
    session.Quit();
  } catch (const Failure& failure) {
    facts.failure = failure;
  }
  return facts;
}

const char* ResumeText(Resume resume) {
  if (resume == Resume::Unknown) return "unknown";
  return resume == Resume::Yes ? "yes" : "no";
}

std::string SizeLine(const std::optional<std::uint64_t>& size) {
  if (!size || *size == kBeyondCounting) return "unknown";
  return std::to_string(*size) + " bytes" + (*size < 1024 ? "" : " (" + SizeText(*size) + ")");
}

}  // namespace

void RunSize(const Options& options, Reporter* reporter) {
  const Address address = ParseAddress(options.operands[0]);
  if (address.scheme == Scheme::FTP && address.path.empty()) {
    throw Failure{ExitCode::Usage, "\"" + address.shown + "\" does not name a file"};
  }
  if (address.scheme == Scheme::HTTP) RejectHTTPLogin(options);
  const FileFacts facts =
      address.scheme == Scheme::HTTP ? AskHTTP(address, reporter) : AskFTP(address, options, reporter);
  Print("size:   " + SizeLine(facts.size) + "\ntime:   " + facts.time +
        "\nresume: " + ResumeText(facts.resume) + "\n");
  if (facts.failure) throw *facts.failure;
}

}  // namespace tool
