// The two documents of statistics:
//
//   names.qzc     HOST:PORT   a.b.c.d                      the address that the server had last
//   through.qzc   a.b.c.d     SAMPLES AVERAGE SAMPLES RATIO   speed in bytes per second; outcomes
//                 default     ...                          the same of all servers together
//
// The semaphore is held for as long as a document is used; a save happens under it too, at most once a
// minute.
#include <atomic>
#include <cmath>
#include <cstring>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "qz/config.h"
#include "qz/error.h"
#include "qz/os.h"
#include "qz/semaphore.h"
#include "qz/time.h"
#include "transfer/statistics_internal.h"
#include "transfer/statistics_testing.h"
#include "transfer/statistics_values.h"

namespace {

constexpr uint32_t kWaitMilliseconds = 5000;
constexpr uint32_t kSecondsBetweenSaves = 60;
constexpr char kNamesFile[] = "names.qzc";
constexpr char kThroughFile[] = "through.qzc";
constexpr uint32_t kNamesFields = 2;
constexpr uint32_t kThroughFields = 5;
constexpr char kAllServers[] = "default";
constexpr float kFailure = 0.0f;

struct Document {
  Config* config;
  bool isDirty;  // it has changed since it was read or written
  char path[kFileNameSize];
};

struct Lists {
  Semaphore* semaphore;  // null: not started
  Document names;
  Document through;
  uint32_t lastSaveSeconds;
};

Lists lists;
std::atomic<uint32_t> waitMilliseconds{kWaitMilliseconds};

// ---- files -------------------------------------------------------------------------------------

ErrorCode OpenDocument(const char* directory, const char* name, uint32_t fieldCount, Document* document) {
  document->isDirty = false;
  ErrorCode status = iFile_Join(directory, name, document->path);
  if (status != Error_None) return status;
  const Owned<ConfigSpec, ConfigSpec_Delete> spec(ConfigSpec_Start());
  if (!spec) return Error_Memory;
  ConfigSpec_SetMinFields(spec.get(), fieldCount);
  ConfigSpec_SetMaxFields(spec.get(), fieldCount);
  ConfigSpec_SetStripComments(spec.get(), 1);
  ConfigSpec_End(spec.get());
  document->config = Config_New(spec.get());
  if (document->config == nullptr) return Error_Memory;
  status = Config_Read(document->config, document->path);
  return status == Error_NotFound ? ErrorCode{Error_None} : status;
}

void SaveDocument(Document* document) {
  if (document->isDirty && Config_Write(document->config, document->path) == Error_None)
    document->isDirty = false;
}

bool IsAnyDirty() {
  return lists.names.isDirty || lists.through.isDirty;
}

// A minute has passed, or the clock was set back. An attempt that fails counts: a full disk is not tried
// again at every sample.
void SaveWhenDue() {
  if (!IsAnyDirty()) return;
  Time now;
  Time_Get(&now);
  if (now.seconds - lists.lastSaveSeconds < kSecondsBetweenSaves) return;
  lists.lastSaveSeconds = now.seconds;
  SaveDocument(&lists.names);
  SaveDocument(&lists.through);
}

void Close() {
  Config_Delete(lists.names.config);
  Config_Delete(lists.through.config);
  Semaphore_Delete(lists.semaphore);
  lists = {};
}

ErrorCode Open() {
  char directory[kFileNameSize];
  ErrorCode status = File_GetSysDir(SysDir_Cache, directory);
  if (status != Error_None) return status;
  lists.semaphore = Semaphore_New(1, 1);
  if (lists.semaphore == nullptr) return Error_Memory;
  status = OpenDocument(directory, kNamesFile, kNamesFields, &lists.names);
  return status == Error_None ? OpenDocument(directory, kThroughFile, kThroughFields, &lists.through)
                              : status;
}

// Holds the lists for the block, and saves them at its end when that is due.
class HeldLists {
 public:
  HeldLists() : isHeld_(Semaphore_Wait(lists.semaphore, waitMilliseconds.load()) == Error_None) {}
  ~HeldLists() {
    if (!isHeld_) return;
    SaveWhenDue();
    Semaphore_Signal(lists.semaphore);
  }
  HeldLists(const HeldLists&) = delete;
  HeldLists& operator=(const HeldLists&) = delete;

  explicit operator bool() const { return isHeld_; }

