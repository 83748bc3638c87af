// Real shell links, read back through the shell.
#include "qz/winosshortcut.h"

#include <gtest/gtest.h>
#include <windows.h>
// After windows.h, which declares what these build upon.
#include <ole2.h>
#include <shlobj.h>

#include <filesystem>
#include <string>

#include "os/core/os_internal.h"
#include "os/file/sysdir_internal.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/startup.h"
#include "tests/support/environment.h"
#include "tests/support/error_capture.h"
#include "tests/support/os_session.h"

namespace {

struct LinkContents {
  bool isRead = false;
  std::string target;
  std::string arguments;
  std::string description;
  std::string iconFile;
  int iconIndex = 0;
};

LinkContents ReadLink(const std::filesystem::path& name) {
  LinkContents contents;
  IShellLinkA* link = nullptr;
  IPersistFile* file = nullptr;
  CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkA,
                   reinterpret_cast<void**>(&link));
  if (link == nullptr) return contents;
  link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file));
  contents.isRead = SUCCEEDED(file->Load(name.wstring().c_str(), STGM_READ));
  file->Release();
  if (contents.isRead) {
    char text[1024] = "";
    link->GetPath(text, MAX_PATH, nullptr, SLGP_RAWPATH);
    contents.target = text;
    link->GetArguments(text, sizeof text);
    contents.arguments = text;
    link->GetDescription(text, sizeof text);
    contents.description = text;
    link->GetIconLocation(text, sizeof text, &contents.iconIndex);
    contents.iconFile = text;
  }
  link->Release();
  return contents;
}

class WinOSShortcut : public testing::Test {
 protected:
  void SetUp() override {
    const std::string log = places_.Folder().Name("x.log");
    ASSERT_EQ(OS_Init(places_.ApplicationName().c_str(), 1, log.c_str(), 2, 5, 0), Error_None);
  }
  void TearDown() override { OS_Exit(0); }
  std::filesystem::path Link() const { return places_.Folder().Path() / "made.lnk"; }

  OSPlaces places_{"qz-test-link-" + std::to_string(ProgramNumber())};
};

TEST_F(WinOSShortcut, CarriesWhatItIsGiven) {
  EXPECT_EQ(WinOSShortcut_Create("C:\\windows\\notepad.exe", "one two", Link().string().c_str(), "What it is",
                                 "C:\\windows\\winhelp.exe", 3),
            Error_None);
  const LinkContents link = ReadLink(Link());
  EXPECT_TRUE(link.isRead);
  EXPECT_STRCASEEQ(link.target.c_str(), "C:\\windows\\notepad.exe");
  EXPECT_EQ(link.arguments, "one two");
  EXPECT_EQ(link.description, "What it is");
  EXPECT_STRCASEEQ(link.iconFile.c_str(), "C:\\windows\\winhelp.exe");
  EXPECT_EQ(link.iconIndex, 3);
}

TEST_F(WinOSShortcut, NeedsOnlyATarget_AndReplacesALink) {
  const std::string name = Link().string();
  ASSERT_EQ(WinOSShortcut_Create("C:\\windows\\notepad.exe", "old", name.c_str(), "Old", nullptr, 0),
            Error_None);
  EXPECT_EQ(WinOSShortcut_Create("C:\\windows\\regedit.exe", nullptr, name.c_str(), nullptr, nullptr, -1),
            Error_None);
  const LinkContents link = ReadLink(Link());
  EXPECT_STRCASEEQ(link.target.c_str(), "C:\\windows\\regedit.exe");
  EXPECT_EQ(link.arguments, "");
  EXPECT_EQ(link.description, "");
  EXPECT_EQ(link.iconFile, "");
}

TEST_F(WinOSShortcut, Fails_WhenItCannotBeSaved) {
  const std::string missing = (places_.Folder().Path() / "missing" / "made.lnk").string();
  EXPECT_EQ(WinOSShortcut_Create("C:\\x.exe", nullptr, missing.c_str(), nullptr, nullptr, 0), Error_Fail);
  const std::string tooLong = "C:\\" + std::string(300, 'x');
  EXPECT_EQ(WinOSShortcut_Create("C:\\x.exe", nullptr, tooLong.c_str(), nullptr, nullptr, 0), Error_Fail);
}

TEST_F(WinOSShortcut, TakesNamesOutsideAscii) {
  // A small u with two dots and the euro sign, in the code page that the tests run with.
  ASSERT_EQ(GetACP(), 1252u);
  const std::string name = (places_.Folder().Path() / "").string() + "\xFC\x80.lnk";
  EXPECT_EQ(WinOSShortcut_Create("C:\\windows\\notepad.exe", nullptr, name.c_str(), nullptr, nullptr, 0),
            Error_None);
  EXPECT_TRUE(std::filesystem::exists(places_.Folder().Path() / L"\u00FC\u20AC.lnk"));
}

