// The classes that come with the library.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "qz/agentclass.h"
#include "qz/error.h"
#include "tests/support/error_capture.h"
#include "tests/support/temp_dir.h"
#include "tests/transfer/agentlist_fixture.h"

namespace {

class VRXExtension : public ExtensionTest {};

TEST_F(VRXExtension, ComesWithItsBase) {
  EXPECT_EQ(Children("/"), (CallList{"VRXx", "Metafile"}));
  EXPECT_EQ(Children("Metafile"), (CallList{"Encodec", "Codec"}));
  EXPECT_EQ(Children("VRXx"), CallList{});
}

TEST_F(VRXExtension, DeclaresTheMethodsOfItsClasses) {
  const std::vector<std::pair<const char*, std::vector<const char*>>> classes = {
      {"VRXx", {"createVRXc", "check", "new", "delete", "startcache", "completed"}},
      {"Metafile", {"validate", "new"}},
      {"Codec", {"countobjects", "getobjectname", "decompress", "validate"}},
      {"Encodec", {"encode", "decode", "validate"}}};
  for (const auto& [name, methods] : classes) {
    for (const char* method : methods)
      EXPECT_EQ(AgentClass_MethodExists(name, method), 1) << name << " " << method;
  }
  for (const char* method : {"createVRXc", "check", "startcache", "completed"})
    EXPECT_EQ(AgentClass_MethodExists("Metafile", method), 0) << method;
}

TEST_F(VRXExtension, ImplementsNothingButClassinfoAndCreateVRXc) {
  EXPECT_EQ(AgentClass_Method("VRXx", "check", kEnd), AgentResult_NotImplemented);
  EXPECT_EQ(AgentClass_Method("Metafile", "validate", kEnd), AgentResult_NotImplemented);
  const std::vector<std::pair<const char*, std::vector<const char*>>> classes = {
      {"VRXx", {"new", "delete", "startcache", "completed", "traverse"}},
      {"Codec", {"countobjects", "getobjectname", "decompress", "new"}},
      {"Encodec", {"encode", "decode"}}};
  for (const auto& [name, methods] : classes) {
    Agent* agent = nullptr;
    ASSERT_EQ(Agent_New(&agent, name, kEnd), Error_None);
    for (const char* method : methods)
      EXPECT_EQ(Agent_Method(agent, method, kEnd), AgentResult_NotImplemented) << name << " " << method;
    EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
  }
}

TEST_F(VRXExtension, DeclaresAsMethodsOfTheClassOnlyTheseThree) {
  for (const char* method : {"createVRXc", "check"})
    EXPECT_NE(AgentClass_Method("VRXx", method, kEnd), AgentResult_NoInstance) << method;
  EXPECT_NE(AgentClass_Method("Metafile", "validate", kEnd), AgentResult_NoInstance);
  const std::vector<std::pair<const char*, std::vector<const char*>>> classes = {
      {"VRXx", {"new", "delete", "startcache", "completed"}},
      {"Metafile", {"new"}},
      {"Codec", {"countobjects", "getobjectname", "decompress"}},
      {"Encodec", {"encode", "decode"}}};
  for (const auto& [name, methods] : classes) {
    for (const char* method : methods)
      EXPECT_EQ(AgentClass_Method(name, method, kEnd), AgentResult_NoInstance) << name << " " << method;
  }
}

TEST_F(VRXExtension, TellsAboutItself) {
  const char* description = nullptr;
  const char* menu = nullptr;
  const char* updateURL = nullptr;
  int32_t version = 0;
  EXPECT_EQ(AgentClass_Method("VRXx", "classinfo", "description", W(&description), "menu", W(&menu),
                              "version", W(&version), "updateURL", W(&updateURL), kEnd),
            Error_None);
  EXPECT_STREQ(description, "Serves as a virtual class for extending the behavior of VRX clients.");
  EXPECT_STREQ(menu, "VRX Protocol Extension");
  EXPECT_EQ(version, 1);
  EXPECT_STREQ(updateURL, "ftp://example.invalid/updates/WinOS/vrxx.axt");
}

TEST_F(VRXExtension, TellsOnlyWhatItIsAsked) {
  int32_t version = 0;
  EXPECT_EQ(AgentClass_Method("VRXx", "classinfo", "version", W(&version), "menu", W(nullptr), kEnd),
            Error_None);
  EXPECT_EQ(version, 1);
  EXPECT_EQ(AgentClass_Method("VRXx", "classinfo", "version", W(nullptr), kEnd), Error_None);
  EXPECT_EQ(AgentClass_Method("VRXx", "classinfo", kEnd), Error_None);
}

// The types of the parameters, as a class derived from it sees them.
ErrorCode SeeTypes(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
  std::string seen;
  char* text = nullptr;
  int32_t number = 0;
  void* object = nullptr;
  int32_t* address = nullptr;
  void** objectAddress = nullptr;
  const char** textAddress = nullptr;
  for (const char* name : {"url", "file", "source", "cache", "serverfilename", "name", "outdir"})
    if (AgentParam_String(params, name, &text) == 1) seen += std::string(name) + "=string ";
  for (const char* name : {"vrxc", "instream", "outstream"})
    if (AgentParam_Object(params, name, &object) == 1) seen += std::string(name) + "=object ";
  if (AgentParam_ObjectPtr(params, "vrxc", &objectAddress) == 1) seen += "vrxc=object* ";
  if (AgentParam_BoolPtr(params, "delete", &address) == 1) seen += "delete=bool* ";
  if (AgentParam_Bool(params, "forever", &number) == 1) seen += "forever=bool ";
  if (AgentParam_Integer(params, "index", &number) == 1) seen += "index=integer ";
  if (AgentParam_IntegerPtr(params, "number", &address) == 1) seen += "number=integer* ";
  if (AgentParam_StringPtr(params, "name", &textAddress) == 1) seen += "name=string* ";
  Calls().push_back(seen);
  return Error_None;
}

// Calls a method of "Typed", a class below `parent`, with every parameter that there is.
std::string TypesOf(const char* parent, const char* method) {
  const AgentMethod methods[] = {{method, SeeTypes}, {}};
  const std::string name = std::string("Typed") + method + parent;
  EXPECT_EQ(AgentClass_Register(parent, name.c_str(), "", methods, 0, 0), Error_None);
  TakeCalls();
  Agent* agent = nullptr;
  EXPECT_EQ(Agent_New(&agent, name.c_str(), kEnd), Error_None);
  TakeCalls();
  Agent_Method(agent, method, "url", W(nullptr), "file", W(nullptr), "source", W(nullptr), "cache",
               W(nullptr), "serverfilename", W(nullptr), "name", W(nullptr), "outdir", W(nullptr), "vrxc",
               W(nullptr), "instream", W(nullptr), "outstream", W(nullptr), "delete", W(nullptr), "forever",
               W(0), "index", W(0), "number", W(nullptr), kEnd);
  const CallList calls = TakeCalls();
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
  return calls.empty() ? "" : calls[0];
}

TEST_F(VRXExtension, DeclaresTheTypesOfParameters) {
  EXPECT_EQ(TypesOf("VRXx", "createVRXc"), "url=string vrxc=object* ");
  EXPECT_EQ(TypesOf("VRXx", "check"), "url=string file=string vrxc=object ");
  EXPECT_EQ(TypesOf("VRXx", "new"), "url=string file=string vrxc=object ");
  EXPECT_EQ(TypesOf("VRXx", "delete"), "forever=bool ");
  EXPECT_EQ(TypesOf("VRXx", "startcache"), "source=string cache=string serverfilename=string ");
  EXPECT_EQ(TypesOf("VRXx", "completed"), "vrxc=object delete=bool* ");
  EXPECT_EQ(TypesOf("Metafile", "validate"), "file=string ");
  EXPECT_EQ(TypesOf("Metafile", "new"), "file=string ");
  EXPECT_EQ(TypesOf("Codec", "countobjects"), "number=integer* ");
  EXPECT_EQ(TypesOf("Codec", "getobjectname"), "index=integer name=string* ");
  EXPECT_EQ(TypesOf("Codec", "decompress"), "outdir=string ");
  EXPECT_EQ(TypesOf("Encodec", "encode"), "instream=object outstream=object ");
  EXPECT_EQ(TypesOf("Encodec", "decode"), "instream=object outstream=object ");
}

// ---- createVRXc ---------------------------------------------------------------------------------

class VRXExtensionCreate : public ExtensionTest {
 protected:
  // Makes no real transfer: what the extensions store is only passed on.
  int32_t Create(const char* url = "ftp://host/file") {
    return AgentClass_Method("VRXx", "createVRXc", "url", W(url), "vrxc", W(&created_), kEnd);
  }
  Behaviour Makes(VRXClient* made, int32_t result) {
    return [=, this](AgentParam* params) {
      void** created = nullptr;
      EXPECT_EQ(TextOf(params, "url"), "ftp://host/file");
      EXPECT_EQ(AgentParam_ObjectPtr(params, "vrxc", &created), 1);
      EXPECT_EQ(created, reinterpret_cast<void**>(&created_));
      EXPECT_EQ(*created, nullptr);
      if (made != nullptr) *created = made;
      return result;
    };
  }
  VRXClient* created_ = &client_;
  VRXClient other_ = {};
};

TEST_F(VRXExtensionCreate, TakesTheFirstClassThatMakesATransfer_NewestFirst) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>();
  RegisterExtension<'C'>();
  On("A.createVRXc") = Makes(&client_, Error_None);
  On("B.createVRXc") = Makes(&other_, Error_None);
  On("C.createVRXc") = Makes(nullptr, Error_None);
  EXPECT_EQ(Create(), Error_None);
  EXPECT_EQ(created_, &other_);
  EXPECT_EQ(TakeCalls(), (CallList{"C.createVRXc", "B.createVRXc"}));
}

