// Whole runs with an FTP server on one side or both, the conversations byte for byte.
#include <string>

#include "os/platform/filesystem.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/synchro/synchro_fixture.h"
#include "tests/synchro/synchro_ftp_fixture.h"

namespace {

using namespace script;
using ftp::Exchange;
using ftp::Join;
using ftp::Quit;
using synchro::FileLine;
using synchro::FolderLine;
using synchro::kRecurse;
using synchro::Lines;
using synchro::List;
using synchro::Login;
using synchro::Outcome;
using synchro::Retrieve;
using synchro::Store;
using synchro::Values;

class SynchroFTPTest : public synchro::Test {
 protected:
  // One server as the source of a run into the local folder.
  Outcome Download(uint32_t flags, const Script& script, const std::string& path = "/pub") {
    ScriptedServer server({script});
    Call("127.0.0.1:" + std::to_string(server.port()), "HOST");
    const Outcome outcome = Run(flags, FTPURL(server, path), FileURL("dst"));
    server.Finish();
    return outcome;
  }
  // The other way.
  Outcome Upload(uint32_t flags, const Script& script, std::string* stored = nullptr) {
    ScriptedServer server({script});
    const Outcome outcome = Run(flags, FileURL("src"), FTPURL(server));
    server.Finish();
    if (stored != nullptr) *stored = server.DataReceived(0);
    return outcome;
  }
  static bool Has(const Outcome& outcome, const std::string& line) {
    return std::find(outcome.lines.begin(), outcome.lines.end(), line) != outcome.lines.end();
  }
};

// ---- from a server -----------------------------------------------------------------------------

TEST_F(SynchroFTPTest, CopiesNewFilesThroughAllSubdirectories) {
  const Outcome outcome = Download(
      kRecurse | 1,
      Join({Login(), List("/pub/", "total 3\r\n" + FileLine("a.txt") + FolderLine("sub") + FileLine("z.txt")),
            Retrieve("/pub/a.txt", "hello"), List("/pub/sub", FileLine("b.txt")),
            Retrieve("/pub/sub/b.txt", "inner"), Retrieve("/pub/z.txt", "world"), Quit()}));
  EXPECT_EQ(outcome.lines,
            (Lines{"Go!", "Pushed \"\"", "Synchronizing...", "Retrieving source listing ftp://u@HOST/pub/...",
                   "Retrieving destination listing file://DST/...", "Updating tables...",
                   "ftp > file:  a.txt  -> None", "Pushed \"sub\"", "Synchronizing...",
                   "Retrieving source listing ftp://u@HOST/pub/sub...",
                   "Retrieving destination listing file://DST/sub...", "Updating tables...",
                   "ftp > file: sub b.txt  -> None", "Exiting \"sub\"", "ftp > file:  z.txt  -> None",
                   "Exiting \"\""}))
      << "the password is not shown, and the entries behind a directory wait for it";
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_EQ(outcome.counters, "0 0 0 3 0");
  EXPECT_EQ(Tree("dst"), "a.txt=hello sub/ sub/b.txt=inner z.txt=world");
}

TEST_F(SynchroFTPTest, LogsInAnonymously_WithoutAUser) {
  ScriptedServer server(
      {Join({{SendLine("220 ready"), ExpectLine("USER ftp"), SendLine("331 who?"),
              ExpectLine("PASS anonymous@"), SendLine("230 in"), ExpectLine("TYPE I"), SendLine("200 ok")},
             List("/pub/", ""),
             Quit()})});
  EXPECT_EQ(Run(1, "ftp://" + server.address() + "/pub", FileURL("dst")).state, SynchroState_Finished);
  server.Finish();
}

TEST_F(SynchroFTPTest, ListsTheLoginsFolder_WithoutAPath) {
  const Outcome outcome = Download(
      kRecurse | 1,
      Join({Login(), Exchange("PWD", "257 \"/home/u\""), ftp::Passive(), ftp::Started("LIST"),
            ftp::SendsFile(FolderLine("sub") + FileLine("z.txt")), List("/home/u/sub", FileLine("b.txt")),
            Retrieve("/home/u/sub/b.txt", "inner"), Retrieve("/home/u/z.txt", "world"), Quit()}),
      "/");
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_EQ(Tree("dst"), "sub/ sub/b.txt=inner z.txt=world");
}

TEST_F(SynchroFTPTest, FailsTheRun_WhenTheServerRefusesTheLoginOrTheType) {
  const Outcome login =
      Download(1, {SendLine("220 ready"), ExpectLine("USER u"), SendLine("331 who?"), ExpectLine("PASS p"),
                   SendLine("530 no"), ExpectLine("QUIT"), SendLine("221 bye"), ExpectEnd()});
  EXPECT_EQ(login.state, SynchroState_Failed);
  EXPECT_EQ(login.counters, "-5 0 0 0 0");
  EXPECT_EQ(login.lines, (Lines{"Go!", "Pushed \"\""}));
  const Outcome type =
      Download(1, {SendLine("220 ready"), ExpectLine("USER u"), SendLine("230 in"), ExpectLine("TYPE I"),
                   SendLine("504 no"), ExpectLine("QUIT"), SendLine("221 bye"), ExpectEnd()});
  EXPECT_EQ(type.counters, "-5 0 0 0 0");
}

TEST_F(SynchroFTPTest, TakesTheWholeFile_WhenTheServerDoesNotKnowSizes) {
  const Outcome outcome =
      Download(1, Join({Login(), List("/pub/", FileLine("a.txt", "99")), Exchange("SIZE /pub/a.txt", "500 ?"),
                        ftp::Passive(), ftp::Started("RETR /pub/a.txt"), ftp::SendsFile("hello"), Quit()}));
  EXPECT_EQ(outcome.counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a.txt=hello");
}

TEST_F(SynchroFTPTest, KeepsTheOldFile_WhenTheNewOneComesIncomplete) {
  Put("dst/a.txt", "old");
  WriteTable("a.txt:0:True:False:3:1.0:True:False:3:1000000000.0\n");
  const Outcome outcome =
      Download(1, Join({Login(), List("/pub/", FileLine("a.txt")), Exchange("SIZE /pub/a.txt", "213 10"),
                        ftp::Passive(), ftp::Started("RETR /pub/a.txt"), ftp::SendsFile("hello"), Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{"ftp > file:  a.txt  -> Ended"});
  EXPECT_EQ(outcome.counters, "0 0 0 0 0");
  EXPECT_EQ(Tree("dst"), "a.txt=old") << "and no temporary";
  EXPECT_EQ(Table("/"), "a.txt:2:True:False:5:852454980.0:True:False:3:1000000000.0\n") << "still to be done";
}

TEST_F(SynchroFTPTest, GoesOnWithTheNextFile_WhenOneIsRefused) {
  const Outcome outcome = Download(
      1, Join({Login(), List("/pub/", FileLine("a") + FileLine("b")), Exchange("SIZE /pub/a", "213 5"),
               ftp::Passive(), Exchange("RETR /pub/a", "550 no"), Retrieve("/pub/b", "hello"), Quit()}));
  EXPECT_EQ(FileLines(outcome), (Lines{"ftp > file:  a  -> Not Found", "ftp > file:  b  -> None"}));
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_EQ(Tree("dst"), "b=hello");
}

TEST_F(SynchroFTPTest, DeletesAtTheServer) {
  WriteTable("a:0:True:False:5:852454980.0:True:False:3:1000000000.0\n");
  const Outcome outcome =
      Download(6, Join({Login(), List("/pub/", FileLine("a")), Exchange("DELE /pub/a", "250 gone"), Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{"ftp < file:  a DELETE -> None"});
  EXPECT_EQ(outcome.counters, "0 0 1 0 0");
}

TEST_F(SynchroFTPTest, TellsWhenADeletionIsRefused) {
  WriteTable("a:0:True:False:5:852454980.0:True:False:3:1000000000.0\n");
  const Outcome outcome =
      Download(6, Join({Login(), List("/pub/", FileLine("a")), Exchange("DELE /pub/a", "550 no"), Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{"ftp < file:  a DELETE -> Invalid"});
  EXPECT_EQ(outcome.counters, "0 0 0 0 0");
  EXPECT_EQ(Table("/"), "a:1:True:False:5:852454980.0:False:False:3:1000000000.0\n");
}

// ---- to a server -------------------------------------------------------------------------------

TEST_F(SynchroFTPTest, StoresAndAsksForTheValuesOfTheCopy) {
  Put("src/a", "hello");
  std::string stored;
  const Outcome outcome =
      Upload(1, Join({Login(), List("/pub/", ""), Store("/pub/a", "5", "19970105090300"), Quit()}), &stored);
  EXPECT_EQ(FileLines(outcome), Lines{"file > ftp:  a  -> None"});
  EXPECT_EQ(outcome.counters, "0 0 0 1 0");
  EXPECT_EQ(stored, "hello");
  EXPECT_EQ(Table("/"), "a:0:True:False:5:1000000000.0:True:False:5:852454980.0\n");
}

TEST_F(SynchroFTPTest, CountsAStoreAsNotDone_WhenTheServerDoesNotTellItsSizeOrTime) {
  const struct {
    const char* size;
    const char* time;
  } rows[] = {{"500 ?", "213 19970105090300"}, {"213 5", "500 ?"}, {"500 ?", "500 ?"}, {"213 x", "213 5"}};
  for (const auto& row : rows) {
    ForgetTables();
    Put("src/a", "hello");
    const Outcome outcome = Upload(
        1, Join({Login(), List("/pub/", ""), ftp::Passive(), ftp::Started("STOR /pub/a"), ftp::TakesFile(),
                 Exchange("SIZE /pub/a", row.size), Exchange("MDTM /pub/a", row.time), Quit()}));
    EXPECT_EQ(FileLines(outcome), Lines{"file > ftp:  a  -> Invalid"}) << row.size << row.time;
    EXPECT_EQ(outcome.counters, "0 0 0 0 0");
    EXPECT_EQ(Table("/"), "a:2:True:False:5:1000000000.0:False:False:0:0.0\n");
  }
}

// What a cut upload leaves at the server is newer than the file that it should have become.
TEST_F(SynchroFTPTest, TakesItsOwnHalfFileForNoChange) {
  for (const uint32_t flags : {1u, 3u, 7u, 11u, 15u}) {
    SCOPED_TRACE(flags);
    ForgetTables();
    WriteTable("a:0:True:False:5:1000000000.0:True:False:5:852454980.0\n");
    Put("src/a", "hello world", 1100000000);
    const Outcome cut = Upload(flags, Join({Login(),
                                            List("/pub/", FileLine("a")),
                                            ftp::Passive(),
                                            ftp::Started("STOR /pub/a"),
                                            {DataReadToEnd(), DataClose(), SendLine("426 cut")},
                                            Quit()}));
    EXPECT_EQ(FileLines(cut), Lines{"file > ftp:  a  -> Invalid"});
    const Outcome outcome = Upload(flags, Join({Login(), List("/pub/", FileLine("a", "4", "10:30")),
                                                Store("/pub/a", "11", "19970105110000"), Quit()}));
    EXPECT_EQ(FileLines(outcome), Lines{"file > ftp:  a  -> None"});
    EXPECT_EQ(Tree("src"), "a=hello world");
  }
}

TEST_F(SynchroFTPTest, TakesAnEditForAChange_BehindAnUploadThatWasRefused) {
  WriteTable("a:0:True:False:5:1000000000.0:True:False:5:852454980.0\n");
  Put("src/a", "hello world", 1100000000);
  const Outcome refused = Upload(3, Join({Login(), List("/pub/", FileLine("a")), ftp::Passive(),
                                          Exchange("STOR /pub/a", "553 no"), Quit()}));
  EXPECT_EQ(FileLines(refused), Lines{"file > ftp:  a  -> Invalid"});
  const Outcome outcome = Upload(3, Join({Login(), List("/pub/", FileLine("a", "4", "10:30")), Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{"file ! ftp:  a  -> None"});
}

TEST_F(SynchroFTPTest, SendsNothingForAFileInThePlaceOfAFolder) {
  const std::string link = "lrwxrwxrwx   1 owner group 5 Jan  5 1997 09:03 a -> b\r\n";
  for (const std::string& line : {FolderLine("a"), link}) {
    ForgetTables();
    WriteTable("a:2:True:False:5:1000000000.0:False:False:0:0.0\n");
    Put("src/a", "hello");
    const Outcome copy = Upload(1, Join({Login(), List("/pub/", line), Quit()}));
    EXPECT_EQ(FileLines(copy), Lines{"file > ftp:  a  -> Exists"}) << line;
    Remove("src/a");
    WriteTable("a:2:False:False:5:1000000000.0:True:False:5:852454980.0\n");
    const Outcome deletion = Upload(9, Join({Login(), List("/pub/", line), Quit()}));
    EXPECT_EQ(FileLines(deletion), Lines{"file > ftp:  a DELETE -> Invalid"}) << line;
    EXPECT_EQ(deletion.counters, "0 0 0 0 0");
  }
}

TEST_F(SynchroFTPTest, MakesAMissingFolder) {
  Put("src/sub/a", "hello");
  const Outcome outcome =
      Upload(kRecurse | 1, Join({Login(), List("/pub/", ""), Exchange("CWD /pub/sub", "550 no"),
                                 Exchange("MKD /pub/sub", "257 made"), List("/pub/sub", ""),
                                 Store("/pub/sub/a", "5", "19970105090300"), Quit()}));
  EXPECT_EQ(outcome.counters, "0 0 0 1 0");
  EXPECT_EQ(outcome.state, SynchroState_Finished);
}

TEST_F(SynchroFTPTest, TakesANewFolderThatCannotBeListedForAnEmptyOne) {
  Put("src/sub/a", "hello");
  const Outcome outcome =
      Upload(kRecurse | 1,
             Join({Login(), List("/pub/", ""), Exchange("CWD /pub/sub", "550 no"),
                   Exchange("MKD /pub/sub", "257 made"), Exchange("CWD /pub/sub", "250 ok"), ftp::Passive(),
                   Exchange("LIST", "550 No files"), Store("/pub/sub/a", "5", "19970105090300"), Quit()}));
  EXPECT_EQ(outcome.counters, "0 0 0 1 0");
}

// ---- folders that are refused ------------------------------------------------------------------

TEST_F(SynchroFTPTest, TakesARefusedRootForEmpty_WhenNothingIsKnownThere) {
  Put("dst/a", "a");
  for (const char* const reply : {"550 no", "530 not you", "500 what?"}) {
    const Outcome outcome = Download(1, Join({Login(), Exchange("CWD /pub/", reply), Quit()}));
    EXPECT_EQ(FileLines(outcome), Lines{"ftp = file:  a  -> None"}) << reply;
  }
}

TEST_F(SynchroFTPTest, FailsARefusedRoot_WhenTheTableKnowsFilesThere) {
  Put("dst/a", "a");
  const std::string table = "a:0:True:False:5:852454980.0:True:False:1:1000000000.0\n";
  WriteTable(table);
  const Outcome outcome = Download(9, Join({Login(), Exchange("CWD /pub/", "550 no"), Quit()}));
  EXPECT_EQ(outcome.lines.back(), "* Retrieval failed: No Access");
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_EQ(Tree("dst"), "a=a") << "nothing is deleted";
  EXPECT_EQ(Table("/"), table);
}

TEST_F(SynchroFTPTest, TellsThatThePathOfAFolderIsTooLong) {
  const std::string outer(30, 'o');
  const std::string inner(1000, 'i');
  const ErrorCapture capture;
  Download(kRecurse | 1, Join({Login(), List("/pub/", FolderLine(outer)),
                               List("/pub/" + outer, FolderLine(inner) + FileLine("a")),
                               Retrieve("/pub/" + outer + "/a", "hello"), Quit()}));
  // The line is cut, like every one that is as long.
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_TRUE(capture.Lines()[0].starts_with("#### Error: Synchro: the path is too long: \"iiii"))
      << capture.Lines()[0];
  EXPECT_EQ(Tree("dst"), outer + "/ " + outer + "/a=hello");
}

TEST_F(SynchroFTPTest, FailsAFolder_WhoseListingCannotBeConnected) {
  Put("dst/a", "a");
  const Outcome outcome =
      Download(9, Join({Login(), Exchange("CWD /pub/", "250 ok"), Exchange("PASV", "227 (127,0,0,1,1,1)"),
                        Exchange("LIST", "425 no connection"), Quit()}));
  EXPECT_EQ(outcome.lines.back(), "* Retrieval failed: No Access");
  EXPECT_EQ(Tree("dst"), "a=a") << "nothing is deleted";
}

// A server that closes the port before it says why.
TEST_F(SynchroFTPTest, TakesARefusedListingForEmpty_WhenThePortIsClosedToo) {
  Put("dst/a", "a");
  const Outcome outcome =
      Download(1, Join({Login(), Exchange("CWD /pub/", "250 ok"), Exchange("PASV", "227 (127,0,0,1,1,1)"),
                        Exchange("LIST", "550 no files"), Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{"ftp = file:  a  -> None"});
}

TEST_F(SynchroFTPTest, FailsAFolderThatIsRefusedForNow) {
  Put("dst/a", "a");
  // Also where the source's folder may be made: no MKD is sent.
  for (const uint32_t flags : {9u, 11u}) {
    for (const char* const reply : {"421 closing", "450 busy"}) {
      const Outcome outcome = Download(flags, Join({Login(), Exchange("CWD /pub/", reply), Quit()}));
      EXPECT_EQ(outcome.lines.back(), "* Retrieval failed: No Access") << flags << reply;
      EXPECT_EQ(Tree("dst"), "a=a") << flags << reply;
    }
  }
}

TEST_F(SynchroFTPTest, FailsAFolderThatItsParentShows_WhenItCannotBeListed) {
  Put("dst/sub/a", "a");
  const Script refusals[] = {
      Exchange("CWD /pub/sub", "550 no"),
      Join({Exchange("CWD /pub/sub", "250 ok"), ftp::Passive(), Exchange("LIST", "550 no")})};
  for (const Script& refusal : refusals) {
    const Outcome outcome =
        Download(kRecurse | 9, Join({Login(), List("/pub/", FolderLine("sub")), refusal, Quit()}));
    EXPECT_TRUE(Has(outcome, "* Retrieval failed: No Access"));
    EXPECT_EQ(Tree("dst"), "sub/ sub/a=a");
  }
}

TEST_F(SynchroFTPTest, TakesAFolderThatItsParentDoesNotShowForEmpty) {
  Put("dst/sub/a", "a");
  Download(kRecurse | 9,
           Join({Login(), List("/pub/", FolderLine("sub")), List("/pub/sub", FileLine("a", "1")), Quit()}));
  const Outcome outcome =
      Download(kRecurse | 9, Join({Login(), List("/pub/", ""), Exchange("CWD /pub/sub", "550 no"), Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{"ftp > file: sub a DELETE -> None"});
}

TEST_F(SynchroFTPTest, FailsAFolderThatCannotBeMade) {
  Put("src/sub/a", "hello");
  const Outcome outcome =
      Upload(kRecurse | 1, Join({Login(), List("/pub/", ""), Exchange("CWD /pub/sub", "550 no"),
                                 Exchange("MKD /pub/sub", "550 no"), Quit()}));
  EXPECT_TRUE(Has(outcome, "* Retrieval failed: No Access"));
  EXPECT_EQ(outcome.state, SynchroState_Finished);
}

// ---- lost connections --------------------------------------------------------------------------

TEST_F(SynchroFTPTest, ConnectsAgain_WhenTheServerEndsTheConnectionAtAListing) {
  const Script first = Join(
      {Login(), List("/pub/", FolderLine("one") + FolderLine("two")), {ExpectLine("CWD /pub/one"), Close()}});
  const Script second =
      Join({Login(), List("/pub/two", FileLine("a")), Retrieve("/pub/two/a", "hello"), Quit()});
  ScriptedServer server({first, second});
  const Outcome outcome = Run(kRecurse | 1, FTPURL(server), FileURL("dst"));
  server.Finish();
  EXPECT_TRUE(Has(outcome, "* Retrieval failed: Ended"));
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_EQ(Tree("dst"), "two/ two/a=hello");
}

TEST_F(SynchroFTPTest, FailsTheRun_WhenItCannotConnectAgain) {
  ScriptedServer server({Join({Login(),
                               List("/pub/", FolderLine("one") + FolderLine("two")),
                               {ExpectLine("CWD /pub/one"), Close()}}),
                         {SendLine("421 full"), ReadToEnd()}});
  const Outcome outcome = Run(kRecurse | 1, FTPURL(server), FileURL("dst"));
  server.Finish();
  EXPECT_EQ(outcome.state, SynchroState_Failed);
  EXPECT_EQ(outcome.counters, "-5 0 0 0 0");
}

// ---- undated lines -----------------------------------------------------------------------------

constexpr char kUndatedLine[] = "-rw-r--r--   1 owner group 5 Jan  5 1996 a\r\n";

TEST_F(SynchroFTPTest, LeavesAFileAlone_WhoseDateHasNoTimeOfDay) {
  Put("dst/a", "a");
  const std::string table = "a:2:True:False:5:852454980.0:True:False:1:1000000000.0\n";
  WriteTable(table);
  for (const uint32_t flags : {1u, 3u, 9u}) {
    const Outcome outcome = Download(flags, Join({Login(), List("/pub/", kUndatedLine), Quit()}));
    EXPECT_EQ(FileLines(outcome), Lines{"ftp = file:  a  -> Invalid"});
    EXPECT_EQ(Table("/"), table) << "its values and state stay";
  }
  EXPECT_EQ(Tree("dst"), "a=a");
}

TEST_F(SynchroFTPTest, DoesNotTakeAnUndatedFileForAMissingOne) {
  Put("dst/a", "a");
  const Outcome outcome = Download(9, Join({Login(), List("/pub/", kUndatedLine), Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{"ftp = file:  a  -> Invalid"}) << "neither deleted nor new";
  EXPECT_EQ(Table("/"), "no table");
  // Dated again it is a file that both sides have.
  EXPECT_EQ(FileLines(Download(9, Join({Login(), List("/pub/", FileLine("a")), Quit()}))),
            Lines{"ftp = file:  a  -> None"});
}

TEST_F(SynchroFTPTest, MakesNoEntryOfAnUndatedFileAlone) {
  const Outcome outcome = Download(1, Join({Login(), List("/pub/", kUndatedLine), Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{});
  EXPECT_EQ(Table("/"), "no table");
}

TEST_F(SynchroFTPTest, DoesNotTakeAnUndatedFileOfTheDestinationForAMissingOne) {
  Put("src/a", "new");
  const Outcome outcome = Upload(5, Join({Login(), List("/pub/", kUndatedLine), Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{"file = ftp:  a  -> Invalid"});
  EXPECT_EQ(Tree("src"), "a=new");
}

TEST_F(SynchroFTPTest, SeesAChangeOfTheOtherSideLater_WhileAFileIsUndated) {
  Put("dst/a", "changed", 1200000000);
  WriteTable("a:0:True:False:5:852454980.0:True:False:1:1000000000.0\n");
  Download(3, Join({Login(), List("/pub/", kUndatedLine), Quit()}));
  const Outcome outcome = Download(
      3, Join({Login(), List("/pub/", FileLine("a")), Store("/pub/a", "7", "19970105090400"), Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{"ftp < file:  a  -> None"});
}

TEST_F(SynchroFTPTest, EntersAnUndatedFolder) {
  const Outcome outcome = Download(
      kRecurse | 1, Join({Login(), List("/pub/", "drwxr-xr-x   3 owner group 5 Jan  5 1996 old\r\n"),
                          List("/pub/old", FileLine("a")), Retrieve("/pub/old/a", "hello"), Quit()}));
  EXPECT_EQ(Tree("dst"), "old/ old/a=hello");
  EXPECT_EQ(Table("/"), "old:2:True:True:3:0.0:False:False:0:0.0\n");
}

// ---- the first run -----------------------------------------------------------------------------

TEST_F(SynchroFTPTest, OverwritesNothingInTheFirstRun) {
  for (const uint32_t flags : {1u, 2u, 3u, 9u, 6u, 15u}) {
    ForgetTables();
    Put("dst/a", "mine");
    const Outcome outcome = Download(flags, Join({Login(), List("/pub/", FileLine("a")), Quit()}));
    EXPECT_EQ(FileLines(outcome), Lines{"ftp = file:  a  -> None"}) << flags;
    EXPECT_EQ(Table("/"), "a:0:True:False:5:852454980.0:True:False:4:1000000000.0\n");
  }
}

// ---- from server to server ---------------------------------------------------------------------

TEST_F(SynchroFTPTest, AsksTheServersToMoveAFile_AndBelievesTheDestination) {
  ScriptedServer source(
      {Join({Login(), List("/from/", FileLine("a")), Exchange("PASV", "227 (127,0,0,1,1,1)"), Quit()})});
  ScriptedServer destination(
      {Join({Login(), List("/to/", ""), Values("/to/a", "5", "19970105090300"), Quit()})});
  const Outcome outcome = Run(1, FTPURL(source, "/from"), FTPURL(destination, "/to"));
  source.Finish();
  destination.Finish();
  EXPECT_EQ(FileLines(outcome), Lines{"ftp > ftp:  a  -> None"});
  EXPECT_EQ(outcome.counters, "0 0 0 1 0");
}

// ---- names that a side takes for one -----------------------------------------------------------

TEST_F(SynchroFTPTest, LeavesNamesThatDifferOnlyInCase_WhereTheyAreOneFile) {
  const bool areOne = platform::UsesDriveLetters();
  Put("dst/README", "mine");
  Script rest = areOne ? Script{} : synchro::Retrieve("/pub/Readme", "theirs");
  ScriptedServer server({Join({Login(), List("/pub/", FileLine("Readme", "6")), rest, Quit()})});
  const Outcome outcome = Run(9, FTPURL(server), FileURL("dst"));
  server.Finish();
  if (areOne) {
    EXPECT_EQ(FileLines(outcome),
              (Lines{"ftp = file:  README  -> Invalid", "ftp = file:  Readme  -> Invalid"}));
    EXPECT_EQ(Tree("dst"), "README=mine");
  } else {
    EXPECT_EQ(FileLines(outcome),
              (Lines{"ftp > file:  README DELETE -> None", "ftp > file:  Readme  -> None"}));
    EXPECT_EQ(Tree("dst"), "Readme=theirs");
  }
}

// ---- memory ------------------------------------------------------------------------------------

TEST_F(SynchroFTPTest, EndsCleanly_WhenAnyAllocationFails) {
  ScriptedServer server({ftp::Patient(FileLine("a"))}, 300000);
  server.RepeatLast();
  server.AllowUnfinished();
  const std::string url = FTPURL(server);
  FailEveryAllocation([&] {
    Synchro* synchro = nullptr;
    const ErrorCode status = Synchro_New("t", 1, url.c_str(), FileURL("dst").c_str(), &synchro);
    if (synchro == nullptr) {
      EXPECT_TRUE(status == Error_Memory || status == Error_None) << status;
      return;
    }
    const ErrorCode started = Synchro_Go(synchro);
    EXPECT_TRUE(started == Error_None || started == Error_Memory) << started;
    Wait(synchro);
    Synchro_Delete(synchro);
  });
  server.Stop();
}

}  // namespace
