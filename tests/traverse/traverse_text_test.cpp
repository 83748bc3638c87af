// Texts, lists of texts, raw bytes, blocks, and the fields composed of others.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "os/core/memory_testing.h"
#include "qz/memory.h"
#include "tests/traverse/example_record.h"
#include "tests/traverse/traverse_fixture.h"

namespace {

struct TextOfAnOrder {
  Order order;
  const char* abc;  // "abc" on the stream
  const char* four;
};
constexpr TextOfAnOrder kTexts[] = {{Order::Plain, "04 00 00 00 61 62 63 00", "04 00 00 00"},
                                    {Order::Network, "00 00 00 04 61 62 63 00", "00 00 00 04"}};

// ---- a text in a buffer --------------------------------------------------------------------------

TEST(TraverseString, IsWrittenWithItsLengthAndTerminator) {
  for (const auto& text : kTexts) {
    Context context("", text.order);
    char buffer[4] = "abc";
    EXPECT_EQ(Traverse_String(context.In(TraverseMode_Write), 2, buffer), Error_None)
        << "a writer does not look at the size";
    EXPECT_EQ(context.Written(), text.abc);
    EXPECT_STREQ(buffer, "abc");
  }
}

TEST(TraverseString, IsWrittenAsLengthOne_WhenItIsEmpty) {
  Context context;
  char buffer[1] = "";
  EXPECT_EQ(Traverse_String(context.In(TraverseMode_Write), 1, buffer), Error_None);
  EXPECT_EQ(context.Written(), "01 00 00 00 00");
  EXPECT_EQ(Traverse_String(context.In(TraverseMode_Write), 0, nullptr), Error_Invalid);
}

TEST(TraverseString, IsReadIntoALargerBuffer) {
  for (const auto& text : kTexts) {
    Context context(std::string(text.abc) + " 55", text.order);
    char buffer[8] = "#######";
    EXPECT_EQ(Traverse_String(context.In(TraverseMode_Read), 8, buffer), Error_None);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(buffer[4], '#');
    EXPECT_EQ(context.Rest(), "55");
  }
}

TEST(TraverseString, GivesExceed_WhenItFillsTheBuffer) {
  for (const auto& text : kTexts) {
    Context context(std::string(text.abc) + " 55", text.order);
    char buffer[5] = "####";
    EXPECT_EQ(Traverse_String(context.In(TraverseMode_Read), 4, buffer), Error_Exceed);
    EXPECT_EQ(std::string(buffer, 5), std::string("abc\0", 5));
    EXPECT_EQ(context.Rest(), "55");
    EXPECT_EQ(context.error(), Error_Exceed);
  }
}

TEST(TraverseString, StaysWithoutATerminator_WhenItIsCut) {
  for (const auto& text : kTexts) {
    Context context(std::string(text.abc) + " 55 66", text.order);
    char buffer[4] = "###";
    EXPECT_EQ(Traverse_String(context.In(TraverseMode_Read), 3, buffer), Error_Ended);
    EXPECT_EQ(std::string(buffer, 4), std::string("abc\0", 4)) << "the byte behind is not touched";
    EXPECT_EQ(context.Rest(), "") << "the rest of the stream is gone";
  }
  // A length of 4294967294: two bytes and the room are skipped.
  Context context("FE FF FF FF 61 62 63 64 65 66 67 68 55");
  char buffer[4] = "###";
  EXPECT_EQ(Traverse_String(context.In(TraverseMode_Read), 3, buffer), Error_Exceed);
  EXPECT_EQ(std::string(buffer, 4), std::string("abc\0", 4));
  EXPECT_EQ(context.Rest(), "55");
}

TEST(TraverseString, MarksTheByteBehindACutBufferUntouched) {
  Context context("04 00 00 00 61 62 63 64");
  char buffer[5] = "####";
  EXPECT_EQ(Traverse_String(context.In(TraverseMode_Read), 4, buffer), Error_Exceed);
  buffer[4] = '#';
  EXPECT_EQ(std::string(buffer, 5), "abcd#");
}

TEST(TraverseString, IsEmpty_WhenTheLengthIsZeroOrShort) {
  for (const char* hex : {"00 00 00 00", "01 00 00", "", "01 00 00 00"}) {
    Context context(hex);
    char buffer[4] = "###";
    EXPECT_EQ(Traverse_String(context.In(TraverseMode_Read), 4, buffer),
              std::string(hex) == "00 00 00 00" ? Error_None : Error_Ended);
    EXPECT_STREQ(buffer, "") << hex;
  }
}

TEST(TraverseString, IsTerminated_WhenItComesShort) {
  Context context("05 00 00 00 61 62");
  char buffer[8] = "#######";
  EXPECT_EQ(Traverse_String(context.In(TraverseMode_Read), 8, buffer), Error_Ended);
  EXPECT_STREQ(buffer, "ab");
  Context beyond("FF 00 00 00 61 62 63");
  char small[4] = "###";
  EXPECT_EQ(Traverse_String(beyond.In(TraverseMode_Read), 4, small), Error_Ended);
  EXPECT_STREQ(small, "abc");
}

TEST(TraverseString, IsTerminated_WhenTheStoredOneIsNot) {
  Context context("03 00 00 00 61 62 63");
  char buffer[5] = "####";
  EXPECT_EQ(Traverse_String(context.In(TraverseMode_Read), 4, buffer), Error_None);
  EXPECT_EQ(std::string(buffer, 5), std::string("abc\0\0", 5));
}

TEST(TraverseString, WritesNothingIntoABufferOfNoSize) {
  char buffer[2] = "#";
  for (const TraverseMode mode : {TraverseMode_Init, TraverseMode_Delete}) {
    Context context;
    EXPECT_EQ(Traverse_String(context.In(mode), 0, buffer), Error_None);
    EXPECT_EQ(Traverse_String(context.In(mode), 0, nullptr), Error_None);
  }
  Context empty("00 00 00 00 FE FF FF FF AA BB CC");
  EXPECT_EQ(Traverse_String(empty.In(TraverseMode_Read), 0, buffer), Error_None);
  EXPECT_EQ(Traverse_String(empty.In(TraverseMode_Read), 0, buffer), Error_Exceed);
  EXPECT_EQ(empty.Rest(), "CC");
  EXPECT_STREQ(buffer, "#");
}

TEST(TraverseString, IsEmptiedInInitAndDelete) {
  for (const TraverseMode mode : {TraverseMode_Init, TraverseMode_Delete}) {
    Context context;
    char buffer[4] = "abc";
    EXPECT_EQ(Traverse_String(context.In(mode), 4, buffer), Error_None);
    EXPECT_EQ(std::string(buffer, 4), std::string("\0bc\0", 4)) << "its first byte alone";
  }
  Context context;
  char buffer[4] = "abc";
  EXPECT_EQ(Traverse_String(context.In(TraverseMode_New), 4, buffer), Error_None);
  EXPECT_STREQ(buffer, "abc");
}

TEST(TraverseString, GivesEnded_WhenItCannotBeWritten) {
  for (const size_t limit : {size_t{3}, size_t{7}}) {
    Context context;
    context.bytes().LimitWrites(limit, Error_Exceed);
    char buffer[4] = "abc";
    EXPECT_EQ(Traverse_String(context.In(TraverseMode_Write), 4, buffer), Error_Ended);
  }
}

// ---- a text in a block ---------------------------------------------------------------------------

TEST(TraverseBString, IsWrittenAsAText) {
  for (const auto& text : kTexts) {
    Context context("", text.order);
    char abc[] = "abc";
    char* pointer = abc;
    EXPECT_EQ(Traverse_BString(context.In(TraverseMode_Write), &pointer), Error_None);
    EXPECT_EQ(context.Written(), text.abc);
    EXPECT_EQ(pointer, abc);
  }
}

TEST(TraverseBString, IsWrittenAsZero_WhenThereIsNone) {
  for (const Order order : kOrders) {
    Context context("", order);
    char* pointer = nullptr;
    EXPECT_EQ(Traverse_BString(context.In(TraverseMode_Write), &pointer), Error_None);
    EXPECT_EQ(context.Written(), "00 00 00 00");
  }
}

TEST(TraverseBString, IsReadIntoABlock) {
  for (const auto& text : kTexts) {
    Context context(std::string(text.abc) + " 55", text.order);
    char* pointer = nullptr;
    ASSERT_EQ(DataRead(context.traverse(), [&](Traverse* traverse) { Traverse_BString(traverse, &pointer); }),
              Error_None);
    EXPECT_STREQ(pointer, "abc");
    EXPECT_EQ(context.Rest(), "55");
    Memory_Delete(pointer);
  }
}

TEST(TraverseBString, IsNullForALengthOfZero) {
  Context context("00 00 00 00");
  char unowned = 0;
  char* pointer = &unowned;
  const int64_t before = iMemory_CountLive();
  EXPECT_EQ(Traverse_BString(context.In(TraverseMode_Read), &pointer), Error_None);
  EXPECT_EQ(pointer, nullptr);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(TraverseBString, IsTerminated_WhenTheStoredOneIsNot) {
  Context context("03 00 00 00 61 62 63");
  char* pointer = nullptr;
  ASSERT_EQ(DataRead(context.traverse(), [&](Traverse* traverse) { Traverse_BString(traverse, &pointer); }),
            Error_None);
  EXPECT_EQ(strlen(pointer), 3u);
  Memory_Delete(pointer);
}

TEST(TraverseBString, GivesMemoryForTheLargestLength) {
  Context context("FF FF FF FF 61");
  char* pointer = nullptr;
  EXPECT_EQ(Traverse_BString(context.In(TraverseMode_Read), &pointer), Error_Memory);
  EXPECT_EQ(pointer, nullptr);
}

TEST(TraverseBString, GivesEnded_WhenItComesShort) {
  char unowned = 0;
  char* pointer = &unowned;
  Context prefix("04 00 00");
  EXPECT_EQ(Traverse_BString(prefix.In(TraverseMode_Read), &pointer), Error_Ended);
  EXPECT_EQ(pointer, nullptr);
  Context text("04 00 00 00 61 62 63");
  EXPECT_EQ(Traverse_BString(text.In(TraverseMode_Read), &pointer), Error_Ended);
}

TEST(TraverseBString, IsClearedInInitAndFreedInDelete) {
  Context context;
  const int64_t before = iMemory_CountLive();
  char* pointer = NewText("abc");
  EXPECT_EQ(Traverse_BString(context.In(TraverseMode_New), &pointer), Error_None);
  EXPECT_STREQ(pointer, "abc");
  EXPECT_EQ(Traverse_BString(context.In(TraverseMode_Delete), &pointer), Error_None);
  EXPECT_EQ(pointer, nullptr);
  EXPECT_EQ(iMemory_CountLive(), before);
  EXPECT_EQ(Traverse_BString(context.In(TraverseMode_Delete), &pointer), Error_None);
  char unowned = 0;
  pointer = &unowned;
  EXPECT_EQ(Traverse_BString(context.In(TraverseMode_Init), &pointer), Error_None);
  EXPECT_EQ(pointer, nullptr);
}

// ---- texts in an array of the record -------------------------------------------------------------

TEST(TraverseFBString, IsWrittenWithItsCount) {
  Context context;
  char a[] = "a";
  char* texts[2] = {a, nullptr};
  uint32_t count = 2;
  EXPECT_EQ(Traverse_FBString(context.In(TraverseMode_Write), 1, &count, texts), Error_None)
      << "a writer does not look at the capacity";
  EXPECT_EQ(context.Written(), "02 00 00 00 02 00 00 00 61 00 00 00 00 00");
}

TEST(TraverseFBString, KeepsItsCountInMemoryOrder_WhenWrittenInNetworkOrder) {
  Context context("", Order::Network);
  char a[] = "a";
  char* texts[2] = {a, nullptr};
  uint32_t count = 2;
  EXPECT_EQ(Traverse_FBString(context.In(TraverseMode_Write), 2, &count, texts), Error_None);
  EXPECT_EQ(context.Written(), "02 00 00 00 00 00 00 02 61 00 00 00 00 00");
}

TEST(TraverseFBString, IsReadUpToItsCapacity) {
  for (const Order order : kOrders) {
    Context context(order == Order::Plain ? "02 00 00 00 02 00 00 00 61 00 00 00 00 00 55"
                                          : "00 00 00 02 00 00 00 02 61 00 00 00 00 00 55",
                    order);
    char unowned = 0;
    char* texts[3] = {&unowned, &unowned, &unowned};
    uint32_t count = 77;
    ASSERT_EQ(DataRead(context.traverse(),
                       [&](Traverse* traverse) { Traverse_FBString(traverse, 2, &count, texts); }),
              Error_None)
        << "a count equal to the capacity is no excess";
    EXPECT_EQ(count, 2u);
    EXPECT_STREQ(texts[0], "a");
    EXPECT_EQ(texts[1], nullptr);
    EXPECT_EQ(texts[2], &unowned);
    EXPECT_EQ(context.Rest(), "55");
    Memory_Delete(texts[0]);
  }
}

TEST(TraverseFBString, PassesOverEmptyTextsBeyondItsCapacity) {
  Context context("04 00 00 00 02 00 00 00 61 00 00 00 00 00 00 00 00 00 00 00 00 00 55");
  char* texts[1] = {nullptr};
  uint32_t count = 77;
  ASSERT_EQ(DataRead(context.traverse(),
                     [&](Traverse* traverse) { Traverse_FBString(traverse, 1, &count, texts); }),
            Error_None);
  EXPECT_EQ(count, 4u);
  EXPECT_STREQ(texts[0], "a");
  EXPECT_EQ(context.Rest(), "55");
  Memory_Delete(texts[0]);
}

TEST(TraverseFBString, LosesTheRest_WhenATextIsBeyondItsCapacity) {
  Context context("02 00 00 00 00 00 00 00 02 00 00 00 62 00 55 66");
  char* texts[1] = {nullptr};
  uint32_t count = 77;
  EXPECT_EQ(Traverse_FBString(context.In(TraverseMode_Read), 1, &count, texts), Error_Ended);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(context.Rest(), "");
}

TEST(TraverseFBString, TakesALengthBeyondItsCapacityInMemoryOrder) {
  // FD FF FF FF is 4294967293 in memory order, so 3 bytes are skipped; reversed it would be 4261412861.
  Context context("00 00 00 01 FD FF FF FF AA BB CC 55", Order::Network);
  uint32_t count = 77;
  EXPECT_EQ(Traverse_FBString(context.In(TraverseMode_Read), 0, &count, nullptr), Error_Exceed);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(context.Rest(), "55");
}

TEST(TraverseFBString, GivesEnded_WhenItComesShort) {
  char unowned = 0;
  char* texts[2] = {&unowned, &unowned};
  uint32_t count = 77;
  Context prefix("02 00 00");
  EXPECT_EQ(Traverse_FBString(prefix.In(TraverseMode_Read), 2, &count, texts), Error_Ended);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(texts[0], &unowned);
  Context second("02 00 00 00 00 00 00 00 02 00 00");
  EXPECT_EQ(Traverse_FBString(second.In(TraverseMode_Read), 2, &count, texts), Error_Ended);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(texts[0], nullptr);
  EXPECT_EQ(texts[1], nullptr);
  texts[1] = &unowned;
  Context first("02 00 00 00 02 00 00");
  EXPECT_EQ(Traverse_FBString(first.In(TraverseMode_Read), 2, &count, texts), Error_Ended);
  EXPECT_EQ(texts[1], &unowned) << "reading stops at the first failure";
  Context surplus("03 00 00 00 00 00 00 00 00 00 00 00 00 00");
  EXPECT_EQ(Traverse_FBString(surplus.In(TraverseMode_Read), 1, &count, texts), Error_Ended);
}

TEST(TraverseFBString, GivesEnded_WhenItCannotBeWritten) {
  char a[] = "a";
  char* texts[2] = {a, a};
  uint32_t count = 2;
  for (const size_t limit : {size_t{3}, size_t{9}, size_t{15}}) {
    Context context;
    context.bytes().LimitWrites(limit, Error_Exceed);
    EXPECT_EQ(Traverse_FBString(context.In(TraverseMode_Write), 2, &count, texts), Error_Ended);
    EXPECT_EQ(context.bytes().written().size(), limit) << "nothing follows the failure";
  }
  Context context;
  EXPECT_EQ(Traverse_FBString(context.In(TraverseMode_Write), 0, &count, nullptr), Error_Invalid);
  EXPECT_EQ(context.Written(), "");
}

TEST(TraverseFBString, WritesNothingBehindAShortWrite) {
  char a[] = "a";
  char* texts[2] = {a, a};
  uint32_t count = 2;
  for (const bool isPrefixShort : {true, false}) {
    Context context;
    if (!isPrefixShort) context.bytes().Takes(4);
    context.bytes().Takes(3);
    EXPECT_EQ(Traverse_FBString(context.In(TraverseMode_Write), 2, &count, texts), Error_Ended);
    EXPECT_EQ(context.Written(), isPrefixShort ? "02 00 00" : "02 00 00 00 02 00 00");
  }
}

TEST(TraverseFBString, IsClearedWholeInInit) {
  Context context;
  char unowned = 0;
  char* texts[3] = {&unowned, &unowned, &unowned};
  uint32_t count = 1;
  EXPECT_EQ(Traverse_FBString(context.In(TraverseMode_New), 2, &count, texts), Error_None);
  EXPECT_EQ(texts[0], &unowned);
  EXPECT_EQ(Traverse_FBString(context.In(TraverseMode_Init), 2, &count, texts), Error_None);
  EXPECT_EQ(texts[0], nullptr);
  EXPECT_EQ(texts[1], nullptr);
  EXPECT_EQ(texts[2], &unowned);
  EXPECT_EQ(count, 0u);
}

TEST(TraverseFBString, FreesItsTextsAndKeepsItsCountInDelete) {
  Context context;
  const int64_t before = iMemory_CountLive();
  char unowned = 0;
  char* texts[4] = {NewText("a"), nullptr, NewText("c"), &unowned};
  uint32_t count = 2;
  EXPECT_EQ(Traverse_FBString(context.In(TraverseMode_Delete), 4, &count, texts), Error_None);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(texts[0], nullptr);
  EXPECT_STREQ(texts[2], "c") << "beyond the count";
  count = 9;
  EXPECT_EQ(Traverse_FBString(context.In(TraverseMode_Delete), 3, &count, texts), Error_None);
  EXPECT_EQ(count, 9u);
  EXPECT_EQ(texts[2], nullptr);
  EXPECT_EQ(texts[3], &unowned) << "beyond the capacity";
  EXPECT_EQ(iMemory_CountLive(), before);
}

// ---- texts in an array of its own ----------------------------------------------------------------

TEST(TraverseBBString, IsWrittenWithItsCount) {
  char a[] = "a";
  char* texts[2] = {a, nullptr};
  char** list = texts;
  uint32_t count = 2;
  Context plain;
  EXPECT_EQ(Traverse_BBString(plain.In(TraverseMode_Write), &count, &list), Error_None);
  EXPECT_EQ(plain.Written(), "02 00 00 00 02 00 00 00 61 00 00 00 00 00");
  Context network("", Order::Network);
  EXPECT_EQ(Traverse_BBString(network.In(TraverseMode_Write), &count, &list), Error_None);
  EXPECT_EQ(network.Written(), "02 00 00 00 00 00 00 02 61 00 00 00 00 00") << "the count in memory order";
}

TEST(TraverseBBString, IsWrittenAsZero_WhenThereIsNone) {
  Context context;
  char** list = nullptr;
  uint32_t count = 0;
  EXPECT_EQ(Traverse_BBString(context.In(TraverseMode_Write), &count, &list), Error_None);
  EXPECT_EQ(context.Written(), "00 00 00 00");
  count = 1;
  EXPECT_EQ(Traverse_BBString(context.In(TraverseMode_Write), &count, &list), Error_Invalid);
  EXPECT_EQ(context.Written(), "00 00 00 00");
}

TEST(TraverseBBString, IsReadIntoAnArray) {
  for (const Order order : kOrders) {
    Context context(order == Order::Plain ? "02 00 00 00 02 00 00 00 61 00 00 00 00 00 55"
                                          : "00 00 00 02 00 00 00 02 61 00 00 00 00 00 55",
                    order);
    char** list = nullptr;
    uint32_t count = 77;
    const int64_t before = iMemory_CountLive();
    const auto describe = [&](Traverse* traverse) { Traverse_BBString(traverse, &count, &list); };
    ASSERT_EQ(DataRead(context.traverse(), describe), Error_None);
    EXPECT_EQ(count, 2u);
    EXPECT_STREQ(list[0], "a");
    EXPECT_EQ(list[1], nullptr);
    EXPECT_EQ(context.Rest(), "55");
    EXPECT_EQ(DataDelete(context.traverse(), describe), Error_None);
    EXPECT_EQ(iMemory_CountLive(), before);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 2u) << "the count stays";
    EXPECT_EQ(DataDelete(context.traverse(), describe), Error_None)
        << "and the next one finds nothing to free";
  }
}

TEST(TraverseBBString, IsNullForACountOfZero) {
  for (const char* hex : {"00 00 00 00", "01 00 00"}) {
    Context context(hex);
    char* unowned = nullptr;
    char** list = &unowned;
    uint32_t count = 77;
    EXPECT_EQ(Traverse_BBString(context.In(TraverseMode_Read), &count, &list),
              strlen(hex) == 8 ? Error_Ended : Error_None);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 0u);
  }
}

