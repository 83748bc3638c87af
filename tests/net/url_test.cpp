// URLs: parsing, formatting, copying, comparing, and the table of schemes.
#include "qz/url.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "net/url_internal.h"
#include "os/core/memory_testing.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "tests/support/fail_allocation.h"

namespace {

#if INTPTR_MAX == INT32_MAX
static_assert(offsetof(URLData, protocol) == 0 && offsetof(URLData, user) == 4);
static_assert(offsetof(URLData, password) == 8 && offsetof(URLData, host) == 12);
static_assert(offsetof(URLData, port) == 16 && offsetof(URLData, path) == 20 && sizeof(URLData) == 24);
#endif

// A parsed URL that frees itself; `status` says how parsing went.
struct Parsed {
  explicit Parsed(const std::string& text) { status = URL_NewData(text.c_str(), &data); }
  ~Parsed() { Memory_Delete(data); }
  Parsed(const Parsed&) = delete;
  ErrorCode status;
  URLData* data = nullptr;
};

std::string Shown(const char* text) {
  return text == nullptr ? "(null)" : text;
}

struct ParseRow {
  const char* text;
  const char* protocol;
  const char* user;
  const char* password;
  const char* host;
  int32_t port;
  const char* path;
};

constexpr const char* kNull = nullptr;

constexpr ParseRow kParseRows[] = {
    {"ftp://user:pw@host:2121/dir/file", "ftp", "user", "pw", "host", 2121, "/dir/file"},
    {"http://host/", "http", kNull, kNull, "host", 80, kNull},
    {"http://host", "http", kNull, kNull, "host", 80, kNull},
    {"http://host:abc/x", "http", kNull, kNull, "host", 80, "/x"},
    {"file:///c:/x", "file", kNull, kNull, kNull, 0, "/c:/x"},
    // The scheme stays as written and is found without regard to case.
    {"HtTpS://h", "HtTpS", kNull, kNull, "h", 443, kNull},
    {"ftpu://h", "ftpu", kNull, kNull, "h", 21, kNull},
    {"VRX://h", "VRX", kNull, kNull, "h", 21, kNull},
    {"vrxu://h", "vrxu", kNull, kNull, "h", 21, kNull},
    // White space at both ends; other control characters are none.
    {" \n\r\thttp://h/p \n\r\t", "http", kNull, kNull, "h", 80, "/p"},
    {"http://h/p\v", "http", kNull, kNull, "h", 80, "/p\v"},
    {"http://h/p \f", "http", kNull, kNull, "h", 80, "/p \f"},
    {"http://h/p\b", "http", kNull, kNull, "h", 80, "/p\b"},
    // "file": everything after "://" is the path; no user, no port.
    {"file://", "file", kNull, kNull, kNull, 0, kNull},
    {"file:///", "file", kNull, kNull, kNull, 0, "/"},
    {"file://a:b@c:1/d", "file", kNull, kNull, kNull, 0, "a:b@c:1/d"},
    // User information.
    {"ftp://u@h", "ftp", "u", kNull, "h", 21, kNull},
    {"ftp://@h", "ftp", "", kNull, "h", 21, kNull},
    {"ftp://:p@h", "ftp", "", "p", "h", 21, kNull},
    {"ftp://u:@h", "ftp", "u", "", "h", 21, kNull},
    {"ftp://u:p:q@h:7", "ftp", "u", "p:q", "h", 7, kNull},
    // The last "@" decides where the host begins; one in the path does not count.
    {"ftp://me@site.org:pw@real/x", "ftp", "me@site.org", "pw", "real", 21, "/x"},
    {"ftp://good@evil@real", "ftp", "good@evil", kNull, "real", 21, kNull},
    {"http://real/@evil", "http", kNull, kNull, "real", 80, "/@evil"},
    {"http://real/a@evil:8/x", "http", kNull, kNull, "real", 80, "/a@evil:8/x"},
    {"ftp://u:p@ss@real:7/x", "ftp", "u", "p@ss", "real", 7, "/x"},
    // A line end inside stays where it is.
    {"http://h/a\r\nX: y", "http", kNull, kNull, "h", 80, "/a\r\nX: y"},
    // Ports.
    {"http://h:8080", "http", kNull, kNull, "h", 8080, kNull},
    {"http://h:", "http", kNull, kNull, "h", 80, kNull},
    {"http://h:/p", "http", kNull, kNull, "h", 80, "/p"},
    {"http://:80/p", "http", kNull, kNull, ":80", 80, "/p"},
    {"http://h:80x", "http", kNull, kNull, "h", 80, kNull},
    {"http://h:81x", "http", kNull, kNull, "h", 81, kNull},
    {"http://h:0", "http", kNull, kNull, "h", 0, kNull},
    {"http://h:65536", "http", kNull, kNull, "h", 65536, kNull},
    {"http://h:2147483647", "http", kNull, kNull, "h", 2147483647, kNull},
    {"http://h:2147483648", "http", kNull, kNull, "h", 2147483647, kNull},
    {"http://h:99999999999999999999999999", "http", kNull, kNull, "h", 2147483647, kNull},
    {"http://h:-5", "http", kNull, kNull, "h", 80, kNull},
    {"http://:h:1", "http", kNull, kNull, ":h:1", 80, kNull},
    {"http://h: 8", "http", kNull, kNull, "h", 80, kNull},
    {"http://h:%38", "http", kNull, kNull, "h", 80, kNull},
    {"http://h:1:2", "http", kNull, kNull, "h", 1, kNull},
    // No host.
    {"http://", "http", kNull, kNull, "", 80, kNull},
    {"http:///p", "http", kNull, kNull, "", 80, "/p"},
    {"http:////", "http", kNull, kNull, "", 80, "//"},
    // Escapes.
    {"http://h/%41", "http", kNull, kNull, "h", 80, "/A"},
    {"http://h/a%00b", "http", kNull, kNull, "h", 80, "/ab"},
    {"http://h/x%4", "http", kNull, kNull, "h", 80, "/x%4"},
    {"http://h/x%", "http", kNull, kNull, "h", 80, "/x%"},
    {"http://h/x%4G%G4%%41", "http", kNull, kNull, "h", 80, "/x%4G%G4%A"},
    {"http://h/%2541", "http", kNull, kNull, "h", 80, "/%41"},
    {"http://h/%0D%0A", "http", kNull, kNull, "h", 80, "/\r\n"},
    {"ftp://%41:%42@%43/%44", "ftp", "A", "B", "C", 21, "/D"},
    // The structure is cut before anything is unescaped: an escaped mark never moves the host.
    {"ftp://u%40evil@h", "ftp", "u@evil", kNull, "h", 21, kNull},
    {"http://h%40evil/p", "http", kNull, kNull, "h@evil", 80, "/p"},
    {"http://h%3A99/p", "http", kNull, kNull, "h:99", 80, "/p"},
    {"http://h%2Fevil/p", "http", kNull, kNull, "h/evil", 80, "/p"},
    {"http://h%00%0D%0Aevil/p", "http", kNull, kNull, "h\r\nevil", 80, "/p"},
    // Marks that other parsers end the host at are part of it.
    {"http://h#evil/p", "http", kNull, kNull, "h#evil", 80, "/p"},
    {"http://h;evil?x/p", "http", kNull, kNull, "h;evil?x", 80, "/p"},
    {"http://h\\evil/p", "http", kNull, kNull, "h\\evil", 80, "/p"},
    {"http://h/p?q=1&r#s", "http", kNull, kNull, "h", 80, "/p?q=1&r#s"},
    // The first "://" counts.
    {"http://h/http://i", "http", kNull, kNull, "h", 80, "/http://i"},
};

TEST(URL, SplitsTheText) {
  for (const ParseRow& row : kParseRows) {
    SCOPED_TRACE(row.text);
    Parsed url(row.text);
    ASSERT_EQ(url.status, Error_None);
    EXPECT_EQ(Shown(url.data->protocol), Shown(row.protocol));
    EXPECT_EQ(Shown(url.data->user), Shown(row.user));
    EXPECT_EQ(Shown(url.data->password), Shown(row.password));
    EXPECT_EQ(Shown(url.data->host), Shown(row.host));
    EXPECT_EQ(url.data->port, row.port);
    EXPECT_EQ(Shown(url.data->path), Shown(row.path));
  }
}

TEST(URL, CountsLowerCaseHexadecimalDigitsAsZero) {
  EXPECT_STREQ(Parsed("http://h/a%2fb").data->path, "/a b");
  EXPECT_STREQ(Parsed("http://h/a%0ab").data->path, "/ab");
  EXPECT_STREQ(Parsed("http://h/a%4fb").data->path, "/a@b");
  EXPECT_STREQ(Parsed("http://h/a%fFb").data->path,
               "/a\x0f"
               "b");
  EXPECT_STREQ(Parsed("http://h%2fevil/x").data->host, "h evil");
}

TEST(URL, RefusesATextWithoutAKnownScheme) {
  for (const char* text : {"", " ", "host", "http:/host", "://host", "gopher://h", "httpx://h", "htt://h",
                           "http ://h", "javascript://h", "x http://h"}) {
    Parsed url(text);
    EXPECT_EQ(url.status, Error_Invalid) << text;
    EXPECT_EQ(url.data, nullptr) << text;
  }
}

TEST(URL, LeavesTheRecordEmptyAfterAFailure) {
  char text[] = "gopher://u:p@h:7/x";
  URLData data;
  memset(&data, 0x55, sizeof data);
  EXPECT_EQ(URL_ToData(text, &data), Error_Invalid);
  EXPECT_EQ(data.protocol, nullptr);
  EXPECT_EQ(data.user, nullptr);
  EXPECT_EQ(data.password, nullptr);
  EXPECT_EQ(data.host, nullptr);
  EXPECT_EQ(data.port, -1);
  EXPECT_EQ(data.path, nullptr);
}

TEST(URL, CutsTheCallersTextInPlace) {
  char text[] = "ftp://u:p@host:99/a%20b";
  URLData data;
  ASSERT_EQ(URL_ToData(text, &data), Error_None);
  for (const char* part : {data.protocol, data.user, data.password, data.host, data.path}) {
    EXPECT_GE(part, text);
    EXPECT_LT(part, text + sizeof text);
  }
  EXPECT_STREQ(data.path, "/a b");
}

TEST(URL, RefusesNullArguments) {
  URLData data;
  URLData* out = &data;
  char text[] = "http://h";
  char buffer[1024] = "x";
  EXPECT_EQ(URL_NewData(nullptr, &out), Error_Invalid);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(URL_NewData("http://h", nullptr), Error_Invalid);
  EXPECT_EQ(URL_ToData(nullptr, &data), Error_Invalid);
  EXPECT_EQ(URL_ToData(text, nullptr), Error_Invalid);
  EXPECT_EQ(URL_FromData(nullptr, buffer), Error_Invalid);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(URL_FromData(&data, nullptr), Error_Invalid);
  EXPECT_EQ(URL_FromData(&data, buffer), Error_Invalid);  // no protocol
  EXPECT_EQ(URL_CopyData(nullptr), nullptr);
  EXPECT_EQ(URL_GetProtocolType(nullptr), -1);
  EXPECT_EQ(URL_GetProtocolPort(nullptr), -1);
}

TEST(URL, ParsesTextsOfAnyLength) {
  const std::string host(64 * 1024, 'h');
  const std::string path = "/" + std::string(8 * 1024 * 1024, 'p');
  Parsed url("http://" + host + ":8" + path);
  ASSERT_EQ(url.status, Error_None);
  EXPECT_EQ(url.data->host, host);
  EXPECT_EQ(url.data->port, 8);
  EXPECT_EQ(url.data->path, path);
}

TEST(URLProtocol, KnowsEveryScheme) {
  struct Row {
    const char* scheme;
    int32_t type;
    int32_t port;
  };
  for (const Row& row : {Row{"file", 4, 0}, Row{"http", 0, 80}, Row{"https", 1, 443}, Row{"ftp", 2, 21},
                         Row{"ftpu", 3, 21}, Row{"vrx", 2, 21}, Row{"vrxu", 3, 21}, Row{"FILE", 4, 0},
                         Row{"Http", 0, 80}, Row{"", -1, -1}, Row{"ftps", -1, -1}, Row{"ht", -1, -1}}) {
    EXPECT_EQ(URL_GetProtocolType(row.scheme), row.type) << row.scheme;
    EXPECT_EQ(URL_GetProtocolPort(row.scheme), row.port) << row.scheme;
  }
}

TEST(URLProtocol, KnowsThePortOfEveryType) {
  EXPECT_EQ(URL_GetProtocolTypePort(0), 80);
  EXPECT_EQ(URL_GetProtocolTypePort(1), 443);
  EXPECT_EQ(URL_GetProtocolTypePort(2), 21);
  EXPECT_EQ(URL_GetProtocolTypePort(3), 21);
  for (int32_t type : {4, 5, -1, INT32_MAX, INT32_MIN}) EXPECT_EQ(URL_GetProtocolTypePort(type), -1) << type;
}

// ---- formatting ------------------------------------------------------------------------------------------

URLData Record(const char* protocol, const char* user, const char* password, const char* host, int32_t port,
               const char* path) {
  return {const_cast<char*>(protocol),
          const_cast<char*>(user),
          const_cast<char*>(password),
          const_cast<char*>(host),
          port,
          const_cast<char*>(path)};
}

std::string Formatted(const URLData& data) {
  char buffer[1024];
  EXPECT_EQ(URL_FromData(&data, buffer), Error_None);
  return buffer;
}

TEST(URLFormat, WritesOnlyAPortThatDiffersFromTheDefault) {
  EXPECT_EQ(Formatted(Record("http", kNull, kNull, "h", 80, kNull)), "http://h");
  EXPECT_EQ(Formatted(Record("http", kNull, kNull, "h", 8080, kNull)), "http://h:8080");
  EXPECT_EQ(Formatted(Record("FTP", kNull, kNull, "h", 21, "/x")), "FTP://h/x");
  EXPECT_EQ(Formatted(Record("ftp", kNull, kNull, "h", 0, "/x")), "ftp://h:0/x");
  EXPECT_EQ(Formatted(Record("ftp", kNull, kNull, "h", -2147483647 - 1, "/x")), "ftp://h:-2147483648/x");
}

TEST(URLFormat, WritesTheURLOfAnUnknownScheme) {
  EXPECT_EQ(Formatted(Record("gopher", kNull, kNull, "h", 70, "/x")), "gopher://h:70/x");
  EXPECT_EQ(Formatted(Record("gopher", kNull, kNull, "h", -1, "/x")), "gopher://h/x");
  EXPECT_EQ(Formatted(Record("a b:/", kNull, kNull, kNull, 0, kNull)), "a b:/://");
}

TEST(URLFormat, WritesUserAndPasswordOnlyBeforeAHost) {
  EXPECT_EQ(Formatted(Record("ftp", "u", "p", "h", 21, "/x")), "ftp://u:p@h/x");
  EXPECT_EQ(Formatted(Record("ftp", "u", kNull, "h", 21, "/x")), "ftp://u@h/x");
  EXPECT_EQ(Formatted(Record("ftp", kNull, "p", "h", 21, "/x")), "ftp://h/x");
  EXPECT_EQ(Formatted(Record("ftp", "", "", "h", 21, "/x")), "ftp://:@h/x");
  EXPECT_EQ(Formatted(Record("file", "u", "p", kNull, 7, "/x")), "file:///x");
}

TEST(URLFormat, PutsASlashBeforeThePathWhenThereIsNone) {
  EXPECT_EQ(Formatted(Record("ftp", kNull, kNull, "h", 21, "x/y")), "ftp://h/x/y");
  EXPECT_EQ(Formatted(Record("file", kNull, kNull, kNull, 0, "c:/x")), "file://c%3A/x");
  EXPECT_EQ(Formatted(Record("file", kNull, kNull, kNull, 0, "/c:/x")), "file:///c%3A/x");
  EXPECT_EQ(Formatted(Record("http", kNull, kNull, "h/", 80, "x")), "http://h%2F/x");
  EXPECT_EQ(Formatted(Record("http", kNull, kNull, "", 80, "x")), "http://x");
  EXPECT_EQ(Formatted(Record("http", kNull, kNull, "h", 80, "")), "http://h/");
}

TEST(URLFormat, EscapesWithUpperCaseDigits) {
  EXPECT_EQ(Formatted(Record("ftp", "u;/?:@&=#", "p /", "h:1", 21, "/a;/?:@&=#b")),
            "ftp://u%3B%2F%3F%3A%40%26%3D#:p%20%2F@h%3A1/a%3B/%3F%3A%40&%3D#b");
  EXPECT_EQ(Formatted(Record("http", kNull, kNull, "h", 80, "/\x01\x1f \t\r\n\x80\xff")),
            "http://h/%01%1F%20%09%0D%0A%80%FF");
  // Neither "%" nor the other punctuation is escaped.
  EXPECT_EQ(Formatted(Record("http", kNull, kNull, "h", 80, "/%41$-_.+!*'(),<>\"\\~\x7f")),
            "http://h/%41$-_.+!*'(),<>\"\\~\x7f");
}

TEST(URLFormat, LosesAPercentSignThatWasEscaped) {
  Parsed url("http://h/%2541");
  ASSERT_STREQ(url.data->path, "/%41");
  EXPECT_EQ(Formatted(*url.data), "http://h/%41");
}

TEST(URLFormatExactly, KeepsAPercentSignThatWasEscaped) {
  Parsed url("http://%2541:%2542@%2543/%2541%25%zz%2");
  ASSERT_STREQ(url.data->path, "/%41%%zz%2");
  char text[64];
  EXPECT_EQ(iURL_FormatExactly(url.data, sizeof text, text), Error_None);
  EXPECT_STREQ(text, "http://%2541:%2542@%2543/%2541%%zz%2");
}

TEST(URLFormat, GivesBackWhatItParsed) {
  for (const char* text : {"ftp://u:p@h:2121/d/f", "http://h", "http://h/x&y#z", "file:///c%3A/x", "file:///",
                           "vrx://a%40b:c%3Ad@h/%01%FF"}) {
    Parsed url(text);
    ASSERT_EQ(url.status, Error_None) << text;
    EXPECT_EQ(Formatted(*url.data), text);
  }
}

TEST(URLFormat, GivesEveryByteBackInEveryPart) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string text = std::string("a") + static_cast<char>(byte) + "z";
    const std::string path = "/" + text;
    Parsed url(Formatted(Record("ftp", text.c_str(), text.c_str(), text.c_str(), 7, path.c_str())));
    ASSERT_EQ(url.status, Error_None) << byte;
    EXPECT_EQ(url.data->user, text) << byte;
    EXPECT_EQ(url.data->password, text) << byte;
    EXPECT_EQ(url.data->host, text) << byte;
    EXPECT_EQ(url.data->port, 7) << byte;
    EXPECT_EQ(url.data->path, path) << byte;
  }
}

