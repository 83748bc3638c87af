// Records that are cut, damaged or made to harm: a clean status, nothing left behind, and a record that can
// be initialised and used again.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "os/core/memory_testing.h"
#include "qz/memory.h"
#include "tests/support/fail_allocation.h"
#include "tests/traverse/example_record.h"
#include "tests/traverse/formats_page_table.h"
#include "tests/traverse/traverse_fixture.h"

// With the address sanitizer a gigabyte that nobody touches costs its marks in memory, and time. There the
// system refuses what is over this; elsewhere it grants what it likes.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=64";
}

namespace {

std::string ValidBytes(Order order) {
  return Bytes(ExampleColumn(order == Order::Plain ? kPlainColumn : kNetworkColumn, Side::Reader));
}

// Reads the bytes into the record, which is initialised before; what was read is freed again.
ErrorCode ReadRecord(const std::string& bytes, Order order, ExampleRecord* record) {
  Traverse_DataInit(nullptr, DescribeExample, record);
  TestStream stream(bytes);
  Traverse* traverse = Traverse_New(order == Order::Network ? 1 : 0, stream.stream());
  const ErrorCode status = Traverse_DataRead(traverse, DescribeExample, record);
  if (status == Error_None || status == Error_Exceed) {
    Traverse_DataDelete(nullptr, DescribeExample, record);
  } else {
    Traverse_DataInit(nullptr, DescribeExample, record);
  }
  Traverse_Delete(traverse);
  return status;
}

void ExpectUsable(Order order, ExampleRecord* record) {
  EXPECT_EQ(ReadRecord(ValidBytes(order), order, record), Error_None);
}

TEST(TraverseHostile, GivesEnded_WhereverARecordIsCut) {
  for (const Order order : kOrders) {
    const std::string whole = ValidBytes(order);
    ASSERT_EQ(whole.size(), 137u);
    ExampleRecord record;
    const int64_t before = iMemory_CountLive();
    for (size_t length = 0; length < whole.size(); ++length) {
      EXPECT_EQ(ReadRecord(whole.substr(0, length), order, &record), Error_Ended) << "cut at " << length;
      ASSERT_EQ(iMemory_CountLive(), before) << "cut at " << length;
    }
    ExpectUsable(order, &record);
  }
}

TEST(TraverseHostile, GivesACleanStatus_WhicheverBitIsWrong) {
  const std::vector<ErrorCode> clean = {Error_None, Error_NotFound, Error_Memory, Error_Ended, Error_Exceed};
  for (const Order order : kOrders) {
    const std::string whole = ValidBytes(order);
    ExampleRecord record;
    const int64_t before = iMemory_CountLive();
    for (size_t bit = 0; bit < std::min<size_t>(whole.size(), 256) * 8; ++bit) {
      std::string damaged = whole;
      damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
      const ErrorCode status = ReadRecord(damaged, order, &record);
      EXPECT_NE(std::find(clean.begin(), clean.end(), status), clean.end()) << status << " for bit " << bit;
      if (bit < 32) {
        EXPECT_EQ(status, Error_NotFound) << "the tag";
      }
      ASSERT_EQ(iMemory_CountLive(), before) << "bit " << bit;
    }
    ExpectUsable(order, &record);
  }
}

TEST(TraverseHostile, RefusesANewerVersion) {
  for (const Order order : kOrders) {
    std::string newer = ValidBytes(order);
    newer[order == Order::Plain ? 4 : 7] = 3;
    ExampleRecord record;
    EXPECT_EQ(ReadRecord(newer, order, &record), Error_NotFound);
    ExpectUsable(order, &record);
  }
}

// A count or length of 0xFFFFFFFF and three more bytes, for each kind of field that has one.
TEST(TraverseHostile, SurvivesTheLargestCount) {
  struct Places {
    uint32_t count = 0;
    uint64_t buffer[2] = {};
    void* block = nullptr;
    char* text = nullptr;
    char* texts[2] = {};
    char** list = nullptr;
  };
  using Field = ErrorCode (*)(Traverse*, Places&);
  struct {
    Field field;
    std::vector<ErrorCode> expected;
  } const fields[] = {
      // What the room minus the count leaves is 3 to 17 bytes to skip, of which there are not enough.
      {[](Traverse* t, Places& p) { return Traverse_FUns8(t, 2, &p.count, (uint8_t*)p.buffer); },
       {Error_Ended}},
      {[](Traverse* t, Places& p) { return Traverse_FInt16(t, 2, &p.count, (int16_t*)p.buffer); },
       {Error_Ended}},
      {[](Traverse* t, Places& p) { return Traverse_FUns32(t, 2, &p.count, (uint32_t*)p.buffer); },
       {Error_Ended}},
      {[](Traverse* t, Places& p) { return Traverse_FFloat64(t, 2, &p.count, (double*)p.buffer); },
       {Error_Ended}},
      {[](Traverse* t, Places& p) { return Traverse_String(t, 16, (char*)p.buffer); }, {Error_Ended}},
      {[](Traverse* t, Places& p) { return Traverse_BString(t, &p.text); }, {Error_Memory}},
      {[](Traverse* t, Places& p) { return Traverse_FBString(t, 2, &p.count, p.texts); }, {Error_Ended}},
      {[](Traverse* t, Places& p) { return Traverse_BBString(t, &p.count, &p.list); }, {Error_Memory}},
      {[](Traverse* t, Places& p) { return Traverse_BInt16(t, &p.count, (int16_t**)&p.block); },
       {Error_Memory}},
      {[](Traverse* t, Places& p) { return Traverse_BUns32(t, &p.count, (uint32_t**)&p.block); },
       {Error_Memory}},
      {[](Traverse* t, Places& p) { return Traverse_BFloat64(t, &p.count, (double**)&p.block); },
       {Error_Memory}},
      // 4 GiB less a byte: what the system refuses, and what it grants without having it.
      {[](Traverse* t, Places& p) { return Traverse_BUns8(t, &p.count, (uint8_t**)&p.block); },
       {Error_Memory, Error_Ended}},
  };
  for (const Order order : kOrders) {
    const int64_t before = iMemory_CountLive();
    for (const auto& row : fields) {
      Places places;
      Context context("FF FF FF FF 61 62 63", order);
      ErrorCode status = Error_None;
      DataRead(context.traverse(), [&](Traverse* traverse) { status = row.field(traverse, places); });
      EXPECT_NE(std::find(row.expected.begin(), row.expected.end(), status), row.expected.end())
          << status << " from field " << &row - fields;
    }
    EXPECT_EQ(iMemory_CountLive(), before);
  }
}

// Where the counts and lengths of the example stand.
constexpr size_t kCountPlaces[] = {41, 53, 61, 69, 76, 80, 84, 90, 94, 98, 103};

TEST(TraverseHostile, GivesACleanFailure_WhicheverCountIsTooLarge) {
  const std::vector<ErrorCode> clean = {Error_Memory, Error_Ended};
  for (const Order order : kOrders) {
    const std::string whole = ValidBytes(order);
    ExampleRecord record;
    const int64_t before = iMemory_CountLive();
    for (const size_t place : kCountPlaces) {
      const auto left = static_cast<uint32_t>(whole.size() - place - 4);
      for (const uint32_t count : {left + 1, 0x10000u, 0x40000001u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFF00u}) {
        std::string damaged = whole;
        for (size_t i = 0; i < 4; ++i)
          damaged[place + (order == Order::Plain ? i : 3 - i)] = static_cast<char>(count >> 8 * i);
        const ErrorCode status = ReadRecord(damaged, order, &record);
        EXPECT_NE(std::find(clean.begin(), clean.end(), status), clean.end())
            << status << " for " << count << " at " << place;
        ASSERT_EQ(iMemory_CountLive(), before) << count << " at " << place;
      }
    }
    ExpectUsable(order, &record);
  }
}

// A stream that says it moved more than it was asked to has moved what was asked, for every kind of field.
TEST(TraverseHostile, TakesNoMoreThanItAskedFor_WhenAStreamClaimsMore) {
  Context reader("61 62 63 64");
  reader.bytes().SetClaim(9);
  char bytes[8] = "#######";
  EXPECT_EQ(Traverse_Raw(reader.In(TraverseMode_Read), 4, bytes), 4);
  EXPECT_EQ(reader.error(), Error_None);
  EXPECT_STREQ(bytes, "abcd###");

  for (const Order order : kOrders) {
    ExampleRecord record;
    Traverse_DataInit(nullptr, DescribeExample, &record);
    Context context(Hex(ValidBytes(order)), order);
    context.bytes().SetClaim(0xFFFFFFFF);
    EXPECT_EQ(Traverse_DataRead(context.traverse(), DescribeExample, &record), Error_None);
    EXPECT_STREQ(record.text, "abc");
    EXPECT_EQ(context.Rest(), "");
    Context writer("", order);
    writer.bytes().SetWriteClaim(0xFFFFFFFF);
    EXPECT_EQ(Traverse_DataWrite(writer.traverse(), DescribeExample, &record), Error_None);
    EXPECT_EQ(writer.bytes().written().size(), 137u);
    EXPECT_EQ(Traverse_Raw(writer.In(TraverseMode_Write), 3, bytes), 3);
    Traverse_DataDelete(nullptr, DescribeExample, &record);
  }
}

TEST(TraverseHostile, GivesEnded_WhenAReadBringsLessThanAsked) {
  for (const Order order : kOrders) {
    const std::string whole = ValidBytes(order);
    const int64_t before = iMemory_CountLive();
    for (size_t cut = 1; cut < whole.size(); ++cut) {
      TestStream script{whole.substr(0, cut), whole.substr(cut)};
      Traverse* traverse = Traverse_New(order == Order::Network ? 1 : 0, script.stream());
      ExampleRecord record;
      Traverse_DataInit(nullptr, DescribeExample, &record);
      const ErrorCode status = Traverse_DataRead(traverse, DescribeExample, &record);
      // Between two reads the cut does not show.
      EXPECT_TRUE(status == Error_Ended || status == Error_None) << status;
      if (status == Error_None) Traverse_DataDelete(nullptr, DescribeExample, &record);
      Traverse_Delete(traverse);
      ASSERT_EQ(iMemory_CountLive(), before) << "cut at " << cut;
    }
  }
}

TEST(TraverseHostile, GivesMemory_WhicheverAllocationFailsWhileReading) {
  for (const Order order : kOrders) {
    const std::string whole = ValidBytes(order);
    int succeeded = 0;
    FailEveryAllocation([&] {
      TestStream stream(whole);
      Traverse* traverse = Traverse_New(order == Order::Network ? 1 : 0, stream.stream());
      if (traverse == nullptr) return;
      ExampleRecord record;
      Traverse_DataInit(nullptr, DescribeExample, &record);
      const ErrorCode status = Traverse_DataRead(traverse, DescribeExample, &record);
      if (status == Error_None) {
        ++succeeded;
        Traverse_DataDelete(traverse, DescribeExample, &record);
      } else {
        EXPECT_EQ(status, Error_Memory);
        EXPECT_EQ(Traverse_GetError(traverse), Error_None);
      }
      Traverse_Delete(traverse);
    });
    EXPECT_EQ(succeeded, 1);
  }
}

TEST(TraverseHostile, FreesWhatFailedInSteps_WhicheverAllocationFails) {
  const std::string whole = ValidBytes(Order::Plain);
  FailEveryAllocation([&] {
    TestStream stream(whole + whole);
    Traverse* traverse = Traverse_New(0, stream.stream());
    if (traverse == nullptr) return;
    ExampleRecord records[2];
    for (ExampleRecord& record : records) Traverse_DataInit(nullptr, DescribeExample, &record);
    const ErrorCode status = DataRead(traverse, [&](Traverse* outer) {
      Traverse_SetError(outer, Traverse_DataRead(outer, DescribeExample, &records[0]));
      if (Traverse_GetError(outer) == Error_None) Traverse_DataDelete(outer, DescribeExample, &records[0]);
      Traverse_SetError(outer, Traverse_DataRead(outer, DescribeExample, &records[1]));
      if (Traverse_GetError(outer) == Error_None) Traverse_SetError(outer, Error_Cancel);
    });
    EXPECT_TRUE(status == Error_Memory || status == Error_Cancel) << status;
    Traverse_Delete(traverse);
  });
}

}  // namespace
