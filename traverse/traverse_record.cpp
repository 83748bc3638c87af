// What a record says of itself as a whole: its tag, its version, whether its values can be right.
//
//   | tag: Uns32 | version: Uns32 | fields ... |
//
// Both are fields like any other, so their byte order is the stream's.
#include "qz/traverse.h"
#include "traverse/traverse_internal.h"

namespace {

ErrorCode InitNumber(Traverse& /*traverse*/, uint32_t expected, uint32_t* variable) {
  *variable = expected;
  return Error_None;
}

ErrorCode WriteTag(Traverse& traverse, uint32_t tag, uint32_t* variable) {
  *variable = tag;
  return Traverse_Uns32(&traverse, variable);
}

ErrorCode ReadTag(Traverse& traverse, uint32_t tag, uint32_t* variable) {
  const ErrorCode status = Traverse_Uns32(&traverse, variable);
  if (status != Error_None) return status;
  return *variable == tag ? Error_None : Error_NotFound;
}

// Kept: the variable is what is written, not the version that was passed; callers write older layouts so.
ErrorCode WriteVersion(Traverse& traverse, uint32_t /*version*/, uint32_t* variable) {
  return Traverse_Uns32(&traverse, variable);
}

ErrorCode ReadVersion(Traverse& traverse, uint32_t version, uint32_t* variable) {
  const ErrorCode status = Traverse_Uns32(&traverse, variable);
  if (status != Error_None) return status;
  return *variable <= version ? Error_None : Error_NotFound;
}

ErrorCode Validate(Traverse& /*traverse*/, int32_t condition) {
  return condition != 0 ? Error_None : Error_Invalid;
}

ErrorCode InitPointer(Traverse& /*traverse*/, void* /*argument*/, void** variable) {
  *variable = nullptr;
  return Error_None;
}

ErrorCode DeletePointer(Traverse& traverse, void* /*argument*/, void** variable) {
  iTraverse_DeleteBlock(traverse, *variable);
  *variable = nullptr;
  return Error_None;
}

constexpr RecordMethods kInitMethods = {.tag = InitNumber, .version = InitNumber, .objectPtr = InitPointer};
constexpr RecordMethods kNewMethods = {};
constexpr RecordMethods kDeleteMethods = {.objectPtr = DeletePointer};
constexpr RecordMethods kWriteMethods = {.tag = WriteTag, .version = WriteVersion, .validate = Validate};
constexpr RecordMethods kReadMethods = {.tag = ReadTag, .version = ReadVersion, .validate = Validate};

}  // namespace

// In the order of TraverseRow; both byte orders have the same.
constexpr std::array<RecordMethods, kTraverseRowCount> iTraverse_RecordMethods = {
    kInitMethods, kNewMethods, kDeleteMethods, kWriteMethods, kWriteMethods, kReadMethods, kReadMethods};

ErrorCode Traverse_Tag(Traverse* traverse, uint32_t tag, uint32_t* variable) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, variable != nullptr, traverse->recordMethods->tag, tag, variable);
}

ErrorCode Traverse_Version(Traverse* traverse, uint32_t version, uint32_t* variable) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, variable != nullptr, traverse->recordMethods->version, version, variable);
}

ErrorCode Traverse_Validate(Traverse* traverse, int32_t condition) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, true, traverse->recordMethods->validate, condition);
}

ErrorCode Traverse_Field(Traverse* traverse, void* object) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, true, traverse->recordMethods->field, object);
}

ErrorCode Traverse_Class(Traverse* traverse, void* object) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, true, traverse->recordMethods->classOf, object);
}

ErrorCode Traverse_Object(Traverse* traverse, void* object) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, true, traverse->recordMethods->object, object);
}

ErrorCode Traverse_ObjectPtr(Traverse* traverse, void* argument, void** variable) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, variable != nullptr, traverse->recordMethods->objectPtr, argument,
                        variable);
}

ErrorCode Traverse_GetObject(Traverse* traverse, void* object) {
  if (traverse == nullptr) return Error_Invalid;
  return iTraverse_Call(*traverse, true, traverse->recordMethods->getObject, object);
}
