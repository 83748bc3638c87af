#include <qz/qz.h>
#include <stdio.h>

typedef struct ByteSum {
  uint32_t wanted;
  uint32_t sum;
  File* file; /* null before the first slice, and behind the last one */
} ByteSum;

static ErrorCode AddSlice(ByteSum* work, Time begin) {
  uint8_t bytes[65536];
  Time now;
  do {
    const uint32_t count = File_Read(work->file, sizeof bytes, bytes);
    for (uint32_t i = 0; i < count; ++i) work->sum += bytes[i];
    if (count == 0) return Error_None;
    Time_Get(&now);
  } while (Time_DiffMilliseconds(&begin, &now) < 20 && Time_Compare(&now, &begin) >= 0);
  return Error_Retry;
}

static ErrorCode Judge(const ByteSum* work, VRXClient* client) {
  char text[80];
  snprintf(text, sizeof text, "The bytes add up to %lu, expected %lu.", (unsigned long)work->sum,
           (unsigned long)work->wanted);
  VRXClient_AgentMessage(client, text);
  return work->sum == work->wanted ? Error_None : Error_Fail;
}

static ErrorCode Completed(void* classData, void* instanceData, AgentParam* params) {
  ByteSum* work = (ByteSum*)instanceData;
  void* client = NULL;
  char path[1024];
  Time begin;
  (void)classData;
  Time_Get(&begin);
  if (!AgentParam_Object(params, "vrxc", &client)) return AgentResult_MissingParameter;
  if (VRXClient_IsWebPage((VRXClient*)client)) return Error_Fail;
  VRXClient_GetLocalFilePath((VRXClient*)client, path);
  if (work->file == NULL && File_Open(path, FileMode_Read, &work->file) != Error_None) return Error_Fail;
  const ErrorCode status = AddSlice(work, begin);
  if (status == Error_Retry) return status;
  File_Close(work->file);
  work->file = NULL;
  return Judge(work, (VRXClient*)client);
}

static ErrorCode New(void* classData, void* instanceData, AgentParam* params) {
  int32_t sum = 0;
  (void)classData;
  if (!AgentParam_Integer(params, "sum", &sum)) return AgentResult_MissingParameter;
  ((ByteSum*)instanceData)->wanted = (uint32_t)sum;
  return Error_None;
}

static ErrorCode Delete(void* classData, void* instanceData, AgentParam* params) {
  ByteSum* work = (ByteSum*)instanceData;
  (void)classData;
  (void)params;
  if (work->file != NULL) File_Close(work->file);
  return Error_None;
}

static ErrorCode Describe(void* classData, void* instanceData, AgentParam* params) {
  uint32_t version = 1;
  void* traverse = NULL;
  (void)classData;
  if (!AgentParam_Object(params, "traverse", &traverse)) return AgentResult_MissingParameter;
  Traverse_Version((Traverse*)traverse, 1, &version);
  Traverse_Uns32((Traverse*)traverse, &((ByteSum*)instanceData)->wanted);
  return Error_None;
}

static ErrorCode Ask(void* classData, void* instanceData, AgentParam* params) {
  void* client = NULL;
  int32_t sum = 0;
  Agent* agent = NULL;
  (void)classData;
  (void)instanceData;
  if (!AgentParam_Object(params, "vrxc", &client)) return AgentResult_MissingParameter;
  if (!AgentParam_Integer(params, "sum", &sum)) return AgentResult_MissingParameter;
  ErrorCode status = Agent_New(&agent, "ByteSum", "sum", (Word)sum, (const char*)0);
  if (status != Error_None) return status;
  status = VRXClient_AddAgent((VRXClient*)client, agent);
  if (status != Error_None) Agent_Delete(agent, (const char*)0);
  return status;
}

static const AgentMethod methods[] = {
    {"ask", Ask}, {"new", New}, {"delete", Delete}, {"traverse", Describe}, {"completed", Completed},
    {NULL, NULL}};

static ErrorCode RegisterClasses(void) {
  return AgentClass_Register("VRXx", "ByteSum", ".ask(vrxc=object,sum=integer);new(sum=integer);", methods, 0,
                             sizeof(ByteSum));
}

#ifdef _WIN32
#  include <windows.h>

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
  (void)module;
  (void)reserved;
  return reason != DLL_PROCESS_ATTACH || RegisterClasses() == Error_None;
}
#else
__attribute__((constructor)) static void Start(void) {
  RegisterClasses();
}
#endif
