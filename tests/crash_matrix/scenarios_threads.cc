// Several threads crash, or wait while one crashes.
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "tests/crash_matrix/scenario.h"
#include "tests/crash_matrix/waiting_threads.h"

namespace crash_test {
namespace {

std::atomic<bool> sInCallback{false};

void AwaitCallback() {
  while (!sInCallback) SleepMs(1);
}

// A callback that takes its time, so that other threads crash meanwhile.
void SlowCallback(void*, CrashType) {
  sInCallback = true;
  SleepMs(300);
}

void SecondThreadFaults() {
  Callback(SlowCallback);
  std::thread second([] {
    AwaitCallback();
    DivideByZero();
  });
  WriteToNull();
  second.join();
}

void SecondThreadAborts() {
  Callback(SlowCallback);
  std::thread second([] {
    AwaitCallback();
    abort();
  });
  WriteToNull();
  second.join();
}

void SecondThreadRaises() {
  Callback(SlowCallback);
  std::thread second([] {
    AwaitCallback();
    raise(SIGPIPE);
    if (write(STDERR_FILENO, "raised and went on\n", 19) < 0) _exit(99);
    SleepForEver();
  });
  WriteToNull();
  second.join();
}

void TwentyThreadsFault() {
  std::atomic<int> waiting{20};
  std::vector<std::thread> threads;
  threads.reserve(20);
  for (int i = 0; i < 20; ++i) {
    threads.emplace_back([&waiting] {
      --waiting;
      while (waiting > 0) {
      }
      OruRTCScenario(WriteToNull);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

void TwentyThreadsFaultAndTheCallbackHangs() {
  Callback([](void*, CrashType) { SleepForEver(); });
  TwentyThreadsFault();
}

void TwentyThreadsFaultBesideAHundredWaiting() {
  StartWaitingThreads(25);
  TwentyThreadsFault();
}

void FaultBesideTwoHundredWaitingThreads() {
  StartWaitingThreads(50);
  WriteToNull();
}

void FaultBesideFiveHundredThreads() {
  StartWaitingThreads(125);
  WriteToNull();
}

}  // namespace

std::vector<Scenario> ThreadScenarios() {
  return {
      SCENARIO(SecondThreadFaults),
      SCENARIO(SecondThreadAborts),
      SCENARIO(SecondThreadRaises),
      SCENARIO(TwentyThreadsFault),
      SCENARIO(TwentyThreadsFaultAndTheCallbackHangs),
      SCENARIO(TwentyThreadsFaultBesideAHundredWaiting),
      SCENARIO(FaultBesideTwoHundredWaitingThreads),
      SCENARIO(FaultBesideFiveHundredThreads),
  };
}

}  // namespace crash_test
