// Inside the stand-in: which call is to fail now.
#ifndef TESTS_MACH_DOUBLE_FAILURES_H_
#define TESTS_MACH_DOUBLE_FAILURES_H_

#include <optional>

#include "tests/mach_double/mach_double.h"

namespace mach_double {

// Counts the call; the code it must fail with, or nothing.
std::optional<int> FailureOf(Call call);

// Around a fork, so that the child does not inherit the lock of a thread that it does not have.
void LockFailures();
void UnlockFailures();

}  // namespace mach_double

#endif  // TESTS_MACH_DOUBLE_FAILURES_H_
