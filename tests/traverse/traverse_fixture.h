// Bytes as a test types them, and a context over them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "qz/error.h"
#include "qz/traverse.h"
#include "tests/support/test_stream.h"

// "04 00 61" as bytes; blanks and line breaks are free.
inline std::string Bytes(std::string_view hex) {
  const auto digit = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
  std::string bytes;
  for (size_t i = 0; i + 1 < hex.size();) {
    if (hex[i] == ' ' || hex[i] == '\n') {
      ++i;
      continue;
    }
    bytes += static_cast<char>(digit(hex[i]) * 16 + digit(hex[i + 1]));
    i += 2;
  }
  return bytes;
}

// The bytes as "04 00 61".
inline std::string Hex(std::string_view bytes) {
  std::string hex;
  for (const char byte : bytes) {
    char two[4];
    snprintf(two, sizeof two, "%02X ", static_cast<unsigned char>(byte));
    hex += two;
  }
  if (!hex.empty()) hex.pop_back();
  return hex;
}

enum class Order { Plain, Network };

constexpr Order kOrders[] = {Order::Plain, Order::Network};

// A context over a stream that gives the bytes typed in hexadecimal and keeps what is written.
class Context {
 public:
  explicit Context(std::string_view hex = {}, Order order = Order::Plain)
      : stream_(Bytes(hex)), traverse_(Traverse_New(order == Order::Network ? 1 : 0, stream_.stream())) {}
  ~Context() { Traverse_Delete(traverse_); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  // Sets the mode and gives the traverse.
  Traverse* In(TraverseMode mode) {
    Traverse_SetMode(traverse_, mode);
    return traverse_;
  }
  Traverse* traverse() { return traverse_; }
  TestStream& bytes() { return stream_; }
  std::string Written() const { return Hex(stream_.written()); }
  std::string Rest() const { return Hex(stream_.Rest()); }
  ErrorCode error() const { return Traverse_GetError(traverse_); }

 private:
  TestStream stream_;
  Traverse* traverse_;
};

// Runs a function object as a describe function.
template <typename Function>
struct Describing {
  Function function;
  static void Run(Traverse* traverse, void* argument) {
    static_cast<Describing*>(argument)->function(traverse);
  }
};

template <typename Function>
ErrorCode DataRead(Traverse* traverse, Function function) {
  Describing<Function> describing{function};
  return Traverse_DataRead(traverse, Describing<Function>::Run, &describing);
}
template <typename Function>
ErrorCode DataWrite(Traverse* traverse, Function function) {
  Describing<Function> describing{function};
  return Traverse_DataWrite(traverse, Describing<Function>::Run, &describing);
}
template <typename Function>
ErrorCode DataInit(Traverse* traverse, Function function) {
  Describing<Function> describing{function};
  return Traverse_DataInit(traverse, Describing<Function>::Run, &describing);
}
template <typename Function>
ErrorCode DataNew(Traverse* traverse, Function function) {
  Describing<Function> describing{function};
  return Traverse_DataNew(traverse, Describing<Function>::Run, &describing);
}
template <typename Function>
ErrorCode DataDelete(Traverse* traverse, Function function) {
  Describing<Function> describing{function};
  return Traverse_DataDelete(traverse, Describing<Function>::Run, &describing);
}
