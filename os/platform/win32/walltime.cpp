#include "os/platform/walltime.h"

#include <time.h>
#include <windows.h>

namespace platform {
namespace {

constexpr int64_t kUnitsPerMillisecond = 10000;

uint64_t Join(const FILETIME& time) {
  return (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

}  // namespace

WallTime ReadWallClock() {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  const int64_t units = static_cast<int64_t>(Join(now));
  return {units / kFileTimeUnitsPerSecond - kSecondsFrom1601To1970,
          static_cast<uint32_t>(units % kFileTimeUnitsPerSecond / kUnitsPerMillisecond)};
}

bool LocalFromSeconds(int64_t seconds, CalendarFields* fields) {
  const __time64_t moment = seconds;
  // The runtime keeps one record a thread, so that no lock is needed.
  const tm* local = _localtime64(&moment);
  if (local == nullptr) return false;
  *fields = {local->tm_year + 1900, local->tm_mon + 1, local->tm_wday, local->tm_mday,
             local->tm_hour,        local->tm_min,     local->tm_sec};
  return true;
}

bool SecondsFromLocal(const CalendarFields& fields, int64_t* seconds) {
  tm local{};
  local.tm_year = fields.year - 1900;
  local.tm_mon = fields.month - 1;
  local.tm_mday = fields.day;
  local.tm_hour = fields.hour;
  local.tm_min = fields.minute;
  local.tm_sec = fields.second;
  local.tm_isdst = -1;
  *seconds = _mktime64(&local);
  return *seconds != -1;
}

bool LocalFileTime(uint64_t utcFileTime, uint64_t* localFileTime) {
  const FILETIME utc = {static_cast<DWORD>(utcFileTime), static_cast<DWORD>(utcFileTime >> 32)};
  FILETIME local;
  if (!FileTimeToLocalFileTime(&utc, &local)) return false;
  *localFileTime = Join(local);
  return true;
}

}  // namespace platform
