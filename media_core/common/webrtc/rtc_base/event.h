// An event that threads wait for.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_EVENT_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_EVENT_H_

#include <pthread.h>

#pragma GCC visibility push(default)

namespace rtc {

// Set or unset. A manual-reset event stays set, and lets every waiter pass, until Reset(); an
// auto-reset event is unset again by the one waiter that it let pass. Setting it twice before
// anybody waits counts once.
//
// Every operation may be called from any thread. What a thread wrote before Set() is visible to
// the thread whose Wait() it ended. Destroy it only when no thread is inside an operation; a
// waiter that was let pass may destroy it only after the setter has returned from Set().
class Event {
 public:
  // Waits without limit.
  static constexpr int kForever = -1;

  // The kind of event, and whether it begins set.
  Event(bool manual_reset, bool initially_signaled);
  ~Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  // Sets the event: one waiter passes an auto-reset event, all pass a manual-reset one.
  void Set();
  // Makes it unset.
  void Reset();

  // Waits until the event is set, at most `milliseconds`; returns whether it was. 0 only looks;
  // -1 (kForever) waits without limit; for any other negative number the time is over already, so
  // that it only looks, too. Every number up to INT_MAX (24 days) is honoured.
  //
  // The time limit is a moment of the wall clock: stepping that clock during the wait moves it.
  bool Wait(int milliseconds);

 private:
  pthread_mutex_t event_mutex_;
  pthread_cond_t event_cond_;
  const bool is_manual_reset_;
  bool event_status_;
};

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_EVENT_H_
