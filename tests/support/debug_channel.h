// What really arrives at the system's channel for diagnostics: standard error, or the debugger's on Windows.
#pragma once

#include <string>

// Runs the action and returns the bytes that it sent there.
std::string CaptureDebugChannel(void (*action)());
