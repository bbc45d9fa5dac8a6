// Memory that runs out: under a limit on the address space set after the installation, or by a
// request that nothing can fill; with and without a new-handler that was there before.
#include <dlfcn.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

constexpr size_t kRoom = size_t{64} << 20;
constexpr size_t kPiece = size_t{1} << 20;
constexpr size_t kLargePiece = size_t{16} << 20;
constexpr size_t kTooMuch = SIZE_MAX / 4;
constexpr int kThreads = 8;

char* sBallast = nullptr;

size_t AddressSpaceInUse() {
  FILE* file = fopen("/proc/self/statm", "re");
  size_t pages = 0;
  if (file == nullptr || fscanf(file, "%zu", &pages) != 1) _exit(kScenarioFailed);
  fclose(file);
  return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

void LimitAddressSpace(size_t room = kRoom) {
  const size_t bytes = AddressSpaceInUse() + room;
  const rlimit limit = {bytes, bytes};
  if (setrlimit(RLIMIT_AS, &limit) != 0) _exit(kScenarioFailed);
}

CHILD_FUNCTION char* New(size_t size) {
  volatile size_t wanted = size;
  char* volatile memory = new char[wanted];
  return memory;
}

CHILD_FUNCTION char* NewNothrow(size_t size) {
  volatile size_t wanted = size;
  char* volatile memory = new (std::nothrow) char[wanted];
  return memory;
}

CHILD_FUNCTION void NewUntilItFails(size_t size) {
  try {
    for (;;) New(size);
  } catch (const std::bad_alloc&) {
    fputs("no memory\n", stderr);
  }
}

SCENARIO(NewInALimit) {
  LimitAddressSpace();
  NewUntilItFails(kPiece);
}

// To the last byte.
SCENARIO(LastByteInALimit) {
  LimitAddressSpace();
  NewUntilItFails(24);
}

SCENARIO(UncaughtBadAllocInALimit) {
  LimitAddressSpace();
  for (;;) New(kPiece);
}

// The report's own memory runs out, which leaves its handler by an exception.
SCENARIO(NewWhoseReportFindsNoMemory) {
  const std::string large(size_t{12} << 20, 'x');
  CrashHandler::CrashTraceInfo info = {};
  info.extraInfo = large.c_str();
  Handler()->SetTraceInfo(info);
  LimitAddressSpace(kPiece);
  FailAnAllocation();
  Require(DeadlineIsOver());
}

SCENARIO(HugeNew) { NewUntilItFails(kTooMuch); }

SCENARIO(UncaughtHugeNew) { New(kTooMuch); }

SCENARIO(HugeNothrowNew) {
  if (NewNothrow(kTooMuch) != nullptr) _exit(kScenarioFailed);
}

SCENARIO(NothrowNewInALimit) {
  LimitAddressSpace();
  while (NewNothrow(kPiece) != nullptr) {
  }
}

void InstallAfter(std::new_handler predecessor) {
  Handler()->UnInstallCrashHandler();
  std::set_new_handler(predecessor);
  Handler()->InstallCrashHandler();
}

// A host's reserve, given back once.
SCENARIO(NewAfterAFreeingHandler) {
  sBallast = New(kRoom / 2);
  InstallAfter([] {
    if (sBallast == nullptr) throw std::bad_alloc();
    delete[] sBallast;
    sBallast = nullptr;
  });
  LimitAddressSpace();
  while (sBallast != nullptr) New(kPiece);
  NewUntilItFails(kPiece);
}

SCENARIO(NewAfterAThrowingHandler) {
  InstallAfter([] { throw std::bad_alloc(); });
  LimitAddressSpace();
  NewUntilItFails(kPiece);
}

SCENARIO(NewAfterAnAbortingHandler) {
  InstallAfter(abort);
  LimitAddressSpace();
  NewUntilItFails(kPiece);
}

SCENARIO(NewAfterAnExitingHandler) {
  InstallAfter([] { _exit(5); });
  LimitAddressSpace();
  NewUntilItFails(kPiece);
}

SCENARIO(NewAfterAFaultingHandler) {
  InstallAfter(WriteToNull);
  LimitAddressSpace();
  NewUntilItFails(kPiece);
}

// All at once, on threads that are there before the memory runs out.
void OnThreads(void (*run)(), bool limit) {
  std::atomic<int> waiting{kThreads + 1};
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&waiting, run] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      OruRTCScenario(run);
    });
  }
  while (waiting > 1) std::this_thread::yield();
  if (limit) LimitAddressSpace();
  --waiting;
  for (std::thread& thread : threads) thread.join();
}

