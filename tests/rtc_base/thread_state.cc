#include "tests/rtc_base/thread_state.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>

namespace oru_test {
namespace {

// The state letter, which follows the name in parentheses.
char StateOf(uint32_t tid) {
  std::ifstream file("/proc/self/task/" + std::to_string(tid) + "/stat");
  std::string text;
  std::getline(file, text);
  const size_t end_of_name = text.rfind(") ");
  return end_of_name == std::string::npos ? '?' : text[end_of_name + 2];
}

}  // namespace

void AwaitSleeping(uint32_t tid) {
  constexpr int kLooks = 30000;
  int asleep = 0;
  for (int look = 0; look < kLooks; ++look) {
    // Twice in a row: a thread that was just between two steps is not asleep.
    asleep = StateOf(tid) == 'S' ? asleep + 1 : 0;
    if (asleep == 2) {
      return;
    }
    usleep(1000);
  }
  ADD_FAILURE() << "thread " << tid << " did not fall asleep; state " << StateOf(tid);
}

}  // namespace oru_test
