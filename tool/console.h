// What the program needs from the terminal and from the process, in its own terms.
//
// The bodies are in posix/console.cpp and win32/console.cpp; nothing native appears here.
#ifndef TOOL_CONSOLE_H
#define TOOL_CONSOLE_H

#include <cstddef>
#include <optional>
#include <string>

#include "tool/screen_block.h"

namespace tool::console {

enum class Channel { Output, Messages };

// Called once, first. Handles Ctrl-C, a closed terminal and termination requests from now on; opens closed
// standard streams, so that no file or connection gets their descriptor; ignores the signals of failing
// writes; and writes line ends to standard output unchanged.
void Prepare();

// Whether a person reads the channel.
bool IsTerminal(Channel channel);

// Whether the terminal behind the channel shows colours by escape sequences, NO_COLOR considered.
bool HasColour(Channel channel);

// Width of the message terminal in characters; 80 when it is not known.
unsigned Columns();

// Height of the message terminal in characters; 24 when it is not known.
unsigned Rows();

// Whether the cursor of the message terminal can be moved up.
bool CanMoveCursor();

// Writes all bytes at once, unbuffered. False when they could not be written. A reader that closed the pipe
// ("| head -1") is not a failure: the rest is dropped.
bool Write(Channel channel, const char* bytes, std::size_t count);

// Writes to the message terminal behind a movement of its cursor, for which CanMoveCursor has to be true.
bool Draw(const ScreenUpdate& update);

// Asks on the terminal with echo off. Nothing when there is no terminal or its input ended.
// Throws Interruption on Ctrl-C.
std::optional<std::string> AskHidden(const std::string& question);

// Whether Ctrl-C was pressed. The flag stays.
bool Interrupted();

// Waits; ends early when Ctrl-C is pressed.
void Pause(unsigned milliseconds);

// Ends the program as Ctrl-C does in such a call: at once, with code 130.
[[noreturn]] void ExitInterrupted();

// Marks a library call that may block for a minute, or longer in a name look-up. Ctrl-C during the call exits
// at once with code 130, after removing the file of RemoveOnInterrupt. Every byte of a part file was already
// written, so nothing is lost. Throws Interruption when Ctrl-C came before.
class BlockingCall {
 public:
  BlockingCall();
  ~BlockingCall();
  BlockingCall(const BlockingCall&) = delete;
  BlockingCall& operator=(const BlockingCall&) = delete;
};

// What is printed after "interrupted" on such an exit, a constant text; "" at first.
void SetInterruptHint(const char* hint);

// The temporary file that such an exit removes, in the system's form; empty: none.
void RemoveOnInterrupt(const std::string& path);

// Between the system's file names and the form that the library's file functions take.
std::string ToLibraryName(const std::string& systemName);
std::string ToSystemName(const std::string& libraryName);

// Whether the system's file names begin with drives; then "\" separates their parts too, and no two names
// differ in case only.
bool HasDrives();

}  // namespace tool::console

#endif
