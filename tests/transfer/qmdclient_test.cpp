// QMDClient: the methods of the class "HBN".
#include "qz/qmdclient.h"

#include <gtest/gtest.h>

#include "qz/agentclass.h"
#include "qz/error.h"
#include "tests/transfer/agentlist_fixture.h"

namespace {

int32_t Result(const char* method, AgentParam* params) {
  return Run(method, params);
}

ErrorCode CheckURL(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
  return Result("checkURL", params);
}
ErrorCode NewTransfer(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
  return Result("newvrxc", params);
}
ErrorCode GetSuffix(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
  return Result("getsuffix", params);
}

class QMDClientTest : public ExtensionTest {
 protected:
  static void RegisterClass() {
    const AgentMethod methods[] = {
        {"checkURL", CheckURL}, {"newvrxc", NewTransfer}, {"getsuffix", GetSuffix}, {}};
    ASSERT_EQ(AgentClass_Register(nullptr, "HBN",
                                  ".checkURL(url=string);.newvrxc(url=string,verb=integer*,vrxc=object*);"
                                  ".getsuffix(urlPtr=string*);",
                                  methods, 0, 0),
              Error_None);
  }
  int32_t NewDownload(const VRXClientMethods* methods = nullptr) {
    return QMDClient_NewDownload("hbn:thing", 4711, methods, &verb_, &made_);
  }
  // Stores a transfer and a verb.
  Behaviour Makes(VRXClient* transfer, int32_t verb, int32_t result) {
    return [=, this](AgentParam* params) {
      int32_t* cell = nullptr;
      void** created = nullptr;
      EXPECT_EQ(TextOf(params, "url"), "hbn:thing");
      EXPECT_EQ(AgentParam_IntegerPtr(params, "verb", &cell), 1);
      EXPECT_EQ(*cell, 0);
      EXPECT_EQ(AgentParam_ObjectPtr(params, "vrxc", &created), 1);
      EXPECT_EQ(*created, nullptr);
      *cell = verb;
      *created = transfer;
      return result;
    };
  }
  int32_t verb_ = 77;
  VRXClient* made_ = &client_;
};

TEST_F(QMDClientTest, PassesTheURLToCheckURL) {
  RegisterClass();
  On("checkURL") = [](AgentParam* params) {
    EXPECT_EQ(TextOf(params, "url"), "hbn:thing");
    return Error_None;
  };
  EXPECT_EQ(QMDClient_CheckURL("hbn:thing"), Error_None);
}

TEST_F(QMDClientTest, GivesNotFound_ForCheckURLsNotInited_AndOtherResultsAsTheyAre) {
  EXPECT_EQ(QMDClient_CheckURL("hbn:thing"), Error_NotFound);
  RegisterClass();
  On("checkURL") = [](AgentParam*) { return Error_NotInited; };
  EXPECT_EQ(QMDClient_CheckURL("hbn:thing"), Error_NotFound);
  for (const int32_t result : {-4, -1, 5, 1003}) {
    On("checkURL") = [=](AgentParam*) { return result; };
    EXPECT_EQ(QMDClient_CheckURL("hbn:thing"), result);
  }
}

TEST_F(QMDClientTest, GivesATransferWithItsVerbAndCallbacks) {
  RegisterClass();
  On("newvrxc") = Makes(&client_, 3, Error_None);
  made_ = nullptr;
  const VRXClientMethods methods = {};
  EXPECT_EQ(NewDownload(&methods), Error_None);
  EXPECT_EQ(made_, &client_);
  EXPECT_EQ(verb_, 3);
  EXPECT_EQ(client_.userData, 4711u);
  EXPECT_EQ(client_.methods, &methods);
}

TEST_F(QMDClientTest, NeedsNoVerb) {
  RegisterClass();
  On("newvrxc") = Makes(&client_, 3, Error_None);
  EXPECT_EQ(QMDClient_NewDownload("hbn:thing", 0, nullptr, nullptr, &made_), Error_None);
  EXPECT_EQ(made_, &client_);
}

TEST_F(QMDClientTest, GivesInvalid_WithoutTheClassAndForNotFound) {
  EXPECT_EQ(NewDownload(), Error_Invalid);
  EXPECT_EQ(made_, nullptr);
  EXPECT_EQ(verb_, 0);
  RegisterClass();
  On("newvrxc") = Makes(nullptr, 3, Error_NotFound);
  verb_ = 77;
  EXPECT_EQ(NewDownload(), Error_Invalid);
  EXPECT_EQ(verb_, 0);
}

TEST_F(QMDClientTest, GivesOtherResultsAsTheyAre_AndNoTransfer) {
  RegisterClass();
  for (const int32_t result : {-2, -1, 3, 1003}) {
    On("newvrxc") = Makes(&client_, 3, result);
    verb_ = 77;
    made_ = &client_;
    EXPECT_EQ(NewDownload(), result);
    EXPECT_EQ(made_, nullptr);
    EXPECT_EQ(verb_, 0);
  }
  EXPECT_EQ(client_.userData, 0u);
}

TEST_F(QMDClientTest, GivesInvalid_WhenNoTransferWasStored) {
  RegisterClass();
  On("newvrxc") = Makes(nullptr, 3, Error_None);
  EXPECT_EQ(NewDownload(), Error_Invalid);
  EXPECT_EQ(QMDClient_NewDownload("hbn:thing", 0, nullptr, &verb_, nullptr), Error_Invalid);
}

TEST_F(QMDClientTest, TellsTheSuffix) {
  EXPECT_EQ(QMDClient_GetURLSuffix(), nullptr);
  RegisterClass();
  EXPECT_EQ(QMDClient_GetURLSuffix(), nullptr);
  static int32_t result;
  On("getsuffix") = [](AgentParam* params) {
    const char** suffix = nullptr;
    EXPECT_EQ(AgentParam_StringPtr(params, "urlPtr", &suffix), 1);
    *suffix = ".hbn";
    return result;
  };
  result = Error_None;
  EXPECT_STREQ(QMDClient_GetURLSuffix(), ".hbn");
  result = Error_Fail;
  EXPECT_EQ(QMDClient_GetURLSuffix(), nullptr);
}

}  // namespace
