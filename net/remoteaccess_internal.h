// What tests need of the dial-up family.
#pragma once

#include "os/platform/remoteaccess.h"

// The service's calls as they will be used from now on; null: the service is missing. Replaces the look-up
// that the first use makes.
void iRemoteAccess_SetCalls(const platform::DialCalls* calls);
