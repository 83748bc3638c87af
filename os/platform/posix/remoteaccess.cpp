// This system dials for itself; the library finds no service.
#include "os/platform/remoteaccess.h"

namespace platform {

const DialCalls* LoadDialService() {
  return nullptr;
}

}  // namespace platform
