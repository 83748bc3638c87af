// The commands of the line protocol, and what tests need of them.
#pragma once

#include "qz/telnet.h"

inline constexpr int kTelnetCode_SE = 240;
inline constexpr int kTelnetCode_NOP = 241;
inline constexpr int kTelnetCode_DataMark = 242;
inline constexpr int kTelnetCode_Break = 243;
inline constexpr int kTelnetCode_Interrupt = 244;
inline constexpr int kTelnetCode_AbortOutput = 245;
inline constexpr int kTelnetCode_AreYouThere = 246;
inline constexpr int kTelnetCode_EraseChar = 247;
inline constexpr int kTelnetCode_EraseLine = 248;
inline constexpr int kTelnetCode_GoAhead = 249;
inline constexpr int kTelnetCode_SB = 250;
inline constexpr int kTelnetCode_WILL = 251;
inline constexpr int kTelnetCode_WONT = 252;
inline constexpr int kTelnetCode_DO = 253;
inline constexpr int kTelnetCode_DONT = 254;
inline constexpr int kTelnetCode_IAC = 255;

// "kTelnetCode_WILL" for 251; null when the code has no name.
const char* iTelnet_CodeName(int code);

// The characters of the longest line that is sent.
inline constexpr uint32_t kTelnet_LongestSentText = 4093;

// True when the last line received filled its buffer before its end came; the rest of it comes next.
bool iTelnet_IsLineCut(const Telnet* telnet);

// From this moment of platform::MonotonicMilliseconds() on, no line is received any more: Telnet_ReceiveLine
// gives Error_Timeout, in the middle of a line too. 0: never, as it is at first.
void iTelnet_GiveUpAt(Telnet* telnet, uint64_t milliseconds);

// Reads the command behind an IAC and answers it: WILL by DONT, DO by WONT. *endsLine becomes true for
// GoAhead. Ended when the stream gives no byte or takes no answer.
ErrorCode iTelnet_Negotiate(Telnet* telnet, bool* endsLine);
