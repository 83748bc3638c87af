// Formatted writing where the C library can refuse a text. The Windows one takes any wide character.
#include <gtest/gtest.h>

#include "qz/error.h"
#include "qz/stream.h"
#include "tests/support/test_stream.h"

namespace {

TEST(StreamWriteF, ReturnsExceed_WhenTheTextCannotBeFormatted) {
  TestStream script;
  const wchar_t noCharacter[] = {L'a', wchar_t(0xD800), 0};
  EXPECT_EQ(Stream_WriteF(script.stream(), "%ls", noCharacter), Error_Exceed);
  EXPECT_EQ(Stream_WriteFLine(script.stream(), "%ls", noCharacter), Error_Exceed);
  EXPECT_TRUE(script.WrittenPieces().empty());
}

}  // namespace
