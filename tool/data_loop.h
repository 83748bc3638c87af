// Moving bytes between a connection and the local disk, in large pieces, with Ctrl-C noticed at any time.
#ifndef TOOL_DATA_LOOP_H
#define TOOL_DATA_LOOP_H

#include <cstdint>
#include <optional>

#include "qz/stream.h"
#include "tool/options.h"
#include "tool/part_file.h"
#include "tool/reporter.h"

namespace tool {

// Receives into the part file. Error_None when `limit` bytes were received, Error_Ended at a clean end of the
// data, else the status of the failure. The part file has every byte received, none beyond the limit.
// Throws Interruption, and Failure (Disk) when the part file cannot take the data.
ErrorCode ReceiveInto(PartFile* part, Stream* stream, std::optional<std::uint64_t> limit,
                      const Options& options, Reporter* reporter, ProgressLine* progress);

// Reads one byte where the end is expected: count 0 and the status that ended the data, or count 1 and the
// byte.
struct OneByte {
  std::uint32_t count;
  ErrorCode status;
  char byte = 0;
};
OneByte ReadOneByte(Stream* stream, const Options& options);

// Sends the file from its current position, which `position` follows, to `end`. Error_None when all of it was
// sent or the file ended before; else the status of the failure. Throws as above.
ErrorCode SendFrom(DiskFile* file, std::uint64_t* position, std::uint64_t end, Stream* stream,
                   const Options& options, Reporter* reporter, ProgressLine* progress);

// Waits until the peer closes its side, for at most the time-out of the options.
void WaitForPeerClose(Stream* stream, const Options& options);

}  // namespace tool

#endif
