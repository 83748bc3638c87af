// The start and end of the preferences, for the transfer system.
#pragma once

#include "qz/vrxprefs.h"

// Starts the server statistics, reads the preference file or makes one of the defaults. A failure leaves
// nothing started.
ErrorCode iVRXPrefs_Start();
void iVRXPrefs_End();
