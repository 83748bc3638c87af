// Shell links, and the OLE that they need.
#pragma once

#include <cstdint>

#include "qz/types.h"

namespace platform {

// Initialises OLE for the calling thread; where there is none, nothing happens. StopOle ends it for that
// thread.
bool StartOle();
void StopOle();

struct Shortcut {
  const char* target;       // in the system's form
  const char* arguments;    // may be null
  const char* linkName;     // in the system's form
  const char* description;  // may be null
  const char* iconFile;     // in the system's form; may be null
  int32_t iconIndex;        // of the icon in iconFile
};

// Writes a shell link, over one that is there. Error_None, Error_Fail when any step fails, Error_System where
// there are no shell links.
ErrorCode CreateShortcut(const Shortcut& shortcut);

}  // namespace platform
