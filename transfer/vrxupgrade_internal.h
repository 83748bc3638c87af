// The start and end of the upgrade check, for the transfer system.
#pragma once

#include "qz/vrxupgrade.h"

ErrorCode iVRXUpgrade_Start();
void iVRXUpgrade_End();
