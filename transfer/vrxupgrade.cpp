// The check for a newer version of the application: names in one directory of an FTP server, once a week at
// most.
#include "qz/vrxupgrade.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "os/core/lock_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/text/decimal_internal.h"
#include "os/text/textview_internal.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "qz/ftpc.h"
#include "qz/memory.h"
#include "qz/os.h"
#include "qz/time.h"
#include "qz/url.h"
#include "qz/winosregistry.h"
#include "transfer/vrxclientsystem_internal.h"
#include "transfer/vrxprefs_internal.h"
#include "transfer/vrxupgrade_internal.h"
#include "transfer/vrxupgrade_testing.h"

namespace {

constexpr char kBuiltInLocation[] = "ftp://download.example.invalid/pub-qmd/upgrade-default";
constexpr char kLocationValue[] = "UpgradeURL";
constexpr char kVersionValue[] = "UpgradeVersion";
constexpr char kSeparator = ';';
constexpr char kNoSeparator = 0;
constexpr char kUser[] = "ftp";
constexpr uint32_t kLowestVersion = 25;

constexpr size_t kVersionTextSize = 512;
constexpr size_t kRegistryPathSize = 512;
constexpr size_t kResultSize = 1024;

constexpr int64_t kSecondsPerDay = 86400;
constexpr uint64_t kSecondsPerWeek = 7 * kSecondsPerDay;
constexpr uint32_t kRetrySeconds = 4 * 3600;
constexpr int32_t kCheckDay = 3;  // Wednesday
constexpr int32_t kDaysPerWeek = 7;

std::atomic<bool> isStarted{false};
std::atomic<uint64_t> retrySeconds{0};    // no check is due before
std::atomic<uint32_t> setVersion{0};      // 0: the registry's counts
char setLocations[kUpgradeLocationSize];  // under the library's lock; empty: the registry's count

// ---- settings ----------------------------------------------------------------------------------

// A text value in the application's own key. Empty when there is none, or it is no text or too long.
template <size_t size>
bool ReadRegistry(const char* valueName, char (&text)[size]) {
  text[0] = 0;
  char path[kRegistryPathSize];
  const int length = snprintf(path, sizeof path, "HKEY_CURRENT_USER\\Software\\%s\\%s", OS_GetCompanyName(),
                              OS_GetApplicationName());
  if (static_cast<size_t>(length) >= sizeof path || WinOSRegistry_EntryExists(path, valueName) == 0)
    return false;
  return WinOSRegistry_GetStringEntry(path, valueName, size, text) == Error_None && text[0] != 0;
}

uint32_t GetInstalledVersion() {
  uint32_t version = setVersion.load();
  char text[kVersionTextSize];
  if (version == 0 && ReadRegistry(kVersionValue, text)) {
    std::string_view rest(text);
    version = iDecimal_TakeUnsigned(&rest).value_or(0);
  }
  return std::max(version, kLowestVersion);
}

// ---- the check ---------------------------------------------------------------------------------

void CloseConnection(FTPc* connection) {
  FTPc_Close(connection, nullptr);
}

void EndList(DirectoryList* list) {
  Directory_EndList(list);
}

using OwnedList = Owned<DirectoryList, EndList>;

// Lists the directory of a location; the connection is closed then.
ErrorCode ListDirectory(const char* location, OwnedList* list) {
  Owned<URLData, Memory_Delete> url;
  ErrorCode status = URL_NewData(location, url.out());
  if (status != Error_None) return status;
  if (URL_GetProtocolType(url->protocol) != URLProtocol_FTP) return Error_Invalid;
  char password[VRXPrefsSize_Name + 1];
  status = iVRXPrefs_GetAnonymousPassword(password);
  if (status != Error_None) return status;

  Owned<FTPc, CloseConnection> connection;
  Reply reply;
  status = FTPc_Open(url->host, static_cast<uint32_t>(url->port), 0, connection.out(), &reply);
  if (status == Error_None) status = FTPc_Login(connection.get(), kUser, password, &reply);
  if (status != Error_None) return status;
  return FTPc_StartDirectoryList(connection.get(), url->path, FTPcList_Names, list->out(), &reply);
}

// What a check has found: the URL of the newest file above the installed version, or none.
struct Found {
  uint32_t version;
  char url[kResultSize];
};

void Take(const char* location, const UpgradeFile& file, Found* found) {
  char url[kResultSize];
  if (file.version <= found->version || iFile_Join(location, file.name.data(), url) != Error_None) return;
  snprintf(found->url, sizeof found->url, "%s", url);
  found->version = file.version;
}

// A line that does not fit comes in pieces. The first fills the buffer; it and the piece behind it are passed
// over.
ErrorCode ReadList(DirectoryList* list, const char* location, Found* found) {
  char line[kFileNameSize];
  bool wasCut = false;
  ErrorCode status;
  while ((status = Directory_IterateList(list, line)) == Error_None) {
    const bool isCut = strlen(line) == sizeof line - 1;
    const std::optional<UpgradeFile> file = iVRXUpgrade_ParseName(line);
    if (file && !isCut && !wasCut) Take(location, *file, found);
    wasCut = isCut;
  }
  return status == Error_Ended ? ErrorCode{Error_None} : status;
}

ErrorCode CheckLocation(const char* location, void* context) {
  auto* found = static_cast<Found*>(context);
  *found = {GetInstalledVersion(), ""};
  OwnedList list;
  const ErrorCode status = ListDirectory(location, &list);
  return status == Error_None ? ReadList(list.get(), location, found) : status;
}

// A check that could not be saved has succeeded all the same.
void NoteSuccess() {
  Time now;
  Time_Get(&now);
  iVRXPrefs_StoreUpgradeCheck(now.seconds);
}

void NoteFailure() {
  Time now;
  Time_Get(&now);
  retrySeconds.store(uint64_t{now.seconds} + kRetrySeconds);
}

}  // namespace

