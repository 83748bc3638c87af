// The stream core: dispatch through a type's operation table, progress reports, formatted writing and reading
// up to a delimiter.
#include "qz/stream.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "qz/error.h"
#include "stream/stream_internal.h"

namespace {

constexpr uint32_t kFormatLimit = 4096;  // characters that one formatted write may produce, line end included
constexpr uint32_t kLineEndLength = 2;
constexpr uint32_t kReadAvailUnknown = 0xFFFFFFFFu;

static_assert(sizeof(void*) != 4 ||
              (offsetof(Stream, type) == 4 && offsetof(Stream, progressMethod) == 8 &&
               offsetof(Stream, progressContext) == 12 && offsetof(Stream, progressSteps) == 16 &&
               offsetof(Stream, progressPosition) == 20 && offsetof(Stream, progressTotal) == 24 &&
               sizeof(Stream) == 28));
static_assert(sizeof(void*) != 4 ||
              (offsetof(StreamOperations, Read) == 4 && offsetof(StreamOperations, ReadAvail) == 8 &&
               offsetof(StreamOperations, Write) == 12 && offsetof(StreamOperations, Error) == 16 &&
               offsetof(StreamOperations, FindType) == 20));

// The step has single precision, all that is computed with it double: the boundaries depend on both.
double StepLength(uint32_t total, uint32_t steps) {
  return static_cast<float>(static_cast<double>(total) / static_cast<double>(steps));
}

// The number of whole steps up to a position.
int64_t CountSteps(uint32_t position, double step) {
  return static_cast<int64_t>(static_cast<double>(position) / step);
}

// Counts bytes and reports every step boundary that they crossed.
//
//   position   0         100        200        300        400    a step is 100, read to 250, then to 300
//   boundary   k = 0     1          2          3          4
//   read to 250: boundaries 1 and 2 were crossed, reports k = 0 and 1: positions 0 and 100
//   read to 300: boundary 3, report k = 2: position 200
//
// Kept: the report for a boundary that was crossed carries the start of the step before it, so the first
// report of a transfer is position 0 and the last one lies a step below the total; progress bars are scaled
// to this.
void CountProgress(Stream* stream, uint32_t count) {
  const StreamProgressMethod method = stream->progressMethod;
  if (method == nullptr || stream->progressSteps == 0 || stream->progressTotal == 0) return;

  const uint32_t before = stream->progressPosition;
  const uint32_t after = before + count;
  if (after > stream->progressTotal) stream->progressTotal = after;
  stream->progressPosition = after;

  // The method may set the stream up anew, so the rest works on copies.
  const uint32_t total = stream->progressTotal;
  void* const context = stream->progressContext;
  const double step = StepLength(total, stream->progressSteps);
  const int64_t end = CountSteps(after, step);
  for (int64_t k = CountSteps(before, step); k < end; ++k) {
    method(context, static_cast<uint32_t>(static_cast<double>(k) * step), total);
  }
}

ErrorCode WriteAll(Stream* stream, uint32_t count, const void* buffer) {
  return Stream_Write(stream, count, buffer) == count ? Error_None : iStream_ErrorOrEnded(stream);
}

ErrorCode WriteFormatted(Stream* stream, bool endLine, const char* format, va_list arguments) {
  char text[kFormatLimit + 1];
  const uint32_t limit = endLine ? kFormatLimit - kLineEndLength : kFormatLimit;
  const int formatted = vsnprintf(text, sizeof text, format, arguments);
  if (formatted < 0 || static_cast<uint32_t>(formatted) > limit) return Error_Exceed;

  auto length = static_cast<uint32_t>(formatted);
  if (endLine) {
    text[length++] = '\r';
    text[length++] = '\n';
  }
  return WriteAll(stream, length, text);
}

}  // namespace

ErrorCode iStream_ErrorOrEnded(Stream* stream) {
  const ErrorCode status = Stream_Error(stream);
  return status != Error_None ? status : Error_Ended;
}

void Stream_Init(uint32_t type, const StreamOperations* operations, Stream* stream) {
  if (stream == nullptr) return;
  *stream = Stream{};
  stream->operations = operations;
  stream->type = type;
}

