#include "tests/neighbours/neighbours.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace neighbours {
namespace {

using Handler = void (*)(int signo, siginfo_t* info, void* context);

constexpr int kFatal[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP};

// What was there before; indexed by signal.
struct sigaction previous[NSIG];

void Take(int signo, Handler handler, unsigned flags) {
  struct sigaction action = {};
  action.sa_sigaction = handler;
  action.sa_flags = static_cast<int>(flags);
  sigemptyset(&action.sa_mask);
  sigaction(signo, &action, &previous[signo]);
}

void TakeFatal(Handler handler, unsigned flags) {
  for (const int signo : kFatal) Take(signo, handler, flags);
}

void RestoreAll() {
  for (const int signo : kFatal) sigaction(signo, &previous[signo], nullptr);
}

bool CallPrevious(int signo, siginfo_t* info, void* context) {
  const struct sigaction& before = previous[signo];
  if ((before.sa_flags & SA_SIGINFO) == 0 || before.sa_sigaction == nullptr) return false;
  before.sa_sigaction(signo, info, context);
  return true;
}

// ---- A reporter with a small alternate stack and its dump right below it ----

constexpr size_t kSmallStack = size_t{8} << 10;
constexpr size_t kDump = size_t{16} << 10;
constexpr unsigned char kDumpByte = 0xd5;

// No page between them is closed.
unsigned char* small_memory = nullptr;

bool DumpIsWhole() {
  for (size_t i = 0; i < kDump; ++i) {
    if (small_memory[i] != kDumpByte) return false;
  }
  return true;
}

void WriteDump(int signo, siginfo_t* info, void* context) {
  Say(DumpIsWhole() ? "the dump is whole" : "the dump is lost");
  RestoreAll();
  if (!CallPrevious(signo, info, context)) raise(signo);
}

void InstallOnSmallStack() {
  small_memory = static_cast<unsigned char*>(mmap(
      nullptr, kDump + kSmallStack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  memset(small_memory, kDumpByte, kDump);
  stack_t stack = {};
  stack.ss_sp = small_memory + kDump;
  stack.ss_size = kSmallStack;
  sigaltstack(&stack, nullptr);
  TakeFatal(WriteDump, SA_SIGINFO | SA_ONSTACK);
}

// ---- A reporter that raises the signal again and then leaves ----

void RaiseAgain(int signo, siginfo_t* /*info*/, void* /*context*/) {
  Say("raised again");
  raise(signo);
  _exit(1);
}

void InstallRaising() {
  TakeFatal(RaiseAgain, SA_SIGINFO | SA_NODEFER | SA_RESETHAND | SA_ONSTACK);
}

// ---- A reporter that knows nobody but itself ----

void EndAlone(int signo, siginfo_t* /*info*/, void* /*context*/) {
  Say("ended alone");
  signal(signo, SIG_DFL);
  raise(signo);
}

void InstallAlone() { TakeFatal(EndAlone, SA_SIGINFO); }

// ---- A runtime that calls who was there before, on a stack of its own ----

constexpr size_t kRuntimeStack = size_t{256} << 10;

ucontext_t interrupted;
ucontext_t runtime;
struct {
  int signo;
  siginfo_t* info;
  void* context;
} forwarded;

void ForwardHere() { CallPrevious(forwarded.signo, forwarded.info, forwarded.context); }

void ForwardOnOwnStack(int signo, siginfo_t* info, void* context) {
  Say("forwarded");
  forwarded = {signo, info, context};
  static char* const memory = static_cast<char*>(
      mmap(nullptr, kRuntimeStack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  getcontext(&runtime);
  runtime.uc_stack.ss_sp = memory;
  runtime.uc_stack.ss_size = kRuntimeStack;
  runtime.uc_link = &interrupted;
  makecontext(&runtime, ForwardHere, 0);
  swapcontext(&interrupted, &runtime);
}

void InstallForwarding() { TakeFatal(ForwardOnOwnStack, SA_SIGINFO | SA_ONSTACK); }

// ---- A runtime that faults in normal work and knows its faults by their place ----

extern "C" const char neighbour_load[];
extern "C" const char neighbour_loaded[];

void RepairOrForward(int signo, siginfo_t* info, void* context) {
  greg_t* const registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
  if (registers[REG_RIP] == static_cast<greg_t>(reinterpret_cast<uintptr_t>(neighbour_load))) {
    registers[REG_RIP] = static_cast<greg_t>(reinterpret_cast<uintptr_t>(neighbour_loaded));
    registers[REG_RAX] = 1;
    return;
  }
  if (!CallPrevious(signo, info, context)) EndAlone(signo, info, context);
}

void InstallBenign() { Take(SIGSEGV, RepairOrForward, SA_SIGINFO | SA_ONSTACK); }

// ---- A runtime that handles every real-time signal ----

void NoteSignal(int /*signo*/, siginfo_t* /*info*/, void* /*context*/) {}

void InstallRealTime() {
  for (int signo = SIGRTMIN; signo <= SIGRTMAX; ++signo) {
    Take(signo, NoteSignal, SA_SIGINFO | SA_ONSTACK | SA_RESTART);
  }
}

constexpr Neighbour kAll[] = {
    {"SmallStack", InstallOnSmallStack}, {"RaisesAgain", InstallRaising},
    {"CallsNobody", InstallAlone},       {"Forwards", InstallForwarding},
    {"BenignFaults", InstallBenign},     {"RealTimeSignals", InstallRealTime},
};

}  // namespace

const Neighbour* Find(const char* name) {
  for (const Neighbour& neighbour : kAll) {
    if (strcmp(neighbour.name, name) == 0) return &neighbour;
  }
  static const std::vector<Neighbour> real = RealNeighbours();
  for (const Neighbour& neighbour : real) {
    if (strcmp(neighbour.name, name) == 0) return &neighbour;
  }
  return nullptr;
}

__attribute__((noinline)) bool RaiseBenignFault() {
  int64_t repaired = 0;
  const volatile char* const null = nullptr;
  asm volatile(
      ".globl neighbour_load\n"
      ".globl neighbour_loaded\n"
      "neighbour_load: movb (%1), %%al\n"
      "neighbour_loaded:\n"
      : "+a"(repaired)
      : "r"(null)
      : "memory");
  return repaired == 1;
}

bool IsBenignInstruction(const void* instruction) { return instruction == neighbour_load; }

}  // namespace neighbours
