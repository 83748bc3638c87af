// Documents over a syntax that a test names, and files as a test types them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "qz/config.h"
#include "qz/error.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"

// What is not named is as in the default syntax.
struct Syntax {
  const char* lineComment = "#";
  const char* notField = "\t \n\r";
  char delimiter = 0;
  uint32_t tabSize = 4;
  uint32_t minFields = 1;
  uint32_t maxFields = 1;
  bool stripsComments = false;
  bool uniqueLines = true;
  bool caseSensitive = false;
  bool grabsLastField = false;
  ConfigSectionMethod sectionMethod = nullptr;
};

// "[name] ..." is a header.
inline int32_t IsBracketed(uint32_t fieldCount, const char* const* fields) {
  return fieldCount != 0 && fields[0][0] == '[' ? 1 : 0;
}

// So is a line without fields.
inline int32_t IsBracketedOrBlank(uint32_t fieldCount, const char* const* fields) {
  return fieldCount == 0 || fields[0][0] == '[' ? 1 : 0;
}

// Two fields, the form of most tests.
inline Syntax Pairs() {
  Syntax syntax;
  syntax.minFields = 2;
  syntax.maxFields = 2;
  return syntax;
}

inline Syntax PairsInSections() {
  Syntax syntax = Pairs();
  syntax.sectionMethod = IsBracketed;
  return syntax;
}

inline ConfigSpec* NewSpec(const Syntax& syntax) {
  ConfigSpec* spec = ConfigSpec_Start();
  ConfigSpec_SetLineComment(spec, syntax.lineComment);
  ConfigSpec_SetNotField(spec, syntax.notField);
  ConfigSpec_SetFieldDelimiter(spec, syntax.delimiter);
  ConfigSpec_SetTabSize(spec, syntax.tabSize);
  ConfigSpec_SetMinFields(spec, syntax.minFields);
  ConfigSpec_SetMaxFields(spec, syntax.maxFields);
  ConfigSpec_SetStripComments(spec, syntax.stripsComments ? 1 : 0);
  ConfigSpec_SetUniqueLines(spec, syntax.uniqueLines ? 1 : 0);
  ConfigSpec_SetCaseSensitive(spec, syntax.caseSensitive ? 1 : 0);
  ConfigSpec_SetLastFieldGrab(spec, syntax.grabsLastField ? 1 : 0);
  ConfigSpec_SetSectionMethod(spec, syntax.sectionMethod);
  ConfigSpec_End(spec);
  return spec;
}

// "a\n" as a text file of the system has it.
inline std::string LineEnds(const std::string& text) {
  if (!kIsWindows) return text;
  std::string bytes;
  for (const char c : text) {
    if (c == '\n') bytes += '\r';
    bytes += c;
  }
  return bytes;
}

inline std::string Join(uint32_t count, const char* const* fields) {
  std::string text;
  for (uint32_t i = 0; i < count; ++i) text += std::string("<") + fields[i] + ">";
  return text;
}

class Document {
 public:
  explicit Document(const Syntax& syntax = {}) : spec_(NewSpec(syntax)), config_(Config_New(spec_)) {
    EXPECT_NE(config_, nullptr);
  }
  // With these lines in it.
  Document(const Syntax& syntax, const std::string& bytes) : Document(syntax) { Read(bytes); }
  ~Document() {
    Config_Delete(config_);
    ConfigSpec_Delete(spec_);
  }
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

  Config* get() const { return config_; }
  // The one that the document uses.
  ConfigSpec* spec() const { return spec_; }
  const TempDir& directory() const { return directory_; }

  ErrorCode ReadStatus(const std::string& bytes) {
    directory_.Write("in", bytes);
    return Config_Read(config_, directory_.Name("in").c_str());
  }
  void Read(const std::string& bytes) { EXPECT_EQ(ReadStatus(bytes), Error_None); }

  // The bytes of a file written from the document.
  std::string Written() {
    EXPECT_EQ(Config_Write(config_, directory_.Name("out").c_str()), Error_None);
    return directory_.Read("out");
  }

  ConfigLine* Print(ConfigSection* section, const std::string& text) {
    auto* line = reinterpret_cast<ConfigLine*>(1);
    EXPECT_EQ(Config_Print(config_, section, text.c_str(), &line), Error_None) << text;
    return line;
  }
  ConfigLine* Print(const std::string& text) { return Print(nullptr, text); }

  // The section whose header begins with the name; null for none.
  ConfigSection* Section(const std::string& name) const {
    for (ConfigSection* at = Config_NextAlphaSection(config_, nullptr); at != nullptr;
         at = Config_NextAlphaSection(config_, at)) {
      if (Config_GetSectionFields(config_, at)[0] == name) return at;
    }
    return nullptr;
  }

  ConfigLine* Find(const char* key, const ConfigSection* section = nullptr) const {
    return Config_FindLine(config_, section, key);
  }

  // "<a><1>", or "none" for null.
  std::string Fields(const ConfigLine* line) const {
    if (line == nullptr) return "none";
    return Join(Config_CountFields(config_, line), Config_GetFields(config_, line));
  }

  // The data lines of a section in the order of the file: "<a><1> <b><2>".
  std::string Lines(const ConfigSection* section = nullptr) const {
    std::vector<const ConfigLine*> lines;
    const ConfigLine* first = Config_FirstLine(config_, section);
    for (const ConfigLine* at = first; at != nullptr; at = Config_NextLine(config_, at)) {
      if (Config_GetLineSection(config_, at) == Config_GetLineSection(config_, first)) lines.push_back(at);
    }
    return Listed(lines);
  }

  // The lines with a key, in their order.
  std::string Group(const char* key, const ConfigSection* section = nullptr) const {
    std::vector<const ConfigLine*> lines;
    for (const ConfigLine* at = Find(key, section); at != nullptr; at = Config_NextLineGroup(config_, at)) {
      lines.push_back(at);
    }
    return Listed(lines);
  }

  // The lines of a section in alphabetical order.
  std::string AlphaLines(const ConfigSection* section = nullptr) const {
    std::vector<const ConfigLine*> lines;
    for (const ConfigLine* at = Config_FirstAlphaLine(config_, section); at != nullptr;
         at = Config_NextAlphaLine(config_, at)) {
      lines.push_back(at);
    }
    return Listed(lines);
  }

  // The headers in the order of the file, "<>" for a section without one, as far as the walk comes.
  std::string Sections() const {
    std::string text;
    for (ConfigSection* at = Config_NextSection(config_, nullptr); at != nullptr;
         at = Config_NextSection(config_, at)) {
      text += text.empty() ? "" : " ";
      text += Header(at);
    }
    return text;
  }

  std::string AlphaSections() const {
    std::string text;
    for (ConfigSection* at = Config_NextAlphaSection(config_, nullptr); at != nullptr;
         at = Config_NextAlphaSection(config_, at)) {
      text += text.empty() ? "" : " ";
      text += Header(at);
    }
    return text;
  }

  std::string Header(const ConfigSection* section) const {
    const uint32_t count = Config_CountSectionFields(config_, section);
    return count == 0 ? "<>" : Join(count, Config_GetSectionFields(config_, section));
  }

 private:
  std::string Listed(const std::vector<const ConfigLine*>& lines) const {
    std::string text;
    for (const ConfigLine* line : lines) {
      text += text.empty() ? "" : " ";
      text += Fields(line);
    }
    return text;
  }

  TempDir directory_;
  ConfigSpec* spec_;
  Config* config_;
};
