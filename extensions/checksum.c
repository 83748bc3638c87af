/* The class "Checksum": compares the SHA-256 of a file with a digest once its transfer is completed.
 *
 * An application asks for it with the class method "verify":
 *
 *   AgentClass_Method("Checksum", "verify", "vrxc", (Word)client, "digest", (Word)digest, (const char*)0);
 *
 * The agent that this adds to the transfer waits for "completed", and then goes through the phases below, a
 * slice a call. Its record holds the digest; whatever ends the program, the next run begins with the first
 * phase again. */
#include <stdio.h>
#include <string.h>

#include "agent.h"
#include "clock.h"
#include "digest_fetch.h"
#include "digest_text.h"
#include "qz/agentclass.h"
#include "qz/agentparam.h"
#include "qz/file.h"
#include "qz/memory.h"
#include "qz/traverse.h"
#include "qz/vrxclient.h"
#include "start.h"

#define CLASS_NAME "Checksum"
#define PATH_SIZE 1024
#define MESSAGE_SIZE 4096
#define CHUNK_SIZE 65536u
#define RECORD_FORM 1u

enum Phase { Phase_Begin, Phase_Fetch, Phase_Read };

/* The data of an agent. */
typedef struct Checksum {
  char digest[SHA256_TEXT_SIZE]; /* that the file should have; empty: it stands beside the URL */
  enum Phase phase;
  char path[PATH_SIZE];
  char finalPath[PATH_SIZE]; /* where the file will stand; what lies there now may be an older one */
  DigestFetch* fetch;
  File* file;
  uint8_t* chunk;
  Sha256 sha;
} Checksum;

/* ---- words --------------------------------------------------------------------------------------------- */

/* Says why the file is not verified. */
static ErrorCode Refuse(const Checksum* checksum, VRXClient* client, const char* why) {
  char text[MESSAGE_SIZE];
  snprintf(text, sizeof text, "\"%s\" is not verified: %s.", checksum->path, why);
  VRXClient_AgentMessage(client, text);
  return Error_Fail;
}

static ErrorCode Accept(const Checksum* checksum, VRXClient* client) {
  char text[MESSAGE_SIZE];
  snprintf(text, sizeof text, "\"%s\" is verified: SHA-256 %s.", checksum->finalPath, checksum->digest);
  VRXClient_AgentMessage(client, text);
  return Error_None;
}

/* ---- the phases ---------------------------------------------------------------------------------------- */

static void CloseFile(Checksum* checksum) {
  if (checksum->file != NULL) File_Close(checksum->file);
  Memory_Delete(checksum->chunk);
  checksum->file = NULL;
  checksum->chunk = NULL;
}

static ErrorCode OpenFile(Checksum* checksum, VRXClient* client) {
  checksum->chunk = (uint8_t*)Memory_New(CHUNK_SIZE);
  if (checksum->chunk == NULL) return Error_Memory;
  if (File_Open(checksum->path, FileMode_Read, &checksum->file) != Error_None)
    return Refuse(checksum, client, "it cannot be opened");
  Sha256_Start(&checksum->sha);
  checksum->phase = Phase_Read;
  return Error_Retry;
}

static ErrorCode Begin(Checksum* checksum, VRXClient* client) {
  if (!Extension_LocateFile(client, checksum->path, checksum->finalPath))
    return Refuse(checksum, client, "no file came");
  if (checksum->digest[0] != '\0') return OpenFile(checksum, client);
  VRXClient_AgentMessage(client, "Fetching the SHA-256 digest...");
  const ErrorCode status = DigestFetch_Start(client, &checksum->fetch);
  if (status != Error_None) return status;
  checksum->phase = Phase_Fetch;
  return Error_Retry;
}

static ErrorCode Fetch(Checksum* checksum, VRXClient* client) {
  if (!DigestFetch_Wait(checksum->fetch, SLICE_MILLISECONDS)) return Error_Retry;
  const char* digest = DigestFetch_Digest(checksum->fetch);
  if (digest == NULL) return Refuse(checksum, client, DigestFetch_Failure(checksum->fetch));
  memcpy(checksum->digest, digest, sizeof checksum->digest);
  char text[MESSAGE_SIZE];
  snprintf(text, sizeof text, "SHA-256 digest fetched from %s.", DigestFetch_Source(checksum->fetch));
  VRXClient_AgentMessage(client, text);
  return OpenFile(checksum, client);
}

