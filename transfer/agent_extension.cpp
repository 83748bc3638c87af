// Extensions: dynamic libraries whose start-up code registers classes. A class that is registered by the
// thread that loads a library belongs to that library; the last one to go unloads it.
#include <cstring>

#include "os/core/error_internal.h"
#include "os/core/lock_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/error.h"
#include "os/platform/filesystem.h"
#include "os/platform/module.h"
#include "os/platform/thread.h"
#include "qz/error.h"
#include "qz/hash.h"
#include "qz/memory.h"
#include "qz/string.h"
#include "transfer/agent_testing.h"
#include "transfer/agentclass_internal.h"

namespace {

constexpr char kSuffix[] = ".axt";
constexpr uint32_t kFirstModuleId = 1;
constexpr uint32_t kModuleBuckets = 7;

struct Module {
  uint32_t references;        // the classes that the library registered
  platform::Module* library;  // null while it is being loaded
};

// Under the library-wide lock.
Hash* modules = nullptr;  // by number
uint32_t currentId = kFirstModuleId;
bool isLoading = false;
uint32_t loadingThread = 0;

constexpr AgentLoader kSystemLoader = {platform::LoadModule, platform::UnloadModule};
const AgentLoader* loader = &kSystemLoader;

Module* Find(uint32_t id) {
  return reinterpret_cast<Module*>(Hash_QueryNode(modules, id));
}

void DeleteModule(Word module) {
  Memory_Delete(reinterpret_cast<void*>(module));
}

// ---- one library -------------------------------------------------------------------------------

uint32_t BeginLoading() {
  LibraryLock lock;
  isLoading = true;
  loadingThread = platform::CurrentThreadIdentifier();
  return currentId;
}

// Whether the library is kept: it was loaded and has registered a class.
bool EndLoading(uint32_t id, platform::Module* library) {
  LibraryLock lock;
  isLoading = false;
  Module* module = Find(id);
  if (library == nullptr || module == nullptr) return false;
  module->library = library;
  ++currentId;
  return true;
}

// A class that others derived from meanwhile keeps the record, whose number then is used up.
void DropFailedModule(uint32_t id) {
  iAgentClass_ReleaseModule(id);
  LibraryLock lock;
  if (Find(id) != nullptr) ++currentId;
}

bool LoadExtension(const char* name) {
  const uint32_t id = BeginLoading();
  platform::Module* library = loader->Load(name);
  if (EndLoading(id, library)) return true;
  if (library != nullptr) {
    loader->Unload(library);
  } else {
    DropFailedModule(id);
  }
  return false;
}

// ---- a directory -------------------------------------------------------------------------------

// The names of a directory's extensions, in the order of their bytes.
struct NameNode {
  NameNode* next;
  char* Text() { return reinterpret_cast<char*>(this + 1); }
};

void DeleteNames(NameNode* first) {
  while (first != nullptr) {
    NameNode* next = first->next;
    Memory_Delete(first);
    first = next;
  }
}
using NameList = Owned<NameNode, DeleteNames>;

ErrorCode AddName(const char* name, NameNode** first) {
  const size_t size = strlen(name) + 1;
  auto* node = static_cast<NameNode*>(Memory_New(sizeof(NameNode) + size));
  if (node == nullptr) return Error_Memory;
  memcpy(node->Text(), name, size);
  NameNode** place = first;
  while (*place != nullptr && strcmp((*place)->Text(), name) < 0) place = &(*place)->next;
  node->next = *place;
  *place = node;
  return Error_None;
}

bool IsExtension(const char* name) {
  return String_FindEndInsensitive(name, kSuffix) >= 0;
}

// The status of a search that does not begin, or gives no further entry. Nothing to list is no failure, as
// with listings.
ErrorCode SearchStatus(const char* directory, bool isBegun) {
  const uint32_t error = platform::LastSystemError();
  if (error == platform::SystemError_None) return Error_None;
  if (error == platform::SystemError_OutOfMemory || error == platform::SystemError_TooManyOpenFiles)
    return iError_Record(Error_Memory, "VRXClientSystem_Init", directory, error);
  const bool isUnsearchable = iFile_IsNotFound(error) || error == platform::SystemError_NotADirectory ||
                              error == platform::SystemError_AccessDenied;
  if (!isBegun && isUnsearchable) return Error_None;
  return Error_FromSystem("VRXClientSystem_Init", directory, error);
}

ErrorCode ListExtensions(const char* directory, NameList* names) {
  using Search = Owned<platform::DirectorySearch, platform::EndSearch>;
  const Search search(platform::BeginSearch(directory));
  if (!search) return SearchStatus(directory, false);
  NameNode* first = nullptr;
  ErrorCode status = Error_None;
  platform::DirectoryEntry entry;
  while (status == Error_None && iDirectory_NextEntry(search.get(), &entry)) {
    if (IsExtension(entry.name)) status = AddName(entry.name, &first);
  }
  if (status == Error_None) status = SearchStatus(directory, true);
  names->reset(first);
  return status;
}

}  // namespace

