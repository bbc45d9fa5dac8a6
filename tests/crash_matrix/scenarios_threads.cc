// Several threads crash, or wait while one crashes.
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/crash_matrix/scenario.h"
#include "tests/crash_matrix/waiting_threads.h"

namespace crash_test {
namespace {

constexpr int kTogether = 20;

std::atomic<bool> sInCallback{false};
std::atomic<int> sRefused{0};

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
  std::atomic<int> waiting{kTogether};
  std::vector<std::thread> threads;
  threads.reserve(kTogether);
  for (int i = 0; i < kTogether; ++i) {
    threads.emplace_back([&waiting] {
      --waiting;
      while (waiting > 0) {
      }
      OruRTCScenario(WriteToNull);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// The log of refused crashes alone.
void RefusedSink(CrashHandler::CrashHandlerLogLevel level, const char* /*tag*/,
                 const char* /*file*/, int /*line*/, char* message) {
  if (level != CrashHandler::kCrashLogError) return;
  const std::string line = std::string(message) + "\n";
  // In one piece, as other threads write, too.
  Require(write(STDERR_FILENO, line.data(), line.size()) == static_cast<ssize_t>(line.size()));
  ++sRefused;
}

void TwentyThreadsFaultAndTheCallbackAwaitsAll() {
  Handler()->SetDebugLogSinkCallback(RefusedSink);
  Callback([](void*, CrashType) {
    while (sRefused < kTogether - 1) SleepMs(1);
  });
  TwentyThreadsFault();
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
      SCENARIO(TwentyThreadsFaultAndTheCallbackAwaitsAll),
      SCENARIO(TwentyThreadsFaultAndTheCallbackHangs),
      SCENARIO(TwentyThreadsFaultBesideAHundredWaiting),
      SCENARIO(FaultBesideTwoHundredWaitingThreads),
      SCENARIO(FaultBesideFiveHundredThreads),
  };
}

}  // namespace crash_test
