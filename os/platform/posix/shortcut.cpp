// This system has neither OLE nor shell links.
#include "os/platform/shortcut.h"

#include "qz/error.h"

namespace platform {

bool StartOle() {
  return true;
}

void StopOle() {}

ErrorCode CreateShortcut(const Shortcut&) {
  return Error_System;
}

}  // namespace platform