void iAgentClass_SetLoader(const AgentLoader* replacement) {
  loader = replacement != nullptr ? replacement : &kSystemLoader;
}

ErrorCode iAgentModules_Start() {
  LibraryLock lock;
  modules = Hash_New(kModuleBuckets, 0, nullptr, DeleteModule);
  currentId = kFirstModuleId;
  return modules != nullptr ? Error_None : Error_Memory;
}

void iAgentModules_End() {
  LibraryLock lock;
  Hash_Delete(modules);
  modules = nullptr;
}

ErrorCode iAgentModule_Take(uint32_t* id) {
  *id = 0;
  LibraryLock lock;
  if (!isLoading || loadingThread != platform::CurrentThreadIdentifier()) return Error_None;
  Module* module = Find(currentId);
  if (module == nullptr) {
    module = static_cast<Module*>(Memory_New(sizeof(Module)));
    if (module == nullptr) return Error_Memory;
    *module = {0, nullptr};
    if (Hash_InsertNode(modules, currentId, iAgent_Word(module)) != Error_None) {
      Memory_Delete(module);
      return Error_Memory;
    }
  }
  ++module->references;
  *id = currentId;
  return Error_None;
}

void iAgentModule_GiveBack(uint32_t id) {
  platform::Module* library = nullptr;
  {
    LibraryLock lock;
    Module* module = id != 0 ? Find(id) : nullptr;
    if (module == nullptr || --module->references != 0) return;
    library = module->library;
    Hash_DeleteNode(modules, id);
  }
  if (library != nullptr) loader->Unload(library);
}

ErrorCode iAgentClass_LoadExtensions(const char* directory, uint32_t* loaded, uint32_t* failed) {
  uint32_t counts[2] = {};
  if (loaded != nullptr) *loaded = 0;
  if (failed != nullptr) *failed = 0;
  if (directory == nullptr) return Error_Invalid;
  if (!iAgentClass_Find("/")) return Error_NotInited;
  char absolute[kFileNameSize];
  char systemName[kFileNameSize];
  ErrorCode status = iFile_AbsoluteName(directory, absolute);
  if (status == Error_None) status = iFile_ToSystemName(absolute, systemName);
  NameList names;
  if (status == Error_None) status = ListExtensions(systemName, &names);
  if (status != Error_None) return status;

  for (NameNode* name = names.get(); name != nullptr; name = name->next) {
    char path[kFileNameSize];
    const bool isNamed = iFile_Join(absolute, name->Text(), path) == Error_None &&
                         iFile_ToSystemName(path, systemName) == Error_None;
    ++counts[isNamed && LoadExtension(systemName) ? 0 : 1];
  }
  if (loaded != nullptr) *loaded = counts[0];
  if (failed != nullptr) *failed = counts[1];
  return Error_None;
}
