// SHA-256: the test vectors of the standard, and lengths around the ends of blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

extern "C" {
#include "extensions/sha256.h"
}

namespace {

std::string DigestOf(const std::string& message, size_t chunkSize) {
  Sha256 sha;
  Sha256_Start(&sha);
  for (size_t i = 0; i < message.size(); i += chunkSize)
    Sha256_Add(&sha, std::min(chunkSize, message.size() - i), message.data() + i);
  char text[SHA256_TEXT_SIZE];
  Sha256_End(&sha, text);
  return text;
}

struct Row {
  std::string message;
  const char* digest;
};

// The first, second and third: of the standard. The others: printf ... | sha256sum.
const Row kRows[] = {
    {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
     "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
    {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
    {std::string(55, 'x'), "d5e285683cd4efc02d021a5c62014694958901005d6f71e89e0989fac77e4072"},
    {std::string(56, 'x'), "04c26261370ee7541549d16dee320c723e3fd14671e66a099afe0a377c16888e"},
    {std::string(63, 'x'), "75220b47218278e656f2013bb8f0c455a25eaf01e86c64924e9d48d89776d6f2"},
    {std::string(64, 'x'), "7ce100971f64e7001e8fe5a51973ecdfe1ced42befe7ee8d5fd6219506b5393c"},
    {std::string(65, 'x'), "9537c5fdf120482f7d58d25e9ed583f52c02b4e304ea814db1633ad565aed7e9"},
    {std::string(119, 'x'), "000b48d4edf0fa7bee3c6236ecd2785baa5db4eeb8bb54341b029e0d9fa5fb0c"},
    {std::string(120, 'x'), "13f05a0b594787f5ecd315edc96141bd3243203d1b7d4f0836f37308b276ba98"}};

TEST(Sha256, GivesTheDigestsOfTheStandard) {
  for (const Row& row : kRows) EXPECT_EQ(DigestOf(row.message, 4096), row.digest) << row.message.size();
}

TEST(Sha256, GivesTheSameInPiecesOfAnySize) {
  for (const Row& row : kRows) {
    for (size_t chunkSize : {1u, 3u, 63u, 64u, 65u, 1000u})
      EXPECT_EQ(DigestOf(row.message, chunkSize), row.digest) << row.message.size() << " by " << chunkSize;
  }
}

}  // namespace
