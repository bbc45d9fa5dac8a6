// Waiting that ends. May be used in a signal handler; a wait that a signal interrupts goes on.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_BOUNDED_WAIT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_BOUNDED_WAIT_H_

#include <time.h>

#include <cstdint>

namespace CrashHandler::machine {

// Milliseconds of the monotonic clock.
inline int64_t NowMs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

inline void PauseMs(int milliseconds) {
  const timespec time = {milliseconds / 1000, (milliseconds % 1000) * 1000000L};
  nanosleep(&time, nullptr);
}

// Looks every `poll_ms` whether the condition still holds. False when it does at the end of
// `limit_ms`.
template <typename Condition>
bool WaitWhile(const Condition& condition, int limit_ms, int poll_ms) {
  const int64_t end = NowMs() + limit_ms;
  while (condition()) {
    if (NowMs() >= end) return false;
    PauseMs(poll_ms);
  }
  return true;
}

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_BOUNDED_WAIT_H_
