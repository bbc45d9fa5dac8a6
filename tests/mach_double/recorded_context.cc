#include "tests/mach_double/recorded_context.h"

#include <sys/ucontext.h>

static_assert(offsetof(ucontext_t, uc_mcontext) == 48, "as the platform lays it out");

using MachineContext = _STRUCT_MCONTEXT;

namespace mach_double {

void ContextDeleter::operator()(void* context) const {
  auto* const recorded = static_cast<ucontext_t*>(context);
  delete recorded->uc_mcontext;
  delete recorded;
}

RecordedContext RecordContext(uint16_t vector, const x86_thread_state64_t& state,
                              uint32_t error_code) {
  auto* const machine = new MachineContext{};
  machine->__es.__trapno = vector;
  machine->__es.__err = error_code;
  machine->__ss = state;
  auto* const context = new ucontext_t{};
  context->uc_mcsize = sizeof(*machine);
  context->uc_mcontext = machine;
  return RecordedContext(context);
}

}  // namespace mach_double
