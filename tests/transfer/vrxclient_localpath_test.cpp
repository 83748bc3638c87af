// Where a download goes: safe names, and what becomes of a path that was given.
#include <gtest/gtest.h>

#include <string>

#include "qz/vrxprefs.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/vrxclient_fixture.h"

namespace {

std::string SafeName(const std::string& name) {
  char safe[kPathSize];
  iVRXClient_SafeName(name.c_str(), safe);
  return safe;
}

TEST(SafeName, TakesTheLastPart) {
  EXPECT_EQ(SafeName("file.zip"), "file.zip");
  EXPECT_EQ(SafeName("a/b/file.zip"), "file.zip");
  EXPECT_EQ(SafeName("..\\..\\evil.exe"), "evil.exe");
  EXPECT_EQ(SafeName("a\\b/c"), "c");
  EXPECT_EQ(SafeName("a/b\\c"), "c");
  EXPECT_EQ(SafeName("/etc/passwd"), "passwd");
}

TEST(SafeName, ReplacesCharactersThatSomeSystemsDoNotTake) {
  EXPECT_EQ(SafeName("a:b*c?d\"e<f>g|h"), "a_b_c_d_e_f_g_h");
  EXPECT_EQ(SafeName("get.php?file=1"), "get.php_file=1");
  EXPECT_EQ(SafeName("a\x01"
                     "b\x1F"
                     "c\r\nd\te"),
            "a_b_c__d_e");
}

TEST(SafeName, LeavesEverythingElse) {
  EXPECT_EQ(SafeName("a b~c d.e'f(1)[2]{3}%20#x&y+z,;=@!$^`-_"), "a b~c d.e'f(1)[2]{3}%20#x&y+z,;=@!$^`-_");
  EXPECT_EQ(SafeName("\x7F\x80\xFF\xC3\xA4"), "\x7F\x80\xFF\xC3\xA4");
  EXPECT_EQ(SafeName(".profile"), ".profile");
  EXPECT_EQ(SafeName("..a"), "..a");
}

TEST(SafeName, MakesANameOfWhatIsADirectory) {
  EXPECT_EQ(SafeName(""), "_");
  EXPECT_EQ(SafeName("."), "_.");
  EXPECT_EQ(SafeName(".."), "_..");
  EXPECT_EQ(SafeName("..."), "_...");
  EXPECT_EQ(SafeName(".. "), "_.. ");
  EXPECT_EQ(SafeName(" "), "_ ");
  EXPECT_EQ(SafeName("dir/"), "_");
  EXPECT_EQ(SafeName("dir/.."), "_..");
}

TEST(SafeName, MakesANameOfWhatIsADevice) {
  EXPECT_EQ(SafeName("CON"), "_CON");
  EXPECT_EQ(SafeName("con"), "_con");
  EXPECT_EQ(SafeName("Prn"), "_Prn");
  EXPECT_EQ(SafeName("aux"), "_aux");
  EXPECT_EQ(SafeName("NUL"), "_NUL");
  EXPECT_EQ(SafeName("NUL.txt"), "_NUL.txt");
  EXPECT_EQ(SafeName("nul.tar.gz"), "_nul.tar.gz");
  EXPECT_EQ(SafeName("NUL .txt"), "_NUL .txt");
  EXPECT_EQ(SafeName("COM1"), "_COM1");
  EXPECT_EQ(SafeName("com9.log"), "_com9.log");
  EXPECT_EQ(SafeName("COM0"), "_COM0");
  EXPECT_EQ(SafeName("LPT1"), "_LPT1");
  EXPECT_EQ(SafeName("lpt9"), "_lpt9");
  EXPECT_EQ(SafeName("CLOCK$"), "_CLOCK$");
  EXPECT_EQ(SafeName("CONIN$"), "_CONIN$");
  EXPECT_EQ(SafeName("conout$"), "_conout$");
}

TEST(SafeName, LeavesNamesThatOnlyLookLikeDevices) {
  EXPECT_EQ(SafeName("CONSOLE"), "CONSOLE");
  EXPECT_EQ(SafeName("NULL"), "NULL");
  EXPECT_EQ(SafeName("COM"), "COM");
  EXPECT_EQ(SafeName("COM10"), "COM10");
  EXPECT_EQ(SafeName("COMA"), "COMA");
  EXPECT_EQ(SafeName("a.CON"), "a.CON");
  EXPECT_EQ(SafeName(" CON"), " CON");
}

TEST(SafeName, ShortensTo240Bytes) {
  EXPECT_EQ(SafeName(std::string(240, 'a')), std::string(240, 'a'));
  EXPECT_EQ(SafeName(std::string(241, 'a')), std::string(240, 'a'));
  EXPECT_EQ(SafeName(std::string(1023, 'a')), std::string(240, 'a'));
  EXPECT_EQ(SafeName("." + std::string(1022, ' ')), "_." + std::string(238, ' '));
  EXPECT_EQ(SafeName("NUL." + std::string(300, 'a')), "_NUL." + std::string(235, 'a'));
}

TEST(SafeName, KeepsTheEndingOfALongName) {
  EXPECT_EQ(SafeName(std::string(236, 'a') + ".zip"), std::string(236, 'a') + ".zip");
  EXPECT_EQ(SafeName(std::string(237, 'a') + ".zip"), std::string(236, 'a') + ".zip");
  EXPECT_EQ(SafeName(std::string(300, 'a') + ".tar.gz"), std::string(237, 'a') + ".gz");
  EXPECT_EQ(SafeName("NUL." + std::string(300, 'a') + ".txt"), "_NUL." + std::string(231, 'a') + ".txt");
  // "." and 31 bytes are an ending, and with one more it is a part of the name.
  EXPECT_EQ(SafeName(std::string(300, 'a') + "." + std::string(31, 'b')),
            std::string(208, 'a') + "." + std::string(31, 'b'));
  EXPECT_EQ(SafeName(std::string(300, 'a') + "." + std::string(32, 'b')), std::string(240, 'a'));
}

TEST(SafeName, ShortensBetweenCharacters) {
  const std::string two = "\xC3\xA4";
  const std::string three = "\xE2\x82\xAC";
  const std::string four = "\xF0\x9F\x99\x82";
  EXPECT_EQ(SafeName(std::string(238, 'a') + two + "b"), std::string(238, 'a') + two);
  EXPECT_EQ(SafeName(std::string(239, 'a') + two + "b"), std::string(239, 'a'));
  EXPECT_EQ(SafeName(std::string(238, 'a') + three + "b"), std::string(238, 'a'));
  for (const size_t before : {237, 238, 239}) {
    EXPECT_EQ(SafeName(std::string(before, 'a') + four + "b"), std::string(before, 'a')) << before;
  }
  EXPECT_EQ(SafeName(std::string(235, 'a') + two + ".zip"), std::string(235, 'a') + ".zip");
  // Four such bytes follow no beginning of a character.
  EXPECT_EQ(SafeName(std::string(300, '\x80')), std::string(237, '\x80'));
}

TEST(SafeName, LeavesRoomForANumberAndAnEnding) {
  // "(511).part(511)" behind it is a name of 255 bytes, which all file systems take.
  EXPECT_EQ(SafeName(std::string(500, 'a')).size() + std::string("(511).part(511)").size(), 255u);
}

// ---- choosing ------------------------------------------------------------------------------------

constexpr LocalPathFacts kNothing = {false, false, true, true};
constexpr LocalPathFacts kNoParent = {false, false, false, false};
constexpr LocalPathFacts kParentIsFile = {false, false, true, false};
constexpr LocalPathFacts kFile = {true, false, false, false};
constexpr LocalPathFacts kDirectory = {true, true, false, false};

std::string Choose(const LocalPathFacts& facts, const std::string& given, const std::string& current,
                   const std::string& fileName) {
  char chosen[kPathSize] = "untouched";
  const ErrorCode status =
      iVRXClient_ChooseLocalPath(facts, given.c_str(), current.c_str(), fileName.c_str(), chosen);
  if (status == Error_None) return chosen;
  EXPECT_STREQ(chosen, "");
  return "status " + std::to_string(status);
}

TEST(ChooseLocalPath, TakesAPathThatIsFree_WhenItsParentIsADirectory) {
  EXPECT_EQ(Choose(kNothing, "/d/new", "/c/old", "name"), "/d/new");
  EXPECT_EQ(Choose(kNoParent, "/d/new", "/c/old", "name"), "status -3");
  EXPECT_EQ(Choose(kParentIsFile, "/d/new", "/c/old", "name"), "status -4");
}

TEST(ChooseLocalPath, TakesAFileAsItIs) {
  EXPECT_EQ(Choose(kFile, "/d/file", "/c/old", "name"), "/d/file");
}

TEST(ChooseLocalPath, AppendsTheNameOfBeforeToADirectory) {
  EXPECT_EQ(Choose(kDirectory, "/d", "/c/old", "name"), "/d/old");
  EXPECT_EQ(Choose(kDirectory, "/d/", "/c/old", "name"), "/d/old");
  EXPECT_EQ(Choose(kDirectory, "/d", "old", "name"), "/d/old");
  EXPECT_EQ(Choose(kDirectory, "/d", "", "name"), "/d/name");
  EXPECT_EQ(Choose(kDirectory, "/d", "/c/..", "name"), "/d/name");
  EXPECT_EQ(Choose(kDirectory, "/d", "/c/", "name"), "/d/name");
}

TEST(ChooseLocalPath, TakesUpTo1022Bytes) {
  const std::string longest = "/" + std::string(1021, 'x');
  EXPECT_EQ(Choose(kNothing, longest, "", "name"), longest);
  EXPECT_EQ(Choose(kFile, longest, "", "name"), longest);
  EXPECT_EQ(Choose(kNothing, longest + "x", "", "name"), "status 5");
  EXPECT_EQ(Choose(kFile, longest + "x", "", "name"), "status 5");
  EXPECT_EQ(Choose(kDirectory, "/" + std::string(1016, 'x'), "", "name"),
            "/" + std::string(1016, 'x') + "/name");
  EXPECT_EQ(Choose(kDirectory, "/" + std::string(1017, 'x'), "", "name"), "status 5");
  EXPECT_EQ(Choose(kDirectory, "/" + std::string(1018, 'x'), "", "name"), "status 5");
}

// ---- with files ----------------------------------------------------------------------------------

class LocalPathTest : public TransferTest {
 protected:
  ErrorCode New(const std::string& url, const char* localPath, Transfer* transfer) {
    return VRXClient_NewDownload(url.c_str(), localPath, 0, nullptr, transfer->out());
  }
  static std::string PathOf(const Transfer& transfer) {
    return TextOf(VRXClient_GetLocalFilePath, transfer.get());
  }
};

TEST_F(LocalPathTest, OfANewDownloadIsTheGivenOne) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", directory_.Name("given").c_str(), &transfer), Error_None);
  EXPECT_EQ(PathOf(transfer), directory_.Name("given"));
}

