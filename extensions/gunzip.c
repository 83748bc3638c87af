/* The class "Gunzip": unpacks FILE.gz to FILE once its transfer is completed.
 *
 * An application asks for it with the class method "unpack":
 *
 *   AgentClass_Method("Gunzip", "unpack", "vrxc", (Word)client, "remove", (Word)1, (const char*)0);
 *
 * The bytes go to FILE.gz.unpacking, which gets its name when they are whole. What a program that was killed
 * left under that name is removed by the next run, which begins anew. */
#include <stdio.h>
#include <string.h>
#include <zlib.h>

#include "agent.h"
#include "clock.h"
#include "qz/agentclass.h"
#include "qz/agentparam.h"
#include "qz/file.h"
#include "qz/memory.h"
#include "qz/traverse.h"
#include "qz/vrxclient.h"
#include "start.h"

#define CLASS_NAME "Gunzip"
#define PATH_SIZE 1024
#define MESSAGE_SIZE 4096
#define CHUNK_SIZE 65536u
#define RECORD_FORM 1u
#define WINDOW_BITS (MAX_WBITS + 16) /* the format of gzip only */

/* What the work needs, from its first slice to its last. */
typedef struct Unpacking {
  File* source;
  File* target;
  int isSourceEnded;
  int isMemberEnded; /* between two members, of which a file may have several */
  z_stream stream;
  char sourcePath[PATH_SIZE];
  char finalPath[PATH_SIZE];  /* where the source will stand; what lies there now may be an older one */
  char targetPath[PATH_SIZE]; /* while it is not whole */
  uint8_t input[CHUNK_SIZE];
  uint8_t output[CHUNK_SIZE];
} Unpacking;

/* The data of an agent. */
typedef struct Gunzip {
  uint32_t removesSource; /* 1: FILE.gz goes when FILE is whole */
  Unpacking* work;
} Gunzip;

/* ---- words --------------------------------------------------------------------------------------------- */

static ErrorCode Refuse(const char* path, VRXClient* client, const char* why) {
  char text[MESSAGE_SIZE];
  snprintf(text, sizeof text, "\"%s\" is not unpacked: %s.", path, why);
  VRXClient_AgentMessage(client, text);
  return Error_Fail;
}

/* ---- begin and end ------------------------------------------------------------------------------------- */

static void* Allocate(void* opaque, uInt count, uInt size) {
  (void)opaque;
  return Memory_New((size_t)count * size);
}

static void Release(void* opaque, void* block) {
  (void)opaque;
  Memory_Delete(block);
}

/* An incomplete target goes. */
static void EndWork(Gunzip* gunzip) {
  Unpacking* work = gunzip->work;
  if (work == NULL) return;
  if (work->source != NULL) File_Close(work->source);
  if (work->target != NULL) {
    File_Close(work->target);
    File_Unlink(work->targetPath);
  }
  inflateEnd(&work->stream);
  Memory_Delete(work);
  gunzip->work = NULL;
}

/* The length of the path without ".gz"; 0 for another name, and when nothing is left of it. */
static size_t LengthWithoutSuffix(const char* path) {
  const size_t length = strlen(path);
  if (length < 4) return 0;
  const char* suffix = path + length - 3;
  const int isGzip = suffix[0] == '.' && (suffix[1] | 0x20) == 'g' && (suffix[2] | 0x20) == 'z';
  return isGzip && suffix[-1] != '/' ? length - 3 : 0;
}

/* A new file: some file systems write all of one that was cut to nothing before closing it returns, which
 * takes longer than a slice. */
static ErrorCode OpenTarget(Unpacking* work) {
  int32_t isDirectory = 0;
  if (File_Exists(work->targetPath, &isDirectory) && !isDirectory) File_Unlink(work->targetPath);
  return File_Open(work->targetPath, FileMode_Append, &work->target);
}

