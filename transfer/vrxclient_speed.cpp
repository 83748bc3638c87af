// How fast a transfer is: its clock, elapsed time, reports of progress, and samples of speed.
#include <algorithm>
#include <atomic>

#include "os/platform/clock.h"
#include "transfer/statistics_internal.h"
#include "transfer/vrxclient_machine_internal.h"
#include "transfer/vrxclient_machine_testing.h"

namespace {

using ClockMethod = uint64_t (*)();
std::atomic<ClockMethod> clockMethod{platform::MonotonicMilliseconds};

// A speed is sampled no more often.
constexpr uint64_t kSampleMilliseconds = 1000;

// One report a bar's width would do; shown numbers want more.
constexpr uint64_t kReportBytes = 16;
constexpr uint64_t kFewestReports = 100;

bool IsCopying(const VRXClient* client) {
  return client->data.state == TransferState::PrepareDataFile || client->data.state == TransferState::Finish;
}

void TakeSample(VRXClient* client, uint64_t done, uint64_t nowMilliseconds) {
  const uint64_t milliseconds = nowMilliseconds - client->sampleMilliseconds;
  if (IsCopying(client) || milliseconds <= kSampleMilliseconds) return;
  client->sampleMilliseconds = nowMilliseconds;
  const uint64_t before = client->sampleBytes;
  client->sampleBytes = done;
  if (done <= before) return;
  client->speed =
      static_cast<float>(static_cast<double>(done - before) / (static_cast<double>(milliseconds) * 0.001));
  iStatistics_RecordSpeed(client->server->host, client->server->port, client->speed);
  iVRXClient_ReportSpeed(client);
  iVRXClient_ReportTime(client);
}

// The step has single precision, all that is computed with it double, as for the progress of a stream.
double StepLength(uint64_t total) {
  const uint64_t steps = std::clamp<uint64_t>(total / kReportBytes, kFewestReports, UINT32_MAX);
  return static_cast<float>(static_cast<double>(total) / static_cast<double>(steps));
}

int64_t CountSteps(uint64_t position, double step) {
  return static_cast<int64_t>(static_cast<double>(position) / step);
}

bool WantsSteps(const VRXClient* client) {
  return client->methods != nullptr && client->methods->progress != nullptr;
}

bool WantsProgress64(const VRXClient* client) {
  return client->methods64 != nullptr && client->methods64->progress != nullptr;
}

// Kept: the report for a boundary that was crossed carries the start of the step before it, as a stream's
// does; progress bars are scaled to this.
void ReportSteps(VRXClient* client, uint64_t before, uint64_t after, uint64_t nowMilliseconds) {
  const uint64_t total = client->progressTotal;
  const double step = StepLength(total);
  const int64_t end = CountSteps(after, step);
  for (int64_t k = CountSteps(before, step); k < end && WantsSteps(client); ++k) {
    const auto done = std::min(static_cast<uint64_t>(static_cast<double>(k) * step), total);
    TakeSample(client, done, nowMilliseconds);
    iVRXClient_ReportProgress(client, done, total);
  }
}

}  // namespace

uint64_t iVRXClient_Clock() {
  return clockMethod.load()();
}

void iVRXClient_SetClock(uint64_t (*milliseconds)()) {
  clockMethod.store(milliseconds != nullptr ? milliseconds : platform::MonotonicMilliseconds);
}

void iVRXClient_BeginElapsed(VRXClient* client) {
  if (client->offset == 0 && client->data.elapsedMilliseconds != 0) {
    client->data.elapsedMilliseconds = 0;
    client->isChanged = true;
  }
  client->startMilliseconds = iVRXClient_Clock() - client->data.elapsedMilliseconds;
  client->isDataRunning = true;
}

void iVRXClient_EndElapsed(VRXClient* client) {
  if (!client->isDataRunning) return;
  client->isDataRunning = false;
  const uint64_t elapsed = std::min<uint64_t>(iVRXClient_Clock() - client->startMilliseconds, UINT32_MAX);
  if (elapsed == client->data.elapsedMilliseconds) return;
  client->data.elapsedMilliseconds = static_cast<uint32_t>(elapsed);
  client->isChanged = true;
}

void iVRXClient_BeginProgress(VRXClient* client) {
  const uint64_t whole = client->data.isUpload != 0 ? client->dataFileSize : client->data.size;
  client->progressTotal = whole == kSizeUnknown ? UINT32_MAX : whole;
  client->sampleMilliseconds = iVRXClient_Clock();
  client->sampleBytes = client->offset;
  client->speed = 0;
}

void iVRXClient_CountProgress(VRXClient* client, uint64_t before, uint64_t after) {
  if (client->progressTotal == 0 || !iVRXClient_WantsProgress(client)) return;
  if (after > client->progressTotal) client->progressTotal = after;
  const uint64_t now = iVRXClient_Clock();
  if (WantsSteps(client)) ReportSteps(client, before, after, now);
  if (!WantsProgress64(client)) return;
  TakeSample(client, after, now);
  const bool isUnknown = client->data.isUpload == 0 && client->data.size == kSizeUnknown;
  iVRXClient_ReportProgress64(client, after, isUnknown ? kSizeUnknown : client->progressTotal);
}

void iVRXClient_CopyProgress(void* context, uint32_t done, uint32_t total) {
  iVRXClient_ReportProgress(static_cast<VRXClient*>(context), done, total);
}

ErrorCode iVRXClient_ContinueCopy(VRXClient* client) {
  uint64_t done = 0;
  uint64_t total = 0;
  File_GetCopyProgress64(client->copy, nullptr, &total);
  const ErrorCode status = File_CopyEnd(&client->copy);
  if (status != Error_None || total == 0) return status;
  File_GetCopyProgress64(client->copy, &done, nullptr);
  iVRXClient_ReportProgress64(client, client->copy != nullptr ? done : total, total);
  return status;
}
