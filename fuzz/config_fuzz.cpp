// Documents beside a simple model: a list of records in the order of the file.
//
// The input chooses a syntax, then a row of edits; texts are lines of arbitrary bytes. After each edit the
// file that the document writes is compared with the model's, byte for byte, and so are groups, order and
// counts. At the end the written file is read into a fresh document and a fresh model.
#include <fuzzer/FuzzedDataProvider.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "config/config_internal.h"
#include "qz/config.h"
#include "qz/error.h"

namespace {

using Text = std::string;

void Check(bool holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "differs from the model: %s\n", what);
  abort();
}

struct Syntax {
  Text marker, notField;
  char delimiter;
  uint32_t tabSize, minFields, maxFields;
  bool strips, isUnique, isCaseSensitive, grabs;
  int sectionKind;  // 0: no sections, 1: "[...]", 2: also lines without fields
};

int32_t IsBracketed(uint32_t count, const char* const* fields) {
  return count != 0 && fields[0][0] == '[' ? 1 : 0;
}

int32_t IsBracketedOrEmpty(uint32_t count, const char* const* fields) {
  return count == 0 || fields[0][0] == '[' ? 1 : 0;
}

// ---- the model ---------------------------------------------------------------------------------

enum class Kind { Comment, Line, Section };

struct Record {
  Kind kind;
  int section;  // the number of the section that it belongs to, or is
  int serial;   // lines: in the order in which they were added
  Text text;    // comments
  std::vector<Text> fields;
  bool hasComment;
  Text comment;
};

struct Parsed {
  enum { Drop, Keep, Line, Section } kind = Drop;
  Text reason;
  std::vector<Text> fields;
  bool hasComment = false;
  Text comment;
};

class Model {
 public:
  explicit Model(const Syntax& syntax) : syntax_(syntax) { Empty(); }

  void Empty() {
    records_.clear();
    records_.push_back({Kind::Section, nextSection_++, 0, "", {}, false, ""});
  }

  const std::vector<Record>& Records() const { return records_; }

  void Read(const Text& bytes) {
    int current = records_[0].section;
    for (const Text& line : Lines(bytes)) Add(line, &current, false);
  }

  void Print(int section, const Text& line) { Add(line, &section, true); }

  void RemoveRecord(size_t index) { records_.erase(records_.begin() + static_cast<long>(index)); }

  void RemoveSection(int section) {
    const bool isOnly = std::all_of(records_.begin(), records_.end(),
                                    [&](const Record& record) { return record.section == section; });
    if (isOnly) return Empty();
    std::erase_if(records_, [&](const Record& record) { return record.section == section; });
  }

  void Unique(int serial) {
    const Record kept = *std::find_if(records_.begin(), records_.end(), [&](const Record& record) {
      return record.kind == Kind::Line && record.serial == serial;
    });
    std::erase_if(records_, [&](const Record& record) {
      return IsOfGroup(record, kept.section, Key(kept.fields[0])) && record.serial != serial;
    });
  }

