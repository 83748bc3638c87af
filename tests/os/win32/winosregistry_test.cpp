// The real registry, below a key of this test program alone.
#include "qz/winosregistry.h"

#include <gtest/gtest.h>
#include <windows.h>
// After windows.h, which declares what this builds upon.
#include <aclapi.h>
#include <sddl.h>

#include <string>
#include <vector>

#include "qz/error.h"
#include "qz/os.h"
#include "tests/support/module.h"
#include "tests/support/os_session.h"

namespace {

using Bytes = std::vector<BYTE>;

class WinOSRegistryKeys : public testing::Test {
 protected:
  WinOSRegistryKeys() { RegCreateKeyA(HKEY_CURRENT_USER, key_.c_str(), &handle_); }
  ~WinOSRegistryKeys() override {
    RegCloseKey(handle_);
    WinOSRegistry_DeleteKey(path_.c_str());
  }

  // Writes a value of any type, past the library.
  void Put(const char* name, DWORD type, const Bytes& bytes, const char* subkey = nullptr) {
    HKEY key = nullptr;
    RegCreateKeyA(handle_, subkey, &key);
    RegSetValueExA(key, name, 0, type, bytes.data(), static_cast<DWORD>(bytes.size()));
    RegCloseKey(key);
  }
  // As Put, through the wide interface, which stores the bytes as they are.
  void PutRaw(const wchar_t* name, DWORD type, const Bytes& bytes) {
    RegSetValueExW(handle_, name, 0, type, bytes.data(), static_cast<DWORD>(bytes.size()));
  }
  // What stands under a name, past the library: "type:text", or "none".
  std::string Stored(const std::string& name, const char* subkey = nullptr) {
    HKEY key = nullptr;
    if (RegOpenKeyA(handle_, subkey, &key) != ERROR_SUCCESS) return "no key";
    char text[1024] = "";
    DWORD size = sizeof text;
    DWORD type = 0;
    const LONG result =
        RegQueryValueExA(key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
    RegCloseKey(key);
    return result == ERROR_SUCCESS ? std::to_string(type) + ":" + text : "none";
  }
  bool KeyExists(const char* subkey) {
    HKEY key = nullptr;
    const bool exists = RegOpenKeyA(handle_, subkey, &key) == ERROR_SUCCESS;
    if (exists) RegCloseKey(key);
    return exists;
  }
  std::string Path(const char* subkey) const { return path_ + "\\" + subkey; }

  const std::string key_ = "Software\\qz-test-" + std::to_string(GetCurrentProcessId());
  const std::string path_ = "HKEY_CURRENT_USER\\" + key_;
  HKEY handle_ = nullptr;
};

TEST_F(WinOSRegistryKeys, ReallyAreTheSystemsRoots) {
  EXPECT_EQ(WinOSRegistry_StringToHKEY("HKEY_CURRENT_USER"), reinterpret_cast<Word>(HKEY_CURRENT_USER));
  EXPECT_EQ(WinOSRegistry_StringToHKEY("HKEY_CLASSES_ROOT"), reinterpret_cast<Word>(HKEY_CLASSES_ROOT));
  EXPECT_EQ(WinOSRegistry_StringToHKEY("HKEY_LOCAL_MACHINE"), reinterpret_cast<Word>(HKEY_LOCAL_MACHINE));
  EXPECT_EQ(WinOSRegistry_StringToHKEY("HKEY_USERS"), reinterpret_cast<Word>(HKEY_USERS));
}

// ---- texts --------------------------------------------------------------------------------------

TEST_F(WinOSRegistryKeys, KeepTexts_AndAreCreatedWithTheirParents) {
  EXPECT_EQ(WinOSRegistry_SetStringEntry(Path("new\\deep").c_str(), "v", "text"), Error_None);
  EXPECT_EQ(Stored("v", "new\\deep"), "1:text");
  char buffer[16] = "";
  EXPECT_EQ(WinOSRegistry_GetStringEntry(Path("new\\deep").c_str(), "v", sizeof buffer, buffer), Error_None);
  EXPECT_STREQ(buffer, "text");
  EXPECT_EQ(WinOSRegistry_EntryExists(Path("new\\deep").c_str(), "v"), 1);
  EXPECT_EQ(WinOSRegistry_EntryExists(Path("new\\deep").c_str(), "w"), 0);
  EXPECT_EQ(WinOSRegistry_EntryExists(Path("newer").c_str(), "v"), 0);
}

TEST_F(WinOSRegistryKeys, KeepBytesOutsideAscii) {
  const std::string path = Path("\xE4\xF6");
  EXPECT_EQ(WinOSRegistry_SetStringEntry(path.c_str(), "\xFC", "\xDF\x80%s"), Error_None);
  char buffer[8] = "";
  EXPECT_EQ(WinOSRegistry_GetStringEntry(path.c_str(), "\xFC", sizeof buffer, buffer), Error_None);
  EXPECT_STREQ(buffer, "\xDF\x80%s");
  EXPECT_EQ(WinOSRegistry_DeleteEntry((path + "\\\xFC").c_str()), Error_None);
  EXPECT_EQ(WinOSRegistry_EntryExists(path.c_str(), "\xFC"), 0);
}

TEST_F(WinOSRegistryKeys, LoseAValue_ByANullText) {
  WinOSRegistry_SetStringEntry(path_.c_str(), "v", "text");
  EXPECT_EQ(WinOSRegistry_SetStringEntry(path_.c_str(), "v", nullptr), Error_None);
  EXPECT_EQ(Stored("v"), "none");
  EXPECT_EQ(WinOSRegistry_SetStringEntry(path_.c_str(), "v", nullptr), Error_NotFound);
}

TEST_F(WinOSRegistryKeys, HaveAnUnnamedValue) {
  EXPECT_EQ(WinOSRegistry_SetStringEntry(path_.c_str(), nullptr, "unnamed"), Error_None);
  char buffer[16] = "";
  EXPECT_EQ(WinOSRegistry_GetStringEntry(path_.c_str(), nullptr, sizeof buffer, buffer), Error_None);
  EXPECT_STREQ(buffer, "unnamed");
}

TEST_F(WinOSRegistryKeys, GiveNotFound_ForAMissingKeyOrValue) {
  char buffer[16] = "as was";
  EXPECT_EQ(WinOSRegistry_GetStringEntry(Path("missing").c_str(), "v", sizeof buffer, buffer),
            Error_NotFound);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(WinOSRegistry_GetStringEntry(path_.c_str(), "missing", sizeof buffer, buffer), Error_NotFound);
  uint32_t number = 7;
  EXPECT_EQ(WinOSRegistry_GetUns32Entry(Path("missing").c_str(), "v", &number), Error_NotFound);
  EXPECT_EQ(WinOSRegistry_GetUns32Entry(path_.c_str(), "missing", &number), Error_NotFound);
  EXPECT_EQ(number, 0u);
}

TEST_F(WinOSRegistryKeys, GiveAnExpandableTextAsItStands) {
  Put("v", REG_EXPAND_SZ, Bytes{'%', 'T', '%', 0});
  char buffer[16] = "";
  EXPECT_EQ(WinOSRegistry_GetStringEntry(path_.c_str(), "v", sizeof buffer, buffer), Error_None);
  EXPECT_STREQ(buffer, "%T%");
}

TEST_F(WinOSRegistryKeys, GiveInvalid_ForAValueThatIsNoText_BeforeItsSizeIsLookedAt) {
  Put("number", REG_DWORD, Bytes{1, 0, 0, 0});
  Put("bytes", REG_BINARY, Bytes(100, 'x'));
  Put("texts", REG_MULTI_SZ, Bytes{'a', 0, 0});
  for (const char* name : {"number", "bytes", "texts"}) {
    char buffer[2] = "a";
    EXPECT_EQ(WinOSRegistry_GetStringEntry(path_.c_str(), name, sizeof buffer, buffer), Error_Invalid)
        << name;
    EXPECT_STREQ(buffer, "") << name;
  }
}

TEST_F(WinOSRegistryKeys, GiveExceed_ForATextLongerThanTheBuffer) {
  WinOSRegistry_SetStringEntry(path_.c_str(), "v", "12345");
  char buffer[8] = "as was";
  EXPECT_EQ(WinOSRegistry_GetStringEntry(path_.c_str(), "v", 5, buffer), Error_Exceed);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(WinOSRegistry_GetStringEntry(path_.c_str(), "v", 6, buffer), Error_None);
  EXPECT_STREQ(buffer, "12345");
  buffer[0] = '#';
  EXPECT_EQ(WinOSRegistry_GetStringEntry(path_.c_str(), "v", 0, buffer), Error_Exceed);
  EXPECT_EQ(buffer[0], '#') << "a buffer of no bytes is not touched";
}

TEST_F(WinOSRegistryKeys, TerminateATextThatIsStoredWithoutItsTerminator) {
  PutRaw(L"v", REG_SZ, Bytes{'a', 0, 'b', 0, 'c', 0});
  char buffer[8] = "#######";
  EXPECT_EQ(WinOSRegistry_GetStringEntry(path_.c_str(), "v", 4, buffer), Error_None);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(buffer[4], '#');
  EXPECT_EQ(WinOSRegistry_GetStringEntry(path_.c_str(), "v", 3, buffer), Error_Exceed);
  EXPECT_STREQ(buffer, "");
}

TEST_F(WinOSRegistryKeys, GiveAnEmptyText_ForAValueOfNoBytes) {
  PutRaw(L"v", REG_SZ, Bytes{});
  char buffer[4] = "###";
  EXPECT_EQ(WinOSRegistry_GetStringEntry(path_.c_str(), "v", sizeof buffer, buffer), Error_None);
  EXPECT_STREQ(buffer, "");
}

TEST_F(WinOSRegistryKeys, ExistWhateverTheirTypeIs) {
  Put("number", REG_DWORD, Bytes{1, 0, 0, 0});
  Put("bytes", REG_BINARY, Bytes(2000, 'x'));
  for (const char* name : {"number", "bytes"}) EXPECT_EQ(WinOSRegistry_EntryExists(path_.c_str(), name), 1);
  EXPECT_EQ(WinOSRegistry_EntryExists(path_.c_str(), nullptr), 0);
  WinOSRegistry_SetStringEntry(path_.c_str(), nullptr, "");
  EXPECT_EQ(WinOSRegistry_EntryExists(path_.c_str(), nullptr), 1);
}

TEST_F(WinOSRegistryKeys, AreCreated_EvenToDeleteAValueInThem) {
  EXPECT_EQ(WinOSRegistry_SetStringEntry(Path("new\\deep").c_str(), "v", nullptr), Error_NotFound);
  EXPECT_TRUE(KeyExists("new\\deep"));
}

// ---- numbers ------------------------------------------------------------------------------------

TEST_F(WinOSRegistryKeys, GiveNumbersOfEitherByteOrder) {
  Put("little", REG_DWORD, Bytes{0x78, 0x56, 0x34, 0x12});
  Put("big", REG_DWORD_BIG_ENDIAN, Bytes{0x12, 0x34, 0x56, 0x78});
  for (const char* name : {"little", "big"}) {
    uint32_t number = 0;
    EXPECT_EQ(WinOSRegistry_GetUns32Entry(path_.c_str(), name, &number), Error_None) << name;
    EXPECT_EQ(number, 0x12345678u) << name;
  }
}

TEST_F(WinOSRegistryKeys, GiveInvalid_ForAValueThatIsNoNumber) {
  Put("text", REG_SZ, Bytes{'a', 'b', 'c', 0});
  Put("long", REG_SZ, Bytes{'a', 'b', 'c', 'd', 'e', 'f', 0});
  Put("bytes", REG_BINARY, Bytes{1, 2, 3, 4});
  Put("short", REG_DWORD, Bytes{1, 2});
  for (const char* name : {"text", "long", "bytes", "short"}) {
    uint32_t number = 7;
    EXPECT_EQ(WinOSRegistry_GetUns32Entry(path_.c_str(), name, &number), Error_Invalid) << name;
    EXPECT_EQ(number, 0u) << name;
  }
}

// ---- the application's values -------------------------------------------------------------------

class WinOSRegistryApplication : public testing::Test {
 protected:
  void Start(const char* company) {
    ASSERT_EQ(OS_Init(name_.c_str(), 1, places_.Folder().Name("x.log").c_str(), 3, company, 0), Error_None);
  }
  void TearDown() override {
    OS_Exit(0);
    WinOSRegistry_DeleteKey(path_.c_str());
  }

