// The hidden window that a process must own while it uses sockets, on systems that have windows.
#pragma once

#include "qz/types.h"

namespace platform {

enum class WindowCreation { Created, ClassFailed, WindowFailed };

// Registers a window class and creates one disabled window of it, 1 by 1 outside the screen, both called
// `name`. instance: the module that owns the class; 0 stands for the program. After a failure nothing is
// left. One window exists at a time.
WindowCreation CreateHiddenWindow(const char* name, Word instance);

// Undoes CreateHiddenWindow; nothing happens when there is no window.
void DestroyHiddenWindow();

}  // namespace platform
