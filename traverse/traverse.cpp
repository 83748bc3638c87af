// The serialization context: one describe function names the fields of a record, and the mode decides what
// naming a field does.
//
//   mode          row of the method tables      a field ...
//   Init    0     0                             becomes 0, empty or null
//   New     1     1                             gets its memory, by the count that stands in the record
//   Delete  2     2                             gives its memory back
//   Read    3     5 plain, 6 swapped            is read from the stream
//   Write   4     3 plain, 4 swapped            is written to the stream
#include "qz/traverse.h"

#include <array>

#include "os/core/memory_internal.h"
#include "qz/memory.h"
#include "qz/os.h"
#include "traverse/traverse_internal.h"

namespace {

constexpr uint16_t kAllocationsPerBlock = 16;
constexpr int32_t kBigEndian = 1;
constexpr size_t kModeCount = 5;

struct ModeRows {
  TraverseRow plain;
  TraverseRow swapped;
};

// By public mode.
constexpr std::array<ModeRows, kModeCount> kRowsOfMode = {{{TraverseRow_Init, TraverseRow_Init},
                                                           {TraverseRow_New, TraverseRow_New},
                                                           {TraverseRow_Delete, TraverseRow_Delete},
                                                           {TraverseRow_Read, TraverseRow_ReadSwapped},
                                                           {TraverseRow_Write, TraverseRow_WriteSwapped}}};

// By row.
constexpr std::array<int32_t, kTraverseRowCount> kModeOfRow = {
    TraverseMode_Init,  TraverseMode_New,  TraverseMode_Delete, TraverseMode_Write,
    TraverseMode_Write, TraverseMode_Read, TraverseMode_Read};

void Install(Traverse& traverse, int32_t mode) {
  const ModeRows& rows = kRowsOfMode[static_cast<size_t>(mode)];
  iTraverse_InstallRow(traverse, traverse.isSwapped != 0 ? rows.swapped : rows.plain);
}

// A context without a stream that records no blocks.
Traverse TemporaryContext() {
  Traverse traverse{};
  iTraverse_InstallRow(traverse, TraverseRow_Init);
  return traverse;
}

// Kept: the error of before comes back afterwards, so the outcome is the result alone; callers of nested
// reads look at no other.
ErrorCode RunInMode(Traverse& traverse, int32_t mode, TraverseDescribe describe, void* argument) {
  if (iTraverse_IsStopped(traverse)) return traverse.error;
  if (describe == nullptr) return Error_Invalid;
  const ErrorCode error = traverse.error;
  const uint32_t row = traverse.row;
  traverse.error = Error_None;
  Install(traverse, mode);
  Traverse_Data(&traverse, describe, argument);
  const ErrorCode result = traverse.error;
  traverse.error = error;
  iTraverse_InstallRow(traverse, row);
  return result;
}

ErrorCode RunInStreamMode(Traverse* traverse, int32_t mode, TraverseDescribe describe, void* argument) {
  return traverse != nullptr ? RunInMode(*traverse, mode, describe, argument) : ErrorCode{Error_Invalid};
}

ErrorCode RunInMemoryMode(Traverse* traverse, int32_t mode, TraverseDescribe describe, void* argument) {
  if (traverse != nullptr) return RunInMode(*traverse, mode, describe, argument);
  Traverse temporary = TemporaryContext();
  return RunInMode(temporary, mode, describe, argument);
}

}  // namespace

void iTraverse_InstallRow(Traverse& traverse, uint32_t row) {
  if (row >= kTraverseRowCount) {
    Error("TraverseDB_SetModeIndex: Invalid Mode Index %d", static_cast<int>(row));
    return;
  }
  traverse.row = row;
  traverse.fieldMethods = &iTraverse_FieldMethods[row];
  traverse.recordMethods = &iTraverse_RecordMethods[row];
  if (traverse.database != nullptr) traverse.database->recordMethods = traverse.recordMethods;
}

