/* Preloaded into the program: reading a file whose name contains QZ_FAIL_READS fails as from a broken disk.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static int is_broken(int descriptor) {
  char link[64], name[4096] = "";
  const char* broken = getenv("QZ_FAIL_READS");
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  return broken != NULL && readlink(link, name, sizeof name - 1) > 0 && strstr(name, broken) != NULL;
}

ssize_t read(int descriptor, void* buffer, size_t size) {
  ssize_t (*next)(int, void*, size_t) = (ssize_t(*)(int, void*, size_t))dlsym(RTLD_NEXT, "read");
  if (!is_broken(descriptor)) return next(descriptor, buffer, size);
  errno = EIO;
  return -1;
}
