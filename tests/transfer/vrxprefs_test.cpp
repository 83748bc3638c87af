// The preferences: their defaults, the bytes of their file, who has access, and what damaged files do.
#include "qz/vrxprefs.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "os/core/memory_testing.h"
#include "qz/proxy.h"
#include "tests/config/config_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/transfer_fixture.h"
#include "tests/traverse/formats_page_table.h"
#include "tests/traverse/traverse_fixture.h"
#include "transfer/statistics_internal.h"
#include "transfer/vrxprefs_internal.h"

namespace {

// The bytes of a file as docs/formats.md types them: the record of FillAsOnThePage.
std::string PageBytes() {
  return Bytes(ColumnBelow("#### Preferences, version 3", kPlainColumn, Side::Writer));
}

void FillAsOnThePage(VRXPrefs* prefs) {
  prefs->flag1 = 1;
  prefs->flag2 = 0;
  prefs->flag3 = 0;
  prefs->flag4 = 1;
  prefs->uploadType = VRXTransferType_Text;
  prefs->flag5 = 1;
  strcpy(prefs->downloadDirectory, "/d");
  prefs->flag6 = 0;
  strcpy(prefs->text1, "one");
  prefs->downloadType = VRXTransferType_Binary;
  prefs->flag7 = 1;
  prefs->number1 = 11;
  prefs->number2 = 12;
  prefs->isDialUpEnabled = 1;
  strcpy(prefs->dialUpEntry, "line");
  prefs->hangsUpWhenDone = 0;
  prefs->upgradeFlag = 1;
  prefs->number3 = 305419896;
  prefs->lastUpgradeCheckSeconds = 1000000000;
  strcpy(prefs->anonymousPassword, "me@");
  prefs->flag8 = 0;
  prefs->flag9 = 1;
  prefs->flag10 = 1;
  strcpy(prefs->text2, "two");
  prefs->text3[0] = 0;
  prefs->isProxyEnabled = 1;
  strcpy(prefs->ftpProxyHost, "f");
  prefs->ftpProxyPort = 2121;
  strcpy(prefs->httpProxyHost, "h");
  prefs->httpProxyPort = 8080;
  strcpy(prefs->proxyBypass, "a,b");
}

// All fields, one after the other.
std::string Shown(const VRXPrefs& prefs) {
  std::string text;
  for (const int64_t number : std::vector<int64_t>{
           prefs.flag1,           prefs.flag2,        prefs.flag3,   prefs.flag4,
           prefs.uploadType,      prefs.flag5,        prefs.flag6,   prefs.downloadType,
           prefs.flag7,           prefs.number1,      prefs.number2, prefs.isDialUpEnabled,
           prefs.hangsUpWhenDone, prefs.upgradeFlag,  prefs.number3, prefs.lastUpgradeCheckSeconds,
           prefs.flag8,           prefs.flag9,        prefs.flag10,  prefs.isProxyEnabled,
           prefs.ftpProxyPort,    prefs.httpProxyPort})
    text += std::to_string(number) + " ";
  for (const char* each :
       {prefs.downloadDirectory, prefs.text1, prefs.dialUpEntry, prefs.anonymousPassword, prefs.text2,
        prefs.text3, prefs.ftpProxyHost, prefs.httpProxyHost, prefs.proxyBypass})
    text += std::string("<") + each + ">";
  return text;
}

constexpr char kPageNumbers[] = "1 0 0 1 2 1 0 1 1 11 12 1 0 1 305419896 1000000000 0 1 1 1 2121 8080 ";
constexpr char kPageTexts[] = "</d><one><line><me@><two><><f><h><a,b>";

// A number of 4 bytes, little-endian.
std::string Number(uint32_t number) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes += static_cast<char>(number >> 8 * i & 0xFF);
  return bytes;
}

std::string Stored(const std::string& text) {
  return Number(static_cast<uint32_t>(text.size()) + 1) + text + '\0';
}

std::string Desk() {
  char folder[1024];
  EXPECT_EQ(File_GetSysDir(SysDir_Desk, folder), Error_None);
  return folder;
}

std::string DefaultBytes() {
  return Bytes("03 00 00 00  00 01 00  00  00  00") + Stored(Desk()) + Bytes("00") + Stored("") +
         Bytes("00 00 0A 02 00") + Stored("") + Bytes("00 01 01 00 00 00  00 00 00 00") +
         Stored("user@example.invalid") + Bytes("00 00 00") + Stored("") + Stored("") + Bytes("00") +
         Stored("") + Bytes("15 00") + Stored("") + Bytes("50 00") + Stored("");
}

