// Threads that are interrupted by a signal, hand over their registers and stand still until they
// are let go. For Linux only; may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_INTERRUPTED_THREADS_LINUX_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_INTERRUPTED_THREADS_LINUX_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/threads/borrowed_signal.h"
#include "media_core/biz_engine/crash_handler/machine/threads/registers.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"

namespace CrashHandler::machine {

// One object at a time in a process, which the caller sees to.
class InterruptedThreads {
 public:
  // At most so many threads at a time.
  static constexpr size_t kPlaces = 512;
  static constexpr size_t kNoPlace = SIZE_MAX;

  InterruptedThreads();
  // Lets the threads go and gives the signals back.
  ~InterruptedThreads();
  InterruptedThreads(const InterruptedThreads&) = delete;
  InterruptedThreads& operator=(const InterruptedThreads&) = delete;

  // Asks a thread, by a signal that is not in `barred` (bit n - 1 stands for signal n). Returns its
  // place, or kNoPlace when it cannot be asked.
  size_t Ask(ThreadNumber number, unsigned long barred);

  // Waits until all have answered, at most for `limit_ms`, and until none has for `quiet_ms`.
  void Wait(int64_t limit_ms, int64_t quiet_ms);

  // The registers of the thread that was asked there, valid while the object lives; null when it
  // has not answered, which it will not do later.
  const Registers* Take(size_t place);

 private:
  void ForgetEndedThreads();

  const RealTimeSignals signals_;
  const uint32_t generation_;
  const int process_;
  uint32_t asked_ = 0;
  size_t places_used_ = 0;
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_INTERRUPTED_THREADS_LINUX_H_
