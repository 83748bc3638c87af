/* An extension that registers one class and fails with the next. */
#define EXTENSION_NAME "half"
#include "extension.h"

static ErrorCode Unregister(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  (void)instanceData;
  (void)params;
  printf("half: unregister\n");
  return Error_None;
}

static const AgentMethod kMethods[] = {{"unregister", Unregister}, {NULL, NULL}};

static ErrorCode RegisterClasses(void) {
  ErrorCode status = AgentClass_Register("VRXx", "FirstHalf", "", kMethods, 0, 0);
  printf("half: the first class, %d\n", (int)status);
  if (status != Error_None) return status;
  status = AgentClass_Register("VRXx", "SecondHalf", "no signature", kMethods, 0, 0);
  printf("half: the second class, %d\n", (int)status);
  return status;
}
