#include "examples/host_app/crash_deeds.h"

#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <thread>

// These functions are wrong on purpose; a sanitizer must not stop them before the signal comes.
#define DEED __attribute__((noinline, no_sanitize("address", "undefined", "thread")))

namespace host_app {
namespace {

constexpr int kRecursionFrame = 4096;

DEED void WriteToNull() {
  int* volatile nowhere = nullptr;
  *nowhere = 1;
}

DEED void ReadWildPointer() {
  const volatile int* wild = reinterpret_cast<const int*>(uintptr_t{0x5a5a5a5a5a5a5a5a});
  printf("%d\n", *wild);
}

DEED void DivideByZero() {
  volatile int number = 100;
  volatile int zero = 0;
  printf("%d\n", number / zero);
  // Not every processor objects (arm64 gives 0): there the signal comes by itself.
  raise(SIGFPE);
}

DEED void ExecuteIllegalInstruction() { __builtin_trap(); }

// A mapped file that is cut under the mapping.
DEED void ReadTruncatedMapping() {
  FILE* file = tmpfile();
  const size_t size = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  if (file == nullptr || ftruncate(fileno(file), static_cast<off_t>(size)) != 0) return;
  const auto* bytes = static_cast<const volatile char*>(
      mmap(nullptr, size, PROT_READ, MAP_SHARED, fileno(file), 0));
  if (ftruncate(fileno(file), 0) != 0) return;
  printf("%d\n", bytes[0]);
}

DEED void HitBreakpoint() { __builtin_debugtrap(); }

DEED void WriteToBrokenPipe() {
  int ends[2];
  if (pipe(ends) != 0) return;
  close(ends[0]);
  if (write(ends[1], "x", 1) < 0) perror("host_app: write to a broken pipe");
  close(ends[1]);
}

DEED void RaiseBadSystemCall() { raise(SIGSYS); }

DEED int RecurseForEver(int depth) {
  if (depth < 0) return 0;
  volatile char frame[kRecursionFrame];
  frame[0] = static_cast<char>(depth);
  return RecurseForEver(depth + 1) + frame[0];
}

DEED void OverflowStack() { printf("%d\n", RecurseForEver(0)); }

DEED void ThrowStandardException() { throw std::runtime_error("nobody catches this"); }

DEED void ExhaustMemory() {
  volatile size_t too_much = SIZE_MAX / 4;
  volatile char* memory = new char[too_much];
  memory[0] = 1;
}

// The first is survived; the second finds that a crash was reported already.
DEED void CrashTwice() {
  WriteToBrokenPipe();
  WriteToNull();
}

DEED void CrashTogether(int count) {
  std::atomic<int> waiting{count};
  std::vector<std::thread> threads;
  threads.reserve(static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&waiting] {
      --waiting;
      while (waiting.load() > 0) std::this_thread::yield();
      WriteToNull();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

struct NamedDeed {
  const char* name;
  void (*deed)();
};

constexpr char kManyThreads[] = "many-threads";

constexpr NamedDeed kDeeds[] = {
    {"segv", WriteToNull},
    {"wild", ReadWildPointer},
    {"abort", abort},
    {"fpe", DivideByZero},
    {"ill", ExecuteIllegalInstruction},
    {"bus", ReadTruncatedMapping},
    {"trap", HitBreakpoint},
    {"pipe", WriteToBrokenPipe},
    {"sys", RaiseBadSystemCall},
    {"stack-overflow", OverflowStack},
    {"exception", RaiseException},
    {"cpp-throw", ThrowStandardException},
    {"new-failure", ExhaustMemory},
    {"twice", CrashTwice},
};

}  // namespace

const std::vector<std::string>& CrashDeedNames() {
  static const auto* const names = [] {
    auto* list = new std::vector<std::string>;
    for (const NamedDeed& entry : kDeeds) list->push_back(entry.name);
    list->push_back(kManyThreads);
    return list;
  }();
  return *names;
}

bool DoCrashDeed(const std::string& name, int threads) {
  if (name == kManyThreads) {
    CrashTogether(threads);
    return true;
  }
  for (const NamedDeed& entry : kDeeds) {
    if (name != entry.name) continue;
    entry.deed();
    return true;
  }
  return false;
}

}  // namespace host_app
