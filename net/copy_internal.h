// The loop that moves bytes from one stream to another for the protocol clients.
#pragma once

#include "qz/stream.h"

inline constexpr uint32_t kNet_NoLimit = 0xFFFFFFFFu;

// What a stream that moves nothing and gives no failure (Error_None or Error_Block) means to the copy.
enum class NetCopyStall {
  Retried,  // asked again until a socket's time limit (61 seconds) has passed without a byte
  Failure,  // the end, with the status that the stream gives
};

// The side that ended a copy early.
enum class NetCopySide { None, Source, Destination };

// Moves bytes in chunks of at most 4096 until the source ends or `limit` bytes are moved (kNet_NoLimit: until
// the end). count: receives the bytes moved, also after a failure (modulo 2^32); may be null. failed:
// receives the side that a failure came from; may be null. Statuses: Error_None; Error_Ended when the source
// stops before the limit is used up, or the destination takes nothing without a reason; Error_Exceed when the
// destination is full; Error_Timeout when retrying has taken its time; else what the streams give.
ErrorCode iNet_CopyStream(Stream* source, Stream* destination, uint32_t limit, uint32_t* count,
                          NetCopyStall stall = NetCopyStall::Retried, NetCopySide* failed = nullptr);
