// Threads that wait in four ways, each in a function whose name tells.
#ifndef TESTS_CRASH_MATRIX_WAITING_THREADS_H_
#define TESTS_CRASH_MATRIX_WAITING_THREADS_H_

namespace crash_test {

// Starts `each` threads a kind, for good: "condition-N" in WaitsForACondition, "sleep-N" in
// WaitsAsleep, "read-N" in WaitsToRead and "lock-N" in WaitsForALock, with N from 0. On return all
// of them are in those functions.
void StartWaitingThreads(int each);

}  // namespace crash_test

#endif  // TESTS_CRASH_MATRIX_WAITING_THREADS_H_
