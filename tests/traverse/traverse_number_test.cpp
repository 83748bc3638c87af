// Numbers: single, N, F and B, for each element type, in each mode and byte order.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "os/core/memory_testing.h"
#include "qz/memory.h"
#include "tests/traverse/traverse_fixture.h"

namespace {

// An element type: its functions, and three values with their bytes, typed by hand.
struct Int8Fields {
  using Value = int8_t;
  static constexpr auto Single = Traverse_Int8;
  static constexpr auto Fixed = Traverse_NInt8;
  static constexpr auto Counted = Traverse_FInt8;
  static constexpr auto Allocated = Traverse_BInt8;
  static constexpr Value kValues[3] = {1, -2, 127};
  static constexpr const char* kPlain[3] = {"01", "FE", "7F"};
  static constexpr const char* kNetwork[3] = {"01", "FE", "7F"};
};
struct Int16Fields {
  using Value = int16_t;
  static constexpr auto Single = Traverse_Int16;
  static constexpr auto Fixed = Traverse_NInt16;
  static constexpr auto Counted = Traverse_FInt16;
  static constexpr auto Allocated = Traverse_BInt16;
  static constexpr Value kValues[3] = {1, -2, 0x1234};
  static constexpr const char* kPlain[3] = {"01 00", "FE FF", "34 12"};
  static constexpr const char* kNetwork[3] = {"00 01", "FF FE", "12 34"};
};
struct Int32Fields {
  using Value = int32_t;
  static constexpr auto Single = Traverse_Int32;
  static constexpr auto Fixed = Traverse_NInt32;
  static constexpr auto Counted = Traverse_FInt32;
  static constexpr auto Allocated = Traverse_BInt32;
  static constexpr Value kValues[3] = {1, -2, 0x12345678};
  static constexpr const char* kPlain[3] = {"01 00 00 00", "FE FF FF FF", "78 56 34 12"};
  static constexpr const char* kNetwork[3] = {"00 00 00 01", "FF FF FF FE", "12 34 56 78"};
};
struct Uns8Fields {
  using Value = uint8_t;
  static constexpr auto Single = Traverse_Uns8;
  static constexpr auto Fixed = Traverse_NUns8;
  static constexpr auto Counted = Traverse_FUns8;
  static constexpr auto Allocated = Traverse_BUns8;
  static constexpr Value kValues[3] = {1, 254, 127};
  static constexpr const char* kPlain[3] = {"01", "FE", "7F"};
  static constexpr const char* kNetwork[3] = {"01", "FE", "7F"};
};
struct Uns16Fields {
  using Value = uint16_t;
  static constexpr auto Single = Traverse_Uns16;
  static constexpr auto Fixed = Traverse_NUns16;
  static constexpr auto Counted = Traverse_FUns16;
  static constexpr auto Allocated = Traverse_BUns16;
  static constexpr Value kValues[3] = {1, 65534, 0x1234};
  static constexpr const char* kPlain[3] = {"01 00", "FE FF", "34 12"};
  static constexpr const char* kNetwork[3] = {"00 01", "FF FE", "12 34"};
};
struct Uns32Fields {
  using Value = uint32_t;
  static constexpr auto Single = Traverse_Uns32;
  static constexpr auto Fixed = Traverse_NUns32;
  static constexpr auto Counted = Traverse_FUns32;
  static constexpr auto Allocated = Traverse_BUns32;
  static constexpr Value kValues[3] = {1, 4294967294u, 0x12345678};
  static constexpr const char* kPlain[3] = {"01 00 00 00", "FE FF FF FF", "78 56 34 12"};
  static constexpr const char* kNetwork[3] = {"00 00 00 01", "FF FF FF FE", "12 34 56 78"};
};
struct Float32Fields {
  using Value = float;
  static constexpr auto Single = Traverse_Float32;
  static constexpr auto Fixed = Traverse_NFloat32;
  static constexpr auto Counted = Traverse_FFloat32;
  static constexpr auto Allocated = Traverse_BFloat32;
  static constexpr Value kValues[3] = {1.0f, 1.5f, -2.0f};
  static constexpr const char* kPlain[3] = {"00 00 80 3F", "00 00 C0 3F", "00 00 00 C0"};
  static constexpr const char* kNetwork[3] = {"3F 80 00 00", "3F C0 00 00", "C0 00 00 00"};
};
struct Float64Fields {
  using Value = double;
  static constexpr auto Single = Traverse_Float64;
  static constexpr auto Fixed = Traverse_NFloat64;
  static constexpr auto Counted = Traverse_FFloat64;
  static constexpr auto Allocated = Traverse_BFloat64;
  static constexpr Value kValues[3] = {1.0, -2.25, 0.1};
  static constexpr const char* kPlain[3] = {"00 00 00 00 00 00 F0 3F", "00 00 00 00 00 00 02 C0",
                                            "9A 99 99 99 99 99 B9 3F"};
  static constexpr const char* kNetwork[3] = {"3F F0 00 00 00 00 00 00", "C0 02 00 00 00 00 00 00",
                                              "3F B9 99 99 99 99 99 9A"};
};

template <typename Fields>
class TraverseNumbers : public testing::Test {
 protected:
  static std::string Element(int i, Order order) {
    return order == Order::Plain ? Fields::kPlain[i] : Fields::kNetwork[i];
  }
  static std::string Elements(Order order) {
    return Element(0, order) + " " + Element(1, order) + " " + Element(2, order);
  }
  static std::string Three(Order order) { return order == Order::Plain ? "03 00 00 00" : "00 00 00 03"; }
};

using AllTypes = testing::Types<Int8Fields, Int16Fields, Int32Fields, Uns8Fields, Uns16Fields, Uns32Fields,
                                Float32Fields, Float64Fields>;
TYPED_TEST_SUITE(TraverseNumbers, AllTypes);

// ---- one value -----------------------------------------------------------------------------------

TYPED_TEST(TraverseNumbers, AreWritten) {
  for (const Order order : kOrders) {
    for (int i = 0; i < 3; ++i) {
      Context context("", order);
      typename TypeParam::Value value = TypeParam::kValues[i];
      EXPECT_EQ(TypeParam::Single(context.In(TraverseMode_Write), &value), Error_None);
      EXPECT_EQ(context.Written(), this->Element(i, order));
      EXPECT_EQ(value, TypeParam::kValues[i]) << "the caller's value is as it was";
    }
  }
}

TYPED_TEST(TraverseNumbers, AreRead) {
  for (const Order order : kOrders) {
    for (int i = 0; i < 3; ++i) {
      Context context(this->Element(i, order) + " 55", order);
      typename TypeParam::Value value = 3;
      EXPECT_EQ(TypeParam::Single(context.In(TraverseMode_Read), &value), Error_None);
      EXPECT_EQ(value, TypeParam::kValues[i]);
      EXPECT_EQ(context.Rest(), "55");
    }
  }
}

TYPED_TEST(TraverseNumbers, GiveEnded_WhenTheyComeShort) {
  for (const Order order : kOrders) {
    const std::string hex = this->Element(1, order);
    Context context(hex.substr(0, hex.size() - 2), order);
    typename TypeParam::Value value = 3;
    EXPECT_EQ(TypeParam::Single(context.In(TraverseMode_Read), &value), Error_Ended);
    Context full("", order);
    full.bytes().LimitWrites(sizeof value - 1, Error_Exceed);
    EXPECT_EQ(TypeParam::Single(full.In(TraverseMode_Write), &value), Error_Ended);
  }
}

TYPED_TEST(TraverseNumbers, AreClearedInInitOnly) {
  Context context("11 22 33 44 55 66 77 88");
  typename TypeParam::Value value = TypeParam::kValues[1];
  EXPECT_EQ(TypeParam::Single(context.In(TraverseMode_New), &value), Error_None);
  EXPECT_EQ(TypeParam::Single(context.In(TraverseMode_Delete), &value), Error_None);
  EXPECT_EQ(value, TypeParam::kValues[1]);
  EXPECT_EQ(TypeParam::Single(context.In(TraverseMode_Init), &value), Error_None);
  EXPECT_EQ(value, 0);
  EXPECT_EQ(context.Rest(), "11 22 33 44 55 66 77 88");
}

// ---- N -------------------------------------------------------------------------------------------

TYPED_TEST(TraverseNumbers, OfAFixedCountAreWritten) {
  for (const Order order : kOrders) {
    Context context("", order);
    typename TypeParam::Value values[3];
    std::copy_n(TypeParam::kValues, 3, values);
    EXPECT_EQ(TypeParam::Fixed(context.In(TraverseMode_Write), 3, values), Error_None);
    EXPECT_EQ(context.Written(), this->Elements(order));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(values[i], TypeParam::kValues[i]);
    EXPECT_EQ(TypeParam::Fixed(context.traverse(), 0, nullptr), Error_None);
    EXPECT_EQ(context.Written(), this->Elements(order));
  }
}

TYPED_TEST(TraverseNumbers, OfAFixedCountAreRead) {
  for (const Order order : kOrders) {
    Context context(this->Elements(order) + " 55", order);
    typename TypeParam::Value values[4] = {9, 9, 9, 9};
    EXPECT_EQ(TypeParam::Fixed(context.In(TraverseMode_Read), 3, values), Error_None);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(values[i], TypeParam::kValues[i]);
    EXPECT_EQ(values[3], 9);
    EXPECT_EQ(context.Rest(), "55");
    EXPECT_EQ(TypeParam::Fixed(context.traverse(), 0, nullptr), Error_None);
  }
}

TYPED_TEST(TraverseNumbers, OfAFixedCountGiveEnded_WhenTheyComeShort) {
  for (const Order order : kOrders) {
    const std::string hex = this->Elements(order);
    Context context(hex.substr(0, hex.size() - 2), order);
    typename TypeParam::Value values[3] = {};
    EXPECT_EQ(TypeParam::Fixed(context.In(TraverseMode_Read), 3, values), Error_Ended);
    Context full("", order);
    full.bytes().LimitWrites(3 * sizeof values[0] - 1, Error_Exceed);
    EXPECT_EQ(TypeParam::Fixed(full.In(TraverseMode_Write), 3, values), Error_Ended);
  }
}

TYPED_TEST(TraverseNumbers, OfAFixedCountAreClearedInInitOnly) {
  Context context;
  typename TypeParam::Value values[4] = {9, 9, 9, 9};
  EXPECT_EQ(TypeParam::Fixed(context.In(TraverseMode_New), 3, values), Error_None);
  EXPECT_EQ(TypeParam::Fixed(context.In(TraverseMode_Delete), 3, values), Error_None);
  EXPECT_EQ(values[0], 9);
  EXPECT_EQ(TypeParam::Fixed(context.In(TraverseMode_Init), 3, values), Error_None);
  EXPECT_EQ(values[0], 0);
  EXPECT_EQ(values[2], 0);
  EXPECT_EQ(values[3], 9);
}

// ---- F -------------------------------------------------------------------------------------------

TYPED_TEST(TraverseNumbers, InABufferAreWrittenWithTheirCount) {
  for (const Order order : kOrders) {
    Context context("", order);
    typename TypeParam::Value values[3];
    std::copy_n(TypeParam::kValues, 3, values);
    uint32_t count = 3;
    EXPECT_EQ(TypeParam::Counted(context.In(TraverseMode_Write), 1, &count, values), Error_None)
        << "a writer does not look at the capacity";
    EXPECT_EQ(context.Written(), this->Three(order) + " " + this->Elements(order));
    EXPECT_EQ(count, 3u);
  }
}

TYPED_TEST(TraverseNumbers, InABufferAreRead) {
  for (const Order order : kOrders) {
    Context context(this->Three(order) + " " + this->Elements(order) + " 55", order);
    typename TypeParam::Value values[4] = {9, 9, 9, 9};
    uint32_t count = 77;
    EXPECT_EQ(TypeParam::Counted(context.In(TraverseMode_Read), 4, &count, values), Error_None);
    EXPECT_EQ(count, 3u);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(values[i], TypeParam::kValues[i]);
    EXPECT_EQ(values[3], 9);
    EXPECT_EQ(context.Rest(), "55");
  }
}

TYPED_TEST(TraverseNumbers, ThatFillTheirBufferAreReadAndGiveExceed) {
  for (const Order order : kOrders) {
    Context context(this->Three(order) + " " + this->Elements(order) + " 55", order);
    typename TypeParam::Value values[3] = {};
    uint32_t count = 77;
    EXPECT_EQ(TypeParam::Counted(context.In(TraverseMode_Read), 3, &count, values), Error_Exceed);
    EXPECT_EQ(count, 3u);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(values[i], TypeParam::kValues[i]);
    EXPECT_EQ(context.Rest(), "55");
    EXPECT_EQ(context.error(), Error_Exceed);
  }
}

TYPED_TEST(TraverseNumbers, BeyondTheirBufferTakeTheRestOfTheStream) {
  for (const Order order : kOrders) {
    Context context(this->Three(order) + " " + this->Elements(order) + " 55 66", order);
    typename TypeParam::Value values[3] = {9, 9, 9};
    uint32_t count = 77;
    EXPECT_EQ(TypeParam::Counted(context.In(TraverseMode_Read), 2, &count, values), Error_Ended);
    EXPECT_EQ(count, 3u) << "the count of the stream";
    EXPECT_EQ(values[0], TypeParam::kValues[0]);
    EXPECT_EQ(values[1], TypeParam::kValues[1]);
    EXPECT_EQ(values[2], 9);
    EXPECT_EQ(context.Rest(), "");
  }
}

TYPED_TEST(TraverseNumbers, InABufferGiveEnded_WhenTheyComeShort) {
  for (const Order order : kOrders) {
    typename TypeParam::Value values[3] = {};
    uint32_t count = 77;
    Context prefix("03 00 00", order);
    EXPECT_EQ(TypeParam::Counted(prefix.In(TraverseMode_Read), 3, &count, values), Error_Ended);
    EXPECT_EQ(count, 0u);
    for (const uint32_t capacity : {2u, 3u, 4u}) {
      const std::string hex = this->Three(order) + " " + this->Elements(order);
      Context elements(hex.substr(0, capacity == 2 ? 12 : hex.size() - 2), order);
      EXPECT_EQ(TypeParam::Counted(elements.In(TraverseMode_Read), capacity, &count, values), Error_Ended);
      EXPECT_EQ(count, 3u);
    }
    for (const size_t limit : {size_t{3}, 4 + 3 * sizeof values[0] - 1}) {
      Context full("", order);
      full.bytes().LimitWrites(limit, Error_Exceed);
      count = 3;
      EXPECT_EQ(TypeParam::Counted(full.In(TraverseMode_Write), 3, &count, values), Error_Ended);
    }
  }
}

TYPED_TEST(TraverseNumbers, InABufferLoseTheirCountInTheOtherModes) {
  for (const TraverseMode mode : {TraverseMode_Init, TraverseMode_New, TraverseMode_Delete}) {
    Context context;
    typename TypeParam::Value values[1] = {9};
    uint32_t count = 1;
    EXPECT_EQ(TypeParam::Counted(context.In(mode), 1, &count, values), Error_None);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(values[0], 9);
    count = 1;
    EXPECT_EQ(TypeParam::Counted(context.In(mode), 0, &count, nullptr), Error_None);
  }
}

TYPED_TEST(TraverseNumbers, InNoBufferMayBeNone) {
  for (const Order order : kOrders) {
    Context context("00 00 00 00", order);
    uint32_t count = 77;
    EXPECT_EQ(TypeParam::Counted(context.In(TraverseMode_Read), 0, &count, nullptr), Error_None);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(TypeParam::Counted(context.In(TraverseMode_Write), 0, &count, nullptr), Error_None);
    EXPECT_EQ(context.Written(), "00 00 00 00");
    count = 1;
    EXPECT_EQ(TypeParam::Counted(context.traverse(), 0, &count, nullptr), Error_Invalid);
    EXPECT_EQ(context.Written(), "00 00 00 00");
  }
}

// ---- B -------------------------------------------------------------------------------------------

TYPED_TEST(TraverseNumbers, InABlockAreWrittenWithTheirCount) {
  for (const Order order : kOrders) {
    Context context("", order);
    typename TypeParam::Value values[3];
    std::copy_n(TypeParam::kValues, 3, values);
    typename TypeParam::Value* array = values;
    uint32_t count = 3;
    EXPECT_EQ(TypeParam::Allocated(context.In(TraverseMode_Write), &count, &array), Error_None);
    EXPECT_EQ(context.Written(), this->Three(order) + " " + this->Elements(order));
    EXPECT_EQ(array, values);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(values[i], TypeParam::kValues[i]);
  }
}

TYPED_TEST(TraverseNumbers, InABlockAreRead) {
  for (const Order order : kOrders) {
    Context context(this->Three(order) + " " + this->Elements(order) + " 55", order);
    typename TypeParam::Value* array = nullptr;
    uint32_t count = 77;
    const auto describe = [&](Traverse* traverse) { TypeParam::Allocated(traverse, &count, &array); };
    ASSERT_EQ(DataRead(context.traverse(), describe), Error_None);
    ASSERT_EQ(count, 3u);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(array[i], TypeParam::kValues[i]);
    EXPECT_EQ(context.Rest(), "55");
    Memory_Delete(array);
  }
}

TYPED_TEST(TraverseNumbers, InABlockAreNone_ForACountOfZero) {
  for (const Order order : kOrders) {
    Context context("00 00 00 00", order);
    typename TypeParam::Value unowned = 0;
    typename TypeParam::Value* array = &unowned;
    uint32_t count = 77;
    const int64_t before = iMemory_CountLive();
    EXPECT_EQ(TypeParam::Allocated(context.In(TraverseMode_Read), &count, &array), Error_None);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(iMemory_CountLive(), before);
    EXPECT_EQ(TypeParam::Allocated(context.In(TraverseMode_Write), &count, &array), Error_None);
    EXPECT_EQ(context.Written(), "00 00 00 00");
  }
}

TYPED_TEST(TraverseNumbers, InABlockGiveEnded_WhenTheyComeShort) {
  for (const Order order : kOrders) {
    typename TypeParam::Value unowned = 0;
    typename TypeParam::Value* array = &unowned;
    uint32_t count = 77;
    Context prefix("03 00 00", order);
    EXPECT_EQ(TypeParam::Allocated(prefix.In(TraverseMode_Read), &count, &array), Error_Ended);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(array, nullptr);
    const std::string hex = this->Three(order) + " " + this->Elements(order);
    const int64_t before = iMemory_CountLive();
    {
      Context elements(hex.substr(0, hex.size() - 2), order);
      EXPECT_EQ(TypeParam::Allocated(elements.In(TraverseMode_Read), &count, &array), Error_Ended);
      EXPECT_EQ(iMemory_CountLive(), before + 3) << "outside Start and End the block stays recorded";
    }
    EXPECT_EQ(iMemory_CountLive(), before) << "until the traverse is deleted";
  }
}

TYPED_TEST(TraverseNumbers, InABlockAreNotWrittenWithoutTheBlock) {
  Context context;
  typename TypeParam::Value* array = nullptr;
  uint32_t count = 1;
  EXPECT_EQ(TypeParam::Allocated(context.In(TraverseMode_Write), &count, &array), Error_Invalid);
  EXPECT_EQ(context.Written(), "");
}

TYPED_TEST(TraverseNumbers, InABlockAreClearedAllocatedAndFreed) {
  Context context;
  typename TypeParam::Value unowned = 0;
  typename TypeParam::Value* array = &unowned;
  uint32_t count = 5;
  EXPECT_EQ(TypeParam::Allocated(context.In(TraverseMode_Init), &count, &array), Error_None);
  EXPECT_EQ(array, nullptr);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(TypeParam::Allocated(context.In(TraverseMode_New), &count, &array), Error_None);
  EXPECT_EQ(array, nullptr) << "nothing for a count of 0";
  array = &unowned;
  EXPECT_EQ(TypeParam::Allocated(context.In(TraverseMode_New), &count, &array), Error_None);
  EXPECT_EQ(array, &unowned) << "and what was there stays";

  const int64_t before = iMemory_CountLive();
  count = 3;
  const auto describe = [&](Traverse* traverse) { TypeParam::Allocated(traverse, &count, &array); };
  ASSERT_EQ(DataNew(context.traverse(), describe), Error_None);
  EXPECT_EQ(iMemory_CountLive(), before + 1);
  EXPECT_EQ(count, 3u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(array[i], 0);
  array[2] = 1;
  ASSERT_EQ(DataDelete(context.traverse(), describe), Error_None);
  EXPECT_EQ(iMemory_CountLive(), before);
  EXPECT_EQ(array, nullptr);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(DataDelete(context.traverse(), describe), Error_None) << "nothing to free";
}

// ---- beyond the table ----------------------------------------------------------------------------

TEST(TraverseSkip, CountsBytesAndNotElements) {
  // 4294967295 elements, room for two: 3 bytes are skipped.
  Context context("FF FF FF FF 01 00 00 00 02 00 00 00 AA BB CC 07");
  uint32_t values[2] = {};
  uint32_t count = 0;
  uint8_t next = 0;
  EXPECT_EQ(Traverse_FUns32(context.In(TraverseMode_Read), 2, &count, values), Error_Exceed);
  EXPECT_EQ(count, 0xFFFFFFFFu);
  EXPECT_EQ(values[1], 2u);
  EXPECT_EQ(Traverse_Uns8(context.traverse(), &next), Error_None);
  EXPECT_EQ(next, 7);
}

TEST(TraverseSkip, ReadsAtMost2048BytesAtATime) {
  // 4294957296 elements, no room: 10000 bytes are skipped.
  Context context("F0 D8 FF FF " + Hex(std::string(10001, 'x')));
  uint32_t count = 0;
  EXPECT_EQ(Traverse_FUns8(context.In(TraverseMode_Read), 0, &count, nullptr), Error_Exceed);
  EXPECT_EQ(context.Rest(), "78");
  EXPECT_EQ(context.bytes().LargestRead(), 2048u);
}

TEST(TraverseSkip, GivesEnded_WhenTheStreamEndsOneByteBefore) {
  Context context("FE FF FF FF AA");
  uint32_t count = 0;
  EXPECT_EQ(Traverse_FUns8(context.In(TraverseMode_Read), 0, &count, nullptr), Error_Ended);
}

TEST(TraverseNumbersInNetworkOrder, AreWrittenInRunsOf256) {
  Context context("", Order::Network);
  std::vector<uint16_t> values(600);
  for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<uint16_t>(i);
  const std::vector<uint16_t> before = values;
  EXPECT_EQ(Traverse_NUns16(context.In(TraverseMode_Write), 600, values.data()), Error_None);
  EXPECT_EQ(values, before);
  const std::string& written = context.bytes().written();
  ASSERT_EQ(written.size(), 1200u);
  EXPECT_EQ(Hex(written.substr(0, 4)), "00 00 00 01");
  EXPECT_EQ(Hex(written.substr(510, 6)), "00 FF 01 00 01 01");
  EXPECT_EQ(Hex(written.substr(1196)), "02 56 02 57");
}

TEST(TraverseNumbersInNetworkOrder, LeaveInWritesOfAtMost256Elements) {
  TestStream script;
  Traverse* traverse = Traverse_New(1, script.stream());
  Traverse_SetMode(traverse, TraverseMode_Write);
  std::vector<double> values(600);
  EXPECT_EQ(Traverse_NFloat64(traverse, 600, values.data()), Error_None);
  ASSERT_EQ(script.WrittenPieces().size(), 3u);
  EXPECT_EQ(script.WrittenPieces()[0].size(), 2048u);
  EXPECT_EQ(script.WrittenPieces()[1].size(), 2048u);
  EXPECT_EQ(script.WrittenPieces()[2].size(), 704u);
  Traverse_Delete(traverse);
}

TEST(TraverseNumbersInNetworkOrder, LeaveInSuchWritesBehindTheirCount) {
  std::vector<uint32_t> values(300, 1);
  uint32_t* array = values.data();
  uint32_t count = 300;
  Context context("", Order::Network);
  EXPECT_EQ(Traverse_FUns32(context.In(TraverseMode_Write), 300, &count, array), Error_None);
  EXPECT_EQ(Traverse_BUns32(context.traverse(), &count, &array), Error_None);
  EXPECT_EQ(context.bytes().writeSizes(), (std::vector<uint32_t>{4, 1024, 176, 4, 1024, 176}));
  EXPECT_EQ(context.Written().substr(0, 23), "00 00 01 2C 00 00 00 01");
  EXPECT_EQ(array, values.data());
  EXPECT_EQ(values, std::vector<uint32_t>(300, 1));
}

TEST(TraverseNumbersInNetworkOrder, StopAtTheFirstRunThatComesShort) {
  std::vector<uint16_t> values(600, 1);
  Context context("", Order::Network);
  context.bytes().Takes(512).Takes(511);
  EXPECT_EQ(Traverse_NUns16(context.In(TraverseMode_Write), 600, values.data()), Error_Ended);
  EXPECT_EQ(context.bytes().writeSizes(), (std::vector<uint32_t>{512, 512}));
}

TEST(TraverseNumbersInNetworkOrder, AreNotReversed_WhenTheyComeShort) {
  Context context("00 00 00 01 00 00 00", Order::Network);
  uint32_t values[2] = {};
  EXPECT_EQ(Traverse_NUns32(context.In(TraverseMode_Read), 2, values), Error_Ended);
  EXPECT_EQ(values[0], 0x01000000u);
}

TEST(TraverseArrays, AreReadInOneCall) {
  Context context("E8 03 00 00 " + Hex(std::string(4000, 'x')));
  uint32_t count = 0;
  uint32_t* array = nullptr;
  ASSERT_EQ(
      DataRead(context.traverse(), [&](Traverse* traverse) { Traverse_BUns32(traverse, &count, &array); }),
      Error_None);
  EXPECT_EQ(context.bytes().LargestRead(), 4000u);
  Memory_Delete(array);
}

TEST(TraverseArrays, AreRefused_WhenTheirBytesCannotBeCounted) {
  Context context("FF FF FF FF 00 00");
  uint32_t count = 0;
  double* array = nullptr;
  EXPECT_EQ(Traverse_BFloat64(context.In(TraverseMode_Read), &count, &array), Error_Memory);
  EXPECT_EQ(array, nullptr);
  EXPECT_EQ(context.error(), Error_Memory);
  Context quarter("01 00 00 40 00 00");
  uint32_t* numbers = nullptr;
  EXPECT_EQ(Traverse_BUns32(quarter.In(TraverseMode_Read), &count, &numbers), Error_Memory)
      << "0x40000001 times 4 is 4 in 32 bits";
  // Refused before the system is asked: it may well grant them.
  Context exact("00 00 00 20");
  iMemory_FailAllocation(100);
  EXPECT_EQ(Traverse_BFloat64(exact.In(TraverseMode_Read), &count, &array), Error_Memory);
  EXPECT_EQ(iMemory_AllocationsUntilFailure(), 100);
  iMemory_FailAllocation(0);
  double one = 0;
  for (const TraverseMode mode : {TraverseMode_Init, TraverseMode_Read, TraverseMode_Write}) {
    Context fixed("00");
    EXPECT_EQ(Traverse_NFloat64(fixed.In(mode), 0x20000000, &one), Error_Invalid);
    EXPECT_EQ(fixed.Rest(), "00");
  }
  count = 0x20000000;
  Context writer;
  EXPECT_EQ(Traverse_FFloat64(writer.In(TraverseMode_Write), 1, &count, &one), Error_Invalid);
  array = &one;
  Traverse_SetError(writer.traverse(), Error_None);
  EXPECT_EQ(Traverse_BFloat64(writer.traverse(), &count, &array), Error_Invalid);
  EXPECT_EQ(writer.Written(), "");
  Context reader("00 00 00 20 00");
  EXPECT_EQ(Traverse_FFloat64(reader.In(TraverseMode_Read), 0x20000000, &count, &one), Error_Invalid);
  EXPECT_EQ(reader.Rest(), "00");
}

}  // namespace
