// The serialization context and its two tables of methods, as the files of the family share them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "qz/error.h"
#include "qz/stack.h"
#include "qz/stream.h"
#include "qz/traverse.h"

// Rows of the method tables. Reading and writing have two each: as the bytes lie in memory, and reversed.
enum TraverseRow : uint32_t {
  TraverseRow_Init = 0,
  TraverseRow_New = 1,
  TraverseRow_Delete = 2,
  TraverseRow_Write = 3,
  TraverseRow_WriteSwapped = 4,
  TraverseRow_Read = 5,
  TraverseRow_ReadSwapped = 6,
};
constexpr size_t kTraverseRowCount = 7;

// The element types of the number fields; the index of a slot within its family.
enum class TraverseType : size_t { Int8, Int16, Int32, Uns8, Uns16, Uns32, Float32, Float64 };
constexpr size_t kTraverseTypeCount = 8;

// What a field does in one mode. Every pointer was checked by the caller; null: nothing.
using SingleMethod = ErrorCode (*)(Traverse& traverse, void* value);
using FixedMethod = ErrorCode (*)(Traverse& traverse, uint32_t count, void* array);
using CountedMethod = ErrorCode (*)(Traverse& traverse, uint32_t capacity, uint32_t* count, void* buffer);
using AllocatedMethod = ErrorCode (*)(Traverse& traverse, uint32_t* count, void** array);
using StringMethod = ErrorCode (*)(Traverse& traverse, uint32_t size, char* buffer);
using BStringMethod = ErrorCode (*)(Traverse& traverse, char** text);
using FBStringMethod = ErrorCode (*)(Traverse& traverse, uint32_t capacity, uint32_t* count, char** texts);
using BBStringMethod = ErrorCode (*)(Traverse& traverse, uint32_t* count, char*** texts);
using RawMethod = uint32_t (*)(Traverse& traverse, uint32_t count, void* bytes);
using MemoryStartMethod = ErrorCode (*)(Traverse& traverse, uint32_t size, void** block);
using MemoryEndMethod = ErrorCode (*)(Traverse& traverse, void** block);

template <typename Method>
using ForEachType = std::array<Method, kTraverseTypeCount>;

struct FieldMethods {
  ForEachType<SingleMethod> single = {};        // Int8 ... Float64
  ForEachType<FixedMethod> fixed = {};          // NInt8 ... NFloat64
  ForEachType<CountedMethod> counted = {};      // FInt8 ... FFloat64
  ForEachType<AllocatedMethod> allocated = {};  // BInt8 ... BFloat64
  StringMethod string = nullptr;
  BStringMethod bString = nullptr;
  FBStringMethod fbString = nullptr;
  BBStringMethod bbString = nullptr;
  RawMethod raw = nullptr;
  MemoryStartMethod memoryStart = nullptr;
  MemoryEndMethod memoryEnd = nullptr;
};
static_assert(sizeof(FieldMethods) == 39 * sizeof(void*));

using TagMethod = ErrorCode (*)(Traverse& traverse, uint32_t expected, uint32_t* variable);
using ValidateMethod = ErrorCode (*)(Traverse& traverse, int32_t condition);
using ObjectMethod = ErrorCode (*)(Traverse& traverse, void* object);
using ObjectPtrMethod = ErrorCode (*)(Traverse& traverse, void* argument, void** variable);

struct RecordMethods {
  TagMethod tag = nullptr;
  TagMethod version = nullptr;
  ValidateMethod validate = nullptr;
  ObjectMethod field = nullptr;  // this and the next two, and getObject: in no mode
  ObjectMethod classOf = nullptr;
  ObjectMethod object = nullptr;
  ObjectPtrMethod objectPtr = nullptr;
  ObjectMethod getObject = nullptr;
};
static_assert(sizeof(RecordMethods) == 8 * sizeof(void*));

