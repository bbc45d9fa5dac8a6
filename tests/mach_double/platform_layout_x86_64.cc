// The part of platform_layout.cc that is the processor's.
#if defined(__x86_64__)

#include <mach/mach.h>
#include <stddef.h>

#define SAME(expression, value) static_assert((expression) == (value), #expression)

SAME(THREAD_STATE_NONE, 13);
SAME(EXC_I386_DIV, 1);
SAME(EXC_I386_INVOP, 1);
SAME(EXC_I386_BPT, 2);
SAME(EXC_I386_GPFLT, 13);

// Registers.
SAME(x86_THREAD_STATE64, 4);
SAME(x86_THREAD_STATE64_COUNT, 42u);
SAME(offsetof(x86_thread_state64_t, __rax), 0);
SAME(offsetof(x86_thread_state64_t, __rbp), 48);
SAME(offsetof(x86_thread_state64_t, __rsp), 56);
SAME(offsetof(x86_thread_state64_t, __r15), 120);
SAME(offsetof(x86_thread_state64_t, __rip), 128);

#endif  // defined(__x86_64__)
