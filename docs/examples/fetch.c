/* Fetches one file over HTTP and shows its progress: fetch http://host/path file */
#include <qz/qz.h>
#include <stdio.h>
#include <stdlib.h>

static void ShowProgress(void* context, uint32_t position, uint32_t total) {
  (void)context;
  fprintf(stderr, "\r%lu of %lu bytes", (unsigned long)position, (unsigned long)total);
}

/* Copies the body to the file; the status of the stream says how it ended. */
static ErrorCode CopyBody(Stream* body, File* file) {
  static char buffer[65536];
  for (;;) {
    uint32_t count = Stream_Read(body, sizeof buffer, buffer);
    ErrorCode status = Stream_Error(body);
    if (File_Write(file, count, buffer) != count) return Error_Exceed;
    if (count == 0) return status == Error_Ended ? Error_None : status;
  }
}

static ErrorCode Fetch(const char* text, const char* fileName) {
  URLData* url = NULL;
  HTTPc* http = NULL;
  Stream* body = NULL;
  File* file = NULL;
  Reply reply;
  uint32_t length = 0;

  ErrorCode status = URL_NewData(text, &url);
  if (status == Error_None) status = HTTPc_Open(url->host, (uint32_t)url->port, &http);
  if (status == Error_None) status = HTTPc_Get(http, text, &reply, &body);
  if (status == Error_None && reply.code != 200) {
    fprintf(stderr, "the server answers %ld %s\n", (long)reply.code, reply.text);
    status = Error_NotFound;
  }
  if (status == Error_None) status = File_Open(fileName, 2, &file);
  if (status == Error_None) {
    if (HTTPc_GetAttribute(http, HTTPcResponse_ContentLength, sizeof length, NULL, &length) == Error_None) {
      Stream_SetProgress(body, 0, length);
      Stream_SetIdleMethod(body, 100, ShowProgress, NULL);
    }
    status = CopyBody(body, file);
    fprintf(stderr, "\n");
  }
  if (file != NULL) File_Close(file);
  if (http != NULL) HTTPc_Close(http); /* the body's stream belongs to the connection */
  Memory_Delete(url);
  return status;
}

int main(int argc, char** argv) {
  ErrorCode status;
  if (argc != 3) {
    fprintf(stderr, "usage: fetch URL FILE\n");
    return EXIT_FAILURE;
  }
  status = OS_Init("fetch", OSInitCode_LogPath, "fetch.log", OSInitCode_End);
  if (status != Error_None) {
    fprintf(stderr, "cannot start: %s\n", Error_ToLongString(status));
    return EXIT_FAILURE;
  }
  status = Fetch(argv[1], argv[2]);
  if (status != Error_None) fprintf(stderr, "%s\n", Error_ToLongString(status));
  OS_Exit(0);
  return status == Error_None ? EXIT_SUCCESS : EXIT_FAILURE;
}
