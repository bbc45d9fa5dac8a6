// Counting semaphores of the kernel.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_SEMAPHORE_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_SEMAPHORE_H_

#include <mach/mach.h>

typedef mach_port_t semaphore_t;

extern "C" {

kern_return_t semaphore_create(task_t task, semaphore_t* semaphore, int policy, int value);
// Async-signal-safe, as a trap of the kernel is.
kern_return_t semaphore_signal(semaphore_t semaphore);
// KERN_ABORTED when a signal's handler interrupts the wait.
kern_return_t semaphore_wait(semaphore_t semaphore);
}

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_SEMAPHORE_H_
