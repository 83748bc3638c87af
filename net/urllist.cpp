// Lists of servers in records. Version 2 is written and read, in two layouts; version 1, a list of one group
// in the form in which transfers keep their servers, is only read.
//
//   written      | "vrxs" | 2 | groups | then for each group: | URLs | then for each: | flags | text |
//   read         | "vrxs" | 2 | groups | n | then n + 1 times: | flags | text |
//   version 1    | "vrxs" | 1 | n | then n + 1 times: | marker and text |
//
// Numbers are Uns32, texts Traverse_String of at most 1,024 bytes with their terminator.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "net/url_internal.h"
#include "net/urllist_internal.h"
#include "os/core/memory_internal.h"
#include "os/core/owned.h"
#include "os/text/texthash_internal.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "traverse/traverse_internal.h"

namespace {

constexpr uint32_t kTag = 0x73787276;  // "vrxs"
constexpr uint32_t kVersion = 2;
constexpr uint32_t kOneGroupVersion = 1;
constexpr uint32_t kTextSize = 1024;
constexpr char kSeparator[] = ";";
constexpr char kMarker = '!';
constexpr uint32_t kAllFlags = 0xFFFFFFFF;
constexpr uint32_t kSmallestBucketCount = 16;

// ---- the hash set of a group ---------------------------------------------------------------------
// Chains of entries, for a group may hold more URLs than a Hash has room for.

uint32_t HashURL(const URLData& url) {
  TextHash hash;
  hash.Add(static_cast<char>(url.port));
  for (const char* text : {url.protocol, url.user, url.password, url.host, url.path}) {
    hash.AddText(text != nullptr ? text : "");
  }
  return hash.Value();
}

URLListEntry** Bucket(const URLListGroup& group, uint32_t hash) {
  return &group.buckets[hash & (group.bucketCount - 1)];
}

bool Contains(const URLListGroup& group, const URLListEntry& entry) {
  if (group.bucketCount == 0) return false;
  const URLListEntry* other = *Bucket(group, entry.hash);
  while (other != nullptr && (other->hash != entry.hash || iURL_Compare(&other->url, &entry.url) != 0))
    other = other->nextInBucket;
  return other != nullptr;
}

void PutIntoBucket(const URLListGroup& group, URLListEntry* entry) {
  URLListEntry** bucket = Bucket(group, entry->hash);
  entry->nextInBucket = *bucket;
  *bucket = entry;
}

// At least as many buckets as entries, one that is about to be added included.
ErrorCode MakeRoom(URLListGroup& group) {
  if (group.count < group.bucketCount) return Error_None;
  const uint32_t bucketCount = std::max(kSmallestBucketCount, group.bucketCount * 2);
  auto* buckets = static_cast<URLListEntry**>(iMemory_NewCleared(bucketCount * sizeof(void*)));
  if (buckets == nullptr) return Error_Memory;
  Memory_Delete(group.buckets);
  group.buckets = buckets;
  group.bucketCount = bucketCount;
  for (URLListEntry* entry = group.first; entry != nullptr; entry = entry->next) PutIntoBucket(group, entry);
  return Error_None;
}

// ---- entries -------------------------------------------------------------------------------------

void Append(URLListGroup& group, URLListEntry* entry) {
  PutIntoBucket(group, entry);
  (group.first == nullptr ? group.first : group.last->next) = entry;
  group.last = entry;
  group.allFlags = group.count == 0 ? entry->flags : group.allFlags & entry->flags;
  group.anyFlags |= entry->flags;
  ++group.count;
}

// The parsed URL with its text in one block.
ErrorCode NewEntry(uint32_t flags, std::string_view text, URLListEntry** result) {
  Owned<URLListEntry, Memory_Delete> entry(
      static_cast<URLListEntry*>(Memory_New(sizeof(URLListEntry) + text.size() + 1)));
  if (!entry) return Error_Memory;
  char* copy = reinterpret_cast<char*>(entry.get() + 1);
  memcpy(copy, text.data(), text.size());
  copy[text.size()] = 0;
  const ErrorCode status = URL_ToData(copy, &entry->url);
  if (status != Error_None) return status;
  entry->next = nullptr;
  entry->hash = HashURL(entry->url);
  entry->flags = flags;
  *result = entry.release();
  return Error_None;
}

ErrorCode AddURL(URLListGroup& group, uint32_t flags, std::string_view text) {
  Owned<URLListEntry, Memory_Delete> entry;
  ErrorCode status = NewEntry(flags, text, entry.out());
  if (status == Error_Invalid || (status == Error_None && Contains(group, *entry.get()))) return Error_None;
  if (status == Error_None) status = MakeRoom(group);
  if (status == Error_None) Append(group, entry.release());
  return status;
}

void DeleteGroup(URLListGroup* group) {
  for (URLListEntry* entry = group->first; entry != nullptr;) {
    URLListEntry* next = entry->next;
    Memory_Delete(entry);
    entry = next;
  }
  Memory_Delete(group->buckets);
  Memory_Delete(group);
}

// ---- reading -------------------------------------------------------------------------------------

struct Header {
  uint32_t version = kVersion;
  uint32_t groupCount = 1;
  uint32_t entryCount = 0;
};

Header ReadHeader(Traverse* traverse) {
  Header header;
  uint32_t tag = 0;
  Traverse_Tag(traverse, kTag, &tag);
  Traverse_Version(traverse, kVersion, &header.version);
  if (!iTraverse_IsStopped(*traverse) && header.version == 0) Traverse_SetError(traverse, Error_NotFound);
  if (header.version != kOneGroupVersion) Traverse_Uns32(traverse, &header.groupCount);
  Traverse_Validate(traverse, header.groupCount != 0);
  Traverse_Uns32(traverse, &header.entryCount);
  Traverse_Validate(traverse, header.entryCount != 0);
  return header;
}

// The text may fill the whole 1,024 bytes without a terminator of its own.
void ReadEntry(Traverse* traverse, uint32_t version, URLListGroup& group) {
  uint32_t flags = 0;
  char text[kTextSize + 1];
  text[kTextSize] = 0;
  if (version != kOneGroupVersion) Traverse_Uns32(traverse, &flags);
  Traverse_String(traverse, kTextSize, text);
  if (iTraverse_IsStopped(*traverse)) return;
  const char* urls = text;
  if (version == kOneGroupVersion && *urls != 0) {
    // Kept: the first character is the marker, whatever it is; lists were written with a blank.
    flags = *urls == kMarker ? kAllFlags : 0;
    ++urls;
  }
  const ErrorCode status = iURLList_Add(&group, flags, urls);
  if (status != Error_None) Traverse_SetError(traverse, status);
}

// Kept: the one count of entries stands before the first group and does not count that group's first entry.
// Stored lists are read so, though none is written so.
// Kept: used up, the counter has wrapped, so a second group reads on until the stream ends.
void ReadGroups(Traverse* traverse, void* argument) {
  Header header = ReadHeader(traverse);
  for (uint32_t i = 0; i < header.groupCount && !iTraverse_IsStopped(*traverse); ++i) {
    URLListGroup* group = iURLList_NewGroup(static_cast<URLList*>(argument));
    if (group == nullptr) {
      Traverse_SetError(traverse, Error_Memory);
      return;
    }
    ReadEntry(traverse, header.version, *group);
    while (!iTraverse_IsStopped(*traverse) && header.entryCount-- != 0)
      ReadEntry(traverse, header.version, *group);
  }
}

// ---- writing -------------------------------------------------------------------------------------

// Whether every URL can be written, so that a list is written whole or not at all.
ErrorCode CheckTexts(const URLList& list) {
  char text[kTextSize];
  for (const URLListGroup* group = list.first; group != nullptr; group = group->next) {
    for (const URLListEntry* entry = group->first; entry != nullptr; entry = entry->next) {
      const ErrorCode status = iURL_Format(&entry->url, sizeof text, text);
      if (status != Error_None) return status;
    }
  }
  return Error_None;
}

void WriteGroup(Traverse* traverse, const URLListGroup& group) {
  uint32_t count = group.count;
  Traverse_Uns32(traverse, &count);
  for (const URLListEntry* entry = group.first; entry != nullptr; entry = entry->next) {
    uint32_t flags = entry->flags;
    char text[kTextSize];
    iURL_Format(&entry->url, sizeof text, text);
    Traverse_Uns32(traverse, &flags);
    Traverse_String(traverse, kTextSize, text);
  }
}

void WriteGroups(Traverse* traverse, void* argument) {
  const auto* list = static_cast<const URLList*>(argument);
  uint32_t tag = kTag;
  uint32_t version = kVersion;
  uint32_t count = list->count;
  Traverse_Tag(traverse, kTag, &tag);
  Traverse_Version(traverse, kVersion, &version);
  Traverse_Uns32(traverse, &count);
  for (const URLListGroup* group = list->first; group != nullptr; group = group->next)
    WriteGroup(traverse, *group);
}

// The failure as the traverse's error, unless one has stopped it before.
ErrorCode Fail(Traverse* traverse, ErrorCode status) {
  if (traverse != nullptr && iTraverse_IsStopped(*traverse)) return traverse->error;
  return Traverse_SetError(traverse, status);
}

}  // namespace

