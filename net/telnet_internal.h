// What the FTP control connection needs of a line connection.
#pragma once

#include "qz/telnet.h"

// The characters of the longest line that is sent.
inline constexpr uint32_t kTelnet_LongestSentText = 4093;

// True when the last line received filled its buffer before its end came; the rest of it comes next.
bool iTelnet_IsLineCut(const Telnet* telnet);

// From this moment of platform::MonotonicMilliseconds() on, Telnet_ReceiveLine gives Error_Timeout, in the
// middle of a line too. 0: never, the initial value.
void iTelnet_GiveUpAt(Telnet* telnet, uint64_t milliseconds);