std::string DefaultShown() {
  return "0 1 0 0 0 0 0 0 0 10 2 0 0 1 1 0 0 0 0 0 21 80 <" + Desk() +
         "><><><user@example.invalid><><><><><>";
}

// Where the proxy table sends a connection.
std::string Resolved(uint32_t index, const char* host) {
  char connectHost[1024];
  uint32_t port = 0;
  Proxy_Resolve(index, host, 1, connectHost, &port);
  return std::string(connectHost) + ":" + std::to_string(port);
}

class VRXPrefsTest : public KeptFilesTest {
 protected:
  void SetUp() override {
    KeptFilesTest::SetUp();
    file_ = ApplicationName() + "VRXPrefs";
    ClearProxies();
    live_ = iMemory_CountLive();
  }
  void TearDown() override {
    iVRXPrefs_End();
    EXPECT_EQ(iMemory_CountLive(), live_);
    ClearProxies();
    KeptFilesTest::TearDown();
  }

  static void ClearProxies() {
    Proxy_SetEnabled(0);
    Proxy_SetServer(ProxyIndex_FTP, nullptr, 0);
    Proxy_SetServer(ProxyIndex_HTTP, nullptr, 0);
    Proxy_SetBypassList(nullptr);
  }

  void Start() { ASSERT_EQ(iVRXPrefs_Start(), Error_None); }
  void Restart() {
    iVRXPrefs_End();
    Start();
  }
  std::string Now() {
    const PreferencesAccess access;
    return access ? Shown(*access.operator->()) : "none";
  }
  template <typename Function>
  ErrorCode Change(Function function) {
    VRXPrefs* prefs = VRXPrefs_BeginAccess();
    function(prefs);
    const ErrorCode status = VRXPrefs_Changed();
    VRXPrefs_EndAccess();
    return status;
  }
  std::string ReadFile() const { return Read(file_); }
  void WriteFile(const std::string& bytes) const { Write(file_, bytes); }
  const std::string& FileName() const { return file_; }

 private:
  std::string file_;
  int64_t live_ = 0;
};

// ---- other programs ----------------------------------------------------------------------------

TEST_F(VRXPrefsTest, KeepsEveryFieldThatAnotherProgramHasStored) {
  Start();
  WriteFile(PageBytes());
  EXPECT_EQ(Change([](VRXPrefs* prefs) { prefs->number1 = 99; }), Error_None);
  std::string numbers = kPageNumbers;
  numbers.replace(numbers.find(" 11 "), 4, " 99 ");
  EXPECT_EQ(Now(), numbers + kPageTexts) << "it comes into the record";
  Restart();
  EXPECT_EQ(Now(), numbers + kPageTexts);
}

TEST_F(VRXPrefsTest, StoresEveryFieldThatChangedHere) {
  Start();
  std::string ofAnother = DefaultBytes();
  ofAnother[ofAnother.find(std::string("\x0A\x02", 2))] = 77;
  WriteFile(ofAnother);
  EXPECT_EQ(Change(FillAsOnThePage), Error_None);
  EXPECT_EQ(Hex(ReadFile()), Hex(PageBytes()));
}

TEST_F(VRXPrefsTest, StoresItsOwnValue_WhenBothChangedAField) {
  WriteFile(PageBytes());
  Start();
  WriteFile(DefaultBytes());
  EXPECT_EQ(Change([](VRXPrefs* prefs) { strcpy(prefs->text1, "mine"); }), Error_None);
  {
    const PreferencesAccess access;
    EXPECT_STREQ(access->text1, "mine");
    EXPECT_EQ(access->number1, 10) << "the other program's";
  }
  // What was stored is known from then on.
  WriteFile(PageBytes());
  EXPECT_EQ(VRXPrefs_Changed(), Error_None);
  EXPECT_EQ(Now(), std::string(kPageNumbers) + kPageTexts);
}

TEST_F(VRXPrefsTest, TakesAValueForUnchanged_WhateverStandsBehindATextsEnd) {
  WriteFile(PageBytes());
  Start();
  WriteFile(DefaultBytes());
  EXPECT_EQ(Change([](VRXPrefs* prefs) {
              strcpy(prefs->text1, "longer than it was");
              strcpy(prefs->text1, "one");
            }),
            Error_None);
  EXPECT_EQ(Hex(ReadFile()), Hex(DefaultBytes()));
}

