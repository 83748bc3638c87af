// Random sequences on both builds.
#include "tests/synchro/synchro_sequences.h"

namespace {

class SynchroGuardedRandomTest : public synchro::Sequences {};

TEST_F(SynchroGuardedRandomTest, LosesNoFileThatTheGuardsProtect) {
  Play(NumberOfSequences(24));
}

}  // namespace
