// What the tests need of the diagnostic channel.
#pragma once

// Receives each whole "#### Error: ..." line instead of the system's channel; null restores the channel.
using ErrorSink = void (*)(const char* line);
void iError_SetSink(ErrorSink sink);