static ErrorCode OpenFiles(Unpacking* work, VRXClient* client) {
  const char* source = work->sourcePath;
  if (!Extension_LocateFile(client, work->sourcePath, work->finalPath))
    return Refuse(source, client, "no file came");
  if (LengthWithoutSuffix(work->finalPath) == 0)
    return Refuse(source, client, "its name does not end in \".gz\"");
  const int length = snprintf(work->targetPath, PATH_SIZE, "%s.unpacking", source);
  if (length >= PATH_SIZE) return Refuse(source, client, "its name is too long");
  if (File_Open(source, FileMode_Read, &work->source) != Error_None)
    return Refuse(source, client, "it cannot be opened");
  if (OpenTarget(work) != Error_None) return Refuse(source, client, "a file beside it cannot be written");
  return Error_None;
}

static ErrorCode Begin(Gunzip* gunzip, VRXClient* client) {
  Unpacking* work = (Unpacking*)Memory_New(sizeof *work);
  if (work == NULL) return Error_Memory;
  memset(work, 0, sizeof *work);
  gunzip->work = work;
  work->stream.zalloc = Allocate;
  work->stream.zfree = Release;
  if (inflateInit2(&work->stream, WINDOW_BITS) != Z_OK) return Error_Memory;
  return OpenFiles(work, client);
}

/* ---- one chunk ----------------------------------------------------------------------------------------- */

static ErrorCode FillInput(Unpacking* work, VRXClient* client) {
  const uint32_t count = File_Read(work->source, CHUNK_SIZE, work->input);
  const ErrorCode status = Stream_Error(File_GetStream(work->source));
  if (count == 0 && status != Error_None && status != Error_Ended)
    return Refuse(work->sourcePath, client, "it cannot be read");
  work->stream.next_in = work->input;
  work->stream.avail_in = count;
  work->isSourceEnded = count == 0;
  return Error_None;
}

static ErrorCode Inflate(Unpacking* work, VRXClient* client) {
  z_stream* stream = &work->stream;
  stream->next_out = work->output;
  stream->avail_out = CHUNK_SIZE;
  const int result = inflate(stream, Z_NO_FLUSH);
  if (result == Z_MEM_ERROR) return Error_Memory;
  if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR)
    return Refuse(work->sourcePath, client, "it is damaged");
  const uint32_t count = CHUNK_SIZE - stream->avail_out;
  if (File_Write(work->target, count, work->output) != count)
    return Refuse(work->sourcePath, client, "the unpacked file cannot be written");
  work->isMemberEnded = result == Z_STREAM_END;
  return Error_None;
}

/* Behind a member comes another one, or zeroes that fill a block of a tape; whatever else there is, is read
 * as a damaged member. */
static ErrorCode NextMember(Unpacking* work) {
  z_stream* stream = &work->stream;
  while (stream->avail_in > 0 && *stream->next_in == 0) ++stream->next_in, --stream->avail_in;
  if (stream->avail_in == 0) return Error_None;
  work->isMemberEnded = 0;
  return inflateReset(stream) == Z_OK ? Error_None : Error_Memory;
}

static int IsWhole(const Unpacking* work) {
  return work->isSourceEnded && work->isMemberEnded;
}

static ErrorCode MoveChunk(Unpacking* work, VRXClient* client) {
  ErrorCode status = Error_None;
  if (work->stream.avail_in == 0) status = FillInput(work, client);
  if (status != Error_None || IsWhole(work)) return status;
  if (work->isMemberEnded) return NextMember(work);
  status = Inflate(work, client);
  /* The last bytes of a member are its checksum and size, behind all of its output. */
  const int isCutShort = work->isSourceEnded && !work->isMemberEnded;
  if (status == Error_None && isCutShort) return Refuse(work->sourcePath, client, "it is cut short");
  return status;
}

/* ---- the end ------------------------------------------------------------------------------------------- */

static ErrorCode NameTarget(Unpacking* work, char* name) {
  char wanted[PATH_SIZE];
  snprintf(wanted, sizeof wanted, "%.*s", (int)LengthWithoutSuffix(work->finalPath), work->finalPath);
  File* target = work->target;
  work->target = NULL;
  ErrorCode status = File_Close(target);
  if (status == Error_None) status = File_NumberName(wanted, name);
  if (status == Error_None) status = File_Move(work->targetPath, name);
  if (status != Error_None) File_Unlink(work->targetPath);
  return status;
}

