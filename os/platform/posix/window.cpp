// No window is needed on this system.
#include "os/platform/window.h"

namespace platform {

WindowCreation CreateHiddenWindow(const char* /*name*/, Word /*instance*/) {
  return WindowCreation::Created;
}

void DestroyHiddenWindow() {}

}  // namespace platform