TEST(TraverseBBString, StopsAtTheFirstTextThatComesShort) {
  const int64_t before = iMemory_CountLive();
  {
    Context context("03 00 00 00 02 00 00 00 61 00 02 00");
    char** list = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(DataRead(context.traverse(),
                       [&](Traverse* traverse) {
                         EXPECT_EQ(Traverse_BBString(traverse, &count, &list), Error_Ended);
                         EXPECT_STREQ(list[0], "a");
                         EXPECT_EQ(list[1], nullptr);
                         EXPECT_EQ(list[2], nullptr);
                       }),
              Error_Ended);
    EXPECT_EQ(iMemory_CountLive(), before + 2);
  }
}

TEST(TraverseBBString, IsRefused_WhenItsBytesCannotBeCounted) {
  Context context("FF FF FF FF 00 00 00 00");
  char** list = nullptr;
  uint32_t count = 0;
  EXPECT_EQ(Traverse_BBString(context.In(TraverseMode_Read), &count, &list), Error_Memory);
  EXPECT_EQ(list, nullptr);
}

TEST(TraverseBBString, IsClearedInInitAndAllocatedInNew) {
  Context context;
  char* unowned = nullptr;
  char** list = &unowned;
  uint32_t count = 5;
  EXPECT_EQ(Traverse_BBString(context.In(TraverseMode_Init), &count, &list), Error_None);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(Traverse_BBString(context.In(TraverseMode_New), &count, &list), Error_None);
  EXPECT_EQ(list, nullptr);
  list = &unowned;
  EXPECT_EQ(Traverse_BBString(context.In(TraverseMode_New), &count, &list), Error_None);
  EXPECT_EQ(list, &unowned) << "nothing for a count of 0";
  count = 2;
  const auto describe = [&](Traverse* traverse) { Traverse_BBString(traverse, &count, &list); };
  ASSERT_EQ(DataNew(context.traverse(), describe), Error_None);
  EXPECT_EQ(list[0], nullptr);
  EXPECT_EQ(list[1], nullptr);
  list[1] = NewText("b");
  EXPECT_EQ(DataDelete(nullptr, describe), Error_None);
}

