// The end of a saved transfer that is not completed.
#ifndef TOOL_DISCARD_H
#define TOOL_DISCARD_H

#include "tool/store.h"

namespace tool {

// Removes the transfer with its unfinished data and its log. The caller has the claim. Throws Failure when
// its record cannot be read: files at the paths of a damaged record are nobody's to remove. Nothing is
// removed then.
void Discard(Store* store, unsigned number);

}  // namespace tool

#endif
