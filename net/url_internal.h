// What the clients of a URL inside the library need beyond the exported functions.
#pragma once

#include <cstddef>
#include <string_view>

#include "qz/url.h"

// What stands between scheme and host.
inline constexpr std::string_view kURL_SchemeEnd = "://";

// What is stripped from both ends of a URL text before it is parsed.
inline constexpr std::string_view kURL_WhiteSpace = " \n\r\t";

// Writes the URL text of a record, escaped, into a buffer of `size` bytes. Error_Exceed when text and
// terminator do not fit: the text is then cut, never inside an escape. Error_Invalid for null arguments, a
// null protocol or size 0; the buffer, if there is one, is then empty.
ErrorCode iURL_Format(const URLData* data, size_t size, char* buffer);

// The same for a text that is parsed again to the same record: a "%" that would begin an escape is "%25".
ErrorCode iURL_FormatExactly(const URLData* data, size_t size, char* buffer);

// The order of two URLs: protocol, user, password and host as texts, then the port, then the path; a missing
// text sorts after a present one. Negative, 0 or positive as a comes before b, equals it, or comes after it.
int32_t iURL_Compare(const URLData* a, const URLData* b);
