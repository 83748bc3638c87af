// The methods of the text and block fields. Part of traverse_field.cpp, which makes its table of them; those
// without <bool Swapped> are the same in both byte orders.
#pragma once

#include "traverse/traverse_internal.h"

namespace traverse_field {

ErrorCode ClearString(Traverse& traverse, uint32_t size, char* buffer);
template <bool Swapped>
ErrorCode ReadString(Traverse& traverse, uint32_t size, char* buffer);
template <bool Swapped>
ErrorCode WriteString(Traverse& traverse, uint32_t size, char* buffer);

ErrorCode InitBString(Traverse& traverse, char** text);
ErrorCode DeleteBString(Traverse& traverse, char** text);
template <bool Swapped>
ErrorCode ReadBString(Traverse& traverse, char** text);
template <bool Swapped>
ErrorCode WriteBString(Traverse& traverse, char** text);

ErrorCode InitFBString(Traverse& traverse, uint32_t capacity, uint32_t* count, char** texts);
ErrorCode DeleteFBString(Traverse& traverse, uint32_t capacity, uint32_t* count, char** texts);
template <bool Swapped>
ErrorCode ReadFBString(Traverse& traverse, uint32_t capacity, uint32_t* count, char** texts);
template <bool Swapped>
ErrorCode WriteFBString(Traverse& traverse, uint32_t capacity, uint32_t* count, char** texts);

ErrorCode InitBBString(Traverse& traverse, uint32_t* count, char*** texts);
ErrorCode NewBBString(Traverse& traverse, uint32_t* count, char*** texts);
ErrorCode DeleteBBString(Traverse& traverse, uint32_t* count, char*** texts);
template <bool Swapped>
ErrorCode ReadBBString(Traverse& traverse, uint32_t* count, char*** texts);
template <bool Swapped>
ErrorCode WriteBBString(Traverse& traverse, uint32_t* count, char*** texts);

uint32_t ReadRaw(Traverse& traverse, uint32_t count, void* bytes);
uint32_t WriteRaw(Traverse& traverse, uint32_t count, void* bytes);

ErrorCode InitMemory(Traverse& traverse, uint32_t size, void** block);
ErrorCode NewMemory(Traverse& traverse, uint32_t size, void** block);
ErrorCode DeleteMemory(Traverse& traverse, void** block);

}  // namespace traverse_field
