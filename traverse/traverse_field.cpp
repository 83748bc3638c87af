// The fields of a record: one table with a row for each mode and byte order and a slot for each kind of
// field; a slot without a method does nothing in that mode. A record on the stream is its fields one after
// the other, without names or padding:
//
//                              little-endian               network order
//   Traverse_Tag, "exam"       65 78 61 6D                 6D 61 78 65
//   Traverse_Version, 1        01 00 00 00                 00 00 00 01
//   Traverse_Bool, true        01                          01
//   Traverse_FUns16, 5 and 6   02 00 00 00 05 00 06 00     00 00 00 02 00 05 00 06
//   Traverse_String, "abc"     04 00 00 00 61 62 63 00     00 00 00 04 61 62 63 00
#include <tuple>

#include "qz/traverse.h"
#include "traverse/traverse_field_number.h"
#include "traverse/traverse_field_text.h"
#include "traverse/traverse_internal.h"

namespace {

using namespace traverse_field;

// A method for each element type, in the order of TraverseType.
template <typename Shape>
constexpr auto Each() {
  return ForEachType<decltype(&Shape::template Run<1>)>{
      &Shape::template Run<1>, &Shape::template Run<2>, &Shape::template Run<4>, &Shape::template Run<1>,
      &Shape::template Run<2>, &Shape::template Run<4>, &Shape::template Run<4>, &Shape::template Run<8>};
}

constexpr FieldMethods InitRow() {
  return {.single = Each<InitSingle>(),
          .fixed = Each<InitFixed>(),
          .counted = Each<ClearCounted>(),
          .allocated = Each<InitAllocated>(),
          .string = ClearString,
          .bString = InitBString,
          .fbString = InitFBString,
          .bbString = InitBBString,
          .memoryStart = InitMemory};
}

constexpr FieldMethods NewRow() {
  return {.counted = Each<ClearCounted>(),
          .allocated = Each<NewAllocated>(),
          .bbString = NewBBString,
          .memoryStart = NewMemory};
}

constexpr FieldMethods DeleteRow() {
  return {.counted = Each<ClearCounted>(),
          .allocated = Each<DeleteAllocated>(),
          .string = ClearString,
          .bString = DeleteBString,
          .fbString = DeleteFBString,
          .bbString = DeleteBBString,
          .memoryEnd = DeleteMemory};
}

template <bool Swapped>
constexpr FieldMethods WriteRow() {
  return {.single = Each<WriteSingle<Swapped>>(),
          .fixed = Each<WriteFixed<Swapped>>(),
          .counted = Each<WriteCounted<Swapped>>(),
          .allocated = Each<WriteAllocated<Swapped>>(),
          .string = WriteString<Swapped>,
          .bString = WriteBString<Swapped>,
          .fbString = WriteFBString<Swapped>,
          .bbString = WriteBBString<Swapped>,
          .raw = WriteRaw};
}

template <bool Swapped>
constexpr FieldMethods ReadRow() {
  return {.single = Each<ReadSingle<Swapped>>(),
          .fixed = Each<ReadFixed<Swapped>>(),
          .counted = Each<ReadCounted<Swapped>>(),
          .allocated = Each<ReadAllocated<Swapped>>(),
          .string = ReadString<Swapped>,
          .bString = ReadBString<Swapped>,
          .fbString = ReadFBString<Swapped>,
          .bbString = ReadBBString<Swapped>,
          .raw = ReadRaw,
          .memoryStart = NewMemory};
}

template <TraverseType Type>
using ElementOf =
    std::tuple_element_t<static_cast<size_t>(Type),
                         std::tuple<int8_t, int16_t, int32_t, uint8_t, uint16_t, uint32_t, float, double>>;

// What the entry points have in common, for each family of numbers.

template <typename Value>
ErrorCode CallSingle(Traverse* traverse, TraverseType type, Value* value) {
  if (traverse == nullptr) return Error_Invalid;
  const SingleMethod method = traverse->fieldMethods->single[static_cast<size_t>(type)];
  return iTraverse_Call(*traverse, value != nullptr, method, static_cast<void*>(value));
}

template <typename Value>
ErrorCode CallFixed(Traverse* traverse, TraverseType type, uint32_t count, Value* array) {
  if (traverse == nullptr) return Error_Invalid;
  const FixedMethod method = traverse->fieldMethods->fixed[static_cast<size_t>(type)];
  return iTraverse_Call(*traverse, array != nullptr || count == 0, method, count, static_cast<void*>(array));
}

template <typename Value>
ErrorCode CallCounted(Traverse* traverse, TraverseType type, uint32_t capacity, uint32_t* count,
                      Value* buffer) {
  if (traverse == nullptr) return Error_Invalid;
  const CountedMethod method = traverse->fieldMethods->counted[static_cast<size_t>(type)];
  const bool isUsable = count != nullptr && (buffer != nullptr || capacity == 0);
  return iTraverse_Call(*traverse, isUsable, method, capacity, count, static_cast<void*>(buffer));
}

template <typename Value>
ErrorCode CallAllocated(Traverse* traverse, TraverseType type, uint32_t* count, Value** array) {
  if (traverse == nullptr) return Error_Invalid;
  const AllocatedMethod method = traverse->fieldMethods->allocated[static_cast<size_t>(type)];
  if (count == nullptr || array == nullptr) {
    return iTraverse_Call(*traverse, false, method, count, static_cast<void**>(nullptr));
  }
  void* block = *array;
  const ErrorCode status = iTraverse_Call(*traverse, true, method, count, &block);
  *array = static_cast<Value*>(block);
  return status;
}

}  // namespace

