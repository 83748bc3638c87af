// The page that describes the records, read and held against the bytes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/traverse/example_record.h"
#include "tests/traverse/formats_page_table.h"
#include "tests/traverse/traverse_fixture.h"

namespace {

void ExpectExample(const ExampleRecord& record) {
  EXPECT_EQ(record.tag, 0x6D617865u);
  EXPECT_EQ(record.version, 2u);
  EXPECT_EQ(record.isActive, 1);
  EXPECT_EQ(record.int8, -2);
  EXPECT_EQ(record.int16, -2);
  EXPECT_EQ(record.int32, -559038737);
  EXPECT_EQ(record.uns8, 200);
  EXPECT_EQ(record.uns16, 4660);
  EXPECT_EQ(record.uns32, 305419896u);
  EXPECT_EQ(record.float32, 1.5f);
  EXPECT_EQ(record.float64, -2.25);
  EXPECT_EQ(record.fixed[0], 1);
  EXPECT_EQ(record.fixed[1], 2);
  EXPECT_EQ(record.fixed[2], 3);
  ASSERT_EQ(record.bufferCount, 2u);
  EXPECT_EQ(record.buffer[0], 10u);
  EXPECT_EQ(record.buffer[1], 11u);
  ASSERT_EQ(record.blockCount, 2u);
  EXPECT_EQ(record.block[0], 1286);
  EXPECT_EQ(record.block[1], 1800);
  EXPECT_STREQ(record.text, "abc");
  EXPECT_STREQ(record.allocatedText, "de");
  EXPECT_EQ(record.noText, nullptr);
  ASSERT_EQ(record.textCount, 2u);
  EXPECT_STREQ(record.texts[0], "f");
  EXPECT_EQ(record.texts[1], nullptr);
  ASSERT_EQ(record.listCount, 2u);
  EXPECT_STREQ(record.list[0], "");
  EXPECT_STREQ(record.list[1], "gh");
  EXPECT_EQ(record.raw[0], 1);
  EXPECT_EQ(record.raw[2], 3);
  EXPECT_EQ(record.time.seconds, 1000000000u);
  EXPECT_EQ(record.time.milliseconds, 500u);
  EXPECT_EQ(record.state.exists, 1);
  EXPECT_EQ(record.state.isDirectory, 0);
  EXPECT_EQ(record.state.size, 4096u);
  EXPECT_EQ(record.state.modificationTime.seconds, 1u);
  ASSERT_NE(record.part, nullptr);
  EXPECT_EQ(*static_cast<uint16_t*>(record.part), 7);
}

void ReadExample(size_t column, Order order) {
  Context context(ExampleColumn(column, Side::Reader), order);
  ExampleRecord record;
  Traverse_DataInit(nullptr, DescribeExample, &record);
  ASSERT_EQ(Traverse_DataRead(context.traverse(), DescribeExample, &record), Error_None);
  EXPECT_EQ(context.Rest(), "");
  ExpectExample(record);
  Traverse_DataDelete(nullptr, DescribeExample, &record);
}

void WriteExample(size_t column, Order order) {
  Context context("", order);
  ExampleRecord record = NewExample();
  EXPECT_EQ(Traverse_DataWrite(context.traverse(), DescribeExample, &record), Error_None);
  EXPECT_EQ(context.Written(), ExampleColumn(column, Side::Writer));
  Traverse_DataDelete(nullptr, DescribeExample, &record);
}

TEST(FormatsPage, ShowsTheExampleInLittleEndianOrder) {
  ReadExample(kPlainColumn, Order::Plain);
  WriteExample(kPlainColumn, Order::Plain);
}

TEST(FormatsPage, ShowsTheExampleInNetworkOrder) {
  ReadExample(kNetworkColumn, Order::Network);
  WriteExample(kNetworkColumn, Order::Network);
}

TEST(FormatsPage, GivesTheWidthOfEachField) {
  ExampleRecord record = NewExample();
  uint32_t tag = 0;
  struct {
    const char* name;
    ErrorCode (*write)(Traverse* traverse, ExampleRecord& record, uint32_t& number);
  } const fields[] = {
      {"`Traverse_Tag`", [](Traverse* t, ExampleRecord&, uint32_t& n) { return Traverse_Tag(t, 1, &n); }},
      {"`Traverse_Version`",
       [](Traverse* t, ExampleRecord&, uint32_t& n) { return Traverse_Version(t, 1, &n); }},
      {"`Traverse_Int8`", [](Traverse* t, ExampleRecord& r, uint32_t&) { return Traverse_Int8(t, &r.int8); }},
      {"`Traverse_Uns8`", [](Traverse* t, ExampleRecord& r, uint32_t&) { return Traverse_Uns8(t, &r.uns8); }},
      {"`Traverse_Int16`",
       [](Traverse* t, ExampleRecord& r, uint32_t&) { return Traverse_Int16(t, &r.int16); }},
      {"`Traverse_Uns16`",
       [](Traverse* t, ExampleRecord& r, uint32_t&) { return Traverse_Uns16(t, &r.uns16); }},
      {"`Traverse_Int32`",
       [](Traverse* t, ExampleRecord& r, uint32_t&) { return Traverse_Int32(t, &r.int32); }},
      {"`Traverse_Uns32`",
       [](Traverse* t, ExampleRecord& r, uint32_t&) { return Traverse_Uns32(t, &r.uns32); }},
      {"`Traverse_Float32`",
       [](Traverse* t, ExampleRecord& r, uint32_t&) { return Traverse_Float32(t, &r.float32); }},
      {"`Traverse_Float64`",
       [](Traverse* t, ExampleRecord& r, uint32_t&) { return Traverse_Float64(t, &r.float64); }},
      {"`Traverse_Bool`",
       [](Traverse* t, ExampleRecord& r, uint32_t&) { return Traverse_Bool(t, &r.isActive); }},
      {"`Traverse_Time`", [](Traverse* t, ExampleRecord& r, uint32_t&) { return Traverse_Time(t, &r.time); }},
      {"`Traverse_FileState`",
       [](Traverse* t, ExampleRecord& r, uint32_t&) { return Traverse_FileState(t, &r.state); }},
      {"`Traverse_Validate`", [](Traverse* t, ExampleRecord&, uint32_t&) { return Traverse_Validate(t, 1); }},
  };
  const std::vector<PageRow> rows = RowsBelow("### Fields");
  for (const auto& field : fields) {
    SCOPED_TRACE(field.name);
    Context context;
    EXPECT_EQ(field.write(context.In(TraverseMode_Write), record, tag), Error_None);
    std::string width;
    for (const PageRow& row : rows)
      if (row.at(0).find(field.name) != std::string::npos) width = row.at(1);
    EXPECT_EQ(std::to_string(context.bytes().written().size()), width);
  }
  Traverse_DataDelete(nullptr, DescribeExample, &record);
}

}  // namespace
