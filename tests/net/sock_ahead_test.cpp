// Reads that are served from a large buffer, while the peer sends as fast as they come.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "os/core/largebuffer_internal.h"
#include "os/core/memory_testing.h"
#include "tests/net/sock_transfer_fixture.h"

namespace {

constexpr uint32_t kStep = 12288;
// Both fit the buffers of the system.
constexpr uint32_t kAhead = 20000;
constexpr uint32_t kSent = kStep + kStep + kAhead;

class SockAhead : public SockTransfer {
 protected:
  // Two steps of kSent bytes: the first fills its request, the second reads the rest ahead.
  void ReadTwoSteps() {
    Open();
    sent_ = Pattern(kSent);
    ASSERT_TRUE(peer.Send(sent_));
    ASSERT_TRUE(WaitForPending(kSent));
    EXPECT_TRUE(Read(kStep) == sent_.substr(0, kStep));
    EXPECT_EQ(iSock_CountAhead(sock), 0u);
    EXPECT_TRUE(Read(kStep) == sent_.substr(kStep, kStep));
  }
  std::string Ahead() const { return sent_.substr(2 * kStep); }

  uint32_t PendingInSystem() {
    uint32_t count = 99;
    EXPECT_TRUE(platform::SocketPending(Sock_GetDescriptor(sock), &count));
    return count;
  }
  uint32_t Available() {
    uint32_t count = 99;
    EXPECT_EQ(Sock_ReadAvail(sock, &count), Error_None);
    return count;
  }