TEST(TraverseBBString, IsLeftAloneInDelete_WhenItsCountIsZero) {
  Context context;
  char* unowned = nullptr;
  char** list = &unowned;
  uint32_t count = 0;
  EXPECT_EQ(Traverse_BBString(context.In(TraverseMode_Delete), &count, &list), Error_None);
  EXPECT_EQ(list, &unowned);
}

// ---- raw bytes -----------------------------------------------------------------------------------

TEST(TraverseRaw, GivesTheNumberOfBytes) {
  for (const Order order : kOrders) {
    Context context("01 02 03 04 05", order);
    char bytes[5] = "####";
    EXPECT_EQ(Traverse_Raw(context.In(TraverseMode_Read), 4, bytes), 4);
    EXPECT_EQ(Hex(std::string(bytes, 4)), "01 02 03 04");
    EXPECT_EQ(context.error(), Error_None);
    EXPECT_EQ(Traverse_Raw(context.In(TraverseMode_Write), 4, bytes), 4);
    EXPECT_EQ(context.Written(), "01 02 03 04");
    EXPECT_EQ(Traverse_Raw(context.traverse(), 0, nullptr), 0);
    EXPECT_EQ(context.error(), Error_None);
  }
}

TEST(TraverseRaw, SetsEnded_WhenItComesShort) {
  Context context("01 02 03");
  char bytes[5] = "####";
  EXPECT_EQ(Traverse_Raw(context.In(TraverseMode_Read), 4, bytes), 3);
  EXPECT_EQ(context.error(), Error_Ended);
  Context full;
  full.bytes().LimitWrites(1, Error_Exceed);
  EXPECT_EQ(Traverse_Raw(full.In(TraverseMode_Write), 4, bytes), 1);
  EXPECT_EQ(full.error(), Error_Ended);
}

