#include "digest_fetch.h"

#include <stdatomic.h>
#include <stdio.h>
#include <string.h>

#include "clock.h"
#include "digest_text.h"
#include "qz/ftpc.h"
#include "qz/httpc.h"
#include "qz/memory.h"
#include "qz/semaphore.h"
#include "qz/thread.h"
#include "qz/url.h"
#include "qz/vrxprefs.h"
#include "start.h"

#define URL_SIZE 1024
#define SERVER_LIMIT 8
#define REDIRECT_LIMIT 5
#define FILE_LIMIT 65536 /* bytes of a ".sha256" file */
#define END_WAIT_MILLISECONDS 1000u
#define POLL_MILLISECONDS 10u
#define LOGIN_TEXT_SIZE 1024

/* How the transfer uses its FTP servers. */
typedef struct FTPSettings {
  char user[LOGIN_TEXT_SIZE]; /* of all of them; empty: each has that of its URL, or none */
  char password[LOGIN_TEXT_SIZE];
  char anonymousPassword[LOGIN_TEXT_SIZE];
  int usesActiveMode;
  int usesRelativePaths;
} FTPSettings;

/* What a server sends, up to the limit. */
typedef struct TextStream {
  Stream header;
  uint32_t length;
  char text[FILE_LIMIT];
} TextStream;

struct DigestFetch {
  DigestFetch* next; /* in the list of all */
  Thread* thread;
  Semaphore* ended;
  int hasEnded;
  atomic_int isAbandoned;
  size_t serverCount;
  char servers[SERVER_LIMIT][URL_SIZE];
  FTPSettings ftp;
  /* Written by the thread, read after its end. */
  TextStream answer;
  char source[URL_SIZE];
  char digest[SHA256_TEXT_SIZE];
  char failure[DIGEST_FETCH_TEXT_SIZE];
};

static Semaphore* lock = NULL;
static DigestFetch* fetches = NULL; /* under the lock */

/* ---- the stream ---------------------------------------------------------------------------------------- */

static uint32_t ReadNothing(Stream* stream, uint32_t count, void* buffer) {
  (void)stream;
  (void)count;
  (void)buffer;
  return 0;
}

static uint32_t WriteText(Stream* stream, uint32_t count, const void* buffer) {
  TextStream* text = (TextStream*)(void*)stream;
  const uint32_t room = FILE_LIMIT - text->length;
  const uint32_t taken = count < room ? count : room;
  memcpy(text->text + text->length, buffer, taken);
  text->length += taken;
  return taken;
}

static ErrorCode TextError(Stream* stream) {
  return ((TextStream*)(void*)stream)->length == FILE_LIMIT ? Error_Exceed : Error_None;
}

static const StreamOperations kTextOperations = {NULL, ReadNothing, NULL, WriteText, TextError, NULL};

/* ---- FTP ----------------------------------------------------------------------------------------------- */

/* What went wrong, in words; empty for nothing. */
typedef struct Failure {
  char text[256];
} Failure;

static void FailWithStatus(Failure* failure, ErrorCode status) {
  snprintf(failure->text, sizeof failure->text, "%s", Error_ToString(status));
}

/* A success that the server tells is not why a transfer has failed here. */
static void FailWithReply(Failure* failure, ErrorCode status, const Reply* reply) {
  const int isAnotherReason = status != Error_None && reply->replyClass == '2';
  if (reply->code == 0 || isAnotherReason) {
    FailWithStatus(failure, status);
  } else {
    snprintf(failure->text, sizeof failure->text, "%d %.200s", (int)reply->code, reply->text);
  }
}

static ErrorCode LogInAnonymously(FTPc* connection, const char* password, Reply* reply) {
  static const char* const users[] = {"ftp", "anonymous", "public", "guest"};
  ErrorCode status = Error_NoAccess;
  for (size_t i = 0; i < sizeof users / sizeof users[0] && status == Error_NoAccess; ++i)
    status = FTPc_Login(connection, users[i], password, reply);
  return status;
}

