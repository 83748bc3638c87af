// The registry of classes: a trie from names in lower case to records, which form the tree of classes.
//
// The registry, the tree and the counts are guarded by the library-wide lock, which is never held while an
// implementation runs or an extension is loaded or unloaded: the system may hold a lock of its own then.
#include "qz/agentclass.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "os/core/lock_internal.h"
#include "os/core/memory_internal.h"
#include "os/text/characterclass_internal.h"
#include "qz/memory.h"
#include "qz/ptrie.h"
#include "qz/string.h"
#include "transfer/agentclass_internal.h"

namespace {

constexpr uint32_t kClassMagic = 0x61676E63u;  // "agnc"

constexpr char kRootName[] = "/";
constexpr char kRootSignature[] =
    ".register();.unregister();"
    ".classinfo(description=string*,menu=string*,version=integer*,updateURL=string*);"
    "new();delete();traverse(traverse=object,version=integer);";

// What data of a class begins at a multiple of, counted from the block.
constexpr uint64_t kDataAlignment = 16;

// null: the system is not started. Under the lock.
PTrie* registry = nullptr;

// ---- names -------------------------------------------------------------------------------------

// A name as the registry knows it. Longer ones than a class can have are none.
class Key {
 public:
  explicit Key(const char* name) : length_(name != nullptr ? strlen(name) : kAgentNameSize) {
    if (!IsUsable()) return;
    std::transform(name, name + length_, text_,
                   [](char c) { return static_cast<char>(iCharacter_ToLower(static_cast<uint8_t>(c))); });
  }
  bool IsUsable() const { return length_ < kAgentNameSize; }
  const char* Text() const { return text_; }
  uint16_t Length() const { return static_cast<uint16_t>(length_); }

