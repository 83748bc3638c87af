// The main program of every test program. The time zone is fixed, so that date tests say the same everywhere.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
#ifdef _WIN32
  _putenv("TZ=UTC0");
#else
  setenv("TZ", "UTC0", 1);
#endif
  setvbuf(stdout, nullptr, _IONBF, 0);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
