// The one place where the library allocates.
#pragma once

#include <cstddef>

// Memory_New with the bytes set to 0.
void* iMemory_NewCleared(size_t size);
