// One saved transfer, driven to its end: the library moves the bytes, this decides what follows when it
// cannot.
//
// A run goes like this:
//
//   Open      the record is read, or the transfer is made; what the record does not keep is set again
//   Run       one step of the library after the other. After each one that tells of a change the record is
//             saved. When a connection has ended, another server follows at once, or the same ones after a
//             pause, or the run fails.
//   Finish    the path that the file gets is saved before it gets it; at the end the record is removed
//
// Whatever ends the program leaves a record that the next run continues from.
#ifndef TOOL_TRANSFER_H
#define TOOL_TRANSFER_H

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tool/address.h"
#include "tool/failure.h"
#include "tool/ftp_session.h"
#include "tool/jobs.h"
#include "tool/options.h"
#include "tool/outcome.h"
#include "tool/record.h"
#include "tool/reporter.h"
#include "tool/store.h"

namespace tool {

// Which of the extensions that the transfer is to have its record does not have yet.
struct NewAgents {
  bool verifies = false;
  bool unpacks = false;
};

// The bit of the edit flags that says: bytes of this upload are on the server. The library keeps it.
constexpr std::uint32_t kUploadHasBegun = 0x40;

class Transfer : public Job {
 public:
  // claim: of the transfer's number. isNew: there is no record yet.
  Transfer(Store* store, std::unique_ptr<Claim> claim, SavedTransfer saved, bool isNew, NewAgents agents,
           const Options& options, std::optional<std::string> password, Reporter* reporter);
  ~Transfer() override;
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  unsigned Number() const { return saved_.number; }

  // Makes the transfer and saves it without running it.
  void Save();

  void Run(HTTPcPool* connections) override;
  void Stop() override;

 private:
  using Clock = std::chrono::steady_clock;

  struct ListedServer {
    std::uint32_t index;
    std::string host;  // as in its URL
  };

  // ---- beginning (transfer.cpp)
  enum class Purpose { Save, Run };
  void Open(Purpose purpose);
  void MakeClient();
  void AddMirrors();
  void AddAgents(NewAgents agents);
  void ReadClient();
  bool IsReplaced() const;
  void BeginAgainWithoutFile();
  void ApplySettings();
  void SetPartFile();
  void SetLogin(Purpose purpose);
  void PrepareUpload();
  void TellChange() const;
  void BeginUploadAnew();
  Login LoginOfTransfer() const;
  void LogIn(FTPSession* session) const;
  void ReplaceOnServer();
  bool IsStoredAlready();
  bool HasUploadBegun() const;
  bool IsSourceChanged() const;
  void NoteSource();

  // ---- running (transfer_run.cpp)
  void Drive();
  bool IsReady();
  void Step();
  void OnStepEnded(std::uint32_t before, std::int32_t result);
  void CheckResponse() const;
  void OnDataBegins();
  void TellWhereDataBegins();
  void OnUploadBegins();
  void OnAttemptEnded(std::uint32_t before, std::int32_t result);
  bool ReconnectsAtOnce(std::uint32_t before) const;
  AttemptEnd DescribeEnd(std::uint32_t before, std::int32_t result) const;
  std::optional<ListedServer> NextServer() const;
  void RetryLater(const Failure& failure);
  void PauseBeforeRetry(const Failure& failure);
  void NoteServer();
  void Record();
  void RecordWhenDue();
  void SaveRecord(const std::string& record);
  void CheckInterrupt() const;

  // ---- ending (transfer_finish.cpp)
  bool IsMoveRecorded();
  void TakeMovedFileBack();
  void CheckIsWhole() const;
  void ChooseFinalPath();
  std::string PlaceOfFile() const;
  void Finish();
  void TellWhatIsDone(const std::string& path);
  void Forget();
  bool LeavePartAlone();
  void EndLine();
  void TellFailure(const Failure& failure);
  void TellInterruption();
  // Whether there was anything to tell.
  bool TellWhatIsKept(const std::string& before);
  void TellHowToTryAgain();

  // ---- callbacks of the library
  static void OnMessage(Word self, const char* text);
  static void OnProgress(Word self, std::uint64_t done, std::uint64_t total);
  static void OnSize(Word self, std::uint64_t size);

  std::string ShownPath(const std::string& libraryPath) const;
  std::string ServerPath() const;
  // What is asked of the server of the attempt, and the proxy on the way there; "" for none.
  std::string WhatIsAskedFor() const;
  std::string ProxyOnTheWay() const;

  Store* store_;
  std::unique_ptr<Claim> claim_;
  SavedTransfer saved_;
  const bool isNew_;
  const NewAgents newAgents_;
  Options options_;
  std::optional<std::string> password_;
  Reporter* reporter_;
  Address address_;
  bool isInStore_ = false;  // a record stands in the folder
  const Clock::time_point began_ = Clock::now();

  std::mutex clientMutex_;  // held to set the pointer, and by Stop
  OwnedTransfer client_;
  HTTPcPool* connections_ = nullptr;
  std::atomic<bool> isStopped_{false};

  std::optional<ProgressLine> line_;
  bool isLineBegun_ = false;
  bool isPrepared_ = false;            // an upload's next attempt may begin
  bool isCopyNew_ = false;             // the source was copied since its bytes began to go to the server
  bool isStoredAlready_ = false;       // an upload that has nothing to send
  bool restartsUpload_;                // --restart, until the server has nothing of the old file
  std::uint64_t position_ = 0;         // of the data
  std::uint64_t partBytes_ = 0;        // what FILE.part held at the start
  std::uint64_t firstPosition_ = 0;    // where the first data of this run began
  std::uint64_t attemptPosition_ = 0;  // where the data of this attempt began
  std::uint64_t furthest_ = 0;         // the largest position of earlier attempts
  std::optional<Clock::time_point> dataBegan_;
  std::string server_;             // of the attempt: "ftp://host:port"
  std::uint32_t serverIndex_ = 0;  // its place in the list
  std::string lastMessage_;        // of the library
  std::string recordForAgents_;  // of a file that is not in the store, before the first agent was told of it
  unsigned failedRetries_ = 0;
  bool mayPass_ = false;  // an attempt of this round failed in a way that may pass
};

}  // namespace tool

#endif
