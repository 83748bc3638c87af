// A line of text to fields, comment and kind.
//
//   line = [ field { separator field } ] [ marker comment ]
//
// 1. The first marker ends the fields, wherever it stands.
// 2. What stands before it is split: at a delimiter; else into runs of the characters that a field may have;
//    else it is one field.
// 3. The section method decides whether the line is a header, then the number of fields whether it is data.
// 4. Everything else is kept as a comment, or dropped.
#include "config/config_parse.h"

#include <cstring>

#include "os/text/byteset_internal.h"

namespace {

constexpr char kTooFewFields[] = "MIN";
constexpr char kTooManyFields[] = "MAX";

struct Span {
  const char* begin;
  const char* end;

  bool IsEmpty() const { return begin == end; }
  size_t Length() const { return static_cast<size_t>(end - begin); }
};

char* StoreText(Span text, ConfigParsed* parsed) {
  char* const stored = parsed->texts + parsed->textsSize;
  memcpy(stored, text.begin, text.Length());
  stored[text.Length()] = '\0';
  parsed->textsSize += static_cast<uint32_t>(text.Length()) + 1;
  return stored;
}

class Splitter {
 public:
  Splitter(const ConfigSpec& spec, ConfigParsed* parsed)
      : spec_(spec), parsed_(parsed), notField_(spec.notField) {}

  // False when there are more fields than the syntax allows.
  bool Split(Span text) {
    if (spec_.HasDelimiter()) return SplitAtDelimiters(text);
    if (spec_.HasNotField()) return SplitIntoRuns(text);
    Store(text);
    return true;
  }

 private:
  bool IsFull() const { return parsed_->content.count == spec_.maxFields; }
  bool IsAtGrab() const {
    return spec_.GrabsLastField() && uint64_t{parsed_->content.count} + 1 == spec_.maxFields;
  }

  void Store(Span field) { parsed_->fields[parsed_->content.count++] = StoreText(field, parsed_); }

  Span Trim(Span text) const {
    while (!text.IsEmpty() && notField_.Has(*text.begin)) ++text.begin;
    while (!text.IsEmpty() && notField_.Has(text.end[-1])) --text.end;
    return text;
  }

  // Two delimiters with nothing between them have an empty field between them; one at the end has one behind
  // it.
  bool SplitAtDelimiters(Span rest) {
    for (;;) {
      const auto* delimiter = static_cast<const char*>(memchr(rest.begin, spec_.delimiter, rest.Length()));
      if (IsAtGrab()) delimiter = nullptr;
      if (IsFull()) return false;
      Store(Trim({rest.begin, delimiter != nullptr ? delimiter : rest.end}));
      if (delimiter == nullptr) return true;
      rest.begin = delimiter + 1;
    }
  }

  // The next run; empty when there is none.
  Span FindRun(Span rest) const {
    while (!rest.IsEmpty() && notField_.Has(*rest.begin)) ++rest.begin;
    Span run{rest.begin, rest.begin};
    while (run.end != rest.end && !notField_.Has(*run.end)) ++run.end;
    return run;
  }

  bool SplitIntoRuns(Span rest) {
    while (!rest.IsEmpty()) {
      // Kept: a last field that takes the rest keeps the separators before it; such values have always been
      // stored so.
      const Span run = IsAtGrab() ? rest : FindRun(rest);
      if (run.IsEmpty()) return true;
      if (IsFull()) return false;
      Store(run);
      rest.begin = run.end;
    }
    return true;
  }

  const ConfigSpec& spec_;
  ConfigParsed* parsed_;
  const ByteSet notField_;
};

// Cuts the comment off. False when the line has nothing before it.
bool TakeComment(const ConfigSpec& spec, Span* text, Span* comment) {
  const char* marker = spec.HasLineComment() ? strstr(text->begin, spec.lineComment) : nullptr;
  if (marker == nullptr) return true;
  if (marker == text->begin) return false;
  if (!spec.StripsComments()) *comment = {marker + strlen(spec.lineComment), text->end};
  text->end = marker;
  return true;
}

ConfigLineKind KindOf(const ConfigSpec& spec, ConfigParsed* parsed) {
  const ConfigFields& content = parsed->content;
  if (spec.IsSectionHeader(content.count, content.fields)) return ConfigLineKind::Section;
  if (content.count == 0) return ConfigLineKind::Comment;
  if (content.count >= spec.minFields) return ConfigLineKind::Line;
  parsed->reason = kTooFewFields;
  return ConfigLineKind::Comment;
}

ConfigLineKind Parse(const ConfigSpec& spec, Span text, ConfigParsed* parsed) {
  Span comment{nullptr, nullptr};
  if (text.IsEmpty()) return ConfigLineKind::Comment;
  if (!TakeComment(spec, &text, &comment)) return ConfigLineKind::Comment;
  if (!Splitter(spec, parsed).Split(text)) {
    parsed->reason = kTooManyFields;
    return ConfigLineKind::Comment;
  }
  if (comment.begin != nullptr) parsed->content.comment = StoreText(comment, parsed);
  return KindOf(spec, parsed);
}

// Rejected lines are kept even where comments are stripped: somebody must see them.
bool IsKept(const ConfigSpec& spec, const ConfigParsed& parsed) {
  return spec.HasLineComment() && (!spec.StripsComments() || parsed.reason != nullptr);
}

}  // namespace

void iConfig_Parse(const ConfigSpec& spec, const char* text, uint32_t length, ConfigParsed* parsed) {
  parsed->reason = nullptr;
  parsed->content = {nullptr, 0, parsed->fields};
  parsed->textsSize = 0;
  parsed->kind = Parse(spec, {text, text + length}, parsed);
  if (parsed->kind == ConfigLineKind::Comment && !IsKept(spec, *parsed))
    parsed->kind = ConfigLineKind::Dropped;
}
