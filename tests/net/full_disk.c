// Preloaded into Wine by run_net_tests.sh: every write to a "*.tmp" file below KORVEL_FULL_DISK fails as on a full disk.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static int isOnFullDisk(int file) {
  const char* folder = getenv("KORVEL_FULL_DISK");
  char link[64];
  char path[4096];
  snprintf(link, sizeof link, "/proc/self/fd/%d", file);
  const ssize_t length = readlink(link, path, sizeof path - 1);
  if (folder == NULL || length < 4) return 0;
  path[length] = '\0';
  return strncmp(path, folder, strlen(folder)) == 0 && strcmp(path + length - 4, ".tmp") == 0;
}

ssize_t write(int file, const void* bytes, size_t count) {
  if (isOnFullDisk(file)) {
    errno = ENOSPC;
    return -1;
  }
  ssize_t (*next)(int, const void*, size_t) = (ssize_t(*)(int, const void*, size_t))dlsym(RTLD_NEXT, "write");
  return next(file, bytes, count);
}

ssize_t pwrite64(int file, const void* bytes, size_t count, off64_t at) {
  if (isOnFullDisk(file)) {
    errno = ENOSPC;
    return -1;
  }
  ssize_t (*next)(int, const void*, size_t, off64_t) =
      (ssize_t(*)(int, const void*, size_t, off64_t))dlsym(RTLD_NEXT, "pwrite64");
  return next(file, bytes, count, at);
}

ssize_t pwrite(int file, const void* bytes, size_t count, off_t at) { return pwrite64(file, bytes, count, at); }
