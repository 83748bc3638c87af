// What the library remembers of servers beyond a program's end: their addresses ("names.qzc"), their speed
// and reliability ("through.qzc"), both in the cache folder (docs/formats.md). An address, not a name, has
// statistics, so several names of a server share them.
//
// Between Start and End every function may be called from any thread; one that cannot have the lists within 5
// seconds does nothing. Whichever is called saves what changed when a minute has passed since the last time.
//
// All programs of a user share the files. A save keeps the lines that other programs have stored since this
// one read the file, and knows them from then on. When both have changed the same line, that of the program
// that saves later stands: samples of the other one are lost. A save that cannot have the lock of the files
// within a quarter of a second waits for the next minute, the last one of a program for two seconds.
#pragma once

#include <cstdint>

#include "qz/types.h"

// Reads both files; a missing one is an empty one. Error_Inited when they are open already; Error_Memory;
// what File_GetSysDir and Config_Read give; nothing is open after a failure.
ErrorCode iStatistics_Start();

// Writes what changed and forgets the rest; no other thread may be in a call. Nothing happens when they are
// not open.
void iStatistics_End();

// A connection to a server was made. address: 4 bytes, network order. Another address than before takes the
// statistics of the old one with it. Nothing is kept of a host whose name cannot stand in the file: one with
// a blank, a control byte or "#", or of more than 1023 bytes.
void iStatistics_RecordAddress(const char* host, int32_t port, const uint8_t* address);

// bytesPerSecond: one sample, for the server and for all servers together; a negative one, an infinite one
// and "not a number" are dropped. Nothing happens for a server without a known address.
void iStatistics_RecordSpeed(const char* host, int32_t port, float bytesPerSecond);

// A transfer dropped the server. Nothing happens for a server without a known address.
void iStatistics_RecordFailure(const char* host, int32_t port);

// Bytes per second of the server, or of all servers when nothing is known of it. -1 when there is no sample,
// for a server that only has failures too, and when the lists cannot be had.
float iStatistics_AverageSpeed(const char* host, int32_t port);

// How long calls wait for the lists.
inline constexpr uint32_t kStatisticsWaitMilliseconds = 5000;

// What is known of a server.
struct ServerStatistics {
  uint32_t speedSamples;
  float averageSpeed;  // bytes per second; -1 without a sample
  uint32_t outcomeSamples;
  float successRatio;  // 0 to 1; 0.5 without a sample
};

// The server's own line (not that of all servers together); false, and the values of a missing line, when
// there is none or the lists cannot be had.
bool iStatistics_Get(const char* host, int32_t port, ServerStatistics* statistics);