TEST(TraverseRaw, DoesNothingInTheOtherModes) {
  for (const TraverseMode mode : {TraverseMode_Init, TraverseMode_New, TraverseMode_Delete}) {
    Context context("01 02 03 04");
    char bytes[5] = "####";
    EXPECT_EQ(Traverse_Raw(context.In(mode), 4, bytes), 0);
    EXPECT_STREQ(bytes, "####");
    EXPECT_EQ(context.error(), Error_None);
    EXPECT_EQ(context.Rest(), "01 02 03 04");
  }
}

// ---- blocks --------------------------------------------------------------------------------------

TEST(TraverseMemory, IsAllocatedClearedInNewAndRead) {
  for (const TraverseMode mode : {TraverseMode_New, TraverseMode_Read}) {
    Context context("01 02");
    int unowned = 0;
    void* block = &unowned;
    const int64_t before = iMemory_CountLive();
    EXPECT_EQ(Traverse_MemoryStart(context.In(mode), 16, &block), Error_None);
    ASSERT_NE(block, nullptr);
    EXPECT_NE(block, &unowned);
    EXPECT_EQ(std::string(static_cast<char*>(block), 16), std::string(16, '\0'));
    EXPECT_EQ(iMemory_CountLive(), before + 1);
    EXPECT_EQ(Traverse_MemoryEnd(context.traverse(), &block), Error_None);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(context.Rest(), "01 02");
    Traverse_Start(context.traverse());
    Traverse_End(context.traverse());
    Memory_Delete(block);
  }
}

