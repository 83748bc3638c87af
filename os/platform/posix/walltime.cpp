#include "os/platform/walltime.h"

#include <time.h>

namespace platform {
WallTime ReadWallClock() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return {now.tv_sec, static_cast<uint32_t>(now.tv_nsec / 1000000)};
}

bool LocalFromSeconds(int64_t seconds, CalendarFields* fields) {
  const time_t moment = seconds;
  tm local{};
  if (localtime_r(&moment, &local) == nullptr) return false;
  *fields = {local.tm_year + 1900, local.tm_mon + 1, local.tm_wday, local.tm_mday,
             local.tm_hour,        local.tm_min,     local.tm_sec};
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
  *seconds = mktime(&local);
  return *seconds != -1;
}

bool LocalFileTime(uint64_t utcFileTime, uint64_t* localFileTime) {
  const int64_t units = static_cast<int64_t>(utcFileTime);
  const time_t moment = units / kFileTimeUnitsPerSecond - kSecondsFrom1601To1970;
  tm local{};
  if (localtime_r(&moment, &local) == nullptr) return false;
  *localFileTime = utcFileTime + static_cast<uint64_t>(local.tm_gmtoff * kFileTimeUnitsPerSecond);
  return true;
}

}  // namespace platform