  Text Key(Text key) const {
    for (char& c : key) {
      if (!syntax_.isCaseSensitive && c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    }
    return key;
  }

  bool IsOfGroup(const Record& record, int section, const Text& key) const {
    return record.kind == Kind::Line && record.section == section && Key(record.fields[0]) == key;
  }

  // The records of a group in the order in which they were added.
  std::vector<Record> Group(int section, const Text& key) const {
    std::vector<Record> group;
    for (const Record& record : records_) {
      if (IsOfGroup(record, section, key)) group.push_back(record);
    }
    std::sort(group.begin(), group.end(),
              [](const Record& a, const Record& b) { return a.serial < b.serial; });
    return group;
  }

  Text Written() const {
    std::vector<size_t> widths;
    for (const Record& record : records_) {
      if (record.kind != Kind::Line) continue;
      if (widths.size() < record.fields.size()) widths.resize(record.fields.size());
      for (size_t i = 0; i < record.fields.size(); ++i)
        widths[i] = std::max(widths[i], record.fields[i].size());
    }
    Text text;
    for (const Record& record : records_) text += Format(record, widths);
    return text;
  }

 private:
  // A line end is LF with all CR before it, at the end of the file CR alone.
  static std::vector<Text> Lines(const Text& bytes) {
    std::vector<Text> lines;
    for (size_t begin = 0; begin < bytes.size();) {
      size_t end = bytes.find('\n', begin);
      const size_t next = end == Text::npos ? bytes.size() : end + 1;
      if (end == Text::npos) end = bytes.size();
      while (end > begin && bytes[end - 1] == '\r') --end;
      Text line = bytes.substr(begin, end - begin);
      do {
        lines.push_back(Text(line.substr(0, 4096).c_str()));
        line.erase(0, 4096);
      } while (!line.empty());
      begin = next;
    }
    return lines;
  }

  bool IsSeparator(char c) const { return syntax_.notField.find(c) != Text::npos; }

  Text Trim(Text text) const {
    while (!text.empty() && IsSeparator(text.front())) text.erase(0, 1);
    while (!text.empty() && IsSeparator(text.back())) text.pop_back();
    return text;
  }

  // False: too many fields.
  bool Split(Text rest, std::vector<Text>* fields) const {
    if (syntax_.delimiter == 0 && syntax_.notField.empty()) {
      fields->push_back(rest);
      return true;
    }
    for (;;) {
      const bool grabs = syntax_.grabs && fields->size() + 1 == syntax_.maxFields;
      Text piece = rest;
      bool isLast = true;
      if (syntax_.delimiter != 0) {
        const size_t place = grabs ? Text::npos : rest.find(syntax_.delimiter);
        isLast = place == Text::npos;
        if (!isLast) {
          piece = rest.substr(0, place);
          rest.erase(0, place + 1);
        }
        piece = Trim(piece);
      } else if (!grabs) {
        size_t begin = 0;
        while (begin < rest.size() && IsSeparator(rest[begin])) ++begin;
        if (begin == rest.size()) return true;
        size_t end = begin;
        while (end < rest.size() && !IsSeparator(rest[end])) ++end;
        piece = rest.substr(begin, end - begin);
        rest.erase(0, end);
        isLast = rest.empty();
      }
      if (fields->size() == syntax_.maxFields) return false;
      fields->push_back(piece);
      if (isLast) return true;
    }
  }

  Parsed Parse(const Text& line) const {
    Parsed parsed;
    const bool keeps = !syntax_.marker.empty() && !syntax_.strips;
    if (keeps) parsed.kind = Parsed::Keep;
    if (line.empty()) return parsed;
    Text text = line;
    const size_t place = syntax_.marker.empty() ? Text::npos : text.find(syntax_.marker);
    if (place == 0) return parsed;
    if (place != Text::npos) {
      parsed.hasComment = keeps;
      if (keeps) parsed.comment = text.substr(place + syntax_.marker.size());
      text.erase(place);
    }
    if (!Split(text, &parsed.fields)) return Reject(parsed, "MAX");
    const bool isHeader =
        (!parsed.fields.empty() && syntax_.sectionKind != 0 && parsed.fields[0][0] == '[') ||
        (parsed.fields.empty() && syntax_.sectionKind == 2);
    if (isHeader) {
      parsed.kind = Parsed::Section;
    } else if (parsed.fields.size() >= syntax_.minFields && !parsed.fields.empty()) {
      parsed.kind = Parsed::Line;
    } else if (!parsed.fields.empty()) {
      return Reject(parsed, "MIN");
    }
    return parsed;
  }

  Parsed Reject(Parsed parsed, const char* reason) const {
    parsed.kind = syntax_.marker.empty() ? Parsed::Drop : Parsed::Keep;
    parsed.reason = reason;
    return parsed;
  }

  size_t EndOf(int section) const {
    size_t end = records_.size();
    while (records_[end - 1].section != section) --end;
    return end;
  }

  void Insert(size_t place, const Record& record) {
    records_.insert(records_.begin() + static_cast<long>(place), record);
  }

  void Keep(int section, const Text& text) {
    Insert(EndOf(section), {Kind::Comment, section, 0, text, {}, false, ""});
  }

  void Add(const Text& line, int* current, bool replaces) {
    const Parsed parsed = Parse(line);
    switch (parsed.kind) {
      case Parsed::Drop:
        return;
      case Parsed::Keep:
        return Keep(*current,
                    parsed.reason.empty() ? line : syntax_.marker + " " + parsed.reason + " " + line);
      case Parsed::Section:
        return AddSection(parsed, current);
      case Parsed::Line:
        return AddLine(line, parsed, *current, replaces);
    }
  }

  void AddSection(const Parsed& parsed, int* current) {
    for (const Record& record : records_) {
      const bool isNamed = record.kind == Kind::Section && !record.fields.empty() && !parsed.fields.empty();
      if (!isNamed || record.fields[0] != parsed.fields[0]) continue;
      *current = record.section;
      return;
    }
    const Record section{Kind::Section,     nextSection_++, 0, "", parsed.fields,
                         parsed.hasComment, parsed.comment};
    const bool replacesFirst =
        records_.size() == 1 && records_[0].section == *current && records_[0].fields.empty();
    if (replacesFirst) records_[0] = section;
    if (!replacesFirst) Insert(EndOf(*current), section);
    *current = section.section;
  }

  void AddLine(const Text& text, const Parsed& parsed, int section, bool replaces) {
    const Record line{Kind::Line,    section,           nextSerial_++, "",
                      parsed.fields, parsed.hasComment, parsed.comment};
    std::vector<Record> old = Group(section, Key(parsed.fields[0]));
    if (old.empty() || !syntax_.isUnique) return Insert(EndOf(section), line);
    const bool keeps = !syntax_.marker.empty() && !syntax_.strips;
    if (!replaces) {
      if (keeps) Keep(section, syntax_.marker + " DUP " + text);
      return;
    }
    std::reverse(old.begin(), old.end());
    // What follows the newest: the first record behind it that goes on standing.
    size_t place = 0;
    while (records_[place].kind != Kind::Line || records_[place].serial != old[0].serial) ++place;
    while (place < records_.size() && IsOfGroup(records_[place], section, Key(parsed.fields[0]))) ++place;
    const bool isBefore = place < records_.size() && records_[place].section == section;
    const size_t behind = records_.size() - place;  // counted from the end: what stands before will change
    std::erase_if(records_,
                  [&](const Record& record) { return IsOfGroup(record, section, Key(parsed.fields[0])); });
    if (isBefore) Insert(records_.size() - behind, line);
    for (const Record& retired : old) {
      if (keeps) Keep(section, syntax_.marker + " UNIQUE " + Format(retired, OwnWidths(retired)));
    }
    if (!isBefore) Insert(EndOf(section), line);
  }

  static std::vector<size_t> OwnWidths(const Record& record) {
    std::vector<size_t> widths;
    for (const Text& field : record.fields) widths.push_back(field.size());
    return widths;
  }

  Text Format(const Record& record, const std::vector<size_t>& widths) const {
    if (record.kind == Kind::Comment) return record.text + "\n";
    if (record.fields.empty()) return "";
    Text text;
    for (size_t i = 0; i < record.fields.size(); ++i) {
      const bool isLast = i + 1 == record.fields.size();
      text += record.fields[i];
      if (!syntax_.notField.empty() && (!isLast || record.hasComment)) {
        text += Text(Padding(record.fields[i].size(), i < widths.size() ? widths[i] : 0, isLast),
                     syntax_.notField[0]);
      }
      if (syntax_.delimiter != 0 && !isLast) text += syntax_.delimiter;
    }
    if (record.hasComment) text += syntax_.marker + record.comment;
    return text + "\n";
  }

  size_t Padding(size_t length, size_t width, bool isLast) const {
    size_t count = 0;
    if (syntax_.notField[0] == '\t') {
      const size_t tab = syntax_.tabSize == 0 ? 1 : syntax_.tabSize;
      const size_t target =
          width + (width % tab == 0 ? tab : width % tab) + (syntax_.delimiter != 0 && !isLast);
      while (length + count * tab < target) ++count;
    } else {
      const size_t target = width + (syntax_.delimiter == 0);
      while (length + count < target) ++count;
    }
    return count == 0 && syntax_.delimiter == 0 && !isLast ? 1 : count;
  }

  Syntax syntax_;
  std::vector<Record> records_;
  int nextSection_ = 0;
  int nextSerial_ = 0;
};

// ---- the document ------------------------------------------------------------------------------

ConfigSpec* NewSpec(const Syntax& syntax) {
  ConfigSpec* spec = ConfigSpec_Start();
  ConfigSpec_SetLineComment(spec, syntax.marker.c_str());
  ConfigSpec_SetNotField(spec, syntax.notField.c_str());
  ConfigSpec_SetFieldDelimiter(spec, syntax.delimiter);
  ConfigSpec_SetTabSize(spec, syntax.tabSize);
  ConfigSpec_SetMinFields(spec, syntax.minFields);
  ConfigSpec_SetMaxFields(spec, syntax.maxFields);
  ConfigSpec_SetStripComments(spec, syntax.strips);
  ConfigSpec_SetUniqueLines(spec, syntax.isUnique);
  ConfigSpec_SetCaseSensitive(spec, syntax.isCaseSensitive);
  ConfigSpec_SetLastFieldGrab(spec, syntax.grabs);
  if (syntax.sectionKind == 1) ConfigSpec_SetSectionMethod(spec, IsBracketed);
  if (syntax.sectionKind == 2) ConfigSpec_SetSectionMethod(spec, IsBracketedOrEmpty);
  return spec;
}

Text FileName() {
  static const Text name = "/dev/shm/qz-config-fuzz-" + std::to_string(getpid());
  return name;
}

void PutFile(const Text& bytes) {
  FILE* file = fopen(FileName().c_str(), "wb");
  Check(file != nullptr && fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size(), "a file");
  fclose(file);
}

Text GetFile() {
  Text bytes;
  FILE* file = fopen(FileName().c_str(), "rb");
  for (int c; (c = fgetc(file)) != EOF;) bytes += static_cast<char>(c);
  fclose(file);
  return bytes;
}

class Document {
 public:
  explicit Document(const Syntax& syntax) {
    ConfigSpec* spec = NewSpec(syntax);
    config_ = Config_New(spec);
    ConfigSpec_Delete(spec);
  }
  ~Document() { Config_Delete(config_); }

