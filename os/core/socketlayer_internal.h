// The one way from here up to the socket layer: OS_Init starts it and OS_Exit stops it.
#pragma once

#include "qz/types.h"

// Starts the socket layer. On failure nothing of it is left running.
ErrorCode iSock_Init();

// Stops what iSock_Init started.
void iSock_Exit();