  std::string sent_;
};

TEST_F(SockAhead, FetchesWhatIsThereInOneCall) {
  ReadTwoSteps();
  EXPECT_EQ(PendingInSystem(), 0u);
  EXPECT_EQ(iSock_CountAhead(sock), kAhead);
  EXPECT_EQ(Available(), kAhead);
  EXPECT_EQ(Stream_ReadAvail(reinterpret_cast<Stream*>(sock)), kAhead);
  EXPECT_EQ(Sock_SelectRead(sock, 0, 0), Error_None);
  EXPECT_TRUE(Read(kStep) == Ahead().substr(0, kStep));
  EXPECT_EQ(iSock_CountAhead(sock), kAhead - kStep);
  // A request of any size takes from there: small ones, and ones as large as the buffer.
  EXPECT_EQ(Read(3), Ahead().substr(kStep, 3));
  EXPECT_TRUE(Read(kLargeBuffer_Bytes) == Ahead().substr(kStep + 3));
  EXPECT_EQ(Available(), 0u);
  EXPECT_EQ(Sock_SelectRead(sock, 0, 0), Error_Timeout);
}

// What comes before the data was read in small pieces, so that every step ends with a short remainder. Each
// of them costs no call of its own.
TEST_F(SockAhead, FetchesWhatIsThereInOneCall_BehindASmallRead) {
  constexpr uint32_t kSmallStep = kSockReadAheadBytes;
  Open();
  sent_ = Pattern(300 + 2 * kSmallStep + kAhead);
  ASSERT_TRUE(peer.Send(sent_));
  ASSERT_TRUE(WaitForPending(static_cast<uint32_t>(sent_.size())));
  EXPECT_EQ(Read(300), sent_.substr(0, 300));
  EXPECT_TRUE(Read(kSmallStep) == sent_.substr(300, kSmallStep));
  EXPECT_EQ(PendingInSystem(), 0u);
  EXPECT_EQ(iSock_CountAhead(sock), kSmallStep + kAhead);
  EXPECT_TRUE(Read(kSmallStep) == sent_.substr(300 + kSmallStep, kSmallStep));
}

TEST_F(SockAhead, JoinsWhatIsAheadWithWhatComesLater) {
  ReadTwoSteps();
  ASSERT_TRUE(peer.Send("later"));
  ASSERT_TRUE(WaitForPending(kAhead + 5));
  EXPECT_EQ(Available(), kAhead + 5);
  EXPECT_TRUE(Read(kAhead + 100) == Ahead() + "later");
  EXPECT_EQ(Sock_GetError(sock), Error_None);
}

TEST_F(SockAhead, GivesWhatIsAheadBeforeTheEnd) {
  ReadTwoSteps();
  peer.Close();
  EXPECT_TRUE(Read(kAhead) == Ahead());
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_EQ(Read(kStep), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
}

TEST_F(SockAhead, GivesWhatIsAheadBeforeAReset) {
  ReadTwoSteps();
  peer.Reset();
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), Error_None);
  EXPECT_TRUE(Read(kAhead) == Ahead());
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_EQ(Read(kStep), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
  EXPECT_EQ(Read(kStep), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
}

TEST_F(SockAhead, GivesTimeoutBehindWhatIsAhead) {
  ReadTwoSteps();
  iSock_SetWaitMilliseconds(200);
  EXPECT_TRUE(Read(kAhead) == Ahead());
  EXPECT_EQ(Read(kStep), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
}

TEST_F(SockAhead, GivesNothingThatIsAhead_OnceClosed) {
  ReadTwoSteps();
  Sock_Close(sock);
  EXPECT_EQ(iSock_CountAhead(sock), 0u);
  EXPECT_EQ(Read(kStep), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
}

// A peer that sends less than is asked for is not fast.
TEST_F(SockAhead, ReadsNothingAhead_WhileRequestsAreNotFilled) {
  Open();
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(peer.Send(std::string(5000, 'a')));
    ASSERT_TRUE(WaitForPending(5000));
    EXPECT_EQ(Read(kStep), std::string(5000, 'a'));
  }
  EXPECT_EQ(sock->largeBuffer, nullptr);
}

TEST_F(SockAhead, ReadsAsBefore_WhenAllLargeBuffersAreInUse) {
  std::vector<uint8_t*> taken;
  while (uint8_t* buffer = iLargeBuffer_Take()) taken.push_back(buffer);
  EXPECT_EQ(taken.size(), 16u);
  ReadTwoSteps();
  EXPECT_EQ(iSock_CountAhead(sock), 0u);
  EXPECT_EQ(PendingInSystem(), kAhead);
  // One becomes free.
  iLargeBuffer_GiveBack(taken.back());
  taken.pop_back();
  EXPECT_TRUE(Read(kStep) == Ahead().substr(0, kStep));
  EXPECT_EQ(iSock_CountAhead(sock), kAhead - kStep);
  EXPECT_EQ(iLargeBuffer_Take(), nullptr);
  Sock_Delete(sock);
  sock = nullptr;
  taken.push_back(iLargeBuffer_Take());
  EXPECT_NE(taken.back(), nullptr);
  for (uint8_t* buffer : taken) iLargeBuffer_GiveBack(buffer);
}

TEST_F(SockAhead, ReadsAsBefore_WithoutMemory) {
  Open();
  sent_ = Pattern(kSent);
  ASSERT_TRUE(peer.Send(sent_));
  ASSERT_TRUE(WaitForPending(kSent));
  EXPECT_TRUE(Read(kStep) == sent_.substr(0, kStep));
  iMemory_FailAllocation(1);
  EXPECT_TRUE(Read(kStep) == sent_.substr(kStep, kStep));
  iMemory_FailAllocation(0);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_EQ(iSock_CountAhead(sock), 0u);
}

TEST_F(SockAhead, KeepsEveryByteInOrder_WhateverTheSizesOfTheReads) {
  const std::string sent = Pattern(20000000);
  Open();
  std::thread sender([&] {
    peer.Send(sent, 60000);
    peer.Finish();
  });
  const uint32_t sizes[] = {12288, 12288, 1, 1023, 1024, 4096, 12288, 70000, 131071, 131072, 500000, 7};
  std::string all;
  size_t step = 0;
  for (std::string piece = Read(sizes[0]); !piece.empty(); piece = Read(sizes[++step % std::size(sizes)]))
    all += piece;
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
  sender.join();
  EXPECT_TRUE(all == sent) << all.size();
}

}  // namespace
