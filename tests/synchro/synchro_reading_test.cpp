// Lines of listings, exactly: what each says, or that it says nothing.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "synchro/synchro_reading_internal.h"
#include "tests/support/error_capture.h"
#include "tests/support/time_zone.h"

namespace {

std::string Show(SynchroLine kind, const SynchroRead& read) {
  if (kind == SynchroLine::NoEntry) return "no entry";
  if (kind == SynchroLine::NotUnderstood) return "not understood";
  return std::string(read.name) + "|" + (read.side.directory != 0 ? "d" : "f") + " " +
         std::to_string(read.side.size) + " " + std::to_string(read.side.time.seconds) +
         (read.isUnclear ? " unclear" : "") + (read.isUndated ? " undated" : "") +
         (read.isAmbiguous ? " ambiguous" : "");
}

std::string Facts(std::string line) {
  SynchroRead read;
  const SynchroLine kind = iSynchro_ReadFacts(line.data(), &read);
  return Show(kind, read);
}

std::string Long(std::string line) {
  SynchroRead read;
  const SynchroLine kind = iSynchro_ReadLongLine(line.data(), &read);
  return Show(kind, read);
}

struct Row {
  const char* line;
  const char* expected;
};

TEST(SynchroReading, ReadsFacts) {
  for (const Row& row : {
           Row{"type=file;size=5;modify=19970105090307; a", "a|f 5 852454987"},
           Row{"type=dir;modify=19970105090307; sub", "sub|d 0 852454987"},
           Row{"Type=FILE;Size=5;Modify=19970105090307;UNIX.mode=0644; my file -> x",
               "my file -> x|f 5 852454987"},
           Row{"size=5;modify=19970105090307.25;type=file;  two blanks ", " two blanks |f 5 852454987"},
           Row{"type=file;size=5;modify=19970105090307; a; b", "a; b|f 5 852454987"},
           Row{"type=file;size=99999999999;modify=19700101000001; a", "a|f 4294967295 1"},
           Row{"type=cdir;modify=19970105090307; .", "no entry"},
           Row{"type=pdir;modify=19970105090307; ..", "no entry"},
           Row{"type=PDIR;modify=19970105090307; /", "no entry"},
           Row{"type=dir;modify=19970105090307; ..", "no entry"},
           // What is there, and cannot be acted on.
           Row{"type=file;modify=19970105090307; a", "a|f 0 852454987 unclear"},
           Row{"type=file;size=5; a", "a|f 5 0 unclear"},
           Row{"type=file;size=x;modify=19970105090307; a", "a|f 0 852454987 unclear"},
           Row{"type=file;size=5;modify=19970230090307; a", "a|f 5 0 unclear"},
           Row{"type=OS.unix=slink:/x;size=5;modify=19970105090307; a", "a|f 0 852454987 unclear"},
           // What may be anything.
           Row{"size=5;modify=19970105090307; a", "not understood"},
           Row{"type=file;size=5;modify=19970105090307;a", "not understood"},
           Row{"type=file;size=5;modify=19970105090307; ", "not understood"},
           Row{" a", "not understood"},
           Row{"-rw-r--r-- 1 o g 5 Jan  5 1997 a", "not understood"},
           Row{"", "not understood"},
       })
    EXPECT_EQ(Facts(row.line), row.expected) << row.line;
}

TEST(SynchroReading, ReadsLongLines) {
  const TimeZone zone("UTC0");
  for (const Row& row : {
           Row{"-rw-r--r--   1 owner group 5 Jan  5 1997 09:03 a", "a|f 5 852454980"},
           Row{"-rw-r--r--   1 owner group 5 5 Jan 1997 09:03 a", "a|f 5 852454980"},
           Row{"-rw-r--r--+  1 owner group 99999999999 Jan  5 1997 09:03 a", "a|f 4294967295 852454980"},
           Row{"-rw-r--r--   1 owner group 5 Jan  5  1997 a", "a|f 5 0 unclear undated"},
           Row{"drwxr-xr-x   3 owner group 4096 Jan  5  1997 sub/", "sub|d 0 0"},
           Row{"drwxr-xr-x   3 owner group 4096 Jan  5 1997 09:03 sub", "sub|d 0 852454980"},
           Row{"-rw-r--r--   1 owner group 5 Jan  5 1997 09:03 my file", "my file|f 5 852454980 ambiguous"},
           Row{"-rw-r--r--   1 owner group 5 Jan  5 1997 09:03  a", " a|f 5 852454980 ambiguous"},
           Row{"-rw-r--r--   1 owner group 5 Jan  5 1997 09:03 a->b", "a->b|f 5 852454980 ambiguous"},
           Row{"lrwxrwxrwx   1 owner group 5 Jan  5 1997 09:03 a -> b", "a|f 5 852454980 unclear"},
           Row{"crw-r--r--   1 owner group 5, 1 Jan  5 1997 09:03 a", "a|f 0 852454980 unclear"},
           Row{"prw-r--r--   1 owner group 0 Jan  5 1997 09:03 a", "a|f 0 852454980 unclear"},
           Row{"-rw-r--r--   1 owner group 5 Feb 30 1997 09:03 a", "a|f 5 0 unclear"},
           Row{"-rw-r--r--   1 owner group 5 Jan  5 1997 25:00 a", "a|f 5 0 unclear"},
           Row{"total 12", "no entry"},
           Row{"drwxr-xr-x   3 owner group 4096 Jan  5 1997 09:03 .", "no entry"},
           Row{"drwxr-xr-x   3 owner group 4096 Jan  5 1997 09:03 ..", "no entry"},
           Row{"", "not understood"},
           Row{"total", "not understood"},
           Row{"total 12 a", "not understood"},
           Row{"ls: cannot open directory", "not understood"},
           Row{"01-05-97  09:03AM                5 a", "not understood"},
           Row{"-rw-r--r--   1 owner 5 Jan  5 1997 09:03 a", "not understood"},
           Row{"-rw-r--r--   1 Domain Users group 5 Jan  5 1997 09:03 a", "not understood"},
           Row{"-rw-r--r--   x owner group 5 Jan  5 1997 09:03 a", "not understood"},
           Row{"-rw-r--r--   1 owner group -5 Jan  5 1997 09:03 a", "not understood"},
           Row{"-rw-r--r--   1 owner group 5 Foo  5 1997 09:03 a", "not understood"},
           Row{"-rw-r--r--   1 owner group 5 Jan  5 a", "not understood"},
           Row{"-rw-r--r--   1 owner group 5 Jan  5 1997", "not understood"},
           Row{"-rw-r--r--   1 owner group 5 Jan  5 1997 ", "not understood"},
           Row{"?rw-r--r--   1 owner group 5 Jan  5 1997 09:03 a", "not understood"},
           Row{"-rw   1 owner group 5 Jan  5 1997 09:03 a", "not understood"},
       }) {
    const ErrorCapture reported;  // a date that does not exist is
    EXPECT_EQ(Long(row.line), row.expected) << row.line;
  }
}

// Pieces of lines, cut and put together in any way.
TEST(SynchroReading, ReadsNothingBeyondALine) {
  const ErrorCapture reported;  // dates that do not exist are
  const std::string pieces[] = {"type=file;",
                                "type=dir;",
                                "size=5;",
                                "modify=19970105090307;",
                                " ",
                                "; ",
                                "name",
                                "->",
                                " -> ",
                                "-rw-r--r--",
                                "drwxr-xr-x",
                                "lrwxrwxrwx",
                                " 1 ",
                                " owner group ",
                                "5",
                                " Jan  5 ",
                                "09:03",
                                "1997",
                                "total ",
                                "5, 1",
                                "=",
                                ";",
                                "\t",
                                "/",
                                "99999999999999999999"};
  std::mt19937 random(1);
  uint32_t entries = 0;
  for (int i = 0; i < 100000; ++i) {
    std::string line;
    for (uint32_t count = random() % 12; count != 0; --count) line += pieces[random() % std::size(pieces)];
    if (random() % 4 == 0 && !line.empty()) line.resize(random() % line.size());
    for (const bool isLong : {false, true}) {
      std::vector<char> held(line.begin(), line.end());
      held.push_back('\0');
      SynchroRead read;
      const SynchroLine kind =
          isLong ? iSynchro_ReadLongLine(held.data(), &read) : iSynchro_ReadFacts(held.data(), &read);
      if (kind != SynchroLine::Entry) continue;
      ++entries;
      ASSERT_NE(line.find(read.name), std::string::npos) << line;
      ASSERT_STRNE(read.name, "") << line;
      ASSERT_EQ(read.side.present, 1u) << line;
    }
  }
  EXPECT_GT(entries, 100u);
}

TEST(SynchroReading, KnowsAMomentInAnotherTimeZone) {
  struct Times {
    uint32_t listed;
    uint32_t stamped;
    bool isSame;
  };
  constexpr uint32_t kListed = 852454980;  // a whole minute
  for (const Times& row : {
           Times{kListed, kListed, true}, Times{kListed, kListed + 59, true},
           Times{kListed, kListed + 60, false}, Times{kListed, kListed - 1, false},
           Times{kListed, kListed + 3600, true}, Times{kListed, kListed + 3600 + 59, true},
           Times{kListed, kListed - 3600 + 7, true}, Times{kListed, kListed + 5 * 3600 + 30 * 60, true},
           Times{kListed, kListed + 45 * 60 + 1, true}, Times{kListed, kListed + 600, false},
           Times{kListed, kListed + 26 * 3600, true}, Times{kListed, kListed + 27 * 3600, false},
           Times{kListed, kListed - 27 * 3600, false},
           Times{kListed + 1, kListed + 1, false},  // no line of LIST has such a time
       })
    EXPECT_EQ(iSynchro_IsSameMoment({row.listed, 0}, {row.stamped, 0}), row.isSame)
        << row.stamped - row.listed;
}

}  // namespace
