// Signatures: the text by which a class declares its methods.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "qz/error.h"
#include "tests/support/fail_allocation.h"
#include "transfer/agent_signature_internal.h"

namespace {

// The classes that a signature may name.
bool IsKnown(std::string_view name) {
  return name == "vrxx" || name == "a b" || name == "x)y" || name == "x(y" || name == "/";
}

std::string Typed(const AgentDeclaredParameter& parameter) {
  std::string text = std::string(parameter.name) + " " + std::to_string(static_cast<int>(parameter.type));
  if (!parameter.className.empty()) text += " of " + std::string(parameter.className);
  return text;
}

// "check.(file 1, vrxc 5 of vrxx)": a method, a "." behind its name when it is one of the class, and for
// each parameter its name and the number of its type.
std::string Typed(const AgentDeclaredMethod& method) {
  std::string text = std::string(method.name) + (method.isClassMethod ? ".(" : "(");
  for (const AgentDeclaredParameter& parameter : method.parameters)
    text += (&parameter != method.parameters.data() ? ", " : "") + Typed(parameter);
  return text + ")";
}

// What a signature declares; "invalid" for one that is refused.
std::string Parsed(const char* text) {
  AgentSignature signature;
  const ErrorCode status = iAgentSignature_Parse(text, IsKnown, &signature);
  if (status != Error_None) {
    EXPECT_EQ(status, Error_Invalid);
    EXPECT_TRUE(signature.methods.empty());
    EXPECT_EQ(signature.block, nullptr);
    return "invalid";
  }
  std::string all;
  for (const AgentDeclaredMethod& method : signature.methods) all += (all.empty() ? "" : " ") + Typed(method);
  iAgentSignature_Delete(&signature);
  EXPECT_TRUE(signature.methods.empty());
  return all;
}

struct Row {
  const char* text;
  const char* declared;
};

class AgentSignatureTest : public testing::Test {
 protected:
  static void Check(const std::vector<Row>& rows) {
    for (const Row& row : rows) EXPECT_EQ(Parsed(row.text), row.declared) << row.text;
  }
  static void CheckRefused(const std::vector<const char*>& texts) {
    for (const char* text : texts) EXPECT_EQ(Parsed(text), "invalid") << text;
  }
};

TEST_F(AgentSignatureTest, DeclaresNothing_WhenEmptyOrNull) {
  Check({{nullptr, ""}, {"", ""}, {";", ""}, {";;;", ""}});
}

TEST_F(AgentSignatureTest, DeclaresMethodsOfClassesAndOfAgents) {
  Check({{".register();", "register.()"}, {"new();", "new()"}, {".a();b();.c();", "a.() b() c.()"}});
}

TEST_F(AgentSignatureTest, SkipsEmptyPieces) {
  Check({{"new()", "new()"}, {";new();;delete();;", "new() delete()"}});
}

TEST_F(AgentSignatureTest, DeclaresAMethodWithoutParameters_ByEmptyParentheses) {
  Check({{"a()", "a()"}});
}

TEST_F(AgentSignatureTest, KnowsEveryType) {
  Check({{"m(a=bool,b=string,c=integer,d=float,e=object)", "m(a 0, b 1, c 2, d 3, e 4)"},
         {"m(a=bool*,b=string*,c=integer*,d=float*,e=object*)", "m(a 6, b 7, c 8, d 9, e 10)"},
         {"m(a=vrxx,b=vrxx*)", "m(a 5 of vrxx, b 11 of vrxx)"}});
}

TEST_F(AgentSignatureTest, TakesTheNameOfARegisteredClassAsItIs) {
  Check({{"m(a=a b,b=x)y,c=/)", "m(a 5 of a b, b 5 of x)y, c 5 of /)"},
         {"m(a=x)y*)", "m(a 11 of x)y)"},
         {"m(a=x(y)", "m(a 5 of x(y)"}});
}

TEST_F(AgentSignatureTest, ReadsNamesAndTypesInAnyCase) {
  Check({{"New(File=String,V=VRXx*,N=INTEGER)", "new(file 1, v 11 of vrxx, n 2)"}});
}

TEST_F(AgentSignatureTest, RefusesAnUnknownType) {
  CheckRefused({"m(a=int)", "m(a=int*)", "m(a=unknown)", "m(a=)", "m(a=*)", "m(a=integer**)", "m(a=bool *)"});
}

TEST_F(AgentSignatureTest, TakesLettersAndDigitsForNames) {
  Check({{"a1b2(c3D4=bool)", "a1b2(c3d4 0)"}});
  CheckRefused(
      {"1a()", "_a()", "a_b()", "a-b()", "()", ".()", "..a()", "a.b()", "a.()", "\xE4()", "a\xE4()"});
  CheckRefused({"m(_a=bool)", "m(1a=bool)", "m(a_b=bool)", "m(=bool)", "m(.a=bool)", "m(\xE4=bool)"});
}

TEST_F(AgentSignatureTest, RefusesAPieceWithoutParentheses) {
  CheckRefused({"new", ".new", "new;", "new)", "new(", "new(a=bool", "a();new", "."});
}

TEST_F(AgentSignatureTest, TakesTheListUpToTheLastParenthesis) {
  CheckRefused({"m(a=bool))", "m(a=bool)(", "m()()", "m(a=bool)n(b=bool)", "m((a=bool)"});
}

TEST_F(AgentSignatureTest, RefusesTextBehindTheList) {
  CheckRefused({"m()x", "m() ;", "m(a=bool)*", "m().", "m()\n"});
}

TEST_F(AgentSignatureTest, RefusesBlanks) {
  CheckRefused(
      {" m()", "m ()", "m( )", "m(a= bool)", "m(a =bool)", "m(a=bool, b=bool)", "m(); n()", " ", "m();\t"});
}

TEST_F(AgentSignatureTest, RefusesAnEmptyParameter) {
  CheckRefused({"m(,a=bool)", "m(,)", "m(a=bool,,b=bool)", "m(a=bool,)"});
}

TEST_F(AgentSignatureTest, RefusesAParameterWithoutAType) {
  CheckRefused({"m(a)", "m(a,b=bool)", "m(a=bool,b)", "m(a=b=bool)"});
}

TEST_F(AgentSignatureTest, KeepsWhatIsDeclaredTwice) {
  Check({{"m(a=bool,A=string);M();", "m(a 0, a 1) m()"}});
}

TEST_F(AgentSignatureTest, TellsTheNameOfEveryType) {
  const std::vector<std::pair<int32_t, const char*>> names = {
      {-1, "Invalid"}, {0, "Bool"},       {1, "String"},    {2, "Integer"},   {3, "Float"},
      {4, "Object"},   {5, "Agent"},      {6, "BoolPtr"},   {7, "StringPtr"}, {8, "IntegerPtr"},
      {9, "FloatPtr"}, {10, "ObjectPtr"}, {11, "AgentPtr"}, {12, "Invalid"}};
  for (const auto& [number, name] : names)
    EXPECT_STREQ(iAgentType_Name(static_cast<AgentType>(number)), name);
}

TEST_F(AgentSignatureTest, ComparesNamesWithoutRegardToCase) {
  EXPECT_TRUE(iAgentSignature_IsName("File", "file"));
  EXPECT_TRUE(iAgentSignature_IsName("", ""));
  for (const char* other : {"fil", "files", "filf", "", ".file"})
    EXPECT_FALSE(iAgentSignature_IsName(other, "file")) << other;
}

TEST_F(AgentSignatureTest, GivesMemory_WhenAnAllocationFails) {
  FailEveryAllocation([] {
    AgentSignature signature;
    const ErrorCode status = iAgentSignature_Parse("a(b=bool);c();", IsKnown, &signature);
    if (status == Error_None) {
      EXPECT_EQ(signature.methods.size(), 2u);
    } else {
      EXPECT_EQ(status, Error_Memory);
      EXPECT_TRUE(signature.methods.empty());
    }
    iAgentSignature_Delete(&signature);
  });
}

TEST_F(AgentSignatureTest, ReadsALongTextAndManyMethods) {
  std::string text;
  std::string declared;
  for (int i = 0; i < 3000; ++i) {
    text += "m" + std::to_string(i) + "(a=bool*,b=vrxx);";
    declared += (i != 0 ? " m" : "m") + std::to_string(i) + "(a 6, b 5 of vrxx)";
  }
  EXPECT_EQ(Parsed(text.c_str()), declared);
}

}  // namespace
