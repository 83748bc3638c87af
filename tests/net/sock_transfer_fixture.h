// A connection whose bytes move, and whose waits another thread may end.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>

#include "tests/net/sock_fixture.h"

class SockTransfer : public SockTest {
 protected:
  // Runs `wait` on another thread, closes the socket while it waits and gives what `wait` gave. It must end
  // within a second.
  template <typename Wait>
  auto CloseDuring(Wait wait) {
    auto result = std::async(std::launch::async, wait);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const Stopwatch watch;
    EXPECT_EQ(Sock_Close(sock), Error_None);
    auto value = result.get();
    EXPECT_LT(watch.Milliseconds(), 1000);
    return value;
  }

  std::string ReadAll(uint32_t pieceBytes) {
    std::string all;
    for (std::string piece = Read(pieceBytes); !piece.empty(); piece = Read(pieceBytes)) all += piece;
    return all;
  }
};

inline std::string Pattern(size_t size) {
  std::string bytes(size, '\0');
  uint32_t state = 12345;
  for (char& byte : bytes) {
    state = state * 1664525u + 1013904223u;
    byte = static_cast<char>(state >> 24);
  }
  return bytes;
}
