/* Uses the library as a stranger would: the public headers and the shared library, nothing else. */
#include <qz/qz.h>
#include <stdio.h>
#include <string.h>

static int failures = 0;

static void Check(int condition, const char* what) {
  if (condition) return;
  printf("failed: %s\n", what);
  ++failures;
}

static void UseStack(void) {
  Stack* stack = Stack_New(sizeof(int32_t));
  int32_t value;
  int32_t i;
  for (i = 1; i <= 20; ++i) {
    int32_t* slot = (int32_t*)Stack_Push(stack);
    *slot = i;
  }
  Stack_PopCopy(stack, &value);
  Check(value == 20, "Stack_PopCopy gives the last element");
  Stack_Pop(stack);
  Stack_PopCopy(stack, &value);
  Check(value == 18, "Stack_Pop drops one element");
  Stack_Delete(stack, NULL);
}

static void UseURL(void) {
  URLData* url = NULL;
  char text[1024];
  Check(URL_NewData("ftp://user:pw@host:2121/dir/my%20file", &url) == Error_None, "URL_NewData");
  Check(strcmp(url->path, "/dir/my file") == 0 && url->port == 2121, "parts of the URL");
  Check(URL_FromData(url, text) == Error_None, "URL_FromData");
  Check(strcmp(text, "ftp://user:pw@host:2121/dir/my%20file") == 0, "the URL's text again");
  Memory_Delete(url);
}

static void UseFile(const char* logPath) {
  char name[1024];
  char line[64];
  File* file = NULL;
  Check(OS_Init("consumer", OSInitCode_LogPath, logPath, OSInitCode_End) == Error_None, "OS_Init");
  Check(strcmp(OS_GetApplicationName(), "consumer") == 0, "OS_GetApplicationName");
  Check(File_GetSysDir(SysDir_Temp, name) == Error_None, "File_GetSysDir");
  Check(File_UniquifyName(name, "consumer", name) == Error_None, "File_UniquifyName");
  Check(File_Open(name, 6, &file) == Error_None, "File_Open");
  File_SetTemporary(file, 1);
  Check(Stream_WriteFLine(File_GetStream(file), "%s %d", "line", 1) == Error_None, "Stream_WriteFLine");
  Check(File_Seek(file, 0, 0) == 0, "File_Seek");
  Check(File_ScanLine(file, sizeof line, line) == 6 && strcmp(line, "line 1") == 0, "File_ScanLine");
  Check(File_Close(file) == Error_None, "File_Close");
  Check(!File_Exists(name, NULL), "a temporary file is gone after it was closed");
  OS_Exit(0);
}

int main(int argc, char** argv) {
  Check(strcmp(Error_ToString(Error_NotFound), "Not Found") == 0, "Error_ToString");
  UseStack();
  UseURL();
  UseFile(argc > 1 ? argv[1] : "/consumer.log");
  printf("consumer: %s, interface %s\n", failures == 0 ? "ok" : "FAILED", QZ_VERSION_STRING);
  return failures != 0;
}
