// Texts, lists of texts, raw bytes and blocks.
//
//   text           | L = length + 1: 4 bytes | characters ... | 0 |
//   no text        | 0: 4 bytes |                                     (allocated texts only)
//   list of texts  | count: 4 bytes | text | text | ...
#include "traverse/traverse_field_text.h"

#include <algorithm>
#include <cstring>

#include "traverse/traverse_field_number.h"

namespace traverse_field {

namespace {

constexpr bool kNotSwapped = false;

template <bool Swapped>
ErrorCode WriteText(Traverse& traverse, const char* text) {
  const uint64_t length = uint64_t{strlen(text)} + 1;
  if (length > UINT32_MAX) return Error_Invalid;
  const auto stored = static_cast<uint32_t>(length);
  const ErrorCode status = WriteCount<Swapped>(traverse, stored);
  return status != Error_None ? status : WriteElements<1, Swapped>(traverse, stored, text);
}

template <bool Swapped>
ErrorCode ReadTexts(Traverse& traverse, uint32_t count, char** texts) {
  ErrorCode status = Error_None;
  for (uint32_t i = 0; i < count && status == Error_None; ++i)
    status = ReadBString<Swapped>(traverse, &texts[i]);
  return status;
}

// Kept: the count goes out as it lies in memory in both byte orders, though reading reverses it, and so do
// the programs that read these lists.
template <bool Swapped>
ErrorCode WriteTexts(Traverse& traverse, uint32_t count, char** texts) {
  if (!IsArray<1>(count, texts)) return Error_Invalid;
  ErrorCode status = WriteCount<kNotSwapped>(traverse, count);
  for (uint32_t i = 0; i < count && status == Error_None; ++i)
    status = WriteBString<Swapped>(traverse, &texts[i]);
  return status;
}

void DeleteTexts(Traverse& traverse, uint32_t count, char** texts) {
  for (uint32_t i = 0; i < count; ++i) DeleteBString(traverse, &texts[i]);
}

// Kept: only empty texts are passed over. The length of another is subtracted from nothing, in the order of
// memory, and nearly 4 GiB are skipped: what follows a list that was too long was never read by anybody.
ErrorCode SkipTexts(Traverse& traverse, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t length = 0;
    const ErrorCode status = ReadCount<kNotSwapped>(traverse, &length);
    if (status != Error_None) return status;
    if (length != 0) return iTraverse_Skip(traverse, 0u - length);
  }
  return Error_None;
}

}  // namespace

// ---- a text in a buffer ------------------------------------------------------------------------

ErrorCode ClearString(Traverse& /*traverse*/, uint32_t size, char* buffer) {
  if (size != 0) buffer[0] = 0;
  return Error_None;
}

// Kept: as counted numbers, so a text that fills the buffer gives Error_Exceed, one that is longer takes the
// rest of the stream with it, and neither is terminated. Callers keep a byte behind the buffer.
template <bool Swapped>
ErrorCode ReadString(Traverse& traverse, uint32_t size, char* buffer) {
  ClearString(traverse, size, buffer);
  uint32_t length = 0;
  const ErrorCode status = ReadCount<Swapped>(traverse, &length);
  if (status != Error_None || length == 0) return status;
  const uint32_t stored = std::min(length, size);
  const uint32_t read = iTraverse_ReadBytes(traverse, stored, buffer);
  if (read < stored) {
    buffer[read] = 0;
    return Error_Ended;
  }
  if (length >= size) return iTraverse_Skip(traverse, size - length);
  // A stored text that does not end is ended.
  if (buffer[length - 1] != 0) buffer[length] = 0;
  return Error_None;
}

template <bool Swapped>
ErrorCode WriteString(Traverse& traverse, uint32_t /*size*/, char* buffer) {
  return buffer != nullptr ? WriteText<Swapped>(traverse, buffer) : ErrorCode{Error_Invalid};
}

// ---- a text in a block of its own --------------------------------------------------------------

ErrorCode InitBString(Traverse& /*traverse*/, char** text) {
  *text = nullptr;
  return Error_None;
}

ErrorCode DeleteBString(Traverse& traverse, char** text) {
  iTraverse_DeleteBlock(traverse, *text);
  *text = nullptr;
  return Error_None;
}

template <bool Swapped>
ErrorCode ReadBString(Traverse& traverse, char** text) {
  *text = nullptr;
  uint32_t length = 0;
  const ErrorCode status = ReadCount<Swapped>(traverse, &length);
  if (status != Error_None || length == 0) return status;
  // One byte more than is stored: the text ends even when the stored one does not.
  *text = static_cast<char*>(iTraverse_NewBlock(traverse, uint64_t{length} + 1));
  return *text != nullptr ? ReadElements<1, Swapped>(traverse, length, *text) : ErrorCode{Error_Memory};
}

template <bool Swapped>
ErrorCode WriteBString(Traverse& traverse, char** text) {
  return *text != nullptr ? WriteText<Swapped>(traverse, *text) : WriteCount<Swapped>(traverse, 0);
}

// ---- texts in an array of the record -----------------------------------------------------------

