// Writing a document: which file, and what is left when that fails.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "os/file/file_internal.h"
#include "qz/directory.h"
#include "tests/config/config_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/failing_close.h"

namespace {

using Names = std::vector<std::string>;

ErrorCode Write(const Document& document, const std::string& name) {
  return Config_Write(document.get(), document.directory().Name(name).c_str());
}

TEST(ConfigWrite, MakesAFileAndNothingElse) {
  Document document(Pairs());
  document.Print("a 1");
  EXPECT_EQ(Write(document, "file"), Error_None);
  EXPECT_EQ(document.directory().Read("file"), LineEnds("a\t1\n"));
  EXPECT_EQ(document.directory().List(), Names{"file"});
}

TEST(ConfigWrite, ReplacesAFileWhole) {
  Document document(Pairs());
  document.Print("a 1");
  document.directory().Write("file", std::string(100000, 'x'));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Write(document, "file"), Error_None);
    EXPECT_EQ(document.directory().Read("file"), LineEnds("a\t1\n"));
  }
  EXPECT_EQ(document.directory().List(), Names{"file"});
}

TEST(ConfigWrite, WritesBackTheFileThatWasRead) {
  Document document(Pairs(), "# x\na  1\nb\n");
  document.Print("a 2");
  EXPECT_EQ(Write(document, "in"), Error_None);
  EXPECT_EQ(document.directory().Read("in"), LineEnds("# x\na\t2\n# MIN b\n# UNIQUE a\t1\n\n"));
  EXPECT_EQ(document.directory().List(), Names{"in"});
}

TEST(ConfigWrite, MakesAnEmptyFileOfAnEmptyDocument) {
  Document document(Pairs());
  document.directory().Write("file", "old");
  EXPECT_EQ(Write(document, "file"), Error_None);
  EXPECT_EQ(document.directory().Read("file"), "");
}

TEST(ConfigWrite, TakesANameBelowTheCurrentDirectory) {
  Document document(Pairs());
  document.Print("a 1");
  char before[1024];
  ASSERT_EQ(Directory_GetCurrent(before), Error_None);
  ASSERT_EQ(Directory_SetCurrent(document.directory().Name().c_str()), Error_None);
  const ErrorCode made = Config_Write(document.get(), "file");
  const ErrorCode replaced = Config_Write(document.get(), "file");
  const ErrorCode read = Config_Read(document.get(), "file");
  ASSERT_EQ(Directory_SetCurrent(before), Error_None);
  EXPECT_EQ(made, Error_None);
  EXPECT_EQ(replaced, Error_None);
  EXPECT_EQ(read, Error_None);
  EXPECT_EQ(document.directory().Read("file"), LineEnds("a\t1\n"));
  EXPECT_EQ(document.directory().List(), Names{"file"});
}

TEST(ConfigWrite, LeavesTheDocumentAsItIs) {
  Document document(PairsInSections(), "# x\na 1\n[s]\nb 2\n");
  EXPECT_EQ(document.Written(), document.Written());
  EXPECT_EQ(document.Sections(), "<> <[s]>");
  EXPECT_EQ(document.Lines(), "<a><1>");
}

TEST(ConfigWrite, WritesMoreThanABufferHolds) {
  Document document(Pairs());
  std::string expected;
  for (int i = 10000; i < 30000; ++i) {
    document.Print("key" + std::to_string(i) + " value # comment " + std::to_string(i));
    // 8 characters: the next column begins at 12; 5: at 6.
    expected += "key" + std::to_string(i) + "\tvalue\t# comment " + std::to_string(i) + "\n";
  }
  EXPECT_TRUE(document.Written() == LineEnds(expected));
}

// ---- failures ----------------------------------------------------------------------------------

TEST(ConfigWriteFailure, GivesTheStatusOfOpening) {
  Document document(Pairs());
  document.Print("a 1");
  document.directory().MakeDirectory("folder");
  EXPECT_EQ(Write(document, "none/file"), Error_Fail);
  EXPECT_EQ(Write(document, "folder"), Error_Fail);
  EXPECT_EQ(Write(document, "folder/"), Error_Fail);
  EXPECT_EQ(Config_Write(document.get(), ""), Error_Fail);
  EXPECT_EQ(document.directory().List(), Names{"folder"});
  EXPECT_EQ(document.directory().List("folder"), Names{});
}

TEST(ConfigWriteFailure, RefusesNull) {
  Document document(Pairs());
  EXPECT_EQ(Config_Write(document.get(), nullptr), Error_Invalid);
  EXPECT_EQ(Config_Write(nullptr, document.directory().Name("file").c_str()), Error_Invalid);
  EXPECT_EQ(Config_Read(document.get(), nullptr), Error_Invalid);
  EXPECT_EQ(Config_Read(nullptr, document.directory().Name("file").c_str()), Error_Invalid);
  EXPECT_EQ(document.directory().List(), Names{});
}

