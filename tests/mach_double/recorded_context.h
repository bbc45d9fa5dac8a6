// Signal contexts as the platform hands them to a handler.
#ifndef TESTS_MACH_DOUBLE_RECORDED_CONTEXT_H_
#define TESTS_MACH_DOUBLE_RECORDED_CONTEXT_H_

#include <mach/thread_status.h>

#include <cstdint>
#include <memory>

namespace mach_double {

struct ContextDeleter {
  void operator()(void* context) const;
};
using RecordedContext = std::unique_ptr<void, ContextDeleter>;

// `vector` is what brought the thread into the kernel last, with the processor's code for it.
RecordedContext RecordContext(uint16_t vector, const x86_thread_state64_t& state,
                              uint32_t error_code = 0);

}  // namespace mach_double

#endif  // TESTS_MACH_DOUBLE_RECORDED_CONTEXT_H_
