/* Fetches one file over HTTP and shows its progress: fetch http://host/path file */
#include <qz/qz.h>
#include <stdio.h>
#include <stdlib.h>

static const uint32_t kUnknownLength = 0xFFFFFFFFu;

static void ShowProgress(void* context, uint32_t position, uint32_t total) {
  (void)context;
  fprintf(stderr, "\r%lu of %lu bytes", (unsigned long)position, (unsigned long)total);
}

/* Copies the body to the file. A truncated body ends like a complete one, so the bytes are counted when the
 * server sent their number. */
static ErrorCode CopyBody(Stream* body, uint32_t length, File* file) {
  static char buffer[65536];
  uint32_t received = 0;
  while (received != length) {
    uint32_t left = length - received;
    uint32_t count = Stream_Read(body, left < sizeof buffer ? left : (uint32_t)sizeof buffer, buffer);
    ErrorCode status = Stream_Error(body);
    if (File_Write(file, count, buffer) != count) return Error_Exceed;
    received += count;
    if (count > 0) continue;
    return status == Error_Ended && length == kUnknownLength ? Error_None : status;
  }
  return Error_None;
}

static ErrorCode Save(HTTPc* http, Stream* body, const char* fileName) {
  uint32_t length = 0;
  File* file = NULL;
  ErrorCode closed;
  ErrorCode status = File_Open(fileName, 2, &file); /* 2: write, from nothing */
  if (status != Error_None) return status;
  if (HTTPc_GetAttribute(http, HTTPcResponse_ContentLength, sizeof length, NULL, &length) == Error_None) {
    Stream_SetProgress(body, 0, length);
    Stream_SetIdleMethod(body, 100, ShowProgress, NULL);
  } else {
    length = kUnknownLength;
  }
  status = CopyBody(body, length, file);
  /* A report has the position at which its step began, never the total. */
  if (status == Error_None && length != kUnknownLength) ShowProgress(NULL, length, length);
  fprintf(stderr, "\n");
  closed = File_Close(file);
  return status == Error_None ? closed : status;
}

static ErrorCode Fetch(const char* text, const char* fileName) {
  URLData* url = NULL;
  HTTPc* http = NULL;
  Stream* body = NULL;
  Reply reply;

  ErrorCode status = URL_NewData(text, &url);
  if (status == Error_None) status = HTTPc_Open(url->host, (uint32_t)url->port, &http);
  if (status == Error_None) status = HTTPc_Get(http, text, &reply, &body);
  if (status == Error_None && reply.code != 200) {
    fprintf(stderr, "the server answered %ld %s\n", (long)reply.code, reply.text);
    status = Error_NotFound;
  }
  if (status == Error_None) status = Save(http, body, fileName);
  if (http != NULL) HTTPc_Close(http); /* the body's stream belongs to the connection */
  Memory_Delete(url);
  return status;
}

/* The status, and what the library recorded about the last failure: the function, the name, the system's
 * error. */
static void ShowFailure(ErrorCode status) {
  char details[512];
  Error_GetLastText(sizeof details, details);
  fprintf(stderr, "%s\n%s%s", Error_ToLongString(status), details, details[0] != '\0' ? "\n" : "");
}

int main(int argc, char** argv) {
  ErrorCode status;
  if (argc != 3) {
    fprintf(stderr, "usage: fetch URL FILE\n");
    return EXIT_FAILURE;
  }
  status = OS_Init("fetch", OSInitCode_LogPath, "fetch.log", OSInitCode_End);
  if (status != Error_None) {
    fprintf(stderr, "cannot initialise: %s\n", Error_ToLongString(status));
    return EXIT_FAILURE;
  }
  status = Fetch(argv[1], argv[2]);
  if (status != Error_None) ShowFailure(status);
  OS_Exit(0);
  return status == Error_None ? EXIT_SUCCESS : EXIT_FAILURE;
}
