// The two documents of statistics:
//
//   names.qzc     HOST:PORT   a.b.c.d                      the address that the server had last
//   through.qzc   a.b.c.d     SAMPLES AVERAGE SAMPLES RATIO   speed in bytes per second; outcomes
//                 default     ...                          the same of all servers together
//
// The semaphore is held for as long as a document is used; a save happens under it too, at most once a
// minute.
//
// Other programs save the same files. A save reads the file again, puts the lines that were changed here
// since the last save in their places there, and goes on with the outcome.
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "qz/config.h"
#include "qz/error.h"
#include "qz/os.h"
#include "qz/semaphore.h"
#include "qz/time.h"
#include "transfer/sharedfiles_internal.h"
#include "transfer/statistics_internal.h"
#include "transfer/statistics_testing.h"
#include "transfer/statistics_values.h"

namespace {

constexpr uint32_t kSecondsBetweenSaves = 60;
constexpr char kNamesFile[] = "names.qzc";
constexpr char kThroughFile[] = "through.qzc";
constexpr uint32_t kNamesFields = 2;
constexpr uint32_t kThroughFields = 5;
constexpr char kAllServers[] = "default";
constexpr float kFailure = 0.0f;

// How long a save waits for other programs: under the semaphore, and at the end, when no other follows.
constexpr uint32_t kLockWaitMilliseconds = 250;
constexpr uint32_t kLastLockWaitMilliseconds = 2000;

struct Document {
  Config* config;
  Config* changed;  // the keys of lines that were changed or removed since the file was read or written
  uint32_t fieldCount;
  char path[kFileNameSize];
};

struct Lists {
  Semaphore* semaphore;  // null: not started
  Document names;
  Document through;
  uint32_t lastSaveSeconds;
};

Lists lists;
std::atomic<uint32_t> waitMilliseconds{kStatisticsWaitMilliseconds};

// ---- files -------------------------------------------------------------------------------------

Config* NewConfig(uint32_t fieldCount) {
  const Owned<ConfigSpec, ConfigSpec_Delete> spec(ConfigSpec_Start());
  if (!spec) return nullptr;
  ConfigSpec_SetMinFields(spec.get(), fieldCount);
  ConfigSpec_SetMaxFields(spec.get(), fieldCount);
  ConfigSpec_SetStripComments(spec.get(), 1);
  ConfigSpec_End(spec.get());
  return Config_New(spec.get());
}

ErrorCode ReadDocument(Document* document) {
  Config_Empty(document->config);
  const ErrorCode status = Config_Read(document->config, document->path);
  return status == Error_NotFound ? ErrorCode{Error_None} : status;
}

ErrorCode OpenDocument(const char* directory, const char* name, uint32_t fieldCount, Document* document) {
  const ErrorCode status = iFile_Join(directory, name, document->path);
  if (status != Error_None) return status;
  document->fieldCount = fieldCount;
  document->config = NewConfig(fieldCount);
  document->changed = NewConfig(1);
  if (document->config == nullptr || document->changed == nullptr) return Error_Memory;
  return iSharedFiles_Read([document] { return ReadDocument(document); });
}

bool IsDirty(const Document& document) {
  return Config_FirstLine(document.changed, nullptr) != nullptr;
}

// Without memory for the note the change must not be made: the next save would drop it.
bool NoteChange(Document* document, const char* key) {
  return Config_FindLine(document->changed, nullptr, key) != nullptr ||
         Config_Print(document->changed, nullptr, key, nullptr) == Error_None;
}

// Puts a line of the document into another one, or removes it there as it was removed here.
ErrorCode CopyLine(const Document& document, const char* key, Config* target) {
  const ConfigLine* line = Config_FindLine(document.config, nullptr, key);
  if (line == nullptr) {
    ConfigLine* old = Config_FindLine(target, nullptr, key);
    if (old != nullptr) Config_RemoveLine(target, old);
    return Error_None;
  }
  char** const fields = Config_GetFields(document.config, line);
  char text[kServerKeySize + kStatisticsTextSize] = "";
  size_t length = 0;
  for (uint32_t i = 0; i < document.fieldCount && length < sizeof text; ++i)
    length += static_cast<size_t>(snprintf(text + length, sizeof text - length, "%s ", fields[i]));
  return length < sizeof text ? Config_Print(target, nullptr, text, nullptr) : ErrorCode{Error_Exceed};
}

// Takes over what other programs have stored. A missing file has nothing, and gets everything.
ErrorCode Merge(Document* document) {
  if (File_Exists(document->path, nullptr) == 0) return Error_None;
  Owned<Config, Config_Delete> merged(NewConfig(document->fieldCount));
  if (!merged) return Error_Memory;
  ErrorCode status = Config_Read(merged.get(), document->path);
  for (const ConfigLine* line = Config_FirstLine(document->changed, nullptr);
       line != nullptr && status == Error_None; line = Config_NextLine(document->changed, line))
    status = CopyLine(*document, Config_GetFields(document->changed, line)[0], merged.get());
  if (status != Error_None) return status;
  Config_Delete(std::exchange(document->config, merged.release()));
  return Error_None;
}

void SaveDocument(Document* document) {
  if (!IsDirty(*document) || Merge(document) != Error_None) return;
  if (Config_Write(document->config, document->path) == Error_None) Config_Empty(document->changed);
}

bool IsAnyDirty() {
  return IsDirty(lists.names) || IsDirty(lists.through);
}

void Save(uint32_t lockWaitMilliseconds) {
  if (!IsAnyDirty()) return;
  const SharedFilesLock lock(lockWaitMilliseconds);
  if (lock.isBusy()) return;
  SaveDocument(&lists.names);
  SaveDocument(&lists.through);
}

// A minute has passed, or the clock was set back. An attempt that fails counts: a full disk is not tried
// again at every sample.
void SaveWhenDue() {
  if (!IsAnyDirty()) return;
  Time now;
  Time_Get(&now);
  if (now.seconds - lists.lastSaveSeconds < kSecondsBetweenSaves) return;
  lists.lastSaveSeconds = now.seconds;
  Save(kLockWaitMilliseconds);
}

void Close() {
  for (const Document* document : {&lists.names, &lists.through}) {
    Config_Delete(document->config);
    Config_Delete(document->changed);
  }
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
  if (line != nullptr && NoteChange(&lists.through, key)) Config_RemoveLine(lists.through.config, line);
}

bool StoreAddress(const char* serverKey, const ServerAddress& address) {
  char text[kAddressTextSize];
  iStatistics_FormatAddress(address, text);
  return NoteChange(&lists.names, serverKey) &&
         Config_PrintF(lists.names.config, nullptr, "%s %s", nullptr, serverKey, text) == Error_None;
}

using AddSample = void (*)(float sample, ServerStatistics* statistics);

void UpdateLine(const char* key, AddSample add, float sample) {
  ServerStatistics statistics;
  FindStatistics(key, &statistics);
  add(sample, &statistics);
  char values[kStatisticsTextSize];
  iStatistics_FormatValues(statistics, values);
  if (NoteChange(&lists.through, key))
    Config_PrintF(lists.through.config, nullptr, "%s %s", nullptr, key, values);
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
  if (lists.semaphore == nullptr) return;
  Save(kLastLockWaitMilliseconds);
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
  waitMilliseconds.store(milliseconds != 0 ? milliseconds : kStatisticsWaitMilliseconds);
}

void iStatistics_Hold() {
  Semaphore_Wait(lists.semaphore, kStatisticsWaitMilliseconds);
}

void iStatistics_Release() {
  Semaphore_Signal(lists.semaphore);
}
