// Digests as texts, and the URL of the file that holds them.
#include <gtest/gtest.h>

#include <string>

#include "qz/error.h"
extern "C" {
#include "extensions/digest_text.h"
}

namespace {

const std::string kA = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
const std::string kB = "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1";

std::string Find(const std::string& text, const char* name = "f.iso") {
  char digest[SHA256_TEXT_SIZE] = "untouched";
  const int isFound = DigestText_Find(text.size(), text.data(), name, digest);
  EXPECT_EQ(isFound != 0, digest[0] != '\0');
  return digest;
}

std::string Read(const std::string& text) {
  char digest[SHA256_TEXT_SIZE] = "untouched";
  const int isRead = DigestText_Read(text.c_str(), digest);
  EXPECT_EQ(isRead != 0, digest[0] != '\0');
  return digest;
}

TEST(DigestText, ReadsADigestInAnyCase) {
  EXPECT_EQ(Read(kA), kA);
  EXPECT_EQ(Read("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD"), kA);
}

TEST(DigestText, RefusesWhatIsNoDigest) {
  for (const std::string& text :
       std::initializer_list<std::string>{std::string(), kA.substr(1), kA + "0", "g" + kA.substr(1), " " + kA,
                                          kA + "\n", "0x" + kA.substr(2)})
    EXPECT_EQ(Read(text), "") << text;
}

TEST(DigestText, FindsTheFormsOfALine) {
  for (const std::string& line : std::initializer_list<std::string>{
           kA, kA + "\n", kA + "  f.iso\n", kA + " *f.iso\r\n", kA + "  dist/f.iso", kA + "  .\\f.iso",
           "\\" + kA + "  f.iso", "SHA256 (f.iso) = " + kA + "\n", "SHA256 (dist/f.iso) = " + kA,
           "\xEF\xBB\xBF" + kA + "  f.iso\n", "  " + kA + "  f.iso\n", "\n\n" + kA + "\tf.iso"})
    EXPECT_EQ(Find(line), kA) << line;
}

TEST(DigestText, ChoosesTheLineWithTheName) {
  EXPECT_EQ(Find(kB + "  g.iso\n" + kA + "  f.iso\n"), kA);
  EXPECT_EQ(Find(kA + "  f.iso\n" + kB + "  f.iso\n"), kA);
  EXPECT_EQ(Find("SHA256 (g.iso) = " + kB + "\nSHA256 (f.iso) = " + kA), kA);
  EXPECT_EQ(Find(kB + "\n" + kA + "  f.iso"), kA);
}

TEST(DigestText, TakesTheOnlyDigest_WhateverItsName) {
  EXPECT_EQ(Find(kA + "  app-1.2.iso\n"), kA);
  EXPECT_EQ(Find("# made by hand\n" + kA + "\n\n"), kA);
}

TEST(DigestText, FindsNoneAmongSeveralWithoutTheName) {
  EXPECT_EQ(Find(kA + "  a\n" + kB + "  b\n"), "");
  EXPECT_EQ(Find(kA + "  f.iso.asc\n" + kB + "  xf.iso\n"), "");
}

TEST(DigestText, PassesOverOtherLines) {
  for (const std::string& text : std::initializer_list<std::string>{
           std::string(), std::string("\n"), std::string("<html>not found</html>"), kA.substr(1),
           kA + "0  f.iso", "MD5 (f.iso) = " + kA, "SHA256 (f.iso) = " + kA.substr(1),
           "SHA256 (f.iso) = " + kA + "0", "SHA256 () = " + kA, "SHA256 (f.iso", std::string("\0\0\0", 3),
           kA.substr(0, 63) + "\n" + kA[63]})
    EXPECT_EQ(Find(text), "") << text;
}

// ---- the URL -------------------------------------------------------------------------------------------

struct URLRow {
  const char* url;
  ErrorCode status;
  const char* beside;
  const char* name;
};

// A "?" is written as an escape, and sent as itself (HTTPc_Get).
TEST(DigestText, NamesTheURLBesideAnother) {
  const URLRow rows[] = {
      {"http://host/dir/f.iso", Error_None, "http://host/dir/f.iso.sha256", "f.iso"},
      {"http://host:8080/f", Error_None, "http://host:8080/f.sha256", "f"},
      {"http://host/f?mirror=a/b", Error_None, "http://host/f.sha256%3Fmirror%3Da/b", "f"},
      {"http://host/f?x#part", Error_None, "http://host/f.sha256%3Fx", "f"},
      {"http://host/f#part?x", Error_None, "http://host/f.sha256", "f"},
      {"http://host/a%20b", Error_None, "http://host/a%20b.sha256", "a b"},
      {"ftp://user:pw@host/dir/f", Error_None, "ftp://user:pw@host/dir/f.sha256", "f"},
      {"ftp://host/what#1", Error_None, "ftp://host/what#1.sha256", "what#1"},
      {"http://host/", Error_Invalid, "", ""},
      {"http://host/dir/", Error_Invalid, "", ""},
      {"http://host/dir/?x", Error_Invalid, "", ""},
      {"no url", Error_Invalid, "", ""},
  };
  for (const URLRow& row : rows) {
    char beside[1024] = "untouched";
    char name[1024] = "";
    EXPECT_EQ(DigestText_URLBeside(row.url, beside, name), row.status) << row.url;
    EXPECT_STREQ(beside, row.beside) << row.url;
    EXPECT_STREQ(name, row.name) << row.url;
  }
}

TEST(DigestText, RefusesAURLThatGrowsTooLong) {
  char beside[1024];
  const std::string longest = "http://host/" + std::string(1023 - 12 - 7, 'f');
  EXPECT_EQ(DigestText_URLBeside(longest.c_str(), beside, nullptr), Error_None);
  EXPECT_EQ(std::string(beside), longest + ".sha256");
  EXPECT_EQ(DigestText_URLBeside((longest + "f").c_str(), beside, nullptr), Error_Exceed);
}

}  // namespace
