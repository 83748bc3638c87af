// What tests see of a copy.
#pragma once

#include "synchro/synchro_entry_internal.h"

// What is recorded of a local file that was copied: the time that a listing would show. Error_NotFound
// without the file; else what the file system gives.
ErrorCode iSynchro_ReadLocalValues(const char* path, SynchroSide* made);
