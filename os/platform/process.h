// Child processes, and this one.
#pragma once

#include <cstdint>
#include <span>

namespace platform {

// A child process that was started. Made by LaunchProcess in a block of Memory_New; given back by
// DetachProcess.
struct Process {
  uint32_t identifier;
  intptr_t process;     // the system's handle of the process
  intptr_t mainThread;  // the system's handle of its first thread; 0 where there is none
  Process* nextDetached;
};

enum class LaunchResult { kStarted, kNoMemory, kRefused };

// Starts a program and fills *process. No shell is involved. The child inherits the current directory and the
// standard streams' places but no other handle.
// pathname: the program, in the system's form; null when the first word of commandLine names it, which is
// then looked for as the system does. commandLine: the arguments, the program's own name being the first; may
// be null when pathname is not. environment: texts of the form NAME=value, each with its zero byte, and one
// more zero byte; null: inherited.
LaunchResult LaunchProcess(const char* pathname, const char* commandLine, const char* environment,
                           Process* process);

// False once the child has ended. True as well when the system cannot tell.
bool IsProcessActive(Process* process);

// Lets go of a child, which runs on, and takes over and frees its record, later when the system still needs
// to be asked for the child's end.
void DetachProcess(Process* process);

uint32_t CurrentProcessIdentifier();

// Writes the name, in the system's form, of the file that the module with this instance handle was loaded
// from; handle 0 is the program itself. False when the system cannot tell or the name does not fit.
bool FindModulePathname(uintptr_t instance, std::span<char> name);

}  // namespace platform
