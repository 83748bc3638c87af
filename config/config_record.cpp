// The records of a document. Each is one block:
//
//   comment   | code hash next previous | text ... 0
//   line      | code hash next previous | count, comment | ring, section     | field pointers | texts
//   section   | code hash next previous | count, comment | last, keys, count | field pointers | texts
#include <cstring>

#include "config/config_internal.h"
#include "config/config_parse.h"
#include "os/core/memory_internal.h"
#include "qz/error.h"
#include "qz/memory.h"

namespace {

// A block for a record with its field pointers and texts behind it, everything copied.
template <typename Record>
Record* NewWithContent(ConfigCode code, const ConfigParsed& parsed) {
  const size_t pointersSize = parsed.content.count * sizeof(char*);
  auto* record = static_cast<Record*>(Memory_New(sizeof(Record) + pointersSize + parsed.textsSize));
  if (record == nullptr) return nullptr;
  *record = {};
  auto** const fields = reinterpret_cast<char**>(record + 1);
  char* const texts = reinterpret_cast<char*>(fields + parsed.content.count);
  memcpy(texts, parsed.texts, parsed.textsSize);
  for (uint32_t i = 0; i < parsed.content.count; ++i) {
    fields[i] = texts + (parsed.content.fields[i] - parsed.texts);
  }
  record->code = code;
  record->fieldCount = parsed.content.count;
  if (const char* const comment = parsed.content.comment; comment != nullptr) {
    record->commentAt =
        static_cast<uint32_t>(texts + (comment - parsed.texts) - reinterpret_cast<char*>(record));
  }
  return record;
}

char* Append(char* end, const char* text) {
  const size_t length = strlen(text);
  memcpy(end, text, length + 1);
  return end + length;
}

}  // namespace

ConfigLine* iConfig_NewLine(const ConfigParsed& parsed) {
  return NewWithContent<ConfigLine>(ConfigCode_Line, parsed);
}

ConfigSection* iConfig_NewSection(const ConfigParsed& parsed) {
  return NewWithContent<ConfigSection>(ConfigCode_Section, parsed);
}

ConfigSection* iConfig_NewFirstSection() {
  auto* section = static_cast<ConfigSection*>(iMemory_NewCleared(sizeof(ConfigSection)));
  if (section != nullptr) section->code = ConfigCode_Section;
  return section;
}

ConfigComment* iConfig_NewComment(const char* marker, const char* reason, const char* text) {
  const size_t prefixLength = reason != nullptr ? strlen(marker) + strlen(reason) + 2 : 0;
  // The text begins right behind the head, before the end of the type.
  auto* comment =
      static_cast<ConfigComment*>(iMemory_NewCleared(sizeof(ConfigRecord) + prefixLength + strlen(text) + 1));
  if (comment == nullptr) return nullptr;
  comment->code = ConfigCode_Comment;
  char* end = comment->text;
  if (reason != nullptr) {
    end = Append(end, marker);
    end = Append(end, " ");
    end = Append(end, reason);
    end = Append(end, " ");
  }
  Append(end, text);
  return comment;
}

void iConfig_DeleteRecord(ConfigRecord* record) {
  if (record == nullptr) return;
  switch (record->code) {
    case ConfigCode_Section:
      static_cast<ConfigSection*>(record)->keys.Free();
      break;
    case ConfigCode_Line:
    case ConfigCode_Comment:
      break;
    default:
      Error("%s", "Invalid config line!");
      return;
  }
  Memory_Delete(record);
}

void iConfig_DeleteChain(ConfigRecord* first) {
  while (first != nullptr) {
    ConfigRecord* const next = first->next;
    iConfig_DeleteRecord(first);
    first = next;
  }
}

ConfigFields iConfig_ContentOf(const ConfigRecord& record) {
  const bool isSection = record.code == ConfigCode_Section;
  const auto& row = static_cast<const ConfigRow&>(record);
  char* const begin = const_cast<char*>(reinterpret_cast<const char*>(&record));
  char* const fields = begin + (isSection ? sizeof(ConfigSection) : sizeof(ConfigLine));
  return {row.commentAt != 0 ? begin + row.commentAt : nullptr, row.fieldCount,
          reinterpret_cast<char**>(fields)};
}

const char* iConfig_NameOf(const ConfigRecord& record) {
  return iConfig_ContentOf(record).fields[0];
}
