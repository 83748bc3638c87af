#include "clock.h"

#ifdef _WIN32
#  include <windows.h>

uint32_t Extension_Milliseconds(void) {
  return (uint32_t)GetTickCount();
}

#else
#  include <time.h>

uint32_t Extension_Milliseconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (uint32_t)now.tv_sec * 1000u + (uint32_t)(now.tv_nsec / 1000000);
}

#endif
