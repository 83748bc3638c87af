// A thousand transfers at once, each with an open connection and an open data file. The C runtime of Windows
// has 512 open files unless it is told otherwise.
#include <list>
#include <thread>

#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

constexpr int kTransfers = 1000;

// Sends the first half of a file to every client, waits until it may go on, and sends the other half.
class PatientServer {
 public:
  PatientServer() : listener_(1024) {
    thread_ = std::thread([this] { Serve(); });
  }
  ~PatientServer() {
    goesOn_ = true;
    thread_.join();
  }
  std::string URL(int number) const {
    return "http://127.0.0.1:" + std::to_string(listener_.port()) + "/" + std::to_string(number);
  }
  void GoOn() { goesOn_ = true; }

 private:
  void Serve() {
    std::list<loopback::Connection> connections;
    while (!goesOn_) {
      loopback::Connection connection = listener_.Accept(20);
      if (!connection.IsOpen()) continue;
      std::string head;
      while (!head.ends_with("\r\n\r\n") && connection.ReceiveSome(&head) == loopback::Result::Data) {
      }
      connection.Send("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-7/8\r\n\r\nabcd");
      connections.push_back(std::move(connection));
    }
    for (loopback::Connection& connection : connections) connection.Send("efgh");
  }

  loopback::Listener listener_;
  std::atomic<bool> goesOn_{false};
  std::thread thread_;
};

using ManyTransfers = TransferTest;

TEST_F(ManyTransfers, ThousandAreOpenAtOnce) {
  PatientServer server;
  std::vector<std::unique_ptr<TracedTransfer>> transfers;
  for (int i = 0; i < kTransfers; ++i) {
    transfers.push_back(NewTransfer());
    TracedTransfer& transfer = *transfers.back();
    ASSERT_EQ(transfer.Download(server.URL(i), Out(std::to_string(i))), Error_None) << i;
    transfer.RunToState(11);
    ASSERT_EQ(transfer.Idle(), VRXClientResult_None) << i;
    ASSERT_EQ(transfer.State(), 11u) << i << " " << transfer.Reason();
  }
  EXPECT_EQ(DataFiles().size(), static_cast<size_t>(kTransfers));
  server.GoOn();
  for (int i = 0; i < kTransfers; ++i) {
    transfers[static_cast<size_t>(i)]->RunToCompletion();
    ASSERT_EQ(OutBytes(std::to_string(i)), "abcdefgh") << i;
  }
  EXPECT_EQ(DataFiles(), Lines());
}

}  // namespace
}  // namespace transfer