TEST_F(VRXExtensionCreate, AsksTheNextClass_WhenOneFails) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>();
  On("A.createVRXc") = Makes(&client_, Error_None);
  On("B.createVRXc") = Makes(&other_, Error_Fail);
  ErrorCapture errors;
  EXPECT_EQ(Create(), Error_None);
  EXPECT_EQ(created_, &client_);
  EXPECT_EQ(errors.Lines(),
            CallList{"#### Error: createVRXc: \"createVRXc\" of class \"B\" gave -1, Fail\n"});
}

TEST_F(VRXExtensionCreate, ReportsNoClassThatDoesNotTakeTheURL) {
  ASSERT_EQ(AgentClass_Register("VRXx", "Unimplemented", "", nullptr, 0, 0), Error_None);
  RegisterExtension<'A'>();
  for (const int32_t result : {-4, 1000, 1001, 1002}) {
    On("A.createVRXc") = [=](AgentParam*) { return result; };
    ErrorCapture errors;
    EXPECT_EQ(Create(), Error_Invalid);
    EXPECT_EQ(errors.Lines(), CallList{}) << result;
  }
  On("A.createVRXc") = [=](AgentParam*) { return 1003; };
  ErrorCapture errors;
  EXPECT_EQ(Create(), Error_Invalid);
  EXPECT_EQ(errors.Lines().size(), 1u);
}

