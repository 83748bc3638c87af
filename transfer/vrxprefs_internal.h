// The start and end of the preferences, for the transfer system, and access to them.
#pragma once

#include "qz/vrxprefs.h"

// The anonymous password that is sent when the preferences have none.
constexpr char kDefaultAnonymousPassword[] = "user@example.invalid";

// Gives the password of anonymous logins: that of the preferences, else the one above. Error_None;
// Error_NotInited, and the one above, before the start.
ErrorCode iVRXPrefs_GetAnonymousPassword(char (&password)[VRXPrefsSize_Name + 1]);

// Starts the server statistics, reads the preference file or makes one of the defaults. Proxies that the file
// has in use are handed to the proxy table. Error_Inited when they are started already; what
// iStatistics_Start, File_GetSysDir and VRXPrefs_Changed give; Error_NotFound for a file of a later version
// or of version 0; Error_Ended for one that is too short, and what File_Open gives. A failure leaves nothing
// started and the file as it is.
ErrorCode iVRXPrefs_Start();

// Ends the preferences, then the statistics; no other thread may be in a call. What was not handed to
// VRXPrefs_Changed is lost.
void iVRXPrefs_End();

// Sets when a check for upgrades last succeeded, in the record and in the file, and nothing else in either:
// what an application has not handed to VRXPrefs_Changed stays out of the file. Statuses of VRXPrefs_Changed.
ErrorCode iVRXPrefs_StoreUpgradeCheck(uint32_t seconds);

// Access for the length of a block; none before the start. Nothing that waits for the network or calls back
// belongs into it.
class PreferencesAccess {
 public:
  PreferencesAccess() : preferences_(VRXPrefs_BeginAccess()) {}
  ~PreferencesAccess() {
    if (preferences_ != nullptr) VRXPrefs_EndAccess();
  }
  PreferencesAccess(const PreferencesAccess&) = delete;
  PreferencesAccess& operator=(const PreferencesAccess&) = delete;

  VRXPrefs* operator->() const { return preferences_; }
  explicit operator bool() const { return preferences_ != nullptr; }

 private:
  VRXPrefs* preferences_;
};
