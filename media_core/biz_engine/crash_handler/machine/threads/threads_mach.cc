#include <libproc.h>
#include <mach/mach.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/threads/helper_thread.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"

namespace CrashHandler::machine {
namespace {

// By which the kernel knows the thread's pthread; 0 when there is none.
uint64_t HandleOf(ThreadNumber number) {
  thread_identifier_info_data_t identity;
  mach_msg_type_number_t count = THREAD_IDENTIFIER_INFO_COUNT;
  const kern_return_t result = thread_info(number, THREAD_IDENTIFIER_INFO,
                                           reinterpret_cast<thread_info_t>(&identity), &count);
  return result == KERN_SUCCESS ? identity.thread_handle : 0;
}

}  // namespace

// The kernel's list stays mapped, with a send right for every thread in it: the numbers handed out
// keep meaning the same threads.
bool ThreadList::Read() {
  size_ = 0;
  thread_act_array_t list = nullptr;
  mach_msg_type_number_t count = 0;
  if (task_threads(mach_task_self(), &list, &count) != KERN_SUCCESS) return false;
  const size_t bytes = count * sizeof(ThreadNumber);
  if (count == 0 || !memory_.Allocate(bytes)) return false;
  auto* const numbers = static_cast<ThreadNumber*>(memory_.data());
  size_ = static_cast<size_t>(std::remove_copy(list, list + count, numbers, HelperThreadNumber()) -
                              numbers);
  return true;
}

// Unlike mach_thread_self, it adds no right that somebody would have to give back.
ThreadNumber CurrentThreadNumber() { return pthread_mach_thread_np(pthread_self()); }

void PutOthersBehind(ThreadNumber /*except*/) {}

// The kernel's copy of the name: the library's is behind the lock of its list of threads.
bool ThreadName(ThreadNumber number, char* name, size_t room) {
  if (room == 0) return false;
  name[0] = '\0';
  const uint64_t handle = HandleOf(number);
  if (handle == 0) return false;
  proc_threadinfo facts;
  constexpr int kSize = sizeof(facts);
  if (proc_pidinfo(getpid(), PROC_PIDTHREADINFO, handle, &facts, kSize) != kSize) return false;
  const size_t length = std::min(room - 1, strnlen(facts.pth_name, sizeof(facts.pth_name)));
  memcpy(name, facts.pth_name, length);
  name[length] = '\0';
  return true;
}

}  // namespace CrashHandler::machine
