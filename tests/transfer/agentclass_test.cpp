// AgentClass: registration, the tree of classes, and calls of classes.
#include "qz/agentclass.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "qz/error.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/agent_fixture.h"

namespace {

class AgentClassTest : public AgentSystemTest {};

ErrorCode Register(const char* parent, const char* name, const char* signature = "",
                   const AgentMethod* methods = nullptr, uint32_t classData = 0, uint32_t instanceData = 0) {
  return AgentClass_Register(parent, name, signature, methods, classData, instanceData);
}

// ---- start and end ------------------------------------------------------------------------------

TEST(AgentClassSystem, KnowsNothing_BeforeItsStart) {
  char name[16] = "";
  EXPECT_EQ(Register(nullptr, "A"), Error_NotInited);
  EXPECT_EQ(Register(nullptr, nullptr), Error_NotInited);
  EXPECT_EQ(Register("/", nullptr), Error_Invalid);
  EXPECT_EQ(AgentClass_MethodExists("/", "new"), 0);
  EXPECT_EQ(AgentClass_Iterate("/", sizeof name, name), Error_NotFound);
  EXPECT_EQ(AgentClass_Method("/", "register", kEnd), Error_NotFound);
  iAgentClass_End();
}

TEST(AgentClassSystem, GivesInited_WhenStartedTwice) {
  ASSERT_EQ(iAgentClass_Start(), Error_None);
  ASSERT_EQ(Register(nullptr, "A"), Error_None);
  EXPECT_EQ(iAgentClass_Start(), Error_Inited);
  EXPECT_EQ(AgentClass_MethodExists("A", "new"), 1);
  iAgentClass_End();
  EXPECT_EQ(AgentClass_MethodExists("A", "new"), 0);
  ASSERT_EQ(iAgentClass_Start(), Error_None);
  EXPECT_EQ(AgentClass_MethodExists("A", "new"), 0);
  iAgentClass_End();
}

TEST(AgentClassSystem, CanBeStartedAfterAStartThatRanOutOfMemory) {
  ErrorCode status = Error_Memory;
  for (int n = 1; status != Error_None; ++n) {
    iMemory_FailAllocation(n);
    status = iAgentClass_Start();
    iMemory_FailAllocation(0);
    if (status == Error_None) break;
    EXPECT_EQ(status, Error_Memory);
    EXPECT_EQ(iAgentClass_Start(), Error_None) << n;
    iAgentClass_End();
  }
  iAgentClass_End();
}

TEST(AgentClassSystem, LeavesNothing_WhenItsStartRunsOutOfMemory) {
  FailEveryAllocation([] {
    const ErrorCode status = iAgentClass_Start();
    EXPECT_EQ(AgentClass_MethodExists("/", "new"), status == Error_None ? 1 : 0);
    if (status != Error_None) {
      EXPECT_EQ(status, Error_Memory);
    }
    iAgentClass_End();
  });
}

// ---- the root -----------------------------------------------------------------------------------

TEST_F(AgentClassTest, DeclaresTheRootsMethods) {
  for (const char* method : {"register", "unregister", "classinfo", "new", "delete", "traverse"})
    EXPECT_EQ(AgentClass_MethodExists("/", method), 1) << method;
  for (const char* method : {"register", "unregister", "classinfo"})
    EXPECT_EQ(AgentClass_Method("/", method, kEnd), AgentResult_NotImplemented) << method;
  for (const char* method : {"new", "delete", "traverse"})
    EXPECT_EQ(AgentClass_Method("/", method, kEnd), AgentResult_NoInstance) << method;
}

TEST_F(AgentClassTest, RegistersTheRootOnlyOnce) {
  EXPECT_EQ(Register(nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(Register("/", nullptr), Error_Invalid);
  EXPECT_EQ(Register(nullptr, "/"), Error_Exists);
}

// Stores the parameters that it is asked for.
ErrorCode TellAboutClass(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
  const char** text = nullptr;
  int32_t* version = nullptr;
  if (AgentParam_StringPtr(params, "description", &text) == 1) *text = "an example";
  if (AgentParam_StringPtr(params, "menu", &text) == 1) *text = "Example";
  if (AgentParam_StringPtr(params, "updateURL", &text) == 1) *text = "ftp://example.invalid/x";
  if (AgentParam_IntegerPtr(params, "version", &version) == 1) *version = 7;
  return Error_None;
}

TEST_F(AgentClassTest, InheritsTheDeclarationOfClassinfo) {
  const AgentMethod methods[] = {{"classinfo", TellAboutClass}, {}};
  ASSERT_EQ(Register(nullptr, "A", "", methods), Error_None);
  const char* description = nullptr;
  const char* menu = nullptr;
  const char* updateURL = nullptr;
  int32_t version = 0;
  EXPECT_EQ(AgentClass_Method("A", "classinfo", "description", W(&description), "menu", W(&menu), "version",
                              W(&version), "updateURL", W(&updateURL), kEnd),
            Error_None);
  EXPECT_STREQ(description, "an example");
  EXPECT_STREQ(menu, "Example");
  EXPECT_STREQ(updateURL, "ftp://example.invalid/x");
  EXPECT_EQ(version, 7);
}

// ---- what is refused ----------------------------------------------------------------------------

TEST_F(AgentClassTest, RefusesAnEmptyName) {
  EXPECT_EQ(Register(nullptr, ""), Error_Invalid);
}

TEST_F(AgentClassTest, TakesNamesOfUpTo1023Bytes) {
  const std::string longest(1023, 'x');
  EXPECT_EQ(Register(nullptr, longest.c_str()), Error_None);
  EXPECT_EQ(AgentClass_MethodExists(longest.c_str(), "new"), 1);
  EXPECT_EQ(Children("/"), CallList{longest});
  const std::string tooLong(1024, 'x');
  EXPECT_EQ(Register(nullptr, tooLong.c_str()), Error_Exceed);
  EXPECT_EQ(Register(tooLong.c_str(), "A"), Error_NotFound);
  EXPECT_EQ(AgentClass_MethodExists(tooLong.c_str(), "new"), 0);
}

TEST_F(AgentClassTest, RefusesAnUnknownParent) {
  EXPECT_EQ(Register("Nobody", "A"), Error_NotFound);
  EXPECT_EQ(Register("", "A"), Error_NotFound);
}

TEST_F(AgentClassTest, RefusesANameThatIsTaken_InAnyCase) {
  ASSERT_EQ(Register(nullptr, "Filter"), Error_None);
  for (const char* name : {"Filter", "filter", "FILTER", "fIlTeR"})
    EXPECT_EQ(Register(nullptr, name), Error_Exists) << name;
}

TEST_F(AgentClassTest, RefusesAnInvalidSignature) {
  EXPECT_EQ(Register(nullptr, "A", "m(a=int);"), Error_Invalid);
  EXPECT_EQ(AgentClass_MethodExists("A", "new"), 0);
  EXPECT_EQ(Register(nullptr, "A", "m(a=integer);"), Error_None);
}

TEST_F(AgentClassTest, ChecksNameThenParentThenTakenThenSignature) {
  ASSERT_EQ(Register(nullptr, "A"), Error_None);
  EXPECT_EQ(Register("Nobody", nullptr, "m"), Error_Invalid);
  EXPECT_EQ(Register("Nobody", "", "m"), Error_Invalid);
  EXPECT_EQ(Register("Nobody", "A", "m"), Error_NotFound);
  EXPECT_EQ(Register(nullptr, "A", "m"), Error_Exists);
  EXPECT_EQ(Register(nullptr, "B", "m"), Error_Invalid);
}

TEST_F(AgentClassTest, KnowsRegisteredClassesAsTypes_ItselfExcepted) {
  ASSERT_EQ(Register(nullptr, "Part"), Error_None);
  EXPECT_EQ(Register(nullptr, "Whole", "add(part=PART);get(part=part*);"), Error_None);
  EXPECT_EQ(Register(nullptr, "Self", "add(other=Self);"), Error_Invalid);
  const std::string tooLong = "add(a=" + std::string(1024, 'x') + ");";
  EXPECT_EQ(Register(nullptr, "Long", tooLong.c_str()), Error_Invalid);
}

// ---- "register" ---------------------------------------------------------------------------------

const AgentMethod kMethodsOfA[] = {
    {"register", Records<"A.register">}, {"unregister", Records<"A.unregister">}, {}};
const AgentMethod kMethodsOfB[] = {
    {"REGISTER", Records<"B.register">}, {"Unregister", Records<"B.unregister">}, {}};

TEST_F(AgentClassTest, CallsRegisterOfEveryLevel_RootFirst) {
  ASSERT_EQ(Register(nullptr, "A", "", kMethodsOfA), Error_None);
  EXPECT_EQ(TakeCalls(), CallList{"A.register"});
  ASSERT_EQ(Register("A", "B", "", kMethodsOfB), Error_None);
  EXPECT_EQ(TakeCalls(), (CallList{"A.register", "B.register"}));
  ASSERT_EQ(Register("B", "C"), Error_None);
  EXPECT_EQ(TakeCalls(), (CallList{"A.register", "B.register"}));
}

TEST_F(AgentClassTest, CallsUnregisterOfEveryLevel_RootLast_AtTheEnd) {
  ASSERT_EQ(Register(nullptr, "A", "", kMethodsOfA), Error_None);
  ASSERT_EQ(Register("A", "B", "", kMethodsOfB), Error_None);
  ASSERT_EQ(Register("B", "C"), Error_None);
  TakeCalls();
  iAgentClass_End();
  // C, then B, then A.
  EXPECT_EQ(TakeCalls(),
            (CallList{"B.unregister", "A.unregister", "B.unregister", "A.unregister", "A.unregister"}));
}

TEST_F(AgentClassTest, KeepsAClassUntilItsChildrenAreGone) {
  // In the order of names the parent "A" comes first, and its children are still there.
  ASSERT_EQ(Register(nullptr, "A", "", kMethodsOfA), Error_None);
  ASSERT_EQ(Register("A", "B", "", kMethodsOfB), Error_None);
  TakeCalls();
  iAgentClass_End();
  EXPECT_EQ(TakeCalls(), (CallList{"B.unregister", "A.unregister", "A.unregister"}));
}

TEST_F(AgentClassTest, ReportsAFailingUnregister_AndGoesOn) {
  const AgentMethod methods[] = {{"unregister", Records<"B.unregister", Error_Fail>}, {}};
  ASSERT_EQ(Register(nullptr, "A", "", kMethodsOfA), Error_None);
  ASSERT_EQ(Register("A", "B", "", methods), Error_None);
  TakeCalls();
  ErrorCapture errors;
  iAgentClass_End();
  EXPECT_EQ(TakeCalls(), (CallList{"B.unregister", "A.unregister", "A.unregister"}));
  EXPECT_EQ(errors.Lines(),
            CallList{"#### Error: AgentClass: \"unregister\" of class \"B\" gave -1, Fail\n"});
}

TEST_F(AgentClassTest, FailsWithWhatRegisterGives_AndUnregistersTheLevelsAbove) {
  const AgentMethod failing[] = {
      {"register", Records<"C.register", Error_Exceed>}, {"unregister", Records<"C.unregister">}, {}};
  ASSERT_EQ(Register(nullptr, "A", "", kMethodsOfA), Error_None);
  ASSERT_EQ(Register("A", "B", "", kMethodsOfB), Error_None);
  TakeCalls();
  EXPECT_EQ(Register("B", "C", "", failing), Error_Exceed);
  EXPECT_EQ(TakeCalls(),
            (CallList{"A.register", "B.register", "C.register", "B.unregister", "A.unregister"}));
  EXPECT_EQ(AgentClass_MethodExists("C", "new"), 0);
  EXPECT_EQ(Children("B"), CallList{});
  // Nothing of it is left: the name is free, and the class above goes as if there had been no child.
  EXPECT_EQ(Register("A", "C"), Error_None);
  TakeCalls();
  iAgentClass_End();
  EXPECT_EQ(TakeCalls(), (CallList{"B.unregister", "A.unregister", "A.unregister", "A.unregister"}));
}

TEST_F(AgentClassTest, FailsInTheMiddle_WhenALevelAboveRefuses) {
  static int32_t result;
  const AgentMethod refusing[] = {{"register",
                                   [](void*, void*, AgentParam*) -> ErrorCode {
                                     Calls().push_back("B.register");
                                     return result;
                                   }},
                                  {"unregister", Records<"B.unregister">},
                                  {}};
  result = Error_None;
  ASSERT_EQ(Register(nullptr, "A", "", kMethodsOfA), Error_None);
  ASSERT_EQ(Register("A", "B", "", refusing), Error_None);
  TakeCalls();
  result = Error_NoAccess;
  EXPECT_EQ(Register("B", "C", "", kMethodsOfA), Error_NoAccess);
  EXPECT_EQ(TakeCalls(), (CallList{"A.register", "B.register", "A.unregister"}));
}

TEST_F(AgentClassTest, GivesNotInited_ForClassDataWithoutRegister) {
  EXPECT_EQ(Register(nullptr, "A", "", nullptr, 4), Error_NotInited);
  EXPECT_EQ(AgentClass_MethodExists("A", "new"), 0);
  EXPECT_EQ(Register(nullptr, "A", "", kMethodsOfA, 4), Error_None);
  EXPECT_EQ(Register("A", "B"), Error_None);
}

TEST_F(AgentClassTest, TakesARegisterThatGives1001ForNone) {
  const AgentMethod methods[] = {{"register", Gives<AgentResult_NotImplemented>}, {}};
  EXPECT_EQ(Register(nullptr, "A", "", methods), Error_None);
  EXPECT_EQ(Register(nullptr, "B", "", methods, 1), Error_NotInited);
}

TEST_F(AgentClassTest, FailsWithTheOtherResultsOfCalls) {
  const AgentMethod gives1000[] = {{"register", Gives<AgentResult_NotDeclared>}, {}};
  const AgentMethod gives1002[] = {{"register", Gives<AgentResult_NoInstance>}, {}};
  const AgentMethod gives1003[] = {{"register", Gives<AgentResult_MissingParameter>}, {}};
  EXPECT_EQ(Register(nullptr, "A", "", gives1000), 1000);
  EXPECT_EQ(Register(nullptr, "A", "", gives1002), 1002);
  EXPECT_EQ(Register(nullptr, "A", "", gives1003), 1003);
  EXPECT_EQ(Children("/"), CallList{});
}

// ---- data of classes ----------------------------------------------------------------------------

std::vector<uint8_t*>& Areas() {
  static std::vector<uint8_t*> areas;
  return areas;
}

// Records its class data, of which 100 bytes must be zero, and fills them.
ErrorCode FillClassData(void* classData, void* instanceData, AgentParam* params) {
  EXPECT_EQ(instanceData, nullptr);
  EXPECT_EQ(AgentParam_This(params), nullptr);
  auto* area = static_cast<uint8_t*>(classData);
  Areas().push_back(area);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(area[i], 0);
  memset(area, 0xFF, 100);
  return Error_None;
}

ErrorCode RecordClassData(void* classData, void* /*instanceData*/, AgentParam* /*params*/) {
  Areas().push_back(static_cast<uint8_t*>(classData));
  return Error_None;
}

TEST_F(AgentClassTest, GivesEachClassItsOwnDataOfEachLevel) {
  const AgentMethod methods[] = {
      {"register", FillClassData}, {"unregister", RecordClassData}, {"classinfo", RecordClassData}, {}};
  Areas().clear();
  ASSERT_EQ(Register(nullptr, "A", "", methods, 100), Error_None);
  ASSERT_EQ(Register("A", "B", "", methods, 100), Error_None);
  ASSERT_EQ(Areas().size(), 3u);
  uint8_t* const ofA = Areas()[0];
  uint8_t* const ofBForA = Areas()[1];
  uint8_t* const ofB = Areas()[2];
  EXPECT_NE(ofA, ofBForA);
  EXPECT_NE(ofA, ofB);
  EXPECT_NE(ofBForA, ofB);
  for (const uint8_t* area : Areas()) EXPECT_EQ(reinterpret_cast<Word>(area) % 8, 0u);

  // A call gets the data of the class that is called.
  Areas().clear();
  EXPECT_EQ(AgentClass_Method("A", "classinfo", kEnd), Error_None);
  EXPECT_EQ(AgentClass_Method("B", "classinfo", kEnd), Error_None);
  EXPECT_EQ(Areas(), (std::vector<uint8_t*>{ofA, ofB}));

  Areas().clear();
  iAgentClass_End();
  EXPECT_EQ(Areas(), (std::vector<uint8_t*>{ofB, ofBForA, ofA}));
}

TEST_F(AgentClassTest, GivesNoData_ToAClassWithoutAny) {
  const AgentMethod ofA[] = {{"register", FillClassData}, {"classinfo", RecordClassData}, {}};
  const AgentMethod ofB[] = {{"register", RecordClassData}, {"classinfo", RecordClassData}, {}};
  Areas().clear();
  ASSERT_EQ(Register(nullptr, "A", "", ofA, 100), Error_None);
  ASSERT_EQ(Register("A", "B", "", ofB), Error_None);
  Areas().erase(Areas().begin(), Areas().begin() + 2);
  EXPECT_EQ(AgentClass_Method("B", "classinfo", kEnd), Error_None);
  EXPECT_EQ(Areas(), (std::vector<uint8_t*>{nullptr, nullptr}));
}

// ---- calls --------------------------------------------------------------------------------------

TEST_F(AgentClassTest, GivesNotFound_ForAnUnknownClass) {
  EXPECT_EQ(AgentClass_Method("Nobody", "register", kEnd), Error_NotFound);
  EXPECT_EQ(AgentClass_Method(nullptr, "register", kEnd), Error_NotFound);
}

TEST_F(AgentClassTest, TellsUndeclaredFromUnimplementedMethods) {
  const AgentMethod methods[] = {{"done", Records<"done">}, {"undeclared", Records<"undeclared">}, {}};
  ASSERT_EQ(Register(nullptr, "A", ".done();.open();agentonly();", methods), Error_None);
  EXPECT_EQ(AgentClass_Method("A", "done", kEnd), Error_None);
  EXPECT_EQ(AgentClass_Method("a", "DONE", kEnd), Error_None);
  EXPECT_EQ(AgentClass_Method("A", "open", kEnd), 1001);
  EXPECT_EQ(AgentClass_Method("A", "agentonly", kEnd), 1002);
  EXPECT_EQ(AgentClass_Method("A", "undeclared", kEnd), 1000);
  EXPECT_EQ(AgentClass_Method("A", ".done", kEnd), 1000);
  EXPECT_EQ(AgentClass_Method("A", "", kEnd), 1000);
  EXPECT_EQ(AgentClass_Method("A", nullptr, kEnd), 1000);
  EXPECT_EQ(TakeCalls(), (CallList{"done", "done"}));
}

TEST_F(AgentClassTest, GivesTheImplementationsResult) {
  const AgentMethod methods[] = {{"a", Gives<Error_Retry>}, {"b", Gives<1003>}, {"c", Gives<-123456>}, {}};
  ASSERT_EQ(Register(nullptr, "A", ".a();.b();.c();", methods), Error_None);
  EXPECT_EQ(AgentClass_Method("A", "a", kEnd), Error_Retry);
  EXPECT_EQ(AgentClass_Method("A", "b", kEnd), 1003);
  EXPECT_EQ(AgentClass_Method("A", "c", kEnd), -123456);
}

TEST_F(AgentClassTest, DoesNotInheritImplementations) {
  const AgentMethod ofA[] = {{"m", Records<"A.m">}, {}};
  const AgentMethod ofB[] = {{"m", Records<"B.m">}, {}};
  ASSERT_EQ(Register(nullptr, "A", ".m();", ofA), Error_None);
  ASSERT_EQ(Register("A", "B", "", ofB), Error_None);
  ASSERT_EQ(Register("B", "C"), Error_None);
  EXPECT_EQ(AgentClass_Method("A", "m", kEnd), Error_None);
  EXPECT_EQ(AgentClass_Method("B", "m", kEnd), Error_None);
  EXPECT_EQ(AgentClass_Method("C", "m", kEnd), AgentResult_NotImplemented);
  EXPECT_EQ(TakeCalls(), (CallList{"A.m", "B.m"}));
}

TEST_F(AgentClassTest, TakesTheDeclarationNearestToTheClass) {
  const AgentMethod methods[] = {{"m", Records<"m">}, {}};
  ASSERT_EQ(Register(nullptr, "A", "m();", methods), Error_None);
  ASSERT_EQ(Register("A", "B", ".m();", methods), Error_None);
  EXPECT_EQ(AgentClass_Method("A", "m", kEnd), AgentResult_NoInstance);
  EXPECT_EQ(AgentClass_Method("B", "m", kEnd), Error_None);
}

TEST_F(AgentClassTest, TakesTheFirstOfTwoMethodsWithOneName) {
  const AgentMethod methods[] = {{"m", Records<"first">}, {"M", Records<"second">}, {}};
  ASSERT_EQ(Register(nullptr, "A", ".m();M();", methods), Error_None);
  EXPECT_EQ(AgentClass_Method("A", "m", kEnd), Error_None);
  EXPECT_EQ(TakeCalls(), CallList{"first"});
}

TEST_F(AgentClassTest, CopiesWhatItIsGiven) {
  std::string name = "Copied";
  std::string signature = ".mine();";
  std::string methodName = "mine";
  AgentMethod methods[] = {{methodName.c_str(), Records<"mine">}, {}};
  ASSERT_EQ(Register(nullptr, name.c_str(), signature.c_str(), methods), Error_None);
  name = "xxxxxx";
  signature = "xxxxxxxx";
  methodName = "xxxx";
  methods[0] = {};
  EXPECT_EQ(AgentClass_Method("copied", "mine", kEnd), Error_None);
  EXPECT_EQ(Children("/"), CallList{"Copied"});
}

// ---- MethodExists -------------------------------------------------------------------------------

TEST_F(AgentClassTest, TellsWhetherAMethodIsDeclared) {
  ASSERT_EQ(Register(nullptr, "A", ".ofA();"), Error_None);
  ASSERT_EQ(Register("A", "B", "ofB();"), Error_None);
  EXPECT_EQ(AgentClass_MethodExists("B", "ofB"), 1);
  EXPECT_EQ(AgentClass_MethodExists("b", "OFA"), 1);
  EXPECT_EQ(AgentClass_MethodExists("B", "traverse"), 1);
  EXPECT_EQ(AgentClass_MethodExists("A", "ofB"), 0);
  EXPECT_EQ(AgentClass_MethodExists("A", ".ofA"), 0);
  EXPECT_EQ(AgentClass_MethodExists("A", ""), 0);
  EXPECT_EQ(AgentClass_MethodExists("A", nullptr), 1);
  EXPECT_EQ(AgentClass_MethodExists("Nobody", "new"), 0);
  EXPECT_EQ(AgentClass_MethodExists("Nobody", nullptr), 0);
  EXPECT_EQ(AgentClass_MethodExists(nullptr, nullptr), 0);
}

// ---- Iterate ------------------------------------------------------------------------------------

TEST_F(AgentClassTest, NamesTheDirectChildren_NewestFirst) {
  ASSERT_EQ(Register(nullptr, "One"), Error_None);
  ASSERT_EQ(Register("One", "Below"), Error_None);
  ASSERT_EQ(Register("/", "Two"), Error_None);
  ASSERT_EQ(Register(nullptr, "Three"), Error_None);
  const CallList all = {"Three", "Two", "One"};
  EXPECT_EQ(Children("/"), all);
  EXPECT_EQ(Children(nullptr), all);
  EXPECT_EQ(Children("one"), CallList{"Below"});
  EXPECT_EQ(Children("Below"), CallList{});
}

TEST_F(AgentClassTest, EmptiesTheBufferAtTheEnd) {
  ASSERT_EQ(Register(nullptr, "One"), Error_None);
  char name[16] = "";
  EXPECT_EQ(AgentClass_Iterate("/", sizeof name, name), Error_None);
  EXPECT_STREQ(name, "One");
  EXPECT_EQ(AgentClass_Iterate("/", sizeof name, name), Error_None);
  EXPECT_STREQ(name, "");
}

TEST_F(AgentClassTest, GoesOnBehindANameInAnyCase) {
  ASSERT_EQ(Register(nullptr, "One"), Error_None);
  ASSERT_EQ(Register(nullptr, "Two"), Error_None);
  char name[16] = "tWO";
  EXPECT_EQ(AgentClass_Iterate("/", sizeof name, name), Error_None);
  EXPECT_STREQ(name, "One");
}

TEST_F(AgentClassTest, RefusesToIterateWhatDoesNotFit) {
  ASSERT_EQ(Register(nullptr, "One"), Error_None);
  ASSERT_EQ(Register("One", "Below"), Error_None);
  char name[16] = "";
  EXPECT_EQ(AgentClass_Iterate("Nobody", sizeof name, name), Error_NotFound);
  strcpy(name, "Nobody");
  EXPECT_EQ(AgentClass_Iterate("/", sizeof name, name), Error_NotFound);
  EXPECT_STREQ(name, "");
  strcpy(name, "Below");
  EXPECT_EQ(AgentClass_Iterate("/", sizeof name, name), Error_Invalid);
  EXPECT_STREQ(name, "");
  strcpy(name, "/");
  EXPECT_EQ(AgentClass_Iterate("/", sizeof name, name), Error_Invalid);
  EXPECT_EQ(AgentClass_Iterate("/", sizeof name, nullptr), Error_Invalid);
  EXPECT_EQ(AgentClass_Iterate("/", 0, name), Error_Invalid);
}

TEST_F(AgentClassTest, CutsANameThatIsTooLongForTheBuffer) {
  ASSERT_EQ(Register(nullptr, "Longer"), Error_None);
  char name[8] = "";
  memset(name, 'x', sizeof name);
  name[0] = '\0';
  EXPECT_EQ(AgentClass_Iterate("/", 4, name), Error_None);
  EXPECT_EQ(std::string(name, 5), std::string("Lon\0x", 5));
  name[0] = '\0';
  EXPECT_EQ(AgentClass_Iterate("/", 7, name), Error_None);
  EXPECT_STREQ(name, "Longer");
}

// ---- classes that register classes --------------------------------------------------------------

TEST_F(AgentClassTest, IsKnownWhileItsRegisterRuns) {
  const AgentMethod methods[] = {
      {"register",
       [](void*, void*, AgentParam*) -> ErrorCode {
         Calls().push_back(AgentClass_MethodExists("A", "m") == 1 ? "known" : "unknown");
         return Error_None;
       }},
      {}};
  ASSERT_EQ(Register(nullptr, "A", ".m();", methods), Error_None);
  EXPECT_EQ(TakeCalls(), CallList{"known"});
}

TEST_F(AgentClassTest, MayRegisterOthersFromRegister) {
  const AgentMethod methods[] = {
      {"register",
       [](void*, void*, AgentParam*) -> ErrorCode { return Register(nullptr, "Other", ".m();"); }},
      {}};
  ASSERT_EQ(Register(nullptr, "A", "", methods), Error_None);
  EXPECT_EQ(Children("/"), (CallList{"A", "Other"}));
}

TEST_F(AgentClassTest, GivesNotInited_WhenRegisterEndsTheSystem) {
  const AgentMethod methods[] = {{"register",
                                  [](void*, void*, AgentParam*) -> ErrorCode {
                                    iAgentClass_End();
                                    return Error_None;
                                  }},
                                 {"unregister", Records<"A.unregister">},
                                 {}};
  EXPECT_EQ(Register(nullptr, "A", "", methods), Error_NotInited);
  EXPECT_EQ(TakeCalls(), CallList{"A.unregister"});
  EXPECT_EQ(iAgentClass_Start(), Error_None);
  EXPECT_EQ(Children("/"), CallList{});
}

TEST_F(AgentClassTest, LeavesNothing_WhenAnAllocationFails) {
  FailEveryAllocation([] {
    iAgentClass_End();
    int64_t failing = iMemory_AllocationsUntilFailure();
    iMemory_FailAllocation(0);
    ASSERT_EQ(iAgentClass_Start(), Error_None);
    iMemory_FailAllocation(failing);
    const AgentMethod methods[] = {{"register", Gives<Error_None>}, {}};
    const ErrorCode first = Register(nullptr, "A", ".m(a=bool);", methods, 8, 8);
    EXPECT_TRUE(first == Error_None || first == Error_Memory) << first;
    EXPECT_EQ(AgentClass_MethodExists("A", "m"), first == Error_None ? 1 : 0);
    // Its name shares a part with that of the first.
    const ErrorCode second = Register(nullptr, "AB", "n();", methods, 8, 8);
    EXPECT_TRUE(second == Error_None || second == Error_Memory) << second;
    EXPECT_EQ(AgentClass_MethodExists("AB", "n"), second == Error_None ? 1 : 0);
    failing = iMemory_AllocationsUntilFailure();
    iMemory_FailAllocation(0);
    iAgentClass_End();
    EXPECT_EQ(iAgentClass_Start(), Error_None);
    iMemory_FailAllocation(failing);
  });
}

// ---- threads ------------------------------------------------------------------------------------

ErrorCode CountCall(void* classData, void* /*instanceData*/, AgentParam* /*params*/) {
  static_cast<std::atomic<int>*>(classData)->fetch_add(1);
  return Error_None;
}

TEST_F(AgentClassTest, ServesSeveralThreadsAtOnce) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 200;
  const AgentMethod methods[] = {{"register", Gives<Error_None>}, {"count", CountCall}, {}};
  ASSERT_EQ(Register(nullptr, "Shared", ".count();new();", methods, sizeof(std::atomic<int>)), Error_None);
  std::atomic<int> registered{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int round = 0; round < kRounds; ++round) {
        AgentClass_Method("Shared", "count", kEnd);
        // The names of all threads are the same; one of them gets each.
        const std::string name = "Own" + std::to_string(round);
        if (Register("Shared", name.c_str(), "m(a=Shared);") == Error_None) registered.fetch_add(1);
        Agent* agent = nullptr;
        EXPECT_EQ(Agent_New(&agent, name.c_str(), kEnd), Error_None) << thread;
        EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
        char child[64] = "";
        EXPECT_EQ(AgentClass_Iterate("Shared", sizeof child, child), Error_None);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(registered.load(), kRounds);
  EXPECT_EQ(Children("Shared").size(), 200u);
}

}  // namespace
