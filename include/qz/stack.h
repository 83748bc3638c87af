/* Stack: fixed-size elements by value in a chain of blocks; elements never move. */
#ifndef QZ_STACK_H
#define QZ_STACK_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct Stack Stack;
typedef void (*StackDeleter)(void* element);

QZ_API Stack* Stack_SizedNew(uint16_t elementsPerBlock, uint32_t elementSize);
QZ_API Stack* Stack_New(uint32_t elementSize);
QZ_API void* Stack_Push(Stack* stack);
QZ_API void* _Stack_Push(Stack* stack);
QZ_API int32_t Stack_PushCopy(Stack* stack, const void* element);
QZ_API void Stack_Pop(Stack* stack);
QZ_API void _Stack_Pop(Stack* stack);
QZ_API void Stack_PopCopy(Stack* stack, void* destination);
QZ_API void Stack_PopDelete(Stack* stack, StackDeleter deleter);
QZ_API void Stack_Empty(Stack* stack, StackDeleter deleter);
QZ_API void Stack_Delete(Stack* stack, StackDeleter deleter);

QZ_END_C

#endif
