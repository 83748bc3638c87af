// The list of all transfers, the newest first. It is held by the library's lock, and so is what one transfer
// may see of another: the URLs of its servers and the paths of its files. The lock is never held while
// something is read or written, or called back.
#include "net/url_internal.h"
#include "os/core/lock_internal.h"
#include "os/text/texthash_internal.h"
#include "transfer/vrxclient_testing.h"

namespace {

VRXClient* first = nullptr;

uint32_t HashURL(const URLData& url) {
  TextHash hash;
  hash.Add(static_cast<char>(url.port));
  hash.Add(static_cast<char>(url.port >> 8));
  for (const char* text : {url.protocol, url.user, url.password, url.host, url.path}) {
    hash.AddText(text != nullptr ? text : "");
  }
  return hash.Value();
}

// Most transfers have one server, so a number is compared instead of five texts.
bool HasServer(const VRXClient& client, const URLData& url, uint32_t hash) {
  const ServerEntry* entry = client.data.servers.first;
  if (entry == nullptr) return false;
  if (client.firstURLHash == hash && iURL_Compare(entry->url, &url) == 0) return true;
  for (entry = entry->next; entry != nullptr; entry = entry->next) {
    if (iURL_Compare(entry->url, &url) == 0) return true;
  }
  return false;
}

bool IsUnfinished(const VRXClient& client) {
  return !client.isCompleted && !client.isEnding;
}

bool HasURL(const URLData& url, uint32_t hash) {
  for (const VRXClient* client = first; client != nullptr; client = client->next) {
    if (IsUnfinished(*client) && HasServer(*client, url, hash)) return true;
  }
  return false;
}

}  // namespace

ErrorCode iVRXClientList_Link(VRXClient* client, bool isExclusive) {
  const LibraryLock lock;
  const URLData* url = client->data.servers.first->url;
  client->firstURLHash = HashURL(*url);
  if (isExclusive && HasURL(*url, client->firstURLHash)) return Error_Exists;
  client->previous = nullptr;
  client->next = first;
  if (first != nullptr) first->previous = client;
  first = client;
  client->isListed = true;
  return Error_None;
}

void iVRXClientList_Unlink(VRXClient* client) {
  const LibraryLock lock;
  if (!client->isListed) return;
  (client->previous != nullptr ? client->previous->next : first) = client->next;
  if (client->next != nullptr) client->next->previous = client->previous;
  client->previous = nullptr;
  client->next = nullptr;
  client->isListed = false;
}

VRXClient* iVRXClientList_TakeFirst() {
  const LibraryLock lock;
  VRXClient* client = first;
  if (client != nullptr) iVRXClientList_Unlink(client);
  return client;
}

void iVRXClientList_MarkEnding(VRXClient* client) {
  const LibraryLock lock;
  client->isEnding = true;
}

bool iVRXClientList_HasURL(const URLData& url) {
  const LibraryLock lock;
  return HasURL(url, HashURL(url));
}

bool iVRXClientList_HasPath(const char* path, const VRXClient* except) {
  const LibraryLock lock;
  for (const VRXClient* client = first; client != nullptr; client = client->next) {
    if (client == except) continue;
    if (iVRXClient_IsSamePath(client->data.dataPath, path) ||
        iVRXClient_IsSamePath(client->data.logPath, path))
      return true;
  }
  return false;
}

bool iVRXClientList_NeedsLine() {
  const LibraryLock lock;
  for (const VRXClient* client = first; client != nullptr; client = client->next) {
    if (IsUnfinished(*client) && client->reason == VRXClientReason_None) return true;
  }
  return false;
}

uint32_t iVRXClientList_Count() {
  const LibraryLock lock;
  uint32_t count = 0;
  for (const VRXClient* client = first; client != nullptr; client = client->next) ++count;
  return count;
}