TEST_F(LocalPathTest, InADirectoryIsTheSafeFileName) {
  Transfer transfer;
  ASSERT_EQ(New("http://a/b/get.php?f=1", directory_.Name().c_str(), &transfer), Error_None);
  EXPECT_EQ(PathOf(transfer), directory_.Name("get.php_f=1"));
  Transfer hostile;
  ASSERT_EQ(New("ftp://a/x%5C..%5C..%5Cevil", directory_.Name().c_str(), &hostile), Error_None);
  EXPECT_EQ(PathOf(hostile), directory_.Name("evil"));
  Transfer nameless;
  ASSERT_EQ(New("ftp://a/dir/", directory_.Name().c_str(), &nameless), Error_None);
  EXPECT_EQ(PathOf(nameless), directory_.Name("_"));
}

TEST_F(LocalPathTest, IsInTheDownloadDirectory_WhenNoneIsGiven) {
  char desktop[1024];
  ASSERT_EQ(File_GetSysDir(SysDir_Desk, desktop), Error_None);
  for (const char* none : {static_cast<const char*>(nullptr), ""}) {
    Transfer transfer;
    ASSERT_EQ(New("ftp://a/dir/..", none, &transfer), Error_None);
    EXPECT_EQ(PathOf(transfer), std::string(desktop) + "/_..");
  }
}

