// The methods of the number fields: once for each family (single, N, F, B) and mode, over the size of an
// element. Part of traverse_field.cpp, which makes its table of them.
#pragma once

#include <algorithm>
#include <cstring>

#include "traverse/traverse_internal.h"

namespace traverse_field {

// ---- bytes of elements -------------------------------------------------------------------------

inline uint8_t Reversed(uint8_t value) {
  return value;
}
inline uint16_t Reversed(uint16_t value) {
  return __builtin_bswap16(value);
}
inline uint32_t Reversed(uint32_t value) {
  return __builtin_bswap32(value);
}
inline uint64_t Reversed(uint64_t value) {
  return __builtin_bswap64(value);
}

template <size_t Size>
struct WordOf;
template <>
struct WordOf<1> {
  using Type = uint8_t;
};
template <>
struct WordOf<2> {
  using Type = uint16_t;
};
template <>
struct WordOf<4> {
  using Type = uint32_t;
};
template <>
struct WordOf<8> {
  using Type = uint64_t;
};

// Copies elements with their bytes reversed; source and destination may be the same.
template <size_t Size>
void CopyReversed(const void* source, void* destination, size_t count) {
  const auto* from = static_cast<const uint8_t*>(source);
  auto* to = static_cast<uint8_t*>(destination);
  for (size_t i = 0; i < count; ++i, from += Size, to += Size) {
    typename WordOf<Size>::Type word;
    memcpy(&word, from, Size);
    word = Reversed(word);
    memcpy(to, &word, Size);
  }
}

// Whether the elements can lie somewhere: there is an array, and its bytes can be counted in 32 bits.
template <size_t Size>
bool IsArray(uint32_t count, const void* array) {
  return count == 0 || (array != nullptr && uint64_t{count} * Size <= UINT32_MAX);
}

template <size_t Size>
ErrorCode ClearElements(uint32_t count, void* array) {
  if (!IsArray<Size>(count, array)) return Error_Invalid;
  if (count != 0) memset(array, 0, count * Size);
  return Error_None;
}

template <size_t Size, bool Swapped>
ErrorCode ReadElements(Traverse& traverse, uint32_t count, void* array) {
  if (!IsArray<Size>(count, array)) return Error_Invalid;
  const auto byteCount = static_cast<uint32_t>(count * Size);
  if (iTraverse_ReadBytes(traverse, byteCount, array) != byteCount) return Error_Ended;
  if constexpr (Swapped && Size > 1) CopyReversed<Size>(array, array, count);
  return Error_None;
}

constexpr uint32_t kElementsOfARun = 256;

// The caller's array is never altered, so what is reversed goes through a run of its own.
template <size_t Size>
ErrorCode WriteReversed(Traverse& traverse, uint32_t count, const void* array) {
  uint8_t run[kElementsOfARun * Size];
  const auto* from = static_cast<const uint8_t*>(array);
  while (count != 0) {
    const uint32_t runLength = std::min(count, kElementsOfARun);
    const auto byteCount = static_cast<uint32_t>(runLength * Size);
    CopyReversed<Size>(from, run, runLength);
    if (iTraverse_WriteBytes(traverse, byteCount, run) != byteCount) return Error_Ended;
    from += byteCount;
    count -= runLength;
  }
  return Error_None;
}

template <size_t Size, bool Swapped>
ErrorCode WriteElements(Traverse& traverse, uint32_t count, const void* array) {
  if (!IsArray<Size>(count, array)) return Error_Invalid;
  if constexpr (Swapped && Size > 1) return WriteReversed<Size>(traverse, count, array);
  const auto byteCount = static_cast<uint32_t>(count * Size);
  return iTraverse_WriteBytes(traverse, byteCount, array) == byteCount ? Error_None : Error_Ended;
}

// The prefix of counted data; 0 when it comes short.
template <bool Swapped>
ErrorCode ReadCount(Traverse& traverse, uint32_t* count) {
  const ErrorCode status = ReadElements<sizeof *count, Swapped>(traverse, 1, count);
  if (status != Error_None) *count = 0;
  return status;
}

template <bool Swapped>
ErrorCode WriteCount(Traverse& traverse, uint32_t count) {
  return WriteElements<sizeof count, Swapped>(traverse, 1, &count);
}

// ---- one value ---------------------------------------------------------------------------------

struct InitSingle {
  template <size_t Size>
  static ErrorCode Run(Traverse& /*traverse*/, void* value) {
    return ClearElements<Size>(1, value);
  }
};

template <bool Swapped>
struct ReadSingle {
  template <size_t Size>
  static ErrorCode Run(Traverse& traverse, void* value) {
    return ReadElements<Size, Swapped>(traverse, 1, value);
  }
};

template <bool Swapped>
struct WriteSingle {
  template <size_t Size>
  static ErrorCode Run(Traverse& traverse, void* value) {
    return WriteElements<Size, Swapped>(traverse, 1, value);
  }
};

// ---- N: as many as the caller says -------------------------------------------------------------

struct InitFixed {
  template <size_t Size>
  static ErrorCode Run(Traverse& /*traverse*/, uint32_t count, void* array) {
    return ClearElements<Size>(count, array);
  }
};

template <bool Swapped>
struct ReadFixed {
  template <size_t Size>
  static ErrorCode Run(Traverse& traverse, uint32_t count, void* array) {
    return ReadElements<Size, Swapped>(traverse, count, array);
  }
};

template <bool Swapped>
struct WriteFixed {
  template <size_t Size>
  static ErrorCode Run(Traverse& traverse, uint32_t count, void* array) {
    return WriteElements<Size, Swapped>(traverse, count, array);
  }
};

// ---- F: counted, in a buffer of the record -----------------------------------------------------

struct ClearCounted {
  template <size_t /*Size*/>
  static ErrorCode Run(Traverse& /*traverse*/, uint32_t /*capacity*/, uint32_t* count, void* /*buffer*/) {
    *count = 0;
    return Error_None;
  }
};

// Kept: a count equal to the capacity is read whole and gives Error_Exceed; a greater one skips as many bytes
// (not elements) as capacity - count is in 32 bits, nearly 4 GiB, which is the rest of the stream. Stored
// files are read so, and the count keeps what the stream said.
template <bool Swapped>
struct ReadCounted {
  template <size_t Size>
  static ErrorCode Run(Traverse& traverse, uint32_t capacity, uint32_t* count, void* buffer) {
    const ErrorCode status = ReadCount<Swapped>(traverse, count);
    if (status != Error_None || *count == 0) return status;
    const uint32_t stored = std::min(*count, capacity);
    const ErrorCode elements = ReadElements<Size, Swapped>(traverse, stored, buffer);
    if (elements != Error_None || *count < capacity) return elements;
    return iTraverse_Skip(traverse, capacity - *count);
  }
};

template <bool Swapped>
struct WriteCounted {
  template <size_t Size>
  static ErrorCode Run(Traverse& traverse, uint32_t /*capacity*/, uint32_t* count, void* buffer) {
    if (!IsArray<Size>(*count, buffer)) return Error_Invalid;
    const ErrorCode status = WriteCount<Swapped>(traverse, *count);
    return status != Error_None ? status : WriteElements<Size, Swapped>(traverse, *count, buffer);
  }
};

// ---- B: counted, in a block of its own ---------------------------------------------------------

struct InitAllocated {
  template <size_t /*Size*/>
  static ErrorCode Run(Traverse& /*traverse*/, uint32_t* count, void** array) {
    *count = 0;
    *array = nullptr;
    return Error_None;
  }
};

struct NewAllocated {
  template <size_t Size>
  static ErrorCode Run(Traverse& traverse, uint32_t* count, void** array) {
    if (*count == 0) return Error_None;
    *array = iTraverse_NewBlock(traverse, uint64_t{*count} * Size);
    return *array != nullptr ? Error_None : Error_Memory;
  }
};

struct DeleteAllocated {
  template <size_t /*Size*/>
  static ErrorCode Run(Traverse& traverse, uint32_t* count, void** array) {
    iTraverse_DeleteBlock(traverse, *array);
    *array = nullptr;
    *count = 0;
    return Error_None;
  }
};

template <bool Swapped>
struct ReadAllocated {
  template <size_t Size>
  static ErrorCode Run(Traverse& traverse, uint32_t* count, void** array) {
    *array = nullptr;
    const ErrorCode status = ReadCount<Swapped>(traverse, count);
    if (status != Error_None || *count == 0) return status;
    const ErrorCode allocated = NewAllocated::Run<Size>(traverse, count, array);
    return allocated != Error_None ? allocated : ReadElements<Size, Swapped>(traverse, *count, *array);
  }
};

template <bool Swapped>
struct WriteAllocated {
  template <size_t Size>
  static ErrorCode Run(Traverse& traverse, uint32_t* count, void** array) {
    return WriteCounted<Swapped>::template Run<Size>(traverse, *count, count, *array);
  }
};

}  // namespace traverse_field
