/* Semaphore: counting semaphores with time-outs.
 *
 * Any thread may wait for and signal a semaphore. Needs no OS_Init. */
#ifndef QZ_SEMAPHORE_H
#define QZ_SEMAPHORE_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct Semaphore Semaphore;

/* Returns a new semaphore, owned (free with Semaphore_Delete); null when memory runs out or the counts cannot
 * be. initialCount: 0 to maximumCount. maximumCount: above 0. */
QZ_API Semaphore* Semaphore_New(int32_t initialCount, int32_t maximumCount);

/* Takes one count, and blocks until there is one.
 * timeoutMilliseconds: the longest wait; 0 does not wait, 0xFFFFFFFF waits for ever.
 * Error_None: taken. Error_Timeout: the time ran out. Error_Fail: the system refused. Error_Invalid: null. */
QZ_API ErrorCode Semaphore_Wait(Semaphore* semaphore, uint32_t timeoutMilliseconds);

/* Gives one count back. Error_Fail, and no change, when the count is at its maximum. Error_Invalid: null. */
QZ_API ErrorCode Semaphore_Signal(Semaphore* semaphore);

/* Frees the semaphore, which no thread may be waiting for. Null: nothing. */
QZ_API void Semaphore_Delete(Semaphore* semaphore);

QZ_END_C

#endif
