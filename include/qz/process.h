/* Process: child processes. */
#ifndef QZ_PROCESS_H
#define QZ_PROCESS_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct Process Process;

QZ_API ErrorCode Process_Launch(const char* pathname, const char* commandLine, const char* const* environment,
                                Process** process);
QZ_API int32_t Process_IsActive(Process* process);
QZ_API void Process_Detach(Process* process);
QZ_API uint32_t Process_GetCurrentID(void);
QZ_API ErrorCode Process_GetPathname(char* buffer);

QZ_END_C

#endif