TEST_F(VRXPrefsTest, WritesTheWholeRecord_WhenTheFileIsGoneOrDamaged) {
  WriteFile(PageBytes());
  Start();
  for (const std::string& bytes : {std::string(), std::string("no record"), PageBytes().substr(0, 30)}) {
    SCOPED_TRACE(bytes.size());
    WriteFile(bytes);
    EXPECT_EQ(VRXPrefs_Changed(), Error_None);
    EXPECT_EQ(Hex(ReadFile()), Hex(PageBytes()));
  }
  std::filesystem::remove(Path(FileName()));
  EXPECT_EQ(VRXPrefs_Changed(), Error_None);
  EXPECT_EQ(Hex(ReadFile()), Hex(PageBytes()));
}

TEST_F(VRXPrefsTest, StoresAChangeAgain_WhenItCouldNotBeWritten) {
  WriteFile(PageBytes());
  Start();
  std::filesystem::remove(Path(FileName()));
  std::filesystem::create_directory(Path(FileName()));
  EXPECT_NE(Change([](VRXPrefs* prefs) { prefs->number1 = 99; }), Error_None);
  std::filesystem::remove(Path(FileName()));
  WriteFile(DefaultBytes());
  EXPECT_EQ(VRXPrefs_Changed(), Error_None);
  std::string after = DefaultBytes();
  after[after.find(std::string("\x0A\x02", 2))] = 99;
  EXPECT_EQ(Hex(ReadFile()), Hex(after));
}

// ---- starting ----------------------------------------------------------------------------------

TEST_F(VRXPrefsTest, MakesTheFileOfTheDefaults_WhenThereIsNone) {
  Start();
  EXPECT_EQ(Names(), "qz.lock " + FileName() + " ");
  EXPECT_EQ(Hex(ReadFile()), Hex(DefaultBytes()));
  EXPECT_EQ(Now(), DefaultShown());
}

TEST_F(VRXPrefsTest, ReadsTheFile) {
  WriteFile(PageBytes());
  Start();
  EXPECT_EQ(Now(), std::string(kPageNumbers) + kPageTexts);
  EXPECT_EQ(Hex(ReadFile()), Hex(PageBytes())) << "and leaves it alone";
}

TEST_F(VRXPrefsTest, ReadsOlderVersions) {
  const std::string page = PageBytes();
  const size_t proxySize = 1 + 6 + 2 + 6 + 2 + 8;
  const std::string second = Number(2) + page.substr(4, page.size() - 4 - proxySize);
  WriteFile(second);
  Start();
  EXPECT_EQ(Now(),
            "1 0 0 1 2 1 0 1 1 11 12 1 0 1 305419896 1000000000 0 1 1 0 21 80 "
            "</d><one><line><me@><two><><><><>");
  iVRXPrefs_End();
  WriteFile(Number(1) + second.substr(4, 3) + second.substr(8));
  Start();
  EXPECT_EQ(Now(),
            "1 0 0 0 2 1 0 1 1 11 12 1 0 1 305419896 1000000000 0 1 1 0 21 80 "
            "</d><one><line><me@><two><><><><>");
  EXPECT_EQ(VRXPrefs_Changed(), Error_None);
  EXPECT_EQ(Hex(ReadFile()).substr(0, 11), "03 00 00 00") << "written as the newest";
}

TEST_F(VRXPrefsTest, RefusesOtherVersions_AndLeavesTheFile) {
  for (const uint32_t version : {0u, 4u, 0xFFFFFFFFu}) {
    const std::string bytes = Number(version) + PageBytes().substr(4);
    WriteFile(bytes);
    EXPECT_EQ(iVRXPrefs_Start(), Error_NotFound) << version;
    EXPECT_EQ(ReadFile(), bytes);
    EXPECT_EQ(Now(), "none");
  }
}

TEST_F(VRXPrefsTest, DoesNotStart_WhereverTheFileIsCut) {
  const std::string page = PageBytes();
  for (size_t size = 0; size < page.size(); ++size) {
    WriteFile(page.substr(0, size));
    EXPECT_EQ(iVRXPrefs_Start(), Error_Ended) << size;
    EXPECT_EQ(ReadFile(), page.substr(0, size));
  }
  WriteFile(std::string(2, 0));
  EXPECT_EQ(iVRXPrefs_Start(), Error_Ended) << "no version, not the version 0";
}

