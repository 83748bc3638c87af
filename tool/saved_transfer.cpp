// The configuration file of a saved transfer:
//
//   # A saved transfer of qz.
//   format = 1
//   direction = download
//   url = http://a.example/disk.iso
//   path = /home/me/disk.iso
//   ...
//   end
//
// A control byte, "#", "%" and a blank at an end or behind another one is "%" and two hexadecimal digits. A
// long value goes on in further lines with its key. The last line tells a whole file from one that was cut.
#include "tool/saved_transfer.h"

#include <charconv>
#include <memory>

#include "qz/config.h"
#include "qz/error.h"
#include "qz/file.h"
#include "tool/console.h"

namespace tool {
namespace {

constexpr char kHeading[] = "# A saved transfer of qz.\n";
constexpr char kFormatKey[] = "format";
constexpr char kFormat[] = "1";
constexpr char kDirectionKey[] = "direction";
constexpr char kStatusKey[] = "status";
constexpr char kSizeKey[] = "size";
constexpr char kEndKey[] = "end";
// The library reads lines of up to 4096 bytes.
constexpr std::size_t kLongestValue = 2000;

struct Choice {
  const char* text;
  bool isSet;
};
constexpr Choice kDirections[] = {{"download", false}, {"upload", true}};
constexpr Choice kAnswers[] = {{"no", false}, {"yes", true}};
constexpr Choice kStatuses[] = {{"waiting", false}, {"failed", true}};

struct TextField {
  const char* key;
  std::string SavedTransfer::*member;
};
constexpr TextField kTexts[] = {
    {"url", &SavedTransfer::url},
    {"path", &SavedTransfer::localPath},
    {"user", &SavedTransfer::user},
    {"mirrors", &SavedTransfer::mirrors},
    {"digest", &SavedTransfer::digest},
    {"reason", &SavedTransfer::lastReason},
    {"final-path", &SavedTransfer::finalPath},
};

struct FlagField {
  const char* key;
  bool SavedTransfer::*member;
};
constexpr FlagField kFlags[] = {
    {"active", &SavedTransfer::isActive},          {"synchronise", &SavedTransfer::isSynchronised},
    {"overwrite", &SavedTransfer::overwrites},     {"save-password", &SavedTransfer::savesPassword},
    {"continue", &SavedTransfer::continuesUpload}, {"verify", &SavedTransfer::verifies},
    {"unpack", &SavedTransfer::unpacks},
};

template <typename Number>
struct NumberField {
  const char* key;
  Number SavedTransfer::*member;
};
constexpr NumberField<unsigned> kCounts[] = {{"attempts", &SavedTransfer::attempts}};
constexpr NumberField<int> kCodes[] = {{"exit-code", &SavedTransfer::lastExitCode}};
constexpr NumberField<std::uint64_t> kSizes[] = {{"done", &SavedTransfer::doneBytes},
                                                 {"source-size", &SavedTransfer::sourceBytes}};
constexpr NumberField<std::int64_t> kTimes[] = {{"source-time", &SavedTransfer::sourceSeconds}};

// ---- writing ----

bool NeedsEscape(char c, bool isBlankKept) {
  const auto byte = static_cast<unsigned char>(c);
  if (byte == ' ') return !isBlankKept;
  return byte < ' ' || byte == 0x7F || byte == '#' || byte == '%';
}

void AppendLine(const char* key, const std::string& value, std::string* text) {
  *text += key;
  *text += " = ";
  *text += value;
  *text += '\n';
}

// Both ends of a line's value are no blanks: the reader trims them.
void AppendText(const char* key, const std::string& value, std::string* text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string line;
  for (std::size_t i = 0; i < value.size(); i++) {
    const bool isInside = !line.empty() && line.back() != ' ' && i + 1 < value.size();
    if (NeedsEscape(value[i], isInside && line.size() + 3 < kLongestValue)) {
      const auto byte = static_cast<unsigned char>(value[i]);
      line += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    } else {
      line += value[i];
    }
    if (line.size() < kLongestValue) continue;
    AppendLine(key, line, text);
    line.clear();
  }
  if (!line.empty()) AppendLine(key, line, text);
}

template <std::size_t Count>
void AppendWord(const char* key, const Choice (&choices)[Count], bool isSet, std::string* text) {
  for (const Choice& choice : choices) {
    if (choice.isSet == isSet) AppendLine(key, choice.text, text);
  }
}

template <typename Number, std::size_t Count>
void AppendNumbers(const NumberField<Number> (&fields)[Count], const SavedTransfer& transfer,
                   std::string* text) {
  for (const auto& field : fields) AppendLine(field.key, std::to_string(transfer.*field.member), text);
}

// ---- reading ----

int HexadecimalDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// False for what AppendText does not write.
bool AppendUnescaped(const std::string& value, std::string* text) {
  for (std::size_t i = 0; i < value.size(); i++) {
    if (value[i] != '%') {
      *text += value[i];
      continue;
    }
    if (i + 2 >= value.size()) return false;
    const int high = HexadecimalDigit(value[i + 1]);
    const int low = HexadecimalDigit(value[i + 2]);
    if (high < 0 || low < 0) return false;
    *text += static_cast<char>(high << 4 | low);
    i += 2;
  }
  return true;
}

template <typename Number>
bool ReadNumber(const std::string& value, Number* number) {
  const char* end = value.data() + value.size();
  const auto [stop, error] = std::from_chars(value.data(), end, *number);
  return error == std::errc{} && stop == end;
}

template <std::size_t Count>
bool ReadWord(const Choice (&choices)[Count], const std::string& value, bool* isSet) {
  for (const Choice& choice : choices) {
    if (value != choice.text) continue;
    *isSet = choice.isSet;
    return true;
  }
  return false;
}

// Takes the lines one by one. Each call gives false when the value is out of range.
class Reading {
 public:
  bool Take(const std::string& key, const std::string& value) {
    if (key == kFormatKey) return value == kFormat && Once(&hasFormat_);
    if (key == kDirectionKey)
      return ReadWord(kDirections, value, &transfer_.isUpload) && Once(&hasDirection_);
    if (key == kStatusKey) return TakeStatus(value) && Once(&hasStatus_);
    if (key == kSizeKey) return ReadNumber(value, &transfer_.sizeBytes.emplace());
    if (key == kEndKey) return Once(&hasEnd_);
    return TakeText(key, value) && TakeFlag(key, value) && TakeNumber(kCounts, key, value) &&
           TakeNumber(kCodes, key, value) && TakeNumber(kSizes, key, value) && TakeNumber(kTimes, key, value);
  }

