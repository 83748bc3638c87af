/* Time: points in time, calendar records, date texts and durations in words. */
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

QZ_API void Time_Get(Time* time);
QZ_API void Time_Zero(Time* time);
QZ_API void Time_GetData(TimeData* data);
QZ_API ErrorCode Time_DataToTime(const TimeData* data, Time* time);
QZ_API void Time_TimeToData(const Time* time, TimeData* data);
QZ_API int32_t Time_Compare(const Time* a, const Time* b);
QZ_API double Time_DiffMilliseconds(const Time* a, const Time* b);
QZ_API double Time_DiffSeconds(const Time* a, const Time* b);
QZ_API void Time_Add(const Time* time, int32_t seconds, int32_t milliseconds, Time* result);
QZ_API char* Time_ToString(const Time* time, char* buffer);
QZ_API ErrorCode Time_FromString(const char* text, Time* time);
QZ_API int32_t Time_CountdownString(uint32_t seconds, char* buffer);

QZ_END_C

#endif
