// The preference record. On disk it is a record of version 3 without a tag, one file for each application
// name:
//
//   | 3 | field | field | ...                    docs/formats.md has the fields
//
// Version 1 has neither flag4 nor what concerns proxies, version 2 has no proxies.
//
// Programs of one name share the file. What is kept is what it holds by then, with the fields on top that
// have changed here since it was read or written.
#include "qz/vrxprefs.h"

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/thread.h"
#include "qz/error.h"
#include "qz/os.h"
#include "qz/proxy.h"
#include "qz/semaphore.h"
#include "qz/traverse.h"
#include "transfer/sharedfiles_internal.h"
#include "transfer/statistics_internal.h"
#include "transfer/vrxprefs_internal.h"
#include "traverse/traverse_internal.h"

namespace {

constexpr uint32_t kVersion = 3;
constexpr uint32_t kFlag4Version = 2;
constexpr uint32_t kProxyVersion = 3;
constexpr char kFileSuffix[] = "VRXPrefs";
constexpr uint32_t kWithoutLimit = 0xFFFFFFFF;
constexpr uint32_t kNobody = 0;

// How long to wait for other programs. A user's change is kept without their lock rather than lost.
constexpr uint32_t kLockWaitMilliseconds = 2000;

VRXPrefs preferences;
VRXPrefs stored;   // as the file was when it was last read or written
VRXPrefs present;  // as it is now, while it is written
Semaphore* semaphore = nullptr;
char path[kFileNameSize];
std::atomic<uint32_t> accessThread{kNobody};  // that has access

// ---- the record --------------------------------------------------------------------------------

// A text's room in the file is one byte less than here.
template <size_t size>
void Text(Traverse* traverse, char (&text)[size]) {
  Traverse_String(traverse, size - 1, text);
}

void DescribeProxies(Traverse* traverse, VRXPrefs* record) {
  Traverse_Bool(traverse, &record->isProxyEnabled);
  Text(traverse, record->ftpProxyHost);
  Traverse_Uns16(traverse, &record->ftpProxyPort);
  Text(traverse, record->httpProxyHost);
  Traverse_Uns16(traverse, &record->httpProxyPort);
  Text(traverse, record->proxyBypass);
}

void Describe(Traverse* traverse, void* argument) {
  auto* record = static_cast<VRXPrefs*>(argument);
  uint32_t version = kVersion;
  Traverse_Version(traverse, kVersion, &version);
  if (!iTraverse_IsStopped(*traverse) && version == 0) Traverse_SetError(traverse, Error_NotFound);
  Traverse_Bool(traverse, &record->flag1);
  Traverse_Bool(traverse, &record->flag2);
  Traverse_Bool(traverse, &record->flag3);
  if (version >= kFlag4Version) Traverse_Bool(traverse, &record->flag4);
  Traverse_Uns8(traverse, &record->uploadType);
  Traverse_Bool(traverse, &record->flag5);
  Text(traverse, record->downloadDirectory);
  Traverse_Bool(traverse, &record->flag6);
  Text(traverse, record->text1);
  Traverse_Uns8(traverse, &record->downloadType);
  Traverse_Bool(traverse, &record->flag7);
  Traverse_Uns8(traverse, &record->number1);
  Traverse_Uns8(traverse, &record->number2);
  Traverse_Bool(traverse, &record->isDialUpEnabled);
  Text(traverse, record->dialUpEntry);
  Traverse_Bool(traverse, &record->hangsUpWhenDone);
  Traverse_Bool(traverse, &record->upgradeFlag);
  Traverse_Uns32(traverse, &record->number3);
  Traverse_Uns32(traverse, &record->lastUpgradeCheckSeconds);
  Text(traverse, record->anonymousPassword);
  Traverse_Bool(traverse, &record->flag8);
  Traverse_Bool(traverse, &record->flag9);
  Traverse_Bool(traverse, &record->flag10);
  Text(traverse, record->text2);
  Text(traverse, record->text3);
  if (version >= kProxyVersion) DescribeProxies(traverse, record);
}

void SetDefaults(VRXPrefs* record) {
  *record = {};
  record->flag2 = 1;
  File_GetSysDir(SysDir_Desk, record->downloadDirectory);
  record->number1 = 10;
  record->number2 = 2;
  record->upgradeFlag = 1;
  record->number3 = 1;
  memcpy(record->anonymousPassword, kDefaultAnonymousPassword, sizeof kDefaultAnonymousPassword);
  record->ftpProxyPort = 21;
  record->httpProxyPort = 80;
}

// Whether every reader takes the text: one that just fills its room makes some of them fail.
template <size_t size>
bool Fits(const char (&text)[size]) {
  return strnlen(text, size) < size - 2;
}

bool FitsFile(const VRXPrefs& record) {
  return Fits(record.downloadDirectory) && Fits(record.text1) && Fits(record.dialUpEntry) &&
         Fits(record.anonymousPassword) && Fits(record.text2) && Fits(record.text3) &&
         Fits(record.ftpProxyHost) && Fits(record.httpProxyHost) && Fits(record.proxyBypass);
}

// ---- the file ----------------------------------------------------------------------------------

ErrorCode MakePath() {
  char directory[kFileNameSize];
  char name[kFileNameSize];
  const ErrorCode status = File_GetSysDir(SysDir_Cache, directory);
  if (status != Error_None) return status;
  const int length = snprintf(name, sizeof name, "%s%s", OS_GetApplicationName(), kFileSuffix);
  return static_cast<size_t>(length) < sizeof name ? iFile_Join(directory, name, path)
                                                   : ErrorCode{Error_Exceed};
}

// Frees the context and leaves its stream open.
void DeleteContext(Traverse* traverse) {
  traverse->stream = nullptr;
  Traverse_Delete(traverse);
}

ErrorCode WriteRecord(File* file, VRXPrefs* record) {
  Stream* const stream = File_GetStream(file);
  const Owned<Traverse, DeleteContext> traverse(Traverse_New(0, stream));
  if (!traverse || iTraverse_GatherWrites(*traverse.get()) != Error_None) return Error_Memory;
  const ErrorCode status = Traverse_DataWrite(traverse.get(), Describe, record);
  // The stream says why it took less.
  return status == Error_Ended && Stream_Error(stream) != Error_None ? Stream_Error(stream) : status;
}

ErrorCode WriteFile(VRXPrefs* record) {
  FileReplacement replacement;
  ErrorCode status = iFile_BeginReplacement(path, FileMode_Write, &replacement);
  if (status != Error_None) return status;
  status = WriteRecord(replacement.file, record);
  if (status == Error_None) return iFile_CompleteReplacement(&replacement);
  iFile_AbandonReplacement(&replacement);
  return status;
}

// What is not in the file stays as it is. A last text that just fills its room is no failure.
ErrorCode ReadFile(VRXPrefs* record) {
  Owned<Traverse, Traverse_Delete> traverse;
  ErrorCode status = File_OpenTraverse(path, FileMode_Read, nullptr, traverse.out());
  if (status == Error_None) status = Traverse_DataRead(traverse.get(), Describe, record);
  return status == Error_Exceed ? ErrorCode{Error_None} : status;
}

// ---- other programs' changes -------------------------------------------------------------------

struct Field {
  size_t offset;
  size_t size;
};

#define QZ_FIELD(name) \
  { offsetof(VRXPrefs, name), sizeof(VRXPrefs::name) }
constexpr Field kFields[] = {QZ_FIELD(flag1),
                             QZ_FIELD(flag2),
                             QZ_FIELD(flag3),
                             QZ_FIELD(flag4),
                             QZ_FIELD(uploadType),
                             QZ_FIELD(flag5),
                             QZ_FIELD(downloadDirectory),
                             QZ_FIELD(flag6),
                             QZ_FIELD(text1),
                             QZ_FIELD(downloadType),
                             QZ_FIELD(flag7),
                             QZ_FIELD(number1),
                             QZ_FIELD(number2),
                             QZ_FIELD(isDialUpEnabled),
                             QZ_FIELD(dialUpEntry),
                             QZ_FIELD(hangsUpWhenDone),
                             QZ_FIELD(upgradeFlag),
                             QZ_FIELD(number3),
                             QZ_FIELD(lastUpgradeCheckSeconds),
                             QZ_FIELD(anonymousPassword),
                             QZ_FIELD(flag8),
                             QZ_FIELD(flag9),
                             QZ_FIELD(flag10),
                             QZ_FIELD(text2),
                             QZ_FIELD(text3),
                             QZ_FIELD(isProxyEnabled),
                             QZ_FIELD(ftpProxyHost),
                             QZ_FIELD(ftpProxyPort),
                             QZ_FIELD(httpProxyHost),
                             QZ_FIELD(httpProxyPort),
                             QZ_FIELD(proxyBypass)};
#undef QZ_FIELD

bool IsText(const Field& field) {
  return field.size > sizeof(uint32_t);
}

char* In(VRXPrefs* record, const Field& field) {
  return reinterpret_cast<char*>(record) + field.offset;
}

// Of a text, what stands behind its end does not matter.
bool AreEqual(const char* a, const char* b, const Field& field) {
  return IsText(field) ? strncmp(a, b, field.size) == 0 : memcmp(a, b, field.size) == 0;
}

// Takes what the file holds now into `present`. One that is missing, or damaged, counts as unchanged.
// Error_Memory.
ErrorCode ReadPresent() {
  present = stored;
  if (File_Exists(path, nullptr) == 0) return Error_None;
  const ErrorCode status = ReadFile(&present);
  if (status == Error_Memory) return status;
  if (status != Error_None || !FitsFile(present)) present = stored;
  return Error_None;
}

ErrorCode Merge(VRXPrefs* record) {
  const ErrorCode status = ReadPresent();
  if (status != Error_None) return status;
  for (const Field& field : kFields) {
    const bool isChangedHere = !AreEqual(In(record, field), In(&stored, field), field);
    if (!isChangedHere) memcpy(In(record, field), In(&present, field), field.size);
  }
  return Error_None;
}

// ---- keeping it --------------------------------------------------------------------------------

void HandOverProxies(const VRXPrefs& record) {
  Proxy_SetEnabled(record.isProxyEnabled);
  Proxy_SetServer(ProxyIndex_FTP, record.ftpProxyHost, record.ftpProxyPort);
  Proxy_SetServer(ProxyIndex_HTTP, record.httpProxyHost, record.httpProxyPort);
  Proxy_SetBypassList(record.proxyBypass);
}

// While the record is accessed.
ErrorCode Keep(VRXPrefs* record) {
  if (!FitsFile(*record)) return Error_Invalid;
  const SharedFilesLock lock(kLockWaitMilliseconds);
  ErrorCode status = Merge(record);
  if (status == Error_None) status = WriteFile(record);
  if (status == Error_None) stored = *record;
  HandOverProxies(*record);
  return status;
}

ErrorCode ReadOrMakeFile() {
  const ErrorCode status = MakePath();
  if (status != Error_None) return status;
  if (File_Exists(path, nullptr) == 0) return Keep(&preferences);
  const ErrorCode read = iSharedFiles_Read([] { return ReadFile(&preferences); });
  stored = preferences;
  // A program may have set proxies of its own, which a file without them leaves in place.
  if (read == Error_None && preferences.isProxyEnabled != 0) HandOverProxies(preferences);
  return read;
}

ErrorCode Open() {
  semaphore = Semaphore_New(1, 1);
  if (semaphore == nullptr) return Error_Memory;
  SetDefaults(&preferences);
  stored = preferences;
  return ReadOrMakeFile();
}

}  // namespace

