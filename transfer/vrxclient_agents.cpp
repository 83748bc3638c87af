// VRXClient: the calls on the list of its agents.
#include "qz/error.h"
#include "transfer/agentlist_internal.h"
#include "transfer/vrxclient_internal.h"

ErrorCode VRXClient_AddAgent(VRXClient* client, Agent* agent) {
  if (client == nullptr || agent == nullptr) return Error_Invalid;
  const TransferCall call(client);
  const ErrorCode status = iAgentList_Add(&client->data.agents, agent);
  if (status == Error_None) client->isChanged = true;
  return status;
}

Agent* VRXClient_GetAgent(VRXClient* client, const char* className) {
  return client != nullptr ? iAgentList_GetFirst(&client->data.agents, className) : nullptr;
}

uint32_t VRXClient_GetAgentCount(VRXClient* client) {
  return client != nullptr ? iAgentList_Count(&client->data.agents) : UINT32_MAX;
}

ErrorCode VRXClient_RemoveAgent(VRXClient* client, const char* className) {
  if (client == nullptr || className == nullptr) return Error_Invalid;
  const TransferCall call(client);
  const ErrorCode status = iAgentList_RemoveFirst(&client->data.agents, className);
  if (status == Error_None) client->isChanged = true;
  return status;
}
