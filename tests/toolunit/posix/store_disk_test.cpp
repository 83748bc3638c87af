// Modes, links, full disks, flushing, and the folder's place, on POSIX systems.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "qz/file.h"
#include "qz/os.h"
#include "tests/toolunit/store_fixture.h"
#include "tool/failure.h"
#include "tool/private_file.h"

// The linker sends the program's calls here (tests/CMakeLists.txt).
static int flushes = 0;
extern "C" int __real_fsync(int descriptor);
extern "C" int __wrap_fsync(int descriptor) {
  ++flushes;
  return __real_fsync(descriptor);
}

namespace {

using tool::ExitCode;
using tool::Failure;
using tool::SavedTransfer;
using tool::Store;

constexpr char kURL[] = "http://a.example/1";

using StoreDisk = StoreTest;

mode_t ModeOf(const std::filesystem::path& path) {
  struct stat state {};
  EXPECT_EQ(lstat(path.c_str(), &state), 0) << path;
  return state.st_mode & 07777;
}

// No file of this process grows beyond so many bytes.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit limit = before_;
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_{};
  void (*handler_)(int);
};

template <typename Action>
std::string FailureOf(Action action) {
  try {
    action();
    return "";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code, ExitCode::Disk);
    return failure.text;
  }
}

TEST_F(StoreDisk, IsItsOwnersOnly) {
  const mode_t before = umask(0);
  Store store;
  Save(&store, kURL, "/1");
  std::optional<SavedTransfer> found;
  const auto claim = store.Create(false, kURL, "/2", &found);
  umask(before);
  EXPECT_EQ(ModeOf(folder_.SystemName("transfers")), 0700u);
  for (const char* name : {"1.conf", "1.vrx", "2.claim", "next", "lock"}) {
    EXPECT_EQ(ModeOf(folder_.SystemName("transfers") / name), 0600u) << name;
  }
}

TEST_F(StoreDisk, MakesTheFoldersAbove) {
  const ScopedVariable variable("QZ_TRANSFERS", folder_.SystemName("a/b/c").c_str());
  EXPECT_EQ(FailureOf([] { Store(); }), "");
  EXPECT_EQ(ModeOf(folder_.SystemName("a")), 0700u);
  EXPECT_EQ(ModeOf(folder_.SystemName("a/b/c")), 0700u);
}

TEST_F(StoreDisk, RefusesAFolderThatOthersMayChange) {
  for (const mode_t mode : {0770, 0707, 0720, 0702}) {
    folder_.MakeDirectory("transfers");
    chmod(folder_.SystemName("transfers").c_str(), mode);
    EXPECT_NE(FailureOf([] { Store(); }).find("may be changed by other users"), std::string::npos) << mode;
    std::filesystem::remove_all(folder_.SystemName("transfers"));
  }
  folder_.MakeDirectory("transfers");
  chmod(folder_.SystemName("transfers").c_str(), 0755);
  EXPECT_EQ(FailureOf([] { Store(); }), "");
}

TEST_F(StoreDisk, WritesThroughNoLink) {
  folder_.Write("elsewhere", "stays");
  Store store;
  Save(&store, kURL, "/1");
  const auto claim = store.Take(1);
  for (const char* name : {"1.vrx.new", "1.conf.new"}) {
    std::filesystem::create_symlink(folder_.SystemName("elsewhere"), folder_.SystemName("transfers") / name);
  }
  SavedTransfer changed = Download(1, kURL, "/1");
  changed.attempts = 3;
  store.Save(changed, "new record");
  EXPECT_EQ(folder_.Read("elsewhere"), "stays");
  EXPECT_EQ(Read("1.vrx"), "new record");
  EXPECT_EQ(store.Find(1), changed);
}

TEST_F(StoreDisk, ReadsThroughNoLink) {
  folder_.Write("elsewhere", "a secret");
  Store store;
  Save(&store, kURL, "/1");
  Remove("1.vrx");
  std::filesystem::create_symlink(folder_.SystemName("elsewhere"), folder_.SystemName("transfers/1.vrx"));
  EXPECT_NE(FailureOf([&] { store.ReadRecord(1); }), "");
}

