// The threads of this process: their numbers and names.
//
// Unless a function says otherwise it may run in a signal handler: it neither allocates from the
// heap nor takes a lock that an interrupted thread could hold.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREADS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREADS_H_

#include <cstddef>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/machine/threads/thread_number.h"

namespace CrashHandler::machine {

// Room for a thread's name with its terminating zero.
constexpr size_t kThreadNameSize = 256;

// The threads of the process at one moment, in the system's order, without the module's own helper
// (helper_thread.h). Threads that start or end while the list is read may be in it or not.
class ThreadList {
 public:
  // Reads the list anew. False when the system does not give it; the list is then empty.
  bool Read();

  size_t size() const { return size_; }
  const ThreadNumber* numbers() const { return static_cast<const ThreadNumber*>(memory_.data()); }

 private:
  ScratchMemory memory_;
  size_t size_ = 0;
};

ThreadNumber CurrentThreadNumber();

// Puts every thread but `except` and the helper behind them in the queue for the processors, for
// good: for a process that ends and whose threads are many and busy. Does nothing on macOS, whose
// scheduler does so by itself with threads that never wait.
void PutOthersBehind(ThreadNumber except);

// Writes the thread's name, cut to the room, with a terminating zero; "" when it has none. False
// (and "") when there is no such thread, or, on macOS, no pthread behind it; and without any room.
bool ThreadName(ThreadNumber number, char* name, size_t room);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREADS_H_
