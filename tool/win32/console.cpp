// The console and the process on Windows.
#include "tool/console.h"

#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "qz/winosfile.h"
#include "tool/failure.h"

namespace tool::console {
namespace {

constexpr unsigned kColumnsWhenUnknown = 80;
constexpr unsigned kRowsWhenUnknown = 24;
constexpr std::size_t kLongestLibraryName = 1024;

// The handler runs on a separate thread. It reads removalPath only while removalArmed is set.
std::atomic<bool> interrupted{false};
std::atomic<bool> insideBlockingCall{false};
std::atomic<bool> removalArmed{false};
char removalPath[MAX_PATH];
std::atomic<const char*> interruptHint{""};
// The mode of the console outlives the program, so it is put back. Set while escape sequences are switched
// on.
std::atomic<bool> modeChanged{false};
DWORD savedMode = 0;

HANDLE HandleOf(Channel channel) {
  return GetStdHandle(channel == Channel::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

void RestoreMode() {
  if (modeChanged.exchange(false)) SetConsoleMode(HandleOf(Channel::Messages), savedMode);
}

void ExitNow() {
  RestoreMode();
  if (removalArmed) DeleteFileA(removalPath);
  DWORD written = 0;
  for (const char* text : {"\r\nqz: interrupted", interruptHint.load(), "\r\n"}) {
    WriteFile(HandleOf(Channel::Messages), text, static_cast<DWORD>(std::strlen(text)), &written, nullptr);
  }
  ExitProcess(static_cast<UINT>(ExitCode::Interrupted));
}

BOOL WINAPI OnInterrupt(DWORD) {
  if (interrupted.exchange(true) || insideBlockingCall) ExitNow();
  return TRUE;
}

bool IsConsole(HANDLE handle) {
  DWORD mode = 0;
  return handle != INVALID_HANDLE_VALUE && GetConsoleMode(handle, &mode) != 0;
}

std::string Converted(const std::string& name, ErrorCode (*convert)(const char*, char*)) {
  if (name.size() + 4 > kLongestLibraryName) throw Failure{ExitCode::Disk, "file name too long: " + name};
  std::vector<char> buffer(kLongestLibraryName * 2);
  convert(name.c_str(), buffer.data());
  return buffer.data();
}

}  // namespace

void Prepare() {
  SetConsoleCtrlHandler(OnInterrupt, TRUE);
  _setmode(_fileno(stdout), _O_BINARY);
}

bool IsTerminal(Channel channel) {
  return IsConsole(HandleOf(channel));
}

// Escape sequences are not understood by every console of this platform.
bool HasColour(Channel) {
  return false;
}

unsigned Columns() {
  CONSOLE_SCREEN_BUFFER_INFO information;
  if (!GetConsoleScreenBufferInfo(HandleOf(Channel::Messages), &information)) return kColumnsWhenUnknown;
  const int columns = information.srWindow.Right - information.srWindow.Left + 1;
  return columns > 0 ? static_cast<unsigned>(columns) : kColumnsWhenUnknown;
}

unsigned Rows() {
  CONSOLE_SCREEN_BUFFER_INFO information;
  if (!GetConsoleScreenBufferInfo(HandleOf(Channel::Messages), &information)) return kRowsWhenUnknown;
  const int rows = information.srWindow.Bottom - information.srWindow.Top + 1;
  return rows > 0 ? static_cast<unsigned>(rows) : kRowsWhenUnknown;
}

// Consoles before Windows 10 refuse the mode.
bool EnableCursorMovement() {
  const HANDLE handle = HandleOf(Channel::Messages);
  DWORD mode = 0;
  if (!IsConsole(handle) || !GetConsoleMode(handle, &mode)) return false;
  if ((mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0) return true;
  if (!SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING)) return false;
  savedMode = mode;
  modeChanged = true;
  std::atexit(RestoreMode);
  return true;
}

bool Write(Channel channel, const char* bytes, std::size_t count) {
  while (count > 0) {
    DWORD written = 0;
    if (!WriteFile(HandleOf(channel), bytes, static_cast<DWORD>(count), &written, nullptr)) {
      const DWORD error = GetLastError();
      return error == ERROR_NO_DATA || error == ERROR_BROKEN_PIPE || error == ERROR_PIPE_NOT_CONNECTED;
    }
    if (written == 0) return false;
    bytes += written;
    count -= written;
  }
  return true;
}

std::optional<std::string> AskHidden(const std::string& question) {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  DWORD mode = 0;
  if (!IsConsole(input) || !GetConsoleMode(input, &mode)) return std::nullopt;
  SetConsoleMode(input, mode & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
  Write(Channel::Messages, question.data(), question.size());
  char line[1024];
  DWORD count = 0;
  const BOOL read = ReadConsoleA(input, line, sizeof line, &count, nullptr);
  SetConsoleMode(input, mode);
  Write(Channel::Messages, "\r\n", 2);
  if (Interrupted()) throw Interruption{};
  if (!read || count == 0) return std::nullopt;
  std::string answer(line, count);
  while (!answer.empty() && (answer.back() == '\n' || answer.back() == '\r')) answer.pop_back();
  return answer;
}

bool Interrupted() {
  return interrupted;
}

void Pause(unsigned milliseconds) {
  constexpr unsigned kSliceMilliseconds = 100;
  while (milliseconds > 0 && !Interrupted()) {
    const unsigned slice = milliseconds < kSliceMilliseconds ? milliseconds : kSliceMilliseconds;
    Sleep(slice);
    milliseconds -= slice;
  }
}

BlockingCall::BlockingCall() {
  insideBlockingCall = true;
  if (!Interrupted()) return;
  insideBlockingCall = false;
  throw Interruption{};
}

BlockingCall::~BlockingCall() {
  insideBlockingCall = false;
}

void SetInterruptHint(const char* hint) {
  interruptHint = hint;
}

void RemoveOnInterrupt(const std::string& path) {
  removalArmed = false;
  if (path.empty() || path.size() >= sizeof removalPath) return;
  std::memcpy(removalPath, path.c_str(), path.size() + 1);
  removalArmed = true;
}

std::string ToLibraryName(const std::string& systemName) {
  return Converted(systemName, WinOSFile_DOSNameToFileName);
}

std::string ToSystemName(const std::string& libraryName) {
  return Converted(libraryName, WinOSFile_FileNameToDOSName);
}

void ExitInterrupted() {
  ExitNow();
  std::abort();
}

}  // namespace tool::console