TEST(ConfigWriteFailure, GivesFail_ForADeviceThatTakesNothing) {
  Document document(Pairs());
  document.Print("a 1");
  EXPECT_EQ(Config_Write(document.get(), kIsWindows ? "/Z|/dev/full" : "/dev/full"), Error_Fail);
  std::string longer = "b " + std::string(4000, 'x');
  for (int i = 0; i < 10; ++i) document.Print("# " + longer);
  EXPECT_EQ(Config_Write(document.get(), kIsWindows ? "/Z|/dev/full" : "/dev/full"), Error_Fail);
}

TEST(ConfigWriteFailure, WritesToADeviceDirectly) {
  Document document(Pairs());
  document.Print("a 1");
  EXPECT_EQ(Config_Write(document.get(), kIsWindows ? "/Z|/dev/null" : "/dev/null"), Error_None);
}

TEST(ConfigWriteFailure, KeepsTheOldFile_WhenTheNewOneCannotBeClosed) {
  Document document(Pairs());
  document.Print("a 1");
  document.directory().Write("file", "old bytes");
  {
    const FailingClose failing;
    EXPECT_EQ(Write(document, "file"), Error_Fail);
    EXPECT_EQ(Write(document, "new"), Error_Fail);
  }
  EXPECT_EQ(document.directory().List(), Names{"file"});
  EXPECT_EQ(document.directory().Read("file"), "old bytes");
  EXPECT_EQ(Write(document, "file"), Error_None);
  EXPECT_EQ(document.directory().Read("file"), LineEnds("a\t1\n"));
}

TEST(ConfigWriteFailure, GivesFail_ForADeviceThatCannotBeClosed) {
  Document document(Pairs());
  const FailingClose failing;
  EXPECT_EQ(Config_Write(document.get(), kIsWindows ? "/Z|/dev/null" : "/dev/null"), Error_Fail);
}

TEST(ConfigWriteFailure, KeepsTheDocument) {
  Document document(PairsInSections(), "# x\na 1\n[s]\nb 2\n");
  {
    const FailingClose failing;
    EXPECT_EQ(Write(document, "file"), Error_Fail);
  }
  EXPECT_EQ(document.Written(), LineEnds("# x\na\t1\n[s]\nb\t2\n"));
}

// Programs that start alike try the same names, and each that was killed left a file under one of them.
TEST(ConfigWriteFailure, PassesTheFilesThatKilledProgramsLeft) {
  Document document(Pairs());
  document.Print("a 1");
  document.directory().Write("file", "old");
  for (int i = 0; i < 150; ++i) {
    srand(1);
    FileReplacement left;
    ASSERT_EQ(iFile_BeginReplacement(document.directory().Name("file").c_str(), FileMode_Write, &left),
              Error_None)
        << i;
    File_Close(left.file);
  }
  srand(1);
  EXPECT_EQ(Write(document, "file"), Error_None);
  EXPECT_EQ(document.directory().Read("file"), LineEnds("a\t1\n"));
  EXPECT_EQ(document.directory().List().size(), 151u);
}

// ---- running out of memory ---------------------------------------------------------------------

// The widths are the first that is allocated.
TEST(ConfigWriteMemory, OpensNothing_WhenTheWidthsCannotBeHad) {
  Document document(Pairs());
  document.Print("a 1");
  iMemory_FailAllocation(1);
  EXPECT_EQ(Write(document, "file"), Error_Memory);
  iMemory_FailAllocation(0);
  EXPECT_EQ(document.directory().List(), Names{});
}

TEST(ConfigWriteMemory, LeavesTheOldFileOrTheNew_WhateverAllocationFails) {
  Document document(Pairs());
  document.Print("a 1");
  document.Print("# x");
  int64_t n = 1;
  for (;; ++n) {
    ASSERT_LT(n, 100);
    document.directory().Write("file", "old bytes");
    const int64_t live = iMemory_CountLive();
    iMemory_FailAllocation(n);
    const ErrorCode status = Write(document, "file");
    const bool untouched = iMemory_AllocationsUntilFailure() > 0;
    iMemory_FailAllocation(0);
    EXPECT_EQ(iMemory_CountLive(), live) << n;
    EXPECT_EQ(document.directory().List(), Names{"file"}) << n;
    if (status == Error_None) {
      EXPECT_EQ(document.directory().Read("file"), LineEnds("a\t1\n# x\n")) << n;
    } else {
      EXPECT_EQ(status, Error_Memory) << n;
      EXPECT_EQ(document.directory().Read("file"), "old bytes") << n;
    }
    if (untouched) break;
  }
  EXPECT_GT(n, 2);
}

TEST(ConfigMemory, LeaksNothing_WhateverAllocationFails) {
  const TempDir directory;
  directory.Write("in", "a 1 # x\nA 2\n[s] t\nb 3\n");
  FailEveryAllocation([&] {
    ConfigSpec* spec = NewSpec(PairsInSections());
    Config* config = Config_New(spec);
    Config_Read(config, directory.Name("in").c_str());
    Config_Print(config, nullptr, "a 4", nullptr);
    Config_PrintF(config, nullptr, "[%s]", nullptr, "u");
    Config_RemoveLine(config, Config_FindLine(config, nullptr, "a"));
    Config_Print(config, nullptr, "a 5", nullptr);
    Config_Write(config, directory.Name("out").c_str());
    Config_Delete(config);
    ConfigSpec_Delete(spec);
  });
}

}  // namespace
