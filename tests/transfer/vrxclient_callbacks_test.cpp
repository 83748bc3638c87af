// What an application is told: each callback with its own number, through both tables, and the time estimate.
#include <gtest/gtest.h>

#include <string>

#include "tests/transfer/vrxclient_fixture.h"
#include "transfer/statistics_internal.h"

namespace {

class CallbacksTest : public TransferTest {
 protected:
  void SetUp() override {
    TransferTest::SetUp();
    Download("http://speed.example/x", &transfer_);
    VRXClient_SetMethods64(transfer_.get(), heard64_.userData(), &kHearing64);
    heard_.Take();
    heard64_.Take();
  }
  void TearDown() override {
    transfer_.Close();
    TransferTest::TearDown();
  }
  // The server is reached, and has this average speed.
  static void KnowSpeed(float bytesPerSecond) {
    constexpr uint8_t kAddress[] = {10, 0, 0, 1};
    iStatistics_RecordAddress("speed.example", 80, kAddress);
    iStatistics_RecordSpeed("speed.example", 80, bytesPerSecond);
  }

  Heard heard64_;
  Transfer transfer_;
};

TEST_F(CallbacksTest, TellTheSize) {
  transfer_->data.size = 4294967294;
  iVRXClient_ReportSize(transfer_.get());
  EXPECT_EQ(heard_.Take(), Lines({"size 4294967294"}));
  EXPECT_EQ(heard64_.Take(), Lines({"64 size 4294967294"}));
  transfer_->data.size = 4294967296;
  iVRXClient_ReportSize(transfer_.get());
  EXPECT_EQ(heard_.Take(), Lines({"size 4294967295"}));
  EXPECT_EQ(heard64_.Take(), Lines({"64 size 4294967296"}));
  transfer_->data.size = kSizeUnknown;
  iVRXClient_ReportSize(transfer_.get());
  EXPECT_EQ(heard_.Take(), Lines({"size 4294967295"}));
  EXPECT_EQ(heard64_.Take(), Lines({"64 size 18446744073709551615"}));
}

TEST_F(CallbacksTest, TellTheProgress_EachTableByItself) {
  iVRXClient_ReportProgress(transfer_.get(), 5, 10);
  EXPECT_EQ(heard_.Take(), Lines({"progress 5 of 10"}));
  EXPECT_EQ(heard64_.Take(), Lines());
  iVRXClient_ReportProgress64(transfer_.get(), 5, 10);
  EXPECT_EQ(heard_.Take(), Lines());
  EXPECT_EQ(heard64_.Take(), Lines({"64 progress 5 of 10"}));
}

TEST_F(CallbacksTest, TellAllOnes_ForWhatDoesNotFit) {
  iVRXClient_ReportProgress(transfer_.get(), 4294967294, 4294967295);
  iVRXClient_ReportProgress(transfer_.get(), 4294967296, 21474836480);
  iVRXClient_ReportProgress(transfer_.get(), 0, kSizeUnknown);
  EXPECT_EQ(heard_.Take(), Lines({"progress 4294967294 of 4294967295", "progress 4294967295 of 4294967295",
                                  "progress 0 of 4294967295"}));
  iVRXClient_ReportProgress64(transfer_.get(), 4294967296, 21474836480);
  EXPECT_EQ(heard64_.Take(), Lines({"64 progress 4294967296 of 21474836480"}));
}

TEST_F(CallbacksTest, TellTheSpeed) {
  transfer_->speed = 1536.5f;
  iVRXClient_ReportSpeed(transfer_.get());
  EXPECT_EQ(heard_.Take(), Lines({"speed 1536.5"}));
  EXPECT_EQ(heard64_.Take(), Lines({"64 speed 1536.5"}));
}

TEST_F(CallbacksTest, TellTheTime) {
  KnowSpeed(100);
  transfer_->data.size = 1000;
  iVRXClient_ReportTime(transfer_.get());
  EXPECT_EQ(heard_.Take(), Lines({"time 10"}));
  EXPECT_EQ(heard64_.Take(), Lines({"64 time 10"}));
}

TEST_F(CallbacksTest, MayAllBeMissing) {
  constexpr VRXClientMethods kNone = {};
  constexpr VRXClientMethods64 kNone64 = {};
  for (const bool isNull : {false, true}) {
    EXPECT_EQ(VRXClient_SetMethods(transfer_.get(), 0, isNull ? nullptr : &kNone), Error_None);
    EXPECT_EQ(VRXClient_SetMethods64(transfer_.get(), 0, isNull ? nullptr : &kNone64), Error_None);
    iVRXClient_ReportSize(transfer_.get());
    iVRXClient_ReportTime(transfer_.get());
    iVRXClient_ReportSpeed(transfer_.get());
    iVRXClient_ReportProgress(transfer_.get(), 1, 2);
    iVRXClient_ReportProgress64(transfer_.get(), 1, 2);
    EXPECT_FALSE(iVRXClient_WantsProgress(transfer_.get()));
  }
  EXPECT_EQ(heard_.Take(), Lines());
}

TEST_F(CallbacksTest, AreAskedForProgressByEitherTable) {
  EXPECT_TRUE(iVRXClient_WantsProgress(transfer_.get()));
  VRXClient_SetMethods(transfer_.get(), 0, nullptr);
  EXPECT_TRUE(iVRXClient_WantsProgress(transfer_.get()));
  VRXClient_SetMethods64(transfer_.get(), 0, nullptr);
  EXPECT_FALSE(iVRXClient_WantsProgress(transfer_.get()));
  VRXClient_SetMethods(transfer_.get(), heard_.userData(), &kHearing);
  EXPECT_TRUE(iVRXClient_WantsProgress(transfer_.get()));
}

// ---- setting -------------------------------------------------------------------------------------

TEST_F(CallbacksTest, HearSizeAndTime_WhenTheyAreSet) {
  transfer_->data.size = 7;
  Heard other;
  EXPECT_EQ(VRXClient_SetMethods(transfer_.get(), other.userData(), &kHearing), Error_None);
  EXPECT_EQ(other.Take(), Lines({"size 7", "time 4294967295"}));
  EXPECT_EQ(heard_.Take(), Lines());
  EXPECT_EQ(heard64_.Take(), Lines()) << "the other table has heard it before";
  EXPECT_EQ(VRXClient_SetMethods64(transfer_.get(), other.userData(), &kHearing64), Error_None);
  EXPECT_EQ(other.Take(), Lines({"64 size 7", "64 time 4294967295"}));
  EXPECT_EQ(VRXClient_SetMethods(nullptr, 0, &kHearing), Error_Invalid);
  EXPECT_EQ(VRXClient_SetMethods64(nullptr, 0, &kHearing64), Error_Invalid);
}

// What a callback does with its transfer.
struct Doing {
  VRXClient* client = nullptr;
  void (*action)(Doing& doing) = nullptr;
  Heard heard;
};

const VRXClientMethods kDoing = {
    nullptr,
    nullptr,
    [](Word userData, uint32_t) {
      auto* doing = reinterpret_cast<Doing*>(userData);
      doing->heard.Add("size");
      doing->action(*doing);
    },
    [](Word userData, uint32_t) { reinterpret_cast<Doing*>(userData)->heard.Add("time"); },
    nullptr,
    nullptr};

TEST_F(CallbacksTest, MayReplaceThemselves) {
  Doing doing;
  doing.client = transfer_.get();
  doing.action = [](Doing& self) { VRXClient_SetMethods(self.client, 0, nullptr); };
  EXPECT_EQ(VRXClient_SetMethods(transfer_.get(), reinterpret_cast<Word>(&doing), &kDoing), Error_None);
  EXPECT_EQ(doing.heard.Take(), Lines({"size"}));
  EXPECT_EQ(transfer_->methods, nullptr);
}

TEST_F(CallbacksTest, MayCloseTheTransfer) {
  Doing doing;
  doing.client = transfer_.get();
  doing.action = [](Doing& self) {
    EXPECT_EQ(VRXClient_Close(self.client), Error_None);
    EXPECT_EQ(iVRXClientList_Count(), 1u) << "nothing is freed inside its call";
    char url[1024];
    EXPECT_EQ(VRXClient_GetSourceURL(self.client, url), Error_None);
    EXPECT_STREQ(url, "http://speed.example/x");
  };
  EXPECT_EQ(VRXClient_SetMethods(transfer_.get(), reinterpret_cast<Word>(&doing), &kDoing), Error_None);
  transfer_.Forget();
  EXPECT_EQ(iVRXClientList_Count(), 0u);
  EXPECT_EQ(doing.heard.Take(), Lines({"size"})) << "nothing is called back after a close";
}

TEST_F(CallbacksTest, MayUseTheTransfer_AfterClosingIt) {
  Doing doing;
  doing.client = transfer_.get();
  doing.action = [](Doing& self) {
    EXPECT_EQ(VRXClient_Close(self.client), Error_None);
    EXPECT_EQ(VRXClient_AgentMessage(self.client, "x"), Error_None);
    EXPECT_EQ(iVRXClientList_Count(), 1u) << "the end of an inner call is not the end";
    const char* text = nullptr;
    EXPECT_EQ(VRXClient_GetInfo(self.client, &text), Error_None);
    EXPECT_STREQ(text, "x\r\n");
  };
  EXPECT_EQ(VRXClient_SetMethods(transfer_.get(), reinterpret_cast<Word>(&doing), &kDoing), Error_None);
  transfer_.Forget();
  EXPECT_EQ(iVRXClientList_Count(), 0u);
}

TEST_F(CallbacksTest, MayDeleteTheTransfer_AfterClosingIt) {
  iVRXClient_Message(transfer_.get(), 18);
  const std::string log = transfer_->data.logPath;
  Doing doing;
  doing.client = transfer_.get();
  doing.action = [](Doing& self) {
    EXPECT_EQ(VRXClient_Delete(self.client), Error_None);
    EXPECT_EQ(VRXClient_Close(self.client), Error_None);
  };
  EXPECT_EQ(VRXClient_SetMethods(transfer_.get(), reinterpret_cast<Word>(&doing), &kDoing), Error_None);
  transfer_.Forget();
  EXPECT_EQ(iVRXClientList_Count(), 0u);
  EXPECT_EQ(File_Exists(log.c_str(), nullptr), 0);
}

TEST_F(CallbacksTest, FreeTheURL_WhenTheyCloseTheTransfer) {
  Doing doing;
  doing.client = transfer_.get();
  doing.action = [](Doing& self) {
    EXPECT_EQ(VRXClient_Close(self.client), Error_None);
    VRXClient* another = nullptr;
    EXPECT_EQ(VRXClient_NewDownload("http://speed.example/x", nullptr, 0, nullptr, &another), Error_None);
    EXPECT_EQ(VRXClient_Close(another), Error_None);
  };
  EXPECT_EQ(VRXClient_SetMethods(transfer_.get(), reinterpret_cast<Word>(&doing), &kDoing), Error_None);
  transfer_.Forget();
  EXPECT_EQ(iVRXClientList_Count(), 0u);
}

TEST_F(CallbacksTest, MayCloseTheTransfer_WhenTheyHearAMessage) {
  constexpr VRXClientMethods kClosing = {
      [](Word userData, const char*) { VRXClient_Close(reinterpret_cast<VRXClient*>(userData)); },
      nullptr,
      nullptr,
      nullptr,
      nullptr,
      nullptr};
  VRXClient_SetMethods(transfer_.get(), reinterpret_cast<Word>(transfer_.get()), &kClosing);
  EXPECT_EQ(VRXClient_AgentMessage(transfer_.get(), "x"), Error_None);
  EXPECT_EQ(heard64_.Take(), Lines()) << "the second table was taken away by the first one's callback";
  transfer_.Forget();
  EXPECT_EQ(iVRXClientList_Count(), 0u);
}

// ---- the estimate --------------------------------------------------------------------------------

TEST_F(CallbacksTest, EstimateTheTimeFromWhatIsLeft) {
  KnowSpeed(100);
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 0xFFFFFFFFu) << "size unknown";
  transfer_->data.size = 1099;
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 10u) << "whole seconds";
  transfer_->offset = 500;
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 5u);
  transfer_->offset = 2000;
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 0u);
  transfer_->remaining = 700;
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 7u) << "what remains comes before size and offset";
  transfer_->remaining = 0;
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 0u);
}