TEST(URLFormat, CutsAtTheBufferAndNeverInsideAnEscape) {
  char buffer[1100];
  memset(buffer, '!', sizeof buffer);
  // "http://h/" is 9 bytes long: 1014 more fit.
  std::string path = "/" + std::string(1014, 'x');
  URLData data = Record("http", kNull, kNull, "h", 80, path.c_str());
  EXPECT_EQ(URL_FromData(&data, buffer), Error_None);
  EXPECT_EQ(strlen(buffer), 1023u);
  EXPECT_EQ(buffer[1024], '!');

  path += "y";
  data.path = path.data();
  EXPECT_EQ(URL_FromData(&data, buffer), Error_Exceed);
  EXPECT_EQ(std::string(buffer), "http://h/" + std::string(1014, 'x'));
  EXPECT_EQ(buffer[1024], '!');

  // Two bytes are left where an escape needs three; what follows is not written either.
  path = "/" + std::string(1012, 'x') + " y";
  data.path = path.data();
  EXPECT_EQ(URL_FromData(&data, buffer), Error_Exceed);
  EXPECT_EQ(std::string(buffer), "http://h/" + std::string(1012, 'x'));
}

TEST(URLFormat, CutsAtTheSizeGiven) {
  const URLData data = Record("http", kNull, kNull, "host", 8080, "/a b");
  const std::string whole = "http://host:8080/a%20b";
  char buffer[64];
  ASSERT_EQ(iURL_Format(&data, whole.size() + 1, buffer), Error_None);
  EXPECT_EQ(buffer, whole);
  for (size_t size = 1; size <= whole.size(); ++size) {
    memset(buffer, '!', sizeof buffer);
    EXPECT_EQ(iURL_Format(&data, size, buffer), Error_Exceed) << size;
    // The escape "%20" is written whole or not at all.
    const size_t kept = size - 1 == 19 || size - 1 == 20 ? 18 : size - 1;
    EXPECT_EQ(std::string(buffer), whole.substr(0, kept)) << size;
    for (size_t i = size; i < sizeof buffer; ++i) ASSERT_EQ(buffer[i], '!') << size;
  }
  EXPECT_EQ(iURL_Format(&data, 0, buffer), Error_Invalid);
  EXPECT_EQ(iURL_Format(nullptr, sizeof buffer, buffer), Error_Invalid);
  EXPECT_EQ(iURL_Format(&data, sizeof buffer, nullptr), Error_Invalid);
}

