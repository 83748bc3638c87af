// What the entry point of the dynamic library does for threads.
#pragma once

namespace platform {

// Gives the place of the threads' word back to the system, when the module is unloaded.
void ReleaseThreadWords();

}  // namespace platform
