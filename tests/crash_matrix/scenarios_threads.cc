// Several threads crash, or wait while one crashes.
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "media_core/biz_engine/crash_handler/machine/threads/call_on_stack.h"
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

constexpr int kBusy = 400;

// As many as a host may have, and at once each wants a processor for good.
SCENARIO(FaultBesideBusyThreads) {
  static std::mutex mutex;
  static std::condition_variable all_busy;
  static bool busy = false;
  for (int i = 0; i < kBusy; ++i) {
    std::thread([] {
      std::unique_lock<std::mutex> lock(mutex);
      all_busy.wait(lock, [] { return busy; });
      lock.unlock();
      Spin();
    }).detach();
  }
  {
    const std::lock_guard<std::mutex> lock(mutex);
    busy = true;
  }
  all_busy.notify_all();
  WriteToNull();
}

std::atomic<bool> sSpins{false};

// Needs next to nothing of the stack below it.
CHILD_FUNCTION void SpinForEver(void* /*unused*/) {
  sSpins = true;
  Spin();
}

// Starts a thread that runs for ever, with a kibibyte above the end of its stack.
void StartCrampedThread() {
  constexpr size_t kGuard = size_t{64} << 10;
  std::thread([] {
    void* const memory =
        mmap(nullptr, 2 * kGuard, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    Require(memory != MAP_FAILED && mprotect(memory, kGuard, PROT_NONE) == 0);
    char* const top = static_cast<char*>(memory) + kGuard + 1024;
    CrashHandler::machine::OruCallOnStack(top, SpinForEver, nullptr);
  }).detach();
  while (!sSpins) SleepMs(1);
}

SCENARIO(AbortBesideACrampedThread) {
  StartCrampedThread();
  abort();
}

SCENARIO(AbortBesideACrampedThreadAndTheCallbackHangs) {
  StartCrampedThread();
  Callback([](void*, CrashType) { SleepForEver(); });
  abort();
}

SCENARIO(SecondThreadFaults) {
  Callback(SlowCallback);
  std::thread second([] {
    AwaitCallback();
    DivideByZero();
  });
  WriteToNull();
  second.join();
}

SCENARIO(SecondThreadAborts) {
  Callback(SlowCallback);
  std::thread second([] {
    AwaitCallback();
    abort();
  });
  WriteToNull();
  second.join();
}

SCENARIO(SecondThreadRaises) {
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

SCENARIO(TwentyThreadsFault) {
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

SCENARIO(TwentyThreadsFaultAndTheCallbackAwaitsAll) {
  Handler()->SetDebugLogSinkCallback(RefusedSink);
  Callback([](void*, CrashType) {
    while (sRefused < kTogether - 1) SleepMs(1);
  });
  TwentyThreadsFault();
}

SCENARIO(TwentyThreadsFaultAndTheCallbackHangs) {
  Callback([](void*, CrashType) { SleepForEver(); });
  TwentyThreadsFault();
}

SCENARIO(TwentyThreadsFaultBesideAHundredWaiting) {
  StartWaitingThreads(25);
  TwentyThreadsFault();
}

// The process is still there, but not by the number of its first thread.
bool HasMainThread() {
  char byte = 0;
  const iovec one = {&byte, 1};
  return process_vm_readv(getpid(), &one, 1, &one, 1, 0) >= 0 || errno != ESRCH;
}

// As by pthread_exit, without its way through the frames below.
SCENARIO(FaultAfterTheMainThreadHasEnded) {
  std::thread([] {
    while (HasMainThread()) SleepMs(1);
    OruRTCScenario(WriteToNull);
  }).detach();
  syscall(SYS_exit, 0);
}

SCENARIO(FaultBesideTwoHundredWaitingThreads) {
  StartWaitingThreads(50);
  WriteToNull();
}

SCENARIO(FaultBesideFiveHundredThreads) {
  StartWaitingThreads(125);
  WriteToNull();
}

}  // namespace

}  // namespace crash_test