  std::optional<SavedTransfer> Result(unsigned number) {
    const bool isWhole = hasFormat_ && hasDirection_ && hasStatus_ && hasEnd_;
    if (!isWhole || transfer_.url.empty() || transfer_.localPath.empty()) return std::nullopt;
    transfer_.number = number;
    return std::move(transfer_);
  }

 private:
  static bool Once(bool* flag) {
    if (*flag) return false;
    *flag = true;
    return true;
  }

  bool TakeStatus(const std::string& value) {
    bool hasFailed = false;
    if (!ReadWord(kStatuses, value, &hasFailed)) return false;
    transfer_.status = hasFailed ? TransferStatus::Failed : TransferStatus::Waiting;
    return true;
  }

  // The others pass over keys that are not theirs.
  bool TakeText(const std::string& key, const std::string& value) {
    for (const TextField& field : kTexts) {
      if (key == field.key) return AppendUnescaped(value, &(transfer_.*field.member));
    }
    return true;
  }

  bool TakeFlag(const std::string& key, const std::string& value) {
    for (const FlagField& field : kFlags) {
      if (key == field.key) return ReadWord(kAnswers, value, &(transfer_.*field.member));
    }
    return true;
  }

  template <typename Number, std::size_t Count>
  bool TakeNumber(const NumberField<Number> (&fields)[Count], const std::string& key,
                  const std::string& value) {
    for (const auto& field : fields) {
      if (key == field.key) return ReadNumber(value, &(transfer_.*field.member));
    }
    return true;
  }

