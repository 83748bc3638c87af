// Any lines as a reply: what comes out is a reply inside its record, or a status.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "net/ftpc_internal.h"
#include "qz/error.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(bytes), size);
  FTPReplyReader reader;
  ErrorCode status = Error_Block;
  while (status == Error_Block && !rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    status = reader.Take(line, static_cast<uint32_t>(line.size()));
    if (iFTPc_WelcomeText(line).size() > line.size()) abort();
    rest.remove_prefix(line.size() < rest.size() ? line.size() + 1 : line.size());
  }
  if (status != Error_None) return 0;
  Reply reply;
  reader.Get(&reply);
  if (memchr(reply.text, 0, sizeof reply.text) == nullptr) abort();
  if (reply.code < -99 || reply.code > 999) abort();

  // The texts of replies as sizes, dates and names.
  uint64_t fileSize = 0;
  Time time;
  char path[1024];
  iFTPc_ParseSize(reply.text, &fileSize);
  iFTPc_ParseModTime(reply.text, &time);
  if (iFTPc_ParseQuoted(reply.text, path) == Error_None && strlen(path) == 0) abort();
  return 0;
}