static ErrorCode LogIn(FTPc* connection, const URLData* url, const FTPSettings* settings, Reply* reply) {
  if (settings->user[0] != '\0') return FTPc_Login(connection, settings->user, settings->password, reply);
  if (url->user != NULL) return FTPc_Login(connection, url->user, url->password, reply);
  return LogInAnonymously(connection, settings->anonymousPassword, reply);
}

/* Some servers know a file by its name in the current directory only. */
static ErrorCode Retrieve(FTPc* connection, const char* path, Stream* stream, Reply* reply) {
  const char* slash = strrchr(path, '/');
  const char* name = slash != NULL ? slash + 1 : path;
  char directory[URL_SIZE];
  snprintf(directory, sizeof directory, "%.*s", slash == path ? 1 : (int)(name - path) - 1, path);
  const ErrorCode status = slash != NULL ? FTPc_ChangeDirectory(connection, directory, reply) : Error_None;
  return status == Error_None ? FTPc_Retrieve(connection, name, stream, NULL, reply) : status;
}

/* As the transfer does it: the server has the file for this login, and this way. */
static void FetchOverFTP(const URLData* url, const FTPSettings* settings, TextStream* answer,
                         Failure* failure) {
  FTPc* connection = NULL;
  Reply reply = {0};
  const uint32_t flags = settings->usesActiveMode ? 0 : FTPcFlag_Passive;
  const char* path = settings->usesRelativePaths && url->path[0] == '/' ? url->path + 1 : url->path;
  ErrorCode status = FTPc_Open(url->host, (uint32_t)url->port, flags, &connection, &reply);
  if (status == Error_None) status = LogIn(connection, url, settings, &reply);
  if (status == Error_None) status = FTPc_FileType(connection, 'I', 'N', &reply);
  if (status == Error_None) status = Retrieve(connection, path, &answer->header, &reply);
  if (status != Error_None) FailWithReply(failure, status, &reply);
  if (connection != NULL) FTPc_Close(connection, NULL);
}

/* ---- HTTP ---------------------------------------------------------------------------------------------- */

/* The URL that a redirect leads to. Only a whole "http" URL and a path of the same server are followed. */
static ErrorCode ResolveLocation(HTTPc* connection, const URLData* from, char* url) {
  char location[URL_SIZE];
  const ErrorCode status =
      HTTPc_GetAttribute(connection, HTTPcResponse_Location, sizeof location, NULL, location);
  if (status != Error_None) return status;
  int length = 0;
  if (location[0] == '/' && location[1] != '/') {
    length = snprintf(url, URL_SIZE, "%s://%s:%d%s", from->protocol, from->host, (int)from->port, location);
  } else if (strncmp(location, "http://", 7) == 0) {
    length = snprintf(url, URL_SIZE, "%s", location);
  } else {
    return Error_Invalid;
  }
  return length < URL_SIZE ? Error_None : Error_Exceed;
}

static void ReadBody(HTTPc* connection, Stream* body, TextStream* answer, Failure* failure) {
  char buffer[4096];
  uint32_t count = 0;
  while ((count = Stream_Read(body, sizeof buffer, buffer)) != 0) {
    if (Stream_Write(&answer->header, count, buffer) == count) continue;
    FailWithStatus(failure, Error_Exceed);
    return;
  }
  const ErrorCode status = Stream_Error(body);
  uint64_t length = 0;
  const int isShort = HTTPc_GetContentLength64(connection, &length) == Error_None && length != answer->length;
  if (status != Error_None && status != Error_Ended) FailWithStatus(failure, status);
  if (failure->text[0] == '\0' && isShort) FailWithStatus(failure, Error_Ended);
}

