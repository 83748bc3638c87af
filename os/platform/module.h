// Dynamic libraries that are loaded while the program runs.
#pragma once

namespace platform {

struct Module;

// Loads a library, whose start-up code runs on this thread before the call returns. name: the whole path, in
// the system's form. Null when it is no library for this program, when a library that it needs is missing,
// when its start-up code refuses, and for what is no ordinary file. Shows nothing to the user.
Module* LoadModule(const char* name);

// Undoes one load. The last one of a library runs its end code and takes it out of memory.
void UnloadModule(Module* module);

}  // namespace platform