TEST(TraverseMemory, IsNullForNoSizeAndInInit) {
  int unowned = 0;
  for (const TraverseMode mode : {TraverseMode_New, TraverseMode_Read, TraverseMode_Init}) {
    Context context;
    void* block = &unowned;
    EXPECT_EQ(Traverse_MemoryStart(context.In(mode), mode == TraverseMode_Init ? 16 : 0, &block), Error_None);
    EXPECT_EQ(block, nullptr);
  }
}

TEST(TraverseMemory, IsFreedAtItsEndInDelete) {
  Context context;
  const int64_t before = iMemory_CountLive();
  void* block = Memory_New(8);
  EXPECT_EQ(Traverse_MemoryStart(context.In(TraverseMode_Delete), 8, &block), Error_None);
  ASSERT_NE(block, nullptr) << "the part is there until its end";
  EXPECT_EQ(Traverse_MemoryEnd(context.traverse(), &block), Error_None);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(iMemory_CountLive(), before);
  EXPECT_EQ(Traverse_MemoryEnd(context.traverse(), &block), Error_None);
}

TEST(TraverseMemory, StaysInWriteAndItsEndInInit) {
  Context context;
  int unowned = 0;
  void* block = &unowned;
  EXPECT_EQ(Traverse_MemoryStart(context.In(TraverseMode_Write), 8, &block), Error_None);
  EXPECT_EQ(Traverse_MemoryEnd(context.traverse(), &block), Error_None);
  EXPECT_EQ(Traverse_MemoryEnd(context.In(TraverseMode_Init), &block), Error_None);
  EXPECT_EQ(Traverse_MemoryEnd(context.In(TraverseMode_New), &block), Error_None);
  EXPECT_EQ(block, &unowned);
  EXPECT_EQ(context.Written(), "");
}

