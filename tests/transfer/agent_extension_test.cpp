// Extensions: which files of a directory are loaded, and what belongs to one. The system's loader is replaced
// by one that registers classes as the test says.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "os/file/directory_testing.h"
#include "os/platform/module.h"
#include "qz/agentclass.h"
#include "qz/error.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"
#include "tests/transfer/agent_fixture.h"
#include "transfer/agent_testing.h"

namespace {

// What the start-up code of a library does, by the name of its file; false: the load fails.
std::map<std::string, std::function<bool()>>& StartupCode() {
  static std::map<std::string, std::function<bool()>> code;
  return code;
}

std::string BareName(const char* path) {
  const std::string text(path);
  return text.substr(text.find_last_of("/\\") + 1);
}

platform::Module* Load(const char* name) {
  const std::string bare = BareName(name);
  Calls().push_back("load " + bare);
  const auto code = StartupCode().find(bare);
  if (code != StartupCode().end() && !code->second()) return nullptr;
  return reinterpret_cast<platform::Module*>(new std::string(bare));
}

void Unload(platform::Module* library) {
  auto* name = reinterpret_cast<std::string*>(library);
  Calls().push_back("unload " + *name);
  delete name;
}

constexpr AgentLoader kLoader = {Load, Unload};

ErrorCode Register(const char* parent, const char* name, const AgentMethod* methods = nullptr) {
  return AgentClass_Register(parent, name, "", methods, 0, 0);
}

struct Counts {
  uint32_t loaded = 77;
  uint32_t failed = 77;
};

class AgentExtensionTest : public AgentSystemTest {
 protected:
  void SetUp() override {
    AgentSystemTest::SetUp();
    iAgentClass_SetLoader(&kLoader);
    StartupCode().clear();
  }
  void TearDown() override {
    AgentSystemTest::TearDown();
    iAgentClass_SetLoader(nullptr);
  }
  // A file, and what the library's start-up code does.
  void Make(const std::string& file, std::function<bool()> code) {
    folder_.Write(file, "");
    StartupCode()[file] = std::move(code);
  }
  void MakeWithClass(const std::string& file, const char* className) {
    Make(file, [className] { return Register(nullptr, className) == Error_None; });
  }
  ErrorCode LoadAll(Counts* counts) {
    return iAgentClass_LoadExtensions(folder_.Name().c_str(), &counts->loaded, &counts->failed);
  }
  void ExpectCounts(uint32_t loaded, uint32_t failed) {
    Counts counts;
    EXPECT_EQ(LoadAll(&counts), Error_None);
    EXPECT_EQ(counts.loaded, loaded);
    EXPECT_EQ(counts.failed, failed);
  }

