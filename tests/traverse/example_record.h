// The record that docs/formats.md shows, with a field of each kind.
#pragma once

#include <cstring>
#include <string>

#include "qz/memory.h"
#include "qz/traverse.h"

constexpr uint32_t kExampleTag = 0x6D617865;  // "exam"
constexpr uint32_t kExampleVersion = 2;

struct ExampleRecord {
  uint32_t tag;
  uint32_t version;
  int32_t isActive;
  int8_t int8;
  int16_t int16;
  int32_t int32;
  uint8_t uns8;
  uint16_t uns16;
  uint32_t uns32;
  float float32;
  double float64;
  uint16_t fixed[3];
  uint32_t bufferCount;
  uint32_t buffer[4];
  uint32_t blockCount;
  uint16_t* block;
  char text[8 + 1];
  char* allocatedText;
  char* noText;
  uint32_t textCount;
  char* texts[3];
  uint32_t listCount;
  char** list;
  uint8_t raw[3];
  Time time;
  FileState state;
  void* part;
};

inline void DescribeExample(Traverse* traverse, void* argument) {
  auto* record = static_cast<ExampleRecord*>(argument);
  Traverse_Tag(traverse, kExampleTag, &record->tag);
  Traverse_Version(traverse, kExampleVersion, &record->version);
  Traverse_Bool(traverse, &record->isActive);
  Traverse_Int8(traverse, &record->int8);
  Traverse_Int16(traverse, &record->int16);
  Traverse_Int32(traverse, &record->int32);
  Traverse_Uns8(traverse, &record->uns8);
  Traverse_Uns16(traverse, &record->uns16);
  Traverse_Uns32(traverse, &record->uns32);
  Traverse_Float32(traverse, &record->float32);
  Traverse_Float64(traverse, &record->float64);
  Traverse_NUns16(traverse, 3, record->fixed);
  Traverse_FUns32(traverse, 4, &record->bufferCount, record->buffer);
  Traverse_BUns16(traverse, &record->blockCount, &record->block);
  Traverse_String(traverse, 8, record->text);
  Traverse_BString(traverse, &record->allocatedText);
  Traverse_BString(traverse, &record->noText);
  Traverse_FBString(traverse, 3, &record->textCount, record->texts);
  Traverse_BBString(traverse, &record->listCount, &record->list);
  Traverse_Raw(traverse, 3, record->raw);
  Traverse_Time(traverse, &record->time);
  Traverse_FileState(traverse, &record->state);
  Traverse_MemoryStart(traverse, sizeof(uint16_t), &record->part);
  // The part is there while reading and writing, also in the part's own two modes.
  if (record->part != nullptr) Traverse_Uns16(traverse, static_cast<uint16_t*>(record->part));
  Traverse_MemoryEnd(traverse, &record->part);
}

inline char* NewText(const std::string& text) {
  auto* copy = static_cast<char*>(Memory_New(text.size() + 1));
  Memory_Copy(text.c_str(), copy, text.size() + 1);
  return copy;
}

// The record with the values that docs/formats.md shows; free with Traverse_DataDelete.
inline ExampleRecord NewExample() {
  ExampleRecord record = {};
  record.version = 2;
  record.isActive = 1;
  record.int8 = -2;
  record.int16 = -2;
  record.int32 = -559038737;
  record.uns8 = 200;
  record.uns16 = 4660;
  record.uns32 = 305419896;
  record.float32 = 1.5f;
  record.float64 = -2.25;
  record.fixed[0] = 1;
  record.fixed[1] = 2;
  record.fixed[2] = 3;
  record.bufferCount = 2;
  record.buffer[0] = 10;
  record.buffer[1] = 11;
  record.blockCount = 2;
  record.block = static_cast<uint16_t*>(Memory_New(4));
  record.block[0] = 1286;
  record.block[1] = 1800;
  strcpy(record.text, "abc");
  record.allocatedText = NewText("de");
  record.textCount = 2;
  record.texts[0] = NewText("f");
  record.listCount = 2;
  record.list = static_cast<char**>(Memory_New(2 * sizeof(char*)));
  record.list[0] = NewText("");
  record.list[1] = NewText("gh");
  record.raw[0] = 1;
  record.raw[1] = 2;
  record.raw[2] = 3;
  record.time = {1000000000, 500};
  record.state = {1, 0, 4096, {1, 0}};
  record.part = Memory_New(sizeof(uint16_t));
  *static_cast<uint16_t*>(record.part) = 7;
  return record;
}
