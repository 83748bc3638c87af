/* Preloaded into the program: a call that changes a file fails, counted over all files whose names contain
 * one of QZ_FAIL_NAMES (parted by ":").
 *
 *   QZ_FAIL_CALL     the call that fails, from 1 on
 *   QZ_FAIL_LASTING  set: all calls behind it fail as well
 *   QZ_FAIL_ERROR    the number of the error; a full disk fails only what needs space, and begins with half a
 * write QZ_FAIL_MARK     receives what failed first */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#define NEXT(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

static long calls;

static long number_of(const char* variable) {
  const char* text = getenv(variable);
  return text == NULL ? 0 : atol(text);
}

static int is_watched(const char* name) {
  char names[4096];
  const char* list = getenv("QZ_FAIL_NAMES");
  if (list == NULL) return 0;
  snprintf(names, sizeof names, "%s", list);
  for (char *rest = names, *part; (part = strsep(&rest, ":")) != NULL;)
    if (strstr(name, part) != NULL) return 1;
  return 0;
}

static void mark(const char* call, const char* name) {
  char line[5000];
  const char* path = getenv("QZ_FAIL_MARK");
  int length = snprintf(line, sizeof line, "%s %s", call, name);
  int file = path == NULL
                 ? -1
                 : (int)syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file < 0) return;
  if (syscall(SYS_write, file, line, (size_t)length) != length) abort();
  syscall(SYS_close, file);
}

/* 0: it goes well. 1: the first that fails. 2: one behind that. */
static int fails(const char* call, const char* name, int needs_space) {
  const long wanted = number_of("QZ_FAIL_CALL");
  if (wanted == 0 || !is_watched(name)) return 0;
  if (number_of("QZ_FAIL_ERROR") == ENOSPC && !needs_space) return 0;
  const long number = __atomic_add_fetch(&calls, 1, __ATOMIC_SEQ_CST);
  if (number < wanted || (number > wanted && getenv("QZ_FAIL_LASTING") == NULL)) return 0;
  mark(call, name);
  errno = (int)number_of("QZ_FAIL_ERROR");
  return number == wanted ? 1 : 2;
}

static int fails_on(const char* call, int descriptor, int needs_space) {
  char link[64], name[4096] = "";
  if (getenv("QZ_FAIL_CALL") == NULL) return 0;
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  return readlink(link, name, sizeof name - 1) > 0 ? fails(call, name, needs_space) : 0;
}

int open(const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  const int is_changing = (flags & O_ACCMODE) != O_RDONLY;
  if (is_changing && fails("open", name, (flags & O_CREAT) != 0)) return -1;
  return NEXT(open)(name, flags, mode);
}

ssize_t write(int descriptor, const void* buffer, size_t size) {
  const int failure = fails_on("write", descriptor, 1);
  if (failure == 0) return NEXT(write)(descriptor, buffer, size);
  const int error = errno;
  if (failure == 1 && error == ENOSPC && size > 1) return NEXT(write)(descriptor, buffer, size / 2);
  errno = error;
  return -1;
}

off_t lseek(int descriptor, off_t offset, int whence) {
  return fails_on("lseek", descriptor, 0) ? -1 : NEXT(lseek)(descriptor, offset, whence);
}

int ftruncate(int descriptor, off_t length) {
  return fails_on("ftruncate", descriptor, 1) ? -1 : NEXT(ftruncate)(descriptor, length);
}

int fsync(int descriptor) {
  return fails_on("fsync", descriptor, 1) ? -1 : NEXT(fsync)(descriptor);
}

int close(int descriptor) {
  const int failure = fails_on("close", descriptor, 1);
  const int error = errno;
  const int result = NEXT(close)(descriptor);
  if (failure == 0) return result;
  errno = error;
  return -1;
}

int fclose(FILE* stream) {
  const int failure = fails_on("fclose", fileno(stream), 1);
  const int error = errno;
  const int result = NEXT(fclose)(stream);
  if (failure == 0) return result;
  errno = error;
  return EOF;
}

int rename(const char* from, const char* to) {
  return fails("rename", from, 0) ? -1 : NEXT(rename)(from, to);
}

int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
  return fails("renameat2", from, 0) ? -1 : NEXT(renameat2)(from_folder, from, to_folder, to, flags);
}

int unlink(const char* name) {
  return fails("unlink", name, 0) ? -1 : NEXT(unlink)(name);
}

int unlinkat(int folder, const char* name, int flags) {
  return fails("unlinkat", name, 0) ? -1 : NEXT(unlinkat)(folder, name, flags);
}
