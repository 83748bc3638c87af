// The loop that moves bytes from one stream to another for the protocol clients.
#pragma once

#include "qz/stream.h"

inline constexpr uint32_t kNet_NoLimit = 0xFFFFFFFFu;

// Moves bytes in chunks of at most 4096 until the source ends or `limit` bytes are moved (kNet_NoLimit: until
// the end). count: receives the bytes moved, also after a failure (modulo 2^32); may be null. Statuses:
// Error_None; Error_Ended when the source stops before the limit is used up; Error_Exceed when the
// destination is full; Error_Timeout when nothing moves for as long as a socket waits (61 seconds); else what
// the streams give.
ErrorCode iNet_CopyStream(Stream* source, Stream* destination, uint32_t limit, uint32_t* count);
