// Stand-in for what the platform's <pthread.h> has besides the standard.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_PTHREAD_H_
#define TESTS_MACH_DOUBLE_INCLUDE_PTHREAD_H_

#include_next <pthread.h>

#ifdef __cplusplus
#include <mach/port.h>

extern "C" {
// The thread's port; no send right is added. MACH_PORT_NULL for a thread that has ended.
mach_port_t pthread_mach_thread_np(pthread_t thread);
}

// The platform names only the calling thread, with at most 63 bytes. An overload beside the C
// library's own.
int pthread_setname_np(const char* name);
#endif

#endif  // TESTS_MACH_DOUBLE_INCLUDE_PTHREAD_H_
