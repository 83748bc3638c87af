// A record to text. Behind each field but the last stand fill characters, as many as bring the next one to
// its column, and then the delimiter, if there is one:
//
//   key    value                  fill " "
//   longer second third #comment
//
//   key   ,value                   fill " ", delimiter ","
//   longer,second
#include "config/config_format.h"

#include <algorithm>
#include <cstring>

namespace {

// ---- output ------------------------------------------------------------------------------------

void Put(ConfigOutput* output, const char* text, size_t length) {
  while (length != 0) {
    if (output->used == sizeof output->bytes - 1) iConfig_FlushOutput(output);
    const size_t count = std::min(length, sizeof output->bytes - 1 - output->used);
    memcpy(output->bytes + output->used, text, count);
    output->used += static_cast<uint32_t>(count);
    text += count;
    length -= count;
  }
}

void PutText(ConfigOutput* output, const char* text) {
  Put(output, text, strlen(text));
}

void PutRepeated(ConfigOutput* output, char c, uint64_t count) {
  for (; count != 0 && !output->hasFailed; --count) Put(output, &c, 1);
}

// ---- padding -----------------------------------------------------------------------------------

// What stands between two columns.
class Padding {
 public:
  explicit Padding(const ConfigSpec& spec)
      : fill_(spec.notField[0]), hasDelimiter_(spec.HasDelimiter()), tabSize_(std::max(spec.tabSize, 1u)) {}

  char Fill() const { return fill_; }

  // How many fill characters follow a field.
  uint64_t CountBehind(size_t length, uint64_t width, bool isLast) const {
    const uint64_t target = fill_ == '\t' ? TabTarget(width, isLast) : width + (hasDelimiter_ ? 0 : 1);
    const uint64_t step = fill_ == '\t' ? tabSize_ : 1;
    const uint64_t missing = target > length ? target - length : 0;
    const uint64_t count = (missing + step - 1) / step;
    // A header's field may be wider than its column; without a delimiter the next field must stay apart.
    const bool mustSeparate = !hasDelimiter_ && !isLast;
    return mustSeparate ? std::max<uint64_t>(count, 1) : count;
  }

 private:
  // Kept: not the next tab stop, but the width and its distance from the tab stop before; existing files are
  // laid out so.
  uint64_t TabTarget(uint64_t width, bool isLast) const {
    const uint64_t behindStop = width % tabSize_;
    const uint64_t target = width + (behindStop != 0 ? behindStop : tabSize_);
    return target + (hasDelimiter_ && !isLast ? 1 : 0);
  }

  char fill_;  // 0: fields are not padded
  bool hasDelimiter_;
  uint64_t tabSize_;
};

// ---- records -----------------------------------------------------------------------------------

uint64_t WidthOf(const ConfigWidths& widths, uint32_t column) {
  return column < widths.count ? widths.widths[column] : 0;
}

void PutFields(const ConfigSpec& spec, const ConfigFields& content, const ConfigWidths* widths,
               ConfigOutput* output) {
  const Padding padding(spec);
  for (uint32_t i = 0; i < content.count; ++i) {
    const char* const field = content.fields[i];
    const size_t length = strlen(field);
    const bool isLast = i + 1 == content.count;
    const uint64_t width = widths == nullptr ? length : WidthOf(*widths, i);
    Put(output, field, length);
    if (spec.HasNotField() && (!isLast || content.comment != nullptr)) {
      PutRepeated(output, padding.Fill(), padding.CountBehind(length, width, isLast));
    }
    if (spec.HasDelimiter() && !isLast) Put(output, &spec.delimiter, 1);
  }
}

void PutContent(const ConfigSpec& spec, const ConfigFields& content, const ConfigWidths* widths,
                ConfigOutput* output) {
  PutFields(spec, content, widths, output);
  if (content.comment != nullptr) {
    PutText(output, spec.lineComment);
    PutText(output, content.comment);
  }
  PutText(output, "\n");
}

}  // namespace

void iConfig_StartOutput(bool (*take)(void* context, const char* text, uint32_t length), void* context,
                         ConfigOutput* output) {
  output->take = take;
  output->context = context;
  output->hasFailed = false;
  output->used = 0;
}

bool iConfig_FlushOutput(ConfigOutput* output) {
  output->bytes[output->used] = '\0';
  if (!output->hasFailed && output->used != 0) {
    output->hasFailed = !output->take(output->context, output->bytes, output->used);
  }
  output->used = 0;
  return !output->hasFailed;
}

void iConfig_Widen(const ConfigFields& content, ConfigWidths* widths) {
  const uint32_t count = std::min(content.count, widths->count);
  for (uint32_t i = 0; i < count; ++i) {
    widths->widths[i] = std::max(widths->widths[i], static_cast<uint32_t>(strlen(content.fields[i])));
  }
}

bool iConfig_Format(const ConfigSpec& spec, const ConfigRecord& record, const ConfigWidths* widths,
                    ConfigOutput* output) {
  if (record.code == ConfigCode_Comment) {
    PutText(output, static_cast<const ConfigComment&>(record).text);
    PutText(output, "\n");
    return !output->hasFailed;
  }
  const ConfigFields content = iConfig_ContentOf(record);
  if (content.count != 0) PutContent(spec, content, widths, output);
  return !output->hasFailed;
}
