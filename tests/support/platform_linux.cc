#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>

#include "tests/support/platform.h"

namespace oru_test {

int MakePipe(int ends[2]) { return pipe2(ends, O_CLOEXEC); }

int MakeSocket(int domain, int type) { return socket(domain, type | SOCK_CLOEXEC, 0); }

int AcceptConnection(int listener) { return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC); }

void NameThisThread(const char* name) { pthread_setname_np(pthread_self(), name); }

uint64_t NumberOfThisThread() { return static_cast<uint64_t>(syscall(SYS_gettid)); }

size_t StackSizeOfThisThread() {
  pthread_attr_t attr;
  size_t size = 0;
  pthread_getattr_np(pthread_self(), &attr);
  pthread_attr_getstacksize(&attr, &size);
  pthread_attr_destroy(&attr);
  return size;
}

// The state letter follows the name in parentheses.
bool IsThreadAsleep(uint64_t number) {
  std::ifstream file("/proc/self/task/" + std::to_string(number) + "/stat");
  std::string text;
  std::getline(file, text);
  const size_t end_of_name = text.rfind(") ");
  return end_of_name != std::string::npos && text[end_of_name + 2] == 'S';
}

int LastSignal() { return SIGRTMAX; }

namespace {

bool MountOfSize(const std::string& folder, size_t bytes, unsigned long flags) {
  const std::string size = "size=" + std::to_string(bytes);
  return mount("tmpfs", folder.c_str(), "tmpfs", flags, size.c_str()) == 0;
}

}  // namespace

// In a view of its own, so that nobody else sees the mount and it ends with the process.
bool MountSmallDisk(const std::string& folder, size_t bytes) {
  return unshare(CLONE_NEWNS) == 0 && mount("none", "/", "none", MS_REC | MS_PRIVATE, "") == 0 &&
         MountOfSize(folder, bytes, 0);
}

bool ResizeSmallDisk(const std::string& folder, size_t bytes) {
  return MountOfSize(folder, bytes, MS_REMOUNT);
}

void UnmountSmallDisk(const std::string& folder) { umount2(folder.c_str(), MNT_DETACH); }

}  // namespace oru_test