TEST_F(StoreDisk, KeepsTheOldFilesWhenTheDiskIsFull) {
  Store store;
  Save(&store, kURL, "/1", "old record");
  const std::string configuration = Read("1.conf");
  const auto claim = store.Take(1);
  SavedTransfer changed = Download(1, kURL, "/1");
  changed.lastReason = std::string(1000, 'x');
  {
    const FileSizeLimit limit(100);
    const std::string text = FailureOf([&] { store.Save(changed, std::string(101, 'r')); });
    EXPECT_NE(text.find("1.vrx.new"), std::string::npos) << text;
    EXPECT_NE(text.find("free some space"), std::string::npos) << text;
    EXPECT_EQ(Read("1.vrx"), "old record");
    EXPECT_NE(FailureOf([&] { store.Save(changed, "new record"); }), "");
  }
  EXPECT_EQ(Read("1.vrx"), "new record");
  EXPECT_EQ(Read("1.conf"), configuration);
  EXPECT_EQ(Names(), (std::vector<std::string>{"1.conf", "1.vrx"}));
  store.Save(changed, "new record");
  EXPECT_EQ(store.Find(1), changed);
}

TEST_F(StoreDisk, CreatesNothingWhenTheDiskIsFull) {
  Store store;
  std::optional<SavedTransfer> found;
  {
    const FileSizeLimit limit(10);
    EXPECT_NE(FailureOf([&] { store.Create(false, kURL, "/1", &found); }), "");
  }
  EXPECT_TRUE(Names().empty());
  EXPECT_FALSE(store.IsTaken(1));
  EXPECT_EQ(Save(&store, kURL, "/1"), 2u);
}

TEST_F(StoreDisk, FlushesWhatIsToBeSynchronisedOnly) {
  Store store;
  Save(&store, kURL, "/1");
  const auto claim = store.Take(1);
  SavedTransfer transfer = Download(1, kURL, "/1");
  flushes = 0;
  store.Save(transfer, "1");
  EXPECT_EQ(flushes, 0);
  transfer.isSynchronised = true;
  store.Save(transfer, "2");
  // Each of the two files, and its folder behind it.
  EXPECT_EQ(flushes, 4);
  EXPECT_EQ(Read("1.vrx"), "2");
}

// ---- where the folder is ----

TEST_F(StoreDisk, LiesWithTheUsersData) {
  const ScopedVariable none("QZ_TRANSFERS", nullptr);
  const ScopedVariable home("HOME", folder_.SystemName("home").c_str());
  const ScopedVariable data("XDG_DATA_HOME", folder_.SystemName("data").c_str());
  EXPECT_EQ(Store().Folder(), folder_.SystemName("data/qz/transfers").string());
  EXPECT_EQ(ModeOf(folder_.SystemName("data/qz/transfers")), 0700u);
  const ScopedVariable empty("QZ_TRANSFERS", "");
  EXPECT_EQ(Store().Folder(), folder_.SystemName("data/qz/transfers").string());
}

TEST_F(StoreDisk, LiesInTheUsersFolder) {
  const ScopedVariable none("QZ_TRANSFERS", nullptr);
  const ScopedVariable home("HOME", folder_.SystemName("home").c_str());
  for (const char* value : {static_cast<const char*>(nullptr), "", "relative"}) {
    const ScopedVariable data("XDG_DATA_HOME", value);
    EXPECT_EQ(Store().Folder(), folder_.SystemName("home/.local/share/qz/transfers").string());
  }
}

TEST_F(StoreDisk, LiesInTheCacheFolderWhereThereIsNoOther) {
  char cache[1024];
  ASSERT_EQ(File_GetSysDir(SysDir_Cache, cache), 0);
  const std::string expected = std::string(cache) + "/transfers";
  const ScopedVariable none("QZ_TRANSFERS", nullptr);
  const ScopedVariable data("XDG_DATA_HOME", nullptr);
  folder_.Write("file", "x");
  for (const std::string& value : {std::string(), folder_.SystemName("file").string()}) {
    const ScopedVariable home("HOME", value.empty() ? nullptr : value.c_str());
    EXPECT_EQ(Store().Folder(), expected);
    EXPECT_EQ(ModeOf(expected), 0700u);
    std::filesystem::remove_all(expected);
  }
}

TEST_F(StoreDisk, TakesARelativeFolderFromTheCurrentOne) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.SystemName());
  const ScopedVariable variable("QZ_TRANSFERS", "here");
  EXPECT_EQ(FailureOf([&] { EXPECT_EQ(Store().Folder(), folder_.SystemName("here").string()); }), "");
  std::filesystem::current_path(before);
}

}  // namespace