  SavedTransfer transfer_;
  bool hasFormat_ = false;
  bool hasDirection_ = false;
  bool hasStatus_ = false;
  bool hasEnd_ = false;
};

struct DeleteSyntax {
  void operator()(ConfigSpec* syntax) const { ConfigSpec_Delete(syntax); }
};
struct DeleteDocument {
  void operator()(Config* document) const { Config_Delete(document); }
};
using Document = std::unique_ptr<Config, DeleteDocument>;

// A syntax belongs to one thread, so each file has its own.
Document NewDocument() {
  const std::unique_ptr<ConfigSpec, DeleteSyntax> syntax(ConfigSpec_Start());
  ConfigSpec_SetNotField(syntax.get(), " ");
  ConfigSpec_SetFieldDelimiter(syntax.get(), '=');
  ConfigSpec_SetMinFields(syntax.get(), 1);
  ConfigSpec_SetMaxFields(syntax.get(), 2);
  ConfigSpec_SetLastFieldGrab(syntax.get(), 1);
  ConfigSpec_SetUniqueLines(syntax.get(), 0);
  ConfigSpec_SetCaseSensitive(syntax.get(), 1);
  ConfigSpec_SetStripComments(syntax.get(), 1);
  ConfigSpec_End(syntax.get());
  return Document(Config_New(syntax.get()));
}

}  // namespace

std::string FormatSavedTransfer(const SavedTransfer& transfer) {
  std::string text = kHeading;
  AppendLine(kFormatKey, kFormat, &text);
  AppendWord(kDirectionKey, kDirections, transfer.isUpload, &text);
  for (const TextField& field : kTexts) AppendText(field.key, transfer.*field.member, &text);
  for (const FlagField& field : kFlags) AppendWord(field.key, kAnswers, transfer.*field.member, &text);
  AppendWord(kStatusKey, kStatuses, transfer.status == TransferStatus::Failed, &text);
  AppendNumbers(kCounts, transfer, &text);
  AppendNumbers(kCodes, transfer, &text);
  AppendNumbers(kSizes, transfer, &text);
  AppendNumbers(kTimes, transfer, &text);
  if (transfer.sizeBytes) AppendLine(kSizeKey, std::to_string(*transfer.sizeBytes), &text);
  text += kEndKey;
  text += '\n';
  return text;
}

std::optional<SavedTransfer> ReadSavedTransfer(const std::string& path, unsigned number) {
  const Document document = NewDocument();
  if (Config_Read(document.get(), console::ToLibraryName(path).c_str()) != Error_None) return std::nullopt;
  Reading reading;
  for (const ConfigLine* line = Config_FirstLine(document.get(), nullptr); line != nullptr;
       line = Config_NextLine(document.get(), line)) {
    char** fields = Config_GetFields(document.get(), line);
    const bool hasValue = Config_CountFields(document.get(), line) > 1;
    if (!reading.Take(fields[0], hasValue ? fields[1] : "")) return std::nullopt;
  }
  return reading.Result(number);
}

bool HasAgents(const SavedTransfer& transfer) {
  return transfer.verifies || transfer.unpacks;
}

std::string PartPath(const std::string& localPath) {
  return localPath + ".part";
}

std::optional<std::uint64_t> SizeOfFile(const std::string& path) {
  FileState state;
  std::uint64_t size = 0;
  if (File_GetState64(path.c_str(), &state, &size) != Error_None) return std::nullopt;
  return state.exists != 0 && state.isDirectory == 0 ? std::optional(size) : std::nullopt;
}

void LookAtPartFile(SavedTransfer* transfer) {
  if (transfer->isUpload) return;
  transfer->doneBytes = SizeOfFile(PartPath(transfer->localPath)).value_or(transfer->doneBytes);
}

}  // namespace tool