  const std::string name_ = "qz-test-app-" + std::to_string(GetCurrentProcessId());
  const std::string company_ = "qz-test-company-" + std::to_string(GetCurrentProcessId());
  const std::string path_ = "HKEY_CURRENT_USER\\Software\\" + company_;
  OSPlaces places_{name_};
};

TEST_F(WinOSRegistryApplication, FindsItsValuesBelowItsCompanyAndName) {
  Start(company_.c_str());
  const std::string key = path_ + "\\" + name_ + "\\settings";
  WinOSRegistry_SetStringEntry(key.c_str(), "v", "text");
  char buffer[16] = "";
  EXPECT_EQ(WinOSRegistry_GetApplicationStringEntry("settings", "v", sizeof buffer, buffer), Error_None);
  EXPECT_STREQ(buffer, "text");
  EXPECT_EQ(WinOSRegistry_GetApplicationStringEntry("settings", "v", 3, buffer), Error_Exceed);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(WinOSRegistry_GetApplicationStringEntry("settings", "missing", sizeof buffer, buffer),
            Error_NotFound);
  EXPECT_EQ(WinOSRegistry_GetApplicationStringEntry("missing", "v", sizeof buffer, buffer), Error_NotFound);
}

TEST_F(WinOSRegistryApplication, FindsItsValuesBelowAnEmptyComponent_WithoutACompany) {
  Start("");
  const std::string key = "HKEY_CURRENT_USER\\Software\\\\" + name_;
  EXPECT_EQ(WinOSRegistry_SetStringEntry((key + "\\settings").c_str(), "v", "text"), Error_None);
  char buffer[16] = "";
  EXPECT_EQ(WinOSRegistry_GetApplicationStringEntry("settings", "v", sizeof buffer, buffer), Error_None);
  EXPECT_STREQ(buffer, "text");
  EXPECT_EQ(WinOSRegistry_DeleteKey(key.c_str()), Error_None);
}

TEST_F(WinOSRegistryApplication, RefusesAPathThatDoesNotFit_InsteadOfReadingAnother) {
  Start(company_.c_str());
  WinOSRegistry_SetStringEntry((path_ + "\\" + name_).c_str(), "v", "text");
  char buffer[16] = "as was";
  EXPECT_EQ(
      WinOSRegistry_GetApplicationStringEntry(std::string(600, 'k').c_str(), "v", sizeof buffer, buffer),
      Error_Exceed);
  EXPECT_STREQ(buffer, "");
}

// ---- taking over and giving back ----------------------------------------------------------------

TEST_F(WinOSRegistryKeys, AreTakenOverAndGivenBack) {
  const std::string path = Path("used");
  const std::string savePath = Path("saved");
  WinOSRegistry_SetStringEntry(path.c_str(), "v", "theirs");
  EXPECT_EQ(WinOSRegistry_SetSaveStringEntry(path.c_str(), savePath.c_str(), "v", "ours"), Error_None);
  EXPECT_EQ(Stored("v", "used"), "1:ours");
  EXPECT_EQ(Stored("v", "saved"), "1:theirs");
  EXPECT_EQ(WinOSRegistry_SetRestoreStringEntry(savePath.c_str(), path.c_str(), "v"), Error_None);
  EXPECT_EQ(Stored("v", "used"), "1:theirs");
  EXPECT_EQ(Stored("v", "saved"), "none");
}

TEST_F(WinOSRegistryKeys, AreNotTakenOver_WhenThereIsNothingToSave) {
  EXPECT_EQ(WinOSRegistry_SetSaveStringEntry(Path("used").c_str(), Path("saved").c_str(), "v", "ours"),
            Error_NotFound);
  EXPECT_FALSE(KeyExists("used"));
  EXPECT_FALSE(KeyExists("saved"));
  EXPECT_EQ(WinOSRegistry_SetRestoreStringEntry(Path("saved").c_str(), Path("used").c_str(), "v"),
            Error_NotFound);
}

TEST_F(WinOSRegistryKeys, SaveATextOf511Bytes_AndNoLongerOne) {
  const std::string path = Path("used");
  WinOSRegistry_SetStringEntry(path.c_str(), "v", std::string(511, 't').c_str());
  EXPECT_EQ(WinOSRegistry_SetSaveStringEntry(path.c_str(), Path("saved").c_str(), "v", "ours"), Error_None);
  EXPECT_EQ(Stored("v", "saved"), "1:" + std::string(511, 't'));
  WinOSRegistry_SetStringEntry(path.c_str(), "v", std::string(512, 't').c_str());
  EXPECT_EQ(WinOSRegistry_SetSaveStringEntry(path.c_str(), Path("other").c_str(), "v", "ours"), Error_Exceed);
  EXPECT_FALSE(KeyExists("other"));
}

// Lets everybody read the key and nobody write to it, as long as this lives.
class ReadOnlyKey {
 public:
  explicit ReadOnlyKey(const std::string& key) {
    RegOpenKeyExA(HKEY_CURRENT_USER, key.c_str(), 0, READ_CONTROL | WRITE_DAC, &handle_);
    Allow("D:(A;;KRRCWDSD;;;WD)");
  }
  ~ReadOnlyKey() {
    Allow("D:(A;;KA;;;WD)");
    RegCloseKey(handle_);
  }

