// What the library remembers of servers beyond a program's end: their addresses ("names.qzc"), their speed
// and reliability ("through.qzc"), both in the cache folder. Every function may be called from any thread;
// one that cannot have the lists within 5 seconds does nothing.
#pragma once

#include <cstdint>

#include "qz/types.h"

// Reads both files; a missing one is an empty one. Error_Inited when they are open already.
ErrorCode iStatistics_Start();

// Writes what changed and forgets the rest. Nothing happens when they are not open.
void iStatistics_End();

// A connection to a server was made. address: 4 bytes, network order. Another address than before takes the
// statistics of the old one with it.
void iStatistics_RecordAddress(const char* host, int32_t port, const uint8_t* address);

// bytesPerSecond: one sample, for the server and for all servers together.
void iStatistics_RecordSpeed(const char* host, int32_t port, float bytesPerSecond);

// A transfer dropped the server.
void iStatistics_RecordFailure(const char* host, int32_t port);

// Bytes per second of the server, or of all servers when it has no sample of its own; -1 when nothing is
// known.
float iStatistics_AverageSpeed(const char* host, int32_t port);

// What is known of a server.
struct ServerStatistics {
  uint32_t speedSamples;
  float averageSpeed;  // bytes per second; -1 without a sample
  uint32_t outcomeSamples;
  float successRatio;  // 0 to 1; 0.5 without a sample
};

// The server's own line (not that of all servers together); false, and the values of a missing line, when
// there is none.
bool iStatistics_Get(const char* host, int32_t port, ServerStatistics* statistics);
