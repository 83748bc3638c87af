#include "tests/support/time_zone.h"

#include <time.h>

#include <cstdlib>
#include <string>

namespace {

void Use(const char* name) {
#ifdef _WIN32
  _putenv((std::string("TZ=") + name).c_str());
  _tzset();
#else
  setenv("TZ", name, 1);
  tzset();
#endif
}

}  // namespace

TimeZone::TimeZone(const char* name) {
  Use(name);
}

TimeZone::~TimeZone() {
  Use("UTC0");
}