/* The file that the source would have replaced goes too: it is the older one. */
static void RemoveSource(const Unpacking* work, VRXClient* client) {
  File_Unlink(work->sourcePath);
  if (strcmp(work->sourcePath, work->finalPath) == 0) return;
  File_Unlink(work->finalPath);
  VRXClient_SetLocalFilePath(client, work->finalPath);
}

static ErrorCode Finish(Gunzip* gunzip, VRXClient* client) {
  Unpacking* work = gunzip->work;
  char name[PATH_SIZE];
  char text[MESSAGE_SIZE];
  if (NameTarget(work, name) != Error_None)
    return Refuse(work->sourcePath, client, "the unpacked file cannot be written");
  snprintf(text, sizeof text, "Unpacked to \"%s\".", name);
  VRXClient_AgentMessage(client, text);
  File_Close(work->source);
  work->source = NULL;
  if (gunzip->removesSource) RemoveSource(work, client);
  return Error_None;
}

static ErrorCode RunSlice(Gunzip* gunzip, VRXClient* client) {
  const uint32_t begin = Extension_Milliseconds();
  do {
    const ErrorCode status = MoveChunk(gunzip->work, client);
    if (status != Error_None) return status;
    if (IsWhole(gunzip->work)) return Finish(gunzip, client);
  } while (Extension_Milliseconds() - begin < SLICE_MILLISECONDS);
  return Error_Retry;
}

/* ---- methods ------------------------------------------------------------------------------------------- */

static ErrorCode Completed(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  Gunzip* gunzip = (Gunzip*)instanceData;
  VRXClient* client = Extension_Transfer(params);
  if (client == NULL) return AgentResult_MissingParameter;
  ErrorCode status = gunzip->work == NULL ? Begin(gunzip, client) : Error_None;
  if (status == Error_None) status = RunSlice(gunzip, client);
  if (status != Error_Retry) EndWork(gunzip);
  return status;
}

static ErrorCode New(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  int32_t removesSource = 0;
  AgentParam_Bool(params, "remove", &removesSource);
  ((Gunzip*)instanceData)->removesSource = removesSource != 0;
  return Error_None;
}

static ErrorCode Delete(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  (void)params;
  EndWork((Gunzip*)instanceData);
  return Error_None;
}

static ErrorCode Describe(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  Gunzip* gunzip = (Gunzip*)instanceData;
  void* traverse = NULL;
  if (!AgentParam_Object(params, "traverse", &traverse) || traverse == NULL)
    return AgentResult_MissingParameter;
  uint32_t form = RECORD_FORM;
  Traverse_Version((Traverse*)traverse, RECORD_FORM, &form);
  Traverse_Uns32((Traverse*)traverse, &gunzip->removesSource);
  return Error_None;
}

/* ---- the class ----------------------------------------------------------------------------------------- */

static ErrorCode Unpack(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  (void)instanceData;
  int32_t removesSource = 0;
  AgentParam_Bool(params, "remove", &removesSource);
  return Extension_AddAgent(params, CLASS_NAME, "remove", (Word)removesSource);
}

static ErrorCode ClassInfo(void* classData, void* instanceData, AgentParam* params) {
  (void)classData;
  (void)instanceData;
  return Extension_DescribeClass(params, "Unpacks a completed file in the format of gzip.", "Unpack .gz");
}

static const AgentMethod kMethods[] = {
    {"classinfo", ClassInfo}, {"unpack", Unpack},     {"new", New}, {"delete", Delete},
    {"completed", Completed}, {"traverse", Describe}, {NULL, NULL}};

ErrorCode Extension_RegisterClasses(void) {
  return AgentClass_Register("VRXx", CLASS_NAME, ".unpack(vrxc=object,remove=bool);new(remove=bool);",
                             kMethods, 0, sizeof(Gunzip));
}
