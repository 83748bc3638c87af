/* An extension that registers nothing. */
#define EXTENSION_NAME "silent"
#include "extension.h"

static ErrorCode RegisterClasses(void) {
  return Error_None;
}