/* One request. Returns 1 when url has become that of a redirect. */
static int RequestOverHTTP(const URLData* data, char* url, TextStream* answer, Failure* failure) {
  HTTPc* connection = NULL;
  Reply reply = {0};
  Stream* body = NULL;
  int isRedirected = 0;
  ErrorCode status = HTTPc_Open(data->host, (uint32_t)data->port, &connection);
  if (status == Error_None) status = HTTPc_Get(connection, url, &reply, &body);
  if (status == Error_None && reply.code == 200) {
    ReadBody(connection, body, answer, failure);
  } else if (status == Error_None && reply.replyClass == '3') {
    isRedirected = ResolveLocation(connection, data, url) == Error_None;
  }
  if (status != Error_None || (reply.code != 200 && !isRedirected)) FailWithReply(failure, status, &reply);
  if (connection != NULL) HTTPc_Close(connection);
  return isRedirected;
}

/* ---- one server ---------------------------------------------------------------------------------------- */

/* Returns 1 when url has become that of a redirect. */
static int Request(char* url, const FTPSettings* settings, TextStream* answer, Failure* failure) {
  URLData* data = NULL;
  int isRedirected = 0;
  const ErrorCode status = URL_NewData(url, &data);
  const int32_t type = status == Error_None ? URL_GetProtocolType(data->protocol) : -1;
  answer->length = 0;
  if (type == URLProtocol_FTP && data->path != NULL) {
    FetchOverFTP(data, settings, answer, failure);
  } else if (type == URLProtocol_HTTP) {
    isRedirected = RequestOverHTTP(data, url, answer, failure);
  } else {
    FailWithStatus(failure, status != Error_None ? status : Error_Invalid);
  }
  Memory_Delete(data);
  return isRedirected;
}

/* Without user and password, as it is shown. */
static void ShowURL(const char* url, char* shown) {
  URLData* data = NULL;
  shown[0] = '\0';
  if (URL_NewData(url, &data) != Error_None) return;
  data->user = NULL;
  URL_FromData(data, shown);
  Memory_Delete(data);
}

static void FetchFrom(DigestFetch* fetch, const char* server) {
  Failure failure = {""};
  char url[URL_SIZE];
  char name[URL_SIZE] = "";
  const ErrorCode status = DigestText_URLBeside(server, url, name);
  ShowURL(url, fetch->source);
  if (status != Error_None) FailWithStatus(&failure, status);
  int redirects = 0;
  while (failure.text[0] == '\0' && Request(url, &fetch->ftp, &fetch->answer, &failure)) {
    if (++redirects > REDIRECT_LIMIT) FailWithStatus(&failure, Error_Exceed);
  }
  const int isFetched = failure.text[0] == '\0';
  if (isFetched && DigestText_Find(fetch->answer.length, fetch->answer.text, name, fetch->digest)) return;
  if (isFetched) snprintf(failure.text, sizeof failure.text, "holds no digest of this file");
  /* Of several servers the first one is the transfer's own, and its answer says most. */
  if (fetch->failure[0] == '\0')
    snprintf(fetch->failure, sizeof fetch->failure, "%s: %s", fetch->source, failure.text);
}

static int32_t Run(void* argument) {
  DigestFetch* fetch = (DigestFetch*)argument;
  for (size_t i = 0; i < fetch->serverCount && fetch->digest[0] == '\0' && !fetch->isAbandoned; ++i)
    FetchFrom(fetch, fetch->servers[i]);
  Semaphore_Signal(fetch->ended);
  return Error_None;
}

/* ---- servers ------------------------------------------------------------------------------------------- */

/* The current server's URL has the user and the password; those of the others are not told. */
static void AddServers(const VRXClient* client, DigestFetch* fetch) {
  VRXClientServer server;
  for (uint32_t i = 0; VRXClient_GetServer(client, i, &server) == Error_None; ++i) {
    char* url = fetch->servers[fetch->serverCount];
    const int hasUser = server.isCurrent && VRXClient_GetSourceURL(client, url) == Error_None;
    if (!hasUser) snprintf(url, URL_SIZE, "%s", server.url);
    if (++fetch->serverCount == SERVER_LIMIT) return;
  }
}

