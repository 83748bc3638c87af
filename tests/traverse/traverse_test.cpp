// The serialization context: modes, the error, levels, running a describe function.
#include "qz/traverse.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qz/memory.h"
#include "qz/memorystream.h"
#include "qz/sizestream.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/traverse/traverse_fixture.h"
#include "traverse/traverse_internal.h"

namespace {

constexpr TraverseMode kModes[] = {TraverseMode_Init, TraverseMode_New, TraverseMode_Delete,
                                   TraverseMode_Read, TraverseMode_Write};

// ---- creation ------------------------------------------------------------------------------------

TEST(TraverseNew, StartsInInitWithoutAnError) {
  TestStream script;
  Traverse* traverse = Traverse_New(0, script.stream());
  EXPECT_EQ(Traverse_GetMode(traverse), TraverseMode_Init);
  EXPECT_EQ(Traverse_GetError(traverse), Error_None);
  EXPECT_EQ(Traverse_GetStream(traverse), script.stream());
  EXPECT_EQ(traverse->depth, 0u);
  EXPECT_EQ(traverse->database, nullptr);
  EXPECT_EQ(traverse->isSwapped, 0);
  EXPECT_EQ(traverse->allocations->elementSize, sizeof(void*));
  EXPECT_EQ(traverse->allocations->elementsPerBlock, 16);
  Traverse_Delete(traverse);
}

TEST(TraverseNew, SwapsForNetworkOrder) {
  Traverse* traverse = Traverse_New(7, nullptr);
  EXPECT_EQ(traverse->isSwapped, 1);
  EXPECT_EQ(Traverse_GetStream(traverse), nullptr);
  Traverse_Delete(traverse);
}

TEST(TraverseNew, LeavesTheStreamToTheCaller_WhenMemoryRunsOut) {
  TestStream script;
  int made = 0;
  FailEveryAllocation([&] {
    Traverse* traverse = Traverse_New(1, script.stream());
    if (traverse == nullptr) {
      EXPECT_EQ(script.deletions(), 0);
      return;
    }
    ++made;
    Traverse_Delete(traverse);
  });
  EXPECT_EQ(made, 1);
  EXPECT_EQ(script.deletions(), 1);
}

TEST(TraverseDelete, DeletesTheStream) {
  TestStream script;
  Traverse_Delete(Traverse_New(0, script.stream()));
  EXPECT_EQ(script.deletions(), 1);
  Traverse_Delete(Traverse_New(0, nullptr));
  Traverse_Delete(nullptr);
}

// ---- modes ---------------------------------------------------------------------------------------

TEST(TraverseSetMode, TakesTheFiveModes) {
  for (const Order order : kOrders) {
    Context context("", order);
    for (const TraverseMode mode : kModes) {
      Traverse_SetMode(context.traverse(), mode);
      EXPECT_EQ(Traverse_GetMode(context.traverse()), mode);
    }
  }
}

TEST(TraverseSetMode, InstallsTheRowOfTheByteOrder) {
  constexpr uint32_t kPlainRows[] = {0, 1, 2, 5, 3};
  constexpr uint32_t kSwappedRows[] = {0, 1, 2, 6, 4};
  for (int32_t mode = 0; mode < 5; ++mode) {
    Context plain;
    Traverse_SetMode(plain.traverse(), mode);
    EXPECT_EQ(plain.traverse()->row, kPlainRows[mode]);
    EXPECT_EQ(plain.traverse()->fieldMethods, &iTraverse_FieldMethods[kPlainRows[mode]]);
    EXPECT_EQ(plain.traverse()->recordMethods, &iTraverse_RecordMethods[kPlainRows[mode]]);
    Context swapped("", Order::Network);
    Traverse_SetMode(swapped.traverse(), mode);
    EXPECT_EQ(swapped.traverse()->row, kSwappedRows[mode]);
  }
}

TEST(TraverseSetMode, ChangesNothingForAnotherValue) {
  Context context;
  Traverse_SetMode(context.traverse(), TraverseMode_Write);
  for (const int32_t value : {5, 6, 7, -1, INT32_MAX, INT32_MIN}) {
    Traverse_SetMode(context.traverse(), value);
    EXPECT_EQ(Traverse_GetMode(context.traverse()), 4);
    EXPECT_EQ(context.traverse()->fieldMethods, &iTraverse_FieldMethods[3]);
  }
  Traverse_SetMode(nullptr, TraverseMode_Read);
}

TEST(TraverseGetMode, GivesThree_AfterAReadInNetworkOrder) {
  Context context("00 00 00 01", Order::Network);
  uint32_t value = 0;
  EXPECT_EQ(Traverse_Uns32(context.In(TraverseMode_Read), &value), Error_None);
  EXPECT_EQ(Traverse_GetMode(context.traverse()), 3);
}

TEST(TraverseGetMode, GivesInit_ForARowThatIsNone) {
  Context context;
  context.In(TraverseMode_Write);
  for (const uint32_t row : {7u, 8u, UINT32_MAX}) {
    context.traverse()->row = row;
    EXPECT_EQ(Traverse_GetMode(context.traverse()), TraverseMode_Init);
  }
  context.In(TraverseMode_Init);
}

TEST(TraverseRows, AreReportedAndLeftAlone_WhenThereIsNoSuchRow) {
  Context context;
  context.In(TraverseMode_Delete);
  ErrorCapture capture;
  iTraverse_InstallRow(*context.traverse(), 7);
  EXPECT_EQ(ErrorCapture::Lines(),
            (std::vector<std::string>{"#### Error: TraverseDB_SetModeIndex: Invalid Mode Index 7\n"}));
  EXPECT_EQ(Traverse_GetMode(context.traverse()), 2);
}

TEST(TraverseRows, AreKeptEqualInTheDatabase) {
  Context context("", Order::Network);
  TraverseDatabase database = {nullptr};
  context.traverse()->database = &database;
  Traverse_SetMode(context.traverse(), TraverseMode_Write);
  EXPECT_EQ(database.recordMethods, &iTraverse_RecordMethods[4]);
  DataRead(context.traverse(),
           [&](Traverse*) { EXPECT_EQ(database.recordMethods, &iTraverse_RecordMethods[6]); });
  EXPECT_EQ(database.recordMethods, &iTraverse_RecordMethods[4]);
}

// ---- the error -----------------------------------------------------------------------------------

TEST(TraverseSetError, StoresAndReturnsTheCode) {
  Context context;
  EXPECT_EQ(Traverse_SetError(context.traverse(), Error_Timeout), Error_Timeout);
  EXPECT_EQ(Traverse_GetError(context.traverse()), Error_Timeout);
  EXPECT_EQ(Traverse_SetError(context.traverse(), Error_None), Error_None);
  EXPECT_EQ(Traverse_GetError(context.traverse()), Error_None);
}

TEST(TraverseError, StopsEveryFurtherField) {
  Context context("01 02 03 04");
  Traverse* traverse = context.In(TraverseMode_Read);
  uint32_t number = 77;
  char* text = nullptr;
  void* block = nullptr;
  Traverse_SetError(traverse, Error_Timeout);
  EXPECT_EQ(Traverse_Uns32(traverse, &number), Error_Timeout);
  EXPECT_EQ(Traverse_NUns32(traverse, 1, &number), Error_Timeout);
  EXPECT_EQ(Traverse_FUns32(traverse, 1, &number, &number), Error_Timeout);
  uint32_t* array = &number;
  EXPECT_EQ(Traverse_BUns32(traverse, &number, &array), Error_Timeout);
  EXPECT_EQ(Traverse_String(traverse, 4, reinterpret_cast<char*>(&number)), Error_Timeout);
  EXPECT_EQ(Traverse_BString(traverse, &text), Error_Timeout);
  EXPECT_EQ(Traverse_FBString(traverse, 1, &number, &text), Error_Timeout);
  char** list = &text;
  EXPECT_EQ(Traverse_BBString(traverse, &number, &list), Error_Timeout);
  EXPECT_EQ(Traverse_Raw(traverse, 4, &number), Error_Timeout) << "the error, not a count";
  EXPECT_EQ(Traverse_MemoryStart(traverse, 4, &block), Error_Timeout);
  EXPECT_EQ(Traverse_MemoryEnd(traverse, &block), Error_Timeout);
  EXPECT_EQ(Traverse_Tag(traverse, 1, &number), Error_Timeout);
  EXPECT_EQ(Traverse_Version(traverse, 1, &number), Error_Timeout);
  EXPECT_EQ(Traverse_Validate(traverse, 0), Error_Timeout);
  EXPECT_EQ(Traverse_ObjectPtr(traverse, nullptr, &block), Error_Timeout);
  EXPECT_EQ(Traverse_Field(traverse, &number), Error_Timeout);
  EXPECT_EQ(Traverse_Class(traverse, &number), Error_Timeout);
  EXPECT_EQ(Traverse_Object(traverse, &number), Error_Timeout);
  EXPECT_EQ(Traverse_GetObject(traverse, &number), Error_Timeout);
  Time time = {5, 6};
  EXPECT_EQ(Traverse_Time(traverse, &time), Error_Timeout);
  EXPECT_EQ(time.seconds, 5u);
  FileState state = {1, 1, 2, {3, 4}};
  EXPECT_EQ(Traverse_FileState(traverse, &state), Error_Timeout);
  EXPECT_EQ(state.size, 2u);
  EXPECT_EQ(context.Rest(), "01 02 03 04");
  EXPECT_EQ(number, 77u);
  EXPECT_EQ(array, &number);
  EXPECT_EQ(block, nullptr);
}

TEST(TraverseError, StopsFieldsThatHaveNothingToDo) {
  Context context;
  uint32_t number = 0;
  Traverse_SetError(context.In(TraverseMode_New), Error_Ended);
  EXPECT_EQ(Traverse_Uns32(context.traverse(), &number), Error_Ended);
  EXPECT_EQ(Traverse_Raw(context.traverse(), 0, nullptr), Error_Ended);
}

TEST(TraverseError, LetsFieldsGoOn_AfterExceed) {
  Context context("01 02 03");
  Traverse* traverse = context.In(TraverseMode_Read);
  uint8_t number = 0;
  Traverse_SetError(traverse, Error_Exceed);
  EXPECT_EQ(Traverse_Uns8(traverse, &number), Error_None);
  EXPECT_EQ(number, 1);
  EXPECT_EQ(context.error(), Error_None) << "the next field that succeeds takes Exceed away";
}

TEST(TraverseError, KeepsExceed_OverFieldsWithoutAMethodAndRaw) {
  Context context("01 02 03");
  Traverse* traverse = context.In(TraverseMode_Read);
  uint8_t number = 0;
  void* block = nullptr;
  Traverse_SetError(traverse, Error_Exceed);
  EXPECT_EQ(Traverse_Raw(traverse, 1, &number), 1);
  EXPECT_EQ(context.error(), Error_Exceed);
  EXPECT_EQ(Traverse_MemoryEnd(traverse, &block), Error_None);
  EXPECT_EQ(Traverse_Field(traverse, nullptr), Error_None);
  EXPECT_EQ(context.error(), Error_Exceed);
}

TEST(Traverse, RefusesNull) {
  uint32_t number = 1;
  uint32_t* numbers = &number;
  char text[4] = "a";
  char* texts = text;
  char** list = &texts;
  void* block = nullptr;
  int32_t flag = 0;
  Time time = {};
  FileState state = {};
  const auto nothing = [](Traverse*, void*) { FAIL() << "was run"; };
  const TraverseDescribe table[5] = {nothing, nothing, nothing, nothing, nothing};
  EXPECT_EQ(Traverse_GetMode(nullptr), Error_Invalid);
  EXPECT_EQ(Traverse_GetStream(nullptr), nullptr);
  EXPECT_EQ(Traverse_SetError(nullptr, Error_Cancel), Error_Invalid);
  EXPECT_EQ(Traverse_GetError(nullptr), Error_Invalid);
  EXPECT_EQ(Traverse_Start(nullptr), nullptr);
  Traverse_End(nullptr);
  Traverse_Data(nullptr, nothing, nullptr);
  Traverse_ModeMethodTable(nullptr, table, nullptr);
  EXPECT_EQ(Traverse_DataRead(nullptr, nothing, nullptr), Error_Invalid);
  EXPECT_EQ(Traverse_DataWrite(nullptr, nothing, nullptr), Error_Invalid);
  EXPECT_EQ(Traverse_Tag(nullptr, 1, &number), Error_Invalid);
  EXPECT_EQ(Traverse_Version(nullptr, 1, &number), Error_Invalid);
  EXPECT_EQ(Traverse_Validate(nullptr, 1), Error_Invalid);
  EXPECT_EQ(Traverse_Field(nullptr, &number), Error_Invalid);
  EXPECT_EQ(Traverse_Class(nullptr, &number), Error_Invalid);
  EXPECT_EQ(Traverse_Object(nullptr, &number), Error_Invalid);
  EXPECT_EQ(Traverse_GetObject(nullptr, &number), Error_Invalid);
  EXPECT_EQ(Traverse_ObjectPtr(nullptr, nullptr, &block), Error_Invalid);
  EXPECT_EQ(Traverse_Uns32(nullptr, &number), Error_Invalid);
  EXPECT_EQ(Traverse_NUns32(nullptr, 1, &number), Error_Invalid);
  EXPECT_EQ(Traverse_FUns32(nullptr, 1, &number, &number), Error_Invalid);
  EXPECT_EQ(Traverse_BUns32(nullptr, &number, &numbers), Error_Invalid);
  EXPECT_EQ(Traverse_String(nullptr, 4, text), Error_Invalid);
  EXPECT_EQ(Traverse_BString(nullptr, &texts), Error_Invalid);
  EXPECT_EQ(Traverse_FBString(nullptr, 1, &number, &texts), Error_Invalid);
  EXPECT_EQ(Traverse_BBString(nullptr, &number, &list), Error_Invalid);
  EXPECT_EQ(Traverse_Raw(nullptr, 1, text), Error_Invalid);
  EXPECT_EQ(Traverse_MemoryStart(nullptr, 1, &block), Error_Invalid);
  EXPECT_EQ(Traverse_MemoryEnd(nullptr, &block), Error_Invalid);
  EXPECT_EQ(Traverse_Time(nullptr, &time), Error_Invalid);
  EXPECT_EQ(Traverse_Bool(nullptr, &flag), Error_Invalid);
  EXPECT_EQ(Traverse_FileState(nullptr, &state), Error_Invalid);
}

TEST(Traverse, RefusesNullPointers_WhereTheModeLooksAtThem) {
  uint32_t number = 1;
  char* text = nullptr;
  using Field = ErrorCode (*)(Traverse*, uint32_t*, char**);
  const Field fields[] = {
      [](Traverse* t, uint32_t*, char**) { return Traverse_Uns32(t, nullptr); },
      [](Traverse* t, uint32_t*, char**) { return Traverse_NUns32(t, 1, nullptr); },
      [](Traverse* t, uint32_t*, char**) { return Traverse_FUns32(t, 0, nullptr, nullptr); },
      [](Traverse* t, uint32_t* n, char**) { return Traverse_FUns32(t, 1, n, nullptr); },
      [](Traverse* t, uint32_t* n, char**) { return Traverse_BUns32(t, n, nullptr); },
      [](Traverse* t, uint32_t* n, char**) { return Traverse_BUns32(t, nullptr, &n); },
      [](Traverse* t, uint32_t*, char**) { return Traverse_String(t, 1, nullptr); },
      [](Traverse* t, uint32_t*, char**) { return Traverse_BString(t, nullptr); },
      [](Traverse* t, uint32_t*, char** s) { return Traverse_FBString(t, 1, nullptr, s); },
      [](Traverse* t, uint32_t* n, char**) { return Traverse_FBString(t, 1, n, nullptr); },
      [](Traverse* t, uint32_t*, char** s) { return Traverse_BBString(t, nullptr, &s); },
      [](Traverse* t, uint32_t* n, char**) { return Traverse_BBString(t, n, nullptr); },
      [](Traverse* t, uint32_t*, char**) -> ErrorCode { return Traverse_Raw(t, 1, nullptr); },
      [](Traverse* t, uint32_t* n, char**) { return Traverse_Tag(t, *n, nullptr); },
      [](Traverse* t, uint32_t* n, char**) { return Traverse_Version(t, *n, nullptr); },
      [](Traverse* t, uint32_t*, char**) { return Traverse_Time(t, nullptr); },
      [](Traverse* t, uint32_t*, char**) { return Traverse_Bool(t, nullptr); },
      [](Traverse* t, uint32_t*, char**) { return Traverse_FileState(t, nullptr); },
  };
  for (const TraverseMode mode : {TraverseMode_Read, TraverseMode_Write}) {
    for (const Field field : fields) {
      Context context("00 00 00 00 00 00 00 00");
      EXPECT_EQ(field(context.In(mode), &number, &text), Error_Invalid) << "field " << &field - fields;
      EXPECT_EQ(context.error(), Error_Invalid) << "field " << &field - fields;
      EXPECT_EQ(context.Written(), "") << "field " << &field - fields;
    }
  }
  for (const TraverseMode mode : {TraverseMode_New, TraverseMode_Delete}) {
    Context context;
    EXPECT_EQ(Traverse_Uns32(context.In(mode), nullptr), Error_None);
    EXPECT_EQ(Traverse_Time(context.traverse(), nullptr), Error_None);
  }
  Context context;
  EXPECT_EQ(Traverse_MemoryStart(context.In(TraverseMode_Init), 1, nullptr), Error_Invalid);
  Traverse_SetError(context.traverse(), Error_None);
  EXPECT_EQ(Traverse_MemoryEnd(context.In(TraverseMode_Delete), nullptr), Error_Invalid);
  Traverse_SetError(context.traverse(), Error_None);
  EXPECT_EQ(Traverse_ObjectPtr(context.In(TraverseMode_Init), nullptr, nullptr), Error_Invalid);
}

TEST(Traverse, MovesNothingWithoutAStream) {
  for (const TraverseMode mode : {TraverseMode_Read, TraverseMode_Write}) {
    Traverse* traverse = Traverse_New(0, nullptr);
    Traverse_SetMode(traverse, mode);
    uint32_t number = 0;
    EXPECT_EQ(Traverse_NUns32(traverse, 0, nullptr), Error_None) << "nothing is moved, and nothing is short";
    EXPECT_EQ(Traverse_Uns32(traverse, &number), Error_Ended);
    Traverse_SetError(traverse, Error_None);
    EXPECT_EQ(Traverse_Raw(traverse, 3, &number), 0);
    EXPECT_EQ(Traverse_GetError(traverse), Error_Ended);
    Traverse_Delete(traverse);
  }
}

// ---- levels --------------------------------------------------------------------------------------

TEST(TraverseStart, ReturnsTheTraverseAndGoesDeeper) {
  Context context;
  EXPECT_EQ(Traverse_Start(context.traverse()), context.traverse());
  EXPECT_EQ(context.traverse()->depth, 1u);
  Traverse_Start(context.traverse());
  EXPECT_EQ(context.traverse()->depth, 2u);
  Traverse_End(context.traverse());
  EXPECT_EQ(context.traverse()->depth, 1u);
  Traverse_End(context.traverse());
  Traverse_End(context.traverse());
  EXPECT_EQ(context.traverse()->depth, 0u) << "an End without a Start does nothing";
}

TEST(TraverseStart, GoesAsDeepAsWanted) {
  Context context;
  for (int i = 0; i < 100000; ++i) Traverse_Start(context.traverse());
  EXPECT_EQ(context.traverse()->depth, 100000u);
  for (int i = 0; i < 100000; ++i) Traverse_End(context.traverse());
  EXPECT_EQ(context.traverse()->depth, 0u);
}

TEST(TraverseData, RunsBetweenStartAndEndInTheModeThatIsSet) {
  Context context("01");
  context.In(TraverseMode_Read);
  struct Seen {
    uint32_t depth;
    int32_t mode;
    uint8_t number;
  } seen = {};
  Traverse_Data(
      context.traverse(),
      [](Traverse* traverse, void* argument) {
        auto* record = static_cast<Seen*>(argument);
        record->depth = traverse->depth;
        record->mode = Traverse_GetMode(traverse);
        Traverse_Uns8(traverse, &record->number);
      },
      &seen);
  EXPECT_EQ(seen.depth, 1u);
  EXPECT_EQ(seen.mode, TraverseMode_Read);
  EXPECT_EQ(seen.number, 1);
  EXPECT_EQ(context.traverse()->depth, 0u);
  Traverse_Data(context.traverse(), nullptr, &seen);
}

template <int32_t Mode>
void NoteMode(Traverse* traverse, void* argument) {
  EXPECT_EQ(traverse->depth, 1u);
  static_cast<std::vector<int32_t>*>(argument)->push_back(Mode);
}

TEST(TraverseModeMethodTable, RunsTheFunctionOfTheMode) {
  const TraverseDescribe table[5] = {NoteMode<0>, NoteMode<1>, NoteMode<2>, NoteMode<3>, NoteMode<4>};
  std::vector<int32_t> seen;
  for (const Order order : kOrders) {
    Context context("", order);
    for (const TraverseMode mode : kModes) Traverse_ModeMethodTable(context.In(mode), table, &seen);
    EXPECT_EQ(context.traverse()->depth, 0u);
  }
  EXPECT_EQ(seen, (std::vector<int32_t>{0, 1, 2, 3, 4, 0, 1, 2, 3, 4}));
}

TEST(TraverseModeMethodTable, DoesNothing_WhenTheModeHasNoFunction) {
  const TraverseDescribe table[5] = {};
  Context context;
  for (const TraverseMode mode : kModes) Traverse_ModeMethodTable(context.In(mode), table, nullptr);
  Traverse_ModeMethodTable(context.traverse(), nullptr, nullptr);
  EXPECT_EQ(context.error(), Error_None);
}

// ---- in a mode of their own ----------------------------------------------------------------------

TEST(TraverseDataInModes, RunInTheirModeAndRestoreTheTraverse) {
  using Runner = ErrorCode (*)(Traverse*, TraverseDescribe, void*);
  constexpr Runner kRuns[] = {Traverse_DataInit, Traverse_DataNew, Traverse_DataDelete, Traverse_DataRead,
                              Traverse_DataWrite};
  for (int32_t mode = 0; mode < 5; ++mode) {
    Context context;
    context.In(TraverseMode_Read);
    std::vector<int32_t> seen;
    const auto note = [](Traverse* traverse, void* argument) {
      EXPECT_EQ(traverse->depth, 1u);
      EXPECT_EQ(Traverse_GetError(traverse), Error_None);
      static_cast<std::vector<int32_t>*>(argument)->push_back(Traverse_GetMode(traverse));
    };
    Traverse_SetError(context.traverse(), Error_Exceed);
    EXPECT_EQ(kRuns[mode](context.traverse(), note, &seen), Error_None);
    EXPECT_EQ(seen, (std::vector<int32_t>{mode}));
    EXPECT_EQ(context.error(), Error_Exceed) << "the error of before";
    EXPECT_EQ(Traverse_GetMode(context.traverse()), TraverseMode_Read);
    EXPECT_EQ(context.traverse()->fieldMethods, &iTraverse_FieldMethods[5]);
    EXPECT_EQ(context.traverse()->recordMethods, &iTraverse_RecordMethods[5]);
    EXPECT_EQ(context.traverse()->depth, 0u);
  }
}

TEST(TraverseDataInModes, RestoreTheMode_WhenTheirFunctionChangesIt) {
  Context context("01 00 02", Order::Network);
  context.In(TraverseMode_New);
  uint8_t byte = 0;
  uint16_t number = 0;
  EXPECT_EQ(DataRead(context.traverse(),
                     [&](Traverse* traverse) {
                       Traverse_Uns8(traverse, &byte);
                       Traverse_SetMode(traverse, TraverseMode_Write);
                       Traverse_Uns8(traverse, &byte);
                       Traverse_SetMode(traverse, TraverseMode_Read);
                       Traverse_Uns16(traverse, &number);
                       Traverse_SetMode(traverse, TraverseMode_Delete);
                     }),
            Error_None);
  EXPECT_EQ(byte, 1);
  EXPECT_EQ(number, 2);
  EXPECT_EQ(context.Written(), "01");
  EXPECT_EQ(Traverse_GetMode(context.traverse()), TraverseMode_New);
  EXPECT_EQ(context.traverse()->fieldMethods, &iTraverse_FieldMethods[1]);
  EXPECT_EQ(context.traverse()->recordMethods, &iTraverse_RecordMethods[1]);
}

TEST(TraverseData, KeepsTheModeThatItsFunctionSets) {
  Context context;
  Traverse_Data(
      context.In(TraverseMode_Init),
      [](Traverse* traverse, void*) { Traverse_SetMode(traverse, TraverseMode_Write); }, nullptr);
  EXPECT_EQ(Traverse_GetMode(context.traverse()), TraverseMode_Write);
}

TEST(TraverseDataInModes, GiveTheFailureAsResultOnly) {
  Context context("01");
  uint32_t number = 0;
  EXPECT_EQ(DataRead(context.traverse(), [&](Traverse* traverse) { Traverse_Uns32(traverse, &number); }),
            Error_Ended);
  EXPECT_EQ(context.error(), Error_None);
}

TEST(TraverseDataInModes, ReturnAnErrorAtOnce) {
  Context context("01 02 03 04");
  Traverse_SetError(context.traverse(), Error_NoAccess);
  EXPECT_EQ(DataRead(context.traverse(), [](Traverse*) { FAIL() << "was run"; }), Error_NoAccess);
  EXPECT_EQ(Traverse_DataRead(context.traverse(), nullptr, nullptr), Error_NoAccess);
  EXPECT_EQ(context.error(), Error_NoAccess);
}

TEST(TraverseDataInModes, RefuseNoFunction) {
  Context context;
  EXPECT_EQ(Traverse_DataRead(context.traverse(), nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(Traverse_DataInit(nullptr, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(context.error(), Error_None);
}

TEST(TraverseDataInModes, RunWithoutAStreamInAContextOfTheirOwn) {
  int runs = 0;
  const auto look = [&](Traverse* traverse) {
    EXPECT_EQ(Traverse_GetStream(traverse), nullptr);
    EXPECT_EQ(traverse->allocations, nullptr);
    EXPECT_EQ(traverse->isSwapped, 0);
    EXPECT_EQ(traverse->depth, 1u);
    EXPECT_EQ(Traverse_GetMode(traverse), runs);
    ++runs;
  };
  EXPECT_EQ(DataInit(nullptr, look), Error_None);
  EXPECT_EQ(DataNew(nullptr, look), Error_None);
  EXPECT_EQ(DataDelete(nullptr, look), Error_None);
  EXPECT_EQ(runs, 3);
}

TEST(TraverseDataInit, ClearsARecordWithoutAStream) {
  uint32_t number = 5;
  uint32_t count = 6;
  uint16_t* array = reinterpret_cast<uint16_t*>(&number);
  char text[3] = "ab";
  EXPECT_EQ(DataInit(nullptr,
                     [&](Traverse* traverse) {
                       Traverse_Uns32(traverse, &number);
                       Traverse_BUns16(traverse, &count, &array);
                       Traverse_String(traverse, 3, text);
                     }),
            Error_None);
  EXPECT_EQ(number, 0u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(array, nullptr);
  EXPECT_STREQ(text, "");
}

TEST(TraverseDataNew, AllocatesClearedBlocksWithoutAStream) {
  // Garbage of the same sizes lies free for whoever does not clear.
  for (int i = 0; i < 8; ++i) {
    void* garbage = Memory_New(24);
    Memory_Set(garbage, 24, 0xAA);
    Memory_Delete(garbage);
  }
  uint32_t count = 3;
  char** list = nullptr;
  void* part = nullptr;
  const auto describe = [&](Traverse* traverse) {
    Traverse_BBString(traverse, &count, &list);
    Traverse_MemoryStart(traverse, 24, &part);
    Traverse_MemoryEnd(traverse, &part);
  };
  ASSERT_EQ(DataNew(nullptr, describe), Error_None);
  EXPECT_EQ(list[0], nullptr);
  EXPECT_EQ(list[1], nullptr);
  EXPECT_EQ(list[2], nullptr);
  EXPECT_EQ(std::string(static_cast<char*>(part), 24), std::string(24, '\0'));
  EXPECT_EQ(DataDelete(nullptr, describe), Error_None);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(part, nullptr);
}

TEST(TraverseDataNew, LeavesValidPointers_WhenItFailsWithoutATraverse) {
  FailEveryAllocation([] {
    uint32_t count = 3;
    uint32_t* numbers = nullptr;
    uint32_t listCount = 2;
    char** list = nullptr;
    void* part = nullptr;
    const auto describe = [&](Traverse* traverse) {
      Traverse_BUns32(traverse, &count, &numbers);
      Traverse_BBString(traverse, &listCount, &list);
      Traverse_MemoryStart(traverse, 8, &part);
      Traverse_MemoryEnd(traverse, &part);
    };
    const ErrorCode status = DataNew(nullptr, describe);
    EXPECT_EQ(status, part != nullptr ? Error_None : Error_Memory);
    EXPECT_EQ(DataDelete(nullptr, describe), Error_None);
  });
}

}  // namespace
