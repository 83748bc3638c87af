// Every call that changes a file of the saved transfers fails in turn, once and to the end: what is saved is
// the old transfer or the new one, never a part, and nothing stays behind once the disk is well again.
#include "tests/toolunit/disk_faults.h"
#include "tests/toolunit/store_fixture.h"
#include "tool/failure.h"

namespace {

using tool::ExitCode;
using tool::Failure;
using tool::SavedTransfer;
using tool::Store;

constexpr char kURL[] = "http://a.example/1";
constexpr char kOld[] = "old record";
constexpr char kNew[] = "new record";

class StoreFault : public StoreTest {
 protected:
  // Whether an action ends well. A failure is the disk's.
  template <typename Action>
  static bool Succeeds(Action action) {
    try {
      action();
      return true;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code, ExitCode::Disk) << failure.text;
      return false;
    }
  }

  // Prepares, and has the n-th call of the action fail, for all n. check() gets whether it ended well.
  template <typename Prepare, typename Action, typename Check>
  void FailEveryCall(Prepare prepare, Action action, Check check) {
    for (const Lasting lasting : {Lasting::Once, Lasting::UntilTheEnd}) {
      bool hasFailed = true;
      int64_t call = 0;
      while (hasFailed && !HasFailure()) {
        SCOPED_TRACE("call " + std::to_string(++call));
        std::filesystem::remove_all(folder_.SystemName("transfers"));
        prepare();
        bool isGood = false;
        {
          const DiskFault fault(call, lasting);
          isGood = action();
          hasFailed = fault.HasFailed();
        }
        check(isGood);
      }
      EXPECT_GT(call, 3);
    }
  }

  // Nothing is damaged, and nothing left over behind the next program's sweep.
  void ExpectNothingElse() const {
    Store store;
    EXPECT_TRUE(store.List().damaged.empty());
    store.Sweep();
    std::vector<std::string> names = Names();
    std::erase(names, "files");
    const bool isSaved = !store.List().transfers.empty();
    EXPECT_EQ(names, isSaved ? (std::vector<std::string>{"1.conf", "1.vrx"}) : std::vector<std::string>());
  }

  static SavedTransfer Changed(bool isSynchronised) {
    SavedTransfer changed = Download(1, kURL, "/1");
    changed.lastReason = "a reason";
    changed.isSynchronised = isSynchronised;
    return changed;
  }
};

TEST_F(StoreFault, LeavesTheOldRecordOrTheNewOne) {
  for (const bool isSynchronised : {false, true}) {
    FailEveryCall(
        [] {
          Store store;
          Save(&store, kURL, "/1", kOld);
        },
        [=] {
          return Succeeds([=] {
            Store store;
            const auto claim = store.Take(1);
            store.Save(Changed(isSynchronised), kNew);
          });
        },
        [=, this](bool isGood) {
          ExpectNothingElse();
          Store store;
          const std::string record = store.ReadRecord(1).value_or("none");
          const auto found = store.Find(1);
          EXPECT_TRUE(record == kNew || (record == kOld && !isGood)) << record;
          EXPECT_TRUE(found == Changed(isSynchronised) || (found == Download(1, kURL, "/1") && !isGood));
        });
  }
}

TEST_F(StoreFault, LeavesNoPartOfANewTransfer) {
  FailEveryCall([] {},
                [] {
                  return Succeeds([] {
                    Store store;
                    Save(&store, kURL, "/1", kNew);
                  });
                },
                [this](bool isGood) {
                  {
                    Store store;
                    const bool isSaved = store.Find(1).has_value();
                    EXPECT_TRUE(isSaved || !isGood);
                    EXPECT_EQ(store.ReadRecord(1).value_or(kNew), kNew);
                  }
                  ExpectNothingElse();
                });
}

// The program saves why the removal failed.
TEST_F(StoreFault, LeavesNoPartOfARemovedTransfer) {
  FailEveryCall(
      [] {
        Store store;
        Save(&store, kURL, "/1", kOld);
      },
      [] {
        bool isGood = false;
        Succeeds([&] {
          Store store;
          const auto claim = store.Take(1);
          isGood = Succeeds([&] { store.Remove(1); });
          if (!isGood) store.Save(Changed(false));
        });
        return isGood;
      },
      [this](bool isGood) {
        {
          Store store;
          const bool isSaved = store.Find(1).has_value();
          EXPECT_FALSE(isSaved && isGood);
          EXPECT_EQ(store.ReadRecord(1).value_or(kOld), kOld);
        }
        ExpectNothingElse();
      });
}

}  // namespace
