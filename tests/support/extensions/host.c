/* A program that uses extensions: starts the transfer system, which loads those of the program's folder, and
 * writes what it sees.
 *
 *   host REPORT                  tells which classes there are, and uses the extension "good"
 *   host REPORT save RECORD      saves a transfer with an agent of that extension
 *   host REPORT read RECORD      reads it back, and writes it again
 *   host REPORT get FILE URL     downloads a file
 *   host REPORT put FILE URL     uploads a file, and tells its messages
 *
 * REPORT is written over, RECORD and FILE are names in the library's form. */
#include <qz/qz.h>
#include <stdio.h>
#include <string.h>

#define PAIRS_END ((const char*)0)

static void TellChildren(const char* className) {
  char child[1024] = "";
  while (AgentClass_Iterate(className, sizeof child, child) == Error_None && child[0] != '\0') {
    printf("class %s, child %s\n", className, child);
    TellChildren(child);
  }
}

static int32_t NumberOf(Agent* agent) {
  int32_t number = -1;
  const int32_t result = Agent_Method(agent, "getnumber", "number", (Word)&number, PAIRS_END);
  printf("getnumber %d\n", (int)result);
  return number;
}

static void UseGood(void) {
  const char* description = "";
  int32_t version = 0;
  Agent* agent = NULL;
  if (!AgentClass_MethodExists("Good", NULL)) return;
  AgentClass_Method("good", "classinfo", "description", (Word)&description, "version", (Word)&version,
                    PAIRS_END);
  printf("classinfo \"%s\", %d\n", description, (int)version);
  printf("Agent_New %d\n", (int)Agent_New(&agent, "Good", PAIRS_END));
  printf("setnumber %d\n", (int)Agent_Method(agent, "setnumber", "number", (Word)42, PAIRS_END));
  printf("number %d\n", (int)NumberOf(agent));
  printf("startcache %d\n", (int)Agent_Method(agent, "startcache", PAIRS_END));
  Agent_Delete(agent, "forever", (Word)1, PAIRS_END);
}

static void Write(VRXClient* client, const char* record) {
  Traverse* traverse = NULL;
  printf("File_OpenTraverse %d\n", (int)File_OpenTraverse(record, FileMode_Write, NULL, &traverse));
  printf("VRXClient_Write %d\n", (int)VRXClient_Write(traverse, client));
  Traverse_Delete(traverse);
}

static void Save(const char* record) {
  VRXClient* client = NULL;
  Agent* agent = NULL;
  char target[1024];
  File_GetSysDir(SysDir_App, target);
  File_CatDir(target, "target", target);
  printf("VRXClient_NewDownload %d\n",
         (int)VRXClient_NewDownload("ftp://host.invalid/file", target, 0, NULL, &client));
  printf("Agent_New %d\n", (int)Agent_New(&agent, "Good", PAIRS_END));
  Agent_Method(agent, "setnumber", "number", (Word)4711, PAIRS_END);
  printf("VRXClient_AddAgent %d\n", (int)VRXClient_AddAgent(client, agent));
  Write(client, record);
  VRXClient_Close(client);
}

static void Read(const char* record) {
  VRXClient* client = NULL;
  Traverse* traverse = NULL;
  Agent* agent;
  printf("File_OpenTraverse %d\n", (int)File_OpenTraverse(record, FileMode_Read, NULL, &traverse));
  printf("VRXClient_Read %d\n", (int)VRXClient_Read(traverse, 0, NULL, &client));
  Traverse_Delete(traverse);
  if (client == NULL) return;
  agent = VRXClient_GetAgent(client, "Good");
  printf("agent of class %s\n", Agent_Class(agent));
  printf("number %d\n", (int)NumberOf(agent));
  Write(client, record);
  VRXClient_Delete(client);
}

static void Get(const char* file, const char* url) {
  VRXClient* client = NULL;
  int32_t result;
  printf("VRXClient_NewDownload %d\n", (int)VRXClient_NewDownload(url, file, 0, NULL, &client));
  do {
    result = VRXClient_Idle(client);
  } while (result == VRXClientResult_None || result == VRXClientResult_Changed);
  printf("VRXClient_Idle %d\n", (int)result);
  printf("number %d\n", (int)NumberOf(VRXClient_GetAgent(client, "Good")));
  VRXClient_Close(client);
}

static void Message(Word userData, const char* text) {
  (void)userData;
  printf("message %s\n", text);
}

static const VRXClientMethods kMethods = {Message, NULL, NULL, NULL, NULL, NULL};

static void Put(const char* file, const char* url) {
  VRXClient* client = NULL;
  int32_t result;
  printf("VRXClient_NewUpload %d\n", (int)VRXClient_NewUpload(file, url, 0, &kMethods, &client));
  do {
    result = VRXClient_Idle(client);
  } while (result == VRXClientResult_None || result == VRXClientResult_Changed);
  printf("VRXClient_Idle %d\n", (int)result);
  VRXClient_Delete(client);
}

int main(int argc, char** argv) {
  ErrorCode status;
  if (argc < 2 || freopen(argv[1], "w", stdout) == NULL) return 2;
  setvbuf(stdout, NULL, _IONBF, 0);
  status = OS_Init("exthost", OSInitCode_End);
  if (status != Error_None) printf("OS_Init %d\n", (int)status);
  printf("VRXClientSystem_Init %d\n", (int)VRXClientSystem_Init());
  if (argc == 4 && strcmp(argv[2], "save") == 0) {
    Save(argv[3]);
  } else if (argc == 4 && strcmp(argv[2], "read") == 0) {
    Read(argv[3]);
  } else if (argc == 5 && strcmp(argv[2], "get") == 0) {
    Get(argv[3], argv[4]);
  } else if (argc == 5 && strcmp(argv[2], "put") == 0) {
    Put(argv[3], argv[4]);
  } else {
    TellChildren("/");
    UseGood();
  }
  VRXClientSystem_Exit();
  printf("end\n");
  OS_Exit(0);
  return 0;
}
