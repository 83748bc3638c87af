// The parts of the registry family that need no registry: roots, paths, identifiers, refusals.
#include "qz/winosregistry.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qz/error.h"
#include "qz/os.h"
#include "tests/support/error_capture.h"
#include "tests/support/os_session.h"

namespace {

constexpr Word kClassesRoot = 0x80000000u;
constexpr Word kCurrentUser = 0x80000001u;
constexpr Word kLocalMachine = 0x80000002u;
constexpr Word kUsers = 0x80000003u;

constexpr const char* kEnd = nullptr;

TEST(WinOSRegistryRoots, HaveNames) {
  EXPECT_STREQ(WinOSRegistry_HKEYToString(kClassesRoot), "HKEY_CLASSES_ROOT");
  EXPECT_STREQ(WinOSRegistry_HKEYToString(kCurrentUser), "HKEY_CURRENT_USER");
  EXPECT_STREQ(WinOSRegistry_HKEYToString(kLocalMachine), "HKEY_LOCAL_MACHINE");
  EXPECT_STREQ(WinOSRegistry_HKEYToString(kUsers), "HKEY_USERS");
  EXPECT_EQ(WinOSRegistry_HKEYToString(0), nullptr);
  EXPECT_EQ(WinOSRegistry_HKEYToString(0x80000004u), nullptr);
}

TEST(WinOSRegistryRoots, AreFoundByTheirNames_InEitherCase) {
  EXPECT_EQ(WinOSRegistry_StringToHKEY("HKEY_CLASSES_ROOT"), kClassesRoot);
  EXPECT_EQ(WinOSRegistry_StringToHKEY("HKEY_CURRENT_USER"), kCurrentUser);
  EXPECT_EQ(WinOSRegistry_StringToHKEY("HKEY_LOCAL_MACHINE"), kLocalMachine);
  EXPECT_EQ(WinOSRegistry_StringToHKEY("HKEY_USERS"), kUsers);
  EXPECT_EQ(WinOSRegistry_StringToHKEY("hkey_local_machine"), kLocalMachine);
}

TEST(WinOSRegistryRoots, AreFoundByAWord_TheFirstOfTheOrderDeciding) {
  const struct {
    const char* text;
    Word root;
  } rows[] = {
      {"HKLM_MACHINE", kLocalMachine},
      {"HKEY_CURRENT_CONFIG", kCurrentUser},
      {"my users", kUsers},
      {"CURRENT_USERS", kUsers},
      {"USER_ROOT", kClassesRoot},
      {"LOCAL_CLASSES", kClassesRoot},
      {"local user", kCurrentUser},
      {"MACHINE_CURRENT", kCurrentUser},
      {"Local", kLocalMachine},
      {"xMACHINEx", kLocalMachine},
      {"ROOT_USERS", kUsers},
      {"CLASSES_USERS", kUsers},
      {"LOCAL_USERS", kUsers},
      {"USER_CLASSES", kClassesRoot},
      {"CURRENT_CLASSES", kClassesRoot},
      {"CURRENT_ROOT", kClassesRoot},
      {"MACHINE_ROOT", kClassesRoot},
      {"LOCAL_CURRENT", kCurrentUser},
      {"MACHINE_USER", kCurrentUser},
  };
  for (const auto& row : rows) EXPECT_EQ(WinOSRegistry_StringToHKEY(row.text), row.root) << row.text;
}

TEST(WinOSRegistryRoots, AreUnknownWithoutAWord) {
  EXPECT_EQ(WinOSRegistry_StringToHKEY("HKCU"), 0u);
  EXPECT_EQ(WinOSRegistry_StringToHKEY(""), 0u);
  EXPECT_EQ(WinOSRegistry_StringToHKEY(nullptr), 0u);
  EXPECT_EQ(WinOSRegistry_StringToHKEY(std::string(5000, 'x').c_str()), 0u);
}

TEST(WinOSRegistryRoots, AreLookedForInTheFirstComponentOnly) {
  EXPECT_EQ(WinOSRegistry_StringToHKEY("HKEY_USERS\\Software\\ROOT"), kUsers);
  EXPECT_EQ(WinOSRegistry_StringToHKEY("HKCU\\USERS"), 0u);
}

// ---- paths --------------------------------------------------------------------------------------

TEST(WinOSRegistryBuildPath, JoinsWithBackslashes_AndReturnsTheResult) {
  char result[512];
  EXPECT_EQ(WinOSRegistry_BuildPath(result, "HKEY_CURRENT_USER", "Software", "a b", kEnd), result);
  EXPECT_STREQ(result, "HKEY_CURRENT_USER\\Software\\a b");
  WinOSRegistry_BuildPath(result, "HKEY_USERS", kEnd);
  EXPECT_STREQ(result, "HKEY_USERS");
}

TEST(WinOSRegistryBuildPath, KeepsEmptyComponents) {
  char result[512];
  WinOSRegistry_BuildPath(result, "R", "Software", "", "app", kEnd);
  EXPECT_STREQ(result, "R\\Software\\\\app");
}

TEST(WinOSRegistryBuildPath, TakesAPathOf511Bytes) {
  ErrorCapture errors;
  char result[512];
  WinOSRegistry_BuildPath(result, "R", std::string(509, 'k').c_str(), kEnd);
  EXPECT_EQ(result, "R\\" + std::string(509, 'k'));
  EXPECT_TRUE(errors.Lines().empty());
}

TEST(WinOSRegistryBuildPath, ReportsAndReturnsTheWholeComponentsThatFit) {
  ErrorCapture errors;
  char result[512];
  WinOSRegistry_BuildPath(result, "R", "first", std::string(504, 'k').c_str(), "x", kEnd);
  EXPECT_STREQ(result, "R\\first");
  ASSERT_EQ(errors.Lines().size(), 1u);
  EXPECT_EQ(errors.Lines()[0], "#### Error: WinOSRegistry_BuildPath: Exceed max length of string!\n");
}

TEST(WinOSRegistryBuildPath, ReportsARootThatDoesNotFit) {
  ErrorCapture errors;
  char result[512] = "as was";
  WinOSRegistry_BuildPath(result, std::string(512, 'r').c_str(), "x", kEnd);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(errors.Lines().size(), 1u);
}

TEST(WinOSRegistryBuildPath, JoinsWhatTheResultHolds) {
  char path[512] = "HKEY_USERS\\a";
  EXPECT_EQ(WinOSRegistry_BuildPath(path, path, "b", kEnd), path);
  EXPECT_STREQ(path, "HKEY_USERS\\a\\b");
  char key[512] = "deep\\er";
  WinOSRegistry_BuildPath(key, "HKEY_USERS", key, "x", key, kEnd);
  EXPECT_STREQ(key, "HKEY_USERS\\deep\\er\\x\\deep\\er");
}

TEST(WinOSRegistryBuildPath, RefusesNull) {
  char result[512] = "as was";
  EXPECT_EQ(WinOSRegistry_BuildPath(nullptr, "R", kEnd), nullptr);
  EXPECT_EQ(WinOSRegistry_BuildPath(result, nullptr, kEnd), result);
  EXPECT_STREQ(result, "");
}

TEST(WinOSRegistryPaths, AreInvalid_WithoutARootOrAKey) {
  for (const char* path : {"HKEY_CURRENT_USER\\", "HKEY_CURRENT_USER", "HKEY_CURRENT_USER\\\\key",
                           "HKCU\\key", "", "\\key", static_cast<const char*>(nullptr)}) {
    const std::string shown = path != nullptr ? path : "null";
    char buffer[16] = "as was";
    uint32_t number = 7;
    EXPECT_EQ(WinOSRegistry_SetStringEntry(path, "v", "x"), Error_Invalid) << shown;
    EXPECT_EQ(WinOSRegistry_GetStringEntry(path, "v", sizeof buffer, buffer), Error_Invalid) << shown;
    EXPECT_STREQ(buffer, "") << shown;
    EXPECT_EQ(WinOSRegistry_GetUns32Entry(path, "v", &number), Error_Invalid) << shown;
    EXPECT_EQ(number, 0u) << shown;
    EXPECT_EQ(WinOSRegistry_EntryExists(path, "v"), 0) << shown;
    EXPECT_EQ(WinOSRegistry_DeleteKey(path), Error_Invalid) << shown;
    EXPECT_EQ(WinOSRegistry_SetSaveStringEntry(path, "HKEY_USERS\\x", "v", "x"), Error_Invalid) << shown;
    EXPECT_EQ(WinOSRegistry_SetRestoreStringEntry(path, "HKEY_USERS\\x", "v"), Error_Invalid) << shown;
  }
}

TEST(WinOSRegistryPaths, AreTooLong_From512Bytes) {
  const std::string path = "HKEY_CURRENT_USER\\" + std::string(494, 'k');
  ASSERT_EQ(path.size(), 512u);
  char buffer[16];
  EXPECT_EQ(WinOSRegistry_SetStringEntry(path.c_str(), "v", "x"), Error_Exceed);
  EXPECT_EQ(WinOSRegistry_GetStringEntry(path.c_str(), "v", sizeof buffer, buffer), Error_Exceed);
  EXPECT_EQ(WinOSRegistry_DeleteEntry(path.c_str()), Error_Exceed);
  EXPECT_EQ(WinOSRegistry_EntryExists(path.c_str(), "v"), 0);
}

TEST(WinOSRegistryPaths, FailTheDeletionOfAKey_WhenTheyAreTooLong) {
  const std::string key(494, 'k');
  EXPECT_EQ(WinOSRegistry_DeleteKey(("HKEY_CURRENT_USER\\" + key).c_str()), Error_Fail);
  EXPECT_EQ(WinOSRegistry_DeleteEntry(("HKEY_CURRENT_USER\\" + key + "\\").c_str()), Error_Fail);
  EXPECT_EQ(WinOSRegistry_DeleteEntry(std::string(5000, 'k').c_str()), Error_Fail) << "no backslash";
}

TEST(WinOSRegistryPaths, HaveAnEmptyComponent_ForAnApplicationWithoutACompany) {
  const OSPlaces places("qzapp" + std::to_string(ProgramNumber()));
  ASSERT_EQ(OS_Init(places.ApplicationName().c_str(), 1, places.Folder().Name("x.log").c_str(), 0),
            Error_None);
  ErrorCapture errors;
  char buffer[16];
  // HKEY_CURRENT_USER\Software\\NAME\kkk...: 29 bytes, the name and the key.
  const std::string longest(482 - places.ApplicationName().size(), 'k');
  EXPECT_NE(WinOSRegistry_GetApplicationStringEntry(longest.c_str(), "v", 16, buffer), Error_Exceed);
  EXPECT_TRUE(errors.Lines().empty());
  EXPECT_EQ(WinOSRegistry_GetApplicationStringEntry((longest + "k").c_str(), "v", 16, buffer), Error_Exceed);
  EXPECT_EQ(errors.Lines().size(), 1u);
  OS_Exit(0);
}

TEST(WinOSRegistryDeleteEntry, RefusesWhatNamesNoValueInAKey) {
  EXPECT_EQ(WinOSRegistry_DeleteEntry("HKEY_CURRENT_USER"), Error_Fail);
  EXPECT_EQ(WinOSRegistry_DeleteEntry(""), Error_Fail);
  EXPECT_EQ(WinOSRegistry_DeleteEntry("HKEY_CURRENT_USER\\"), Error_Invalid);
  EXPECT_EQ(WinOSRegistry_DeleteEntry("HKEY_CURRENT_USER\\value"), Error_Invalid);
  EXPECT_EQ(WinOSRegistry_DeleteEntry(nullptr), Error_Invalid);
}

TEST(WinOSRegistry, RefusesNowhereToPutAValue) {
  EXPECT_EQ(WinOSRegistry_GetStringEntry("HKEY_CURRENT_USER\\Software", "v", 10, nullptr), Error_Invalid);
  EXPECT_EQ(WinOSRegistry_GetUns32Entry("HKEY_CURRENT_USER\\Software", "v", nullptr), Error_Invalid);
  EXPECT_EQ(WinOSRegistry_GetApplicationStringEntry("key", "v", 10, nullptr), Error_Invalid);
}

TEST(WinOSRegistry, EmptiesTheBuffer_WhenNoKeyOfTheApplicationIsGiven) {
  char buffer[16] = "as was";
  EXPECT_EQ(WinOSRegistry_GetApplicationStringEntry(nullptr, "v", sizeof buffer, buffer), Error_Invalid);
  EXPECT_STREQ(buffer, "");
}

// ---- identifiers --------------------------------------------------------------------------------

constexpr uint8_t kGuid[16] = {0x78, 0x56, 0x34, 0x12, 0xBC, 0x9A, 0xF0, 0xDE,
                               0x01, 0x02, 0x0A, 0x0B, 0xC0, 0xD0, 0xE0, 0xFF};

class WinOSRegistryIdentifiers : public testing::Test {
 protected:
  void SetUp() override { Clear(); }
  void TearDown() override { Clear(); }
  static void Clear() {
    for (uint32_t slot = 0; slot < 3; ++slot) WinOSRegistry_SetID(slot, nullptr);
  }
};

TEST_F(WinOSRegistryIdentifiers, AreKeptByPointer) {
  for (uint32_t slot = 0; slot < 3; ++slot) {
    EXPECT_EQ(WinOSRegistry_GetID(slot), nullptr);
    EXPECT_EQ(WinOSRegistry_SetID(slot, kGuid + slot), Error_None);
  }
  for (uint32_t slot = 0; slot < 3; ++slot) EXPECT_EQ(WinOSRegistry_GetID(slot), kGuid + slot);
}

TEST_F(WinOSRegistryIdentifiers, AreNotReplaced_UntilTheSlotIsCleared) {
  EXPECT_EQ(WinOSRegistry_SetID(0, kGuid), Error_None);
  EXPECT_EQ(WinOSRegistry_SetID(0, kGuid + 1), Error_Inited);
  EXPECT_EQ(WinOSRegistry_GetID(0), kGuid);
  EXPECT_EQ(WinOSRegistry_SetID(0, nullptr), Error_None);
  EXPECT_EQ(WinOSRegistry_GetID(0), nullptr);
  EXPECT_EQ(WinOSRegistry_SetID(0, kGuid + 1), Error_None);
}

TEST_F(WinOSRegistryIdentifiers, HaveThreeSlots) {
  EXPECT_EQ(WinOSRegistry_SetID(3, kGuid), Error_Invalid);
  EXPECT_EQ(WinOSRegistry_SetID(0xFFFFFFFFu, nullptr), Error_Invalid);
  EXPECT_EQ(WinOSRegistry_GetID(3), nullptr);
}

TEST_F(WinOSRegistryIdentifiers, ArePrintedAsGuidText) {
  WinOSRegistry_SetID(1, kGuid);
  char buffer[39];
  EXPECT_EQ(WinOSRegistry_GetIDString(1, buffer), buffer);
  EXPECT_STREQ(buffer, "{12345678-9ABC-DEF0-0102-0A0BC0D0E0FF}");
}

TEST_F(WinOSRegistryIdentifiers, KeepTheirLeadingZeros) {
  constexpr uint8_t kSmallGuid[16] = {0x01, 0, 0, 0, 0x02, 0, 0x03, 0, 0, 0x04, 0, 0, 0, 0, 0, 0x05};
  WinOSRegistry_SetID(1, kSmallGuid);
  char buffer[39];
  EXPECT_EQ(WinOSRegistry_GetIDString(1, buffer), buffer);
  EXPECT_STREQ(buffer, "{00000001-0002-0003-0004-000000000005}");
}

TEST_F(WinOSRegistryIdentifiers, HaveNoText_WhenTheSlotIsEmpty) {
  char buffer[39] = "as was";
  EXPECT_EQ(WinOSRegistry_GetIDString(0, buffer), nullptr);
  EXPECT_EQ(WinOSRegistry_GetIDString(9, buffer), nullptr);
  WinOSRegistry_SetID(0, kGuid);
  EXPECT_EQ(WinOSRegistry_GetIDString(0, nullptr), nullptr);
}

}  // namespace
