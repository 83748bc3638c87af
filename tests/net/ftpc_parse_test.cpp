// From the texts of replies to values: no server needed.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "net/ftpc_internal.h"
#include "qz/error.h"
#include "tests/support/error_capture.h"

namespace {

TEST(FTPcPassive, ReadsSixNumbers) {
  struct Row {
    const char* text;
    uint8_t address[4];
    int32_t port;
  };
  for (const Row& row : {
           Row{"Entering Passive Mode (127,0,0,1,4,5)", {127, 0, 0, 1}, 1029},
           Row{"(1,2,3,4,255,255)", {1, 2, 3, 4}, 65535},
           Row{"(0,0,0,0,0,1)", {0, 0, 0, 0}, 1},
           Row{"(255,255,255,255,1,0).", {255, 255, 255, 255}, 256},
           // The last "(" counts, a ")" is not asked for, spaces may stand before a number.
           Row{"(9,9,9,9,9,9) or (1,2,3,4,5,6)", {1, 2, 3, 4}, 1286},
           Row{"( 1, 2,\t3, 4, 5, 6 and more", {1, 2, 3, 4}, 1286},
           Row{"(001,002,003,004,005,006,7,8)", {1, 2, 3, 4}, 1286},
           Row{"(+1,2,3,4,5,6)", {1, 2, 3, 4}, 1286},
       }) {
    uint8_t address[4] = {};
    int32_t port = 0;
    EXPECT_EQ(iFTPc_ParsePassive(row.text, address, &port), Error_None) << row.text;
    EXPECT_EQ(memcmp(address, row.address, 4), 0) << row.text;
    EXPECT_EQ(port, row.port) << row.text;
  }
}

TEST(FTPcPassive, RefusesEverythingElse) {
  for (const char* text : {"",
                           "Entering Passive Mode 127,0,0,1,4,5",
                           "(",
                           "()",
                           "(1,2,3,4,5)",
                           "(1,2,3,4,5,)",
                           "(256,0,0,1,4,5)",
                           "(1,2,3,4,256,5)",
                           "(1,2,3,4,5,256)",
                           "(65537,2,3,4,5,6)",
                           "(4294967297,2,3,4,5,6)",
                           "(18446744073709551617,2,3,4,5,6)",
                           "(-1,2,3,4,5,6)",
                           "(1,2,3,4,-1,6)",
                           "(1;2;3;4;5;6)",
                           "(1 ,2,3,4,5,6)",
                           "(a,2,3,4,5,6)",
                           "(1,,3,4,5,6)",
                           "(1,2,3,4,5,6) (",
                           "(1.2.3.4.5.6)",
                           "(|||1234|)",
                           "(1,2,3,4,0,0)"}) {
    uint8_t address[4] = {7, 7, 7, 7};
    int32_t port = 7;
    EXPECT_EQ(iFTPc_ParsePassive(text, address, &port), Error_Invalid) << text;
    EXPECT_EQ(address[0], 7) << text;
    EXPECT_EQ(port, 7) << text;
  }
}

TEST(FTPcModTime, ReadsFourteenDigits) {
  struct Row {
    const char* text;
    uint32_t seconds;
  };
  for (const Row& row : {Row{"19700101000000", 0}, Row{"19970105090307", 852454987},
                         Row{"20000229235959", 951868799}, Row{"20380119031408", 2147483648u},
                         Row{"19970105090307.123", 852454987}, Row{"19970105090307 GMT", 852454987},
                         // A field is read as a number, which may begin with a space.
                         Row{"1997 1 5 9 3 7", 852454987}}) {
    Time time = {1, 1};
    EXPECT_EQ(iFTPc_ParseModTime(row.text, &time), Error_None) << row.text;
    EXPECT_EQ(time.seconds, row.seconds) << row.text;
    EXPECT_EQ(time.milliseconds, 0u) << row.text;
  }
}

TEST(FTPcModTime, RefusesWhatIsNoDate) {
  ErrorCapture capture;
  for (const char* text :
       {"", "1997", "199701", "19970105090", "abcdefghijklmn", "1997x105090307", "199701050903x7",
        "19971305090307", "19970005090307", "19970230090307", "19970132090307", "19970105240307",
        "19970105096007", "19970105090360", "1997-105090307", "99999999999999", "19690101000000"}) {
    Time time = {1, 1};
    EXPECT_EQ(iFTPc_ParseModTime(text, &time), Error_Invalid) << text;
    EXPECT_EQ(time.seconds, 0u) << text;
    EXPECT_EQ(time.milliseconds, 0u) << text;
  }
}

TEST(FTPcModTime, ReadsALastFieldOfOneDigit) {
  Time time = {};
  EXPECT_EQ(iFTPc_ParseModTime("1997010509030", &time), Error_None);
  EXPECT_EQ(time.seconds, 852454980u);
}

TEST(FTPcSize, ReadsTheNumberAtTheStart) {
  struct Row {
    const char* text;
    uint64_t size;
  };
  for (const Row& row :
       {Row{"0", 0}, Row{"12", 12}, Row{"  34", 34}, Row{"12 junk", 12}, Row{"12junk", 12}, Row{"+5", 5},
        Row{"4294967294", 4294967294u}, Row{"4294967295", 4294967295u}, Row{"4294967296", 4294967296u},
        Row{"9223372036854775807", 9223372036854775807u}, Row{"9223372036854775808", 9223372036854775808u},
        Row{"18446744073709551614", 18446744073709551614u},
        Row{"18446744073709551615", 18446744073709551615u},
        // What does not fit is all ones, never what is left of it.
        Row{"18446744073709551616", 18446744073709551615u},
        Row{"18446744073709551617", 18446744073709551615u},
        Row{"99999999999999999999999999", 18446744073709551615u},
        Row{"99999999999999999999999999 x", 18446744073709551615u}}) {
    uint64_t size = 7;
    EXPECT_EQ(iFTPc_ParseSize(row.text, &size), Error_None) << row.text;
    EXPECT_EQ(size, row.size) << row.text;
  }
}

// A negative size is unknown: taken as written it would become a huge one.
TEST(FTPcSize, RefusesATextWithoutASizeAtTheStart) {
  for (const char* text :
       {"", " ", "x12", "-", "+", "- 1", "+-1", "bytes 12", "-1", " -7", "-4294967290", "-0"}) {
    uint64_t size = 7;
    EXPECT_EQ(iFTPc_ParseSize(text, &size), Error_Invalid) << text;
    EXPECT_EQ(size, 0u) << text;
  }
}

TEST(FTPcQuoted, TakesWhatIsBetweenTheFirstAndTheLastQuote) {
  struct Row {
    const char* text;
    const char* path;
  };
  for (const Row& row : {Row{"\"/\" is current", "/"}, Row{"x \"/a b\" y", "/a b"},
                         Row{"\"/a\"\"b\"", "/a\"\"b"}, Row{"\"/a\" is \"/b\" here", "/a\" is \"/b"}}) {
    char path[1024] = "old";
    EXPECT_EQ(iFTPc_ParseQuoted(row.text, path), Error_None) << row.text;
    EXPECT_STREQ(path, row.path);
  }
}

TEST(FTPcQuoted, RefusesATextWithoutAQuotedName) {
  for (const char* text : {"", "\"", "\"\"", "no quotes", "\"/never closed", "closed\""}) {
    char path[1024] = "old";
    EXPECT_EQ(iFTPc_ParseQuoted(text, path), Error_Invalid) << text;
    EXPECT_STREQ(path, "") << text;
  }
}

TEST(FTPcQuoted, NeverWritesBeyondTheBuffer) {
  char path[1025];
  path[1024] = '!';
  EXPECT_EQ(iFTPc_ParseQuoted(("\"" + std::string(1023, 'x') + "\"").c_str(), path), Error_None);
  EXPECT_EQ(std::string(path), std::string(1023, 'x'));
  EXPECT_EQ(iFTPc_ParseQuoted(("\"" + std::string(1024, 'x') + "\"").c_str(), path), Error_Exceed);
  EXPECT_STREQ(path, "");
  EXPECT_EQ(path[1024], '!');
}

}  // namespace
