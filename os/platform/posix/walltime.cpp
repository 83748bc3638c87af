#include "os/platform/walltime.h"

#include <time.h>

namespace platform {
namespace {

constexpr time_t kDaySeconds = 86400;

// The seconds by which local time is ahead of UTC at a moment.
bool DistanceFromUtc(time_t moment, time_t* distance) {
  tm local{};
  if (localtime_r(&moment, &local) == nullptr) return false;
  *distance = local.tm_gmtoff;
  return true;
}

bool HasDistanceFromUtc(time_t moment, time_t distance) {
  time_t found = 0;
  return DistanceFromUtc(moment, &found) && found == distance;
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

// The system's own function, mktime, gives one or the other moment of an hour that comes twice by what it was
// asked before, and one text would be read as two times. Here the rule of the day after comes first: the
// later moment of two; and a time in an hour that is left out is taken for the one an hour earlier.
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
  if (!DistanceFromUtc(fieldsAsUtc + kDaySeconds, &after)) return false;
  *seconds = fieldsAsUtc - after;
  if (HasDistanceFromUtc(*seconds, after)) return true;
  if (!DistanceFromUtc(fieldsAsUtc - kDaySeconds, &before)) return false;
  if (HasDistanceFromUtc(fieldsAsUtc - before, before)) *seconds = fieldsAsUtc - before;
  return true;
}

bool LocalFileTime(uint64_t utcFileTime, uint64_t* localFileTime) {
  const int64_t units = static_cast<int64_t>(utcFileTime);
  time_t distance = 0;
  if (!DistanceFromUtc(units / kFileTimeUnitsPerSecond - kSecondsFrom1601To1970, &distance)) return false;
  *localFileTime = utcFileTime + static_cast<uint64_t>(distance * kFileTimeUnitsPerSecond);
  return true;
}

}  // namespace platform
