#if defined(__aarch64__)

#include <mach/mach.h>
#include <sys/ucontext.h>

#include <cstddef>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/threads/exception_class.h"
#include "media_core/biz_engine/crash_handler/machine/threads/thread_state_mach.h"

namespace CrashHandler::machine {

// The record begins with the registers in our own order. Its members' names depend on whether the
// compiler signs pointers; their places do not.
static_assert(sizeof(RegistersArm64) == offsetof(arm_thread_state64_t, __cpsr));

bool ReadThreadState(thread_act_t thread, Registers* registers) {
  arm_thread_state64_t state;
  mach_msg_type_number_t count = ARM_THREAD_STATE64_COUNT;
  const kern_return_t result = thread_get_state(thread, ARM_THREAD_STATE64,
                                                reinterpret_cast<thread_state_t>(&state), &count);
  if (result != KERN_SUCCESS) return false;
  memcpy(registers, &state, sizeof(*registers));
  return true;
}

Registers RegistersOfMachineContext(const void* machine_context) {
  const auto* context = static_cast<const _STRUCT_MCONTEXT64*>(machine_context);
  Registers registers;
  memcpy(&registers, &context->__ss, sizeof(registers));
  return registers;
}

bool LastEntryRepeats(const void* machine_context) {
  const auto* context = static_cast<const _STRUCT_MCONTEXT64*>(machine_context);
  return SyndromeRepeats(context->__es.__esr);
}

bool LastEntryTraps(const void* machine_context) {
  const auto* context = static_cast<const _STRUCT_MCONTEXT64*>(machine_context);
  return SyndromeTraps(context->__es.__esr);
}

FaultAccess LastEntryAccess(const void* machine_context) {
  const auto* context = static_cast<const _STRUCT_MCONTEXT64*>(machine_context);
  return AccessOfSyndrome(context->__es.__esr);
}

}  // namespace CrashHandler::machine

#endif  // defined(__aarch64__)
