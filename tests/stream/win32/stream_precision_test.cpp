// Programs set the x87 unit to single precision (graphics libraries do) or to extended precision.
#include <float.h>
#include <gtest/gtest.h>

#include "qz/sizestream.h"

namespace {

class Precision {
 public:
  explicit Precision(unsigned int precision) { _controlfp(precision, _MCW_PC); }
  ~Precision() { _controlfp(before_ & _MCW_PC, _MCW_PC); }

 private:
  unsigned int before_ = _controlfp(0, 0);
};

// The position of the only report when one byte is read there; 0 without a report, 1 with several.
uint32_t ReportOfOneByte(uint32_t steps, uint32_t total, uint32_t before) {
  struct Reports {
    int count = 0;
    uint32_t position = 0;
    static void Take(void* context, uint32_t position, uint32_t) {
      auto* self = static_cast<Reports*>(context);
      ++self->count;
      self->position = position;
    }
  } reports;
  Stream* stream = SizeStream_New();
  Stream_SetIdleMethod(stream, steps, Reports::Take, &reports);
  Stream_SetProgress(stream, before, total);
  Stream_Read(stream, 1, nullptr);
  Stream_Delete(stream);
  return reports.count > 1 ? 1 : reports.position;
}

TEST(StreamProgress, DoesNotDependOnThePrecisionThatTheProgramHasSet) {
  for (const unsigned int precision : {_PC_24, _PC_53, _PC_64}) {
    const Precision set(precision);
    EXPECT_EQ(ReportOfOneByte(2147483648u, 2147483904u, 2139095295u), 2139095295u) << precision;
    EXPECT_EQ(ReportOfOneByte(2147483648u, 2147483904u, 2147483903u), 2147483903u) << precision;
    EXPECT_EQ(ReportOfOneByte(3238002687u, 3238002880u, 3238002000u), 3238002000u) << precision;
  }
}

}  // namespace