 private:
  void Allow(const char* text) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    EXPECT_TRUE(
        ConvertStringSecurityDescriptorToSecurityDescriptorA(text, SDDL_REVISION_1, &descriptor, nullptr));
    EXPECT_EQ(RegSetKeySecurity(handle_, DACL_SECURITY_INFORMATION, descriptor), ERROR_SUCCESS);
    LocalFree(descriptor);
  }
  HKEY handle_ = nullptr;
};

TEST_F(WinOSRegistryKeys, GiveTheStatusOfTakingTheCopyBack_WhenTheTakeOverFails) {
  const std::string path = Path("used");
  WinOSRegistry_SetStringEntry(path.c_str(), "v", "theirs");
  const ReadOnlyKey readOnly(key_ + "\\used");
  ASSERT_EQ(WinOSRegistry_SetStringEntry(path.c_str(), "v", "ours"), Error_NoAccess)
      << "the key must refuse to be written";
  EXPECT_EQ(WinOSRegistry_SetSaveStringEntry(path.c_str(), Path("saved").c_str(), "v", "ours"), Error_None);
  EXPECT_EQ(Stored("v", "used"), "1:theirs");
  EXPECT_EQ(Stored("v", "saved"), "none");
}

TEST_F(WinOSRegistryKeys, AreGivenBack_EvenWhenTheCopyCannotBeDeleted) {
  const std::string savePath = Path("saved");
  WinOSRegistry_SetStringEntry(savePath.c_str(), "v", "theirs");
  const ReadOnlyKey readOnly(key_ + "\\saved");
  EXPECT_EQ(WinOSRegistry_SetRestoreStringEntry(savePath.c_str(), Path("used").c_str(), "v"), Error_None);
  EXPECT_EQ(Stored("v", "used"), "1:theirs");
  EXPECT_EQ(Stored("v", "saved"), "1:theirs");
}

TEST_F(WinOSRegistryKeys, LoseNothing_WhenTheyCannotBeGivenBack) {
  WinOSRegistry_SetStringEntry(Path("saved").c_str(), "v", "theirs");
  WinOSRegistry_SetStringEntry(Path("used").c_str(), "v", "ours");
  const ReadOnlyKey readOnly(key_ + "\\used");
  EXPECT_EQ(WinOSRegistry_SetRestoreStringEntry(Path("saved").c_str(), Path("used").c_str(), "v"),
            Error_NoAccess);
  EXPECT_EQ(Stored("v", "saved"), "1:theirs");
  EXPECT_EQ(Stored("v", "used"), "1:ours");
}

TEST_F(WinOSRegistryKeys, AreNotTakenOver_WhenTheCopyCannotBeMade) {
  WinOSRegistry_SetStringEntry(Path("saved").c_str(), "other", "x");
  WinOSRegistry_SetStringEntry(Path("used").c_str(), "v", "theirs");
  const ReadOnlyKey readOnly(key_ + "\\saved");
  EXPECT_EQ(WinOSRegistry_SetSaveStringEntry(Path("used").c_str(), Path("saved").c_str(), "v", "ours"),
            Error_NoAccess);
  EXPECT_EQ(Stored("v", "used"), "1:theirs");
}

TEST_F(WinOSRegistryKeys, AreTakenOverByNothing) {
  WinOSRegistry_SetStringEntry(Path("used").c_str(), "v", "theirs");
  EXPECT_EQ(WinOSRegistry_SetSaveStringEntry(Path("used").c_str(), Path("saved").c_str(), "v", nullptr),
            Error_None);
  EXPECT_EQ(Stored("v", "used"), "none");
  EXPECT_EQ(Stored("v", "saved"), "1:theirs");
}

// ---- deleting -----------------------------------------------------------------------------------

TEST_F(WinOSRegistryKeys, AreDeletedWithAllTheirSubkeys) {
  for (const char* subkey : {"t\\a\\b\\c", "t\\a\\d", "t\\e", "kept"}) {
    WinOSRegistry_SetStringEntry(Path(subkey).c_str(), "v", "x");
  }
  EXPECT_EQ(WinOSRegistry_DeleteKey(Path("t").c_str()), Error_None);
  EXPECT_FALSE(KeyExists("t"));
  EXPECT_TRUE(KeyExists("kept"));
  EXPECT_EQ(WinOSRegistry_DeleteKey(Path("t").c_str()), Error_Fail);
}

TEST_F(WinOSRegistryKeys, AreNotDeletedForEver_WhenASubkeyCannotBe) {
  WinOSRegistry_SetStringEntry(Path("t\\held").c_str(), "v", "x");
  {
    const ReadOnlyKey readOnly(key_ + "\\t\\held");
    EXPECT_EQ(WinOSRegistry_DeleteKey(Path("t").c_str()), Error_Fail);
    EXPECT_TRUE(KeyExists("t\\held"));
  }
  EXPECT_EQ(WinOSRegistry_DeleteKey(Path("t").c_str()), Error_None);
}

TEST_F(WinOSRegistryKeys, LoseTheValueThatTheLastComponentNames) {
  Put("v", REG_DWORD, Bytes{1, 0, 0, 0}, "k");
  EXPECT_EQ(WinOSRegistry_DeleteEntry(Path("k\\v").c_str()), Error_None);
  EXPECT_EQ(Stored("v", "k"), "none");
  EXPECT_EQ(WinOSRegistry_DeleteEntry(Path("k\\v").c_str()), Error_NotFound);
  EXPECT_EQ(WinOSRegistry_DeleteEntry(Path("missing\\v").c_str()), Error_NotFound);
  EXPECT_TRUE(KeyExists("k"));
}

TEST_F(WinOSRegistryKeys, AreDeleted_ByAnEntryThatEndsWithASeparator) {
  WinOSRegistry_SetStringEntry(Path("k\\below").c_str(), "v", "x");
  EXPECT_EQ(WinOSRegistry_DeleteEntry(Path("k\\").c_str()), Error_None);
  EXPECT_FALSE(KeyExists("k"));
}

TEST_F(WinOSRegistryKeys, AreDeleted_ByANameThatEndsWithASeparator) {
  WinOSRegistry_SetStringEntry(Path("k\\below").c_str(), "v", "x");
  EXPECT_EQ(WinOSRegistry_DeleteKey(Path("k\\").c_str()), Error_None);
  EXPECT_FALSE(KeyExists("k"));
  EXPECT_TRUE(KeyExists(nullptr));
}

TEST_F(WinOSRegistryKeys, AreDeletedHoweverDeep) {
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyA(handle_, "t", &key), ERROR_SUCCESS);
  // The system's limit is 512 levels.
  for (int i = 0; i < 400; ++i) {
    HKEY below = nullptr;
    ASSERT_EQ(RegCreateKeyA(key, "d", &below), ERROR_SUCCESS) << i;
    RegCloseKey(key);
    key = below;
  }
  RegCloseKey(key);
  EXPECT_EQ(WinOSRegistry_DeleteKey(Path("t").c_str()), Error_None);
  EXPECT_FALSE(KeyExists("t"));
}

TEST_F(WinOSRegistryKeys, AreAllClosed) {
  const int before = CountOpenHandles();
  char buffer[4];
  uint32_t number = 0;
  for (int i = 0; i < 50; ++i) {
    WinOSRegistry_SetStringEntry(Path("k\\below").c_str(), "v", "longer");
    WinOSRegistry_SetStringEntry(Path("k\\below").c_str(), "missing", nullptr);
    WinOSRegistry_GetStringEntry(Path("k\\below").c_str(), "v", sizeof buffer, buffer);
    WinOSRegistry_GetUns32Entry(Path("k\\below").c_str(), "v", &number);
    WinOSRegistry_EntryExists(Path("k").c_str(), "v");
    WinOSRegistry_DeleteEntry(Path("k\\v").c_str());
    WinOSRegistry_DeleteKey(Path("k").c_str());
  }
  EXPECT_LT(CountOpenHandles(), before + 10);
}

}  // namespace
