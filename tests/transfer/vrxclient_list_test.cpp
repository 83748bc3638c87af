// The list of all transfers, and what one transfer sees of the others.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "qz/memory.h"
#include "qz/thread.h"
#include "tests/transfer/vrxclient_fixture.h"

namespace {

class ListTest : public TransferTest {
 protected:
  static bool HasURL(const char* text) {
    URLData* url = nullptr;
    EXPECT_EQ(URL_NewData(text, &url), Error_None);
    const bool has = iVRXClientList_HasURL(*url);
    Memory_Delete(url);
    return has;
  }
};

TEST_F(ListTest, HoldsTransfersUntilTheyEnd_InWhateverOrder) {
  // Which of three is closed first, second and third.
  for (const auto& order :
       std::vector<std::vector<int>>{{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 1, 0}}) {
    Transfer transfers[3];
    Download("ftp://a/0", &transfers[0]);
    Download("ftp://a/1", &transfers[1]);
    Download("ftp://a/2", &transfers[2]);
    EXPECT_EQ(iVRXClientList_Count(), 3u);
    transfers[order[0]].Close();
    EXPECT_EQ(iVRXClientList_Count(), 2u);
    EXPECT_FALSE(HasURL(("ftp://a/" + std::to_string(order[0])).c_str()));
    EXPECT_TRUE(HasURL(("ftp://a/" + std::to_string(order[1])).c_str()));
    EXPECT_TRUE(HasURL(("ftp://a/" + std::to_string(order[2])).c_str()));
    transfers[order[1]].Close();
    EXPECT_EQ(iVRXClientList_Count(), 1u);
    EXPECT_TRUE(HasURL(("ftp://a/" + std::to_string(order[2])).c_str()));
    transfers[order[2]].Close();
    EXPECT_EQ(iVRXClientList_Count(), 0u);
  }
}

TEST_F(ListTest, BeginsWithTheNewestTransfer) {
  Transfer transfers[2];
  Download("ftp://a/0", &transfers[0]);
  Download("ftp://a/1", &transfers[1]);
  EXPECT_EQ(transfers[1]->next, transfers[0].get());
  EXPECT_EQ(transfers[0]->previous, transfers[1].get());
  EXPECT_EQ(transfers[1]->previous, nullptr);
  EXPECT_EQ(transfers[0]->next, nullptr);
}

TEST_F(ListTest, KnowsAURLByItsParts) {
  Transfer transfer;
  Download("ftp://u:p@a.example:2121/x%20y", &transfer);
  EXPECT_TRUE(HasURL("ftp://u:p@a.example:2121/x y"));
  EXPECT_TRUE(HasURL(" ftp://u:p@a.example:02121/x%20y "));
  EXPECT_FALSE(HasURL("ftp://a.example:2121/x%20y"));
  EXPECT_FALSE(HasURL("ftp://u@a.example:2121/x%20y"));
  EXPECT_FALSE(HasURL("ftp://u:p@a.example/x%20y"));
  EXPECT_FALSE(HasURL("ftp://u:p@A.example:2121/x%20y"));
  EXPECT_FALSE(HasURL("vrx://u:p@a.example:2121/x%20y"));
  EXPECT_FALSE(HasURL("ftp://u:p@a.example:2121/x"));
  EXPECT_FALSE(HasURL("ftp://u:p@a.example:2121"));
}

TEST_F(ListTest, KnowsEveryServerOfATransfer) {
  Transfer transfer;
  Download("ftp://a/x", &transfer);
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), "ftp://b/x;http://c/x"), Error_None);
  EXPECT_TRUE(HasURL("ftp://a/x"));
  EXPECT_TRUE(HasURL("ftp://b/x"));
  EXPECT_TRUE(HasURL("http://c/x"));
  EXPECT_FALSE(HasURL("http://d/x"));
  Transfer another;
  EXPECT_EQ(VRXClient_NewDownload("http://c/x", directory_.Name("f").c_str(), 0, nullptr, another.out()),
            Error_Exists);
}

TEST_F(ListTest, PassesOverCompletedTransfers) {
  Transfer completed;
  Download("ftp://a/x", &completed);
  Transfer another;
  EXPECT_EQ(VRXClient_NewDownload("ftp://a/x", directory_.Name("f").c_str(), 0, nullptr, another.out()),
            Error_Exists);
  EXPECT_EQ(another.get(), nullptr);
  iVRXClient_ChangeState(completed.get(), TransferState::Agents);
  EXPECT_EQ(VRXClient_NewDownload("ftp://a/x", directory_.Name("f").c_str(), 0, nullptr, another.out()),
            Error_Exists);
  iVRXClient_ChangeState(completed.get(), TransferState::Completed);
  EXPECT_EQ(VRXClient_NewDownload("ftp://a/x", directory_.Name("f").c_str(), 0, nullptr, another.out()),
            Error_None);
}

