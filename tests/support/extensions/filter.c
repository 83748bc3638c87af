/* An extension that makes the copies of uploads: in capital letters, under another name. It takes no part in
 * downloads, and cancels the upload of a file "secret". */
#include <ctype.h>
#include <qz/error.h>
#include <qz/file.h>
#include <qz/vrxclient.h>
#include <string.h>

#define EXTENSION_NAME "filter"
#include "extension.h"

#define ANSWER_SIZE 1024

static char* TextOf(const AgentParam* params, const char* name) {
  char* text = NULL;
  return AgentParam_String(params, name, &text) && text != NULL ? text : (char*)"(none)";
}

static const char* NameOf(const char* path) {
  const char* slash = strrchr(path, '/');
  return slash != NULL ? slash + 1 : path;
}

static ErrorCode Check(void* classData, void* instanceData, AgentParam* params) {
  void* client = NULL;
  (void)classData;
  (void)instanceData;
  if (!AgentParam_Object(params, "vrxc", &client)) return AgentResult_MissingParameter;
  printf("filter: check %s %s\n", NameOf(TextOf(params, "file")), TextOf(params, "url"));
  return VRXClient_IsUpload((VRXClient*)client) ? Error_None : Error_NotFound;
}

static ErrorCode New(void* classData, void* instanceData, AgentParam* params) {
  void* client = NULL;
  (void)classData;
  (void)instanceData;
  AgentParam_Object(params, "vrxc", &client);
  printf("filter: new %s %s%s\n", NameOf(TextOf(params, "file")), TextOf(params, "url"),
         client != NULL ? " with a transfer" : "");
  return Error_None;
}

static ErrorCode Copy(const char* from, const char* to) {
  char bytes[4096];
  File* source = NULL;
  File* target = NULL;
  ErrorCode status = File_Open(from, FileMode_Read, &source);
  if (status == Error_None) status = File_Open(to, FileMode_Write, &target);
  if (status == Error_None) {
    const uint32_t count = File_Read(source, sizeof bytes, bytes);
    for (uint32_t i = 0; i < count; ++i) bytes[i] = (char)toupper((unsigned char)bytes[i]);
    if (File_Write(target, count, bytes) != count) status = Error_Fail;
  }
  if (source != NULL) File_Close(source);
  if (target != NULL) File_Close(target);
  return status;
}

static ErrorCode StartCache(void* classData, void* instanceData, AgentParam* params) {
  const char* source = TextOf(params, "source");
  char* answer = NULL;
  (void)classData;
  (void)instanceData;
  if (!AgentParam_String(params, "serverfilename", &answer)) return AgentResult_MissingParameter;
  printf("filter: startcache %s, answer \"%s\"\n", NameOf(source), answer);
  if (strcmp(NameOf(source), "secret") == 0) {
    snprintf(answer, ANSWER_SIZE, "it is secret");
    return Error_Cancel;
  }
  snprintf(answer, ANSWER_SIZE, "%s.capitals", NameOf(source));
  return Copy(source, TextOf(params, "cache"));
}

static ErrorCode Delete(void* classData, void* instanceData, AgentParam* params) {
  int32_t forever = -1;
  (void)classData;
  (void)instanceData;
  AgentParam_Bool(params, "forever", &forever);
  printf("filter: delete, forever %d\n", (int)forever);
  return Error_None;
}

static const AgentMethod kMethods[] = {
    {"check", Check}, {"new", New}, {"startcache", StartCache}, {"delete", Delete}, {NULL, NULL}};

static ErrorCode RegisterClasses(void) {
  return AgentClass_Register("VRXx", "Filter", "", kMethods, 0, 0);
}