extern const std::array<FieldMethods, kTraverseRowCount> iTraverse_FieldMethods;
extern const std::array<RecordMethods, kTraverseRowCount> iTraverse_RecordMethods;

// An object database beside a traverse: its row follows the traverse's. Nothing attaches one.
struct TraverseDatabase {
  const RecordMethods* recordMethods;
};

struct Traverse {
  int32_t isSwapped;   // 1: numbers of several bytes are reversed on the stream
  Stream* stream;      // owned; null: nothing to read from or write to
  Stack* allocations;  // of addresses (traverse_block.cpp); null: a temporary context, nothing is recorded
  ErrorCode error;     // sticky, Error_Exceed excepted
  uint32_t row;        // TraverseRow
  const FieldMethods* fieldMethods;
  const RecordMethods* recordMethods;
  uint32_t depth;  // of Traverse_Start
  TraverseDatabase* database;
  // From here on the context's own affair.
  uint8_t* gathered;  // kTraverseGatherSize bytes that wait to be written; null: every write goes out at once
  uint32_t gatheredCount;
};
static_assert(sizeof(void*) != 4 ||
              (offsetof(Traverse, stream) == 4 && offsetof(Traverse, allocations) == 8 &&
               offsetof(Traverse, error) == 12 && offsetof(Traverse, row) == 16 &&
               offsetof(Traverse, fieldMethods) == 20 && offsetof(Traverse, recordMethods) == 24 &&
               offsetof(Traverse, depth) == 28 && offsetof(Traverse, database) == 32));

constexpr uint32_t kTraverseGatherSize = 4096;

// Whether the error keeps further fields from doing anything.
inline bool iTraverse_IsStopped(const Traverse& traverse) {
  return traverse.error != Error_None && traverse.error != Error_Exceed;
}

// The rule by which every field but Raw calls its method. isUsable: the pointers of the call can be worked
// with; they are looked at only where there is a method.
// Kept: a method that succeeds takes an Error_Exceed of before away; readers of later fields continue.
template <typename Method, typename... Arguments>
ErrorCode iTraverse_Call(Traverse& traverse, bool isUsable, Method method, Arguments... arguments) {
  if (iTraverse_IsStopped(traverse)) return traverse.error;
  if (method == nullptr) return Error_None;
  traverse.error = isUsable ? method(traverse, arguments...) : ErrorCode{Error_Invalid};
  return traverse.error;
}

// Takes the methods of a row. A number that is no row is reported and changes nothing.
void iTraverse_InstallRow(Traverse& traverse, uint32_t row);

// ---- blocks ------------------------------------------------------------------------------------

// A cleared block, recorded where the traverse records; null when memory runs out or the size passes 32 bits.
void* iTraverse_NewBlock(Traverse& traverse, uint64_t size);

// Frees a block of a record in mode Delete, whether or not this traverse has recorded it; null is ignored.
void iTraverse_DeleteBlock(Traverse& traverse, void* block);

// Drops the records: the blocks stay with the data.
void iTraverse_KeepBlocks(Stack* allocations);

// Drops the records and frees every block in them.
void iTraverse_FreeBlocks(Stack* allocations);

// ---- bytes -------------------------------------------------------------------------------------

// Both give how many bytes were moved, never more than count; 0 without a stream.
uint32_t iTraverse_ReadBytes(Traverse& traverse, uint32_t count, void* buffer);
uint32_t iTraverse_WriteBytes(Traverse& traverse, uint32_t count, const void* buffer);

// Reads and drops count bytes. Error_Exceed: they were there; Error_Ended: the stream ended before.
ErrorCode iTraverse_Skip(Traverse& traverse, uint32_t count);

// From now on what is written between Start and End is gathered. Error_Memory.
ErrorCode iTraverse_GatherWrites(Traverse& traverse);

// Writes what was gathered. Less than all makes the error Error_Ended, unless one has stopped the traverse.
void iTraverse_Flush(Traverse& traverse);