// In the order of TraverseRow.
constexpr std::array<FieldMethods, kTraverseRowCount> iTraverse_FieldMethods = {
    InitRow(), NewRow(), DeleteRow(), WriteRow<false>(), WriteRow<true>(), ReadRow<false>(), ReadRow<true>()};

// ---- numbers: the entry points of the four families, for one element type ------------------------

#define QZ_NUMBER_FIELDS(Type)                                                                             \
  ErrorCode Traverse_##Type(Traverse* traverse, ElementOf<TraverseType::Type>* value) {                    \
    return CallSingle(traverse, TraverseType::Type, value);                                                \
  }                                                                                                        \
  ErrorCode Traverse_N##Type(Traverse* traverse, uint32_t count, ElementOf<TraverseType::Type>* array) {   \
    return CallFixed(traverse, TraverseType::Type, count, array);                                          \
  }                                                                                                        \
  ErrorCode Traverse_F##Type(Traverse* traverse, uint32_t capacity, uint32_t* count,                       \
                             ElementOf<TraverseType::Type>* buffer) {                                      \
    return CallCounted(traverse, TraverseType::Type, capacity, count, buffer);                             \
  }                                                                                                        \
  ErrorCode Traverse_B##Type(Traverse* traverse, uint32_t* count, ElementOf<TraverseType::Type>** array) { \
    return CallAllocated(traverse, TraverseType::Type, count, array);                                      \
  }

QZ_NUMBER_FIELDS(Int8)
QZ_NUMBER_FIELDS(Int16)
QZ_NUMBER_FIELDS(Int32)
QZ_NUMBER_FIELDS(Uns8)
QZ_NUMBER_FIELDS(Uns16)
QZ_NUMBER_FIELDS(Uns32)
QZ_NUMBER_FIELDS(Float32)
QZ_NUMBER_FIELDS(Float64)

#undef QZ_NUMBER_FIELDS

// ---- texts, bytes, blocks ------------------------------------------------------------------------

ErrorCode Traverse_String(Traverse* traverse, uint32_t size, char* buffer) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, buffer != nullptr || size == 0, traverse->fieldMethods->string, size,
                        buffer);
}

ErrorCode Traverse_BString(Traverse* traverse, char** text) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, text != nullptr, traverse->fieldMethods->bString, text);
}

ErrorCode Traverse_FBString(Traverse* traverse, uint32_t capacity, uint32_t* count, char** texts) {
  if (traverse == nullptr) return Error_Invalid;
  const bool isUsable = count != nullptr && (texts != nullptr || capacity == 0);
  return iTraverse_Call(*traverse, isUsable, traverse->fieldMethods->fbString, capacity, count, texts);
}

ErrorCode Traverse_BBString(Traverse* traverse, uint32_t* count, char*** texts) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, count != nullptr && texts != nullptr, traverse->fieldMethods->bbString,
                        count, texts);
}

// Kept: gives the number of bytes, not a status, and leaves an Error_Exceed of before alone; callers compare
// the count.
int32_t Traverse_Raw(Traverse* traverse, uint32_t count, void* bytes) {
  if (traverse == nullptr) return Error_Invalid;
  if (iTraverse_IsStopped(*traverse)) return traverse->error;
  const RawMethod method = traverse->fieldMethods->raw;
  if (method == nullptr) return 0;
  if (bytes == nullptr && count != 0) return Traverse_SetError(traverse, Error_Invalid);
  return static_cast<int32_t>(method(*traverse, count, bytes));
}

ErrorCode Traverse_MemoryStart(Traverse* traverse, uint32_t size, void** block) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, block != nullptr, traverse->fieldMethods->memoryStart, size, block);
}

ErrorCode Traverse_MemoryEnd(Traverse* traverse, void** block) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, block != nullptr, traverse->fieldMethods->memoryEnd, block);
}

// ---- composed of these ---------------------------------------------------------------------------

ErrorCode Traverse_Time(Traverse* traverse, Time* time) {
  Traverse_Uns32(traverse, time != nullptr ? &time->seconds : nullptr);
  return Traverse_Uns32(traverse, time != nullptr ? &time->milliseconds : nullptr);
}

// Kept: the flag becomes 0 or 1 in every mode, writing among them; callers compare it with 1.
ErrorCode Traverse_Bool(Traverse* traverse, int32_t* flag) {
  if (flag == nullptr) return Traverse_Uns8(traverse, nullptr);
  uint8_t byte = *flag != 0 ? 1 : 0;
  const ErrorCode status = Traverse_Uns8(traverse, &byte);
  *flag = byte != 0 ? 1 : 0;
  return status;
}

ErrorCode Traverse_FileState(Traverse* traverse, FileState* state) {
  Traverse_Bool(traverse, state != nullptr ? &state->exists : nullptr);
  Traverse_Bool(traverse, state != nullptr ? &state->isDirectory : nullptr);
  Traverse_Uns32(traverse, state != nullptr ? &state->size : nullptr);
  return Traverse_Time(traverse, state != nullptr ? &state->modificationTime : nullptr);
}
