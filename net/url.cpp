// URL texts:
//
//   scheme "://" [user [":" password] "@"] host [":" port] ["/" path]
//   "file://" path
//
// A text is split where it stands. The host needs a terminator where the path needs its "/", so the part
// before the path moves one byte to the left, over the second "/" of "://".
#include "qz/url.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "net/url_internal.h"
#include "os/text/characterclass_internal.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/string.h"

namespace {

constexpr int32_t kNoPort = -1;
constexpr size_t kPublicBufferSize = 1024;

struct Scheme {
  std::string_view name;
  int32_t type;
  int32_t port;
};

constexpr Scheme kSchemes[] = {
    {"file", URLProtocol_File, 0},  {"http", URLProtocol_HTTP, 80}, {"https", URLProtocol_HTTPS, 443},
    {"ftp", URLProtocol_FTP, 21},   {"ftpu", URLProtocol_FTPU, 21}, {"vrx", URLProtocol_FTP, 21},
    {"vrxu", URLProtocol_FTPU, 21},
};

constexpr bool EveryHostSchemeHasPort() {
  for (const Scheme& scheme : kSchemes) {
    if (scheme.type != URLProtocol_File && scheme.port <= 0) return false;
  }
  return true;
}
// So a URL without an explicit port always gets one.
static_assert(EveryHostSchemeHasPort());

bool HasClass(char c, uint8_t bit) {
  return (iCharacter_Class(static_cast<uint8_t>(c)) & bit) != 0;
}

const Scheme* FindScheme(std::string_view name) {
  for (const Scheme& scheme : kSchemes) {
    if (iCharacter_EqualsWithoutCase(name, scheme.name)) return &scheme;
  }
  return nullptr;
}

void Clear(URLData* data) {
  *data = URLData{};
  data->port = kNoPort;
}

// ---- parsing ---------------------------------------------------------------------------------------------

// Cuts white space off the end where it stands and returns the first other character.
char* StripEnds(char* text) {
  text += strspn(text, kURL_WhiteSpace.data());
  size_t length = strlen(text);
  while (length > 0 && strchr(kURL_WhiteSpace.data(), text[length - 1]) != nullptr) --length;
  text[length] = 0;
  return text;
}

bool IsEscape(const char* text) {
  return *text == '%' && HasClass(text[1], CharacterClass_Hex) && HasClass(text[2], CharacterClass_Hex);
}

// Kept: the lower-case digits "a" to "f" count as digits of value 0, so "%2f" is a space; texts saved by
// earlier versions were read this way.
void Unescape(char* text) {
  if (text == nullptr) return;
  const char* from = text;
  char* to = text;
  while (*from != 0) {
    if (!IsEscape(from)) {
      *to++ = *from++;
      continue;
    }
    const int high = iCharacter_HexValue(static_cast<uint8_t>(from[1]));
    const int low = iCharacter_HexValue(static_cast<uint8_t>(from[2]));
    const int byte = high * 16 + low;
    if (byte != 0) *to++ = static_cast<char>(byte);
    from += 3;
  }
  *to = 0;
}

// The decimal number at the start of the text, as far as it fits; kNoPort when there is no digit.
int32_t ParsePort(const char* text) {
  if (!HasClass(*text, CharacterClass_Digit)) return kNoPort;
  int64_t port = 0;
  for (; HasClass(*text, CharacterClass_Digit); ++text) {
    port = port * 10 + (*text - '0');
    if (port > INT32_MAX) return INT32_MAX;
  }
  return static_cast<int32_t>(port);
}

// Splits "user:password@host:port". The last "@" counts: a user that looks like an address must not become
// the host.
void SplitAuthority(char* authority, URLData* data) {
  data->host = authority;
  if (char* at = strrchr(authority, '@'); at != nullptr) {
    *at = 0;
    data->user = authority;
    data->host = at + 1;
    if (char* colon = strchr(data->user, ':'); colon != nullptr) {
      *colon = 0;
      data->password = colon + 1;
    }
  }
  // Kept: a ":" as the first character is part of the host.
  char* colon = strchr(data->host, ':');
  if (colon == nullptr || colon == data->host) return;
  *colon = 0;
  data->port = ParsePort(colon + 1);
}

// `rest` follows "://"; the byte before it is free.
void SplitRest(char* rest, URLData* data) {
  const size_t authorityLength = strcspn(rest, "/");
  if (rest[authorityLength] == '/' && rest[authorityLength + 1] != 0) data->path = rest + authorityLength;
  char* authority = rest - 1;
  memmove(authority, rest, authorityLength);
  authority[authorityLength] = 0;
  SplitAuthority(authority, data);
}

// ---- formatting ------------------------------------------------------------------------------------------

// Writes whole pieces into a buffer; from the first piece that does not fit on, nothing more.
class Writer {
 public:
  Writer(char* buffer, size_t size, bool isExact) : buffer_(buffer), capacity_(size - 1), isExact_(isExact) {
    buffer_[0] = 0;
  }

