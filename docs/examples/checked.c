/* Downloads a file and has agents look at it, which extensions beside the program bring:
 *
 *   checked URL FILE [bytesum=NUMBER] [sha256 | sha256=DIGEST] [unpack] */
#include <qz/qz.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void Message(Word userData, const char* text) {
  (void)userData;
  puts(text);
}

/* Asks for an agent. Error_NotFound: the extension is not there. */
static ErrorCode Ask(VRXClient* client, const char* word) {
  const char* value = strchr(word, '=');
  value = value != NULL ? value + 1 : NULL;
  if (strncmp(word, "bytesum=", 8) == 0)
    return AgentClass_Method("ByteSum", "ask", "vrxc", (Word)client, "sum", (Word)atoi(value),
                             (const char*)0);
  if (strncmp(word, "sha256", 6) == 0)
    return AgentClass_Method("Checksum", "verify", "vrxc", (Word)client, "digest", (Word)value,
                             (const char*)0);
  if (strcmp(word, "unpack") == 0)
    return AgentClass_Method("Gunzip", "unpack", "vrxc", (Word)client, "remove", (Word)0, (const char*)0);
  return Error_Invalid;
}

static int Run(VRXClient* client) {
  int32_t result = VRXClientResult_None;
  while (result == VRXClientResult_None || result == VRXClientResult_Changed) result = VRXClient_Idle(client);
  return result == VRXClientResult_Completed ? 0 : 1;
}

int main(int argc, char** argv) {
  static const VRXClientMethods methods = {Message, NULL, NULL, NULL, NULL, NULL};
  VRXClient* client = NULL;
  int code = 1;
  if (argc < 3 || OS_Init("checked", OSInitCode_End) != Error_None) return 1;
  ErrorCode status = VRXClientSystem_Init();
  if (status == Error_None) status = VRXClient_NewDownload(argv[1], argv[2], 0, &methods, &client);
  for (int i = 3; i < argc && status == Error_None; ++i) status = Ask(client, argv[i]);
  if (status == Error_None) code = Run(client);
  if (status != Error_None) fprintf(stderr, "checked: %s\n", Error_ToString(status));
  if (client != NULL) VRXClient_Close(client);
  VRXClientSystem_Exit();
  OS_Exit(0);
  return code;
}