void Stream_SetIdleMethod(Stream* stream, uint32_t steps, StreamProgressMethod method, void* context) {
  if (stream == nullptr) return;
  stream->progressSteps = steps;
  stream->progressMethod = method;
  stream->progressContext = context;
}

void Stream_SetProgress(Stream* stream, uint32_t a, uint32_t b) {
  if (stream == nullptr) return;
  stream->progressPosition = a < b ? a : b;
  stream->progressTotal = a < b ? b : a;
}

uint32_t Stream_Write(Stream* stream, uint32_t count, const void* buffer) {
  if (stream == nullptr) return 0;
  const uint32_t written = stream->operations->Write(stream, count, buffer);
  CountProgress(stream, written);
  return written;
}

uint32_t Stream_Read(Stream* stream, uint32_t count, void* buffer) {
  if (stream == nullptr) return 0;
  const uint32_t read = stream->operations->Read(stream, count, buffer);
  CountProgress(stream, read);
  return read;
}

uint32_t Stream_ReadAvail(Stream* stream) {
  if (stream == nullptr || stream->operations->ReadAvail == nullptr) return kReadAvailUnknown;
  return stream->operations->ReadAvail(stream);
}

ErrorCode Stream_Error(Stream* stream) {
  if (stream == nullptr) return Error_Invalid;
  return stream->operations->Error != nullptr ? stream->operations->Error(stream) : Error_None;
}

Stream* Stream_GetType(Stream* stream, uint32_t type) {
  return stream != nullptr && stream->type == type ? stream : nullptr;
}

Stream* Stream_FindType(Stream* stream, uint32_t type) {
  if (stream == nullptr) return nullptr;
  if (stream->type == type) return stream;
  return stream->operations->FindType != nullptr ? stream->operations->FindType(stream, type) : nullptr;
}

ErrorCode Stream_Delete(Stream* stream) {
  if (stream == nullptr) return Error_Invalid;
  return stream->operations->Delete != nullptr ? stream->operations->Delete(stream) : Error_None;
}

ErrorCode Stream_WriteF(Stream* stream, const char* format, ...) {
  if (stream == nullptr || format == nullptr) return Error_Invalid;
  va_list arguments;
  va_start(arguments, format);
  const ErrorCode status = WriteFormatted(stream, false, format, arguments);
  va_end(arguments);
  return status;
}

ErrorCode Stream_WriteFLine(Stream* stream, const char* format, ...) {
  if (stream == nullptr || format == nullptr) return Error_Invalid;
  va_list arguments;
  va_start(arguments, format);
  const ErrorCode status = WriteFormatted(stream, true, format, arguments);
  va_end(arguments);
  return status;
}

// Kept: a byte that breaks a partial match is not compared with the delimiter's first byte again, so CR LF is
// missed in CR CR LF; line protocols count on one line ending where it always did.
ErrorCode Stream_ReadTo(Stream* stream, uint32_t delimiterLength, const void* delimiter, uint32_t bufferSize,
                        void* buffer, uint32_t* countOut) {
  uint32_t ignored = 0;
  uint32_t& count = countOut != nullptr ? *countOut : ignored;
  count = 0;
  if (delimiterLength == 0) return Error_None;
  if (stream == nullptr || delimiter == nullptr) return Error_Invalid;
  if (bufferSize == 0) return Error_Exceed;
  if (buffer == nullptr) return Error_Invalid;

  const auto* wanted = static_cast<const uint8_t*>(delimiter);
  auto* bytes = static_cast<uint8_t*>(buffer);
  uint32_t matched = 0;
  while (matched < delimiterLength) {
    if (count == bufferSize) return Error_Exceed;
    // One byte at a time: nothing behind the delimiter may be taken from the stream.
    uint8_t byte = 0;
    if (Stream_Read(stream, 1, &byte) != 1) return iStream_ErrorOrEnded(stream);
    bytes[count++] = byte;
    matched = byte == wanted[matched] ? matched + 1 : 0;
  }
  return Error_None;
}
