#include "agent.h"

#include <stddef.h>

#include "qz/agent.h"
#include "qz/agentclass.h"

VRXClient* Extension_Transfer(const AgentParam* params) {
  void* client = NULL;
  return AgentParam_Object(params, "vrxc", &client) ? (VRXClient*)client : NULL;
}

ErrorCode Extension_AddAgent(const AgentParam* params, const char* className, const char* name, Word value) {
  VRXClient* client = Extension_Transfer(params);
  Agent* agent = NULL;
  if (client == NULL) return AgentResult_MissingParameter;
  if (VRXClient_IsUpload(client)) return Error_Invalid;
  if (VRXClient_IsCompleted(client)) return Error_Inited;
  ErrorCode status = Agent_New(&agent, className, name, value, (const char*)0);
  if (status != Error_None) return status;
  status = VRXClient_AddAgent(client, agent);
  if (status != Error_None) Agent_Delete(agent, (const char*)0);
  return status;
}

bool Extension_LocateFile(const VRXClient* client, char* path, char* finalPath) {
  VRXClient_GetLocalFilePath(client, path);
  VRXClient_GetReplacedPath(client, finalPath);
  if (finalPath[0] == '\0') VRXClient_GetLocalFilePath(client, finalPath);
  return !VRXClient_IsWebPage(client);
}

static void Answer(const AgentParam* params, const char* name, const char* text) {
  const char** place = NULL;
  if (AgentParam_StringPtr(params, name, &place) && place != NULL) *place = text;
}

ErrorCode Extension_DescribeClass(const AgentParam* params, const char* description, const char* menu) {
  int32_t* version = NULL;
  Answer(params, "description", description);
  Answer(params, "menu", menu);
  if (AgentParam_IntegerPtr(params, "version", &version) && version != NULL) *version = 1;
  return Error_None;
}
