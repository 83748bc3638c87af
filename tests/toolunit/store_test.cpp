// The folder of saved transfers, as one program sees it.
#include "tool/store.h"

#include "tests/toolunit/store_fixture.h"
#include "tool/failure.h"

namespace {

using tool::ExitCode;
using tool::Failure;
using tool::SavedTransfer;
using tool::Store;

constexpr char kURL[] = "http://a.example/1";

std::vector<unsigned> NumbersOf(const tool::StoreListing& listing) {
  std::vector<unsigned> numbers;
  for (const SavedTransfer& transfer : listing.transfers) numbers.push_back(transfer.number);
  return numbers;
}

// The exit code with which an action fails; Done when it does not.
template <typename Action>
ExitCode FailureOf(Action action) {
  try {
    action();
    return ExitCode::Done;
  } catch (const Failure& failure) {
    return failure.code;
  }
}

// ---- the folder ----

TEST_F(StoreTest, MakesItsFolder) {
  const Store store;
  EXPECT_TRUE(Exists("lock"));
  EXPECT_TRUE(Exists("files"));
  EXPECT_EQ(std::filesystem::path(store.Folder()), folder_.SystemName("transfers"));
}

TEST_F(StoreTest, FailsWhereTheChosenFolderCannotBeMade) {
  folder_.Write("file", "x");
  const ScopedVariable variable("QZ_TRANSFERS", folder_.SystemName("file/transfers").string().c_str());
  EXPECT_EQ(FailureOf([] { Store(); }), ExitCode::Disk);
}

TEST_F(StoreTest, ReadsBackWhatItSaved) {
  SavedTransfer saved = Download(0, kURL, "/1");
  saved.lastReason = "none";
  {
    Store store;
    std::optional<SavedTransfer> found;
    const auto claim = store.Create(false, saved.url, saved.localPath, &found);
    ASSERT_TRUE(claim);
    saved.number = claim->Number();
    store.Save(saved, std::string("rec\0rd", 6));
  }
  Store store;
  EXPECT_EQ(store.Find(1), saved);
  EXPECT_EQ(store.ReadRecord(1), std::string("rec\0rd", 6));
  EXPECT_EQ(store.List().transfers, std::vector<SavedTransfer>{saved});
  EXPECT_EQ(Names(), (std::vector<std::string>{"1.conf", "1.vrx"}));
}

TEST_F(StoreTest, HasNothingUnderANumberOfNone) {
  Store store;
  EXPECT_FALSE(store.Find(1));
  EXPECT_FALSE(store.ReadRecord(1));
  EXPECT_TRUE(store.List().transfers.empty());
}

TEST_F(StoreTest, ListsInTheOrderOfNumbers) {
  Store store;
  for (int i = 1; i <= 11; ++i) Save(&store, kURL, "/" + std::to_string(i));
  EXPECT_EQ(NumbersOf(store.List()), (std::vector<unsigned>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST_F(StoreTest, RemovesBothFiles) {
  Store store;
  Save(&store, kURL, "/1");
  const auto claim = store.Take(1);
  store.Remove(1);
  EXPECT_TRUE(Names().empty());
  EXPECT_FALSE(store.Find(1));
  store.Remove(1);
}

TEST_F(StoreTest, PassesOverNamesThatAreNotItsOwn) {
  Store store;
  for (const char* name : {"01.conf", "0.conf", "x.conf", ".conf", "-1.vrx", "1x.vrx", "4000000001.conf",
                           "99999999999.vrx", "5.conf.bak", "5.VRX", "conf"}) {
    Write(name, "x");
  }
  MakeDirectory("6");
  EXPECT_TRUE(store.List().transfers.empty());
  EXPECT_TRUE(store.List().damaged.empty());
  EXPECT_EQ(Save(&store, kURL, "/1"), 1u);
}

// ---- numbers ----

TEST_F(StoreTest, GivesNumbersFromOneOn) {
  Store store;
  EXPECT_EQ(Save(&store, kURL, "/1"), 1u);
  EXPECT_EQ(Save(&store, kURL, "/2"), 2u);
  EXPECT_EQ(Read("next"), "3\n");
}

TEST_F(StoreTest, GivesNoNumberTwice) {
  for (unsigned expected = 1; expected <= 3; ++expected) {
    Store store;
    EXPECT_EQ(Save(&store, kURL, "/1"), expected);
    const auto claim = store.Take(expected);
    store.Remove(expected);
  }
}

TEST_F(StoreTest, WritesThatANumberIsUsedBeforeItIs) {
  Store store;
  Save(&store, kURL, "/1");
  MakeDirectory("2.claim");
  std::optional<SavedTransfer> found;
  EXPECT_EQ(FailureOf([&] { store.Create(false, kURL, "/2", &found); }), ExitCode::Disk);
  EXPECT_EQ(Read("next"), "3\n");
  EXPECT_FALSE(store.IsTaken(2));
  EXPECT_EQ(Save(&store, kURL, "/2"), 3u);
}

TEST_F(StoreTest, CountsOnFromTheHighestNumberWithoutTheNextOne) {
  for (const char* bytes : {"", "x\n", "0\n", "-1\n", "9", "9\nx", " 9\n", "99999999999\n"}) {
    Store store;
    for (const char* name : {"7.conf", "7.vrx", "3.vrx"}) Write(name, "damaged");
    Write("next", bytes);
    EXPECT_EQ(Save(&store, kURL, "/1"), 8u) << bytes;
    EXPECT_EQ(Read("next"), "9\n");
    for (const std::string& name : Names()) Remove(name);
  }
  Remove("next");
  Write("41.vrx.new", "");
  Store store;
  EXPECT_EQ(Save(&store, kURL, "/1"), 42u);
}

TEST_F(StoreTest, CountsOnFromTheHighestNumberWhenTheNextOneIsUsed) {
  Store store;
  for (const char* name : {"7.conf", "7.vrx"}) Write(name, "damaged");
  Write("next", "7\n");
  EXPECT_EQ(Save(&store, kURL, "/1"), 8u);
  Write("9.vrx", "from elsewhere");
  EXPECT_EQ(Save(&store, kURL, "/2"), 10u);
  EXPECT_EQ(Read("9.vrx"), "from elsewhere");
}

TEST_F(StoreTest, DoesNotGoBackWithTheNextNumber) {
  Store store;
  Write("next", "100\n");
  EXPECT_EQ(Save(&store, kURL, "/1"), 100u);
  const auto claim = store.Take(100);
  store.Remove(100);
  Write("next", "1\n");
  EXPECT_EQ(Save(&store, kURL, "/2"), 101u);
}

TEST_F(StoreTest, EndsAtTheGreatestNumber) {
  Store store;
  Write("next", "4000000000\n");
  EXPECT_EQ(Save(&store, kURL, "/1"), 4000000000u);
  EXPECT_EQ(FailureOf([&] { Save(&store, kURL, "/2"); }), ExitCode::Other);
}

// ---- finding ----

TEST_F(StoreTest, FindsByDirectionURLAndPath) {
  Store store;
  Save(&store, kURL, "/1");
  EXPECT_EQ(store.Find(false, kURL, "/1"), Download(1, kURL, "/1"));
  EXPECT_FALSE(store.Find(true, kURL, "/1"));
  EXPECT_FALSE(store.Find(false, "http://a.example/", "/1"));
  EXPECT_FALSE(store.Find(false, kURL, "/2"));
}

TEST_F(StoreTest, CreatesOneDownloadToAPath) {
  Store store, other;
  Save(&store, kURL, "/1");
  std::optional<SavedTransfer> found;
  EXPECT_FALSE(other.Create(false, "http://b.example/2", "/1", &found));
  EXPECT_EQ(found, Download(1, kURL, "/1"));
  EXPECT_EQ(Read("next"), "2\n");
  const auto upload = other.Create(true, kURL, "/1", &found);
  EXPECT_TRUE(upload) << "a path may be the source of uploads besides";
  EXPECT_FALSE(found);
  {
    const auto claim = store.Take(1);
    store.Remove(1);
  }
  EXPECT_TRUE(other.Create(false, "http://b.example/2", "/1", &found));
  EXPECT_FALSE(found);
}

TEST_F(StoreTest, CreatesNoDownloadToThePathThatAnotherIsCreating) {
  Store store, other;
  std::optional<SavedTransfer> found;
  const auto claim = other.Create(false, kURL, "/1", &found);
  ASSERT_TRUE(claim);
  EXPECT_FALSE(store.Create(false, "http://b.example/2", "/1", &found));
  EXPECT_EQ(found, Download(1, kURL, "/1"));
}

// Older programs could save two of them.
TEST_F(StoreTest, PrefersTheDownloadWithTheURL) {
  Store store;
  Save(&store, kURL, "/1");
  Save(&store, kURL, "/2");
  Write("2.conf", FormatSavedTransfer(Download(2, "http://b.example/2", "/1")));
  Store other;
  std::optional<SavedTransfer> found;
  EXPECT_FALSE(other.Create(false, "http://b.example/2", "/1", &found));
  EXPECT_EQ(found, Download(2, "http://b.example/2", "/1"));
}

TEST_F(StoreTest, CreatesATransferOnce) {
  Store store;
  Save(&store, kURL, "/1");
  std::optional<SavedTransfer> found;
  EXPECT_FALSE(store.Create(false, kURL, "/1", &found));
  EXPECT_EQ(found, Download(1, kURL, "/1"));
  EXPECT_EQ(Read("next"), "2\n");
  EXPECT_TRUE(store.Create(false, kURL, "/2", &found));
  EXPECT_FALSE(found);
}

TEST_F(StoreTest, SeesWhatOthersAddRemoveAndChange) {
  Store store, other;
  EXPECT_EQ(Save(&store, kURL, "/1"), 1u);
  EXPECT_EQ(Save(&other, kURL, "/2"), 2u);
  EXPECT_EQ(store.Find(false, kURL, "/2"), Download(2, kURL, "/2"));
  {
    const auto claim = other.Take(1);
    SavedTransfer changed = Download(1, kURL, "/1");
    changed.attempts = 5;
    other.Save(changed);
    EXPECT_EQ(store.Find(false, kURL, "/1"), changed);
    other.Remove(1);
  }
  EXPECT_FALSE(store.Find(false, kURL, "/1"));
  EXPECT_EQ(Save(&store, kURL, "/1"), 3u);
}

TEST_F(StoreTest, SeesWhatOthersAddWhenNumbersBeganAnew) {
  Store store;
  for (const char* path : {"/1", "/2", "/3"}) Save(&store, kURL, path);
  for (const std::string& name : Names()) Remove(name);
  Remove("next");
  Store other;
  EXPECT_EQ(Save(&other, kURL, "/4"), 1u);
  EXPECT_EQ(store.Find(false, kURL, "/4"), Download(1, kURL, "/4"));
  EXPECT_EQ(Save(&store, kURL, "/4"), 0u);
}

TEST_F(StoreTest, FindsWhatAnotherIsCreating) {
  Store store, other;
  std::optional<SavedTransfer> found;
  auto claim = other.Create(false, kURL, "/1", &found);
  EXPECT_FALSE(store.Create(false, kURL, "/1", &found));
  EXPECT_EQ(found, Download(1, kURL, "/1"));
  EXPECT_FALSE(store.Take(1));
  EXPECT_TRUE(store.List().transfers.empty());
  EXPECT_FALSE(store.Find(1));
  claim.reset();
  EXPECT_TRUE(store.Create(false, kURL, "/1", &found));
  EXPECT_TRUE(Names().empty());
}

TEST_F(StoreTest, SeesItsOwnUnsavedTransfer) {
  Store store;
  std::optional<SavedTransfer> found;
  const auto claim = store.Create(false, kURL, "/1", &found);
  EXPECT_FALSE(store.Create(false, kURL, "/1", &found));
  EXPECT_EQ(found, Download(1, kURL, "/1"));
}

// ---- claims ----

TEST_F(StoreTest, GivesATransferToOneOnly) {
  Store store, other;
  Save(&store, kURL, "/1");
  auto claim = store.Take(1);
  ASSERT_TRUE(claim);
  EXPECT_EQ(claim->Number(), 1u);
  EXPECT_FALSE(store.Take(1));
  EXPECT_FALSE(other.Take(1));
  EXPECT_TRUE(store.IsTaken(1));
  EXPECT_TRUE(other.IsTaken(1));
  EXPECT_TRUE(other.Take(2));
  claim.reset();
  EXPECT_FALSE(store.IsTaken(1));
  EXPECT_FALSE(other.IsTaken(1));
  EXPECT_TRUE(other.Take(1));
}

TEST_F(StoreTest, HasNoClaimsToNumbersThatCannotBe) {
  Store store;
  EXPECT_FALSE(store.Take(0));
  EXPECT_FALSE(store.Take(4000000001u));
  EXPECT_FALSE(store.Take(4294967295u));
}

TEST_F(StoreTest, ChangesNothingWithoutAClaim) {
  Store store;
  EXPECT_THROW(store.Save(Download(1, kURL, "/1")), std::logic_error);
  EXPECT_THROW(store.Save(Download(1, kURL, "/1"), "a record"), std::logic_error);
  EXPECT_THROW(store.Remove(1), std::logic_error);
  EXPECT_TRUE(Names().empty());
}

// ---- saving ----

class StoreSave : public StoreTest {
 protected:
  StoreSave() {
    number_ = Save(&store_, kURL, "/1", "old record");
    oldConfiguration_ = Read("1.conf");
    claim_ = store_.Take(1);
    changed_.attempts = 9;
  }

  Store store_;
  unsigned number_ = 0;
  std::string oldConfiguration_;
  std::unique_ptr<tool::Claim> claim_;
  SavedTransfer changed_ = Download(1, kURL, "/1");
};

TEST_F(StoreSave, WritesWhatChangedOnly) {
  store_.Save(changed_, "new record");
  EXPECT_EQ(Read("1.vrx"), "new record");
  const std::string configuration = Read("1.conf");
  Write("1.vrx", "A");
  Write("1.conf", "B");
  store_.Save(changed_, "new record");
  store_.Save(changed_);
  EXPECT_EQ(Read("1.vrx"), "A");
  EXPECT_EQ(Read("1.conf"), "B");
  store_.Save(changed_, "newer record");
  EXPECT_EQ(Read("1.vrx"), "newer record");
  EXPECT_EQ(Read("1.conf"), "B");
  changed_.attempts = 10;
  Write("1.vrx", "A");
  store_.Save(changed_, "newer record");
  EXPECT_EQ(Read("1.vrx"), "A");
  EXPECT_NE(Read("1.conf"), "B");
}

TEST_F(StoreSave, LeavesBothWhenTheRecordCannotBeWritten) {
  MakeDirectory("1.vrx.new");
  EXPECT_EQ(FailureOf([&] { store_.Save(changed_, "new record"); }), ExitCode::Disk);
  EXPECT_EQ(Read("1.vrx"), "old record");
  EXPECT_EQ(Read("1.conf"), oldConfiguration_);
  Remove("1.vrx.new");
  store_.Save(changed_, "new record");
  EXPECT_EQ(Read("1.vrx"), "new record");
  EXPECT_EQ(store_.Find(1), changed_);
}

TEST_F(StoreSave, WritesTheRecordFirst) {
  MakeDirectory("1.conf.new");
  EXPECT_EQ(FailureOf([&] { store_.Save(changed_, "new record"); }), ExitCode::Disk);
  EXPECT_EQ(Read("1.vrx"), "new record");
  EXPECT_EQ(Read("1.conf"), oldConfiguration_);
  Remove("1.conf.new");
  store_.Save(changed_, "new record");
  EXPECT_EQ(store_.Find(1), changed_);
}

TEST_F(StoreSave, LeavesTheFileWhenItCannotBeReplaced) {
  Remove("1.vrx");
  MakeDirectory("1.vrx");
  EXPECT_EQ(FailureOf([&] { store_.Save(changed_, "new record"); }), ExitCode::Disk);
  EXPECT_TRUE(std::filesystem::is_directory(folder_.SystemName("transfers/1.vrx")));
  EXPECT_FALSE(Exists("1.vrx.new"));
  EXPECT_EQ(Read("1.conf"), oldConfiguration_);
}

TEST_F(StoreSave, WritesOverWhatAKilledProgramLeft) {
  Write("1.vrx.new", "half a rec");
  Write("1.conf.new", "half");
  store_.Save(changed_, "new record");
  EXPECT_EQ(Read("1.vrx"), "new record");
  EXPECT_EQ(Names(), (std::vector<std::string>{"1.conf", "1.vrx"}));
}

TEST_F(StoreTest, KeepsWhatWasSavedWithoutARecordApart) {
  Store store;
  std::optional<SavedTransfer> found;
  auto claim = store.Create(false, kURL, "/1", &found);
  SavedTransfer transfer = Download(1, kURL, "/1");
  transfer.attempts = 1;
  store.Save(transfer);
  EXPECT_EQ(Names(), std::vector<std::string>{"1.claim"});
  store.Save(transfer, "a record");
  EXPECT_EQ(Names(), (std::vector<std::string>{"1.conf", "1.vrx"}));
  EXPECT_EQ(store.Find(1), transfer);
}

TEST_F(StoreTest, KeepsARecordWhoseConfigurationCouldNotBeWritten) {
  Store store;
  std::optional<SavedTransfer> found;
  auto claim = store.Create(false, kURL, "/1", &found);
  MakeDirectory("1.conf.new");
  SavedTransfer transfer = Download(1, kURL, "/1");
  EXPECT_EQ(FailureOf([&] { store.Save(transfer, "a record"); }), ExitCode::Disk);
  claim.reset();
  EXPECT_EQ(store.List().transfers, std::vector<SavedTransfer>{transfer});
  EXPECT_TRUE(store.List().damaged.empty());
  EXPECT_EQ(store.Find(false, kURL, "/1"), transfer);
}

// ---- damage ----

class StoreDamage : public StoreTest {
 protected:
  // Two transfers; the first one's file is damaged, and must stay as it is.
  StoreDamage() {
    Save(&store_, kURL, "/1");
    Save(&store_, kURL, "/2");
  }
  void ExpectDamage(const std::string& file, const std::string& why) {
    const std::vector<std::string> before = Names();
    const tool::StoreListing listing = store_.List();
    EXPECT_EQ(NumbersOf(listing), std::vector<unsigned>{2});
    ASSERT_EQ(listing.damaged.size(), 1u);
    EXPECT_EQ(std::filesystem::path(listing.damaged[0].path), folder_.SystemName("transfers/" + file));
    EXPECT_EQ(listing.damaged[0].why, why);
    EXPECT_EQ(FailureOf([&] { store_.Find(1); }), ExitCode::Other);
    EXPECT_FALSE(store_.Find(false, kURL, "/1"));
    EXPECT_EQ(Save(&store_, kURL, "/1"), 3u);
    EXPECT_EQ(store_.Find(false, kURL, "/1"), Download(3, kURL, "/1"));
    std::vector<std::string> after = before;
    after.insert(after.end(), {"3.conf", "3.vrx"});
    EXPECT_EQ(Names(), after);
  }

  Store store_;
};

TEST_F(StoreDamage, ReportsADamagedConfiguration) {
  Write("1.conf", "direction = download\n");
  ExpectDamage("1.conf", "it is damaged");
  EXPECT_EQ(Read("1.conf"), "direction = download\n");
}

TEST_F(StoreDamage, ReportsAConfigurationWithoutARecord) {
  Remove("1.vrx");
  ExpectDamage("1.conf", "1.vrx is missing");
}

TEST_F(StoreDamage, ReportsARecordWithoutAConfiguration) {
  Remove("1.conf");
  ExpectDamage("1.vrx", "1.conf is missing");
}

TEST_F(StoreDamage, ReportsAConfigurationThatIsADirectory) {
  Remove("1.conf");
  MakeDirectory("1.conf");
  ExpectDamage("1.vrx", "1.conf is missing");
}

TEST_F(StoreDamage, CanBeRemovedUnderAClaim) {
  Remove("1.vrx");
  const auto claim = store_.Take(1);
  store_.Remove(1);
  EXPECT_EQ(Names(), (std::vector<std::string>{"2.conf", "2.vrx"}));
}

// ---- what kills leave ----

class StoreAfterKill : public StoreTest {
 protected:
  // The files of a transfer, with the claim in the place of the configuration or beside it.
  StoreAfterKill() {
    Save(&store_, kURL, "/1");
    configuration_ = Read("1.conf");
  }

  Store store_;
  std::string configuration_;
};

TEST_F(StoreAfterKill, AClaimAloneIsNothing) {
  Remove("1.vrx");
  Remove("1.conf");
  Write("1.claim", configuration_);
  EXPECT_TRUE(store_.List().transfers.empty());
  EXPECT_TRUE(store_.List().damaged.empty());
  EXPECT_FALSE(store_.Find(1));
  EXPECT_FALSE(store_.Find(false, kURL, "/1"));
  EXPECT_FALSE(Store().Find(false, kURL, "/1"));
  EXPECT_EQ(Save(&store_, kURL, "/1"), 2u);
}

TEST_F(StoreAfterKill, AClaimWithARecordIsATransfer) {
  Remove("1.conf");
  Write("1.claim", configuration_);
  const SavedTransfer expected = Download(1, kURL, "/1");
  EXPECT_EQ(store_.List().transfers, std::vector<SavedTransfer>{expected});
  EXPECT_EQ(store_.Find(1), expected);
  EXPECT_EQ(store_.Find(false, kURL, "/1"), expected);
  const auto claim = store_.Take(1);
  store_.Save(expected, "a record");
  EXPECT_TRUE(Exists("1.conf"));
  store_.Remove(1);
  EXPECT_TRUE(Names().empty());
}

TEST_F(StoreAfterKill, ADamagedClaimWithARecordIsReported) {
  Remove("1.conf");
  Write("1.claim", "x");
  const tool::StoreListing listing = store_.List();
  ASSERT_EQ(listing.damaged.size(), 1u);
  EXPECT_EQ(std::filesystem::path(listing.damaged[0].path), folder_.SystemName("transfers/1.claim"));
}

TEST_F(StoreAfterKill, AClaimBesideTheConfigurationChangesNothing) {
  Write("1.claim", "x");
  EXPECT_EQ(store_.Find(1), Download(1, kURL, "/1"));
  EXPECT_TRUE(store_.List().damaged.empty());
}

}  // namespace
