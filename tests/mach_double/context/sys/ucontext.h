// Stand-in for the platform's <sys/ucontext.h>: a signal handler's third argument. In a folder of
// its own, as it takes the place of this machine's in every header that asks for it.
#ifndef TESTS_MACH_DOUBLE_CONTEXT_SYS_UCONTEXT_H_
#define TESTS_MACH_DOUBLE_CONTEXT_SYS_UCONTEXT_H_

#include <mach/thread_status.h>
#include <stddef.h>
#include <stdint.h>

struct __darwin_ucontext {
  int uc_onstack;
  uint32_t uc_sigmask;
  struct {
    void* ss_sp;
    size_t ss_size;
    int ss_flags;
  } uc_stack;
  struct __darwin_ucontext* uc_link;
  size_t uc_mcsize;
  _STRUCT_MCONTEXT* uc_mcontext;
};
typedef struct __darwin_ucontext ucontext_t;

#endif  // TESTS_MACH_DOUBLE_CONTEXT_SYS_UCONTEXT_H_
