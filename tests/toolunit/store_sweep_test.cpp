// What a sweep removes, and what it leaves.
#include <filesystem>
#include <fstream>

#include "qz/file.h"
#include "qz/os.h"
#include "qz/vrxclient.h"
#include "tests/toolunit/store_fixture.h"
#include "tool/console.h"
#include "tool/record.h"

namespace {

using tool::SavedTransfer;
using tool::Store;

constexpr char kURL[] = "http://a.example/1";

std::filesystem::path CacheFolder() {
  char name[1024];
  EXPECT_EQ(File_GetSysDir(SysDir_Cache, name), 0);
  return tool::console::ToSystemName(name);
}

// The record of a download; its bytes have the URL.
std::string RecordOf(const std::string& url) {
  VRXClient* client = nullptr;
  EXPECT_EQ(VRXClient_NewDownload(url.c_str(), nullptr, 0, nullptr, &client), 0);
  const tool::OwnedTransfer transfer(client);
  return tool::WriteRecord(client);
}

void MakeOldFile(const std::filesystem::path& path, int minutes) {
  std::ofstream(path) << "x";
  std::filesystem::last_write_time(
      path, std::filesystem::file_time_type::clock::now() - std::chrono::minutes(minutes));
}

class StoreSweep : public StoreTest {
 protected:
  // Where the library makes data and log files.
  std::filesystem::path FilesFolder() const { return folder_.SystemName("transfers/files"); }
  // A file there, last changed so long ago.
  void MakeOld(const std::string& name, int minutes = 61) const {
    MakeOldFile(FilesFolder() / name, minutes);
  }
  bool IsThere(const std::string& name) const { return std::filesystem::exists(FilesFolder() / name); }
};

// Two folders of saved transfers, each with a file that only its own record names.
TEST_F(StoreSweep, LeavesWhatOtherFoldersHave) {
  const TempDir elsewhere;
  {
    const ScopedVariable variable("QZ_TRANSFERS", elsewhere.SystemName("transfers").string().c_str());
    Store other;
    Save(&other, kURL, "/1", RecordOf("http://a.example/info7"));
    MakeOldFile(elsewhere.SystemName("transfers/files/info7"), 61);
  }
  MakeOldFile(CacheFolder() / "info8", 61);
  Store store;
  MakeOld("info7");
  store.Sweep();
  EXPECT_FALSE(IsThere("info7"));
  EXPECT_TRUE(elsewhere.Exists("transfers/files/info7"));
  EXPECT_TRUE(std::filesystem::exists(CacheFolder() / "info8"));
  std::filesystem::remove(CacheFolder() / "info8");
}

TEST_F(StoreSweep, FindsWhatTheLibraryMakes) {
  Store store;
  VRXClient* client = nullptr;
  ASSERT_EQ(VRXClient_NewDownload(kURL, nullptr, 0, nullptr, &client), 0);
  tool::OwnedTransfer transfer(client);
  ASSERT_EQ(VRXClient_AgentMessage(client, "text"), 0);
  const std::vector<std::string> names = folder_.List("transfers/files");
  ASSERT_EQ(names.size(), 1u);
  transfer.reset();
  const std::filesystem::path log = FilesFolder() / names[0];
  std::filesystem::last_write_time(log,
                                   std::filesystem::file_time_type::clock::now() - std::chrono::hours(2));
  store.Sweep();
  EXPECT_EQ(folder_.List("transfers/files"), std::vector<std::string>());
}

TEST_F(StoreSweep, RemovesOldFilesOfNobody) {
  Store store;
  Save(&store, kURL, "/1", RecordOf("http://a.example/1"));
  MakeOld("vrxData123");
  MakeOld("info7");
  store.Sweep();
  EXPECT_FALSE(IsThere("vrxData123"));
  EXPECT_FALSE(IsThere("info7"));
}

TEST_F(StoreSweep, LeavesWhatIsYoung) {
  Store store;
  MakeOld("vrxData1", 58);
  MakeOld("info2", 0);
  MakeOld("info3", -600);
  store.Sweep();
  for (const char* name : {"vrxData1", "info2", "info3"}) EXPECT_TRUE(IsThere(name)) << name;
}

TEST_F(StoreSweep, LeavesOtherNames) {
  const std::vector<std::string> names = {"vrxData",   "info",      "info1x", "xinfo1",    "vrxData1.part",
                                          "vrxData-1", "info 1",    "1",      "vrxDatax1", "prefs1",
                                          "info1.new", "informal1", "in1",    "vrxData1~"};
  Store store;
  for (const std::string& name : names) MakeOld(name);
  store.Sweep();
  for (const std::string& name : names) EXPECT_TRUE(IsThere(name)) << name;
}

TEST_F(StoreSweep, LeavesFolders) {
  Store store;
  MakeOld("info5");
  std::filesystem::remove(FilesFolder() / "info5");
  std::filesystem::create_directory(FilesFolder() / "info5");
  std::error_code ignored;  // where a folder's time cannot be set it is young besides
  const auto longAgo = std::filesystem::file_time_type::clock::now() - std::chrono::hours(2);
  std::filesystem::last_write_time(FilesFolder() / "info5", longAgo, ignored);
  store.Sweep();
  EXPECT_TRUE(IsThere("info5"));
}

TEST_F(StoreSweep, LeavesWhatARecordNames) {
  Store store;
  Save(&store, kURL, "/1", RecordOf("http://a.example/vrxData123"));
  Save(&store, kURL, "/2", RecordOf("http://a.example/x/info456.log/vrxDatainfo9"));
  for (const char* name :
       {"vrxData123", "vrxData12", "info456", "info9", "vrxData1234", "info4567", "info56"})
    MakeOld(name);
  store.Sweep();
  for (const char* name : {"vrxData123", "vrxData12", "info456", "info9"}) EXPECT_TRUE(IsThere(name)) << name;
  for (const char* name : {"vrxData1234", "info4567", "info56"}) EXPECT_FALSE(IsThere(name)) << name;
}

TEST_F(StoreSweep, LeavesEverythingWhenARecordCannotBeRead) {
  const std::string record = RecordOf("http://a.example/1");
  for (const std::string& bytes :
       {std::string("no record"), record.substr(0, record.size() / 2), std::string()}) {
    Store store;
    Save(&store, kURL, "/1", bytes);
    Save(&store, kURL, "/2", record);
    MakeOld("info7");
    store.Sweep();
    EXPECT_TRUE(IsThere("info7"));
    for (const std::string& name : Names()) Remove(name);
  }
}

TEST_F(StoreSweep, LeavesEverythingWhenARecordIsMissing) {
  Store store;
  Save(&store, kURL, "/1");
  Remove("1.vrx");
  MakeOld("info7");
  store.Sweep();
  EXPECT_TRUE(IsThere("info7"));
  EXPECT_TRUE(Exists("1.conf"));
}

TEST_F(StoreSweep, WaitsUntilNoOtherProgramRuns) {
  Store store;
  StoreUser user("open");
  ASSERT_EQ(user.Says(), "opened");
  MakeOld("info7");
  Write("5.vrx.new", "x");
  store.Sweep();
  EXPECT_TRUE(IsThere("info7"));
  EXPECT_TRUE(Exists("5.vrx.new"));
  user.Die();
  store.Sweep();
  EXPECT_FALSE(IsThere("info7"));
  EXPECT_FALSE(Exists("5.vrx.new"));
}

TEST_F(StoreSweep, LeavesOthersTheirRightAfterwards) {
  Store store;
  store.Sweep();
  MakeOld("info7");
  Store other;
  other.Sweep();
  store.Sweep();
  EXPECT_TRUE(IsThere("info7"));
}

TEST_F(StoreSweep, RemovesWhatKilledProgramsLeft) {
  Store store;
  Save(&store, kURL, "/1");
  const std::string configuration = Read("1.conf");
  for (const char* name :
       {"1.vrx.new", "1.conf.new", "1.claim", "2.claim", "3.vrx.new", "4.claim.new", "next.new"})
    Write(name, "x");
  for (const char* name : {"5.new", "x.vrx.new", "1.conf.old", "1.vrx.new.new"}) Write(name, "x");
  store.Sweep();
  EXPECT_EQ(Names(), (std::vector<std::string>{"1.conf", "1.conf.old", "1.vrx", "1.vrx.new.new", "5.new",
                                               "x.vrx.new"}));
  EXPECT_EQ(Read("1.conf"), configuration);
}

TEST_F(StoreSweep, MakesAClaimWithARecordWhole) {
  Store store;
  Save(&store, kURL, "/1");
  std::filesystem::rename(folder_.SystemName("transfers/1.conf"), folder_.SystemName("transfers/1.claim"));
  store.Sweep();
  EXPECT_EQ(Names(), (std::vector<std::string>{"1.conf", "1.vrx"}));
  EXPECT_EQ(store.Find(1), Download(1, kURL, "/1"));
}

TEST_F(StoreSweep, LeavesADamagedClaimWithARecord) {
  Store store;
  Write("1.vrx", "a record");
  Write("1.claim", "x");
  store.Sweep();
  EXPECT_EQ(Names(), (std::vector<std::string>{"1.claim", "1.vrx"}));
}

TEST_F(StoreSweep, PassesOverWhatCannotBeRemoved) {
  Store store;
  MakeDirectory("5.vrx.new");
  Write("6.claim", "x");
  MakeOld("info7");
  store.Sweep();
  EXPECT_EQ(Names(), std::vector<std::string>{"5.vrx.new"});
  EXPECT_FALSE(store.IsTaken(5));
  EXPECT_FALSE(IsThere("info7"));
}

TEST_F(StoreSweep, IsNoFailureWhereNothingCanBeRemoved) {
  Store store;
  MakeDirectory("next.new");
  store.Sweep();
  EXPECT_TRUE(Exists("next.new"));
}

TEST_F(StoreSweep, LeavesWhatIsBeingCreated) {
  Store store;
  std::optional<SavedTransfer> found;
  const auto claim = store.Create(false, kURL, "/1", &found);
  Write("1.vrx.new", "being written");
  store.Sweep();
  EXPECT_EQ(Names(), (std::vector<std::string>{"1.claim", "1.vrx.new"}));
}

}  // namespace
