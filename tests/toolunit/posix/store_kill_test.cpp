// Programs that are killed at any moment while they write.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>

#include "tests/toolunit/store_fixture.h"

namespace {

using tool::SavedTransfer;
using tool::Store;

constexpr char kURL[] = "http://a.example/1";

// Starts store_user, and kills it so many microseconds after it was first seen to work.
template <typename Condition>
void RunAndKill(const TempDir& folder, const std::vector<std::string>& words, Condition works,
                unsigned microseconds) {
  const std::string program = ProgramPath().replace_filename("store_user");
  const std::string said = folder.SystemName("said");
  std::vector<const char*> arguments = {program.c_str(), said.c_str()};
  for (const std::string& word : words) arguments.push_back(word.c_str());
  arguments.push_back(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    execv(program.c_str(), const_cast<char* const*>(arguments.data()));
    _exit(127);
  }
  for (int i = 0; i < 30000 && !works(); ++i) usleep(1000);
  usleep(microseconds);
  kill(child, SIGKILL);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status)) << "it ended by itself";
}

using StoreKill = StoreTest;

TEST_F(StoreKill, LosesNoTransferThatIsWritten) {
  {
    Store store;
    Save(&store, kURL, "/1");
  }
  std::mt19937 random(1);
  int changed = 0;
  for (int i = 0; i < 40; ++i) {
    const std::string before = Read("1.conf");
    const auto isRewritten = [&] { return Read("1.conf") != before; };
    RunAndKill(folder_, {"rewrite", "1", "100000000"}, isRewritten, random() % 5000);
    Store store;
    const tool::StoreListing listing = store.List();
    ASSERT_TRUE(listing.damaged.empty()) << listing.damaged[0].why;
    ASSERT_EQ(listing.transfers.size(), 1u);
    changed += isRewritten() ? 1 : 0;  // it may have come to the same count again
    ASSERT_TRUE(store.Take(1));
    store.Sweep();
    ASSERT_EQ(Names(), (std::vector<std::string>{"1.conf", "1.vrx"}));
  }
  EXPECT_GT(changed, 10);
}

TEST_F(StoreKill, LeavesWholeTransfersOnly) {
  std::mt19937 random(2);
  for (int i = 0; i < 40; ++i) {
    const std::string before = Exists("next") ? Read("next") : "";
    const auto isAdding = [&] { return Exists("next") && Read("next") != before; };
    RunAndKill(folder_, {"many", "100000000", "kill" + std::to_string(i)}, isAdding, random() % 5000);
    Store store;
    const tool::StoreListing listing = store.List();
    ASSERT_TRUE(listing.damaged.empty()) << listing.damaged[0].path << ": " << listing.damaged[0].why;
    store.Sweep();
    ASSERT_EQ(Names().size(), 2 * listing.transfers.size());
    unsigned highest = listing.transfers.empty() ? 0 : listing.transfers.back().number;
    ASSERT_GT(Save(&store, kURL, "/" + std::to_string(i)), highest);
  }
  // More than this program has saved.
  EXPECT_GT(Store().List().transfers.size(), 40u);
}

}  // namespace
