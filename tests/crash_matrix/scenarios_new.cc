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

CHILD_FUNCTION void NewInALimit() {
  LimitAddressSpace();
  NewUntilItFails(kPiece);
}

// To the last byte.
CHILD_FUNCTION void LastByteInALimit() {
  LimitAddressSpace();
  NewUntilItFails(24);
}

CHILD_FUNCTION void UncaughtBadAllocInALimit() {
  LimitAddressSpace();
  for (;;) New(kPiece);
}

// The report's own memory runs out, which leaves its handler by an exception.
CHILD_FUNCTION void NewWhoseReportFindsNoMemory() {
  const std::string large(size_t{12} << 20, 'x');
  CrashHandler::CrashTraceInfo info = {};
  info.extraInfo = large.c_str();
  Handler()->SetTraceInfo(info);
  LimitAddressSpace(kPiece);
  FailAnAllocation();
  Require(DeadlineIsOver());
}

CHILD_FUNCTION void HugeNew() { NewUntilItFails(kTooMuch); }

CHILD_FUNCTION void UncaughtHugeNew() { New(kTooMuch); }

CHILD_FUNCTION void HugeNothrowNew() {
  if (NewNothrow(kTooMuch) != nullptr) _exit(kScenarioFailed);
}

CHILD_FUNCTION void NothrowNewInALimit() {
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
CHILD_FUNCTION void NewAfterAFreeingHandler() {
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

CHILD_FUNCTION void NewAfterAThrowingHandler() {
  InstallAfter([] { throw std::bad_alloc(); });
  LimitAddressSpace();
  NewUntilItFails(kPiece);
}

CHILD_FUNCTION void NewAfterAnAbortingHandler() {
  InstallAfter(abort);
  LimitAddressSpace();
  NewUntilItFails(kPiece);
}

CHILD_FUNCTION void NewAfterAnExitingHandler() {
  InstallAfter([] { _exit(5); });
  LimitAddressSpace();
  NewUntilItFails(kPiece);
}

CHILD_FUNCTION void NewAfterAFaultingHandler() {
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

CHILD_FUNCTION void HugeNewOnThreads() { OnThreads(HugeNew, false); }

// Pieces larger than what is set aside for the report: no thread takes that away.
CHILD_FUNCTION void NewInALimitOnThreads() {
  OnThreads([] { NewUntilItFails(kLargePiece); }, true);
}

CHILD_FUNCTION void UncaughtHugeNewOnThreads() { OnThreads(UncaughtHugeNew, false); }

CHILD_FUNCTION void HugeNewAndTheCallbackHangs() {
  Callback([](void*, CrashType) { SleepForEver(); });
  HugeNew();
}

// What is set aside for the report's allocations, the other threads take.
CHILD_FUNCTION void SmallNewInALimitOnThreads() {
  OnThreads([] { NewUntilItFails(kPiece); }, true);
}

// Every thread goes on to fault.
CHILD_FUNCTION void FaultAfterNewInALimitOnThreads() {
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
CHILD_FUNCTION void FaultWithoutMemory() {
  MallocUntilItFails();
  WriteToNull();
}

CHILD_FUNCTION void AbortWithoutMemory() {
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
CHILD_FUNCTION void FaultWithoutMemoryBesideDeepThreads() {
  StartDeepThreads(600);
  MallocUntilItFails();
  WriteToNull();
}

// The list of images that was read at the installation is not true any more.
CHILD_FUNCTION void FaultWithoutMemoryAfterOpeningALibrary() {
  Require(dlopen(OPENED_LIBRARY, RTLD_NOW) != nullptr);
  StartDeepThreads(600);
  MallocUntilItFails();
  WriteToNull();
}

// A longer one than the memory set aside holds.
CHILD_FUNCTION void FaultWithoutMemoryBesideManyDeepThreads() {
  StartDeepThreads(1400);
  MallocUntilItFails();
  WriteToNull();
}

}  // namespace

std::vector<Scenario> NewScenarios() {
  return {
      SCENARIO(NewInALimit),
      SCENARIO(LastByteInALimit),
      SCENARIO(UncaughtBadAllocInALimit),
      SCENARIO(NewWhoseReportFindsNoMemory),
      SCENARIO(HugeNew),
      SCENARIO(UncaughtHugeNew),
      SCENARIO(HugeNothrowNew),
      SCENARIO(NothrowNewInALimit),
      SCENARIO(NewAfterAFreeingHandler),
      SCENARIO(NewAfterAThrowingHandler),
      SCENARIO(NewAfterAnAbortingHandler),
      SCENARIO(NewAfterAnExitingHandler),
      SCENARIO(NewAfterAFaultingHandler),
      SCENARIO(HugeNewOnThreads),
      SCENARIO(NewInALimitOnThreads),
      SCENARIO(HugeNewAndTheCallbackHangs),
      SCENARIO(SmallNewInALimitOnThreads),
      SCENARIO(UncaughtHugeNewOnThreads),
      SCENARIO(FaultAfterNewInALimitOnThreads),
      SCENARIO(FaultWithoutMemory),
      SCENARIO(AbortWithoutMemory),
      SCENARIO(FaultWithoutMemoryAfterOpeningALibrary),
      SCENARIO(FaultWithoutMemoryBesideDeepThreads),
      SCENARIO(FaultWithoutMemoryBesideManyDeepThreads),
  };
}

}  // namespace crash_test
