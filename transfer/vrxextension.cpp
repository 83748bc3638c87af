// The classes that come with the library. Extensions derive from them and bring the implementations.
#include "qz/agentclass.h"
#include "qz/error.h"
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

constexpr AgentMethod kExtensionMethods[] = {{"classinfo", ClassInfo}, {nullptr, nullptr}};

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