ErrorCode InitFBString(Traverse& /*traverse*/, uint32_t capacity, uint32_t* count, char** texts) {
  std::fill_n(texts, capacity, nullptr);
  *count = 0;
  return Error_None;
}

// Kept: the count stays, unlike that of numbers; callers print it afterwards.
ErrorCode DeleteFBString(Traverse& traverse, uint32_t capacity, uint32_t* count, char** texts) {
  DeleteTexts(traverse, std::min(*count, capacity), texts);
  return Error_None;
}

template <bool Swapped>
ErrorCode ReadFBString(Traverse& traverse, uint32_t capacity, uint32_t* count, char** texts) {
  ErrorCode status = ReadCount<Swapped>(traverse, count);
  if (status != Error_None) return status;
  status = ReadTexts<Swapped>(traverse, std::min(*count, capacity), texts);
  if (status != Error_None || *count <= capacity) return status;
  return SkipTexts(traverse, *count - capacity);
}

template <bool Swapped>
ErrorCode WriteFBString(Traverse& traverse, uint32_t /*capacity*/, uint32_t* count, char** texts) {
  return WriteTexts<Swapped>(traverse, *count, texts);
}

// ---- texts in an array of its own --------------------------------------------------------------

ErrorCode InitBBString(Traverse& /*traverse*/, uint32_t* count, char*** texts) {
  *count = 0;
  *texts = nullptr;
  return Error_None;
}

ErrorCode NewBBString(Traverse& traverse, uint32_t* count, char*** texts) {
  if (*count == 0) return Error_None;
  *texts = static_cast<char**>(iTraverse_NewBlock(traverse, uint64_t{*count} * sizeof(char*)));
  return *texts != nullptr ? Error_None : Error_Memory;
}

// Kept: the count stays here too.
ErrorCode DeleteBBString(Traverse& traverse, uint32_t* count, char*** texts) {
  if (*count == 0 || *texts == nullptr) return Error_None;
  DeleteTexts(traverse, *count, *texts);
  iTraverse_DeleteBlock(traverse, *texts);
  *texts = nullptr;
  return Error_None;
}

template <bool Swapped>
ErrorCode ReadBBString(Traverse& traverse, uint32_t* count, char*** texts) {
  *texts = nullptr;
  ErrorCode status = ReadCount<Swapped>(traverse, count);
  if (status != Error_None) return status;
  status = NewBBString(traverse, count, texts);
  return status != Error_None ? status : ReadTexts<Swapped>(traverse, *count, *texts);
}

template <bool Swapped>
ErrorCode WriteBBString(Traverse& traverse, uint32_t* count, char*** texts) {
  return WriteTexts<Swapped>(traverse, *count, *texts);
}

// ---- bytes and blocks --------------------------------------------------------------------------

uint32_t ReadRaw(Traverse& traverse, uint32_t count, void* bytes) {
  const uint32_t read = iTraverse_ReadBytes(traverse, count, bytes);
  if (read < count) traverse.error = Error_Ended;
  return read;
}

uint32_t WriteRaw(Traverse& traverse, uint32_t count, void* bytes) {
  const uint32_t written = iTraverse_WriteBytes(traverse, count, bytes);
  if (written < count) traverse.error = Error_Ended;
  return written;
}

ErrorCode InitMemory(Traverse& /*traverse*/, uint32_t /*size*/, void** block) {
  *block = nullptr;
  return Error_None;
}

ErrorCode NewMemory(Traverse& traverse, uint32_t size, void** block) {
  *block = nullptr;
  if (size == 0) return Error_None;
  *block = iTraverse_NewBlock(traverse, size);
  return *block != nullptr ? Error_None : Error_Memory;
}

ErrorCode DeleteMemory(Traverse& traverse, void** block) {
  iTraverse_DeleteBlock(traverse, *block);
  *block = nullptr;
  return Error_None;
}

template ErrorCode ReadString<false>(Traverse&, uint32_t, char*);
template ErrorCode ReadString<true>(Traverse&, uint32_t, char*);
template ErrorCode WriteString<false>(Traverse&, uint32_t, char*);
template ErrorCode WriteString<true>(Traverse&, uint32_t, char*);
template ErrorCode ReadBString<false>(Traverse&, char**);
template ErrorCode ReadBString<true>(Traverse&, char**);
template ErrorCode WriteBString<false>(Traverse&, char**);
template ErrorCode WriteBString<true>(Traverse&, char**);
template ErrorCode ReadFBString<false>(Traverse&, uint32_t, uint32_t*, char**);
template ErrorCode ReadFBString<true>(Traverse&, uint32_t, uint32_t*, char**);
template ErrorCode WriteFBString<false>(Traverse&, uint32_t, uint32_t*, char**);
template ErrorCode WriteFBString<true>(Traverse&, uint32_t, uint32_t*, char**);
template ErrorCode ReadBBString<false>(Traverse&, uint32_t*, char***);
template ErrorCode ReadBBString<true>(Traverse&, uint32_t*, char***);
template ErrorCode WriteBBString<false>(Traverse&, uint32_t*, char***);
template ErrorCode WriteBBString<true>(Traverse&, uint32_t*, char***);

}  // namespace traverse_field
