// Another time zone than the tests' fixed UTC, for as long as the object lives.
#pragma once

class TimeZone {
 public:
  // As the TZ variable names it on both platforms: "EST5EDT".
  explicit TimeZone(const char* name);
  ~TimeZone();
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
};
