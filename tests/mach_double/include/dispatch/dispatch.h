// Stand-in for the platform's <dispatch/dispatch.h>: semaphores.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_DISPATCH_DISPATCH_H_
#define TESTS_MACH_DOUBLE_INCLUDE_DISPATCH_DISPATCH_H_

#include <stdint.h>

typedef struct dispatch_semaphore_s* dispatch_semaphore_t;
typedef uint64_t dispatch_time_t;

#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_TIME_FOREVER (~0ull)
#define NSEC_PER_MSEC 1000000ull

extern "C" {
// Null when value is negative.
dispatch_semaphore_t dispatch_semaphore_create(intptr_t value);
// 0, or non-zero when the time came first.
intptr_t dispatch_semaphore_wait(dispatch_semaphore_t semaphore, dispatch_time_t timeout);
// Non-zero when a waiter was woken.
intptr_t dispatch_semaphore_signal(dispatch_semaphore_t semaphore);
dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta);
// Ends the process when the count is below what it was created with (somebody waits, say), as on
// the platform. Waiting and signalling end it in a forked child, once they slept or woke in the
// parent.
void dispatch_release(dispatch_semaphore_t semaphore);
}

#endif  // TESTS_MACH_DOUBLE_INCLUDE_DISPATCH_DISPATCH_H_
