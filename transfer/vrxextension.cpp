// The classes that come with the library. Extensions derive from them and bring the implementations.
#include "qz/agentclass.h"
#include "qz/error.h"
#include "qz/vrxclient.h"
#include "transfer/agent_internal.h"
#include "transfer/vrxextension_internal.h"

namespace {

constexpr char kDescription[] = "Serves as a virtual class for extending the behavior of VRX clients.";
constexpr char kMenu[] = "VRX Protocol Extension";
constexpr int32_t kVersion = 1;
constexpr char kUpdateURL[] = "ftp://example.invalid/updates/WinOS/vrxx.axt";

constexpr char kExtensionSignature[] =
    ".createVRXc(url=string,vrxc=object*);"
    ".check(file=string,url=string,vrxc=object);"
    "new(file=string,url=string,vrxc=object);"
    "delete(forever=bool);"
    "startcache(source=string,cache=string,serverfilename=string);"
    "completed(vrxc=object,delete=bool*);";

void StoreText(const AgentParam* params, const char* name, const char* text) {
  const char** variable = nullptr;
  if (AgentParam_StringPtr(params, name, &variable) == 1 && variable != nullptr) *variable = text;
}

ErrorCode ClassInfo(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
  StoreText(params, "description", kDescription);
  StoreText(params, "menu", kMenu);
  StoreText(params, "updateURL", kUpdateURL);
  int32_t* version = nullptr;
  if (AgentParam_IntegerPtr(params, "version", &version) == 1 && version != nullptr) *version = kVersion;
  return Error_None;
}

// Asks one class for a transfer. False, and no transfer, when it makes none.
bool HasMade(const char* className, const char* url, VRXClient** client) {
  *client = nullptr;
  const int32_t result = AgentClass_Method(className, "createVRXc", "url", iAgent_Word(url), "vrxc",
                                           iAgent_Word(client), kAgentPairsEnd);
  if (result == Error_None && *client != nullptr) return true;
  *client = nullptr;
  if (result != Error_Invalid && result != AgentResult_NoInstance)
    iAgent_Note("createVRXc", className, "createVRXc", result);
  return false;
}

// Makes a transfer for a URL: the first class below this one that can, else the library itself.
// Kept: the library itself gets the URL without a second one, which VRXClient_New refuses; so only extensions
// make transfers here.
ErrorCode CreateVRXc(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
  char* url = nullptr;
  void** created = nullptr;
  if (AgentParam_String(params, "url", &url) == 0 || AgentParam_ObjectPtr(params, "vrxc", &created) == 0 ||
      created == nullptr)
    return AgentResult_MissingParameter;
  auto** client = reinterpret_cast<VRXClient**>(created);
  *client = nullptr;
  char className[kAgentNameSize] = "";
  for (;;) {
    const ErrorCode status = AgentClass_Iterate(kExtensionClassName, sizeof className, className);
    if (status != Error_None) return status;
    if (className[0] == '\0') return VRXClient_New(url, nullptr, client);
    if (HasMade(className, url, client)) return Error_None;
  }
}

constexpr AgentMethod kExtensionMethods[] = {
    {"classinfo", ClassInfo}, {"createVRXc", CreateVRXc}, {nullptr, nullptr}};

struct ClassRow {
  const char* parent;
  const char* name;
  const char* signature;
  const AgentMethod* methods;
};

constexpr ClassRow kClasses[] = {
    {nullptr, "Metafile", ".validate(file=string);new(file=string);", nullptr},
    {"Metafile", "Codec",
     "countobjects(number=integer*);getobjectname(index=integer,name=string*);decompress(outdir=string);",
     nullptr},
    {"Metafile", "Encodec",
     "encode(instream=object,outstream=object);decode(instream=object,outstream=object);", nullptr},
    {nullptr, kExtensionClassName, kExtensionSignature, kExtensionMethods},
};

}  // namespace

ErrorCode iVRXExtension_RegisterClasses() {
  for (const ClassRow& row : kClasses) {
    const ErrorCode status = AgentClass_Register(row.parent, row.name, row.signature, row.methods, 0, 0);
    if (status != Error_None) return status;
  }
  return Error_None;
}
