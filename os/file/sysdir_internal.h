// The system directories and the log file, as OS_Init and OS_Exit see them.
#pragma once

#include "qz/types.h"

// Finds, and creates where missing, every system directory for the application name at hand, and fixes the
// path of the log file: logPath (copied), or <application directory>/<application name>.log when it is null.
// Reports what fails and returns its status, with nothing marked as ready. Error_Inited when that has been
// done already.
ErrorCode iSysDir_Init(const char* logPath);

// Closes the log file when it is open; it is deleted then if it was marked temporary.
void iSysDir_CloseLog();

// Forgets the directories: File_GetSysDir gives Error_NotInited again.
void iSysDir_Exit();
