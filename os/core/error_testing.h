// What the tests need of the diagnostic channel and of the records of failures.
#pragma once

#include <cstdint>

// Receives each whole "#### Error: ..." line instead of the system's channel; null restores the channel.
using ErrorSink = void (*)(const char* line);
void iError_SetSink(ErrorSink sink);

// How many threads' last failures are kept at one time.
constexpr uint32_t kErrorRecordCount = 256;
