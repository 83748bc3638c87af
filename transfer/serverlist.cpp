// The servers of a transfer, and their form in a record:
//
//   | "vrxs" | version 1 | count | then for each server: | marker and URL text |
//
// Numbers are Uns32, texts Traverse_String of at most 1,024 bytes with their terminator. The marker is "!"
// for a server that failed, else a blank.
#include <cstring>
#include <string_view>

#include "net/url_internal.h"
#include "os/core/owned.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "transfer/serverlist_internal.h"
#include "transfer/serverlist_testing.h"
#include "traverse/traverse_internal.h"

namespace {

constexpr uint32_t kTag = 0x73787276;  // "vrxs"
constexpr uint32_t kVersion = 1;
constexpr uint32_t kTextSize = 1024;
constexpr char kFailedMarker = '!';
constexpr char kUsableMarker = ' ';
constexpr char kSeparator[] = ";";

// A text that fills the 1,024 bytes is still read whole, so a stored one may be a byte longer than those that
// are written.
constexpr uint32_t kStoredTextLimit = kServerTextLimit + 1;

using OwnedURL = Owned<URLData, Memory_Delete>;

// ---- entries -----------------------------------------------------------------------------------

bool Fits(const URLData& url, uint32_t limit) {
  char text[kTextSize];
  return iURL_FormatExactly(&url, limit + 1, text) == Error_None;
}

// Takes the URL over.
ErrorCode Append(ServerList* list, OwnedURL* url, bool isFailed) {
  auto* entry = static_cast<ServerEntry*>(Memory_New(sizeof(ServerEntry)));
  if (entry == nullptr) return Error_Memory;
  *entry = {nullptr, url->release(), isFailed, nullptr};
  (list->first == nullptr ? list->first : list->last->next) = entry;
  list->last = entry;
  ++list->count;
  return Error_None;
}

// Adds the URL unless the list has it, or is full.
ErrorCode AddURL(ServerList* list, OwnedURL* url, bool* isAdded) {
  if (!Fits(*url->get(), kServerTextLimit)) return Error_Exceed;
  if (list->count >= kServerListLimit || iServerList_Find(*list, *url->get()) != nullptr) return Error_None;
  const ErrorCode status = Append(list, url, false);
  *isAdded = status == Error_None;
  return status;
}

// The parsed form of a part of a text.
ErrorCode ParsePiece(std::string_view piece, OwnedURL* url) {
  const Owned<char, Memory_Delete> text(static_cast<char*>(Memory_New(piece.size() + 1)));
  if (!text) return Error_Memory;
  memcpy(text.get(), piece.data(), piece.size());
  text.get()[piece.size()] = 0;
  return URL_NewData(text.get(), url->out());
}

// ---- reading -----------------------------------------------------------------------------------

ErrorCode AddStored(ServerList* list, const char* text) {
  // Kept: the first character is the marker, whatever it is; only "!" says that the server failed.
  const bool isFailed = *text == kFailedMarker;
  if (*text != 0) ++text;
  OwnedURL url;
  const ErrorCode status = URL_NewData(text, url.out());
  if (status != Error_None) return status;
  if (!Fits(*url.get(), kStoredTextLimit)) return Error_Invalid;
  return list->count < kServerListLimit ? Append(list, &url, isFailed) : ErrorCode{Error_None};
}

void ReadServers(Traverse* traverse, ServerList* list, uint32_t count) {
  for (uint32_t i = 0; i < count && !iTraverse_IsStopped(*traverse); ++i) {
    char text[kTextSize + 1];
    text[kTextSize] = 0;
    Traverse_String(traverse, kTextSize, text);
    if (iTraverse_IsStopped(*traverse)) return;
    const ErrorCode status = AddStored(list, text);
    if (status != Error_None) Traverse_SetError(traverse, status);
  }
}

// ---- writing -----------------------------------------------------------------------------------

void WriteServers(Traverse* traverse, const ServerList& list, bool isWithoutUsers) {
  for (const ServerEntry* entry = list.first; entry != nullptr; entry = entry->next) {
    URLData url = *entry->url;
    if (isWithoutUsers) url.user = url.password = nullptr;
    char text[kTextSize];
    text[0] = entry->isFailed ? kFailedMarker : kUsableMarker;
    Traverse_Validate(traverse, iURL_FormatExactly(&url, sizeof text - 1, text + 1) == Error_None);
    Traverse_String(traverse, kTextSize, text);
  }
}

// ---- both --------------------------------------------------------------------------------------

// Everything before the servers. Nothing follows when the traverse has stopped.
void DescribeHeader(Traverse* traverse, uint32_t* count) {
  uint32_t tag = kTag;
  uint32_t version = kVersion;
  Traverse_Tag(traverse, kTag, &tag);
  Traverse_Version(traverse, kVersion, &version);
  if (!iTraverse_IsStopped(*traverse) && version == 0) Traverse_SetError(traverse, Error_NotFound);
  Traverse_Uns32(traverse, count);
  Traverse_Validate(traverse, *count != 0);
}

void Read(Traverse* traverse, ServerList* list) {
  iServerList_Delete(list);
  uint32_t count = 0;
  DescribeHeader(traverse, &count);
  ReadServers(traverse, list, count);
}

void Write(Traverse* traverse, const ServerList& list, bool isWithoutUsers) {
  uint32_t count = list.count;
  DescribeHeader(traverse, &count);
  WriteServers(traverse, list, isWithoutUsers);
}

}  // namespace