// ---- copying and comparing -------------------------------------------------------------------------------

TEST(URLCopy, OwnsItsTexts) {
  URLData* copy = nullptr;
  {
    Parsed url("ftp://u:p@h:7/x");
    copy = URL_CopyData(url.data);
  }
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(Formatted(*copy), "ftp://u:p@h:7/x");
  Memory_Delete(copy);
}

TEST(URLCopy, KeepsMissingTextsMissing) {
  Parsed url("http://h");
  URLData* copy = URL_CopyData(url.data);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->user, nullptr);
  EXPECT_EQ(copy->password, nullptr);
  EXPECT_EQ(copy->path, nullptr);
  EXPECT_STREQ(copy->protocol, "http");
  EXPECT_STREQ(copy->host, "h");
  EXPECT_EQ(copy->port, 80);
  Memory_Delete(copy);
}

TEST(URL, GivesMemoryWhenAnAllocationFails) {
  FailEveryAllocation([] {
    URLData* data = nullptr;
    const ErrorCode status = URL_NewData("ftp://u:p@h:7/x", &data);
    ASSERT_TRUE(status == Error_None || status == Error_Memory) << status;
    ASSERT_EQ(status == Error_None, data != nullptr);
    URLData* copy = URL_CopyData(data);
    Memory_Delete(data);
    Memory_Delete(copy);
  });
}

