// What the tests need of the records of failures.
#pragma once

#include <cstdint>

// How many threads' last failures are kept at one time.
constexpr uint32_t kErrorRecordCount = 256;
