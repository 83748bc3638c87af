// What the program needs from the terminal and from the process, in its own terms.
//
// The bodies are in posix/console.cpp and win32/console.cpp; nothing native appears here.
#ifndef TOOL_CONSOLE_H
#define TOOL_CONSOLE_H

#include <cstddef>
#include <optional>
#include <string>

namespace tool::console {

enum class Channel { Output, Messages };

// Called once, first: notices Ctrl-C and the like (the terminal is closed, the system wants the program to
// end) from now on, fills standard channels that came closed, so that no file or connection gets their place,
// lets failing writes be statuses instead of signals, and
// keeps line ends on standard output as they are written.
void Prepare();

// Whether a person reads the channel.
bool IsTerminal(Channel channel);

// Whether the terminal behind the channel shows colours by escape sequences, NO_COLOR considered.
bool HasColour(Channel channel);

// Width of the message terminal in characters; 80 when it is not known.
unsigned Columns();

// Writes all bytes at once, unbuffered. False when they could not be written. A reader that has seen enough
// and is gone ("| head -1") is no failure: the rest is dropped.
bool Write(Channel channel, const char* bytes, std::size_t count);

// Asks on the terminal, without showing what is typed. Nothing when there is no terminal or it was ended.
// Throws Interruption on Ctrl-C.
std::optional<std::string> AskHidden(const std::string& question);

// Whether Ctrl-C was pressed. The flag stays.
bool Interrupted();

// Waits; ends early when Ctrl-C is pressed.
void Pause(unsigned milliseconds);

// While one of these lives, the program is inside a call that may wait for a server for a minute. Ctrl-C then
// ends the program at once with exit code 130, after the file named by RemoveWhenEnded is gone. Every byte of
// a part file was already handed to the system, so nothing is lost. Throws Interruption when Ctrl-C came
// before.
class BlockingCall {
 public:
  BlockingCall();
  ~BlockingCall();
  BlockingCall(const BlockingCall&) = delete;
  BlockingCall& operator=(const BlockingCall&) = delete;
};

// What such an end adds to "interrupted", a constant text; "" at first.
void SayWhenEnded(const char* hint);

// Names the one temporary file that an end by Ctrl-C removes, in the system's form; empty: none.
void RemoveWhenEnded(const std::string& path);

// Between the system's file names and the form that the library's file functions take.
std::string ToLibraryName(const std::string& systemName);
std::string ToSystemName(const std::string& libraryName);

}  // namespace tool::console

#endif
