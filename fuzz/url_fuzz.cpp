// Any text: parsing, formatting and copying stay inside their buffers, and a copy equals its original.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "net/url_internal.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/url.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  URLData* data = nullptr;
  const ErrorCode status = URL_NewData(text.c_str(), &data);
  if ((status == Error_None) != (data != nullptr)) abort();
  if (data == nullptr) return 0;

  char shortText[16];
  iURL_Format(data, sizeof shortText, shortText);
  if (strlen(shortText) >= sizeof shortText) abort();
  char written[1024];
  URL_FromData(data, written);
  if (strlen(written) > 1023) abort();

  URLData* copy = URL_CopyData(data);
  if (copy == nullptr || iURL_Compare(data, copy) != 0) abort();
  Memory_Delete(copy);
  Memory_Delete(data);
  return 0;
}
