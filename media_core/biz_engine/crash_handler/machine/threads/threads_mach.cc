#include <mach/mach.h>
#include <pthread.h>

#include <algorithm>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/threads/helper_thread.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"

namespace CrashHandler::machine {

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

ThreadNumber CurrentThreadNumber() { return mach_thread_self(); }

bool ThreadName(ThreadNumber number, char* name, size_t room) {
  name[0] = '\0';
  const pthread_t thread = pthread_from_mach_thread_np(number);
  if (thread == pthread_t{}) return false;
  if (pthread_getname_np(thread, name, room) == 0) return true;
  name[0] = '\0';
  return false;
}

}  // namespace CrashHandler::machine