ErrorCode iVRXPrefs_Start() {
  ErrorCode status = iStatistics_Start();
  if (status != Error_None) return status;
  status = Open();
  if (status != Error_None) iVRXPrefs_End();
  return status;
}

void iVRXPrefs_End() {
  Semaphore_Delete(semaphore);
  semaphore = nullptr;
  accessThread.store(kNobody);
  iStatistics_End();
}

ErrorCode iVRXPrefs_GetAnonymousPassword(char (&password)[VRXPrefsSize_Name + 1]) {
  memcpy(password, kDefaultAnonymousPassword, sizeof kDefaultAnonymousPassword);
  const PreferencesAccess access;
  if (!access) return Error_NotInited;
  if (access->anonymousPassword[0] == '\0') return Error_None;
  memcpy(password, access->anonymousPassword, sizeof password);
  password[VRXPrefsSize_Name] = '\0';
  return Error_None;
}

ErrorCode iVRXPrefs_StoreUpgradeCheck(uint32_t seconds) {
  const PreferencesAccess access;
  if (!access) return Error_NotInited;
  access->lastUpgradeCheckSeconds = seconds;
  const SharedFilesLock lock(kLockWaitMilliseconds);
  ErrorCode status = ReadPresent();
  present.lastUpgradeCheckSeconds = seconds;
  if (status == Error_None) status = WriteFile(&present);
  if (status == Error_None) stored.lastUpgradeCheckSeconds = seconds;
  return status;
}

VRXPrefs* VRXPrefs_BeginAccess() {
  if (Semaphore_Wait(semaphore, kWithoutLimit) != Error_None) return nullptr;
  accessThread.store(platform::CurrentThreadIdentifier());
  return &preferences;
}

void VRXPrefs_EndAccess() {
  if (semaphore == nullptr) return;
  accessThread.store(kNobody);
  Semaphore_Signal(semaphore);
}

ErrorCode VRXPrefs_Changed() {
  if (accessThread.load() == platform::CurrentThreadIdentifier()) return Keep(&preferences);
  const PreferencesAccess access;
  return access ? Keep(&preferences) : ErrorCode{Error_NotInited};
}
