/* Stack: fixed-size elements by value, last in, first out.
 *
 * The elements lie in a chain of blocks, the first of which is inside the record, and never move: a pointer
 * to an element is valid until it is popped. Elements are aligned like pointers when their size is a multiple
 * of a pointer's. The record's fields are public; Stack_Push and Stack_Pop compile inline and call into the
 * library only where a block begins or ends. A stack does not count its elements. A null stack is ignored
 * everywhere. A stack is used by one thread at a time. Nothing blocks. */
#ifndef QZ_STACK_H
#define QZ_STACK_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct Stack Stack;
typedef struct StackBlock StackBlock;

/* Releases what an element owns; the element's own bytes are the stack's. Must not use the stack. */
typedef void (*StackDeleter)(void* element);

/* A block: this link, then elementsPerBlock slots of elementSize bytes. */
struct StackBlock {
  StackBlock* older; /* null in the first block */
};

/* The order of the fields is part of the interface. */
struct Stack {
  void* top;            /* the current top element; null: the stack is empty */
  void* next;           /* slot of the next element; null when no block is in use or one was just popped */
  StackBlock* blocks;   /* the newest block; null: none in use */
  uint32_t elementSize; /* bytes */
  uint16_t elementsPerBlock; /* slots of a block */
  uint16_t freeInBlock;      /* unused slots of the newest block */
  StackBlock firstBlock;     /* its slots follow in the same allocation */
};

/* Returns a new, empty stack (free with Stack_Delete), or null when memory runs out or the size of a block
 * cannot be expressed. elementsPerBlock: slots of a block, 0 counts as 1. elementSize: bytes. */
QZ_API Stack* Stack_SizedNew(uint16_t elementsPerBlock, uint32_t elementSize);

/* As Stack_SizedNew with the customary number of elements in a block: 64 for 1 byte, half of it for every
 * doubling, at least 1 (4 bytes: 16, 8: 8, 24: 4, 64 and more: 1). */
QZ_API Stack* Stack_New(uint32_t elementSize);

/* Pushes an element and returns its slot, whose contents are undefined and for the caller to fill; null when
 * memory runs out, and the stack is as it was. */
QZ_API void* Stack_Push(Stack* stack);

/* The part of Stack_Push that starts a new block: links it in front of the chain, makes all its slots free
 * and its first slot the next one, which is returned; null when memory runs out. Pushes nothing by itself.
 * For Stack_Push only. */
QZ_API void* _Stack_Push(Stack* stack);

/* Pushes a copy of the elementSize bytes at element (borrowed). Returns 1, or 0 when memory runs out or
 * element is null. */
QZ_API int32_t Stack_PushCopy(Stack* stack, const void* element);

/* Takes the top element off. Does nothing on an empty stack. */
QZ_API void Stack_Pop(Stack* stack);

/* The part of Stack_Pop that leaves a block: frees it unless it is the first, and makes the last slot of the
 * block before it the top. For Stack_Pop only. */
QZ_API void _Stack_Pop(Stack* stack);

/* Copies the top element to destination (elementSize bytes; null copies nothing) and takes it off. Does
 * nothing on an empty stack. */
QZ_API void Stack_PopCopy(Stack* stack, void* destination);

/* Calls the deleter (may be null) on the top element and takes it off. Does nothing on an empty stack. */
QZ_API void Stack_PopDelete(Stack* stack, StackDeleter deleter);

/* Takes all elements off and frees all blocks but the first. deleter: null, or called on every element: those
 * of the newest block from its first slot upward, then those of each older block, each from its first slot
 * upward. It must not use the stack. */
QZ_API void Stack_Empty(Stack* stack, StackDeleter deleter);

/* Empties the stack as above and frees it. */
QZ_API void Stack_Delete(Stack* stack, StackDeleter deleter);

/* The inline bodies. A call Stack_Push(stack) or Stack_Pop(stack) is one of these; &Stack_Push, or the name
 * in parentheses, is the library's function, which does the same. */
static inline void* Stack_PushInline(Stack* stack) {
  if (stack == NULL || (stack->freeInBlock == 0 && _Stack_Push(stack) == NULL)) return NULL;
  stack->freeInBlock = (uint16_t)(stack->freeInBlock - 1);
  stack->top = stack->next;
  stack->next = (uint8_t*)stack->next + stack->elementSize;
  return stack->top;
}

static inline void Stack_PopInline(Stack* stack) {
  if (stack == NULL || stack->top == NULL) return;
  stack->freeInBlock = (uint16_t)(stack->freeInBlock + 1);
  if (stack->freeInBlock < stack->elementsPerBlock) {
    stack->next = stack->top;
    stack->top = (uint8_t*)stack->top - stack->elementSize;
  } else {
    _Stack_Pop(stack);
  }
}

#define Stack_Push(stack) Stack_PushInline(stack)
#define Stack_Pop(stack) Stack_PopInline(stack)

QZ_END_C

#endif