SCENARIO(HugeNewOnThreads) { OnThreads(HugeNew, false); }

// Pieces larger than what is set aside for the report: no thread takes that away.
SCENARIO(NewInALimitOnThreads) {
  OnThreads([] { NewUntilItFails(kLargePiece); }, true);
}

SCENARIO(UncaughtHugeNewOnThreads) { OnThreads(UncaughtHugeNew, false); }

SCENARIO(HugeNewAndTheCallbackHangs) {
  Callback([](void*, CrashType) { SleepForEver(); });
  HugeNew();
}

// What is set aside for the report's allocations, the other threads take.
SCENARIO(SmallNewInALimitOnThreads) {
  OnThreads([] { NewUntilItFails(kPiece); }, true);
}

// Every thread goes on to fault.
SCENARIO(FaultAfterNewInALimitOnThreads) {
  OnThreads(
      [] {
        NewUntilItFails(kLargePiece);
        WriteToNull();
      },
      true);
}

CHILD_FUNCTION bool Malloc(size_t size) {
  void* volatile memory = malloc(size);
  return memory != nullptr;
}

void MallocUntilItFails() {
  LimitAddressSpace();
  for (size_t size = kPiece; size >= 16; size /= 2) {
    while (Malloc(size)) {
    }
  }
}

// What malloc could not give is used all the same.
SCENARIO(FaultWithoutMemory) {
  MallocUntilItFails();
  WriteToNull();
}

// All that the crash has given back is gone again.
SCENARIO(CallbackTakesAllMemoryAndHangs) {
  Callback([](void*, CrashType) {
    LimitAddressSpace(0);
    SleepForEver();
  });
  WriteToNull();
}

SCENARIO(AbortWithoutMemory) {
  MallocUntilItFails();
  abort();
}

// Each with more frames than a report prints.
constexpr int kDepth = 60;
constexpr size_t kSmallStack = size_t{64} << 10;

CHILD_FUNCTION void WaitDeepDown(int depth) {
  if (depth > 0) return WaitDeepDown(depth - 1);
  SleepForEver();
}

void StartDeepThreads(int count) {
  static std::atomic<int> started{0};
  pthread_attr_t attributes;
  Require(pthread_attr_init(&attributes) == 0);
  Require(pthread_attr_setstacksize(&attributes, kSmallStack) == 0);
  const auto wait = [](void*) -> void* {
    ++started;
    WaitDeepDown(kDepth);
    return nullptr;
  };
  for (int i = 0; i < count; ++i) {
    pthread_t thread;
    Require(pthread_create(&thread, &attributes, wait, nullptr) == 0);
  }
  while (started < count) SleepMs(1);
}

// A long report.
SCENARIO(FaultWithoutMemoryBesideDeepThreads) {
  StartDeepThreads(600);
  MallocUntilItFails();
  WriteToNull();
}

// The list of images that was read at the installation is not true any more.
SCENARIO(FaultWithoutMemoryAfterOpeningALibrary) {
  Require(dlopen(OPENED_LIBRARY, RTLD_NOW) != nullptr);
  StartDeepThreads(600);
  MallocUntilItFails();
  WriteToNull();
}

// A longer one than the memory set aside holds.
SCENARIO(FaultWithoutMemoryBesideManyDeepThreads) {
  StartDeepThreads(1400);
  MallocUntilItFails();
  WriteToNull();
}

}  // namespace

}  // namespace crash_test
