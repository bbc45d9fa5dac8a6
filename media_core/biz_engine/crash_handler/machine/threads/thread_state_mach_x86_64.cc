#if defined(__x86_64__)

#include <mach/mach.h>
#include <sys/ucontext.h>

#include "media_core/biz_engine/crash_handler/machine/threads/exception_class.h"
#include "media_core/biz_engine/crash_handler/machine/threads/thread_state_mach.h"

namespace CrashHandler::machine {

namespace {

Registers RegistersOfState(const x86_thread_state64_t& state) {
  return {state.__rax, state.__rbx, state.__rcx, state.__rdx, state.__rdi, state.__rsi,
          state.__rbp, state.__rsp, state.__r8,  state.__r9,  state.__r10, state.__r11,
          state.__r12, state.__r13, state.__r14, state.__r15, state.__rip};
}

}  // namespace

bool ReadThreadState(thread_act_t thread, Registers* registers) {
  x86_thread_state64_t state;
  mach_msg_type_number_t count = x86_THREAD_STATE64_COUNT;
  const kern_return_t result = thread_get_state(thread, x86_THREAD_STATE64,
                                                reinterpret_cast<thread_state_t>(&state), &count);
  if (result != KERN_SUCCESS) return false;
  *registers = RegistersOfState(state);
  return true;
}

Registers RegistersOfMachineContext(const void* machine_context) {
  return RegistersOfState(static_cast<const _STRUCT_MCONTEXT64*>(machine_context)->__ss);
}

// The vector is written at every entry, an interrupt's and a system call's too.
bool LastEntryRepeats(const void* machine_context) {
  const auto* context = static_cast<const _STRUCT_MCONTEXT64*>(machine_context);
  return VectorRepeats(context->__es.__trapno);
}

bool LastEntryTraps(const void* machine_context) {
  const auto* context = static_cast<const _STRUCT_MCONTEXT64*>(machine_context);
  return VectorTraps(context->__es.__trapno);
}

FaultAccess LastEntryAccess(const void* machine_context) {
  const auto* context = static_cast<const _STRUCT_MCONTEXT64*>(machine_context);
  return AccessOfVector(context->__es.__trapno, context->__es.__err);
}

}  // namespace CrashHandler::machine

#endif  // defined(__x86_64__)
