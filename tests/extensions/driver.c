/* Runs one transfer with the extensions, as an application would, and says what happened:
 *
 *   driver URL TARGET [verify | verify=DIGEST] [unpack | unpack=remove] [mirror=URL] [overwrite] [upload]
 *          [user=NAME] [password=PASSWORD] [active] [relative] [go-on] [verify-late] [record=FILE]
 *          [end-in-agents=STEPS] [end-at-failure] [close-in-agents=STEPS] [linger=MILLISECONDS]
 *
 * A record that exists is read, and nothing is asked for again; it is written whenever a step gives 1 to 5.
 * end-in-agents writes it after so many steps in the state of the agents, and ends without any clean-up, as a
 * program does that is killed; end-at-failure ends so once the transfer has failed; close-in-agents closes
 * the transfer. go-on makes further steps behind a failure in the state of the agents; verify-late asks for
 * the digest once more behind the last step. linger: the time from the end of the library to that of the
 * program. It lies in a folder with the extensions. */
#include <qz/qz.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#define STATE_AGENTS 13u
#define PATH_SIZE 1024

typedef struct Options {
  const char* record;
  const char* mirror;
  int32_t endSteps;   /* 0: never */
  int32_t closeSteps; /* 0: never */
  uint32_t lingerMilliseconds;
  int32_t endsAtFailure;
  int32_t goesOn;
  int32_t verifiesLate;
  const char* user;
  const char* password;
} Options;

typedef struct Outcome {
  int32_t result;
  int32_t agentSteps;
  /* The two longest steps in the state of the agents, in processor time where there is such. */
  uint32_t longestMilliseconds;
  uint32_t nextLongestMilliseconds;
} Outcome;

static void CountStep(Outcome* outcome, uint32_t milliseconds) {
  ++outcome->agentSteps;
  if (milliseconds > outcome->longestMilliseconds) {
    outcome->nextLongestMilliseconds = outcome->longestMilliseconds;
    outcome->longestMilliseconds = milliseconds;
  } else if (milliseconds > outcome->nextLongestMilliseconds) {
    outcome->nextLongestMilliseconds = milliseconds;
  }
}

static void Message(Word userData, const char* text) {
  (void)userData;
  printf("message %s\n", text);
}

static const VRXClientMethods kMethods = {Message, NULL, NULL, NULL, NULL, NULL};

static void Fail(const char* what, int32_t status) {
  printf("failed %s: %d\n", what, (int)status);
  fflush(stdout);
  exit(1);
}

static void Expect(const char* what, int32_t status) {
  if (status != Error_None) Fail(what, status);
}

static const char* ValueOf(const char* argument, const char* name) {
  const size_t length = strlen(name);
  return strncmp(argument, name, length) == 0 && argument[length] == '=' ? argument + length + 1 : NULL;
}

static void Ask(VRXClient* client, const char* argument, Options* options) {
  const char* value = NULL;
  if (strcmp(argument, "verify") == 0)
    Expect("verify", AgentClass_Method("Checksum", "verify", "vrxc", (Word)client, (const char*)0));
  if ((value = ValueOf(argument, "verify")) != NULL)
    Expect("verify", AgentClass_Method("Checksum", "verify", "vrxc", (Word)client, "digest", (Word)value,
                                       (const char*)0));
  if (strcmp(argument, "unpack") == 0 || strcmp(argument, "unpack=remove") == 0)
    Expect("unpack", AgentClass_Method("Gunzip", "unpack", "vrxc", (Word)client, "remove",
                                       (Word)(strchr(argument, '=') != NULL), (const char*)0));
  if (strcmp(argument, "overwrite") == 0) VRXClient_SetOverwrite(client, 1);
  if ((value = ValueOf(argument, "mirror")) != NULL) options->mirror = value;
  if ((value = ValueOf(argument, "record")) != NULL) options->record = value;
  if ((value = ValueOf(argument, "end-in-agents")) != NULL) options->endSteps = atoi(value);
  if ((value = ValueOf(argument, "close-in-agents")) != NULL) options->closeSteps = atoi(value);
  if (strcmp(argument, "end-at-failure") == 0) options->endsAtFailure = 1;
  if (strcmp(argument, "verify-late") == 0) options->verifiesLate = 1;
  if (strcmp(argument, "active") == 0) VRXClient_SetActiveMode(client, 1);
  if (strcmp(argument, "relative") == 0) VRXClient_SetRelativePaths(client, 1);
  if ((value = ValueOf(argument, "user")) != NULL) options->user = value;
  if ((value = ValueOf(argument, "password")) != NULL) options->password = value;
  if ((value = ValueOf(argument, "linger")) != NULL) options->lingerMilliseconds = (uint32_t)atoi(value);
}

