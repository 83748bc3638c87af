// qz prefs: the preferences that transfers follow, one row of the table each.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "qz/directory.h"
#include "qz/error.h"
#include "qz/remoteaccess.h"
#include "qz/vrxprefs.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/library_call.h"
#include "tool/output.h"
#include "tool/settings.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr std::size_t kPathBytes = 1024;
constexpr std::size_t kLongestText = VRXPrefsSize_Text - 2, kLongestName = VRXPrefsSize_Name - 2;
constexpr std::array<const char*, 3> kTransferTypes = {"default", "binary", "text"};

struct Preference {
  const char* name;
  // The value as it is shown and given.
  std::string (*read)(const VRXPrefs& preferences);
  // A value that was given as it is to be kept. Throws Failure (Usage).
  std::string (*check)(const std::string& value);
  void (*write)(const std::string& checked, VRXPrefs* preferences);
};

[[noreturn]] void Refuse(const std::string& why) {
  throw Failure{ExitCode::Usage, why};
}

// ---- flags -------------------------------------------------------------------------------------

template <std::int32_t VRXPrefs::*flag>
std::string ReadFlag(const VRXPrefs& preferences) {
  return preferences.*flag != 0 ? "yes" : "no";
}

std::string CheckFlag(const std::string& value) {
  if (value != "yes" && value != "no") Refuse("the value must be yes or no");
  return value;
}

template <std::int32_t VRXPrefs::*flag>
void WriteFlag(const std::string& checked, VRXPrefs* preferences) {
  preferences->*flag = checked == "yes" ? 1 : 0;
}

// ---- transfer types ----------------------------------------------------------------------------

template <std::uint8_t VRXPrefs::*type>
std::string ReadType(const VRXPrefs& preferences) {
  const std::uint8_t value = preferences.*type;
  return value < kTransferTypes.size() ? kTransferTypes[value] : std::to_string(value);
}

std::string CheckType(const std::string& value) {
  if (std::find(kTransferTypes.begin(), kTransferTypes.end(), value) == kTransferTypes.end())
    Refuse("the value must be default, binary or text");
  return value;
}

template <std::uint8_t VRXPrefs::*type>
void WriteType(const std::string& checked, VRXPrefs* preferences) {
  const auto* const found = std::find(kTransferTypes.begin(), kTransferTypes.end(), checked);
  preferences->*type = static_cast<std::uint8_t>(found - kTransferTypes.begin());
}

// ---- texts -------------------------------------------------------------------------------------

template <auto text>
std::string ReadText(const VRXPrefs& preferences) {
  return preferences.*text;
}

template <std::size_t longest>
std::string CheckText(const std::string& value) {
  if (value.size() > longest) Refuse("the value may have " + std::to_string(longest) + " bytes");
  const bool hasControl =
      std::any_of(value.begin(), value.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; });
  if (hasControl) Refuse("the value must not contain control characters");
  return value;
}

// What is behind the text becomes 0.
template <auto text>
void WriteText(const std::string& checked, VRXPrefs* preferences) {
  auto& room = preferences->*text;
  std::fill(std::begin(room), std::end(room), '\0');
  std::copy(checked.begin(), checked.end(), std::begin(room));
}

// ---- the download directory --------------------------------------------------------------------

std::string ReadDirectory(const VRXPrefs& preferences) {
  return console::ToSystemName(preferences.downloadDirectory);
}

std::string CheckDirectory(const std::string& value) {
  char path[kPathBytes] = "";
  Error_ClearLast();
  if (value.empty() || Directory_SetCurrent(console::ToLibraryName(value).c_str()) != 0)
    Refuse("the value must be a folder that exists" + RecordedDetails());
  if (Directory_GetCurrent(path) != Error_None) Refuse("the path is too long");
  return CheckText<kLongestText>(path);
}

// ---- proxies -----------------------------------------------------------------------------------

template <auto host, std::uint16_t VRXPrefs::*port>
std::string ReadProxy(const VRXPrefs& preferences) {
  const std::string name = preferences.*host;
  return name.empty() ? "" : name + ":" + std::to_string(preferences.*port);
}

std::string CheckProxy(const std::string& value) {
  const auto proxy = ParseProxy(value);
  if (!value.empty() && !proxy) Refuse("the value must be HOST:PORT, or \"\" for none");
  if (proxy) CheckText<kLongestName>(proxy->host);
  return value;
}

template <auto host, std::uint16_t VRXPrefs::*port>
void WriteProxy(const std::string& checked, VRXPrefs* preferences) {
  const auto proxy = ParseProxy(checked);
  WriteText<host>(proxy ? proxy->host : "", preferences);
  if (proxy) preferences->*port = static_cast<std::uint16_t>(proxy->port);
}

// ---- the table ---------------------------------------------------------------------------------

