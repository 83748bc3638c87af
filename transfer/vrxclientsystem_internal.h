// What all transfers share: the list of them, and the number of open connections. Any thread.
#pragma once

#include <cstdint>

#include "qz/vrxclientsystem.h"

// A connection to a server was opened or closed. The number is never below 0.
void iVRXClientSystem_RaiseConnections();
void iVRXClientSystem_LowerConnections();
uint32_t iVRXClientSystem_Connections();