// ---- composed fields -----------------------------------------------------------------------------

TEST(TraverseTime, IsTwoWords) {
  Time time = {0x01020304, 0x00000203};
  Context plain;
  EXPECT_EQ(Traverse_Time(plain.In(TraverseMode_Write), &time), Error_None);
  EXPECT_EQ(plain.Written(), "04 03 02 01 03 02 00 00");
  Context network("01 02 03 04 00 00 02 03", Order::Network);
  EXPECT_EQ(Traverse_Time(network.In(TraverseMode_Write), &time), Error_None);
  EXPECT_EQ(network.Written(), "01 02 03 04 00 00 02 03");
  time = {};
  EXPECT_EQ(Traverse_Time(network.In(TraverseMode_Read), &time), Error_None);
  EXPECT_EQ(time.seconds, 0x01020304u);
  EXPECT_EQ(time.milliseconds, 0x203u);
  EXPECT_EQ(Traverse_Time(network.In(TraverseMode_Init), &time), Error_None);
  EXPECT_EQ(time.seconds, 0u);
  EXPECT_EQ(time.milliseconds, 0u);
}

TEST(TraverseTime, GivesEnded_WhenItComesShort) {
  for (const char* hex : {"01 00 00", "01 00 00 00 02 00 00"}) {
    Context context(hex);
    Time time = {};
    EXPECT_EQ(Traverse_Time(context.In(TraverseMode_Read), &time), Error_Ended);
  }
}