URLListGroup* iURLList_NewGroup(URLList* list) {
  auto* group = static_cast<URLListGroup*>(iMemory_NewCleared(sizeof(URLListGroup)));
  if (group == nullptr) return nullptr;
  (list->first == nullptr ? list->first : list->last->next) = group;
  list->last = group;
  ++list->count;
  return group;
}

ErrorCode iURLList_Add(URLListGroup* group, uint32_t flags, const char* urls) {
  for (;;) {
    const size_t length = strcspn(urls, kSeparator);
    const ErrorCode status = AddURL(*group, flags, {urls, length});
    if (status != Error_None || urls[length] == 0) return status;
    urls += length + 1;
  }
}

ErrorCode iURLList_Read(Traverse* traverse, URLList* list) {
  if (list == nullptr) return Fail(traverse, Error_Invalid);
  *list = {};
  const ErrorCode status = Traverse_DataRead(traverse, ReadGroups, list);
  if (status == Error_None || status == Error_Exceed) return Error_None;
  iURLList_Delete(list);
  return Fail(traverse, status);
}

ErrorCode iURLList_Write(Traverse* traverse, const URLList* list) {
  ErrorCode status = list != nullptr ? CheckTexts(*list) : ErrorCode{Error_Invalid};
  if (status == Error_None) status = Traverse_DataWrite(traverse, WriteGroups, const_cast<URLList*>(list));
  return status == Error_None ? status : Fail(traverse, status);
}

void iURLList_Delete(URLList* list) {
  if (list == nullptr) return;
  for (URLListGroup* group = list->first; group != nullptr;) {
    URLListGroup* next = group->next;
    DeleteGroup(group);
    group = next;
  }
  *list = {};
}
