// AgentParam: what an implementation gets of a call.
#include "qz/agentparam.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "qz/agentclass.h"
#include "qz/error.h"
#include "tests/support/error_capture.h"
#include "tests/transfer/agent_fixture.h"

namespace {

// Runs inside the implementation of every method of the class "Probe".
std::function<void(const AgentParam*)>& Inside() {
  static std::function<void(const AgentParam*)> inside;
  return inside;
}

ErrorCode RunInside(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
  Inside()(params);
  return Error_None;
}

class AgentParamTest : public AgentSystemTest {
 protected:
  void SetUp() override {
    AgentSystemTest::SetUp();
    const AgentMethod methods[] = {{"m", RunInside}, {"many", RunInside}, {}};
    ASSERT_EQ(
        AgentClass_Register(nullptr, "Probe",
                            ".m(b=bool,s=string,i=integer,f=float,o=object,a=Probe2,bp=bool*,sp=string*,ip="
                            "integer*,fp=float*,op=object*,ap=Probe2*,i=string);"
                            ".many(a=integer,b=integer,c=integer,d=integer,e=integer,f=integer,g=integer,"
                            "h=integer,i=integer,j=integer,k=integer,l=integer,m=integer,n=integer,o=integer,"
                            "p=integer,q=integer,r=integer);",
                            methods, 0, 0),
        Error_Invalid);
    ASSERT_EQ(AgentClass_Register(nullptr, "Probe2", "", nullptr, 0, 0), Error_None);
    ASSERT_EQ(
        AgentClass_Register(nullptr, "Probe",
                            ".m(b=bool,s=string,i=integer,f=float,o=object,a=Probe2,bp=bool*,sp=string*,ip="
                            "integer*,fp=float*,op=object*,ap=Probe2*,i=string);"
                            ".many(a=integer,b=integer,c=integer,d=integer,e=integer,f=integer,g=integer,"
                            "h=integer,i=integer,j=integer,k=integer,l=integer,m=integer,n=integer,o=integer,"
                            "p=integer,q=integer,r=integer);",
                            methods, 0, 0),
        Error_None);
  }
};

template <typename... Pairs>
void CallM(const std::function<void(const AgentParam*)>& inside, Pairs... pairs) {
  Inside() = inside;
  EXPECT_EQ(AgentClass_Method("Probe", "m", pairs..., kEnd), Error_None);
}

TEST_F(AgentParamTest, DeliversEveryType) {
  char text[] = "text";
  int object = 0;
  Agent* agent = nullptr;
  ASSERT_EQ(Agent_New(&agent, "Probe2", kEnd), Error_None);
  int32_t flag = 0;
  const char* textVariable = nullptr;
  int32_t number = 0;
  float real = 0;
  void* objectVariable = nullptr;
  Agent* agentVariable = nullptr;
  CallM(
      [&](const AgentParam* params) {
        int32_t b = 0;
        char* s = nullptr;
        int32_t i = 0;
        float f = 0;
        void* o = nullptr;
        Agent* a = nullptr;
        int32_t* bp = nullptr;
        const char** sp = nullptr;
        int32_t* ip = nullptr;
        float* fp = nullptr;
        void** op = nullptr;
        Agent** ap = nullptr;
        EXPECT_EQ(AgentParam_Bool(params, "b", &b), 1);
        EXPECT_EQ(b, 1);
        EXPECT_EQ(AgentParam_String(params, "s", &s), 1);
        EXPECT_EQ(s, text);
        EXPECT_EQ(AgentParam_Integer(params, "i", &i), 1);
        EXPECT_EQ(i, -2);
        EXPECT_EQ(AgentParam_Float(params, "f", &f), 1);
        EXPECT_EQ(f, -1.5f);
        EXPECT_EQ(AgentParam_Object(params, "o", &o), 1);
        EXPECT_EQ(o, &object);
        EXPECT_EQ(AgentParam_Agent(params, "a", "probe2", &a), 1);
        EXPECT_EQ(a, agent);
        EXPECT_EQ(AgentParam_BoolPtr(params, "bp", &bp), 1);
        EXPECT_EQ(bp, &flag);
        EXPECT_EQ(AgentParam_StringPtr(params, "sp", &sp), 1);
        EXPECT_EQ(sp, &textVariable);
        EXPECT_EQ(AgentParam_IntegerPtr(params, "ip", &ip), 1);
        EXPECT_EQ(ip, &number);
        EXPECT_EQ(AgentParam_FloatPtr(params, "fp", &fp), 1);
        EXPECT_EQ(fp, &real);
        EXPECT_EQ(AgentParam_ObjectPtr(params, "op", &op), 1);
        EXPECT_EQ(op, &objectVariable);
        EXPECT_EQ(AgentParam_AgentPtr(params, "ap", "PROBE2", &ap), 1);
        EXPECT_EQ(ap, &agentVariable);
      },
      "b", W(1), "s", W(text), "i", W(-2), "f", W(-1.5f), "o", W(&object), "a", W(agent), "bp", W(&flag),
      "sp", W(&textVariable), "ip", W(&number), "fp", W(&real), "op", W(&objectVariable), "ap",
      W(&agentVariable));
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

// Each accessor on a parameter of each type: only the matching one delivers, the others leave what they are
// to fill alone.
TEST_F(AgentParamTest, DeliversNothing_ForAnyOtherType) {
  const std::vector<const char*> names = {"b", "s", "i", "f", "o", "a", "bp", "sp", "ip", "fp", "op", "ap"};
  ErrorCapture errors;
  CallM(
      [&](const AgentParam* params) {
        for (size_t named = 0; named < names.size(); ++named) {
          const char* name = names[named];
          int32_t number = 0x11111111;
          float real = 2.5f;
          void* const untouched = &number;
          void* pointers[9];
          std::fill_n(pointers, 9, untouched);
          const int32_t got[] = {
              AgentParam_Bool(params, name, &number),
              AgentParam_String(params, name, reinterpret_cast<char**>(&pointers[0])),
              AgentParam_Integer(params, name, &number),
              AgentParam_Float(params, name, &real),
              AgentParam_Object(params, name, &pointers[1]),
              AgentParam_Agent(params, name, "Probe2", reinterpret_cast<Agent**>(&pointers[2])),
              AgentParam_BoolPtr(params, name, reinterpret_cast<int32_t**>(&pointers[3])),
              AgentParam_StringPtr(params, name, reinterpret_cast<const char***>(&pointers[4])),
              AgentParam_IntegerPtr(params, name, reinterpret_cast<int32_t**>(&pointers[5])),
              AgentParam_FloatPtr(params, name, reinterpret_cast<float**>(&pointers[6])),
              AgentParam_ObjectPtr(params, name, reinterpret_cast<void***>(&pointers[7])),
              AgentParam_AgentPtr(params, name, "Probe2", reinterpret_cast<Agent***>(&pointers[8]))};
          for (size_t asked = 0; asked < names.size(); ++asked)
            EXPECT_EQ(got[asked], asked == named ? 1 : 0) << names[asked] << " for " << name;
          if (named != 0 && named != 2) {
            EXPECT_EQ(number, 0x11111111) << name;
          }
          if (named != 3) {
            EXPECT_EQ(real, 2.5f) << name;
          }
          const int touched = static_cast<int>(std::count(pointers, pointers + 9, nullptr));
          EXPECT_EQ(touched, named == 0 || named == 2 || named == 3 ? 0 : 1) << name;
        }
      },
      "b", W(0), "s", W(nullptr), "i", W(0), "f", W(0.0f), "o", W(nullptr), "a", W(nullptr), "bp", W(nullptr),
      "sp", W(nullptr), "ip", W(nullptr), "fp", W(nullptr), "op", W(nullptr), "ap", W(nullptr));
  // Eleven wrong accessors for each of twelve parameters.
  EXPECT_EQ(errors.Lines().size(), 132u);
}

TEST_F(AgentParamTest, TellsIntegerFromItsAddress_AndReportsTheType) {
  int32_t number = 5;
  ErrorCapture errors;
  CallM(
      [&](const AgentParam* params) {
        int32_t value = 77;
        int32_t* address = nullptr;
        EXPECT_EQ(AgentParam_Integer(params, "ip", &value), 0);
        EXPECT_EQ(value, 77);
        EXPECT_EQ(AgentParam_IntegerPtr(params, "ip", &address), 1);
        EXPECT_EQ(address, &number);
      },
      "ip", W(&number));
  EXPECT_EQ(errors.Lines(), CallList{"#### Error: AgentParam_Integer: \"ip\" has the type IntegerPtr\n"});
}

TEST_F(AgentParamTest, DropsPairsThatTheMethodDoesNotDeclare) {
  CallM(
      [](const AgentParam* params) {
        int32_t value = 77;
        EXPECT_EQ(AgentParam_Integer(params, "unknown", &value), 0);
        EXPECT_EQ(value, 77);
        EXPECT_EQ(AgentParam_Integer(params, "i", &value), 1);
        EXPECT_EQ(value, 2);
      },
      "unknown", W(1), "i", W(2), "alsoUnknown", W(3));
}

TEST_F(AgentParamTest, DeliversNothing_WhenThePairIsMissing) {
  CallM([](const AgentParam* params) {
    int32_t value = 77;
    EXPECT_EQ(AgentParam_Integer(params, "i", &value), 0);
    EXPECT_EQ(value, 77);
  });
}

TEST_F(AgentParamTest, FindsNamesInAnyCase) {
  CallM(
      [](const AgentParam* params) {
        int32_t value = 0;
        EXPECT_EQ(AgentParam_Integer(params, "I", &value), 1);
        EXPECT_EQ(value, 9);
        EXPECT_EQ(AgentParam_Integer(params, "ii", &value), 0);
        EXPECT_EQ(AgentParam_Integer(params, "", &value), 0);
      },
      "I", W(9));
}

TEST_F(AgentParamTest, TakesTheFirstOfTwoPairsAndOfTwoDeclarations) {
  ErrorCapture errors;
  CallM(
      [](const AgentParam* params) {
        int32_t value = 0;
        char* text = nullptr;
        EXPECT_EQ(AgentParam_Integer(params, "i", &value), 1);
        EXPECT_EQ(value, 1);
        EXPECT_EQ(AgentParam_String(params, "i", &text), 0);
      },
      "i", W(1), "i", W(2));
}

TEST_F(AgentParamTest, WantsTheClassThatTheSignatureNames) {
  ASSERT_EQ(AgentClass_Register("Probe2", "Derived", "", nullptr, 0, 0), Error_None);
  CallM(
      [](const AgentParam* params) {
        int marker = 0;
        auto* untouched = reinterpret_cast<Agent*>(&marker);
        Agent* agent = untouched;
        Agent** address = nullptr;
        for (const char* other : {"Derived", "/", "", "Probe", "Nobody", "Probe22"}) {
          EXPECT_EQ(AgentParam_Agent(params, "a", other, &agent), 0) << other;
          EXPECT_EQ(AgentParam_AgentPtr(params, "ap", other, &address), 0) << other;
        }
        EXPECT_EQ(AgentParam_Agent(params, "a", nullptr, &agent), 0);
        EXPECT_EQ(agent, untouched);
        EXPECT_EQ(address, nullptr);
      },
      "a", W(nullptr), "ap", W(nullptr));
}

TEST_F(AgentParamTest, TakesNullForNothing) {
  int32_t number = 0;
  char* text = nullptr;
  EXPECT_EQ(AgentParam_This(nullptr), nullptr);
  EXPECT_EQ(AgentParam_Integer(nullptr, "i", &number), 0);
  CallM(
      [&](const AgentParam* params) {
        EXPECT_EQ(AgentParam_Integer(params, nullptr, &number), 0);
        EXPECT_EQ(AgentParam_Integer(params, "i", nullptr), 0);
        EXPECT_EQ(AgentParam_String(params, "s", nullptr), 0);
        EXPECT_EQ(AgentParam_String(params, nullptr, &text), 0);
      },
      "i", W(1), "s", W("x"));
}

TEST_F(AgentParamTest, LooksAtTheLow32BitsOfNumbersOnly) {
  const Word high = static_cast<Word>(~uint64_t{0xFFFFFFFF});
  CallM(
      [](const AgentParam* params) {
        int32_t flag = 0;
        int32_t number = 0;
        float real = 0;
        EXPECT_EQ(AgentParam_Bool(params, "b", &flag), 1);
        EXPECT_EQ(AgentParam_Integer(params, "i", &number), 1);
        EXPECT_EQ(AgentParam_Float(params, "f", &real), 1);
        EXPECT_EQ(flag, 1);
        EXPECT_EQ(number, -2147483647 - 1);
        EXPECT_EQ(real, 0.25f);
      },
      "b", high | W(1), "i", high | W(-2147483647 - 1), "f", high | W(0.25f));
}

TEST_F(AgentParamTest, DeliversSixteenPairs_AndDropsTheOthers) {
  Inside() = [](const AgentParam* params) {
    for (char name = 'a'; name <= 'r'; ++name) {
      const char text[] = {name, '\0'};
      int32_t value = -1;
      const bool isAmongSixteen = name <= 'p';
      EXPECT_EQ(AgentParam_Integer(params, text, &value), isAmongSixteen ? 1 : 0) << name;
      EXPECT_EQ(value, isAmongSixteen ? name - 'a' : -1) << name;
    }
  };
  // Undeclared pairs take no place.
  EXPECT_EQ(
      AgentClass_Method("Probe", "many", "x", W(1), "a", W(0), "b", W(1), "c", W(2), "d", W(3), "e", W(4),
                        "f", W(5), "y", W(1), "g", W(6), "h", W(7), "i", W(8), "j", W(9), "k", W(10), "l",
                        W(11), "m", W(12), "n", W(13), "o", W(14), "p", W(15), "q", W(16), "r", W(17), kEnd),
      Error_None);
}

}  // namespace
