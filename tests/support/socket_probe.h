// What the system says about sockets, threads and windows, for tests that run on both platforms.
#pragma once

#include <cstdint>
#include <thread>
#include <vector>

namespace socket_probe {

// The receive buffer that the system reports for a fresh socket after it was asked for so many bytes; systems
// round and double. 0 bytes: not asked.
int ReceiveBufferAfterAsking(int bytes);
int ReceiveBufferOf(uint32_t descriptor);

// True when the descriptor is an open socket.
bool IsSocket(uint32_t descriptor);

// True when child programs inherit the descriptor.
bool IsInherited(uint32_t descriptor);

// Numbers of SOL_SOCKET, SO_RCVBUF, SO_SNDBUF and SO_REUSEADDR on this system.
int SocketLevel();
int ReceiveBufferOption();
int SendBufferOption();
int ReuseAddressOption();

// Uses up the system's low descriptor numbers while it lives, so that sockets get numbers above 1024 where
// numbers are small integers.
class LowDescriptorsTaken {
 public:
  LowDescriptorsTaken();
  ~LowDescriptorsTaken();
  // The least number that a new socket may now get; 0 where numbers say nothing.
  uint32_t leastNumber() const;

 private:
  std::vector<int> taken_;
};

// Interrupts the calls that the thread waits in, where the system knows that; elsewhere nothing happens.
void Interrupt(std::thread& thread);

// Whether there are windows here at all, and whether this program has one of the class.
bool HasWindows();
bool WindowExists(const char* className);

}  // namespace socket_probe
