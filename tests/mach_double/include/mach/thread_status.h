// Stand-in for the platform's <mach/thread_status.h>: the registers of the 64-bit x86.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_THREAD_STATUS_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_THREAD_STATUS_H_

#include <mach/message.h>
#include <stdint.h>

typedef natural_t* thread_state_t;
typedef int thread_state_flavor_t;

#define x86_THREAD_STATE64 4
#define THREAD_STATE_NONE 13

struct __darwin_x86_thread_state64 {
  uint64_t __rax;
  uint64_t __rbx;
  uint64_t __rcx;
  uint64_t __rdx;
  uint64_t __rdi;
  uint64_t __rsi;
  uint64_t __rbp;
  uint64_t __rsp;
  uint64_t __r8;
  uint64_t __r9;
  uint64_t __r10;
  uint64_t __r11;
  uint64_t __r12;
  uint64_t __r13;
  uint64_t __r14;
  uint64_t __r15;
  uint64_t __rip;
  uint64_t __rflags;
  uint64_t __cs;
  uint64_t __fs;
  uint64_t __gs;
};
typedef struct __darwin_x86_thread_state64 x86_thread_state64_t;

#define x86_THREAD_STATE64_COUNT \
  ((mach_msg_type_number_t)(sizeof(x86_thread_state64_t) / sizeof(int)))

// What _STRUCT_MCONTEXT names on the platform starts with the exception state, then the registers.
struct __darwin_x86_exception_state64 {
  uint16_t __trapno;
  uint16_t __cpu;
  uint32_t __err;
  uint64_t __faultvaddr;
};
struct __darwin_mcontext64 {
  struct __darwin_x86_exception_state64 __es;
  struct __darwin_x86_thread_state64 __ss;
};
#define _STRUCT_MCONTEXT64 struct __darwin_mcontext64
#define _STRUCT_MCONTEXT _STRUCT_MCONTEXT64

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_THREAD_STATUS_H_
