// What the kernel says about a thread of this process.
#ifndef TESTS_RTC_BASE_THREAD_STATE_H_
#define TESTS_RTC_BASE_THREAD_STATE_H_

#include <cstdint>

namespace oru_test {

// Returns once thread `tid` sleeps (not merely waits for a processor); a test failure after 30 s.
void AwaitSleeping(uint32_t tid);

}  // namespace oru_test

#endif  // TESTS_RTC_BASE_THREAD_STATE_H_