 private:
  size_t length_;
  char text_[kAgentNameSize];
};

// The class of this name; null when there is none. Under the lock.
AgentClass* Find(const Key& key) {
  void* found = nullptr;
  if (registry == nullptr || !key.IsUsable()) return nullptr;
  PTrie_FindElement(registry, key.Text(), key.Length(), &found);
  return static_cast<AgentClass*>(found);
}

AgentClass* Find(const char* name) {
  return Find(Key(name));
}

// For signatures, whose words are in lower case already.
bool IsClass(std::string_view name) {
  LibraryLock lock;
  return registry != nullptr && name.size() < kAgentNameSize &&
         PTrie_FindElement(registry, name.data(), static_cast<uint16_t>(name.size()), nullptr) == 1;
}

// ---- records -----------------------------------------------------------------------------------

void Free(AgentClass* agentClass) {
  iAgentSignature_Delete(&agentClass->signature);
  Memory_Delete(agentClass->tables);
  agentClass->~AgentClass();
  Memory_Delete(agentClass);
}

// A record, which keeps that of its parent in memory. parent: null for the root.
AgentClass* NewRecord(AgentClass* parent, const char* name, uint32_t classDataSize,
                      uint32_t instanceDataSize) {
  const int32_t depth = parent != nullptr ? parent->depth + 1 : 0;
  const size_t levelsSize = (static_cast<size_t>(depth) + 1) * sizeof(AgentLevel);
  const size_t nameSize = strlen(name) + 1;
  void* block = iMemory_NewCleared(sizeof(AgentClass) + levelsSize + nameSize);
  if (block == nullptr) return nullptr;
  auto* agentClass = new (block) AgentClass{};
  char* copy = static_cast<char*>(block) + sizeof(AgentClass) + levelsSize;
  memcpy(copy, name, nameSize);
  agentClass->magic = kClassMagic;
  agentClass->parent = parent;
  agentClass->depth = depth;
  agentClass->references = 1;
  agentClass->name = copy;
  agentClass->classDataSize = classDataSize;
  agentClass->instanceDataSize = instanceDataSize;
  agentClass->holders.store(1);
  if (parent != nullptr) iAgentClass_Hold(parent);
  return agentClass;
}

// ---- method tables -----------------------------------------------------------------------------

AgentImplementation Implementation(const AgentMethod* implementations, std::string_view name) {
  for (const AgentMethod* row = implementations; row != nullptr && row->name != nullptr; ++row) {
    if (iAgentSignature_IsName(row->name, name)) return row->implementation;
  }
  return nullptr;
}

uint64_t Aligned(uint64_t size) {
  return (size + kDataAlignment - 1) / kDataAlignment * kDataAlignment;
}

uint64_t MethodsSize(const AgentClass& level) {
  return Aligned(level.signature.methods.size() * sizeof(AgentImplementation));
}

// The bytes of all tables: each level's implementations, then its data.
uint64_t TablesSize(const AgentClass* agentClass) {
  uint64_t size = 0;
  for (; agentClass != nullptr; agentClass = agentClass->parent)
    size += MethodsSize(*agentClass) + Aligned(agentClass->classDataSize);
  return size;
}

void FillLevel(const AgentClass& level, const AgentMethod* implementations, char* block, AgentLevel* table) {
  table->methods = reinterpret_cast<AgentImplementation*>(block);
  table->classData = level.classDataSize != 0 ? block + MethodsSize(level) : nullptr;
  size_t index = 0;
  for (const AgentDeclaredMethod& method : level.signature.methods)
    table->methods[index++] = Implementation(implementations, method.name);
}

ErrorCode MakeTables(AgentClass* agentClass, const AgentMethod* implementations) {
  const uint64_t size = TablesSize(agentClass);
  if (size > SIZE_MAX / 2) return Error_Memory;
  agentClass->tables = iMemory_NewCleared(static_cast<size_t>(size));
  if (agentClass->tables == nullptr) return Error_Memory;
  auto* block = static_cast<char*>(agentClass->tables);
  for (const AgentClass* level = agentClass; level != nullptr; level = level->parent) {
    FillLevel(*level, implementations, block, &agentClass->Levels()[level->depth]);
    block += MethodsSize(*level) + Aligned(level->classDataSize);
  }
  return Error_None;
}

// The code of an extension whose load failed is no longer there.
void DropImplementations(AgentClass* agentClass) {
  for (const AgentClass* level = agentClass; level != nullptr; level = level->parent) {
    AgentImplementation* methods = agentClass->Levels()[level->depth].methods;
    std::fill_n(methods, level->signature.methods.size(), nullptr);
  }
}

// ---- "register" and "unregister" ---------------------------------------------------------------

// Calls a method of one level's class, with the data that agentClass holds for that level.
int32_t CallLevel(const AgentClass& agentClass, const AgentClass& level, const char* methodName) {
  const AgentLevel& table = agentClass.Levels()[level.depth];
  return iAgent_Call({&level, table.classData, nullptr, nullptr, nullptr}, methodName);
}

// Calls "unregister" of a level and of all above it.
void UnregisterFrom(const AgentClass& agentClass, const AgentClass* level) {
  for (; level != nullptr; level = level->parent) {
    const int32_t result = CallLevel(agentClass, *level, "unregister");
    iAgent_Note("AgentClass", level->name, "unregister", result);
  }
}

int32_t RegisterLevel(const AgentClass& agentClass, const AgentClass& level) {
  const int32_t result = CallLevel(agentClass, level, "register");
  if (result != AgentResult_NotImplemented) return result;
  return level.classDataSize != 0 ? Error_NotInited : Error_None;
}

// Kept: "register" of every class above is called again for each class; they count and prepare those below.
int32_t RegisterLevels(AgentClass* agentClass) {
  for (int32_t depth = 0; depth <= agentClass->depth; ++depth) {
    const AgentClass* level = iAgentClass_AtDepth(agentClass, depth);
    const int32_t result = RegisterLevel(*agentClass, *level);
    if (result == Error_None) continue;
    UnregisterFrom(*agentClass, level->parent);
    return result;
  }
  return Error_None;
}

// ---- the tree ----------------------------------------------------------------------------------

// Under the lock.
void Unlink(AgentClass* agentClass) {
  if (agentClass->parent == nullptr) return;
  AgentClass** link = &agentClass->parent->firstChild;
  while (*link != nullptr && *link != agentClass) link = &(*link)->nextSibling;
  if (*link != nullptr) *link = agentClass->nextSibling;
  agentClass->nextSibling = nullptr;
}

// Takes a reference away and tells whether it was the last one, with which the class leaves its parent.
bool IsLastReference(AgentClass* agentClass) {
  LibraryLock lock;
  if (--agentClass->references >= 1) return false;
  Unlink(agentClass);
  return true;
}

// Takes a reference away from a class; the last one releases it, and takes one from its parent.
void Release(AgentClass* agentClass) {
  while (agentClass != nullptr && IsLastReference(agentClass)) {
    AgentClass* parent = agentClass->parent;
    UnregisterFrom(*agentClass, agentClass);
    agentClass->isReleased.store(true);
    iAgentModule_GiveBack(agentClass->moduleId);
    iAgentClass_Drop(agentClass);
    agentClass = parent;
  }
}

// The registry discards a class. One that is still being registered is released by its registration.
void Discard(void* value) {
  auto* agentClass = static_cast<AgentClass*>(value);
  if (!agentClass->isForgotten && agentClass->version != 0) Release(agentClass);
}

// Takes a class out of the registry without releasing it. Under the lock.
void Forget(AgentClass* agentClass) {
  agentClass->isForgotten = true;
  const Key key(agentClass->name);
  if (registry != nullptr) PTrie_DeleteElement(registry, key.Text(), key.Length());
}

// ---- registration ------------------------------------------------------------------------------

// A class that is being registered; what was done for it is undone unless it is finished.
class Registration {
 public:
  Registration() = default;
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;
  ~Registration() {
    if (class_ != nullptr) {
      class_->isReleased.store(true);
      iAgentModule_GiveBack(class_->moduleId);
      iAgentClass_Drop(class_);
    }
    if (parent_ != nullptr) Release(parent_);
  }

