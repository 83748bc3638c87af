#include "os/platform/walltime.h"

#include <time.h>

namespace platform {
namespace {

constexpr time_t kDaySeconds = 86400;

// The seconds by which local time is ahead of UTC at a moment.
bool UtcOffset(time_t moment, time_t* offset) {
  tm local{};
  if (localtime_r(&moment, &local) == nullptr) return false;
  *offset = local.tm_gmtoff;
  return true;
}

bool HasUtcOffset(time_t moment, time_t offset) {
  time_t found = 0;
  return UtcOffset(moment, &found) && found == offset;
}

}  // namespace

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

// In a repeated hour the system's own function, mktime, gives one moment or the other depending on its
// previous call, so that one text would be read as two times. Here the offset of the day after is tried
// first: in a repeated hour the later moment counts. A time in a daylight-saving gap counts as the one an
// hour earlier.
bool SecondsFromLocal(const CalendarFields& fields, int64_t* seconds) {
  tm local{};
  local.tm_year = fields.year - 1900;
  local.tm_mon = fields.month - 1;
  local.tm_mday = fields.day;
  local.tm_hour = fields.hour;
  local.tm_min = fields.minute;
  local.tm_sec = fields.second;
  const time_t fieldsAsUtc = timegm(&local);
  time_t after = 0;
  time_t before = 0;
  if (!UtcOffset(fieldsAsUtc + kDaySeconds, &after)) return false;
  *seconds = fieldsAsUtc - after;
  if (HasUtcOffset(*seconds, after)) return true;
  if (!UtcOffset(fieldsAsUtc - kDaySeconds, &before)) return false;
  if (HasUtcOffset(fieldsAsUtc - before, before)) *seconds = fieldsAsUtc - before;
  return true;
}

bool LocalFileTime(uint64_t utcFileTime, uint64_t* localFileTime) {
  const int64_t units = static_cast<int64_t>(utcFileTime);
  time_t offset = 0;
  if (!UtcOffset(units / kFileTimeUnitsPerSecond - kSecondsFrom1601To1970, &offset)) return false;
  *localFileTime = utcFileTime + static_cast<uint64_t>(offset * kFileTimeUnitsPerSecond);
  return true;
}

}  // namespace platform
