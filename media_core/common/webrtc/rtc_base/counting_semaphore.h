// A counting semaphore that starts at 0: what a critical section sleeps on.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_COUNTING_SEMAPHORE_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_COUNTING_SEMAPHORE_H_

#pragma GCC visibility push(default)

namespace rtc {

// A dispatch semaphore on macOS, a POSIX semaphore elsewhere. Any thread may signal and wait; it
// may be destroyed as soon as no thread waits and every signal has been taken. A platform that
// cannot make one ends the process.
class CountingSemaphore {
 public:
  CountingSemaphore();
  ~CountingSemaphore();
  CountingSemaphore(const CountingSemaphore&) = delete;
  CountingSemaphore& operator=(const CountingSemaphore&) = delete;

  // Sleeps, without time limit, until the count is above 0, and takes one off.
  void Wait();
  // Adds one to the count and wakes one waiter, if any.
  void Signal();

  // In a forked child, before any other use: back to 0, without the waiters, who are not in this
  // process.
  void RenewInForkedChild();

 private:
  // The platform's object, owned.
  void* handle_;
};

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_COUNTING_SEMAPHORE_H_
