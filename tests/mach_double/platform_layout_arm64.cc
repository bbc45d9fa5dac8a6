// The part of platform_layout.cc that is the processor's. The stand-in plays an Intel machine:
// these lines hold what the product takes for granted of the other one against a real SDK alone.
#if defined(__aarch64__)

#include <mach/mach.h>
#include <stddef.h>
#include <sys/ucontext.h>

#define SAME(expression, value) static_assert((expression) == (value), #expression)

SAME(THREAD_STATE_NONE, 5);
SAME(ARM_THREAD_STATE64, 6);
SAME(ARM_THREAD_STATE64_COUNT, 68u);
SAME(offsetof(arm_thread_state64_t, __x), 0);
SAME(offsetof(arm_thread_state64_t, __fp), 232);
SAME(offsetof(arm_thread_state64_t, __lr), 240);
SAME(offsetof(arm_thread_state64_t, __sp), 248);
SAME(offsetof(arm_thread_state64_t, __pc), 256);
SAME(offsetof(arm_thread_state64_t, __cpsr), 264);
SAME(offsetof(_STRUCT_MCONTEXT64, __es.__esr), 8);
SAME(offsetof(_STRUCT_MCONTEXT64, __ss), 16);

#endif  // defined(__aarch64__)