static void TakeSettings(const VRXClient* client, FTPSettings* settings) {
  VRXClient_GetUser(client, settings->user, settings->password);
  settings->usesActiveMode = VRXClient_GetActiveMode(client);
  settings->usesRelativePaths = VRXClient_GetRelativePaths(client);
  const VRXPrefs* prefs = VRXPrefs_BeginAccess();
  if (prefs == NULL) return;
  snprintf(settings->anonymousPassword, LOGIN_TEXT_SIZE, "%s", prefs->anonymousPassword);
  VRXPrefs_EndAccess();
}

/* ---- life ---------------------------------------------------------------------------------------------- */

static int HasThreadEnded(const Thread* thread) {
  return thread == NULL || (Thread_ExitCode(thread) != Error_NotInited && !Thread_IsRunning(thread));
}

static void Free(DigestFetch* fetch) {
  Thread_Delete(fetch->thread);
  Semaphore_Delete(fetch->ended);
  Memory_Delete(fetch);
}

/* Frees those that nobody needs any more. Under the lock. */
static void FreeEnded(void) {
  DigestFetch** place = &fetches;
  while (*place != NULL) {
    DigestFetch* fetch = *place;
    if (fetch->isAbandoned && HasThreadEnded(fetch->thread)) {
      *place = fetch->next;
      Free(fetch);
    } else {
      place = &fetch->next;
    }
  }
}

static void Add(DigestFetch* fetch) {
  Semaphore_Wait(lock, 0xFFFFFFFFu);
  fetch->next = fetches;
  fetches = fetch;
  Semaphore_Signal(lock);
}

ErrorCode DigestFetch_StartSystem(void) {
  lock = Semaphore_New(1, 1);
  return lock != NULL ? Error_None : Error_Memory;
}

void DigestFetch_EndSystem(void) {
  const uint32_t begin = Extension_Milliseconds();
  for (DigestFetch* fetch = fetches; fetch != NULL; fetch = fetch->next) fetch->isAbandoned = 1;
  FreeEnded();
  while (fetches != NULL && Extension_Milliseconds() - begin < END_WAIT_MILLISECONDS) {
    Semaphore_Wait(fetches->ended, POLL_MILLISECONDS);
    FreeEnded();
  }
  if (fetches != NULL) Extension_StayLoaded();
  Semaphore_Delete(lock);
  lock = NULL;
}

ErrorCode DigestFetch_Start(const VRXClient* client, DigestFetch** fetchOut) {
  DigestFetch* fetch = (DigestFetch*)Memory_New(sizeof *fetch);
  *fetchOut = NULL;
  if (fetch == NULL) return Error_Memory;
  memset(fetch, 0, sizeof *fetch);
  Stream_Init(0, &kTextOperations, &fetch->answer.header);
  AddServers(client, fetch);
  TakeSettings(client, &fetch->ftp);
  fetch->ended = Semaphore_New(0, 1);
  if (fetch->ended != NULL) fetch->thread = Thread_New(Run, fetch);
  if (fetch->thread == NULL) {
    Free(fetch);
    return Error_Memory;
  }
  Add(fetch);
  *fetchOut = fetch;
  return Error_None;
}

int DigestFetch_Wait(DigestFetch* fetch, uint32_t milliseconds) {
  if (!fetch->hasEnded) fetch->hasEnded = Semaphore_Wait(fetch->ended, milliseconds) == Error_None;
  return fetch->hasEnded;
}

const char* DigestFetch_Digest(const DigestFetch* fetch) {
  return fetch->digest[0] != '\0' ? fetch->digest : NULL;
}

const char* DigestFetch_Source(const DigestFetch* fetch) {
  return fetch->source;
}

const char* DigestFetch_Failure(const DigestFetch* fetch) {
  return fetch->failure;
}

void DigestFetch_Delete(DigestFetch* fetch) {
  if (fetch == NULL) return;
  Semaphore_Wait(lock, 0xFFFFFFFFu);
  fetch->isAbandoned = 1;
  FreeEnded();
  Semaphore_Signal(lock);
}
