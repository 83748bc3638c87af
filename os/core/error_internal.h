// Statuses out of the system's last error, and the record of each thread's last failure.
#pragma once

#include <cstdint>

#include "qz/error.h"

// The status of the calling thread's last failed file, process or registry call, and records it. operation:
// the function that failed; name: the file, host or key that it worked on, or null. `otherwise` when the
// system gave no reason; never Error_None.
ErrorCode iError_FromLastSystem(const char* operation, const char* name, ErrorCode otherwise = Error_Fail);

// The same for the last failed socket call.
ErrorCode iError_FromLastSocket(const char* operation, const char* name, ErrorCode otherwise = Error_Fail);

// Records a failure for Error_GetLast and returns its status: for a status that the table does not give, or
// one without a system error (systemNumber 0). Error_None and Error_Block are no failures and are not
// recorded. The system's last error stays as it is.
ErrorCode iError_Record(ErrorCode status, const char* operation, const char* name, uint32_t systemNumber = 0);
