#include "tool/win32/system_text.h"

namespace tool {

std::string SystemText(DWORD error) {
  char text[512];
  const DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  DWORD length = FormatMessageA(flags, nullptr, error, 0, text, sizeof text, nullptr);
  while (length > 0 && (text[length - 1] == '\r' || text[length - 1] == '\n' || text[length - 1] == '.'))
    length--;
  if (length == 0) return "system error " + std::to_string(error);
  return std::string(text, length) + " (" + std::to_string(error) + ")";
}

}  // namespace tool
