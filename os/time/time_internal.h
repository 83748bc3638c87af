// Conversions between times and the system's file times: units of 100 nanoseconds since 1601-01-01 00:00 UTC.
#pragma once

#include <cstdint>

#include "qz/time.h"

// File time to time. With toLocal the result is the same moment; on Windows, which makes every file time
// local with the distance from UTC that holds today, that of a date under the other rule (summer or winter)
// is off by the difference. Without toLocal the calendar fields, which are in UTC, are taken for local ones,
// so that the result is off by the distance of the time zone. Error_Fail after a report, and the record
// zeroed, when the value has no calendar fields or lies outside a Time.
ErrorCode iTime_FromFileTime(uint64_t hundredNanoseconds, bool toLocal, Time* time);

// Time to file time. The fields of the result are local ones: off by the distance of the time zone, the other
// way. Error_Fail, and 0 in the result, when the time has no calendar fields.
ErrorCode iTime_ToFileTime(const Time* time, uint64_t* hundredNanoseconds);

// Time_TimeToData that says whether it worked; the record is zeroed when it did not.
bool iTime_ToLocalData(const Time* time, TimeData* data);
