// A thread with a name, a priority and a run function.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_PLATFORM_THREAD_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_PLATFORM_THREAD_H_

#include <atomic>
#include <string>

#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"

#pragma GCC visibility push(default)

namespace rtc {

// Priorities under the system's first-in-first-out policy.
enum ThreadPriority : int {
  kLowPriority = 1,
  kNormalPriority = 2,
  kHighPriority = 3,
  kHighestPriority = 4,
  kRealtimePriority = 5,
};

// Runs a function on a thread of its own, in one of two forms:
//  - the void form calls it once, at the given priority;
//  - the bool form calls it again and again, at the priority it inherits, until it returns false or
//    Stop() is called. Every call is a trace scope "PlatformThread::Run" of the category "webrtc".
//
//   rtc::PlatformThread thread(&Work, &state, "Worker", rtc::kNormalPriority);
//   thread.Start();
//   ...
//   thread.Stop();
//
// The object is used by one thread, its owner, which stops the thread before it destroys the
// object. It may be started again after Stop(). A misuse (starting a running thread, destroying
// one, stopping it twice at a time or from within) ends the process with a report.
class PlatformThread {
 public:
  // The void form and the bool form.
  using RunFunction = void (*)(void* obj);
  using RepeatedRunFunction = bool (*)(void* obj);

  // `name` is copied; a null one counts as "". `obj` is handed to the run function.
  PlatformThread(RepeatedRunFunction run, void* obj, const char* name);
  PlatformThread(RunFunction run, void* obj, const char* name, ThreadPriority priority);
  ~PlatformThread();
  PlatformThread(const PlatformThread&) = delete;
  PlatformThread& operator=(const PlatformThread&) = delete;

  // Starts the thread, with a stack of 1 MiB. Ends the process if the system refuses one.
  void Start();

  // Waits for the thread to end; the bool form is asked to end after the call that it is in.
  // Nothing happens when the thread was not started.
  void Stop();

  // Whether the thread was started and not stopped since (it may have ended by itself).
  bool IsRunning() const;

  // The thread's handle; PlatformThreadRef() when it is not running.
  PlatformThreadRef GetThreadRef() const { return thread_; }

  // Moves the thread to the first-in-first-out policy with a priority that stands for `priority`
  // within the system's range. Returns false, having changed nothing, when the thread is not
  // running, `priority` is none of the five, the range is too narrow, or the system refuses
  // (unprivileged programs usually may not).
  bool SetPriority(ThreadPriority priority);

 private:
  static void* StartThread(void* param);
  void Run();
  bool RunOnce();

  const RepeatedRunFunction repeated_run_ = nullptr;
  const RunFunction run_ = nullptr;
  void* const obj_;
  const std::string name_;
  const ThreadPriority priority_ = kNormalPriority;
  // What Stop() and the running thread share: above 0 when the thread should end.
  std::atomic<int> stop_flag_{0};
  PlatformThreadRef thread_ = PlatformThreadRef();
};

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_PLATFORM_THREAD_H_