TEST_F(VRXPrefsTest, ReadsOrRefuses_WhateverBitIsFlipped) {
  const std::string page = PageBytes();
  for (size_t bit = 0; bit < page.size() * 8; ++bit) {
    std::string flipped = page;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
    WriteFile(flipped);
    const ErrorCode status = iVRXPrefs_Start();
    EXPECT_TRUE(status == Error_None || status == Error_Ended || status == Error_NotFound)
        << bit << ": " << status;
    EXPECT_EQ(ReadFile(), flipped) << bit;
    iVRXPrefs_End();
  }
}

TEST_F(VRXPrefsTest, TakesATextThatFillsItsRoom) {
  const std::string page = PageBytes();
  const std::string longest(1023, 'x');
  const std::string begin = page.substr(0, page.size() - 8);
  WriteFile(begin + Stored(longest));
  Start();
  EXPECT_EQ(Now(), std::string(kPageNumbers) + "</d><one><line><me@><two><><f><h><" + longest + ">");
  iVRXPrefs_End();
  WriteFile(begin + Stored(longest + "y"));
  EXPECT_EQ(iVRXPrefs_Start(), Error_Ended) << "a longer one takes the rest of the file with it";
  WriteFile(begin + Number(1024) + longest + "y");
  Start();
  EXPECT_EQ(Now(), std::string(kPageNumbers) + "</d><one><line><me@><two><><f><h><" + longest + "y>")
      << "no terminator in the file";
}

TEST_F(VRXPrefsTest, DoesNotStart_WhenTheFileCannotBeReadOrMade) {
  std::filesystem::create_directory(Path(FileName()));
  EXPECT_EQ(iVRXPrefs_Start(), Error_Fail);
  EXPECT_EQ(Now(), "none");
  EXPECT_EQ(iStatistics_Start(), Error_None) << "nothing is left started";
  iStatistics_End();
  std::filesystem::remove(Path(FileName()));
}

TEST_F(VRXPrefsTest, DoesNotStart_WhenTheStatisticsDoNot) {
  std::filesystem::create_directory(Path("through.qzc"));
  EXPECT_EQ(iVRXPrefs_Start(), Error_Invalid);
  EXPECT_EQ(Now(), "none");
  std::filesystem::remove(Path("through.qzc"));
  EXPECT_EQ(Names(), "qz.lock ") << "another program may have been writing";
}

TEST_F(VRXPrefsTest, StartsOnceAndStartsTheStatistics) {
  Start();
  EXPECT_EQ(iVRXPrefs_Start(), Error_Inited);
  EXPECT_EQ(Now(), DefaultShown()) << "still there";
  EXPECT_EQ(iStatistics_Start(), Error_Inited);
  iVRXPrefs_End();
  EXPECT_EQ(iStatistics_Start(), Error_None);
  iStatistics_End();
}

TEST_F(VRXPrefsTest, GivesNoAccessWhileItIsNotStarted) {
  EXPECT_EQ(VRXPrefs_BeginAccess(), nullptr);
  VRXPrefs_EndAccess();
  EXPECT_EQ(VRXPrefs_Changed(), Error_NotInited);
  EXPECT_EQ(Names(), "");
}

TEST_F(VRXPrefsTest, DoesNotStartBeforeTheLibrary) {
  OS_Exit(0);
  EXPECT_EQ(iVRXPrefs_Start(), Error_NotInited);
}

// ---- changing ----------------------------------------------------------------------------------

TEST_F(VRXPrefsTest, WritesWhatThePageShows) {
  Start();
  EXPECT_EQ(Change(FillAsOnThePage), Error_None);
  EXPECT_EQ(Hex(ReadFile()), Hex(PageBytes()));
  Restart();
  EXPECT_EQ(Now(), std::string(kPageNumbers) + kPageTexts);
}

TEST_F(VRXPrefsTest, WritesFlagsAsZeroOrOne) {
  Start();
  EXPECT_EQ(Change([](VRXPrefs* prefs) {
              prefs->flag1 = 2;
              prefs->isDialUpEnabled = -1;
            }),
            Error_None);
  Restart();
  EXPECT_EQ(Now().substr(0, 25), "1 1 0 0 0 0 0 0 0 10 2 1 ");
}

