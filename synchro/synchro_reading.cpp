// Lines of listings:
//
//   type=file;size=5;modify=19970105090307; my file.txt      MLSD
//   -rw-r--r--  1  owner  group  5  Jan  5 09:03 name        LIST, of the past months
//   -rw-r--r--  1  owner  group  5  Jan  5  1997 name        ... older
//   lrwxrwxrwx  1  owner  group  9  Jan  5 09:03 name -> where
//
// A line that is anything else is not understood: what it names may be taken neither for there nor for gone.
#include <cstring>

#include "net/ftpc_internal.h"
#include "os/text/characterclass_internal.h"
#include "os/text/decimal_internal.h"
#include "qz/error.h"
#include "synchro/synchro_reading_internal.h"

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kLinkArrow = "->";
constexpr std::string_view kLinkSeparator = " -> ";
constexpr uint32_t kFirstYear = 1901;  // smaller numbers are days

bool IsNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of(kDigits) == std::string_view::npos;
}

// All ones above 32 bits.
bool ReadSize(std::string_view text, uint32_t* size) {
  if (!IsNumber(text)) return false;
  *size = iDecimal_TakeUnsigned(&text).value_or(0);
  return true;
}

// ---- MLSD --------------------------------------------------------------------------------------

struct Facts {
  std::string_view type;
  std::string_view size;
  std::string_view modify;
};

// A substr that may begin anywhere may throw, and nothing in the library does.
std::string_view Behind(std::string_view text, size_t count) {
  text.remove_prefix(count);
  return text;
}

// facts: each with its semicolon.
Facts SplitFacts(std::string_view facts) {
  Facts found;
  while (!facts.empty()) {
    const std::string_view fact = facts.substr(0, facts.find(';'));
    facts.remove_prefix(fact.size() + 1);
    const size_t equals = fact.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string_view name = fact.substr(0, equals);
    const std::string_view value = Behind(fact, equals + 1);
    if (iCharacter_EqualsWithoutCase(name, "type")) found.type = value;
    if (iCharacter_EqualsWithoutCase(name, "size")) found.size = value;
    if (iCharacter_EqualsWithoutCase(name, "modify")) found.modify = value;
  }
  return found;
}

SynchroLine TakeFacts(const Facts& facts, SynchroRead* read) {
  if (facts.type.empty()) return SynchroLine::NotUnderstood;
  for (const std::string_view directory : {"cdir", "pdir"}) {
    if (iCharacter_EqualsWithoutCase(facts.type, directory)) return SynchroLine::NoEntry;
  }
  const bool isDated = iFTPc_ParseTimeStamp(facts.modify, &read->side.time) == Error_None;
  read->side.present = 1;
  read->side.directory = iCharacter_EqualsWithoutCase(facts.type, "dir") ? 1 : 0;
  if (read->side.directory != 0) return SynchroLine::Entry;
  const bool isFile = iCharacter_EqualsWithoutCase(facts.type, "file");
  read->isUnclear = !isFile || !ReadSize(facts.size, &read->side.size) || !isDated;
  return SynchroLine::Entry;
}

// ---- LIST --------------------------------------------------------------------------------------

// The next word; empty at the end. What is left begins with the blank behind it.
std::string_view TakeWord(std::string_view* text) {
  const size_t begin = text->find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  const size_t end = text->find_first_of(kBlanks, begin);
  text->remove_prefix(begin);
  const std::string_view word = text->substr(0, end - begin);
  text->remove_prefix(word.size());
  return word;
}

