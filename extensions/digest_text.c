#include "digest_text.h"

#include <stdio.h>
#include <string.h>

#include "qz/error.h"
#include "qz/memory.h"
#include "qz/url.h"

#define DIGITS (SHA256_TEXT_SIZE - 1)
#define TEXT_SIZE 1024

static const char kSuffix[] = ".sha256";

/* A part of a text. */
typedef struct Span {
  const char* begin;
  size_t length;
} Span;

static char LowerHexadecimal(char digit) {
  if (digit >= 'A' && digit <= 'F') return (char)(digit - 'A' + 'a');
  return (digit >= '0' && digit <= '9') || (digit >= 'a' && digit <= 'f') ? digit : '\0';
}

static int ReadDigits(Span text, char digest[SHA256_TEXT_SIZE]) {
  digest[0] = '\0';
  if (text.length < DIGITS) return 0;
  char read[SHA256_TEXT_SIZE] = "";
  for (size_t i = 0; i < DIGITS; ++i) {
    read[i] = LowerHexadecimal(text.begin[i]);
    if (read[i] == '\0') return 0;
  }
  memcpy(digest, read, sizeof read);
  return 1;
}

static Span Rest(Span text, size_t from) {
  const Span rest = {text.begin + from, text.length - from};
  return rest;
}

static int BeginsWith(Span text, const char* prefix) {
  const size_t length = strlen(prefix);
  return text.length >= length && memcmp(text.begin, prefix, length) == 0;
}

static Span LastPart(Span path) {
  size_t begin = path.length;
  while (begin > 0 && path.begin[begin - 1] != '/' && path.begin[begin - 1] != '\\') --begin;
  return Rest(path, begin);
}

static Span WithoutBlanksAtEnds(Span text) {
  while (text.length > 0 && strchr(" \t\r", text.begin[text.length - 1]) != NULL) --text.length;
  while (text.length > 0 && strchr(" \t", text.begin[0]) != NULL) text = Rest(text, 1);
  return text;
}

/* DIGEST [blank [*] NAME]; name is empty for a digest alone. */
static int ReadPlainLine(Span line, char digest[SHA256_TEXT_SIZE], Span* name) {
  if (line.length > 0 && line.begin[0] == '\\') line = Rest(line, 1);
  if (!ReadDigits(line, digest)) return 0;
  line = Rest(line, DIGITS);
  if (line.length > 0 && line.begin[0] != ' ' && line.begin[0] != '\t') return 0;
  *name = WithoutBlanksAtEnds(line);
  if (name->length > 0 && name->begin[0] == '*') *name = Rest(*name, 1);
  return 1;
}

/* SHA256 (NAME) = DIGEST */
static int ReadTaggedLine(Span line, char digest[SHA256_TEXT_SIZE], Span* name) {
  static const char before[] = "SHA256 (";
  static const char between[] = ") = ";
  const size_t around = sizeof before - 1 + sizeof between - 1 + DIGITS;
  if (line.length <= around || !BeginsWith(line, before)) return 0;
  name->begin = line.begin + sizeof before - 1;
  name->length = line.length - around;
  const Span after = {name->begin + name->length, line.length - (sizeof before - 1) - name->length};
  return BeginsWith(after, between) && ReadDigits(Rest(after, sizeof between - 1), digest);
}

static int HasName(Span path, const char* name) {
  const Span last = LastPart(path);
  return last.length != 0 && last.length == strlen(name) && memcmp(last.begin, name, last.length) == 0;
}

static Span TakeLine(Span* text) {
  const char* end = memchr(text->begin, '\n', text->length);
  const size_t length = end != NULL ? (size_t)(end - text->begin) : text->length;
  const Span line = {text->begin, length};
  *text = Rest(*text, end != NULL ? length + 1 : length);
  return WithoutBlanksAtEnds(line);
}

int DigestText_Read(const char* text, char digest[SHA256_TEXT_SIZE]) {
  const Span whole = {text, strlen(text)};
  digest[0] = '\0';
  return whole.length == DIGITS && ReadDigits(whole, digest);
}

int DigestText_Find(size_t length, const char* text, const char* name, char digest[SHA256_TEXT_SIZE]) {
  Span rest = {text, length};
  if (BeginsWith(rest, "\xEF\xBB\xBF")) rest = Rest(rest, 3);
  char only[SHA256_TEXT_SIZE] = "";
  size_t count = 0;
  while (rest.length > 0) {
    const Span line = TakeLine(&rest);
    char read[SHA256_TEXT_SIZE];
    Span path = {NULL, 0};
    if (!ReadPlainLine(line, read, &path) && !ReadTaggedLine(line, read, &path)) continue;
    ++count;
    memcpy(only, read, sizeof only);
    if (!HasName(path, name)) continue;
    count = 1;
    break;
  }
  memcpy(digest, count == 1 ? only : "", count == 1 ? sizeof only : 1);
  return count == 1;
}

/* Only a path of HTTP has a query or a fragment. */
static ErrorCode InsertSuffix(const char* path, int isOverHTTP, char* beside, char* name) {
  const size_t fileLength = strcspn(path, isOverHTTP ? "?#" : "");
  const size_t length = strcspn(path, isOverHTTP ? "#" : "");
  const Span file = LastPart((Span){path, fileLength});
  if (file.length == 0 || file.length >= TEXT_SIZE) return Error_Invalid;
  if (name != NULL) snprintf(name, TEXT_SIZE, "%.*s", (int)file.length, file.begin);
  const int count = snprintf(beside, TEXT_SIZE, "%.*s%s%.*s", (int)fileLength, path, kSuffix,
                             (int)(length - fileLength), path + fileLength);
  return count < TEXT_SIZE ? Error_None : Error_Exceed;
}

ErrorCode DigestText_URLBeside(const char* url, char* buffer, char* name) {
  URLData* data = NULL;
  char path[TEXT_SIZE];
  buffer[0] = '\0';
  ErrorCode status = URL_NewData(url, &data);
  if (status != Error_None) return status;
  const int isOverHTTP = URL_GetProtocolType(data->protocol) <= URLProtocol_HTTPS;
  status = data->path != NULL ? InsertSuffix(data->path, isOverHTTP, path, name) : Error_Invalid;
  data->path = path;
  if (status == Error_None) status = URL_FromData(data, buffer);
  Memory_Delete(data);
  return status;
}
