/* Time: points in time, calendar records, date texts and durations in words.
 *
 * A Time is a moment; calendar records and texts are in local time, as the C library's time zone says (TZ).
 * Records and texts are the caller's and are borrowed for the call only. Any thread; needs no OS_Init;
 * nothing blocks or allocates. */
#ifndef QZ_TIME_H
#define QZ_TIME_H

#include "qz/types.h"

QZ_BEGIN_C

/* A point in time; both fields 0 means none. */
typedef struct Time {
  uint32_t seconds;      /* since 1970-01-01 00:00 UTC */
  uint32_t milliseconds; /* 0 to 999 in a normalised record */
} Time;

/* A calendar record in local time. */
typedef struct TimeData {
  uint32_t year;         /* four digits */
  uint32_t month;        /* 1 to 12 */
  uint32_t dayOfWeek;    /* 0 Sunday to 6 Saturday */
  uint32_t day;          /* 1 to 31 */
  uint32_t hour;         /* 0 to 23 */
  uint32_t minute;       /* 0 to 59 */
  uint32_t second;       /* 0 to 59 */
  uint32_t milliseconds; /* 0 to 999 */
} TimeData;

/* Stores the current time. time: out, null ignored. */
QZ_API void Time_Get(Time* time);

/* Sets both fields to 0. Null is ignored. */
QZ_API void Time_Zero(Time* time);

/* Stores the current time as a calendar record. data: out, null ignored. */
QZ_API void Time_GetData(TimeData* data);

/* Converts a calendar record; dayOfWeek is not read, and the time zone decides whether daylight saving time
 * applies. On Linux a time in a daylight-saving gap counts as the one an hour earlier, and one in a repeated
 * hour as the later of the two; on Windows the C library chooses. time: out; both fields 0 after a failure.
 * Error_None; Error_Fail, reported through Error, when a field lies outside its range, the day outside its
 * month, or the moment outside 1970-01-01 to 2106-02-07 UTC; Error_Invalid for a null argument. Nothing is
 * normalised. */
QZ_API ErrorCode Time_DataToTime(const TimeData* data, Time* time);

/* Converts a time; dayOfWeek is filled in, the milliseconds are carried over as they are. data: out, null
 * ignored; all fields 0 for a null time or when the C library knows no local time for it. */
QZ_API void Time_TimeToData(const Time* time, TimeData* data);

/* Returns a negative number, 0 or a positive number as a lies before, at or after b: the difference of the
 * seconds when they differ, otherwise that of the milliseconds, limited to 32 bits. A null time counts as
 * none. */
QZ_API int32_t Time_Compare(const Time* a, const Time* b);

/* Returns b - a in milliseconds: positive when b is later. 0 for a null argument. */
QZ_API double Time_DiffMilliseconds(const Time* a, const Time* b);

/* Returns b - a in seconds: the same times 0.001. */
QZ_API double Time_DiffSeconds(const Time* a, const Time* b);

/* Adds seconds and milliseconds, either of which may be negative. result: out, may be time; untouched when an
 * argument is null. The milliseconds of the result are 0 to 999, except that a sum of exactly -1000, -2000,
 * ... milliseconds gives 1000 and one second fewer. The sum of the milliseconds wraps at 32 bits, signed; the
 * seconds do so too, unsigned. */
QZ_API void Time_Add(const Time* time, int32_t seconds, int32_t milliseconds, Time* result);

/* Prints "Sun Jan  5 09:03:07 1997" (the day padded with a space) and returns buffer. buffer: out, at least
 * 32 bytes; an empty text when time is null or the C library knows no local time for it. Returns null for a
 * null buffer. */
QZ_API char* Time_ToString(const Time* time, char* buffer);

/* Reads a date as listings and replies write it ("Jan  5 09:03", "5 Jan 1996 10:00 pm", a Time_ToString
 * text).
 *
 * The text is split at spaces, tabs, line ends and commas. Words: the first that contains the beginning of a
 * weekday's name is skipped, the next that contains that of a month's is the month (May is read as March),
 * and one with "pm" adds 12 to an hour below 12. Numbers: four characters are the year, digits with a colon
 * are hour:minute or hour:minute:second, below 32 the day, 32 to 80 nothing, 81 to 1900 the year less 1900,
 * above the year. Month, day, hour and minute must be there. Without a year the date lies in the past twelve
 * months, by the month.
 *
 * time: out; both fields 0 after a failure. Error_None; Error_Invalid when something is missing or an
 * argument is null. A date that does not exist (February 30, 25:00) is reported through Error and gives
 * Error_None with both fields 0. */
QZ_API ErrorCode Time_FromString(const char* text, Time* time);

/* Prints a duration ("59 seconds", "1 minute 1 second", "10 minutes", "1 hour 60 minutes", "2 days 3 hours")
 * and returns the length of the text. seconds: 4294967295 prints "(Unknown)". From ten minutes the smaller
 * number is rounded, up to 60 minutes or 24 hours. buffer: out, at least 32 bytes; null gives 0. */
QZ_API int32_t Time_CountdownString(uint32_t seconds, char* buffer);

QZ_END_C

#endif