constexpr auto kPreferences = std::to_array<Preference>({
    {"download-directory", ReadDirectory, CheckDirectory, WriteText<&VRXPrefs::downloadDirectory>},
    {"download-type", ReadType<&VRXPrefs::downloadType>, CheckType, WriteType<&VRXPrefs::downloadType>},
    {"upload-type", ReadType<&VRXPrefs::uploadType>, CheckType, WriteType<&VRXPrefs::uploadType>},
    {"anonymous-password", ReadText<&VRXPrefs::anonymousPassword>, CheckText<kLongestName>,
     WriteText<&VRXPrefs::anonymousPassword>},
    {"dial-up", ReadFlag<&VRXPrefs::isDialUpEnabled>, CheckFlag, WriteFlag<&VRXPrefs::isDialUpEnabled>},
    {"dial-up-entry", ReadText<&VRXPrefs::dialUpEntry>, CheckText<kLongestText>,
     WriteText<&VRXPrefs::dialUpEntry>},
    {"hang-up", ReadFlag<&VRXPrefs::hangsUpWhenDone>, CheckFlag, WriteFlag<&VRXPrefs::hangsUpWhenDone>},
    {"proxy", ReadFlag<&VRXPrefs::isProxyEnabled>, CheckFlag, WriteFlag<&VRXPrefs::isProxyEnabled>},
    {"ftp-proxy", ReadProxy<&VRXPrefs::ftpProxyHost, &VRXPrefs::ftpProxyPort>, CheckProxy,
     WriteProxy<&VRXPrefs::ftpProxyHost, &VRXPrefs::ftpProxyPort>},
    {"http-proxy", ReadProxy<&VRXPrefs::httpProxyHost, &VRXPrefs::httpProxyPort>, CheckProxy,
     WriteProxy<&VRXPrefs::httpProxyHost, &VRXPrefs::httpProxyPort>},
    {"proxy-bypass", ReadText<&VRXPrefs::proxyBypass>, CheckText<kLongestText>,
     WriteText<&VRXPrefs::proxyBypass>},
});

// The one that the program keeps itself (settings.h).
constexpr const char* kUpgradeLocation = "upgrade-location";

const Preference& FindPreference(const std::string& name) {
  for (const Preference& row : kPreferences) {
    if (name == row.name) return row;
  }
  // A URL, put there by mistake, may contain a password.
  const bool isShown = name.find_first_of(":@") == std::string::npos;
  Refuse((isShown ? "there is no preference \"" + name + "\"" : "this is no preference") +
         "; qz prefs lists them all");
}

// ---- the library's record ----------------------------------------------------------------------

// The record, while this lives. Nothing else of the library is called meanwhile.
class Access {
 public:
  Access() : record_(VRXPrefs_BeginAccess()) {
    if (record_ == nullptr) throw Failure{ExitCode::Other, "the preferences are not available"};
  }
  ~Access() { VRXPrefs_EndAccess(); }
  Access(const Access&) = delete;
  Access& operator=(const Access&) = delete;
  VRXPrefs* operator->() const { return record_; }
  VRXPrefs& operator*() const { return *record_; }

 private:
  VRXPrefs* record_;
};

VRXPrefs CurrentPreferences() {
  const Access access;
  return *access;
}

// With an entry that does not exist no program could start.
void CheckDialUp(const VRXPrefs& preferences) {
  if (preferences.isDialUpEnabled == 0) return;
  if (RemoteAccess_IsAvailable() == 0) Refuse("this system has no dial-up connections");
  if (*preferences.dialUpEntry != '\0' && RemoteAccess_ValidEntry(preferences.dialUpEntry) == 1) return;
  Refuse(std::string("there is no dial-up entry \"") + preferences.dialUpEntry +
         "\"; set dial-up-entry to one of the phone book first");
}

void Change(const Preference& row, const std::string& value) {
  const std::string checked = row.check(value);
  VRXPrefs wanted = CurrentPreferences();
  row.write(checked, &wanted);
  CheckDialUp(wanted);
  ErrorCode status = Error_None;
  {
    const Access access;
    row.write(checked, &*access);
    Error_ClearLast();
    status = VRXPrefs_Changed();
  }
  if (status != Error_None)
    throw Failure{ExitCode::Disk, "cannot write the preferences" + RecordedDetails(status)};
}

// ---- the command -------------------------------------------------------------------------------

std::string ValueOf(const std::string& name) {
  if (name == kUpgradeLocation) return ReadUpgradeLocation();
  return FindPreference(name).read(CurrentPreferences());
}

std::string Row(const std::string& name, const std::string& value) {
  constexpr std::size_t kNameColumns = 20;
  const std::string shown = value.empty() ? "(none)" : Printable(value);
  return name + std::string(kNameColumns - name.size(), ' ') + shown + "\n";
}

void PrintAll() {
  const VRXPrefs preferences = CurrentPreferences();
  std::string table;
  for (const Preference& row : kPreferences) table += Row(row.name, row.read(preferences));
  Print(table + Row(kUpgradeLocation, ReadUpgradeLocation()));
}

void Set(const std::string& name, const std::string& value) {
  if (name == kUpgradeLocation) {
    if (!value.empty()) CheckUpgradeLocation(value);
    return WriteUpgradeLocation(value);
  }
  const Preference& row = FindPreference(name);
  try {
    Change(row, value);
  } catch (const Failure& failure) {
    throw Failure{failure.code, name + ": " + failure.text};
  }
}

}  // namespace

void RunPrefs(const Options& options, Reporter* reporter) {
  const std::vector<std::string>& words = options.operands;
  if (words.empty()) return PrintAll();
  if (words.size() == 1) return Print(Printable(ValueOf(words[0])) + "\n");
  Set(words[0], words[1]);
  reporter->Say(words[0] + " is now \"" + ValueOf(words[0]) + "\"");
}

}  // namespace tool
