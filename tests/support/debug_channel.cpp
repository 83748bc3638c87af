#include "tests/support/debug_channel.h"

#ifdef _WIN32

#  include <windows.h>

#  include <mutex>

namespace {

constexpr DWORD kDebugPrintException = 0x40010006;

std::string& Received() {
  static std::string text;
  return text;
}

// The system hands a debugger's line over as an exception with two parameters: size with terminator, and
// text.
LONG CALLBACK TakeDebugPrint(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode != kDebugPrintException) return EXCEPTION_CONTINUE_SEARCH;
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  Received().append(reinterpret_cast<const char*>(record.ExceptionInformation[1]),
                    record.ExceptionInformation[0] - 1);
  return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

std::string CaptureDebugChannel(void (*action)()) {
  Received().clear();
  void* handler = AddVectoredExceptionHandler(1, TakeDebugPrint);
  action();
  RemoveVectoredExceptionHandler(handler);
  return Received();
}

#else

#  include <unistd.h>

std::string CaptureDebugChannel(void (*action)()) {
  int ends[2];
  if (pipe(ends) != 0) return "no pipe";
  const int savedError = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);
  close(ends[1]);
  action();
  dup2(savedError, STDERR_FILENO);  // closes the last writing end
  close(savedError);
  std::string text;
  char piece[256];
  for (ssize_t count; (count = read(ends[0], piece, sizeof piece)) > 0;) {
    text.append(piece, static_cast<size_t>(count));
  }
  close(ends[0]);
  return text;
}

#endif
