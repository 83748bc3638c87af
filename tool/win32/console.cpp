// The console and the process on Windows.
#include "tool/console.h"

#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <windows.h>

#include <algorithm>
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
constexpr std::size_t kMostConsoleUnits = 8192;  // older consoles refuse more in one call
constexpr std::size_t kLongestLibraryName = 1024;

// The handler runs on a separate thread. It reads removalPath only while removalArmed is set.
std::atomic<bool> interrupted{false};
std::atomic<bool> insideBlockingCall{false};
std::atomic<bool> removalArmed{false};
char removalPath[MAX_PATH];
std::atomic<const char*> interruptHint{""};

HANDLE HandleOf(Channel channel) {
  return GetStdHandle(channel == Channel::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

void ExitNow() {
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

// A console takes UTF-16 only; bytes would be read in a code page of its own.
bool WriteToConsole(HANDLE handle, const char* bytes, std::size_t count) {
  const int size = static_cast<int>(count);
  std::vector<wchar_t> text(
      static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, bytes, size, nullptr, 0)));
  MultiByteToWideChar(CP_UTF8, 0, bytes, size, text.data(), static_cast<int>(text.size()));
  for (std::size_t position = 0; position < text.size();) {
    const auto part = static_cast<DWORD>(std::min(text.size() - position, kMostConsoleUnits));
    DWORD written = 0;
    if (!WriteConsoleW(handle, text.data() + position, part, &written, nullptr) || written == 0) return false;
    position += written;
  }
  return true;
}

// Not by escape sequences: consoles before Windows 10 print them, and so does Wine.
void MoveUp(std::size_t lines, bool erasesBelow) {
  const HANDLE handle = HandleOf(Channel::Messages);
  CONSOLE_SCREEN_BUFFER_INFO information;
  if (!GetConsoleScreenBufferInfo(handle, &information)) return;
  const SHORT bottom = information.dwCursorPosition.Y;
  const auto up = static_cast<SHORT>(std::min<std::size_t>(lines, static_cast<std::size_t>(bottom)));
  const COORD target = {0, static_cast<SHORT>(bottom - up)};
  SetConsoleCursorPosition(handle, target);
  if (!erasesBelow) return;
  DWORD erased = 0;
  const DWORD cells = static_cast<DWORD>(up + 1) * static_cast<DWORD>(information.dwSize.X);
  FillConsoleOutputCharacterW(handle, L' ', cells, target, &erased);
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

bool CanMoveCursor() {
  return IsTerminal(Channel::Messages);
}

bool Write(Channel channel, const char* bytes, std::size_t count) {
  if (IsTerminal(channel)) return WriteToConsole(HandleOf(channel), bytes, count);
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

bool Draw(const ScreenUpdate& update) {
  if (update.linesUp > 0 || update.erasesBelow) MoveUp(update.linesUp, update.erasesBelow);
  return Write(Channel::Messages, update.text.data(), update.text.size());
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

bool HasDrives() {
  return true;
}

void ExitInterrupted() {
  ExitNow();
  std::abort();
}

}  // namespace tool::console
