/* Downloads a file; when it is interrupted, the next run resumes: transfer URL FILE */
#include <qz/qz.h>
#include <stdio.h>

static const char kRecord[] = "transfer.vrx";
static const char kNewRecord[] = "transfer.vrx.new";

static void ShowMessage(Word userData, const char* text) {
  (void)userData;
  fprintf(stderr, "%s\n", text);
}

static const VRXClientMethods kMethods = {ShowMessage, NULL, NULL, NULL, NULL, NULL};

/* Replaces the record as a whole: the program may end at any moment. */
static ErrorCode Save(VRXClient* client) {
  Traverse* traverse = NULL;
  ErrorCode status = File_OpenTraverse(kNewRecord, FileMode_Write, NULL, &traverse);
  if (status != Error_None) return status;
  Traverse_SetMode(traverse, TraverseMode_Write);
  status = VRXClient_Write(traverse, client);
  Traverse_Delete(traverse);
  return status == Error_None ? File_Replace(kNewRecord, kRecord) : status;
}

/* The transfer of the last run, else a new one. */
static ErrorCode Open(const char* url, const char* file, VRXClient** client) {
  Traverse* traverse = NULL;
  ErrorCode status = File_OpenTraverse(kRecord, FileMode_Read, NULL, &traverse);
  if (status != Error_None) return VRXClient_NewDownload(url, file, 0, &kMethods, client);
  Traverse_SetMode(traverse, TraverseMode_Read);
  status = VRXClient_Read(traverse, 0, &kMethods, client);
  Traverse_Delete(traverse);
  return status;
}

/* Steps until the transfer is completed, or cannot go on for now. */
static int32_t Run(VRXClient* client) {
  for (;;) {
    int32_t result = VRXClient_Idle(client);
    if (result != VRXClientResult_None && Save(client) != Error_None) return VRXClientResult_Failed;
    if (result != VRXClientResult_None && result != VRXClientResult_Changed) return result;
  }
}

static int Transfer(const char* url, const char* file) {
  VRXClient* client = NULL;
  int32_t result;
  ErrorCode status = Open(url, file, &client);
  if (status != Error_None) {
    fprintf(stderr, "transfer: %s\n", Error_ToLongString(status));
    return 1;
  }
  result = Run(client);
  if (result != VRXClientResult_Completed) {
    VRXClient_Close(client);
    return 1;
  }
  VRXClient_Delete(client);
  File_Unlink(kRecord);
  return 0;
}

int main(int count, char** arguments) {
  int code = 1;
  if (count != 3) {
    fprintf(stderr, "usage: transfer URL FILE\n");
    return 2;
  }
  if (OS_Init("transfer", OSInitCode_End) != Error_None) return 1;
  if (VRXClientSystem_Init() == Error_None) {
    code = Transfer(arguments[1], arguments[2]);
    VRXClientSystem_Exit();
  }
  OS_Exit(0);
  return code;
}