TEST_F(VRXExtensionCreate, AsksTheLibraryItself_WhenNoClassMakesATransfer) {
  EXPECT_EQ(Create("file:///dir/file"), Error_Invalid);
  EXPECT_EQ(created_, nullptr);
  created_ = &client_;
  EXPECT_EQ(Create("ftp://host/file"), Error_Invalid);
  EXPECT_EQ(created_, nullptr);
  EXPECT_EQ(Create(nullptr), Error_Invalid);
}

TEST_F(VRXExtensionCreate, NeedsBothParameters) {
  EXPECT_EQ(AgentClass_Method("VRXx", "createVRXc", kEnd), AgentResult_MissingParameter);
  EXPECT_EQ(AgentClass_Method("VRXx", "createVRXc", "url", W("ftp://host/file"), kEnd),
            AgentResult_MissingParameter);
  EXPECT_EQ(AgentClass_Method("VRXx", "createVRXc", "vrxc", W(&created_), kEnd),
            AgentResult_MissingParameter);
  EXPECT_EQ(AgentClass_Method("VRXx", "createVRXc", "url", W("ftp://host/file"), "vrxc", W(nullptr), kEnd),
            AgentResult_MissingParameter);
}

TEST_F(VRXExtensionCreate, GivesTheStatusOfAWalkThatFails) {
  RegisterExtension<'A'>();
  On("A.createVRXc") = [](AgentParam*) {
    iAgentClass_End();
    return Error_Fail;
  };
  ErrorCapture errors;
  EXPECT_EQ(Create(), Error_NotFound);
}

TEST_F(VRXExtensionCreate, IsNotInherited) {
  ASSERT_EQ(AgentClass_Register("VRXx", "Unimplemented", "", nullptr, 0, 0), Error_None);
  EXPECT_EQ(AgentClass_Method("Unimplemented", "createVRXc", "url", W("ftp://host/file"), "vrxc",
                              W(&created_), kEnd),
            AgentResult_NotImplemented);
}

}  // namespace
