// A stream that gives bytes as a script says and records what is asked of it and written to it.
#pragma once

#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "qz/error.h"
#include "qz/stream.h"

// The code of a type that the library does not know: "test".
constexpr uint32_t kScriptedStreamType = 0x74657374u;

struct ScriptedStream {
  Stream header{};                   // first: a pointer to it is a pointer to the whole
  std::deque<std::string> pieces;    // each read gives at most one piece; none left: 0 bytes
  ErrorCode error = Error_None;      // given by the error operation
  uint32_t available = 0;            // given by the available operation
  uint32_t writeLimit = UINT32_MAX;  // bytes that one write takes
  std::vector<uint32_t> reads;       // the counts that were asked for
  std::vector<std::string> writes;   // what was taken, one entry a call
  int deletions = 0;

  ScriptedStream() {
    static constexpr StreamOperations operations = {CountDeletion, GiveBytes, GiveAvailable,
                                                    TakeBytes,     GiveError, nullptr};
    Stream_Init(kScriptedStreamType, &operations, &header);
  }
  explicit ScriptedStream(std::deque<std::string> script) : ScriptedStream() { pieces = std::move(script); }
  ScriptedStream(const ScriptedStream&) = delete;

  Stream* stream() { return &header; }

 private:
  static ScriptedStream& Of(Stream* stream) { return *reinterpret_cast<ScriptedStream*>(stream); }

  static ErrorCode CountDeletion(Stream* stream) {
    ++Of(stream).deletions;
    return Error_Cancel;
  }
  static uint32_t GiveBytes(Stream* stream, uint32_t count, void* buffer) {
    ScriptedStream& self = Of(stream);
    self.reads.push_back(count);
    if (self.pieces.empty()) return 0;
    std::string& piece = self.pieces.front();
    const auto given = static_cast<uint32_t>(piece.size() < count ? piece.size() : count);
    std::memcpy(buffer, piece.data(), given);
    piece.erase(0, given);
    if (piece.empty()) self.pieces.pop_front();
    return given;
  }
  static uint32_t GiveAvailable(Stream* stream) { return Of(stream).available; }
  static uint32_t TakeBytes(Stream* stream, uint32_t count, const void* buffer) {
    ScriptedStream& self = Of(stream);
    const uint32_t taken = count < self.writeLimit ? count : self.writeLimit;
    self.writes.emplace_back(static_cast<const char*>(buffer), taken);
    return taken;
  }
  static ErrorCode GiveError(Stream* stream) { return Of(stream).error; }
};
