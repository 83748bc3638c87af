// The one lock that the whole library shares.
#pragma once

namespace platform {

// Enters the lock, waiting for as long as another thread holds it. The lock exists for the whole life of the
// process, before OS_Init and after OS_Exit too; a thread that holds it may enter again and leaves as often.
void EnterLibraryLock();
void LeaveLibraryLock();

}  // namespace platform
