// Threads.
#pragma once

#include <cstdint>

namespace platform {

// What a new thread calls. Belongs to the caller and must stay valid until `body` has been called; the thread
// does not look at it after that.
struct ThreadStart {
  int32_t (*body)(void* argument);
  void* argument;
};

// Starts a thread that calls start->body(start->argument) and ends with its result. No handle is kept: the
// system releases what it holds of the thread when the thread ends. stackBytes is what the body asks for; a
// platform whose figure means the whole stack gives more. False when the thread cannot start.
bool StartThread(const ThreadStart* start, uint32_t stackBytes);

// The system's number of the calling thread, unique among the running threads.
uint32_t CurrentThreadIdentifier();

// A word that every thread has for itself, also one that the library did not start; 0 until it is set. It
// stays 0 when the system has no place for it. Neither call allocates or changes the thread's last error.
uintptr_t ThreadWord();
void SetThreadWord(uintptr_t word);

}  // namespace platform