  ErrorCode Begin(const char* parentName, const char* className) {
    if (className == nullptr && parentName != nullptr) return Error_Invalid;
    name_ = className != nullptr ? className : kRootName;
    if (name_[0] == '\0') return Error_Invalid;
    if (strlen(name_) >= kAgentNameSize) return Error_Exceed;
    LibraryLock lock;
    if (registry == nullptr) return Error_NotInited;
    const bool isRoot = className == nullptr;
    if (isRoot) return Find(kRootName) == nullptr ? Error_None : Error_Invalid;
    AgentClass* parent = Find(parentName != nullptr ? parentName : kRootName);
    if (parent == nullptr) return Error_NotFound;
    if (Find(name_) != nullptr) return Error_Exists;
    ++parent->references;
    parent_ = parent;
    return Error_None;
  }

  ErrorCode Make(const char* signature, const AgentMethod* implementations, uint32_t classDataSize,
                 uint32_t instanceDataSize) {
    class_ = NewRecord(parent_, name_, classDataSize, instanceDataSize);
    if (class_ == nullptr) return Error_Memory;
    ErrorCode status = iAgentSignature_Parse(signature, IsClass, &class_->signature);
    if (status == Error_None) status = iAgentModule_Take(&class_->moduleId);
    return status == Error_None ? MakeTables(class_, implementations) : status;
  }

  // From here on others can see the class.
  ErrorCode Insert() {
    const Key key(class_->name);
    LibraryLock lock;
    if (registry == nullptr) return Error_NotInited;
    const ErrorCode status = PTrie_InsertElement(registry, key.Text(), key.Length(), class_);
    return status == Error_Fail ? ErrorCode{Error_Memory} : status;
  }

  ErrorCode Finish() {
    ErrorCode status = RegisterLevels(class_);
    if (status == Error_None && !IsLinked()) {
      UnregisterFrom(*class_, class_);
      status = Error_NotInited;
    }
    if (status != Error_None) {
      LibraryLock lock;
      Forget(class_);
      return status;
    }
    class_ = nullptr;
    parent_ = nullptr;
    return Error_None;
  }

 private:
  // Puts the class at the head of its parent's children, unless a "register" has ended the whole system.
  bool IsLinked() {
    LibraryLock lock;
    if (Find(class_->name) != class_) return false;
    // Kept: children come newest first; the extension that was loaded last is asked first.
    if (parent_ != nullptr) class_->nextSibling = std::exchange(parent_->firstChild, class_);
    class_->version = kAgentClassVersion;
    return true;
  }

