// Saved transfers in words.
#include "tool/saved_text.h"

#include <gtest/gtest.h>

using tool::SavedTransfer;

namespace {

SavedTransfer Sized(std::uint64_t done, std::optional<std::uint64_t> size) {
  SavedTransfer transfer;
  transfer.doneBytes = done;
  transfer.sizeBytes = size;
  return transfer;
}

TEST(SavedText, NameIsTheLastPartOfThePath) {
  SavedTransfer transfer;
  for (const auto& [path, name] : std::vector<std::pair<const char*, const char*>>{
           {"/home/me/disk.iso", "disk.iso"}, {"/x", "x"}, {"x", "x"}, {"/C|/a/b(0).txt", "b(0).txt"}}) {
    transfer.localPath = path;
    EXPECT_EQ(tool::NameOf(transfer), name);
  }
}

TEST(SavedText, StateIsRunningWhileAProgramHasIt) {
  SavedTransfer transfer;
  EXPECT_EQ(tool::StateText(transfer, false), "waiting");
  EXPECT_EQ(tool::StateText(transfer, true), "running");
  transfer.status = tool::TransferStatus::Failed;
  EXPECT_EQ(tool::StateText(transfer, false), "failed");
  EXPECT_EQ(tool::StateText(transfer, true), "running");
}

TEST(SavedText, ShareIsNeverRoundedUpToTheWhole) {
  EXPECT_EQ(tool::DoneColumn(Sized(0, 3)), "0%");
  EXPECT_EQ(tool::DoneColumn(Sized(2, 3)), "66%");
  EXPECT_EQ(tool::DoneColumn(Sized(999999, 1000000)), "99%");
  EXPECT_EQ(tool::DoneColumn(Sized(3, 3)), "100%");
  EXPECT_EQ(tool::DoneColumn(Sized(4, 3)), "100%");
  EXPECT_EQ(tool::DoneColumn(Sized(UINT64_C(10) << 30, UINT64_C(20) << 30)), "50%");
}

TEST(SavedText, AmountStandsForTheShareWhileTheSizeIsUnknownOrZero) {
  EXPECT_EQ(tool::DoneColumn(Sized(1536, std::nullopt)), "1.5 KiB");
  EXPECT_EQ(tool::DoneColumn(Sized(0, 0)), "0 bytes");
  EXPECT_EQ(tool::SizeColumn(Sized(5, std::nullopt)), "unknown");
  EXPECT_EQ(tool::SizeColumn(Sized(5, UINT64_C(5) << 30)), "5.0 GiB");
}

TEST(SavedText, OptionsAreNamedAsOnTheCommandLine) {
  SavedTransfer transfer;
  EXPECT_EQ(tool::OptionsText(transfer), "none");
  transfer.isSynchronised = true;
  EXPECT_EQ(tool::OptionsText(transfer), "sync");
  transfer.isActive = transfer.continuesUpload = transfer.overwrites = transfer.savesPassword = true;
  EXPECT_EQ(tool::OptionsText(transfer), "active, continue, overwrite, save-password, sync");
}

}  // namespace
