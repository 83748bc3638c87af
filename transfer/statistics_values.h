// The fields of the two files of statistics: bytes to values, values to bytes, and the arithmetic between. No
// input or output, and no influence of the C library's locale.
#pragma once

#include <cstddef>
#include <cstdint>

#include "transfer/statistics_internal.h"

// What a missing line stands for.
constexpr ServerStatistics kNoStatistics = {0, -1.0f, 0, 0.5f};

// ---- "names.qzc" -------------------------------------------------------------------------------

constexpr size_t kServerHostLimit = 1023;  // bytes
constexpr size_t kServerKeySize = kServerHostLimit + 16;

// "HOST:PORT". False for a host that cannot be a field of the file; null is one.
bool iStatistics_MakeServerKey(const char* host, int32_t port, char (&key)[kServerKeySize]);

// The four bytes of an address in network order, as "%hd.%hd.%hd.%hd" prints them.
struct ServerAddress {
  uint8_t bytes[4];
};
constexpr size_t kAddressTextSize = 16;
void iStatistics_FormatAddress(const ServerAddress& address, char (&text)[kAddressTextSize]);
// False for what is not four numbers of 0 to 255 with dots between.
bool iStatistics_ParseAddress(const char* text, ServerAddress* address);

// ---- "through.qzc" -----------------------------------------------------------------------------

constexpr size_t kStatisticsTextSize = 128;
// The four values of a line as "%lu %f %lu %f" prints them.
void iStatistics_FormatValues(const ServerStatistics& statistics, char (&text)[kStatisticsTextSize]);
// From the four fields. False, and kNoStatistics, when one is no number, or a negative or impossible one. A
// count over 4294967295 is that number; an average without a sample is that of kNoStatistics.
bool iStatistics_ParseValues(const char* const* fields, ServerStatistics* statistics);

// Samples, computed in double precision and rounded. A count stays at 4294967295.
void iStatistics_AddSpeed(float bytesPerSecond, ServerStatistics* statistics);
// outcome: 0 for a failure, 1 for a success.
void iStatistics_AddOutcome(float outcome, ServerStatistics* statistics);
