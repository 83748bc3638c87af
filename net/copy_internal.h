// The loop that moves bytes from one stream to another for the protocol clients.
#pragma once

#include "qz/stream.h"

inline constexpr uint64_t kNet_NoLimit = UINT64_MAX;

// The limit of a call with 32 bits: all ones mean no limit there too.
constexpr uint64_t iNet_WidenLimit(uint32_t limit) {
  return limit == UINT32_MAX ? kNet_NoLimit : limit;
}

// What a stream that moves nothing and gives no failure (Error_None or Error_Block) means to the copy.
enum class NetCopyStall {
  Retried,  // asked again until a socket's time limit (61 seconds) has passed without a byte
  Failure,  // the end, with the status that the stream gives
};

// The side that ended a copy early.
enum class NetCopySide { None, Source, Destination };

// Moves bytes in chunks of at most 4096 until the source ends or `limit` bytes are moved (kNet_NoLimit: until
// the end). count: receives the bytes moved, also after a failure; may be null. failed:
// receives the side that a failure came from; may be null. Statuses: Error_None; Error_Ended when the source
// stops before the limit is used up, or the destination takes nothing without a reason; Error_Exceed when the
// destination is full; Error_Timeout when retrying has taken its time; else what the streams give.
ErrorCode iNet_CopyStream(Stream* source, Stream* destination, uint64_t limit, uint64_t* count,
                          NetCopyStall stall = NetCopyStall::Retried, NetCopySide* failed = nullptr);
