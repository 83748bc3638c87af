// What a record says of itself: tag, version, validation; blocks that are not on the stream.
#include <gtest/gtest.h>

#include <string>

#include "os/core/memory_testing.h"
#include "qz/memory.h"
#include "tests/traverse/traverse_fixture.h"

namespace {

constexpr uint32_t kTag = 0x63787276;  // "vrxc"

// ---- tag -----------------------------------------------------------------------------------------

TEST(TraverseTag, IsStoredInInit) {
  Context context;
  uint32_t tag = 0;
  EXPECT_EQ(Traverse_Tag(context.In(TraverseMode_Init), kTag, &tag), Error_None);
  EXPECT_EQ(tag, kTag);
  EXPECT_EQ(context.Written(), "");
}

TEST(TraverseTag, IsStoredAndWritten) {
  uint32_t tag = 0;
  Context plain;
  EXPECT_EQ(Traverse_Tag(plain.In(TraverseMode_Write), kTag, &tag), Error_None);
  EXPECT_EQ(tag, kTag);
  EXPECT_EQ(plain.bytes().written(), "vrxc");
  Context network("", Order::Network);
  EXPECT_EQ(Traverse_Tag(network.In(TraverseMode_Write), kTag, &tag), Error_None);
  EXPECT_EQ(network.bytes().written(), "cxrv");
}

TEST(TraverseTag, IsReadInBothOrders) {
  uint32_t tag = 0;
  Context plain("76 72 78 63");
  EXPECT_EQ(Traverse_Tag(plain.In(TraverseMode_Read), kTag, &tag), Error_None);
  EXPECT_EQ(tag, kTag);
  Context network("63 78 72 76", Order::Network);
  EXPECT_EQ(Traverse_Tag(network.In(TraverseMode_Read), kTag, &tag), Error_None);
  EXPECT_EQ(tag, kTag);
}

TEST(TraverseTag, GivesNotFound_WhenItDiffers) {
  Context context("76 72 78 73 01");
  uint32_t tag = 0;
  EXPECT_EQ(Traverse_Tag(context.In(TraverseMode_Read), kTag, &tag), Error_NotFound);
  EXPECT_EQ(tag, 0x73787276u);
  EXPECT_EQ(context.error(), Error_NotFound);
}

TEST(TraverseTag, GivesEnded_WhenItComesShort) {
  Context context("76 72 78");
  uint32_t tag = 0;
  EXPECT_EQ(Traverse_Tag(context.In(TraverseMode_Read), kTag, &tag), Error_Ended);
}

TEST(TraverseTag, GivesEnded_WhenItCannotBeWritten) {
  Context context;
  context.bytes().LimitWrites(3, Error_Exceed);
  uint32_t tag = 0;
  EXPECT_EQ(Traverse_Tag(context.In(TraverseMode_Write), kTag, &tag), Error_Ended);
}

TEST(TraverseTag, StopsTheRecordAndFreesItsBlocks_WhenItDiffers) {
  const int64_t before = iMemory_CountLive();
  {
    Context context("01 00 00 00 AA 62 61 64 21 05 00 00 00");
    uint32_t count = 0;
    uint8_t* block = nullptr;
    uint32_t tag = 0;
    uint32_t later = 99;
    EXPECT_EQ(DataRead(context.traverse(),
                       [&](Traverse* traverse) {
                         EXPECT_EQ(Traverse_BUns8(traverse, &count, &block), Error_None);
                         EXPECT_EQ(block[0], 0xAA);
                         Traverse_Tag(traverse, kTag, &tag);
                         EXPECT_EQ(Traverse_Uns32(traverse, &later), Error_NotFound);
                       }),
              Error_NotFound);
    EXPECT_EQ(later, 99u);
    EXPECT_EQ(context.Rest(), "05 00 00 00");
    EXPECT_EQ(iMemory_CountLive(), before + 2) << "the context and its stack only";
  }
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(TraverseTag, DoesNothingInNewAndDelete) {
  for (const TraverseMode mode : {TraverseMode_New, TraverseMode_Delete}) {
    Context context("76 72 78 63");
    uint32_t number = 55;
    EXPECT_EQ(Traverse_Tag(context.In(mode), kTag, &number), Error_None);
    EXPECT_EQ(Traverse_Version(context.In(mode), 9, &number), Error_None);
    EXPECT_EQ(number, 55u);
    EXPECT_EQ(context.Rest(), "76 72 78 63");
  }
}

// ---- version -------------------------------------------------------------------------------------

TEST(TraverseVersion, IsStoredInInit) {
  Context context;
  uint32_t version = 0;
  EXPECT_EQ(Traverse_Version(context.In(TraverseMode_Init), 8, &version), Error_None);
  EXPECT_EQ(version, 8u);
}

TEST(TraverseVersion, WritesTheVariableAndNotItsArgument) {
  uint32_t version = 3;
  Context plain;
  EXPECT_EQ(Traverse_Version(plain.In(TraverseMode_Write), 8, &version), Error_None);
  EXPECT_EQ(plain.Written(), "03 00 00 00");
  EXPECT_EQ(version, 3u);
  Context network("", Order::Network);
  EXPECT_EQ(Traverse_Version(network.In(TraverseMode_Write), 8, &version), Error_None);
  EXPECT_EQ(network.Written(), "00 00 00 03");
}

TEST(TraverseVersion, TakesTheOwnAndOlderOnes) {
  uint32_t version = 99;
  for (const auto& [hex, stored] : {std::pair{"08 00 00 00", 8u}, {"07 00 00 00", 7u}, {"00 00 00 00", 0u}}) {
    Context context(hex);
    EXPECT_EQ(Traverse_Version(context.In(TraverseMode_Read), 8, &version), Error_None);
    EXPECT_EQ(version, stored);
  }
  Context network("00 00 00 02", Order::Network);
  EXPECT_EQ(Traverse_Version(network.In(TraverseMode_Read), 8, &version), Error_None);
  EXPECT_EQ(version, 2u);
}

TEST(TraverseVersion, GivesNotFoundForANewerOne) {
  uint32_t version = 0;
  for (const auto& [hex, stored] : {std::pair{"09 00 00 00", 9u}, {"FF FF FF FF", 0xFFFFFFFFu}}) {
    Context context(hex);
    EXPECT_EQ(Traverse_Version(context.In(TraverseMode_Read), 8, &version), Error_NotFound);
    EXPECT_EQ(version, stored);
    EXPECT_EQ(context.error(), Error_NotFound);
  }
}

TEST(TraverseVersion, GivesEnded_WhenItComesShort) {
  Context context("01 00 00");
  uint32_t version = 0;
  EXPECT_EQ(Traverse_Version(context.In(TraverseMode_Read), 8, &version), Error_Ended);
}

// ---- validation and objects ----------------------------------------------------------------------

TEST(TraverseValidate, GivesInvalidInReadAndWriteOnly) {
  for (const Order order : kOrders) {
    for (const TraverseMode mode : {TraverseMode_Read, TraverseMode_Write}) {
      Context context("", order);
      EXPECT_EQ(Traverse_Validate(context.In(mode), 1), Error_None);
      EXPECT_EQ(Traverse_Validate(context.In(mode), -1), Error_None);
      EXPECT_EQ(Traverse_Validate(context.In(mode), 0), Error_Invalid);
      EXPECT_EQ(context.error(), Error_Invalid);
    }
  }
  for (const TraverseMode mode : {TraverseMode_Init, TraverseMode_New, TraverseMode_Delete}) {
    Context context;
    EXPECT_EQ(Traverse_Validate(context.In(mode), 0), Error_None);
    EXPECT_EQ(context.error(), Error_None);
  }
}

TEST(TraverseObjects, DoNothingInAnyMode) {
  for (const Order order : kOrders) {
    for (int32_t mode = 0; mode < 5; ++mode) {
      Context context("01 02 03 04", order);
      context.In(static_cast<TraverseMode>(mode));
      Traverse_SetError(context.traverse(), Error_Exceed);
      uint32_t object = 7;
      EXPECT_EQ(Traverse_Field(context.traverse(), &object), Error_None);
      EXPECT_EQ(Traverse_Class(context.traverse(), &object), Error_None);
      EXPECT_EQ(Traverse_Object(context.traverse(), &object), Error_None);
      EXPECT_EQ(Traverse_GetObject(context.traverse(), nullptr), Error_None);
      EXPECT_EQ(object, 7u);
      EXPECT_EQ(context.error(), Error_Exceed);
      EXPECT_EQ(context.Rest(), "01 02 03 04");
      EXPECT_EQ(context.Written(), "");
    }
  }
}

TEST(TraverseObjectPtr, BecomesNullInInit) {
  Context context;
  int unowned = 0;
  void* variable = &unowned;
  EXPECT_EQ(Traverse_ObjectPtr(context.In(TraverseMode_Init), nullptr, &variable), Error_None);
  EXPECT_EQ(variable, nullptr);
}

TEST(TraverseObjectPtr, IsFreedInDelete) {
  Context context;
  const int64_t before = iMemory_CountLive();
  void* variable = Memory_New(5);
  EXPECT_EQ(Traverse_ObjectPtr(context.In(TraverseMode_Delete), nullptr, &variable), Error_None);
  EXPECT_EQ(variable, nullptr);
  EXPECT_EQ(iMemory_CountLive(), before);
  EXPECT_EQ(Traverse_ObjectPtr(context.In(TraverseMode_Delete), nullptr, &variable), Error_None);
}

TEST(TraverseObjectPtr, StaysInTheOtherModes) {
  int unowned = 0;
  for (const TraverseMode mode : {TraverseMode_New, TraverseMode_Read, TraverseMode_Write}) {
    Context context("01 02 03 04");
    void* variable = &unowned;
    EXPECT_EQ(Traverse_ObjectPtr(context.In(mode), &unowned, &variable), Error_None);
    EXPECT_EQ(variable, &unowned);
    EXPECT_EQ(context.Rest(), "01 02 03 04");
    EXPECT_EQ(context.Written(), "");
  }
}

}  // namespace
