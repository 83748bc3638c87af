/* Semaphore: counting semaphores with time-outs. */
#ifndef QZ_SEMAPHORE_H
#define QZ_SEMAPHORE_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct Semaphore Semaphore;

QZ_API Semaphore* Semaphore_New(int32_t initialCount, int32_t maximumCount);
QZ_API ErrorCode Semaphore_Wait(Semaphore* semaphore, uint32_t timeoutMilliseconds);
QZ_API ErrorCode Semaphore_Signal(Semaphore* semaphore);
QZ_API void Semaphore_Delete(Semaphore* semaphore);

QZ_END_C

#endif