// ---- rules -------------------------------------------------------------------------------------

uint64_t iVRXUpgrade_DueSeconds(uint32_t lastCheckSeconds) {
  const Time last = {lastCheckSeconds, 0};
  TimeData calendar;
  Time_TimeToData(&last, &calendar);
  int32_t days = kCheckDay - static_cast<int32_t>(calendar.dayOfWeek);
  if (days > 0) days -= kDaysPerWeek;
  // No check at all, 0, stays what it is.
  const int64_t from = std::max<int64_t>(lastCheckSeconds + days * kSecondsPerDay, 0);
  return static_cast<uint64_t>(from) + kSecondsPerWeek;
}

std::optional<UpgradeFile> iVRXUpgrade_ParseName(std::string_view line) {
  const std::string_view name = iTextView_Part(line, line.rfind('/') + 1);
  if (name.find('\\') != name.npos || name.find("..") != name.npos) return std::nullopt;
  const size_t dot = name.rfind('.');
  if (dot == name.npos) return std::nullopt;
  std::string_view number = iTextView_Part(name, dot + 1);
  const std::optional<uint32_t> version = iDecimal_TakeDigits(&number);
  return version ? std::optional(UpgradeFile{name, *version}) : std::nullopt;
}

char iVRXUpgrade_GetLocations(char (&locations)[kUpgradeLocationSize]) {
  {
    const LibraryLock lock;
    memcpy(locations, setLocations, sizeof locations);
  }
  if (locations[0] != 0) return kSeparator;
  if (!ReadRegistry(kLocationValue, locations)) memcpy(locations, kBuiltInLocation, sizeof kBuiltInLocation);
  return kNoSeparator;
}

// A location is cut off where it stands.
ErrorCode iVRXUpgrade_TryEach(char* locations, char separator, UpgradeCheckMethod check, void* context) {
  for (;;) {
    char* const end = strchr(locations, separator);
    const bool isLast = end == nullptr || separator == kNoSeparator;
    if (!isLast) *end = 0;
    const ErrorCode status = check(locations, context);
    // Without a network the next one fails alike.
    if (status == Error_None || status == Error_System || isLast) return status;
    locations = end + 1;
  }
}

// ---- internal functions ------------------------------------------------------------------------

ErrorCode iVRXUpgrade_Start() {
  retrySeconds.store(0);
  isStarted.store(true);
  return Error_None;
}

void iVRXUpgrade_End() {
  isStarted.store(false);
}

// ---- exported functions ------------------------------------------------------------------------

int32_t VRXUpgrade_IsCheckTime() {
  if (!isStarted.load() || iVRXClientSystem_Connections() == 0) return 0;
  Time now;
  Time_Get(&now);
  if (now.seconds < retrySeconds.load()) return 0;
  const PreferencesAccess access;
  // Kept: upgradeFlag does not matter; programs have always been told of checks whatever it is.
  return access && now.seconds >= iVRXUpgrade_DueSeconds(access->lastUpgradeCheckSeconds) ? 1 : 0;
}

int32_t VRXUpgrade_Check(char* buffer) {
  if (buffer == nullptr) return 0;
  buffer[0] = 0;
  if (!isStarted.load()) return 0;
  char locations[kUpgradeLocationSize];
  const char separator = iVRXUpgrade_GetLocations(locations);
  Found found;
  if (iVRXUpgrade_TryEach(locations, separator, CheckLocation, &found) != Error_None) {
    NoteFailure();
    return 0;
  }
  NoteSuccess();
  snprintf(buffer, sizeof found.url, "%s", found.url);
  return found.url[0] != 0 ? 1 : 0;
}

ErrorCode VRXUpgrade_SetLocation(const char* urls) {
  if (urls == nullptr) urls = "";
  const size_t length = strlen(urls);
  if (length >= sizeof setLocations) return Error_Exceed;
  const LibraryLock lock;
  memcpy(setLocations, urls, length + 1);
  return Error_None;
}

void VRXUpgrade_SetInstalledVersion(uint32_t version) {
  setVersion.store(version);
}
