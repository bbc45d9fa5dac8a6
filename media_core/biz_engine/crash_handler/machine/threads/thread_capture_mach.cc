#include "media_core/biz_engine/crash_handler/machine/threads/thread_capture.h"
#include "media_core/biz_engine/crash_handler/machine/threads/thread_state_mach.h"

namespace CrashHandler::machine {

bool fillThreadStateIntoMachineContext(ThreadNumber number, Registers* registers) {
  return ReadThreadState(number, registers);
}

ThreadCapture::ThreadCapture(const Precaution& precaution) : precaution_(precaution) {}

ThreadCapture::~ThreadCapture() = default;

void ThreadCapture::Visit(const ThreadNumber* numbers, size_t count, ThreadVisitor visit,
                          void* context) {
  for (size_t i = 0; i < count; ++i) {
    Registers registers;
    const bool read = fillThreadStateIntoMachineContext(numbers[i], &registers);
    visit(context, {i, read ? &registers : nullptr, KnownRegisters::kAll});
  }
}

}  // namespace CrashHandler::machine