  TempDir folder_;
};

TEST_F(AgentExtensionTest, LoadsTheFilesWithTheSuffix_InAnyCase) {
  for (const char* file : {"one.AXT", "two.axt", ".aXt"}) MakeWithClass(file, file);
  for (const char* file : {"three.AXTX", "four.dll", "fiveAXT", "six.AXT.bak"}) MakeWithClass(file, file);
  ExpectCounts(3, 0);
  EXPECT_EQ(TakeCalls(), (CallList{"load .aXt", "load one.AXT", "load two.axt"}));
  EXPECT_EQ(Children("/"), (CallList{"two.axt", "one.AXT", ".aXt"}));
}

TEST_F(AgentExtensionTest, LoadsInByteOrderOfTheNames) {
  for (const char* file : {"b.AXT", "a.AXT", "\xC3\xA4.AXT", "C.AXT", "aa.AXT", "1.AXT"})
    MakeWithClass(file, file);
  ExpectCounts(6, 0);
  EXPECT_EQ(TakeCalls(), (CallList{"load 1.AXT", "load C.AXT", "load a.AXT", "load aa.AXT", "load b.AXT",
                                   "load \xC3\xA4.AXT"}));
}

TEST_F(AgentExtensionTest, PassesTheWholeSystemName) {
  static std::string path;
  static const AgentLoader recording = {[](const char* name) -> platform::Module* {
                                          path = name;
                                          return nullptr;
                                        },
                                        Unload};
  iAgentClass_SetLoader(&recording);
  folder_.Write("one.AXT", "");
  ExpectCounts(0, 1);
  EXPECT_EQ(std::filesystem::path(path), folder_.SystemName("one.AXT"));
}

TEST_F(AgentExtensionTest, UnloadsALibraryThatRegistersNothing) {
  Make("empty.AXT", [] { return true; });
  Make("refused.AXT", [] { return Register("Nobody", "A") == Error_NotFound; });
  ExpectCounts(0, 2);
  EXPECT_EQ(TakeCalls(),
            (CallList{"load empty.AXT", "unload empty.AXT", "load refused.AXT", "unload refused.AXT"}));
}

TEST_F(AgentExtensionTest, CountsAFailedLoad_AndGoesOn) {
  Make("a.AXT", [] { return false; });
  MakeWithClass("b.AXT", "B");
  ExpectCounts(1, 1);
  EXPECT_EQ(Children("/"), CallList{"B"});
}

TEST_F(AgentExtensionTest, KeepsALibraryThatRegistersTheSameClassTwice) {
  Make("twice.AXT", [] {
    EXPECT_EQ(Register(nullptr, "A"), Error_None);
    EXPECT_EQ(Register(nullptr, "a"), Error_Exists);
    return true;
  });
  ExpectCounts(1, 0);
}

TEST_F(AgentExtensionTest, UnloadsALibraryWhenItsLastClassGoes) {
  Make("a.AXT",
       [] { return Register(nullptr, "One") == Error_None && Register("One", "Two") == Error_None; });
  MakeWithClass("b.AXT", "Three");
  ExpectCounts(2, 0);
  TakeCalls();
  iAgentClass_End();
  EXPECT_EQ(TakeCalls(), (CallList{"unload b.AXT", "unload a.AXT"}));
}

TEST_F(AgentExtensionTest, UnregistersItsClassesBeforeItIsUnloaded) {
  Make("a.AXT", [] {
    const AgentMethod methods[] = {{"unregister", Records<"unregister">}, {}};
    return Register(nullptr, "One", methods) == Error_None;
  });
  ExpectCounts(1, 0);
  TakeCalls();
  iAgentClass_End();
  EXPECT_EQ(TakeCalls(), (CallList{"unregister", "unload a.AXT"}));
}

TEST_F(AgentExtensionTest, StaysLoaded_WhileAClassBelowOneOfItsOwnIsThere) {
  MakeWithClass("a.AXT", "Above");
  Make("b.AXT", [] { return Register("Above", "Below") == Error_None; });
  ExpectCounts(2, 0);
  TakeCalls();
  // "Above" comes first in the order of names, and waits for "Below".
  iAgentClass_End();
  EXPECT_EQ(TakeCalls(), (CallList{"unload b.AXT", "unload a.AXT"}));
}

// ---- a load that fails half-way -----------------------------------------------------------------

TEST_F(AgentExtensionTest, ReleasesTheClassesOfALoadThatFails_WithoutCallingThem) {
  Make("half.AXT", [] {
    const AgentMethod methods[] = {
        {"register", Records<"register">}, {"unregister", Records<"unregister">}, {}};
    EXPECT_EQ(Register(nullptr, "One", methods), Error_None);
    EXPECT_EQ(Register("One", "Two", methods), Error_None);
    EXPECT_EQ(Register(nullptr, "Three", methods), Error_None);
    return false;
  });
  MakeWithClass("next.AXT", "One");
  ExpectCounts(1, 1);
  // The code is gone when the failure is known, and there is nothing to unload.
  EXPECT_EQ(TakeCalls(),
            (CallList{"load half.AXT", "register", "register", "register", "register", "load next.AXT"}));
  EXPECT_EQ(Children("/"), CallList{"One"});
  EXPECT_EQ(Children("One"), CallList{});
  iAgentClass_End();
  EXPECT_EQ(TakeCalls(), CallList{"unload next.AXT"});
}

TEST_F(AgentExtensionTest, UnregistersTheClassesAboveThoseOfAFailedLoad) {
  const AgentMethod methods[] = {{"unregister", Records<"Base.unregister">}, {}};
  ASSERT_EQ(Register(nullptr, "Base", methods), Error_None);
  Make("half.AXT", [] {
    const AgentMethod ofTheirs[] = {{"unregister", Records<"unregister">}, {}};
    return Register("Base", "Theirs", ofTheirs) != Error_None;
  });
  ExpectCounts(0, 1);
  EXPECT_EQ(TakeCalls(), (CallList{"load half.AXT", "Base.unregister"}));
  EXPECT_EQ(Children("Base"), CallList{});
}

TEST_F(AgentExtensionTest, HidesAClassOfAFailedLoad_ThatAnotherOneIsBelow) {
  ASSERT_EQ(Register(nullptr, "First"), Error_None);
  Make("half.AXT", [] {
    const AgentMethod methods[] = {{"unregister", Records<"unregister">}, {}};
    EXPECT_EQ(Register(nullptr, "Theirs", methods), Error_None);
    std::thread([] {
      const AgentMethod ofBelow[] = {{"unregister", Records<"Below.unregister">}, {}};
      EXPECT_EQ(Register("Theirs", "Below", ofBelow), Error_None);
    }).join();
    return false;
  });
  MakeWithClass("next.AXT", "Another");
  ExpectCounts(1, 1);
  EXPECT_EQ(AgentClass_MethodExists("Theirs", nullptr), 0);
  EXPECT_EQ(Children("/"), (CallList{"Another", "First"}));
  EXPECT_EQ(AgentClass_MethodExists("Below", "new"), 1);
  TakeCalls();
  // "Another" goes first. The library it belongs to has nothing to do with the one that failed.
  iAgentClass_End();
  EXPECT_EQ(TakeCalls(), (CallList{"unload next.AXT", "Below.unregister"}));
}

TEST_F(AgentExtensionTest, DropsAClassOfAFailedLoad_WhoseRegisterFailed) {
  Make("half.AXT", [] {
    const AgentMethod methods[] = {{"register", Records<"register", Error_Fail>}, {}};
    EXPECT_EQ(Register(nullptr, "One", methods), Error_Fail);
    return true;
  });
  ExpectCounts(0, 1);
  EXPECT_EQ(TakeCalls(), (CallList{"load half.AXT", "register", "unload half.AXT"}));
}

// ---- whose class it is --------------------------------------------------------------------------

TEST_F(AgentExtensionTest, DoesNotOwnClassesRegisteredOutsideItsStartup) {
  MakeWithClass("a.AXT", "Theirs");
  ASSERT_EQ(Register(nullptr, "Before"), Error_None);
  ExpectCounts(1, 0);
  ASSERT_EQ(Register(nullptr, "Zafter"), Error_None);
  TakeCalls();
  iAgentClass_End();
  EXPECT_EQ(TakeCalls(), CallList{"unload a.AXT"});
}

TEST_F(AgentExtensionTest, DoesNotOwnClassesOfOtherThreads) {
  Make("a.AXT", [] {
    ErrorCode status = Error_Fail;
    std::thread([&] { status = Register(nullptr, "Other"); }).join();
    EXPECT_EQ(status, Error_None);
    return true;
  });
  ExpectCounts(0, 1);
  EXPECT_EQ(TakeCalls(), (CallList{"load a.AXT", "unload a.AXT"}));
  EXPECT_EQ(Children("/"), CallList{"Other"});
}

TEST_F(AgentExtensionTest, KeepsNumbersApart_WhenTwoDirectoriesAreLoaded) {
  MakeWithClass("a.AXT", "A");
  ExpectCounts(1, 0);
  TempDir second;
  second.Write("b.AXT", "");
  StartupCode()["b.AXT"] = [] { return Register(nullptr, "B") == Error_None; };
  EXPECT_EQ(iAgentClass_LoadExtensions(second.Name().c_str(), nullptr, nullptr), Error_None);
  TakeCalls();
  iAgentClass_End();
  EXPECT_EQ(TakeCalls(), (CallList{"unload a.AXT", "unload b.AXT"}));
}

// ---- directories --------------------------------------------------------------------------------

TEST_F(AgentExtensionTest, FindsNothing_WhereThereIsNoDirectory) {
  Counts counts;
  EXPECT_EQ(iAgentClass_LoadExtensions(folder_.Name("missing").c_str(), &counts.loaded, &counts.failed),
            Error_None);
  EXPECT_EQ(counts.loaded, 0u);
  EXPECT_EQ(counts.failed, 0u);
  folder_.Write("file", "");
  EXPECT_EQ(iAgentClass_LoadExtensions(folder_.Name("file").c_str(), nullptr, nullptr), Error_None);
}

TEST_F(AgentExtensionTest, RefusesANullDirectory_AndAnEndlessName) {
  Counts counts;
  EXPECT_EQ(iAgentClass_LoadExtensions(nullptr, &counts.loaded, &counts.failed), Error_Invalid);
  EXPECT_EQ(counts.loaded, 0u);
  EXPECT_EQ(counts.failed, 0u);
  const std::string endless = "/" + std::string(1100, 'x');
  EXPECT_EQ(iAgentClass_LoadExtensions(endless.c_str(), nullptr, nullptr), Error_Exceed);
}

TEST(AgentExtensionSystem, GivesNotInited_BeforeTheStart) {
  uint32_t loaded = 77;
  EXPECT_EQ(iAgentClass_LoadExtensions("/", &loaded, nullptr), Error_NotInited);
  EXPECT_EQ(loaded, 0u);
}

// A search that cannot be continued.
bool FailToContinue(platform::DirectorySearch* /*search*/, platform::DirectoryEntry* /*entry*/) {
  SetReadError();
  return false;
}

TEST_F(AgentExtensionTest, GivesTheStatusOfADirectoryThatCannotBeReadToItsEnd) {
  MakeWithClass("a.AXT", "A");
  iDirectory_SetNextEntry(FailToContinue);
  Counts counts;
  const ErrorCode status = LoadAll(&counts);
  iDirectory_SetNextEntry(nullptr);
  EXPECT_EQ(status, Error_Fail);
  EXPECT_EQ(counts.loaded, 0u);
  EXPECT_EQ(counts.failed, 0u);
  EXPECT_EQ(TakeCalls(), CallList{});
}

bool FailForWantOfRights(platform::DirectorySearch* /*search*/, platform::DirectoryEntry* /*entry*/) {
  SetNoAccess();
  return false;
}

TEST_F(AgentExtensionTest, GivesTheStatusOfADirectoryThatMayNoLongerBeRead) {
  iDirectory_SetNextEntry(FailForWantOfRights);
  Counts counts;
  const ErrorCode status = LoadAll(&counts);
  iDirectory_SetNextEntry(nullptr);
  EXPECT_EQ(status, Error_NoAccess);
}

TEST_F(AgentExtensionTest, LeavesNothing_WhenAnAllocationFails) {
  MakeWithClass("a.AXT", "A");
  Make("b.AXT", [] { return true; });
  FailEveryAllocation([this] {
    Counts counts;
    const int64_t failing = iMemory_AllocationsUntilFailure();
    iMemory_FailAllocation(0);
    iAgentClass_End();
    ASSERT_EQ(iAgentClass_Start(), Error_None);
    iMemory_FailAllocation(failing);
    const ErrorCode status = LoadAll(&counts);
    if (status == Error_None) {
      EXPECT_EQ(counts.loaded + counts.failed, 2u);
      EXPECT_EQ(Children("/"), counts.loaded == 1 ? CallList{"A"} : CallList{});
    } else {
      EXPECT_EQ(status, Error_Memory);
      EXPECT_EQ(counts.loaded + counts.failed, 0u);
    }
    const int64_t left = iMemory_AllocationsUntilFailure();
    iMemory_FailAllocation(0);
    iAgentClass_End();
    EXPECT_EQ(iAgentClass_Start(), Error_None);
    iMemory_FailAllocation(left);
  });
}

}  // namespace
