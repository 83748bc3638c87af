// Moving a file from server to server.
#include <gtest/gtest.h>

#include "net/ftpc_internal.h"
#include "qz/error.h"
#include "tests/support/scripted_ftp.h"

using namespace script;

namespace {

class FTPcMove : public ftp::LibraryTest {
 protected:
  // Logs in to both scripts' servers.
  void Connect(const Script& source, const Script& destination) {
    server_.reset(new ScriptedServer({ftp::Join({ftp::Login(), source, ftp::Gone()})}));
    otherServer_.reset(new ScriptedServer({ftp::Join({ftp::Login(), destination, ftp::Gone()})}));
    source_.reset(new ftp::Client(server_->port()));
    destination_.reset(new ftp::Client(otherServer_->port()));
  }
  ErrorCode Start() { return FTPc_StartMoveServerFile(*source_, *destination_, "/a", "/b", &reply_); }
  ErrorCode EndOnce() { return FTPc_EndMoveServerFile(*source_, *destination_, &reply_); }
  ErrorCode End() {
    ErrorCode status = Error_Block;
    while (status == Error_Block) status = EndOnce();
    return status;
  }
  void Finish() {
    source_.reset();
    destination_.reset();
    server_->Finish();
    otherServer_->Finish();
  }

  std::unique_ptr<ScriptedServer> server_;
  std::unique_ptr<ScriptedServer> otherServer_;
  std::unique_ptr<ftp::Client> source_;
  std::unique_ptr<ftp::Client> destination_;
  Reply reply_ = {};
};

const Script kPasvFails = ftp::Exchange("PASV", "502 no");
// The source's own address, and the port -1 that it never chose.
const Script kPortFails = ftp::Exchange("PORT 127,0,0,1,255,255", "500 no");

TEST_F(FTPcMove, StopsWithSuccess_WhenPasvSucceeds) {
  Connect(ftp::Exchange("PASV", "227 (10,1,2,3,4,5)"), {});
  EXPECT_EQ(Start(), Error_None);
  EXPECT_EQ(FTPc_GetFlags(*source_), 0u);
  EXPECT_EQ(FTPc_GetFlags(*destination_), 0u);
  EXPECT_EQ(EndOnce(), Error_None);
  Finish();
}

TEST_F(FTPcMove, StopsWithSuccess_WhenPortSucceeds) {
  Connect(kPasvFails, ftp::Exchange("PORT 127,0,0,1,255,255", "200 ok"));
  EXPECT_EQ(Start(), Error_None);
  EXPECT_EQ(FTPc_GetFlags(*source_), 0u);
  Finish();
}

// An earlier PASV left it there; the destination's own address would make it connect to itself.
TEST_F(FTPcMove, SendsTheAddressOfTheSourceToTheDestination) {
  Connect(ftp::Join({ftp::Exchange("PASV", "227 (10,1,2,3,4,5)"), kPasvFails}),
          ftp::Exchange("PORT 10,1,2,3,4,5", "200 ok"));
  EXPECT_EQ(Start(), Error_None);
  EXPECT_EQ(Start(), Error_None);
  Finish();
}

TEST_F(FTPcMove, StartsBothTransfers_WhenBothSetUpsFail) {
  Connect(ftp::Join({kPasvFails, ftp::Exchange("RETR /a", "150 go"), {Wait(300), SendLine("226 sent")}}),
          ftp::Join({kPortFails, ftp::Exchange("STOR /b", "150 go"), {Wait(600), SendLine("226 stored")}}));
  EXPECT_EQ(Start(), Error_None);
  EXPECT_EQ(FTPc_GetFlags(*source_), 16u);
  EXPECT_EQ(FTPc_GetFlags(*destination_), 16u);
  EXPECT_EQ(EndOnce(), Error_Block);
  EXPECT_EQ(End(), Error_None);
  EXPECT_EQ(FTPc_GetFlags(*source_), 0u);
  EXPECT_EQ(FTPc_GetFlags(*destination_), 0u);
  Finish();
}

TEST_F(FTPcMove, GivesTheFailure_WhenTheSourceRefuses) {
  Connect(ftp::Join({kPasvFails, ftp::Exchange("RETR /a", "550 no such")}), kPortFails);
  EXPECT_EQ(Start(), Error_Invalid);
  EXPECT_STREQ(reply_.text, "no such");
  EXPECT_EQ(FTPc_GetFlags(*source_), 0u);
  Finish();
}

TEST_F(FTPcMove, AbortsTheSource_WhenTheDestinationRefuses) {
  Connect(ftp::Join({kPasvFails, ftp::Exchange("RETR /a", "150 go"), ftp::Exchange("ABOR", "226 aborted")}),
          ftp::Join({kPortFails, ftp::Exchange("STOR /b", "553 no")}));
  EXPECT_EQ(Start(), Error_Invalid);
  EXPECT_EQ(reply_.code, 553);
  EXPECT_EQ(FTPc_GetFlags(*destination_), 0u);
  // Nothing is left to wait for.
  EXPECT_EQ(FTPc_GetFlags(*source_), 0u);
  EXPECT_EQ(EndOnce(), Error_None);
  Finish();
}

TEST_F(FTPcMove, LeavesTheSourcePending_WhenTheDestinationRefuses) {
  // The source answers the abort twice; its second reply is that of its transfer.
  Connect(ftp::Join({kPasvFails,
                     ftp::Exchange("RETR /a", "150 go"),
                     {ExpectLine("ABOR"), SendLine("426 cut"), Wait(100), SendLine("226 aborted")}}),
          ftp::Join({kPortFails, ftp::Exchange("STOR /b", "553 no")}));
  EXPECT_EQ(Start(), Error_Invalid);
  EXPECT_EQ(FTPc_GetFlags(*source_), 16u);
  EXPECT_EQ(FTPc_GetFlags(*destination_), 0u);
  EXPECT_EQ(End(), Error_None);
  EXPECT_EQ(FTPc_GetFlags(*source_), 0u);
  Finish();
}

TEST_F(FTPcMove, AbortsTheDestination_WhenTheSourceFails) {
  // The destination answers twice when it was in the middle of it, else once.
  for (const Script& answer :
       {ftp::Join({ftp::Exchange("ABOR", "426 cut"), {Wait(100), SendLine("226 aborted")}}),
        ftp::Exchange("ABOR", "225 nothing to abort")}) {
    Connect(ftp::Join({kPasvFails, ftp::Exchange("RETR /a", "150 go"), {SendLine("451 failed")}}),
            ftp::Join({kPortFails, ftp::Exchange("STOR /b", "150 go"), answer}));
    EXPECT_EQ(Start(), Error_None);
    EXPECT_EQ(End(), Error_Invalid);
    EXPECT_EQ(FTPc_GetFlags(*source_), 0u);
    EXPECT_EQ(FTPc_GetFlags(*destination_), 0u);
    Finish();
  }
}

TEST_F(FTPcMove, DoesNotAbortADestinationThatHasEnded) {
  Connect(ftp::Join({kPasvFails, ftp::Exchange("RETR /a", "150 go"), {Wait(300), SendLine("451 failed")}}),
          ftp::Join({kPortFails, ftp::Exchange("STOR /b", "150 go"), {SendLine("226 stored")}}));
  EXPECT_EQ(Start(), Error_None);
  EXPECT_EQ(End(), Error_Invalid);
  Finish();
}

// Two servers may take hours, without a byte to this side.
TEST_F(FTPcMove, WaitsForTheServersAsLongAsTheyTake) {
  Connect(ftp::Join({kPasvFails, ftp::Exchange("RETR /a", "150 go"), {Wait(500), SendLine("226 done")}}),
          ftp::Join({kPortFails, ftp::Exchange("STOR /b", "150 go"), {Wait(500), SendLine("226 done")}}));
  EXPECT_EQ(Start(), Error_None);
  iSock_SetWaitMilliseconds(100);
  EXPECT_EQ(End(), Error_None);
  Finish();
}

TEST_F(FTPcMove, KeepsTheFailureOfOneSide_UntilTheOtherEnds) {
  Connect(ftp::Join({kPasvFails, ftp::Exchange("RETR /a", "150 go"), {Wait(300), SendLine("226 sent")}}),
          ftp::Join({kPortFails, ftp::Exchange("STOR /b", "150 go"), {SendLine("452 full")}}));
  EXPECT_EQ(Start(), Error_None);
  EXPECT_EQ(End(), Error_Invalid);
  EXPECT_EQ(EndOnce(), Error_None);
  Finish();
}

TEST_F(FTPcMove, ForgetsTheFailureOfAMoveThatWasNotEnded_WhenTheNextOneStarts) {
  Connect(ftp::Join({kPasvFails,
                     ftp::Exchange("RETR /a", "150 go"),
                     {ExpectLine("PASV"), SendLine("227 (10,1,2,3,4,5)"), Wait(100), SendLine("226 sent")}}),
          ftp::Join({kPortFails, ftp::Exchange("STOR /b", "150 go"), {SendLine("452 full")}}));
  EXPECT_EQ(Start(), Error_None);
  while (FTPc_GetFlags(*destination_) != 0) ASSERT_EQ(EndOnce(), Error_Block);
  EXPECT_EQ(Start(), Error_None);
  EXPECT_EQ(End(), Error_None);
  Finish();
}

TEST_F(FTPcMove, GivesTheLastFailure_WhenBothSidesFail) {
  server_.reset(new ScriptedServer(
      {ftp::Join({ftp::Login(), kPasvFails, ftp::Exchange("RETR /a", "150 go"), {Wait(50), Close()}})}));
  otherServer_.reset(new ScriptedServer({ftp::Join({ftp::Login(),
                                                    kPortFails,
                                                    ftp::Exchange("STOR /b", "150 go"),
                                                    ftp::Exchange("ABOR", "426 cut"),
                                                    {SendLine("451 aborted")},
                                                    ftp::Gone()})}));
  source_.reset(new ftp::Client(server_->port()));
  destination_.reset(new ftp::Client(otherServer_->port()));
  EXPECT_EQ(Start(), Error_None);
  EXPECT_EQ(End(), Error_Invalid);
  EXPECT_STREQ(reply_.text, "aborted");
  EXPECT_EQ(EndOnce(), Error_None);
}

TEST_F(FTPcMove, GivesEnded_WhenTheRepliesOfTheSourceAreOutOfStep) {
  Connect(ftp::Join({kPasvFails, ftp::Exchange("RETR /a", "150 go"), {ExpectLine("DELE /c"), Wait(400)}}),
          ftp::Join({kPortFails, ftp::Exchange("STOR /b", "150 go"), ftp::Exchange("ABOR", "226 ok")}));
  EXPECT_EQ(Start(), Error_None);
  iSock_SetWaitMilliseconds(200);
  EXPECT_EQ(FTPc_DeleteFile(*source_, "/c", &reply_), Error_Timeout);
  iSock_SetWaitMilliseconds(0);
  EXPECT_EQ(EndOnce(), Error_Ended);
  EXPECT_EQ(FTPc_GetFlags(*source_), 0u);
  Finish();
}

TEST_F(FTPcMove, GivesEnded_WhenTheSourceGoesAway) {
  server_.reset(new ScriptedServer(
      {ftp::Join({ftp::Login(), kPasvFails, ftp::Exchange("RETR /a", "150 go"), {Wait(50), Close()}})}));
  otherServer_.reset(
      new ScriptedServer({ftp::Join({ftp::Login(), kPortFails, ftp::Exchange("STOR /b", "150 go"),
                                     ftp::Exchange("ABOR", "226 ok"), ftp::Gone()})}));
  source_.reset(new ftp::Client(server_->port()));
  destination_.reset(new ftp::Client(otherServer_->port()));
  EXPECT_EQ(Start(), Error_None);
  EXPECT_EQ(End(), Error_Ended);
  Finish();
}

}  // namespace