/* The file has another digest: it gets another name, so that nobody takes it for the right one. */
static ErrorCode SetAside(const Checksum* checksum, VRXClient* client, const char* found) {
  char wanted[PATH_SIZE];
  char name[PATH_SIZE] = "";
  char why[MESSAGE_SIZE];
  const int length = snprintf(wanted, sizeof wanted, "%s.bad", checksum->path);
  ErrorCode status = length < PATH_SIZE ? File_NumberName(wanted, name) : Error_Exceed;
  if (status == Error_None) status = File_Move(checksum->path, name);
  const char* action = status == Error_None ? "renamed" : "it could not be renamed";
  snprintf(why, sizeof why, "SHA-256 is %s, expected %s; %s \"%s\"", found, checksum->digest, action,
           status == Error_None ? name : wanted);
  return Refuse(checksum, client, why);
}

static ErrorCode Compare(Checksum* checksum, VRXClient* client) {
  char found[SHA256_TEXT_SIZE];
  Sha256_End(&checksum->sha, found);
  CloseFile(checksum);
  if (strcmp(found, checksum->digest) == 0) return Accept(checksum, client);
  return SetAside(checksum, client, found);
}

static ErrorCode Read(Checksum* checksum, VRXClient* client) {
  const uint32_t begin = Extension_Milliseconds();
  do {
    const uint32_t count = File_Read(checksum->file, CHUNK_SIZE, checksum->chunk);
    Sha256_Add(&checksum->sha, count, checksum->chunk);
    if (count != 0) continue;
    const ErrorCode status = Stream_Error(File_GetStream(checksum->file));
    if (status != Error_Ended && status != Error_None) return Refuse(checksum, client, "it cannot be read");
    return Compare(checksum, client);
  } while (Extension_Milliseconds() - begin < SLICE_MILLISECONDS);
  return Error_Retry;
}

static void EndPhases(Checksum* checksum) {
  DigestFetch_Delete(checksum->fetch);
  checksum->fetch = NULL;
  CloseFile(checksum);
}

/* ---- methods ------------------------------------------------------------------------------------------- */

static ErrorCode Completed(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  Checksum* checksum = (Checksum*)instanceData;
  VRXClient* client = Extension_Transfer(params);
  if (client == NULL) return AgentResult_MissingParameter;
  static ErrorCode (*const phases[])(Checksum*, VRXClient*) = {Begin, Fetch, Read};
  const ErrorCode status = phases[checksum->phase](checksum, client);
  if (status != Error_Retry) EndPhases(checksum);
  return status;
}

static ErrorCode New(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  char* digest = NULL;
  if (!AgentParam_String(params, "digest", &digest) || digest == NULL || digest[0] == '\0') return Error_None;
  return DigestText_Read(digest, ((Checksum*)instanceData)->digest) ? Error_None : Error_Invalid;
}

static ErrorCode Delete(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  (void)params;
  EndPhases((Checksum*)instanceData);
  return Error_None;
}

static ErrorCode Describe(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  Checksum* checksum = (Checksum*)instanceData;
  void* traverse = NULL;
  if (!AgentParam_Object(params, "traverse", &traverse) || traverse == NULL)
    return AgentResult_MissingParameter;
  char digest[2 * SHA256_TEXT_SIZE] = "";
  uint32_t form = RECORD_FORM;
  memcpy(digest, checksum->digest, sizeof checksum->digest);
  Traverse_Version((Traverse*)traverse, RECORD_FORM, &form);
  Traverse_String((Traverse*)traverse, sizeof digest, digest);
  if (Traverse_GetMode((Traverse*)traverse) != TraverseMode_Read) return Error_None;
  digest[sizeof digest - 1] = '\0';
  return digest[0] == '\0' || DigestText_Read(digest, checksum->digest) ? Error_None : Error_Invalid;
}

/* ---- the class ----------------------------------------------------------------------------------------- */

static ErrorCode Verify(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  (void)instanceData;
  char* digest = NULL;
  AgentParam_String(params, "digest", &digest);
  return Extension_AddAgent(params, CLASS_NAME, "digest", (Word)digest);
}

static ErrorCode ClassInfo(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  (void)instanceData;
  return Extension_DescribeClass(params, "Compares the SHA-256 of a completed file with a digest.",
                                 "Verify SHA-256");
}

static ErrorCode Unregister(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  (void)instanceData;
  (void)params;
  DigestFetch_EndSystem();
  return Error_None;
}

static const AgentMethod kMethods[] = {
    {"classinfo", ClassInfo}, {"unregister", Unregister}, {"verify", Verify},     {"new", New},
    {"delete", Delete},       {"completed", Completed},   {"traverse", Describe}, {NULL, NULL}};

ErrorCode Extension_RegisterClasses(void) {
  ErrorCode status = DigestFetch_StartSystem();
  if (status == Error_None)
    status = AgentClass_Register("VRXx", CLASS_NAME, ".verify(vrxc=object,digest=string);new(digest=string);",
                                 kMethods, 0, sizeof(Checksum));
  if (status != Error_None) DigestFetch_EndSystem();
  return status;
}
