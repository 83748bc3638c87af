// From lines to replies.
#include <algorithm>
#include <cstring>

#include "net/ftpc_internal.h"
#include "os/text/characterclass_internal.h"
#include "os/text/decimal_internal.h"
#include "os/text/textview_internal.h"
#include "qz/error.h"

namespace {

constexpr size_t kDigits = 3;
constexpr size_t kTextStart = 4;
constexpr std::string_view kWhiteSpace = " \t\n\r";

std::string_view StripEnds(std::string_view text) {
  const size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) return {};
  return iTextView_Part(text, first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

bool IsDigit(char c) {
  return (iCharacter_Class(static_cast<uint8_t>(c)) & CharacterClass_Digit) != 0;
}

// Kept: three characters that only begin with a number ("2x ") count as a code; some servers' replies are no
// more.
bool ParseCode(std::string_view line, int32_t* code) {
  std::string_view digits = line.substr(0, kDigits);
  const std::optional<SignedDecimal> number = iDecimal_TakeSigned(&digits);
  if (!number) return false;
  const auto magnitude = static_cast<int32_t>(number->magnitude);
  *code = number->isNegative ? -magnitude : magnitude;
  return true;
}

}  // namespace

ErrorCode FTPReplyReader::Take(std::string_view line, uint32_t size) {
  if (size > kFTPReply_MaximumBytes - sizeBytes_) return Error_Exceed;
  sizeBytes_ += size;
  if (!started_) return TakeFirst(line);
  const bool isLast =
      line.size() > kDigits && memcmp(line.data(), digits_, kDigits) == 0 && line[kDigits] == ' ';
  if (!isLast) return Error_Block;
  SetText(line);
  return Error_None;
}

ErrorCode FTPReplyReader::TakeFirst(std::string_view line) {
  if (line.size() < kDigits || !ParseCode(line, &reply_.code)) return Error_Invalid;
  reply_.replyClass = static_cast<uint8_t>(line[0]);
  memcpy(digits_, line.data(), kDigits);
  started_ = true;
  if (line.size() > kDigits && line[kDigits] == '-') return Error_Block;
  SetText(line);
  return Error_None;
}

void FTPReplyReader::SetText(std::string_view line) {
  const std::string_view text =
      line.size() > kTextStart ? StripEnds(iTextView_Part(line, kTextStart)) : std::string_view();
  const size_t length = std::min(text.size(), sizeof reply_.text - 1);
  text.copy(reply_.text, length);
  reply_.text[length] = 0;
}

void FTPReplyReader::Get(Reply* reply) const {
  *reply = reply_;
}

std::string_view iFTPc_WelcomeText(std::string_view line) {
  const bool hasCode = line.size() >= kDigits && std::all_of(line.begin(), line.begin() + kDigits, IsDigit);
  if (hasCode) line.remove_prefix(std::min(kTextStart, line.size()));
  return StripEnds(line);
}