static void WriteRecord(VRXClient* client, const char* path) {
  Traverse* traverse = NULL;
  if (path == NULL) return;
  Expect("opening the record", File_OpenTraverse(path, FileMode_Write, NULL, &traverse));
  Expect("writing the record", VRXClient_Write(traverse, client));
  Traverse_Delete(traverse);
}

static VRXClient* ReadRecord(const char* path) {
  Traverse* traverse = NULL;
  VRXClient* client = NULL;
  Expect("opening the record", File_OpenTraverse(path, FileMode_Read, NULL, &traverse));
  Expect("reading the record", VRXClient_Read(traverse, 0, &kMethods, &client));
  Traverse_Delete(traverse);
  return client;
}

static VRXClient* Make(int count, char** arguments, Options* options) {
  VRXClient* client = NULL;
  for (int i = 2; i < count; ++i) {
    const char* record = ValueOf(arguments[i], "record");
    options->record = record != NULL ? record : options->record;
  }
  if (options->record != NULL && File_Exists(options->record, NULL)) return ReadRecord(options->record);
  if (strcmp(arguments[count - 1], "upload") == 0) {
    Expect("making the transfer", VRXClient_NewUpload(arguments[1], arguments[0], 0, &kMethods, &client));
  } else {
    Expect("making the transfer", VRXClient_NewDownload(arguments[0], arguments[1], 0, &kMethods, &client));
  }
  for (int i = 2; i < count; ++i) Ask(client, arguments[i], options);
  if (options->user != NULL) Expect("user", VRXClient_SetUser(client, options->user, options->password));
  return client;
}

static void End(void) {
  fflush(stdout);
  _Exit(9);
}

static int IsToGoOn(const VRXClient* client, const Options* options, int32_t result) {
  if (result == VRXClientResult_None || result == VRXClientResult_Changed) return 1;
  return options->goesOn && result == VRXClientResult_Failed && VRXClient_GetState(client) == STATE_AGENTS;
}

static Outcome Run(VRXClient* client, const Options* options) {
  Outcome outcome = {0, 0, 0, 0};
  while (IsToGoOn(client, options, outcome.result)) {
    const int isInAgents = VRXClient_GetState(client) == STATE_AGENTS;
    const clock_t begin = clock();
    outcome.result = VRXClient_Idle(client);
    const uint32_t milliseconds = (uint32_t)((double)(clock() - begin) * 1000.0 / CLOCKS_PER_SEC);
    if (VRXClient_GetState(client) == 1 && options->mirror != NULL)
      VRXClient_AddMirrors(client, options->mirror);
    if (outcome.result != VRXClientResult_None) WriteRecord(client, options->record);
    if (!isInAgents) continue;
    CountStep(&outcome, milliseconds);
    if (outcome.agentSteps == options->closeSteps) break;
    if (outcome.agentSteps != options->endSteps) continue;
    WriteRecord(client, options->record);
    End();
  }
  if (options->endsAtFailure && outcome.result == VRXClientResult_Failed) End();
  return outcome;
}

static void Linger(uint32_t milliseconds) {
  Semaphore* never = Semaphore_New(0, 1);
  Semaphore_Wait(never, milliseconds);
  Semaphore_Delete(never);
}

int main(int argc, char** argv) {
  Options options;
  memset(&options, 0, sizeof options);
  setvbuf(stdout, NULL, _IOFBF, 65536);
  Expect("OS_Init", OS_Init("driver", OSInitCode_LogPath, "driver.log", OSInitCode_End));
  Expect("VRXClientSystem_Init", VRXClientSystem_Init());
  if (argc < 3) Fail("the arguments", argc);
  for (int i = 1; i < argc; ++i) {
    const char* value = ValueOf(argv[i], "end-in-agents");
    if (value != NULL) options.endSteps = atoi(value);
    if (strcmp(argv[i], "go-on") == 0) options.goesOn = 1;
  }
  VRXClient* client = Make(argc - 1, argv + 1, &options);
  const Outcome outcome = Run(client, &options);
  char path[PATH_SIZE];
  VRXClient_GetLocalFilePath(client, path);
  printf("result %d\nreason %u\nstate %u\npath %s\nagentsteps %d\nlongest %u\nnextlongest %u\n",
         (int)outcome.result, (unsigned)VRXClient_GetError(client), (unsigned)VRXClient_GetState(client),
         path, (int)outcome.agentSteps, (unsigned)outcome.longestMilliseconds,
         (unsigned)outcome.nextLongestMilliseconds);
  if (options.verifiesLate)
    printf("late %d\n", (int)AgentClass_Method("Checksum", "verify", "vrxc", (Word)client, (const char*)0));
  VRXClient_Close(client);
  VRXClientSystem_Exit();
  OS_Exit(0);
  printf("ended\n");
  fflush(stdout);
  Linger(options.lingerMilliseconds);
  return 0;
}