  void Append(std::string_view text) {
    for (char c : text) AppendPiece({&c, 1});
  }

  // Writes a text with every byte escaped that must be and is not in `exempt`.
  // Kept: "%" stays as it is, so a text that holds "%41" itself comes back as "A"; stored lists are written
  // this way. An exact text has "%25" there.
  void AppendEscaped(const char* text, std::string_view exempt) {
    static constexpr char kHexDigits[] = "0123456789ABCDEF";
    for (; *text != 0; ++text) {
      const char c = *text;
      const bool isEscaped =
          HasClass(c, CharacterClass_UrlEscape) && exempt.find(c) == std::string_view::npos;
      if (!isEscaped && !(isExact_ && IsEscape(text))) {
        AppendPiece({&c, 1});
        continue;
      }
      const auto byte = static_cast<uint8_t>(c);
      const char escape[] = {'%', kHexDigits[byte >> 4], kHexDigits[byte & 15]};
      AppendPiece({escape, sizeof escape});
    }
  }

  bool EndsWithSlash() const { return length_ > 0 && buffer_[length_ - 1] == '/'; }
  bool IsCut() const { return cut_; }

 private:
  void AppendPiece(std::string_view piece) {
    if (cut_ || piece.size() > capacity_ - length_) {
      cut_ = true;
      return;
    }
    memcpy(buffer_ + length_, piece.data(), piece.size());
    length_ += piece.size();
    buffer_[length_] = 0;
  }

  char* buffer_;
  size_t capacity_;
  bool isExact_;
  size_t length_ = 0;
  bool cut_ = false;
};

void AppendAuthority(const URLData& data, Writer* writer) {
  if (data.user != nullptr) {
    writer->AppendEscaped(data.user, "");
    if (data.password != nullptr) {
      writer->Append(":");
      writer->AppendEscaped(data.password, "");
    }
    writer->Append("@");
  }
  writer->AppendEscaped(data.host, "");
  if (data.port != URL_GetProtocolPort(data.protocol)) {
    char port[16];
    snprintf(port, sizeof port, ":%d", static_cast<int>(data.port));
    writer->Append(port);
  }
}

void AppendURL(const URLData& data, Writer* writer) {
  writer->Append(data.protocol);
  writer->Append(kURL_SchemeEnd);
  if (data.host != nullptr) AppendAuthority(data, writer);
  if (data.path == nullptr) return;
  if (!writer->EndsWithSlash() && data.path[0] != '/') writer->Append("/");
  writer->AppendEscaped(data.path, "/&#");
}

ErrorCode Format(const URLData* data, bool isExact, size_t size, char* buffer) {
  if (buffer == nullptr || size == 0) return Error_Invalid;
  buffer[0] = 0;
  if (data == nullptr || data->protocol == nullptr) return Error_Invalid;
  Writer writer(buffer, size, isExact);
  AppendURL(*data, &writer);
  return writer.IsCut() ? Error_Exceed : Error_None;
}

// ---- copying and comparing -------------------------------------------------------------------------------

size_t SizeOf(const char* text) {
  return text == nullptr ? 0 : strlen(text) + 1;
}

char* CopyTo(const char* text, char** next) {
  if (text == nullptr) return nullptr;
  char* copy = *next;
  memcpy(copy, text, SizeOf(text));
  *next += SizeOf(text);
  return copy;
}

int32_t CompareTexts(const char* a, const char* b) {
  if (a == nullptr || b == nullptr) return (a == nullptr) - (b == nullptr);
  return String_Compare(a, b);
}

}  // namespace

