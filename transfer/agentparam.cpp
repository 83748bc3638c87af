// The accessors of a call's parameters. What a pair passed stands in one word, whatever its type.
#include "qz/agentparam.h"

#include <cstring>

#include "qz/error.h"
#include "transfer/agentparam_internal.h"

namespace {

// The first parameter of this name; null when the call has none.
const AgentParamEntry* Find(const AgentParam* params, const char* name) {
  if (params == nullptr || name == nullptr) return nullptr;
  for (uint32_t i = 0; i < params->count; ++i) {
    if (iAgentSignature_IsName(name, params->entries[i].declared->name)) return &params->entries[i];
  }
  return nullptr;
}

// The same when it has the type; another type is a mistake of whoever wrote the class.
const AgentParamEntry* FindOfType(const AgentParam* params, const char* name, AgentType type) {
  const AgentParamEntry* entry = Find(params, name);
  if (entry == nullptr || entry->declared->type == type) return entry;
  Error("AgentParam_%s: \"%s\" has the type %s", iAgentType_Name(type), name,
        iAgentType_Name(entry->declared->type));
  return nullptr;
}

// The same when the signature names the class.
const AgentParamEntry* FindOfClass(const AgentParam* params, const char* name, const char* className,
                                   AgentType type) {
  if (className == nullptr) return nullptr;
  const AgentParamEntry* entry = FindOfType(params, name, type);
  if (entry == nullptr || iAgentSignature_IsName(className, entry->declared->className)) return entry;
  return nullptr;
}

// A number stands in the low 32 bits; the others are whatever the call left there.
template <typename Number>
int32_t StoreNumber(const AgentParamEntry* entry, Number* number) {
  if (entry == nullptr || number == nullptr) return 0;
  const auto bits = static_cast<uint32_t>(entry->value);
  static_assert(sizeof *number == sizeof bits);
  memcpy(number, &bits, sizeof bits);
  return 1;
}

template <typename Pointer>
int32_t StorePointer(const AgentParamEntry* entry, Pointer* pointer) {
  if (entry == nullptr || pointer == nullptr) return 0;
  *pointer = reinterpret_cast<Pointer>(entry->value);
  return 1;
}

}  // namespace

Agent* AgentParam_This(const AgentParam* params) {
  return params != nullptr ? params->agent : nullptr;
}

int32_t AgentParam_Bool(const AgentParam* params, const char* name, int32_t* flag) {
  return StoreNumber(FindOfType(params, name, AgentType::Bool), flag);
}

int32_t AgentParam_Integer(const AgentParam* params, const char* name, int32_t* number) {
  return StoreNumber(FindOfType(params, name, AgentType::Integer), number);
}

int32_t AgentParam_Float(const AgentParam* params, const char* name, float* number) {
  return StoreNumber(FindOfType(params, name, AgentType::Float), number);
}

int32_t AgentParam_String(const AgentParam* params, const char* name, char** text) {
  return StorePointer(FindOfType(params, name, AgentType::String), text);
}

int32_t AgentParam_Object(const AgentParam* params, const char* name, void** object) {
  return StorePointer(FindOfType(params, name, AgentType::Object), object);
}

int32_t AgentParam_BoolPtr(const AgentParam* params, const char* name, int32_t** flag) {
  return StorePointer(FindOfType(params, name, AgentType::BoolPtr), flag);
}

int32_t AgentParam_StringPtr(const AgentParam* params, const char* name, const char*** text) {
  return StorePointer(FindOfType(params, name, AgentType::StringPtr), text);
}

int32_t AgentParam_IntegerPtr(const AgentParam* params, const char* name, int32_t** number) {
  return StorePointer(FindOfType(params, name, AgentType::IntegerPtr), number);
}

int32_t AgentParam_FloatPtr(const AgentParam* params, const char* name, float** number) {
  return StorePointer(FindOfType(params, name, AgentType::FloatPtr), number);
}

int32_t AgentParam_ObjectPtr(const AgentParam* params, const char* name, void*** object) {
  return StorePointer(FindOfType(params, name, AgentType::ObjectPtr), object);
}

int32_t AgentParam_Agent(const AgentParam* params, const char* name, const char* className, Agent** agent) {
  return StorePointer(FindOfClass(params, name, className, AgentType::OfClass), agent);
}

int32_t AgentParam_AgentPtr(const AgentParam* params, const char* name, const char* className,
                            Agent*** agent) {
  return StorePointer(FindOfClass(params, name, className, AgentType::OfClassPtr), agent);
}
