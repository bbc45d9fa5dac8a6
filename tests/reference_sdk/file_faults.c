// Preloaded into the command: files whose name is "failing.log" cannot be read from offset 0x40000
// on (EIO), as on a disk that fails.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

enum { kFirstBadByte = 0x40000 };

static int Fails(int fd, off_t offset) {
  char link[64];
  char path[4096];
  snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  const ssize_t length = readlink(link, path, sizeof path - 1);
  if (length <= 0 || offset < kFirstBadByte) return 0;
  path[length] = '\0';
  return strstr(path, "/failing.log") != NULL;
}

ssize_t read(int fd, void* data, size_t size) {
  if (Fails(fd, lseek(fd, 0, SEEK_CUR))) {
    errno = EIO;
    return -1;
  }
  return ((ssize_t(*)(int, void*, size_t))dlsym(RTLD_NEXT, "read"))(fd, data, size);
}

ssize_t pread(int fd, void* data, size_t size, off_t offset) {
  if (Fails(fd, offset)) {
    errno = EIO;
    return -1;
  }
  return ((ssize_t(*)(int, void*, size_t, off_t))dlsym(RTLD_NEXT, "pread"))(fd, data, size, offset);
}

ssize_t pread64(int fd, void* data, size_t size, off_t offset) {
  return pread(fd, data, size, offset);
}