TEST(TraverseBool, IsOneByte) {
  for (const auto& [flag, hex] : {std::pair{0, "00"}, {1, "01"}, {-1, "01"}, {256, "01"}}) {
    for (const Order order : kOrders) {
      Context context("", order);
      int32_t written = flag;
      EXPECT_EQ(Traverse_Bool(context.In(TraverseMode_Write), &written), Error_None);
      EXPECT_EQ(context.Written(), hex);
    }
  }
}

TEST(TraverseBool, ReadsEveryOtherByteAsOne) {
  for (const auto& [hex, expected] : {std::pair{"00", 0}, {"01", 1}, {"07", 1}, {"FF", 1}}) {
    Context context(hex);
    int32_t flag = 55;
    EXPECT_EQ(Traverse_Bool(context.In(TraverseMode_Read), &flag), Error_None);
    EXPECT_EQ(flag, expected);
  }
}

TEST(TraverseBool, BecomesZeroOrOneInEveryMode) {
  for (int32_t mode = 0; mode < 5; ++mode) {
    Context context("01");
    int32_t flag = 55;
    EXPECT_EQ(Traverse_Bool(context.In(static_cast<TraverseMode>(mode)), &flag), Error_None);
    EXPECT_EQ(flag, mode == TraverseMode_Init ? 0 : 1);
    flag = 0;
    Traverse_Bool(context.In(TraverseMode_Delete), &flag);
    EXPECT_EQ(flag, 0);
  }
  Context stopped;
  Traverse_SetError(stopped.traverse(), Error_Fail);
  int32_t flag = 55;
  EXPECT_EQ(Traverse_Bool(stopped.traverse(), &flag), Error_Fail);
  EXPECT_EQ(flag, 1);
}

