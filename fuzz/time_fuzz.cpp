// Date texts: any bytes give one of two statuses, a time that prints, and a text that reads back.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "os/time/clock_testing.h"
#include "qz/error.h"
#include "qz/time.h"

namespace {

void Require(bool holds) {
  if (!holds) abort();
}

bool IsNone(const Time& time) {
  return time.seconds == 0 && time.milliseconds == 0;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("TZ", "UTC0", 1);
  Error_SetReporter([](const char*) {});
  static constexpr Time kNow = {858421230, 0};
  iClock_SetWallClock(&kNow);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Time time = {7, 7};
  const ErrorCode status = Time_FromString(text.c_str(), &time);
  Require(status == Error_None || status == Error_Invalid);
  Require(time.milliseconds == 0);
  if (status != Error_None) {
    Require(IsNone(time));
    return 0;
  }

  char printed[32];
  Time_ToString(&time, printed);
  const size_t length = strlen(printed);
  Require(length == 24);

  // A printed time gives back the same second, but for May, which reads as March.
  Time again = {7, 7};
  Require(Time_FromString(printed, &again) == Error_None);
  Require(strstr(printed, "May") != nullptr || Time_Compare(&time, &again) == 0);
  return 0;
}
