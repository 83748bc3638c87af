/* Thread: threads whose record may be released while they still run. */
#ifndef QZ_THREAD_H
#define QZ_THREAD_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct Thread Thread;
typedef int32_t (*ThreadFunction)(void* argument);

QZ_API Thread* Thread_New(ThreadFunction function, void* argument);
QZ_API int32_t Thread_IsRunning(const Thread* thread);
QZ_API int32_t Thread_ExitCode(const Thread* thread);
QZ_API void Thread_Delete(Thread* thread);
QZ_API uint32_t Thread_GetCurrentID(void);
QZ_API void Thread_Yield(void);

QZ_END_C

#endif
