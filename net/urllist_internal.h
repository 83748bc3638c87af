// Lists of servers: groups of URLs with flags, kept in records.
#pragma once

#include <cstdint>

#include "qz/traverse.h"
#include "qz/url.h"

// A URL of a group. Its texts follow in the same block.
struct URLListEntry {
  URLListEntry* next;          // in the group's order; null: the last one
  URLListEntry* nextInBucket;  // of the group's hash set
  uint32_t hash;
  uint32_t flags;
  URLData url;
};

// URLs in the order in which they were added, no two of them equal.
struct URLListGroup {
  URLListGroup* next;  // null: the last one
  URLListEntry* first;
  URLListEntry* last;
  uint32_t count;
  uint32_t anyFlags;  // the flags that at least one URL has; 0 without a URL
  uint32_t allFlags;  // the flags that every URL has; 0 without a URL
  URLListEntry** buckets;
  uint32_t bucketCount;  // 0 or a power of 2
};

// A list without a group is all zeroes: URLList list = {};
struct URLList {
  URLListGroup* first;
  URLListGroup* last;
  uint32_t count;
};

// Adds an empty group at the end and returns it, the list's; null when memory runs out.
URLListGroup* iURLList_NewGroup(URLList* list);

// Adds the URLs of a text, which ";" separates, at the end of a group, each with the same flags. What is no
// URL is skipped; a URL that the group has already is dropped, its flags too. Error_None; Error_Memory: those
// before it were added.
ErrorCode iURLList_Add(URLListGroup* group, uint32_t flags, const char* urls);

// Reads a list of version 1 or 2 in the reader's layout, which docs/formats.md shows.
// list: receives an owned list (free with iURLList_Delete), empty after a failure; what it held is not freed.
// The list is not recorded in the traverse, so it remains the caller's when a later field fails.
// A failure is also the traverse's error then. Error_None, also where the last text just fills the 1,024
// bytes that it may have; Error_NotFound for another tag or a version other than 1 and 2; Error_Invalid for a
// count of 0 or null arguments; Error_Ended; Error_Memory; the error that had stopped the traverse before.
ErrorCode iURLList_Read(Traverse* traverse, URLList* list);

// Writes a list as version 2, in a layout that iURLList_Read does not read.
// A failure is also the traverse's error then. Error_None; Error_Exceed for a URL text over 1,023 bytes (this
// error does not stop the fields that follow) and Error_Invalid for null arguments or a URL without a
// protocol, nothing is written then; Error_Ended; the error that had stopped the traverse before.
ErrorCode iURLList_Write(Traverse* traverse, const URLList* list);

// Frees all groups and URLs; the list is empty then. Null is ignored.
void iURLList_Delete(URLList* list);
