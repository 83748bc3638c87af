/* An extension of transfers. Its agents keep a number, which is saved with the transfer; it wants to take
 * part in every transfer, and is done with a completed one when it is told for the second time. */
#include <qz/traverse.h>
#include <qz/vrxclient.h>
#include <stdint.h>

#define EXTENSION_NAME "good"
#include "extension.h"

typedef struct Good {
  int32_t number;
} Good;

static ErrorCode Register(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  (void)instanceData;
  (void)params;
  printf("good: register\n");
  return Error_None;
}

static ErrorCode Unregister(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  (void)instanceData;
  (void)params;
  printf("good: unregister\n");
  return Error_None;
}

static ErrorCode ClassInfo(void* classData, void* instanceData, AgentParam* params) {
  const char** description = NULL;
  int32_t* version = NULL;
  (void)classData;
  (void)instanceData;
  if (AgentParam_StringPtr(params, "description", &description)) *description = "keeps a number";
  if (AgentParam_IntegerPtr(params, "version", &version)) *version = 3;
  return Error_None;
}

static ErrorCode New(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  (void)params;
  printf("good: new, number %d\n", (int)((Good*)instanceData)->number);
  return Error_None;
}

static ErrorCode Delete(void* classData, void* instanceData, AgentParam* params) {
  int32_t forever = -1;
  (void)classData;
  (void)instanceData;
  AgentParam_Bool(params, "forever", &forever);
  printf("good: delete, forever %d\n", (int)forever);
  return Error_None;
}

static void TellTransfer(const char* what, AgentParam* params) {
  void* transfer = NULL;
  char name[1024] = "";
  if (AgentParam_Object(params, "vrxc", &transfer)) VRXClient_GetFileName((VRXClient*)transfer, name);
  printf("good: %s %s\n", what, name);
}

static ErrorCode Check(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  (void)instanceData;
  TellTransfer("check", params);
  return Error_None;
}

static ErrorCode Completed(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  TellTransfer("completed", params);
  return ++((Good*)instanceData)->number < 2 ? Error_Retry : Error_None;
}

static ErrorCode SetNumber(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  if (!AgentParam_Integer(params, "number", &((Good*)instanceData)->number))
    return AgentResult_MissingParameter;
  return Error_None;
}

static ErrorCode GetNumber(void* classData, void* instanceData, AgentParam* params) {
  int32_t* number = NULL;
  (void)classData;
  if (!AgentParam_IntegerPtr(params, "number", &number)) return AgentResult_MissingParameter;
  *number = ((Good*)instanceData)->number;
  return Error_None;
}

static ErrorCode DescribeGood(void* classData, void* instanceData, AgentParam* params) {
  void* traverse = NULL;
  (void)classData;
  if (!AgentParam_Object(params, "traverse", &traverse)) return AgentResult_MissingParameter;
  return Traverse_Int32((Traverse*)traverse, &((Good*)instanceData)->number);
}

static const AgentMethod kMethods[] = {{"register", Register},
                                       {"unregister", Unregister},
                                       {"classinfo", ClassInfo},
                                       {"check", Check},
                                       {"new", New},
                                       {"completed", Completed},
                                       {"delete", Delete},
                                       {"setnumber", SetNumber},
                                       {"getnumber", GetNumber},
                                       {"traverse", DescribeGood},
                                       {NULL, NULL}};

static ErrorCode RegisterClasses(void) {
  return AgentClass_Register("VRXx", "Good", "setnumber(number=integer);getnumber(number=integer*);",
                             kMethods, 0, sizeof(Good));
}
