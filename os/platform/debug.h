// The system's channel for diagnostics.
#pragma once

namespace platform {

// Hands one whole line, its newline included, to the debugger (Windows) or to standard error (elsewhere).
// Any thread may call it; lines of two threads do not mix.
void DebugOutput(const char* line);

}  // namespace platform
