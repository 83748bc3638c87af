// The operands of a command, and the options that contradict them or one another.
#ifndef TOOL_OPERANDS_H
#define TOOL_OPERANDS_H

#include "tool/options.h"

namespace tool {

// Fills the numbers too. Throws Failure (Usage).
void CheckOperands(Options* options);

}  // namespace tool

#endif