 private:
  bool isHeld_;
};

// ---- lines, while the lists are held -----------------------------------------------------------

// The address that the server had last.
bool FindAddress(const char* serverKey, ServerAddress* address) {
  const ConfigLine* line = Config_FindLine(lists.names.config, nullptr, serverKey);
  return line != nullptr && iStatistics_ParseAddress(Config_GetFields(lists.names.config, line)[1], address);
}

bool FindStatistics(const char* key, ServerStatistics* statistics) {
  *statistics = kNoStatistics;
  const ConfigLine* line = Config_FindLine(lists.through.config, nullptr, key);
  return line != nullptr &&
         iStatistics_ParseValues(Config_GetFields(lists.through.config, line) + 1, statistics);
}

// Finds the key of the server's statistics, its address.
bool FindServer(const char* host, int32_t port, char (&key)[kAddressTextSize]) {
  char serverKey[kServerKeySize];
  ServerAddress address;
  if (!iStatistics_MakeServerKey(host, port, serverKey) || !FindAddress(serverKey, &address)) return false;
  iStatistics_FormatAddress(address, key);
  return true;
}

void RemoveStatistics(const ServerAddress& address) {
  char key[kAddressTextSize];
  iStatistics_FormatAddress(address, key);
  ConfigLine* line = Config_FindLine(lists.through.config, nullptr, key);
  if (line == nullptr) return;
  Config_RemoveLine(lists.through.config, line);
  lists.through.isDirty = true;
}

bool StoreAddress(const char* serverKey, const ServerAddress& address) {
  char text[kAddressTextSize];
  iStatistics_FormatAddress(address, text);
  if (Config_PrintF(lists.names.config, nullptr, "%s %s", nullptr, serverKey, text) != Error_None)
    return false;
  lists.names.isDirty = true;
  return true;
}

using AddSample = void (*)(float sample, ServerStatistics* statistics);

void UpdateLine(const char* key, AddSample add, float sample) {
  ServerStatistics statistics;
  FindStatistics(key, &statistics);
  add(sample, &statistics);
  char values[kStatisticsTextSize];
  iStatistics_FormatValues(statistics, values);
  if (Config_PrintF(lists.through.config, nullptr, "%s %s", nullptr, key, values) == Error_None)
    lists.through.isDirty = true;
}

void Record(const char* host, int32_t port, AddSample add, float sample) {
  const HeldLists held;
  char key[kAddressTextSize];
  if (!held || !FindServer(host, port, key)) return;
  UpdateLine(key, add, sample);
  UpdateLine(kAllServers, add, sample);
}

}  // namespace

ErrorCode iStatistics_Start() {
  if (lists.semaphore != nullptr) return Error_Inited;
  const ErrorCode status = Open();
  if (status != Error_None) Close();
  return status;
}

void iStatistics_End() {
  SaveDocument(&lists.names);
  SaveDocument(&lists.through);
  Close();
}

void iStatistics_RecordAddress(const char* host, int32_t port, const uint8_t* address) {
  char serverKey[kServerKeySize];
  if (!iStatistics_MakeServerKey(host, port, serverKey)) return;
  const HeldLists held;
  if (!held) return;
  ServerAddress current;
  memcpy(current.bytes, address, sizeof current.bytes);
  ServerAddress before;
  const bool wasKnown = FindAddress(serverKey, &before);
  if (wasKnown && memcmp(before.bytes, current.bytes, sizeof current.bytes) == 0) return;
  if (StoreAddress(serverKey, current) && wasKnown) RemoveStatistics(before);
}

void iStatistics_RecordSpeed(const char* host, int32_t port, float bytesPerSecond) {
  if (!std::isfinite(bytesPerSecond) || bytesPerSecond < 0) return;
  Record(host, port, iStatistics_AddSpeed, bytesPerSecond);
}

void iStatistics_RecordFailure(const char* host, int32_t port) {
  Record(host, port, iStatistics_AddOutcome, kFailure);
}

float iStatistics_AverageSpeed(const char* host, int32_t port) {
  const HeldLists held;
  ServerStatistics statistics = kNoStatistics;
  char key[kAddressTextSize];
  // Kept: a server with a line of its own but no sample in it has no average, whatever the others have.
  if (held && (!FindServer(host, port, key) || !FindStatistics(key, &statistics)))
    FindStatistics(kAllServers, &statistics);
  return statistics.averageSpeed;
}

bool iStatistics_Get(const char* host, int32_t port, ServerStatistics* statistics) {
  *statistics = kNoStatistics;
  const HeldLists held;
  char key[kAddressTextSize];
  return held && FindServer(host, port, key) && FindStatistics(key, statistics);
}

void iStatistics_SetWaitMilliseconds(uint32_t milliseconds) {
  waitMilliseconds.store(milliseconds != 0 ? milliseconds : kWaitMilliseconds);
}

void iStatistics_Hold() {
  Semaphore_Wait(lists.semaphore, kWaitMilliseconds);
}

void iStatistics_Release() {
  Semaphore_Signal(lists.semaphore);
}
