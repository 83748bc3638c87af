#include "os/platform/lock.h"

#include <pthread.h>

namespace platform {
namespace {
// Ready before any code runs, and never destroyed: threads may outlive OS_Exit and main.
pthread_mutex_t libraryLock = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
}  // namespace

void EnterLibraryLock() {
  pthread_mutex_lock(&libraryLock);
}

void LeaveLibraryLock() {
  pthread_mutex_unlock(&libraryLock);
}

}  // namespace platform