ErrorCode iServerList_New(const char* url, ServerList* list) {
  bool isAdded;
  return iServerList_Add(list, url, &isAdded);
}

void iServerList_Delete(ServerList* list) {
  for (ServerEntry* entry = list->first; entry != nullptr;) {
    ServerEntry* next = entry->next;
    Memory_Delete(entry->url);
    Memory_Delete(entry->requestTarget);
    Memory_Delete(entry);
    entry = next;
  }
  *list = {};
}

ServerEntry* iServerList_Select(const ServerList& list) {
  ServerEntry* entry = list.first;
  while (entry != nullptr && entry->isFailed) entry = entry->next;
  return entry;
}

bool iServerList_ClearMarks(ServerList* list) {
  bool wasAnyMarked = false;
  for (ServerEntry* entry = list->first; entry != nullptr; entry = entry->next) {
    wasAnyMarked |= entry->isFailed;
    entry->isFailed = false;
  }
  return wasAnyMarked;
}

ServerEntry* iServerList_Find(const ServerList& list, const URLData& url) {
  ServerEntry* entry = list.first;
  while (entry != nullptr && iURL_Compare(entry->url, &url) != 0) entry = entry->next;
  return entry;
}

bool iServerList_Contains(const ServerList& list, const char* url) {
  OwnedURL parsed;
  return URL_NewData(url, parsed.out()) == Error_None && iServerList_Find(list, *parsed.get()) != nullptr;
}

ErrorCode iServerList_SetRequestTarget(ServerEntry* entry, std::string_view target) {
  char* copy = nullptr;
  if (!target.empty()) {
    copy = static_cast<char*>(Memory_New(target.size() + 1));
    if (copy == nullptr) return Error_Memory;
    copy[target.copy(copy, target.size())] = '\0';
  }
  Memory_Delete(entry->requestTarget);
  entry->requestTarget = copy;
  return Error_None;
}

ErrorCode iServerList_Add(ServerList* list, const char* url, bool* isAdded) {
  *isAdded = false;
  OwnedURL parsed;
  const ErrorCode status = URL_NewData(url, parsed.out());
  return status == Error_None ? AddURL(list, &parsed, isAdded) : status;
}

ErrorCode iServerList_AddMirrors(ServerList* list, const char* urls, bool* isAnyAdded) {
  *isAnyAdded = false;
  if (urls == nullptr) return Error_None;
  for (;;) {
    const size_t length = strcspn(urls, kSeparator);
    OwnedURL url;
    bool isAdded = false;
    ErrorCode status = ParsePiece({urls, length}, &url);
    if (status == Error_None) status = AddURL(list, &url, &isAdded);
    *isAnyAdded |= isAdded;
    if (status == Error_Memory) return status;
    if (urls[length] == 0) return Error_None;
    urls += length + 1;
  }
}

void iServerList_Describe(Traverse* traverse, ServerList* list, bool isWithoutUsers) {
  if (traverse == nullptr || iTraverse_IsStopped(*traverse)) return;
  switch (Traverse_GetMode(traverse)) {
    case TraverseMode_Init:
      *list = {};
      break;
    case TraverseMode_Delete:
      iServerList_Delete(list);
      break;
    case TraverseMode_Read:
      Read(traverse, list);
      break;
    case TraverseMode_Write:
      Write(traverse, *list, isWithoutUsers);
      break;
    default:
      break;
  }
}
