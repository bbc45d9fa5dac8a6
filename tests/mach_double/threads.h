// Inside the stand-in: the threads it knows.
#ifndef TESTS_MACH_DOUBLE_THREADS_H_
#define TESTS_MACH_DOUBLE_THREADS_H_

#include <pthread.h>
#include <ucontext.h>

#include "tests/mach_double/ports.h"

namespace mach_double {

// The stand-in's own signals are this one and those above it.
int FirstOwnSignal();

// The port of the calling thread, and of the task; the task's second one only reads.
PortRef CurrentThreadPort();
PortRef TaskPort();
PortRef TaskReadPort();

// Whether the thread has a pthread and is one of the process.
bool IsListed(pthread_t thread);

// Makes a port one of another task's.
void NameTaskPid(const PortRef& task, int pid);

// The platform's form of an interrupted context.
x86_thread_state64_t StateOf(const ucontext_t& context);

// While it lives, thread_get_state of the calling thread gives these registers: a thread that waits
// in the kernel for the answer to its fault.
class ScopedFaultState {
 public:
  explicit ScopedFaultState(const x86_thread_state64_t& state);
  ~ScopedFaultState();
  ScopedFaultState(const ScopedFaultState&) = delete;
  ScopedFaultState& operator=(const ScopedFaultState&) = delete;
};

}  // namespace mach_double

#endif  // TESTS_MACH_DOUBLE_THREADS_H_
