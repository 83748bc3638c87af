// Any text as the answer to PASV: a port that can be connected to, or nothing touched.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "net/ftpc_internal.h"
#include "qz/error.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  uint8_t address[4] = {1, 2, 3, 4};
  int32_t port = -1;
  if (iFTPc_ParsePassive(text.c_str(), address, &port) == Error_None) {
    if (port < 1 || port > 65535) abort();
  } else if (port != -1 || address[0] != 1) {
    abort();
  }
  return 0;
}
