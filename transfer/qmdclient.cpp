#include "qz/qmdclient.h"

#include "qz/error.h"
#include "transfer/agent_internal.h"

namespace {

constexpr char kClassName[] = "HBN";

}  // namespace

// Kept: an extension that is not ready (Error_NotInited) is told as one that
// does not take the URL.
int32_t QMDClient_CheckURL(const char* url) {
  const int32_t result = AgentClass_Method(kClassName, "checkURL", "url", iAgent_Word(url), kAgentPairsEnd);
  return result == Error_NotInited ? Error_NotFound : result;
}

// Kept: a missing class is told as Error_Invalid, unlike by QMDClient_CheckURL.
int32_t QMDClient_NewDownload(const char* url, Word userData, const VRXClientMethods* methods, int32_t* verb,
                              VRXClient** client) {
  if (verb != nullptr) *verb = 0;
  if (client == nullptr) return Error_Invalid;
  *client = nullptr;
  int32_t stored = 0;
  const int32_t result = AgentClass_Method(kClassName, "newvrxc", "url", iAgent_Word(url), "verb",
                                           iAgent_Word(&stored), "vrxc", iAgent_Word(client), kAgentPairsEnd);
  if (result != Error_None) *client = nullptr;
  if (result != Error_None) return result == Error_NotFound ? Error_Invalid : result;
  if (*client == nullptr) return Error_Invalid;
  if (verb != nullptr) *verb = stored;
  return VRXClient_SetMethods(*client, userData, methods);
}

const char* QMDClient_GetURLSuffix(void) {
  const char* suffix = nullptr;
  const int32_t result =
      AgentClass_Method(kClassName, "getsuffix", "urlPtr", iAgent_Word(&suffix), kAgentPairsEnd);
  return result == Error_None ? suffix : nullptr;
}