TEST_F(LocalPathTest, IsInTheDownloadDirectoryOfThePreferences) {
  VRXPrefs* preferences = VRXPrefs_BeginAccess();
  ASSERT_NE(preferences, nullptr);
  snprintf(preferences->downloadDirectory, sizeof preferences->downloadDirectory, "%s", "/C|/downloads");
  EXPECT_EQ(VRXPrefs_Changed(), Error_None);
  VRXPrefs_EndAccess();
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", nullptr, &transfer), Error_None);
  EXPECT_EQ(PathOf(transfer), "/C|/downloads/x");
}

TEST_F(LocalPathTest, NeedsAParentThatIsADirectory) {
  directory_.Write("file", "x");
  Transfer transfer;
  EXPECT_EQ(New("ftp://a/x", directory_.Name("no/new").c_str(), &transfer), Error_NotFound);
  EXPECT_EQ(New("ftp://a/x", directory_.Name("no/").c_str(), &transfer), Error_NotFound);
  EXPECT_EQ(New("ftp://a/x", directory_.Name("file/new").c_str(), &transfer), Error_Invalid);
  EXPECT_EQ(transfer.get(), nullptr);
  EXPECT_EQ(iVRXClientList_Count(), 0u);
}

TEST_F(LocalPathTest, MayBeAFileThatIsThere) {
  directory_.Write("file", "x");
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", directory_.Name("file").c_str(), &transfer), Error_None);
  EXPECT_EQ(PathOf(transfer), directory_.Name("file"));
}