bool IsMonth(std::string_view word) {
  for (const std::string_view month :
       {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"}) {
    if (iCharacter_EqualsWithoutCase(word, month)) return true;
  }
  return false;
}

bool IsDay(std::string_view word) {
  return IsNumber(word) && word.size() <= 2;
}

bool IsYear(std::string_view word) {
  return word.size() == 4 && IsNumber(word) && *iDecimal_TakeUnsigned(&word) >= kFirstYear;
}

// "9:03", "09:03:07".
bool IsTimeOfDay(std::string_view word) {
  if (word.size() < 4 || word.size() > 8) return false;
  const size_t colon = word.find(':');
  return colon != std::string_view::npos && IsNumber(word.substr(0, colon)) &&
         word.find_first_not_of("0123456789:") == std::string_view::npos && word.back() != ':';
}

// Month and day, in either order.
bool TakeMonthAndDay(std::string_view* text) {
  const std::string_view one = TakeWord(text);
  const std::string_view other = TakeWord(text);
  return (IsMonth(one) && IsDay(other)) || (IsDay(one) && IsMonth(other));
}

// The words of a date; *isUndated without a time of day.
bool TakeDate(std::string_view* text, bool* isUndated) {
  if (!TakeMonthAndDay(text)) return false;
  const std::string_view word = TakeWord(text);
  *isUndated = false;
  if (IsTimeOfDay(word)) return true;
  if (!IsYear(word)) return false;
  std::string_view rest = *text;
  *isUndated = !IsTimeOfDay(TakeWord(&rest));
  if (!*isUndated) *text = rest;
  return true;
}

bool IsSumOfBlocks(std::string_view text) {
  return TakeWord(&text) == "total" && IsNumber(TakeWord(&text)) && TakeWord(&text).empty();
}

// "5", or the two numbers of a device.
bool TakeSize(std::string_view* text, char type, SynchroRead* read) {
  std::string_view word = TakeWord(text);
  if (ReadSize(word, &read->side.size)) return true;
  if (type != 'b' && type != 'c') return false;
  if (!word.ends_with(',')) return false;
  return IsNumber(TakeWord(text));
}

// Reads a part of the line, which is ended there meanwhile.
bool ReadDate(char* line, std::string_view date, Time* time) {
  char* const end = line + (date.data() + date.size() - line);
  const char kept = *end;
  *end = '\0';
  const ErrorCode status = Time_FromString(date.data(), time);
  *end = kept;
  // A date that does not exist gives none.
  return status == Error_None && time->seconds != 0;
}

// What stands behind the date and one blank, as it is.
bool CutName(char* line, std::string_view rest, char type, SynchroRead* read) {
  if (rest.size() < 2) return false;
  std::string_view name = Behind(rest, 1);
  if (type == 'l') name = name.substr(0, name.find(kLinkSeparator));
  if (type == 'd' && name.size() > 1 && name.ends_with('/')) name.remove_suffix(1);
  line[name.data() + name.size() - line] = '\0';
  read->name = name.data();
  read->isAmbiguous = iSynchro_IsAmbiguousInLongLine(name);
  return !name.empty();
}

bool IsDot(std::string_view name) {
  return name == "." || name == "..";
}

}  // namespace

SynchroLine iSynchro_ReadFacts(char* line, SynchroRead* read) {
  *read = {};
  const std::string_view text = line;
  const size_t end = text.find("; ");
  if (end == std::string_view::npos || end + 2 == text.size()) return SynchroLine::NotUnderstood;
  read->name = line + end + 2;
  if (IsDot(read->name)) return SynchroLine::NoEntry;
  return TakeFacts(SplitFacts(text.substr(0, end + 1)), read);
}

SynchroLine iSynchro_ReadLongLine(char* line, SynchroRead* read) {
  *read = {};
  std::string_view text = line;
  if (IsSumOfBlocks(text)) return SynchroLine::NoEntry;
  const std::string_view mode = TakeWord(&text);
  if (mode.size() < 10 || strchr("-dlbcps", mode.front()) == nullptr) return SynchroLine::NotUnderstood;
  const char type = mode.front();
  if (!IsNumber(TakeWord(&text))) return SynchroLine::NotUnderstood;
  TakeWord(&text);  // owner
  TakeWord(&text);  // group
  if (!TakeSize(&text, type, read)) return SynchroLine::NotUnderstood;
  const char* const date = text.data();
  if (!TakeDate(&text, &read->isUndated)) return SynchroLine::NotUnderstood;
  const std::string_view dateText(date, static_cast<size_t>(text.data() - date));
  const bool isDated = ReadDate(line, dateText, &read->side.time);
  if (!CutName(line, text, type, read)) return SynchroLine::NotUnderstood;
  if (IsDot(read->name)) return SynchroLine::NoEntry;
  read->side.present = 1;
  read->side.directory = type == 'd' ? 1 : 0;
  if (type == 'd') read->side.size = 0;
  read->isUndated = read->isUndated && type == '-';
  read->isUnclear = type != 'd' && (type != '-' || read->isUndated || !isDated);
  return SynchroLine::Entry;
}

bool iSynchro_IsAmbiguousInLongLine(std::string_view name) {
  return name.find_first_of(" \t") != std::string_view::npos ||
         name.find(kLinkArrow) != std::string_view::npos;
}

bool iSynchro_IsSameMoment(const Time& listed, const Time& stamped) {
  constexpr int64_t kZoneStepSeconds = 15 * 60;
  constexpr int64_t kFarthestZonesSeconds = 26 * 3600;
  constexpr uint32_t kSecondsPerMinute = 60;
  if (listed.seconds % kSecondsPerMinute != 0) return false;
  const int64_t apart = int64_t{stamped.seconds} - listed.seconds;
  if (apart < -kFarthestZonesSeconds || apart > kFarthestZonesSeconds) return false;
  const int64_t withinStep = (apart % kZoneStepSeconds + kZoneStepSeconds) % kZoneStepSeconds;
  return withinStep < kSecondsPerMinute;
}