Traverse* Traverse_New(int32_t networkOrder, Stream* stream) {
  auto* traverse = static_cast<Traverse*>(iMemory_NewCleared(sizeof(Traverse)));
  if (traverse == nullptr) return nullptr;
  traverse->allocations = Stack_SizedNew(kAllocationsPerBlock, sizeof(void*));
  if (traverse->allocations == nullptr) {
    Memory_Delete(traverse);
    return nullptr;
  }
  traverse->isSwapped = networkOrder != 0 && OS_GetProcessorEndian() != kBigEndian ? 1 : 0;
  traverse->stream = stream;
  iTraverse_InstallRow(*traverse, TraverseRow_Init);
  return traverse;
}

void Traverse_Delete(Traverse* traverse) {
  if (traverse == nullptr) return;
  iTraverse_Flush(*traverse);
  if (traverse->stream != nullptr) Stream_Delete(traverse->stream);
  iTraverse_FreeBlocks(traverse->allocations);
  Stack_Delete(traverse->allocations, nullptr);
  Memory_Delete(traverse->gathered);
  Memory_Delete(traverse);
}

void Traverse_SetMode(Traverse* traverse, int32_t mode) {
  if (traverse == nullptr || mode < TraverseMode_Init || mode > TraverseMode_Write) return;
  Install(*traverse, mode);
}

int32_t Traverse_GetMode(const Traverse* traverse) {
  if (traverse == nullptr) return Error_Invalid;
  return traverse->row < kTraverseRowCount ? kModeOfRow[traverse->row] : TraverseMode_Init;
}

Stream* Traverse_GetStream(Traverse* traverse) {
  if (traverse == nullptr) return nullptr;
  iTraverse_Flush(*traverse);
  return traverse->stream;
}

ErrorCode Traverse_SetError(Traverse* traverse, ErrorCode code) {
  if (traverse == nullptr) return Error_Invalid;
  traverse->error = code;
  return code;
}

ErrorCode Traverse_GetError(const Traverse* traverse) {
  return traverse != nullptr ? traverse->error : ErrorCode{Error_Invalid};
}

Traverse* Traverse_Start(Traverse* traverse) {
  if (traverse != nullptr) ++traverse->depth;
  return traverse;
}

void Traverse_End(Traverse* traverse) {
  if (traverse == nullptr || traverse->depth == 0) return;
  if (traverse->depth == 1) iTraverse_Flush(*traverse);
  if (--traverse->depth != 0) return;
  if (iTraverse_IsStopped(*traverse)) {
    iTraverse_FreeBlocks(traverse->allocations);
  } else {
    iTraverse_KeepBlocks(traverse->allocations);
  }
}

void Traverse_Data(Traverse* traverse, TraverseDescribe describe, void* argument) {
  if (traverse == nullptr || describe == nullptr) return;
  Traverse_Start(traverse);
  describe(traverse, argument);
  Traverse_End(traverse);
}

void Traverse_ModeMethodTable(Traverse* traverse, const TraverseDescribe* table, void* argument) {
  if (traverse == nullptr || table == nullptr) return;
  Traverse_Data(traverse, table[Traverse_GetMode(traverse)], argument);
}

ErrorCode Traverse_DataRead(Traverse* traverse, TraverseDescribe describe, void* argument) {
  return RunInStreamMode(traverse, TraverseMode_Read, describe, argument);
}

ErrorCode Traverse_DataWrite(Traverse* traverse, TraverseDescribe describe, void* argument) {
  return RunInStreamMode(traverse, TraverseMode_Write, describe, argument);
}

ErrorCode Traverse_DataInit(Traverse* traverse, TraverseDescribe describe, void* argument) {
  return RunInMemoryMode(traverse, TraverseMode_Init, describe, argument);
}

ErrorCode Traverse_DataNew(Traverse* traverse, TraverseDescribe describe, void* argument) {
  return RunInMemoryMode(traverse, TraverseMode_New, describe, argument);
}

ErrorCode Traverse_DataDelete(Traverse* traverse, TraverseDescribe describe, void* argument) {
  return RunInMemoryMode(traverse, TraverseMode_Delete, describe, argument);
}
