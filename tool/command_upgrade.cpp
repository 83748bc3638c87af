// qz upgrade: whether a newer version of the program lies on an FTP server.
#include <string_view>

#include "qz/error.h"
#include "qz/os.h"
#include "qz/time.h"
#include "qz/vrxprefs.h"
#include "qz/vrxupgrade.h"
#include "qz/winosregistry.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/library_call.h"
#include "tool/output.h"
#include "tool/settings.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr std::size_t kResultBytes = 1024;

bool RegistryHasLocation() {
  const std::string key =
      std::string("HKEY_CURRENT_USER\\Software\\") + OS_GetCompanyName() + "\\" + OS_GetApplicationName();
  return WinOSRegistry_EntryExists(key.c_str(), "UpgradeURL") == 1;
}

// The option's, else the preference's; empty: the registry's.
std::string LocationOf(const Options& options) {
  std::string location = options.upgradeLocation ? *options.upgradeLocation : ReadUpgradeLocation();
  if (!location.empty()) {
    CheckUpgradeLocation(location);
    return location;
  }
  if (!options.upgradeLocation && RegistryHasLocation()) return "";
  throw Failure{ExitCode::Usage,
                "no location to look for upgrades; configure one with "
                "\"qz prefs upgrade-location ftp://HOST/FOLDER\", or add --location ftp://HOST/FOLDER"};
}

std::uint32_t LastCheckSeconds() {
  const VRXPrefs* preferences = VRXPrefs_BeginAccess();
  const std::uint32_t seconds = preferences == nullptr ? 0 : preferences->lastUpgradeCheckSeconds;
  if (preferences != nullptr) VRXPrefs_EndAccess();
  return seconds;
}

std::uint32_t NowSeconds() {
  Time now{};
  Time_Get(&now);
  return now.seconds;
}

// The library gives 0 for "none" and for a failure; only a check that succeeds notes its time.
class SuccessOfCheck {
 public:
  SuccessOfCheck() : before_(LastCheckSeconds()) {
    constexpr unsigned kSliceMilliseconds = 50;
    while (NowSeconds() == before_ && !console::Interrupted()) console::Pause(kSliceMilliseconds);
  }
  bool Get() const { return LastCheckSeconds() != before_; }

 private:
  std::uint32_t before_;
};

// What the system said last; the look at the registry and the end of a connection are no reasons.
std::string DetailsOfFailure() {
  ErrorDetail detail;
  if (Error_GetLast(&detail) != Error_None) return "";
  const std::string_view operation = detail.operation;
  const bool isReason = operation.rfind("WinOSRegistry", 0) != 0 && operation != "Sock_Shutdown";
  return isReason ? RecordedDetails() : "";
}

}  // namespace

void RunUpgrade(const Options& options, Reporter*) {
  const std::string location = LocationOf(options);
  if (!location.empty()) VRXUpgrade_SetLocation(location.c_str());
  VRXUpgrade_SetInstalledVersion(options.installedVersion.value_or(0));
  const SuccessOfCheck success;
  char url[kResultBytes] = "";
  std::int32_t found = 0;
  {
    const LibraryCall call;
    found = VRXUpgrade_Check(url);
  }
  if (found == 1) return Print("newer version: " + Printable(url) + "\n");
  if (success.Get()) return Print("no newer version\n");
  throw Failure{ExitCode::Network,
                "cannot look for upgrades: no location could be reached, logged in to and listed" +
                    DetailsOfFailure() + "; see qz prefs upgrade-location"};
}

}  // namespace tool