TEST_F(VRXPrefsTest, LeavesExactlyTheRecord) {
  WriteFile(PageBytes() + "what a longer record had");
  Start();
  EXPECT_EQ(VRXPrefs_Changed(), Error_None);
  EXPECT_EQ(Hex(ReadFile()), Hex(PageBytes()));
  EXPECT_EQ(Names(), "qz.lock " + FileName() + " ");
}

TEST_F(VRXPrefsTest, KeepsUnsavedChangesForTheRunOnly) {
  WriteFile(PageBytes());
  Start();
  {
    const PreferencesAccess access;
    access->number1 = 99;
  }
  EXPECT_NE(Now(), std::string(kPageNumbers) + kPageTexts);
  Restart();
  EXPECT_EQ(Now(), std::string(kPageNumbers) + kPageTexts);
}

TEST_F(VRXPrefsTest, RefusesTextsThatDoNotFit) {
  WriteFile(PageBytes());
  Start();
  const std::string longest(1022, 'x');
  EXPECT_EQ(Change([&](VRXPrefs* prefs) { strcpy(prefs->text1, (longest + "y").c_str()); }), Error_Invalid);
  EXPECT_EQ(Change([&](VRXPrefs* prefs) { memset(prefs->text1, 'x', sizeof prefs->text1); }), Error_Invalid);
  EXPECT_EQ(Hex(ReadFile()), Hex(PageBytes()));
  EXPECT_EQ(Change([&](VRXPrefs* prefs) { strcpy(prefs->text1, longest.c_str()); }), Error_None);
  EXPECT_EQ(Change([&](VRXPrefs* prefs) { strcpy(prefs->ftpProxyHost, std::string(255, 'h').c_str()); }),
            Error_Invalid);
  EXPECT_EQ(Change([&](VRXPrefs* prefs) { strcpy(prefs->ftpProxyHost, std::string(254, 'h').c_str()); }),
            Error_None);
  Restart();
  const PreferencesAccess access;
  EXPECT_EQ(access->text1, longest);
  EXPECT_EQ(access->ftpProxyHost, std::string(254, 'h'));
  EXPECT_STREQ(access->httpProxyHost, "h") << "what follows is in its place";
}

TEST_F(VRXPrefsTest, RefusesEachTextThatDoesNotFit) {
  Start();
  VRXPrefs fresh;
  {
    const PreferencesAccess access;
    fresh = *access.operator->();
  }
  const struct {
    size_t offset;
    size_t size;
  } texts[] = {{offsetof(VRXPrefs, downloadDirectory), 1023},
               {offsetof(VRXPrefs, text1), 1023},
               {offsetof(VRXPrefs, dialUpEntry), 1023},
               {offsetof(VRXPrefs, anonymousPassword), 255},
               {offsetof(VRXPrefs, text2), 1023},
               {offsetof(VRXPrefs, text3), 1023},
               {offsetof(VRXPrefs, ftpProxyHost), 255},
               {offsetof(VRXPrefs, httpProxyHost), 255},
               {offsetof(VRXPrefs, proxyBypass), 1023}};
  for (const auto& text : texts) {
    EXPECT_EQ(Change([&](VRXPrefs* prefs) {
                *prefs = fresh;
                char* room = reinterpret_cast<char*>(prefs) + text.offset;
                memset(room, 'x', text.size);
                room[text.size] = 0;
              }),
              Error_Invalid)
        << text.offset;
  }
}

// ---- proxies -----------------------------------------------------------------------------------

TEST_F(VRXPrefsTest, HandsTheProxiesToTheTable) {
  Start();
  EXPECT_EQ(Change(FillAsOnThePage), Error_None);
  EXPECT_EQ(Resolved(ProxyIndex_FTP, "xyz"), "f:2121");
  EXPECT_EQ(Resolved(ProxyIndex_HTTP, "xyz"), "h:8080");
  EXPECT_EQ(Resolved(ProxyIndex_HTTP, "xbz"), "xbz:1") << "bypassed";
  EXPECT_EQ(Change([](VRXPrefs* prefs) { prefs->isProxyEnabled = 0; }), Error_None);
  EXPECT_EQ(Resolved(ProxyIndex_FTP, "xyz"), "xyz:1");
}

