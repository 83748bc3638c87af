// The tests' own sockets on 127.0.0.1, apart from the library's. No call waits longer than it is told.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace loopback {

inline constexpr int kUsualMilliseconds = 10000;

enum class Result { Data, Closed, Reset, Timeout };

// One TCP connection; closed by FIN when it goes out of scope.
class Connection {
 public:
  Connection() = default;
  explicit Connection(uintptr_t native) : native_(native) {}
  Connection(Connection&& other) noexcept;
  Connection& operator=(Connection&& other) noexcept;
  ~Connection() { Close(); }

  bool IsOpen() const { return native_ != kNone; }
  uintptr_t native() const { return native_; }
  uint16_t LocalPort() const;

  // Sends all bytes; false when the peer is gone or takes nothing for that long.
  bool Send(std::string_view bytes, int milliseconds = kUsualMilliseconds);
  bool SendUrgent(char byte);

  // Appends what has arrived, at most `most` bytes, to `bytes`.
  Result ReceiveSome(std::string* bytes, size_t most = 65536, int milliseconds = kUsualMilliseconds);
  // Appends exactly `count` bytes.
  Result ReceiveExactly(std::string* bytes, size_t count, int milliseconds = kUsualMilliseconds);
  // Appends everything up to the peer's close; Closed then.
  Result ReceiveAll(std::string* bytes, int milliseconds = kUsualMilliseconds);

  void SetReceiveBuffer(int bytes);
  void SetSendBuffer(int bytes);
  // Small pieces are not held back until those before have been taken.
  void SendAtOnce();

  // Ends the sending direction only.
  void Finish();
  // Ends by FIN. Bytes received and not read are read first, as they would turn the close into a reset.
  void Close();
  // Ends by a reset.
  void Reset();
  // Gives the system's socket away.
  uintptr_t Release();

  static constexpr uintptr_t kNone = ~static_cast<uintptr_t>(0);

 private:
  uintptr_t native_ = kNone;
};

// Listens at a free port of 127.0.0.1, one of this process's own (see UnusedPorts).
class Listener {
 public:
  explicit Listener(int backlog = 64);
  ~Listener() { Close(); }
  Listener(Listener&& other) noexcept;
  Listener& operator=(Listener&& other) noexcept;

  bool IsOpen() const { return native_ != Connection::kNone; }
  uint16_t port() const { return port_; }
  // The next connection; not open when none came in time.
  Connection Accept(int milliseconds = kUsualMilliseconds);
  void Close();

 private:
  uintptr_t native_ = Connection::kNone;
  uint16_t port_ = 0;
};

// Connects to a port of 127.0.0.1; not open on failure.
Connection Connect(uint16_t port, int milliseconds = kUsualMilliseconds);

// The first of `count` (1 to 400) consecutive ports where nothing listens and no other test program will:
// each test program holds a block of ports to itself while it runs, below those that the system gives to
// outgoing connections. Hundreds of calls pass before a port is given again.
uint16_t UnusedPorts(int count);
uint16_t UnusedPort();

}  // namespace loopback