TEST_F(LocalPathTest, MayBeInTheCurrentDirectory) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", "qz-no-such-file", &transfer), Error_None);
  EXPECT_EQ(PathOf(transfer), "qz-no-such-file");
}

TEST_F(LocalPathTest, IsChangedByItsSetter) {
  directory_.MakeDirectory("dir");
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", directory_.Name("old").c_str(), &transfer), Error_None);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_SetLocalFilePath(transfer.get(), directory_.Name("dir").c_str()), Error_None);
  EXPECT_EQ(PathOf(transfer), directory_.Name("dir/old"));
  EXPECT_TRUE(transfer->isChanged);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_SetLocalFilePath(transfer.get(), directory_.Name("no/x").c_str()), Error_NotFound);
  EXPECT_EQ(PathOf(transfer), directory_.Name("dir/old"));
  EXPECT_TRUE(transfer->isChanged) << "the mark is set first";
}

TEST_F(LocalPathTest, StaysWithoutAPath) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", directory_.Name("old").c_str(), &transfer), Error_None);
  EXPECT_EQ(VRXClient_SetLocalFilePath(transfer.get(), ""), Error_Invalid);
  EXPECT_EQ(VRXClient_SetLocalFilePath(transfer.get(), nullptr), Error_Invalid);
  EXPECT_EQ(VRXClient_SetLocalFilePath(nullptr, "x"), Error_Invalid);
  EXPECT_EQ(VRXClient_SetLocalFilePath(transfer.get(), std::string(1023, 'x').c_str()), Error_Exceed);
  EXPECT_EQ(PathOf(transfer), directory_.Name("old"));
}

TEST_F(LocalPathTest, IsNotChangedWhereItMayNotBe) {
  Transfer download;
  ASSERT_EQ(New("ftp://a/x", directory_.Name("old").c_str(), &download), Error_None);
  const std::string other = directory_.Name("other");
  VRXClient_SetEditFlags(download.get(), 0x38);
  EXPECT_EQ(VRXClient_SetLocalFilePath(download.get(), other.c_str()), Error_NoAccess);
  VRXClient_SetEditFlags(download.get(), 0x02);
  iVRXClient_ChangeState(download.get(), TransferState::Completed);
  EXPECT_EQ(VRXClient_SetLocalFilePath(download.get(), other.c_str()), Error_Inited);
  iVRXClient_ChangeState(download.get(), TransferState::Agents);
  EXPECT_EQ(VRXClient_SetLocalFilePath(download.get(), other.c_str()), Error_None);
  Transfer upload;
  Upload("source", "ftp://a/y", &upload);
  VRXClient_SetEditFlags(upload.get(), 0x3A);
  EXPECT_EQ(VRXClient_SetLocalFilePath(upload.get(), other.c_str()), Error_NoAccess);
  EXPECT_EQ(PathOf(upload), directory_.Name("source"));
  iVRXClient_ChangeState(upload.get(), TransferState::Completed);
  EXPECT_EQ(VRXClient_SetLocalFilePath(upload.get(), other.c_str()), Error_Inited);
}

TEST_F(LocalPathTest, OfADownloadWithoutOneIsSetLater) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", directory_.Name("old").c_str(), &transfer), Error_None);
  EXPECT_EQ(iVRXClient_ApplyDefaultLocalPath(transfer.get()), Error_None);
  EXPECT_EQ(PathOf(transfer), directory_.Name("old"));
  transfer->data.localPath[0] = '\0';
  transfer->isChanged = false;
  EXPECT_EQ(iVRXClient_ApplyDefaultLocalPath(transfer.get()), Error_None);
  char desktop[1024];
  ASSERT_EQ(File_GetSysDir(SysDir_Desk, desktop), Error_None);
  EXPECT_EQ(PathOf(transfer), std::string(desktop) + "/x");
  EXPECT_TRUE(transfer->isChanged);
}

}  // namespace