TEST_F(VRXPrefsTest, HandsTheProxiesOver_WhenTheFileCannotBeWritten) {
  Start();
  std::filesystem::remove(Path(FileName()));
  std::filesystem::create_directory(Path(FileName()));
  EXPECT_EQ(Change(FillAsOnThePage), Error_Fail);
  EXPECT_EQ(Resolved(ProxyIndex_FTP, "xyz"), "f:2121");
  std::filesystem::remove(Path(FileName()));
}

TEST_F(VRXPrefsTest, SwitchesTheProxiesOff_WhenItMakesTheFile) {
  Proxy_SetEnabled(1);
  Proxy_SetServer(ProxyIndex_HTTP, "own", 3128);
  Start();
  EXPECT_EQ(Resolved(ProxyIndex_HTTP, "xyz"), "xyz:1");
}

TEST_F(VRXPrefsTest, UsesTheProxiesOfTheFile_WhenTheyAreInUse) {
  WriteFile(PageBytes());
  Start();
  EXPECT_EQ(Resolved(ProxyIndex_FTP, "xyz"), "f:2121");
  EXPECT_EQ(Resolved(ProxyIndex_HTTP, "xyz"), "h:8080");
  EXPECT_EQ(Resolved(ProxyIndex_HTTP, "xbz"), "xbz:1");
}

TEST_F(VRXPrefsTest, LeavesTheProgramsOwnProxies_WhenTheFileHasNoneInUse) {
  WriteFile(DefaultBytes());
  Proxy_SetEnabled(1);
  Proxy_SetServer(ProxyIndex_HTTP, "own", 3128);
  Start();
  EXPECT_EQ(Resolved(ProxyIndex_HTTP, "xyz"), "own:3128");
}

// ---- threads and memory ------------------------------------------------------------------------

TEST_F(VRXPrefsTest, GivesAccessToOneThreadAtATime) {
  Start();
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round < 2000; ++round) {
        const PreferencesAccess access;
        access->number3 += 1;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const PreferencesAccess access;
  EXPECT_EQ(access->number3, 16001u);
}

TEST_F(VRXPrefsTest, WaitsForTheThreadThatHasAccess) {
  Start();
  std::atomic<int> passed{0};
  VRXPrefs* prefs = VRXPrefs_BeginAccess();
  std::thread reader([&] {
    const PreferencesAccess access;
    EXPECT_EQ(access->number1, 77);
    ++passed;
  });
  std::thread saver([&] {
    EXPECT_EQ(VRXPrefs_Changed(), Error_None);
    ++passed;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(passed.load(), 0);
  prefs->number1 = 77;
  VRXPrefs_EndAccess();
  reader.join();
  saver.join();
  EXPECT_EQ(passed.load(), 2);
  Restart();
  const PreferencesAccess access;
  EXPECT_EQ(access->number1, 77) << "the other thread saved after the change";
}

TEST_F(VRXPrefsTest, SavesFromEightThreads) {
  Start();
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([this, i] {
      for (int round = 0; round < 10; ++round) {
        if (i % 2 == 0) {
          EXPECT_EQ(Change([](VRXPrefs* prefs) { prefs->number3 += 1; }), Error_None);
        } else {
          EXPECT_EQ(VRXPrefs_Changed(), Error_None);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  Restart();
  const PreferencesAccess access;
  EXPECT_EQ(access->number3, 41u);
  EXPECT_EQ(Names(), "qz.lock " + FileName() + " ");
}

TEST_F(VRXPrefsTest, KeepsTheOldFileOrWritesTheNew_WhicheverAllocationFails) {
  std::string before = PageBytes();
  FailEveryAllocation([&] {
    WriteFile(before);
    const ErrorCode started = iVRXPrefs_Start();
    EXPECT_TRUE(started == Error_None || started == Error_Memory) << started;
    if (started != Error_None) {
      EXPECT_EQ(Hex(ReadFile()), Hex(before));
      return;
    }
    const ErrorCode status = Change([](VRXPrefs* prefs) { prefs->number1 = 99; });
    EXPECT_TRUE(status == Error_None || status == Error_Memory) << status;
    std::string after = before;
    after[4 + 3 + 1 + 1 + 1 + 7 + 1 + 8 + 1 + 1] = 99;
    EXPECT_EQ(Hex(ReadFile()), Hex(status == Error_None ? after : before));
    EXPECT_EQ(Names(), "qz.lock " + FileName() + " ");
    iVRXPrefs_End();
  });
}

}  // namespace