  Config* get() const { return config_; }

  void Read(const Text& bytes) {
    PutFile(bytes);
    Check(Config_Read(config_, FileName().c_str()) == Error_None, "reading");
  }
  Text Written() {
    Check(Config_Write(config_, FileName().c_str()) == Error_None, "writing");
    return GetFile();
  }
  // The record at a place of the model's list.
  ConfigRecord* At(size_t index) const {
    ConfigRecord* record = config_->first;
    for (; index > 0; --index) record = record->next;
    return record;
  }

 private:
  Config* config_;
};

void CompareGroup(const Model& model, const Document& document, const Record& record, size_t sectionIndex) {
  auto* section = static_cast<ConfigSection*>(document.At(sectionIndex));
  const std::vector<Record> group = model.Group(record.section, model.Key(record.fields[0]));
  const ConfigLine* line = Config_FindLine(document.get(), section, record.fields[0].c_str());
  for (const Record& expected : group) {
    Check(line != nullptr &&
              expected.fields.back() == Config_GetFields(document.get(), line)[expected.fields.size() - 1],
          "a group");
    Check(Config_GetLineSection(document.get(), line) == section, "a line's section");
    line = Config_NextLineGroup(document.get(), line);
  }
  Check(line == nullptr, "the end of a group");
}

void CompareOrder(const Model& model, const Document& document, int section, size_t sectionIndex) {
  std::vector<std::vector<signed char>> keys;
  uint32_t lines = 0;
  for (const Record& record : model.Records()) {
    if (record.kind != Kind::Line || record.section != section) continue;
    const Text key = model.Key(record.fields[0]);
    keys.emplace_back(key.begin(), key.end());
    ++lines;
  }
  std::sort(keys.begin(), keys.end());
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  auto* handle = static_cast<ConfigSection*>(document.At(sectionIndex));
  Check(Config_CountSectionLines(document.get(), handle) == lines, "the number of lines");
  const ConfigLine* line = Config_FirstAlphaLine(document.get(), handle);
  for (const auto& key : keys) {
    const Text found = line != nullptr ? model.Key(Config_GetFields(document.get(), line)[0]) : "";
    Check(line != nullptr && found == Text(key.begin(), key.end()), "the order of keys");
    line = Config_NextAlphaLine(document.get(), line);
  }
  Check(line == nullptr, "the end of the order");
}

void Compare(const Model& model, Document* document, bool looksAtOrder) {
  Check(document->Written() == model.Written(), "the written file");
  size_t sectionIndex = 0;
  for (size_t i = 0; i < model.Records().size(); ++i) {
    const Record& record = model.Records()[i];
    if (record.kind == Kind::Section) sectionIndex = i;
    if (record.kind == Kind::Section && looksAtOrder) CompareOrder(model, *document, record.section, i);
    if (record.kind == Kind::Line) CompareGroup(model, *document, record, sectionIndex);
  }
}

// ---- edits -------------------------------------------------------------------------------------

Syntax ChooseSyntax(FuzzedDataProvider* data) {
  constexpr const char* kMarkers[] = {"#", "", "//", ";"};
  constexpr const char* kNotFields[] = {"\t \n\r", " \t\n\r", "", ".\t"};
  constexpr char kDelimiters[] = {0, '=', ','};
  Syntax syntax;
  syntax.marker = data->PickValueInArray(kMarkers);
  syntax.notField = data->PickValueInArray(kNotFields);
  syntax.delimiter = data->PickValueInArray(kDelimiters);
  syntax.tabSize = data->ConsumeIntegralInRange<uint32_t>(0, 9);
  syntax.minFields = data->ConsumeIntegralInRange<uint32_t>(0, 3);
  syntax.maxFields = data->ConsumeIntegralInRange<uint32_t>(0, 4);
  syntax.strips = data->ConsumeBool();
  syntax.isUnique = data->ConsumeBool();
  syntax.isCaseSensitive = data->ConsumeBool();
  syntax.grabs = data->ConsumeBool();
  syntax.sectionKind = data->ConsumeIntegralInRange(0, 2);
  return syntax;
}

Text ChooseText(FuzzedDataProvider* data) {
  return Text(data->ConsumeRandomLengthString(data->ConsumeBool() ? 24 : 9000));
}

void Edit(FuzzedDataProvider* data, Model* model, Document* document) {
  const size_t index = data->ConsumeIntegralInRange<size_t>(0, model->Records().size() - 1);
  const Record record = model->Records()[index];
  ConfigRecord* const place = document->At(index);
  switch (data->ConsumeIntegralInRange(0, 5)) {
    case 0: {
      const Text bytes = ChooseText(data);
      document->Read(bytes);
      return model->Read(bytes);
    }
    case 1:
    case 2: {
      const Text line = Text(ChooseText(data).c_str());
      auto* section = record.kind == Kind::Section ? static_cast<ConfigSection*>(place) : nullptr;
      const ErrorCode status = Config_Print(document->get(), section, line.c_str(), nullptr);
      Check(status == (line.size() > 4096 ? Error_Exceed : Error_None), "printing");
      const int target = section != nullptr ? record.section : model->Records()[0].section;
      if (status == Error_None) model->Print(target, line);
      return;
    }
    case 3:
      if (record.kind != Kind::Line) return;
      Config_RemoveLine(document->get(), static_cast<ConfigLine*>(place));
      return model->RemoveRecord(index);
    case 4:
      if (record.kind != Kind::Line) return;
      Config_UniqueLine(document->get(), static_cast<ConfigLine*>(place));
      return model->Unique(record.serial);
    case 5:
      if (record.kind != Kind::Section) return;
      Config_RemoveSection(document->get(), static_cast<ConfigSection*>(place));
      return model->RemoveSection(record.section);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  FuzzedDataProvider data(bytes, size);
  const Syntax syntax = ChooseSyntax(&data);
  Model model(syntax);
  Document document(syntax);
  while (data.remaining_bytes() > 0) {
    Edit(&data, &model, &document);
    Compare(model, &document, data.ConsumeBool());
  }
  const Text written = document.Written();
  Model second(syntax);
  Document again(syntax);
  second.Read(written);
  again.Read(written);
  Compare(second, &again, true);
  unlink(FileName().c_str());
  return 0;
}
