// Preloaded into Wine by scripts/evidence.d/races: the system calls of Windows processes take longer at
// random, so that their threads meet in orders that a quiet machine never shows. Wine's server and other
// programs stay as they are.
//
// KORVEL_DELAY_SEED chooses the delays. Each thread is of a kind for a while: fast (no delays), slow (many
// short ones) or jerky (rare long ones).
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <libgen.h>
#include <poll.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

enum {
  kCallsOfAKind = 3000,
  kSlowOneIn = 4,
  kSlowMostMicroseconds = 400,
  kJerkyOneIn = 200,
  kJerkyMostMicroseconds = 25000,
};
enum Kind { kFast, kSlow, kJerky };

static uint64_t seed;
static atomic_int active = -1;  // unknown until the first call
static atomic_uint_fast64_t threads;
static __thread uint64_t state;
static __thread unsigned calls;
static __thread enum Kind kind;

static int isWindowsProcess(void) {
  char path[4096];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
  if (length <= 0) return 0;
  path[length] = '\0';
  const char* name = basename(path);
  return strncmp(name, "wine", 4) == 0 && strncmp(name, "wineserver", 10) != 0;
}

// Two calls at once decide the same.
static int isActive(void) {
  int known = atomic_load(&active);
  if (known >= 0) return known;
  const char* text = getenv("KORVEL_DELAY_SEED");
  seed = text == NULL ? 0 : strtoull(text, NULL, 10);
  known = text != NULL && isWindowsProcess();
  atomic_store(&active, known);
  return known;
}

static uint64_t next(void) {
  if (state == 0)
    state = (seed + 1) * 0x9E3779B97F4A7C15u ^ (atomic_fetch_add(&threads, 1) + 1) * 0xD1B54A32D192ED03u;
  state ^= state << 13;
  state ^= state >> 7;
  state ^= state << 17;
  return state;
}

static void pauseFor(uint64_t microseconds) {
  const int keep = errno;
  const struct timespec time = {0, (long)microseconds * 1000};
  nanosleep(&time, NULL);
  errno = keep;
}

static void delay(void) {
  if (!isActive()) return;
  if (calls++ % kCallsOfAKind == 0) {
    const uint64_t draw = next() % 10;
    kind = draw < 4 ? kFast : draw < 8 ? kSlow : kJerky;
  }
  if (kind == kSlow && next() % kSlowOneIn == 0) pauseFor(next() % kSlowMostMicroseconds);
  if (kind == kJerky && next() % kJerkyOneIn == 0) pauseFor(next() % kJerkyMostMicroseconds);
}

// The function of the C library behind ours.
#define NEXT(name)                                                     \
  static __typeof__(&name) real;                                       \
  if (real == NULL) real = (__typeof__(&name))dlsym(RTLD_NEXT, #name); \
  delay()

ssize_t read(int file, void* to, size_t count) {
  NEXT(read);
  return real(file, to, count);
}
ssize_t write(int file, const void* from, size_t count) {
  NEXT(write);
  return real(file, from, count);
}
ssize_t readv(int file, const struct iovec* pieces, int count) {
  NEXT(readv);
  return real(file, pieces, count);
}
ssize_t writev(int file, const struct iovec* pieces, int count) {
  NEXT(writev);
  return real(file, pieces, count);
}
ssize_t pread64(int file, void* to, size_t count, off64_t at) {
  NEXT(pread64);
  return real(file, to, count, at);
}
ssize_t pwrite64(int file, const void* from, size_t count, off64_t at) {
  NEXT(pwrite64);
  return real(file, from, count, at);
}
ssize_t recvmsg(int file, struct msghdr* message, int flags) {
  NEXT(recvmsg);
  return real(file, message, flags);
}
ssize_t sendmsg(int file, const struct msghdr* message, int flags) {
  NEXT(sendmsg);
  return real(file, message, flags);
}
int poll(struct pollfd* files, nfds_t count, int milliseconds) {
  NEXT(poll);
  return real(files, count, milliseconds);
}
int close(int file) {
  NEXT(close);
  return real(file);
}

// Wine waits for its locks by the futex call. Six arguments are the most that a call takes.
long syscall(long number, ...) {
  NEXT(syscall);
  va_list list;
  va_start(list, number);
  long values[6];
  for (int i = 0; i < 6; ++i) values[i] = va_arg(list, long);
  va_end(list);
  return real(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}
