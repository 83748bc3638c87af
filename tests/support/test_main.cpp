// The main program of every test program, and of the children that tests start. The time zone is fixed, so
// that date tests say the same everywhere.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "tests/support/child_program.h"

int main(int argc, char** argv) {
  int childExitCode = 0;
  if (RunAsChild(argc, argv, &childExitCode)) return childExitCode;
#ifdef _WIN32
  _putenv("TZ=UTC0");
#else
  setenv("TZ", "UTC0", 1);
#endif
  setvbuf(stdout, nullptr, _IONBF, 0);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
