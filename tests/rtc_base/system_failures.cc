#include "tests/rtc_base/system_failures.h"

#include <sched.h>

namespace oru_test {
SystemFailures g_system;
}  // namespace oru_test

using oru_test::g_system;

extern "C" {

int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attr);
int __real_pthread_cond_init(pthread_cond_t* cond, const pthread_condattr_t* attr);
int __real_pthread_rwlock_init(pthread_rwlock_t* lock, const pthread_rwlockattr_t* attr);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*start)(void*),
                          void* arg);
int __real_pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* mutex,
                                  const timespec* deadline);
int __real_gettimeofday(timeval* time, void* zone);
int __real_clock_gettime(clockid_t clock, timespec* time);
int __real_sched_get_priority_min(int policy);
int __real_sched_get_priority_max(int policy);
int __real_pthread_setschedparam(pthread_t thread, int policy, const sched_param* param);

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attr) {
  return g_system.mutex_init != 0 ? g_system.mutex_init : __real_pthread_mutex_init(mutex, attr);
}

int __wrap_pthread_cond_init(pthread_cond_t* cond, const pthread_condattr_t* attr) {
  return g_system.cond_init != 0 ? g_system.cond_init : __real_pthread_cond_init(cond, attr);
}

int __wrap_pthread_rwlock_init(pthread_rwlock_t* lock, const pthread_rwlockattr_t* attr) {
  return g_system.rwlock_init != 0 ? g_system.rwlock_init : __real_pthread_rwlock_init(lock, attr);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*start)(void*),
                          void* arg) {
  return g_system.thread_create != 0 ? g_system.thread_create
                                     : __real_pthread_create(thread, attr, start, arg);
}

int __wrap_pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
  return g_system.cond_timedwait ? g_system.cond_timedwait(*deadline)
                                 : __real_pthread_cond_timedwait(cond, mutex, deadline);
}

int __wrap_gettimeofday(timeval* time, void* zone) {
  if (!g_system.gettimeofday) {
    return __real_gettimeofday(time, zone);
  }
  *time = g_system.gettimeofday();
  return 0;
}

int __wrap_clock_gettime(clockid_t clock, timespec* time) {
  if (clock != CLOCK_MONOTONIC || !g_system.monotonic_clock) {
    return __real_clock_gettime(clock, time);
  }
  *time = g_system.monotonic_clock();
  return 0;
}

int __wrap_sched_get_priority_min(int policy) {
  return g_system.priority_min ? g_system.priority_min(policy)
                               : __real_sched_get_priority_min(policy);
}

int __wrap_sched_get_priority_max(int policy) {
  return g_system.priority_max ? g_system.priority_max(policy)
                               : __real_sched_get_priority_max(policy);
}

int __wrap_pthread_setschedparam(pthread_t thread, int policy, const sched_param* param) {
  return g_system.setschedparam ? g_system.setschedparam(thread, policy, param->sched_priority)
                                : __real_pthread_setschedparam(thread, policy, param);
}

}  // extern "C"
