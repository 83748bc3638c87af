// What an application is told of sizes, progress, speed and time, through both tables of callbacks. A
// callback may replace the tables, or end the transfer, which takes them away: each is looked at when its
// turn comes.
#include "transfer/statistics_internal.h"
#include "transfer/vrxclient_internal.h"

namespace {

constexpr uint32_t kTimeUnknown = 0xFFFFFFFF;

// What an upload sends is its copy in the cache.
uint64_t TotalSize(const VRXClient* client) {
  return client->data.isUpload != 0 ? client->dataFileSize : client->data.size;
}

uint64_t BytesLeft(const VRXClient* client) {
  if (client->remaining != kSizeUnknown) return client->remaining;
  const uint64_t total = TotalSize(client);
  if (total == kSizeUnknown) return kSizeUnknown;
  return total > client->offset ? total - client->offset : 0;
}

float AverageSpeed(const VRXClient* client) {
  if (client->server == nullptr || client->server->host == nullptr) return -1;
  return iStatistics_AverageSpeed(client->server->host, client->server->port);
}

uint32_t SecondsFor(uint64_t bytes, float bytesPerSecond) {
  if (bytes == kSizeUnknown || !(bytesPerSecond > 0)) return kTimeUnknown;
  const double seconds = static_cast<double>(bytes) / static_cast<double>(bytesPerSecond);
  return seconds < kTimeUnknown ? static_cast<uint32_t>(seconds) : kTimeUnknown;
}

}  // namespace

bool iVRXClient_WantsProgress(const VRXClient* client) {
  return (client->methods != nullptr && client->methods->progress != nullptr) ||
         (client->methods64 != nullptr && client->methods64->progress != nullptr);
}

uint32_t iVRXClient_EstimateTime(const VRXClient* client) {
  if (client->data.state >= TransferState::Finish) return client->data.elapsedMilliseconds;
  return SecondsFor(BytesLeft(client), AverageSpeed(client));
}

void iVRXClient_ReportSize(VRXClient* client) {
  const uint64_t size = VRXClient_GetSize64(client);
  if (client->methods != nullptr && client->methods->size != nullptr)
    client->methods->size(client->userData, iVRXClient_Narrow(size));
  if (client->methods64 != nullptr && client->methods64->size != nullptr)
    client->methods64->size(client->userData64, size);
}

void iVRXClient_ReportTime(VRXClient* client) {
  const uint32_t value = iVRXClient_EstimateTime(client);
  if (client->methods != nullptr && client->methods->time != nullptr)
    client->methods->time(client->userData, value);
  if (client->methods64 != nullptr && client->methods64->time != nullptr)
    client->methods64->time(client->userData64, value);
}

void iVRXClient_ReportSpeed(VRXClient* client) {
  const float speed = client->speed;
  if (client->methods != nullptr && client->methods->speed != nullptr)
    client->methods->speed(client->userData, speed);
  if (client->methods64 != nullptr && client->methods64->speed != nullptr)
    client->methods64->speed(client->userData64, speed);
}

void iVRXClient_ReportProgress(VRXClient* client, uint64_t done, uint64_t total) {
  if (client->methods != nullptr && client->methods->progress != nullptr)
    client->methods->progress(client->userData, iVRXClient_Narrow(done), iVRXClient_Narrow(total));
}

void iVRXClient_ReportProgress64(VRXClient* client, uint64_t done, uint64_t total) {
  if (client->methods64 != nullptr && client->methods64->progress != nullptr)
    client->methods64->progress(client->userData64, done, total);
}
