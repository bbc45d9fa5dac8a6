#include "tests/crash_matrix/waiting_threads.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#define WAITING_FUNCTION extern "C" __attribute__((noinline, visibility("default"))) void

namespace {

std::atomic<int> sWaiting{0};
int sPipe[2];

// Threads outlive everything: what they use is never destroyed.
std::mutex& Gate() {
  static auto* const gate = new std::mutex;
  return *gate;
}

}  // namespace

WAITING_FUNCTION WaitsForACondition() {
  static auto* const mutex = new std::mutex;
  static auto* const never = new std::condition_variable;
  std::unique_lock<std::mutex> lock(*mutex);
  ++sWaiting;
  never->wait(lock, [] { return false; });
}

WAITING_FUNCTION WaitsAsleep() {
  ++sWaiting;
  for (;;) sleep(1000);
}

WAITING_FUNCTION WaitsToRead() {
  ++sWaiting;
  char byte = 0;
  while (read(sPipe[0], &byte, 1) != 1) {
  }
}

WAITING_FUNCTION WaitsForALock() {
  ++sWaiting;
  const std::lock_guard<std::mutex> lock(Gate());
}

namespace crash_test {

void StartWaitingThreads(int each) {
  const struct {
    const char* name;
    void (*wait)();
  } kinds[] = {{"condition", WaitsForACondition},
               {"sleep", WaitsAsleep},
               {"read", WaitsToRead},
               {"lock", WaitsForALock}};
  if (pipe(sPipe) != 0) _exit(98);
  Gate().lock();
  for (const auto& kind : kinds) {
    for (int i = 0; i < each; ++i) {
      std::thread([kind, i] {
        pthread_setname_np(pthread_self(), (kind.name + ("-" + std::to_string(i))).c_str());
        kind.wait();
      }).detach();
    }
  }
  while (sWaiting < 4 * each) usleep(1000);
}

}  // namespace crash_test