TEST(URL, LeavesNothingAllocatedWhenParsingFails) {
  const int64_t before = iMemory_CountLive();
  Parsed url("gopher://h");
  EXPECT_EQ(iMemory_CountLive(), before);
}

int Comparison(const char* a, const char* b) {
  Parsed left(a);
  Parsed right(b);
  EXPECT_EQ(left.status, Error_None);
  EXPECT_EQ(right.status, Error_None);
  const int32_t order = iURL_Compare(left.data, right.data);
  return (order > 0) - (order < 0);
}

TEST(URLCompare, ComparesFieldAfterField) {
  EXPECT_EQ(Comparison("ftp://u:p@h:7/x", "ftp://u:p@h:7/x"), 0);
  EXPECT_EQ(Comparison("ftp://z", "http://a"), -1);
  EXPECT_EQ(Comparison("ftp://b:a@a:1/a", "ftp://a:z@z:9/z"), 1);
  EXPECT_EQ(Comparison("ftp://u:b@a:1/a", "ftp://u:a@z:9/z"), 1);
  EXPECT_EQ(Comparison("ftp://u:p@b:1/a", "ftp://u:p@a:9/z"), 1);
  EXPECT_EQ(Comparison("ftp://h:10/a", "ftp://h:9/z"), 1);
  EXPECT_EQ(Comparison("ftp://h:9/a", "ftp://h:10/a"), -1);
  EXPECT_EQ(Comparison("ftp://h/a", "ftp://h/b"), -1);
  EXPECT_EQ(Comparison("ftp://h:21/a", "ftp://h/a"), 0);
  EXPECT_EQ(Comparison("ftp://h:2147483647/a", "ftp://h:0/a"), 1);
}

TEST(URLCompare, TakesBytesAsSigned) {
  EXPECT_EQ(Comparison("ftp://h/\xff", "ftp://h/a"), -1);
}

TEST(URLCompare, DoesNotFoldCase) {
  EXPECT_EQ(Comparison("FTP://h", "ftp://h"), -1);
  EXPECT_EQ(Comparison("ftp://H", "ftp://h"), -1);
}

TEST(URLCompare, SortsAMissingTextAfterAPresentOne) {
  EXPECT_EQ(Comparison("ftp://h", "ftp://u@h"), 1);
  EXPECT_EQ(Comparison("ftp://u@h", "ftp://h"), -1);
  EXPECT_EQ(Comparison("ftp://u@h", "ftp://u:p@h"), 1);
  EXPECT_EQ(Comparison("ftp://h/x", "ftp://h"), -1);
  EXPECT_EQ(Comparison("file:///x", "file://"), -1);
  EXPECT_EQ(Comparison("file://", "file://"), 0);
}

}  // namespace