// What another thread has put there since the first look.
TEST_F(ListTest, RefusesAURLThatIsThere_WhenATransferIsPutIn) {
  Transfer first;
  Download("ftp://a/x", &first);
  Transfer second;
  Download("ftp://b/x", &second);
  iVRXClientList_Unlink(second.get());
  second->entry = nullptr;
  iServerList_Delete(&second->data.servers);
  ASSERT_EQ(iServerList_New("ftp://a/x", &second->data.servers), Error_None);
  EXPECT_EQ(iVRXClientList_Link(second.get(), true), Error_Exists);
  EXPECT_EQ(iVRXClientList_Count(), 1u);
  EXPECT_EQ(iVRXClientList_Link(second.get(), false), Error_None);
  EXPECT_EQ(iVRXClientList_Count(), 2u);
}

TEST_F(ListTest, KnowsThePathsOfOtherTransfers) {
  Transfer transfer;
  Download("ftp://a/x", &transfer);
  iVRXClient_SetDataPath(transfer.get(), "/cache/vrxData1");
  snprintf(transfer->data.logPath, kPathSize, "/cache/info2");
  EXPECT_TRUE(iVRXClientList_HasPath("/cache/vrxData1", nullptr));
  EXPECT_TRUE(iVRXClientList_HasPath("/cache/info2", nullptr));
  EXPECT_FALSE(iVRXClientList_HasPath("/cache/vrxData1", transfer.get()));
  EXPECT_FALSE(iVRXClientList_HasPath("/cache/vrxData", nullptr));
  Transfer another;
  Download("ftp://b/x", &another);
  EXPECT_TRUE(iVRXClientList_HasPath("/cache/vrxData1", another.get()));
  EXPECT_FALSE(iVRXClientList_HasPath("/cache/vrxData1", transfer.get()));
}

TEST_F(ListTest, NeedsTheLineForATransferThatIsUnfinishedAndHasNotFailed) {
  EXPECT_FALSE(iVRXClientList_NeedsLine());
  Transfer transfer;
  Download("ftp://a/x", &transfer);
  EXPECT_TRUE(iVRXClientList_NeedsLine());
  VRXClient_AgentError(transfer.get(), VRXClientReason_NoServer);
  EXPECT_FALSE(iVRXClientList_NeedsLine());
  Transfer another;
  Download("ftp://b/x", &another);
  EXPECT_TRUE(iVRXClientList_NeedsLine());
  iVRXClient_ChangeState(another.get(), TransferState::Completed);
  EXPECT_FALSE(iVRXClientList_NeedsLine());
  VRXClient_AgentError(transfer.get(), VRXClientReason_None);
  EXPECT_TRUE(iVRXClientList_NeedsLine());
}

TEST_F(ListTest, GivesOutItsTransfersOneByOne) {
  Transfer transfers[2];
  Download("ftp://a/0", &transfers[0]);
  Download("ftp://a/1", &transfers[1]);
  EXPECT_EQ(iVRXClientList_TakeFirst(), transfers[1].get());
  EXPECT_EQ(iVRXClientList_TakeFirst(), transfers[0].get());
  EXPECT_EQ(iVRXClientList_TakeFirst(), nullptr);
}

// ---- threads -------------------------------------------------------------------------------------

// Each makes, changes and ends transfers of its own, and looks for the others' all the while.
void Work(int number) {
  for (int i = 0; i < 30; ++i) {
    const std::string url = "ftp://a/" + std::to_string(number) + "-" + std::to_string(i);
    VRXClient* client = nullptr;
    ASSERT_EQ(VRXClient_NewDownload(url.c_str(), "qz-no-such-file", 0, nullptr, &client), Error_None);
    VRXClient* again = nullptr;
    ASSERT_EQ(VRXClient_NewDownload(url.c_str(), "qz-no-such-file", 0, nullptr, &again), Error_Exists);
    ASSERT_EQ(VRXClient_AddMirrors(client, ("http://m/" + std::to_string(number)).c_str()), Error_None);
    ASSERT_EQ(iVRXClient_NameDataFile(client), Error_None);
    ASSERT_FALSE(iVRXClientList_HasPath(client->data.dataPath, client));
    iVRXClientList_NeedsLine();
    VRXClient_AgentError(client, VRXClientReason_Timeout);
    iVRXClient_ChangeState(client, i % 2 == 0 ? TransferState::Completed : TransferState::Data);
    ASSERT_EQ(VRXClient_Close(client), Error_None);
  }
}

TEST_F(ListTest, MayBeUsedByManyThreads) {
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) threads.emplace_back(Work, number);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(iVRXClientList_Count(), 0u);
}

// However many ask for the same URL at once, one gets it.
TEST_F(ListTest, GivesAURLToOneOfManyThreads) {
  for (int round = 0; round < 20; ++round) {
    VRXClient* clients[4] = {};
    std::vector<std::thread> threads;
    for (VRXClient*& client : clients) {
      threads.emplace_back([&client] {
        const ErrorCode status =
            VRXClient_NewDownload("ftp://a/same", "qz-no-such-file", 0, nullptr, &client);
        EXPECT_TRUE(status == Error_None || status == Error_Exists) << status;
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(iVRXClientList_Count(), 1u);
    for (VRXClient* client : clients) {
      if (client != nullptr) VRXClient_Close(client);
    }
  }
}

}  // namespace