TEST(TraverseBool, KeepsItsValue_WhenTheByteIsMissing) {
  for (const auto& [before, after] : {std::pair{55, 1}, {0, 0}}) {
    Context context;
    int32_t flag = before;
    EXPECT_EQ(Traverse_Bool(context.In(TraverseMode_Read), &flag), Error_Ended);
    EXPECT_EQ(flag, after);
  }
}

TEST(TraverseFileState, IsFourteenBytes) {
  FileState state = {1, 5, 0x00010203, {0x0A0B0C0D, 7}};
  Context plain;
  EXPECT_EQ(Traverse_FileState(plain.In(TraverseMode_Write), &state), Error_None);
  EXPECT_EQ(plain.Written(), "01 01 03 02 01 00 0D 0C 0B 0A 07 00 00 00");
  Context network("01 00 00 01 02 03 0A 0B 0C 0D 00 00 00 07 55", Order::Network);
  state = {};
  EXPECT_EQ(Traverse_FileState(network.In(TraverseMode_Read), &state), Error_None);
  EXPECT_EQ(state.exists, 1);
  EXPECT_EQ(state.isDirectory, 0);
  EXPECT_EQ(state.size, 0x10203u);
  EXPECT_EQ(state.modificationTime.seconds, 0x0A0B0C0Du);
  EXPECT_EQ(state.modificationTime.milliseconds, 7u);
  EXPECT_EQ(network.Rest(), "55");
  EXPECT_EQ(Traverse_FileState(network.In(TraverseMode_Init), &state), Error_None);
  EXPECT_EQ(state.exists, 0);
  EXPECT_EQ(state.size, 0u);
  EXPECT_EQ(state.modificationTime.milliseconds, 0u);
}

}  // namespace
