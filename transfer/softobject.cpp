#include "qz/softobject.h"

#include "qz/error.h"
#include "transfer/agent_internal.h"

// Kept: a missing class is told as Error_NotInited; callers take Error_NotFound for an object that is gone.
ErrorCode SoftObject_New(const char* name, Agent** object) {
  const ErrorCode status = Agent_New(object, "SoftObject", "name", iAgent_Word(name), kAgentPairsEnd);
  return status == Error_NotFound ? ErrorCode{Error_NotInited} : status;
}

int32_t SoftObject_Update(Agent* object) {
  return Agent_Method(object, "update", kAgentPairsEnd);
}

// Kept: an object that is not found is no failure; callers look at the flag.
int32_t SoftObject_Check(Agent* object, int32_t* flag) {
  if (flag == nullptr) return Error_Invalid;
  *flag = 0;
  const int32_t result = Agent_Method(object, "check", "vrxc", iAgent_Word(flag), kAgentPairsEnd);
  return result == Error_NotFound ? Error_None : result;
}

ErrorCode SoftObject_Delete(Agent* object) {
  return Agent_Delete(object, kAgentPairsEnd);
}
