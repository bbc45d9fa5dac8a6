#include "tests/rtc_base/thread_state.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/platform.h"

namespace oru_test {

void AwaitSleeping(uint32_t tid) {
  constexpr int kLooks = 30000;
  int asleep = 0;
  for (int look = 0; look < kLooks; ++look) {
    // Twice in a row: a thread that was just between two steps is not asleep.
    asleep = IsThreadAsleep(tid) ? asleep + 1 : 0;
    if (asleep == 2) {
      return;
    }
    usleep(1000);
  }
  ADD_FAILURE() << "thread " << tid << " did not fall asleep";
}

}  // namespace oru_test
