// What all transfers share beside their list (vrxclient_internal.h). Any thread.
#pragma once

#include <cstdint>

#include "qz/vrxclientsystem.h"

// Whether VRXClientSystem_Init has succeeded, and VRXClientSystem_Exit not yet ended it.
bool iVRXClientSystem_IsStarted();

// A connection to a server was opened or closed. The number is never below 0.
void iVRXClientSystem_RaiseConnections();
void iVRXClientSystem_LowerConnections();
uint32_t iVRXClientSystem_Connections();

// Where data and log files are made. path: out. Statuses of File_GetSysDir.
ErrorCode iVRXClientSystem_GetFileDirectory(char (&path)[1024]);

// Begins again at 0, for the start of the transfer system.
void iVRXClientSystem_ClearConnections();

// Selects the dial-up entry of the preferences for the sockets when dial-up is enabled, none otherwise.
// hangUpWhenIdle: whether the line is hung up with the last socket. Statuses of Sock_SetRemoteAccess.
ErrorCode iVRXClientSystem_ApplyDialUp(bool hangUpWhenIdle);
