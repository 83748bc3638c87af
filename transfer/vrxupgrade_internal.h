// The start and end of the upgrade check, for the transfer system.
#pragma once

#include "qz/vrxupgrade.h"

// Forgets that a check has failed; the preferences are started already. Error_None.
ErrorCode iVRXUpgrade_Start();

// No check is due from now on, and none is made.
void iVRXUpgrade_End();