  const char* name_ = nullptr;
  AgentClass* parent_ = nullptr;  // with a reference that the class takes over
  AgentClass* class_ = nullptr;
};

// ---- iteration ---------------------------------------------------------------------------------

// The child behind the one that the buffer names; null behind the last one. Under the lock.
ErrorCode NextChild(const AgentClass* parent, const char* previousName, const AgentClass** next) {
  if (parent == nullptr) return Error_NotFound;
  *next = parent->firstChild;
  if (previousName[0] == '\0') return Error_None;
  const AgentClass* previous = Find(previousName);
  if (previous == nullptr) return Error_NotFound;
  *next = previous->nextSibling;
  return previous->parent == parent ? Error_None : Error_Invalid;
}

// A class of this module that is in the registry; null when there is none. Under the lock.
AgentClass* FindOfModule(uint32_t moduleId) {
  uint8_t keyBuffer[kAgentNameSize];
  PTrieState state = {};
  state.keyBuffer = keyBuffer;
  state.keyBufferSize = sizeof keyBuffer;
  while (registry != nullptr && PTrie_Iterate(registry, nullptr, 0, &state) == 1) {
    auto* agentClass = static_cast<AgentClass*>(state.value);
    if (agentClass->moduleId == moduleId) return agentClass;
  }
  return nullptr;
}

// Takes a class of a module out of the registry; null when there is none left.
AgentClass* ForgetOfModule(uint32_t moduleId) {
  LibraryLock lock;
  AgentClass* agentClass = FindOfModule(moduleId);
  if (agentClass == nullptr) return nullptr;
  DropImplementations(agentClass);
  // Classes below it may keep it, but nobody comes across it any more.
  Unlink(agentClass);
  Forget(agentClass);
  return agentClass;
}

ErrorCode NewRegistry() {
  LibraryLock lock;
  if (registry != nullptr) return Error_Inited;
  registry = PTrie_New(Discard);
  return registry != nullptr ? Error_None : Error_Memory;
}

}  // namespace

ErrorCode iAgentClass_Start() {
  if (const ErrorCode status = NewRegistry(); status != Error_None) return status;
  ErrorCode status = iAgentModules_Start();
  if (status == Error_None) status = AgentClass_Register(nullptr, nullptr, kRootSignature, nullptr, 0, 0);
  if (status != Error_None) iAgentClass_End();
  return status;
}

// The classes are released while no name is known any more.
void iAgentClass_End() {
  PTrie* ended = nullptr;
  {
    LibraryLock lock;
    ended = std::exchange(registry, nullptr);
  }
  PTrie_Delete(ended);
  iAgentModules_End();
}

void iAgentClass_Hold(AgentClass* agentClass) {
  agentClass->holders.fetch_add(1);
}

void iAgentClass_Drop(AgentClass* agentClass) {
  while (agentClass != nullptr && agentClass->holders.fetch_sub(1) == 1) {
    AgentClass* parent = agentClass->parent;
    Free(agentClass);
    agentClass = parent;
  }
}

HeldClass iAgentClass_Find(const char* name) {
  LibraryLock lock;
  HeldClass found(Find(name));
  if (found) iAgentClass_Hold(found.get());
  return found;
}

AgentClass* iAgentClass_AtDepth(AgentClass* agentClass, int32_t depth) {
  while (agentClass->depth > depth) agentClass = agentClass->parent;
  return agentClass;
}

// Newest first would be kinder to the tree, but children keep the classes above them in any order.
void iAgentClass_ReleaseModule(uint32_t moduleId) {
  while (AgentClass* agentClass = ForgetOfModule(moduleId)) Release(agentClass);
}

ErrorCode AgentClass_Register(const char* parentName, const char* className, const char* signature,
                              const AgentMethod* implementations, uint32_t classDataSize,
                              uint32_t instanceDataSize) {
  Registration registration;
  ErrorCode status = registration.Begin(parentName, className);
  if (status == Error_None)
    status = registration.Make(signature, implementations, classDataSize, instanceDataSize);
  if (status == Error_None) status = registration.Insert();
  return status == Error_None ? registration.Finish() : status;
}

int32_t AgentClass_MethodExists(const char* className, const char* methodName) {
  const HeldClass found = iAgentClass_Find(className);
  if (!found) return 0;
  return methodName == nullptr || iAgentClass_Declares(found.get(), methodName) ? 1 : 0;
}

ErrorCode AgentClass_Iterate(const char* className, uint32_t size, char* nameBuffer) {
  if (nameBuffer == nullptr || size == 0) return Error_Invalid;
  LibraryLock lock;
  const AgentClass* next = nullptr;
  const AgentClass* parent = Find(className != nullptr ? className : kRootName);
  const ErrorCode status = NextChild(parent, nameBuffer, &next);
  const char* name = status == Error_None && next != nullptr ? next->name : "";
  String_CopyMax(name, static_cast<int32_t>(std::min<uint32_t>(size, kAgentNameSize)), nameBuffer);
  return status;
}

int32_t AgentClass_Method(const char* className, const char* methodName, ...) {
  const HeldClass found = iAgentClass_Find(className);
  if (!found) return Error_NotFound;
  AgentPairs pairs;
  va_start(pairs.list, methodName);
  const int32_t result =
      iAgent_Call({found.get(), found->OwnLevel().classData, nullptr, nullptr, &pairs}, methodName);
  va_end(pairs.list);
  return result;
}
