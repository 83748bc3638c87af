// What is decided about an offset, about the size of the buffer, and where redirects lead: tables.
#include <gtest/gtest.h>

#include <string>

#include "qz/memory.h"
#include "tests/transfer/conversation_fixture.h"
#include "transfer/vrxclient_resume_internal.h"

namespace {

constexpr uint64_t kNone = kSizeUnknown;
constexpr Time kMonday = {1000000000, 0};
constexpr Time kTuesday = {1000086400, 0};
constexpr Time kNoTime = {0, 0};

// ---- deciding ------------------------------------------------------------------------------------------

struct JudgeRow {
  const char* what;
  HTTPAnswer answer;
  KnownFile known;
  ResumeAction action;
  bool canResume;
  uint64_t size;
};

constexpr HTTPAnswer Whole(uint64_t length) {
  return {200, length, false, kNone, kNone, kNone, kNoTime};
}
constexpr HTTPAnswer Range(uint64_t first, uint64_t last, uint64_t total, Time time = kNoTime) {
  return {206, kNone, true, first, last, total, time};
}
constexpr HTTPAnswer Unsatisfied(uint64_t total) {
  return {416, kNone, false, kNone, kNone, total, kNoTime};
}

constexpr JudgeRow kJudgements[] = {
    {"no range, length told", Whole(10), {0, kNone, kNoTime}, ResumeAction::Restart, false, 10},
    {"no range, no length", Whole(kNone), {0, kNone, kNoTime}, ResumeAction::Restart, false, kNone},
    {"the range is ignored", Whole(10), {4, 10, kNoTime}, ResumeAction::Restart, false, 10},
    {"ignored, another length", Whole(12), {4, 10, kNoTime}, ResumeAction::Restart, false, 12},
    {"from the begin", Range(0, 9, 10), {0, kNone, kNoTime}, ResumeAction::Continue, true, 10},
    {"from the begin, no total", Range(0, 9, kNone), {0, kNone, kNoTime}, ResumeAction::Continue, true, 10},
    {"the rest", Range(4, 9, 10), {4, 10, kNoTime}, ResumeAction::Continue, true, 10},
    {"the rest, no total", Range(4, 9, kNone), {4, 10, kNoTime}, ResumeAction::Continue, true, 10},
    {"the rest, size not known", Range(4, 9, 10), {4, kNone, kNoTime}, ResumeAction::Continue, true, 10},
    {"less than the rest", Range(4, 6, 10), {4, 10, kNoTime}, ResumeAction::Continue, true, 10},
    {"behind 4 GiB",
     Range(5000000000, 5999999999, 6000000000),
     {5000000000, 6000000000, kNoTime},
     ResumeAction::Continue,
     true,
     6000000000},
    {"the whole in a range", Range(0, 9, 10), {4, 10, kNoTime}, ResumeAction::Restart, true, 10},
    {"no last byte", Range(0, kNone, kNone), {0, kNone, kNoTime}, ResumeAction::Refused, false, kNone},
    {"a part, nobody knows which",
     {206, 6, false, kNone, kNone, kNone, kNoTime},
     {4, 10, kNoTime},
     ResumeAction::Refused,
     false,
     kNone},
    {"a part of no told place, from the begin",
     {206, 10, false, kNone, kNone, kNone, kNoTime},
     {0, kNone, kNoTime},
     ResumeAction::Restart,
     false,
     10},
    {"another offset", Range(3, 9, 10), {4, 10, kNoTime}, ResumeAction::Refused, false, kNone},
    {"a later offset", Range(5, 9, 10), {4, 10, kNoTime}, ResumeAction::Refused, false, kNone},
    {"no last byte", Range(4, kNone, 10), {4, 10, kNoTime}, ResumeAction::Refused, false, kNone},
    {"ends before it begins", Range(4, 3, 10), {4, 10, kNoTime}, ResumeAction::Refused, false, kNone},
    {"ends behind the total", Range(4, 10, 10), {4, 10, kNoTime}, ResumeAction::Refused, false, kNone},
    {"another total", Range(4, 9, 11), {4, 10, kNoTime}, ResumeAction::Changed, true, kNone},
    {"another end, no total", Range(4, 10, kNone), {4, 10, kNoTime}, ResumeAction::Changed, true, kNone},
    {"another total, nothing held", Range(0, 10, 11), {0, 10, kNoTime}, ResumeAction::Changed, true, kNone},
    {"same time", Range(4, 9, 10, kMonday), {4, 10, kMonday}, ResumeAction::Continue, true, 10},
    {"another time", Range(4, 9, 10, kTuesday), {4, 10, kMonday}, ResumeAction::Changed, true, kNone},
    {"time not told", Range(4, 9, 10), {4, 10, kMonday}, ResumeAction::Continue, true, 10},
    {"time not known", Range(4, 9, 10, kTuesday), {4, 10, kNoTime}, ResumeAction::Continue, true, 10},
    {"another time, nothing held",
     Range(0, 9, 10, kTuesday),
     {0, 10, kMonday},
     ResumeAction::Continue,
     true,
     10},
    {"anew, the same file", Range(0, 9, 10), {0, 10, kMonday, true}, ResumeAction::Continue, true, 10},
    {"anew, another total", Range(0, 10, 11), {0, 10, kNoTime, true}, ResumeAction::Continue, true, 11},
    {"anew, another offset", Range(4, 9, 10), {0, 10, kNoTime, true}, ResumeAction::Refused, false, kNone},
    {"416, nothing held", Unsatisfied(kNone), {0, kNone, kNoTime}, ResumeAction::Restart, false, 0},
    {"416, all held", Unsatisfied(10), {10, 10, kNoTime}, ResumeAction::Continue, true, 10},
    {"416, all held, no total", Unsatisfied(kNone), {10, 10, kNoTime}, ResumeAction::Changed, true, kNone},
    {"416, a shorter file", Unsatisfied(8), {10, 10, kNoTime}, ResumeAction::Changed, true, kNone},
    {"416, size not known", Unsatisfied(10), {10, kNone, kNoTime}, ResumeAction::Changed, true, kNone},
};

TEST(Resume, JudgesHTTPAnswers) {
  for (const JudgeRow& row : kJudgements) {
    SCOPED_TRACE(row.what);
    const ResumeDecision decision = iResume_JudgeHTTP(row.answer, row.known);
    EXPECT_EQ(decision.action, row.action);
    EXPECT_EQ(decision.canResume, row.canResume);
    EXPECT_EQ(decision.size, row.size);
  }
}

TEST(Resume, TellsWhereTheAnswerEnds) {
  EXPECT_EQ(iResume_JudgeHTTP(Range(4, 6, 10), {4, 10, kNoTime}).end, 7u);
  EXPECT_EQ(iResume_JudgeHTTP(Range(0, 9, 10), {4, 10, kNoTime}).end, 10u);
  EXPECT_EQ(iResume_JudgeHTTP(Range(4, 9, kNone), {4, kNone, kNoTime}).end, 10u);
  EXPECT_EQ(iResume_JudgeHTTP(Whole(10), {4, 10, kNoTime}).end, kNone);
  EXPECT_EQ(iResume_JudgeHTTP(Unsatisfied(10), {10, 10, kNoTime}).end, kNone);
}

// Bytes that are to be cut, but still there, must not be taken for the beginning of the new file.
TEST(Resume, TellsAnotherFile_WhenAllBytesAreAskedForAnew) {
  struct Row {
    const char* what;
    HTTPAnswer answer;
    KnownFile known;
    bool isOtherFile;
  };
  constexpr Row kRows[] = {
      {"no range, same length", Whole(10), {0, 10, kNoTime, true}, false},
      {"no range, another length", Whole(11), {0, 10, kNoTime, true}, true},
      {"no range, another length, nothing held", Whole(11), {0, 10, kNoTime}, false},
      {"range, same total and time", Range(0, 9, 10, kMonday), {0, 10, kMonday, true}, false},
      {"range, another total", Range(0, 10, 11), {0, 10, kNoTime, true}, true},
      {"range, another time", Range(0, 9, 10, kTuesday), {0, 10, kMonday, true}, true},
      {"range, size not known", Range(0, 9, 10), {0, kNone, kNoTime, true}, false},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(iResume_JudgeHTTP(row.answer, row.known).isOtherFile, row.isOtherFile);
  }
}

TEST(Resume, TellsAnotherFileByTheSizeOfAnFTPServer) {
  EXPECT_TRUE(iResume_IsOtherFile(11, 10, 4));
  EXPECT_FALSE(iResume_IsOtherFile(10, 10, 4));
  EXPECT_FALSE(iResume_IsOtherFile(11, 10, 0));
  EXPECT_FALSE(iResume_IsOtherFile(11, kNone, 4));
  EXPECT_FALSE(iResume_IsOtherFile(11, 0, 4));
}

TEST(Resume, BeginsADownloadBehindItsDataFile) {
  EXPECT_EQ(iResume_DownloadOffset(4, 10), 4u);
  EXPECT_EQ(iResume_DownloadOffset(10, 10), 10u);
  EXPECT_EQ(iResume_DownloadOffset(4, kNone), 4u);
  EXPECT_EQ(iResume_DownloadOffset(11, 10), 0u);
  EXPECT_EQ(iResume_DownloadOffset(11, 0), 0u);
}

TEST(Resume, BeginsAnUploadBehindWhatTheServerHolds) {
  EXPECT_EQ(iResume_UploadOffset(4, 10), 4u);
  EXPECT_EQ(iResume_UploadOffset(0, 10), 0u);
  EXPECT_EQ(iResume_UploadOffset(10, 10), 0u);
  EXPECT_EQ(iResume_UploadOffset(11, 10), 0u);
  EXPECT_EQ(iResume_UploadOffset(kNone, 10), 0u);
}

TEST(Resume, SizesTheBufferByTheSpeed) {
  const struct {
    float bytesPerSecond;
    uint32_t size;
  } kRows[] = {{0, 4096},      {1, 1024},      {1024, 1024},    {2047, 1024},  {2048, 1024}, {2049, 2048},
               {3072, 2048},   {3073, 3072},   {7167, 6144},    {7168, 6144},  {7169, 8192}, {9217, 10240},
               {13311, 12288}, {13312, 12288}, {100000, 12288}, {3e38f, 12288}};
  for (const auto& row : kRows)
    EXPECT_EQ(iVRXClient_BufferSizeFor(row.bytesPerSecond), row.size) << row.bytesPerSecond;
}

// ---- redirects -----------------------------------------------------------------------------------------

std::string Target(const char* base, const char* location) {
  URLData* data = nullptr;
  EXPECT_EQ(URL_NewData(base, &data), Error_None);
  char target[kURLSize];
  const ErrorCode status = iResume_RedirectTarget(*data, location, target);
  Memory_Delete(data);
  return status == Error_None ? target : "status " + std::to_string(status);
}

TEST(Resume, FindsWhereARedirectLeads) {
  const struct {
    const char* base;
    const char* location;
    const char* target;
  } kRows[] = {
      {"http://a/d/f", "http://b:8080/x", "http://b:8080/x"},
      {"http://a/d/f", "ftp://b/x", "ftp://b/x"},
      {"http://a/d/f", "file:///etc/x", "file:///etc/x"},
      {"http://a/d/f", "http://b/x;http://c/x", "http://b/x;http://c/x"},
      {"http://a/d/f", "/x/y", "http://a/x/y"},
      {"http://a:81/d/f", "/x", "http://a:81/x"},
      {"http://u:p@a/d/f", "/x", "http://u:p@a/x"},
      {"http://a/d/f", "x", "http://a/d/x"},
      {"http://a/d/", "x", "http://a/d/x"},
      {"http://a/f", "x/y", "http://a/x/y"},
      {"http://a", "x", "http://a/x"},
      {"http://a/d/f?q=/1/2", "x", "http://a/d/x"},
      {"http://a/d/f#/1/2", "x", "http://a/d/x"},
      {"http://a/d/f", "../x", "http://a/d/../x"},
      {"http://a/d/f", "//b/x", "http://a//b/x"},
      {"http://a/d/f", "gopher://b/x", "http://a/d/gopher%3A//b/x"},
  };
  for (const auto& row : kRows) EXPECT_EQ(Target(row.base, row.location), row.target) << row.location;
  EXPECT_EQ(Target("http://a/d/f", ("/" + std::string(1100, 'x')).c_str()), "status 5");
  EXPECT_EQ(Target("http://a/d/f", ("http://b/" + std::string(1100, 'x')).c_str()), "status 5");
}

std::string Resolved(const char* base, const char* requestTarget, const char* location) {
  URLData* data = nullptr;
  EXPECT_EQ(URL_NewData(base, &data), Error_None);
  char url[kURLSize];
  const ErrorCode status = iResume_ResolveLocation(*data, requestTarget, location, url);
  Memory_Delete(data);
  return status == Error_None ? url : "status " + std::to_string(status);
}

TEST(Resume, ResolvesALocationWithoutChangingIt) {
  const struct {
    const char* requestTarget;
    const char* location;
    const char* url;
  } kRows[] = {
      {"/d/f", "http://b:8080/x%20y?q=%26", "http://b:8080/x%20y?q=%26"},
      {"/d/f", "https://b/x%2F", "https://b/x%2F"},
      {"/d/f", "ftp://b/x%20y", "ftp://b/x%20y"},
      {"/d/f", "//b/x%20y", "http://b/x%20y"},
      {"/d/f", "/x%20y", "http://a:81/x%20y"},
      {"/d%2F/f", "x%20y", "http://a:81/d%2F/x%20y"},
      {"/d/f?q=/1/2", "x", "http://a:81/d/x"},
      {"/d/f?old", "?q=%26", "http://a:81/d/f?q=%26"},
      {"/d/f", "http://b/x#part", "http://b/x"},
      {"/d/f", "x#part", "http://a:81/d/x"},
      {"/d/f", "../x", "http://a:81/d/../x"},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(Resolved("http://a:81/d/f", row.requestTarget, row.location), row.url) << row.location;
  EXPECT_EQ(Resolved("http://a/d/f", "/d/f", ("//b/" + std::string(1020, 'x')).c_str()), "status 5");
  EXPECT_EQ(Resolved("http://a/d/f", "/d/f", ("/" + std::string(1020, 'x')).c_str()), "status 5");
}

TEST(Resume, FindsTheRequestTargetOfAURL) {
  EXPECT_STREQ(iResume_RequestTargetOf("http://a:81/d%20/f?q=/x"), "/d%20/f?q=/x");
  EXPECT_STREQ(iResume_RequestTargetOf("http://a"), "/");
}

}  // namespace
