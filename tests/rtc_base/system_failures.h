// System calls of the threading code under a test's control. The program is linked with --wrap for
// each of them; every call goes on to the system unless a test says otherwise.
#ifndef TESTS_RTC_BASE_SYSTEM_FAILURES_H_
#define TESTS_RTC_BASE_SYSTEM_FAILURES_H_

#include <pthread.h>
#include <sys/time.h>
#include <time.h>

#include <functional>

namespace oru_test {

struct SystemFailures {
  // What these return instead of calling the system, when not 0.
  int mutex_init = 0;
  int cond_init = 0;
  int rwlock_init = 0;
  int thread_create = 0;
  // Take the place of the calls, when set.
  std::function<int(const timespec&)> cond_timedwait;
  std::function<timeval()> gettimeofday;
  std::function<timespec()> monotonic_clock;
  std::function<int(int)> priority_min;
  std::function<int(int)> priority_max;
  std::function<int(pthread_t, int, int)> setschedparam;
};

// The one record; a test changes it before other threads start.
extern SystemFailures g_system;

}  // namespace oru_test

#endif  // TESTS_RTC_BASE_SYSTEM_FAILURES_H_
