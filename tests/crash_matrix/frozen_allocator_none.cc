// For sanitizer builds, which bring an allocator of their own: nothing waits.
#include "tests/crash_matrix/frozen_allocator.h"

namespace crash_test {

std::atomic<bool> allocator_frozen{false};

}  // namespace crash_test