TEST_F(CallbacksTest, EstimateAnUploadFromItsCopy) {
  Transfer upload;
  Upload("source", "ftp://speed.example:80/up", &upload);
  KnowSpeed(100);
  EXPECT_EQ(iVRXClient_EstimateTime(upload.get()), 0xFFFFFFFFu);
  upload->data.size = 100;
  upload->dataFileSize = 800;
  upload->offset = 100;
  EXPECT_EQ(iVRXClient_EstimateTime(upload.get()), 7u);
}

TEST_F(CallbacksTest, EstimateNothing_WithoutASpeed) {
  transfer_->data.size = 1000;
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 0xFFFFFFFFu);
  KnowSpeed(0);
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 0xFFFFFFFFu) << "an average of 0";
}

TEST_F(CallbacksTest, EstimateNothing_WithoutAServer) {
  KnowSpeed(100);
  transfer_->data.size = 1000;
  ASSERT_EQ(iVRXClient_SetServer(transfer_.get(), nullptr), Error_None);
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 0xFFFFFFFFu);
}

TEST_F(CallbacksTest, EstimateNothing_ThatDoesNotFit) {
  KnowSpeed(1);
  transfer_->remaining = 4294967294;
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 4294967294u);
  transfer_->remaining = 4294967295;
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 0xFFFFFFFFu);
  transfer_->remaining = kSizeUnknown - 1;
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 0xFFFFFFFFu);
}

TEST_F(CallbacksTest, TellTheElapsedTime_OnceTheDataIsComplete) {
  KnowSpeed(100);
  transfer_->data.elapsedMilliseconds = 12345;
  transfer_->remaining = 0;
  for (const TransferState state : {TransferState::Finish, TransferState::Agents, TransferState::Completed}) {
    iVRXClient_ChangeState(transfer_.get(), state);
    EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 12345u);
  }
  iVRXClient_ChangeState(transfer_.get(), TransferState::Data);
  EXPECT_EQ(iVRXClient_EstimateTime(transfer_.get()), 0u);
}

}  // namespace
