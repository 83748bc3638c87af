// Conversions between times and the system's file times: units of 100 nanoseconds since 1601-01-01 00:00 UTC.
#pragma once

#include <cstdint>

#include "qz/time.h"

// File time to time. With toLocal the result is the same moment; Windows, though, uses today's UTC offset for
// every file time, so that a date under the other rule (summer or winter time) is off by the difference.
// Without toLocal the calendar fields, which are in UTC, are taken for local ones, so that the result is off
// by the UTC offset of the time zone. Error_Fail after a report, and the record zeroed, when the value has no
// calendar fields or lies outside the range of a Time.
ErrorCode iTime_FromFileTime(uint64_t hundredNanoseconds, bool toLocal, Time* time);

// Time to file time. The fields of the result are local ones: off by the UTC offset, the other way.
// Error_Fail, and 0 in the result, when the time has no calendar fields.
ErrorCode iTime_ToFileTime(const Time* time, uint64_t* hundredNanoseconds);

// Time_TimeToData that says whether it worked; the record is zeroed when it did not.
bool iTime_ToLocalData(const Time* time, TimeData* data);
