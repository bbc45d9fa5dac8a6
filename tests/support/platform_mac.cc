#include <fcntl.h>
#include <mach/mach.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/platform.h"

namespace oru_test {
namespace {

// A program that another thread starts in between inherits the descriptor: there is no call that
// does both.
int CloseOnExec(int fd) {
  if (fd >= 0) fcntl(fd, F_SETFD, FD_CLOEXEC);
  return fd;
}

}  // namespace

int MakePipe(int ends[2]) {
  if (pipe(ends) != 0) return -1;
  CloseOnExec(ends[0]);
  CloseOnExec(ends[1]);
  return 0;
}

int MakeSocket(int domain, int type) { return CloseOnExec(socket(domain, type, 0)); }

int AcceptConnection(int listener) { return CloseOnExec(accept(listener, nullptr, nullptr)); }

void NameThisThread(const char* name) { pthread_setname_np(name); }

uint64_t NumberOfThisThread() { return pthread_mach_thread_np(pthread_self()); }

size_t StackSizeOfThisThread() { return pthread_get_stacksize_np(pthread_self()); }

bool IsThreadAsleep(uint64_t number) {
  thread_basic_info_data_t info;
  mach_msg_type_number_t count = THREAD_BASIC_INFO_COUNT;
  const kern_return_t result = thread_info(static_cast<thread_act_t>(number), THREAD_BASIC_INFO,
                                           reinterpret_cast<thread_info_t>(&info), &count);
  return result == KERN_SUCCESS && info.run_state == TH_STATE_WAITING;
}

int LastSignal() { return NSIG - 1; }

// A disk in memory asks for the administrator there.
bool MountSmallDisk(const std::string& /*folder*/, size_t /*bytes*/) { return false; }

bool ResizeSmallDisk(const std::string& /*folder*/, size_t /*bytes*/) { return false; }

void UnmountSmallDisk(const std::string& /*folder*/) {}

}  // namespace oru_test
