// Calls: a method by its name, and its parameters out of the pairs. Nothing is allocated.
#include "qz/error.h"
#include "transfer/agentclass_internal.h"
#include "transfer/agentparam_internal.h"

namespace {

// A method, and the class on the line to the root that declares it; no class: nobody does.
struct Declaration {
  const AgentClass* declaring;
  const AgentDeclaredMethod* method;

  size_t Index() const { return static_cast<size_t>(method - declaring->signature.methods.data()); }
};

Declaration FindDeclaration(const AgentClass* agentClass, const char* methodName) {
  if (methodName == nullptr) return {};
  for (; agentClass != nullptr; agentClass = agentClass->parent) {
    for (const AgentDeclaredMethod& method : agentClass->signature.methods) {
      if (iAgentSignature_IsName(methodName, method.name)) return {agentClass, &method};
    }
  }
  return {};
}

const AgentDeclaredParameter* FindParameter(const AgentDeclaredMethod& method, const char* name) {
  for (const AgentDeclaredParameter& parameter : method.parameters) {
    if (iAgentSignature_IsName(name, parameter.name)) return &parameter;
  }
  return nullptr;
}

void TakePairs(const AgentDeclaredMethod& method, const AgentPairs& pairs, AgentParam* params) {
  va_list list;
  va_copy(list, const_cast<AgentPairs&>(pairs).list);
  while (const char* name = va_arg(list, const char*)) {
    const Word value = va_arg(list, Word);
    const AgentDeclaredParameter* declared = FindParameter(method, name);
    // Kept: a pair that the method does not declare is dropped; callers pass what newer classes understand.
    if (declared == nullptr || params->count == kAgentParamLimit) continue;
    params->entries[params->count++] = {declared, value};
  }
  va_end(list);
}

}  // namespace

bool iAgentClass_Declares(const AgentClass* agentClass, const char* methodName) {
  return FindDeclaration(agentClass, methodName).declaring != nullptr;
}

// Kept: implementations are not inherited. A class that has none itself gives 1001, though the class above it
// has one; extensions rely on being asked only what they implement.
int32_t iAgent_Call(const AgentCall& call, const char* methodName) {
  if (call.agentClass->isReleased.load()) return AgentResult_NotDeclared;
  const Declaration found = FindDeclaration(call.agentClass, methodName);
  if (found.declaring == nullptr) return AgentResult_NotDeclared;
  if (!found.method->isClassMethod && call.agent == nullptr) return AgentResult_NoInstance;
  const AgentLevel& level = call.agentClass->Levels()[found.declaring->depth];
  const AgentImplementation implementation = level.methods[found.Index()];
  if (implementation == nullptr) return AgentResult_NotImplemented;

  AgentParam params;
  params.agent = call.agent;
  params.count = 0;
  if (call.pairs != nullptr) TakePairs(*found.method, *call.pairs, &params);
  return implementation(call.classData, call.agentData, &params);
}

void iAgent_Note(const char* operation, const char* className, const char* methodName, int32_t result) {
  if (result == Error_None || result == AgentResult_NotDeclared || result == AgentResult_NotImplemented)
    return;
  Error("%s: \"%s\" of class \"%s\" gave %ld, %s", operation, methodName, className,
        static_cast<long>(result), Error_ToString(result));
}