TEST_F(WinOSShortcut, Fails_WithoutATargetOrAName) {
  EXPECT_EQ(WinOSShortcut_Create(nullptr, nullptr, Link().string().c_str(), nullptr, nullptr, 0), Error_Fail);
  EXPECT_EQ(WinOSShortcut_Create("C:\\x.exe", nullptr, nullptr, nullptr, nullptr, 0), Error_Fail);
}

TEST_F(WinOSShortcut, IsMadeByFileLink_FromLibraryNames) {
  EXPECT_EQ(File_Link("/C|/windows/notepad.exe", " /x", places_.Folder().Name("made.lnk").c_str(), "D",
                      "/C|/windows/winhelp.exe", 1),
            Error_None);
  const LinkContents link = ReadLink(Link());
  EXPECT_STRCASEEQ(link.target.c_str(), "C:\\windows\\notepad.exe");
  EXPECT_STRCASEEQ(link.iconFile.c_str(), "C:\\windows\\winhelp.exe");
}

TEST_F(WinOSShortcut, StartsTheApplicationHiddenAtLogOn) {
  char startup[1024] = "";
  ASSERT_EQ(File_GetSysDir(SysDir_Startup, startup), Error_None);
  const std::string name = std::string(startup) + "/" + places_.ApplicationName() + "- Autostart.lnk";
  ASSERT_EQ(Startup_InstallSelf(), Error_None);
  EXPECT_EQ(File_Exists(name.c_str(), nullptr), 1);

  // /C|/x as C:/x, which the system takes too.
  const LinkContents link = ReadLink(name.substr(1, 1) + ":" + name.substr(3));
  EXPECT_TRUE(link.isRead);
  EXPECT_STRCASEEQ(link.target.c_str(), ProgramPath().string().c_str());
  EXPECT_EQ(link.arguments, " /hidden");
  EXPECT_EQ(link.description, places_.ApplicationName() + " - Autostart");
  EXPECT_EQ(link.iconFile, "");

  EXPECT_EQ(Startup_InstallSelf(), Error_None) << "over the one that is there";
  EXPECT_EQ(Startup_UninstallSelf(), Error_None);
  EXPECT_EQ(File_Exists(name.c_str(), nullptr), 0);
  EXPECT_EQ(Startup_UninstallSelf(), Error_NotFound);
}

TEST(Startup, NeedsTheLibrary) {
  EXPECT_EQ(Startup_InstallSelf(), Error_NotInited);
  EXPECT_EQ(Startup_UninstallSelf(), Error_NotInited);
}

// ---- OLE, as OS_Init starts it ------------------------------------------------------------------

bool CanCreateLinks() {
  IShellLinkA* link = nullptr;
  const HRESULT result = CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkA,
                                          reinterpret_cast<void**>(&link));
  if (link != nullptr) link->Release();
  return SUCCEEDED(result);
}

TEST(OSInitOLE, IsStartedByItsCodeAndThePlatformCode_AndStoppedByExit) {
  const OSPlaces places("qz-test-ole-" + std::to_string(ProgramNumber()));
  const char* name = places.ApplicationName().c_str();
  const std::string log = places.Folder().Name("x.log");
  ASSERT_FALSE(CanCreateLinks()) << "OLE must be down before this test";
  ASSERT_EQ(OS_Init(name, 1, log.c_str(), 5, 0), Error_None);
  EXPECT_FALSE(CanCreateLinks()) << "code 5 without code 2 is ignored";
  OS_Exit(0);
  ASSERT_EQ(OS_Init(name, 1, log.c_str(), 5, 2, 0), Error_None);
  EXPECT_TRUE(CanCreateLinks());
  OS_Exit(0);
  EXPECT_FALSE(CanCreateLinks());
}

TEST(OSInitOLE, IsNeededByShortcuts) {
  const TemporaryFolder folder;
  ASSERT_FALSE(CanCreateLinks()) << "OLE must be down before this test";
  EXPECT_EQ(WinOSShortcut_Create("C:\\windows\\notepad.exe", nullptr,
                                 (folder.Path() / "made.lnk").string().c_str(), nullptr, nullptr, 0),
            Error_Fail);
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST(OSInitOLE, FailsTheStart_WhenTheThreadBelongsToAnotherModel) {
  const OSPlaces places("qz-test-ole-" + std::to_string(ProgramNumber()));
  ErrorCapture errors;
  ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
  EXPECT_EQ(OS_Init(places.ApplicationName().c_str(), 2, 4, Word{0x77}, Word{0}, 5, 0), Error_Fail);
  EXPECT_EQ(errors.Lines(), std::vector<std::string>{"#### Error: OleInitialize(NULL) failed!\n"});
  EXPECT_FALSE(iOS_IsInited());
  EXPECT_EQ(iOS_GetInstance(), 0x77u) << "what was applied before stays";
  CoUninitialize();
  // The next start, be it one that fails at once, forgets it.
  EXPECT_EQ(OS_Init(nullptr, 99), Error_Fail);
  EXPECT_EQ(iOS_GetInstance(), 0u);
}

}  // namespace