int32_t URL_GetProtocolType(const char* scheme) {
  const Scheme* found = scheme == nullptr ? nullptr : FindScheme(scheme);
  return found == nullptr ? -1 : found->type;
}

int32_t URL_GetProtocolPort(const char* scheme) {
  const Scheme* found = scheme == nullptr ? nullptr : FindScheme(scheme);
  return found == nullptr ? kNoPort : found->port;
}

int32_t URL_GetProtocolTypePort(int32_t type) {
  if (type == URLProtocol_File) return kNoPort;
  for (const Scheme& scheme : kSchemes) {
    if (scheme.type == type) return scheme.port;
  }
  return kNoPort;
}

ErrorCode URL_NewData(const char* text, URLData** data) {
  if (data == nullptr) return Error_Invalid;
  *data = nullptr;
  if (text == nullptr) return Error_Invalid;

  auto* record = static_cast<URLData*>(Memory_New(sizeof(URLData) + SizeOf(text)));
  if (record == nullptr) return Error_Memory;
  char* copy = reinterpret_cast<char*>(record + 1);
  memcpy(copy, text, SizeOf(text));
  const ErrorCode status = URL_ToData(copy, record);
  if (status != Error_None) {
    Memory_Delete(record);
    return status;
  }
  *data = record;
  return Error_None;
}

ErrorCode URL_ToData(char* text, URLData* data) {
  if (data == nullptr) return Error_Invalid;
  Clear(data);
  if (text == nullptr) return Error_Invalid;

  text = StripEnds(text);
  char* schemeEnd = strstr(text, kURL_SchemeEnd.data());
  if (schemeEnd == nullptr) return Error_Invalid;
  const Scheme* scheme = FindScheme({text, static_cast<size_t>(schemeEnd - text)});
  if (scheme == nullptr) return Error_Invalid;

  *schemeEnd = 0;
  data->protocol = text;
  char* rest = schemeEnd + kURL_SchemeEnd.size();
  if (scheme->type == URLProtocol_File) {
    data->port = 0;
    data->path = *rest == 0 ? nullptr : rest;
  } else {
    SplitRest(rest, data);
    if (data->port == kNoPort) data->port = scheme->port;
  }
  Unescape(data->user);
  Unescape(data->password);
  Unescape(data->host);
  Unescape(data->path);
  return Error_None;
}

ErrorCode iURL_Format(const URLData* data, size_t size, char* buffer) {
  return Format(data, false, size, buffer);
}

ErrorCode iURL_FormatExactly(const URLData* data, size_t size, char* buffer) {
  return Format(data, true, size, buffer);
}

ErrorCode URL_FromData(const URLData* data, char* buffer) {
  return iURL_Format(data, kPublicBufferSize, buffer);
}

URLData* URL_CopyData(const URLData* data) {
  if (data == nullptr) return nullptr;
  const size_t textSize = SizeOf(data->protocol) + SizeOf(data->user) + SizeOf(data->password) +
                          SizeOf(data->host) + SizeOf(data->path);
  auto* copy = static_cast<URLData*>(Memory_New(sizeof(URLData) + textSize));
  if (copy == nullptr) return nullptr;
  char* next = reinterpret_cast<char*>(copy + 1);
  copy->protocol = CopyTo(data->protocol, &next);
  copy->user = CopyTo(data->user, &next);
  copy->password = CopyTo(data->password, &next);
  copy->host = CopyTo(data->host, &next);
  copy->port = data->port;
  copy->path = CopyTo(data->path, &next);
  return copy;
}

int32_t iURL_Compare(const URLData* a, const URLData* b) {
  const char* const texts[][2] = {
      {a->protocol, b->protocol}, {a->user, b->user}, {a->password, b->password}, {a->host, b->host}};
  for (const auto& pair : texts) {
    const int32_t order = CompareTexts(pair[0], pair[1]);
    if (order != 0) return order;
  }
  if (a->port != b->port) return a->port < b->port ? -1 : 1;
  return CompareTexts(a->path, b->path);
}
