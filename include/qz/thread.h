/* Thread: threads whose record may be released while they still run.
 *
 * Thread_New returns an owned record; Thread_Delete releases it at any moment, and the thread runs on.
 * Nothing here waits for a thread: who needs its result polls Thread_IsRunning and Thread_ExitCode, or has
 * the thread signal a semaphore. Any thread may call every function; a record must not be used after
 * Thread_Delete. Needs no OS_Init. */
#ifndef QZ_THREAD_H
#define QZ_THREAD_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct Thread Thread;

/* What a thread runs; its result is the exit code. */
typedef int32_t (*ThreadFunction)(void* argument);

/* Starts a thread that calls function(argument), and returns its record, owned (free with Thread_Delete);
 * null when memory runs out, the thread cannot start, or function is null. argument: passed on; may be null.
 */
QZ_API Thread* Thread_New(ThreadFunction function, void* argument);

/* Returns 1 while the function runs; 0 before it has begun, after it has returned, and for null. */
QZ_API int32_t Thread_IsRunning(const Thread* thread);

/* Returns what the function returned; -2 (Error_NotInited) as long as it has not; -4 (Error_Invalid) for
 * null. The code is there before Thread_IsRunning goes back to 0. */
QZ_API int32_t Thread_ExitCode(const Thread* thread);

/* Releases the record; at once when the thread has ended, otherwise the thread does so as it ends. Never
 * waits and never stops the thread. Null: nothing. */
QZ_API void Thread_Delete(Thread* thread);

/* Returns the system's number of the calling thread. */
QZ_API uint32_t Thread_GetCurrentID(void);

/* Does nothing and returns at once: it marks where a polling loop may give way. */
QZ_API void Thread_Yield(void);

QZ_END_C

#endif
