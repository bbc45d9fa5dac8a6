// An allocator whose lock can be held on purpose. Linked into a program, it takes the place of
// malloc and its like.
#ifndef TESTS_CRASH_MATRIX_FROZEN_ALLOCATOR_H_
#define TESTS_CRASH_MATRIX_FROZEN_ALLOCATOR_H_

#include <atomic>

namespace crash_test {

// While it is set, every allocation and release waits, on whichever thread.
extern std::atomic<bool> allocator_frozen;

}  // namespace crash_test

#endif  // TESTS_CRASH_MATRIX_FROZEN_ALLOCATOR_H_
