// The last failure of each thread, in a fixed number of records, so that nothing is allocated.
//
//   thread's word:  ticket 7 --.      ticket 263 --.
//                              |                   |
//   records:       [0] [1] ... [7] ...  [255]      |      a ticket's record is number ticket % 256
//                               ^------------------'
//                               owner: 7, and 263 once that thread has recorded something
//
// A thread takes a ticket when it first records a failure; its record is lost when a thread 256 tickets later
// comes by. The owner is also the record's lock: kBusy while somebody reads or writes it.
#include <atomic>
#include <cstdio>
#include <cstring>

#include "os/core/error_internal.h"
#include "os/core/error_testing.h"
#include "os/platform/error.h"
#include "os/platform/thread.h"
#include "qz/error.h"

namespace {

constexpr uintptr_t kNobody = 0;
constexpr uintptr_t kBusy = UINTPTR_MAX;

struct Record {
  std::atomic<uintptr_t> owner{kNobody};
  ErrorDetail detail{};
};

Record records[kErrorRecordCount];
std::atomic<uintptr_t> lastTicket{kNobody};

Record* RecordOf(uintptr_t ticket) {
  return &records[ticket % kErrorRecordCount];
}

// Holds the record of a ticket, from when it was found until the end of the block; holds none when the record
// has another owner.
class HeldRecord {
 public:
  HeldRecord(uintptr_t ticket, uintptr_t owner) : ticket_(ticket) {
    const bool mayOwn = ticket != kNobody && ticket != kBusy && owner != kBusy;
    isHeld_ = mayOwn && RecordOf(ticket)->owner.compare_exchange_strong(owner, kBusy);
  }
  ~HeldRecord() {
    if (isHeld_) RecordOf(ticket_)->owner.store(ticket_);
  }
  HeldRecord(const HeldRecord&) = delete;
  HeldRecord& operator=(const HeldRecord&) = delete;

  explicit operator bool() const { return isHeld_; }
  ErrorDetail* operator->() const { return &RecordOf(ticket_)->detail; }
  ErrorDetail& operator*() const { return RecordOf(ticket_)->detail; }

 private:
  uintptr_t ticket_;
  bool isHeld_ = false;
};

template <size_t size>
void CopyLabel(const char* source, char (&label)[size]) {
  const size_t length = source != nullptr ? strnlen(source, size - 1) : 0;
  if (length != 0) memcpy(label, source, length);
  memset(label + length, 0, size - length);
}

void Fill(ErrorCode status, const char* operation, const char* name, uint32_t systemNumber,
          ErrorDetail* detail) {
  detail->status = status;
  detail->systemNumber = systemNumber;
  detail->nativeNumber = platform::NativeErrorNumber(systemNumber);
  CopyLabel(operation, detail->operation);
  CopyLabel(name, detail->name);
}

// A record that is busy belongs to a thread that just took it over, or to what this call interrupted; either
// way another ticket is taken instead of waiting.
void Store(const ErrorDetail& detail) {
  const uintptr_t own = platform::ThreadWord();
  if (HeldRecord record(own, own); record) {
    *record = detail;
    return;
  }
  for (uint32_t tries = 0; tries < kErrorRecordCount; ++tries) {
    const uintptr_t ticket = lastTicket.fetch_add(1) + 1;
    HeldRecord record(ticket, RecordOf(ticket)->owner.load());
    if (!record) continue;
    *record = detail;
    platform::SetThreadWord(ticket);
    return;
  }
}

// ---- words -------------------------------------------------------------------------------------

constexpr size_t kWordsBytes = 256;

// What the system says about the error, or else the status's long text behind its first word.
void FindWords(const ErrorDetail& detail, char (&words)[kWordsBytes]) {
  if (detail.systemNumber != platform::SystemError_None &&
      platform::DescribeError(detail.systemNumber, detail.nativeNumber, words) != 0) {
    return;
  }
  const char* longText = Error_ToLongString(detail.status);
  const char* rest = strstr(longText, ": ");
  snprintf(words, sizeof words, "%s", rest != nullptr ? rest + 2 : longText);
}

// "File_Open "/x/y"", with either part left out that is not known.
void FormatSubject(const ErrorDetail& detail, char* subject, size_t sizeBytes) {
  const bool hasName = detail.name[0] != '\0';
  const bool hasBoth = hasName && detail.operation[0] != '\0';
  const char* quote = hasName ? "\"" : "";
  snprintf(subject, sizeBytes, "%s%s%s%s%s", detail.operation, hasBoth ? " " : "", quote, detail.name, quote);
}

// Terminals also obey control characters of two bytes, U+0080 to U+009F in UTF-8.
bool IsTwoByteControl(const char* text) {
  const auto second = static_cast<unsigned char>(text[1]);
  return static_cast<unsigned char>(text[0]) == 0xC2 && second >= 0x80 && second <= 0x9F;
}

// Names come from outside; what they hold must not move a terminal's cursor.
void ReplaceControlBytes(char* text) {
  for (; *text != '\0'; ++text) {
    const auto byte = static_cast<unsigned char>(*text);
    const bool isTwoBytes = IsTwoByteControl(text);
    if (isTwoBytes) *text++ = '?';
    if (isTwoBytes || byte < ' ' || byte == 0x7F) *text = '?';
  }
}

void FormatDetail(const ErrorDetail& detail, char* text, uint32_t sizeBytes) {
  char words[kWordsBytes] = "";
  FindWords(detail, words);
  char subject[sizeof detail.operation + sizeof detail.name + sizeof " \"\""];
  FormatSubject(detail, subject, sizeof subject);
  char numberText[sizeof " (4294967295)"] = "";
  const uint32_t number = detail.nativeNumber != 0 ? detail.nativeNumber : detail.systemNumber;
  if (number != 0) snprintf(numberText, sizeof numberText, " (%lu)", static_cast<unsigned long>(number));
  const char* colon = subject[0] != '\0' ? ": " : "";
  snprintf(text, sizeBytes, "%s%s%s%s", subject, colon, words, numberText);
  ReplaceControlBytes(text);
}

}  // namespace

ErrorCode iError_Record(ErrorCode status, const char* operation, const char* name, uint32_t systemNumber) {
  if (status == Error_None || status == Error_Block) return status;
  ErrorDetail detail;
  Fill(status, operation, name, systemNumber, &detail);
  Store(detail);
  return status;
}

ErrorCode Error_GetLast(ErrorDetail* detail) {
  if (detail == nullptr) return Error_Invalid;
  *detail = {};
  const uintptr_t own = platform::ThreadWord();
  HeldRecord record(own, own);
  if (!record || record->status == Error_None) return Error_NotFound;
  *detail = *record;
  return Error_None;
}

void Error_ClearLast() {
  const uintptr_t own = platform::ThreadWord();
  if (HeldRecord record(own, own); record) *record = {};
}

int32_t Error_GetLastText(uint32_t size, char* text) {
  if (text == nullptr || size == 0) return Error_Invalid;
  text[0] = '\0';
  ErrorDetail detail;
  if (Error_GetLast(&detail) == Error_None) FormatDetail(detail, text, size);
  return static_cast<int32_t>(strlen(text));
}
