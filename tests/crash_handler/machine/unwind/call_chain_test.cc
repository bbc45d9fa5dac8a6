// Chains of real threads, by the platform's way of walking, with their symbols.
#include <execinfo.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <malloc.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/machine/threads/thread_capture.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

namespace CrashHandler::machine {

// Functions whose frames the tests look for: not inlined, and named plainly in the symbol table.
#define WAITS extern "C" __attribute__((noinline, used))

std::mutex sGate;
std::mutex sNeverFree;
std::condition_variable sGateChanged;
bool sGateOpen = false;
int sPipe[2];
std::atomic<int> sEntered{0};
std::atomic<int> sSink{0};

WAITS void WaitsInCondition() {
  std::unique_lock<std::mutex> lock(sGate);
  ++sEntered;
  sGateChanged.wait(lock, [] { return sGateOpen; });
  ++sSink;
}
WAITS void WaitsInSleep() {
  ++sEntered;
  for (;;) {
    usleep(10000);
    const std::lock_guard<std::mutex> lock(sGate);
    if (sGateOpen) return;
  }
}
WAITS void WaitsInRead() {
  ++sEntered;
  char byte;
  while (read(sPipe[0], &byte, 1) < 0) {
  }
  ++sSink;
}
WAITS void WaitsInLock() {
  ++sEntered;
  sNeverFree.lock();
  sNeverFree.unlock();
}

namespace {

struct NamedChain {
  CallChain chain;
  std::vector<std::string> names;

  bool Names(const std::string& name) const {
    for (const std::string& each : names) {
      if (each.find(name) != std::string::npos) return true;
    }
    return false;
  }
};

std::vector<NamedChain> ChainsOf(const std::vector<ThreadNumber>& numbers) {
  struct Context {
    StackWalker walker;
    std::vector<NamedChain> chains;
  } all;
  all.chains.resize(numbers.size());
  const auto visit = [](void* context, const ThreadLook& look) {
    auto* out = static_cast<Context*>(context);
    CallChain* chain = &out->chains[look.index].chain;
    if (look.registers != nullptr) return out->walker.Walk(*look.registers, look.known, chain);
    chain->length = 0;
    chain->status = ChainStatus::kNoThreadState;
    return true;
  };
  ThreadCapture().Visit(numbers.data(), numbers.size(), visit, &all);
  Symbolizer symbolizer;
  for (NamedChain& named : all.chains) {
    for (size_t i = 0; i < named.chain.length; ++i) {
      SymbolInformation record;
      symbolizer.ResolveOne(named.chain.entries[i] - (i == 0 ? 0 : 1), &record);
      named.names.emplace_back(record.dli_sname == nullptr ? "" : record.dli_sname);
    }
  }
  return std::move(all.chains);
}

TEST(CallChainTest, TwoHundredBlockedThreadsEachShowTheFunctionTheyWaitIn) {
  ASSERT_EQ(pipe(sPipe), 0);
  sNeverFree.lock();
  struct Kind {
    void (*function)();
    const char* name;
  };
  const Kind kinds[] = {{&WaitsInCondition, "WaitsInCondition"},
                        {&WaitsInSleep, "WaitsInSleep"},
                        {&WaitsInRead, "WaitsInRead"},
                        {&WaitsInLock, "WaitsInLock"}};
  std::vector<ThreadNumber> numbers(200);
  std::vector<std::thread> threads;
  std::atomic<int> started{0};
  for (size_t i = 0; i < numbers.size(); ++i) {
    threads.emplace_back([&, i] {
      numbers[i] = CurrentThreadNumber();
      ++started;
      kinds[i % 4].function();
    });
  }
  while (started < 200 || sEntered < 200) usleep(1000);
  const std::vector<NamedChain> chains = ChainsOf(numbers);
  for (size_t i = 0; i < chains.size(); ++i) {
    EXPECT_EQ(chains[i].chain.status, ChainStatus::kComplete) << i;
    EXPECT_TRUE(chains[i].Names(kinds[i % 4].name)) << i << " " << kinds[i % 4].name;
  }
  {
    const std::lock_guard<std::mutex> lock(sGate);
    sGateOpen = true;
  }
  sGateChanged.notify_all();
  sNeverFree.unlock();
  const std::string bytes(200, 'x');
  ASSERT_EQ(write(sPipe[1], bytes.data(), bytes.size()), 200);
  for (std::thread& thread : threads) thread.join();
}

// Makes the kernel refuse the call that memory is usually read with.
void ForbidMemoryCall() {
  struct sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_process_vm_readv, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const struct sock_fprog program = {sizeof(filter) / sizeof(filter[0]), filter};
  ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
  ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

TEST(CallChainTest, WhereTheSystemForbidsTheMemoryCallTheChainIsTheSame) {
  std::vector<NamedChain> chains;
  ForbidMemoryCall();
  char byte = 0;
  EXPECT_NE(mach_copyMem(nullptr, &byte, 1), 0);
  chains = ChainsOf({CurrentThreadNumber()});
  EXPECT_EQ(chains[0].chain.status, ChainStatus::kComplete);
  EXPECT_TRUE(chains[0].Names("ChainsOf"));
  EXPECT_TRUE(chains[0].Names("main"));
}

// Not among the tests for the thread sanitizer, which holds signals back while a thread reads.
TEST(CallChainTest, ASleepingReadIsNotInterrupted) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::atomic<ThreadNumber> number{0};
  ssize_t got = -1;
  std::thread reader([&] {
    number = CurrentThreadNumber();
    char byte;
    got = read(ends[0], &byte, 1);
  });
  while (number == 0) std::this_thread::yield();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(ChainsOf({number})[0].chain.status, ChainStatus::kComplete);
  }
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  reader.join();
  EXPECT_EQ(got, 1);
}

// The frames that the system's own backtrace finds, from this function's caller on.
extern "C" __attribute__((noinline)) void CompareWithBacktrace() {
  void* expected[64];
  const int expected_count = backtrace(expected, 64);
  const std::vector<NamedChain> chains = ChainsOf({CurrentThreadNumber()});
  const CallChain& chain = chains[0].chain;
  // Each begins with frames of its own means; this function's caller is the first common point.
  const auto caller = reinterpret_cast<uintptr_t>(__builtin_return_address(0));
  size_t at = 0;
  while (at < chain.length && chain.entries[at] != caller) ++at;
  int same = 0;
  while (same < expected_count && reinterpret_cast<uintptr_t>(expected[same]) != caller) ++same;
  ASSERT_LT(at, chain.length);
  ASSERT_LT(same, expected_count);
  for (; at < chain.length && same < expected_count; ++at, ++same) {
    EXPECT_EQ(chain.entries[at], reinterpret_cast<uintptr_t>(expected[same])) << same;
  }
  EXPECT_EQ(at, chain.length);
  EXPECT_EQ(same, expected_count - 1) << "only the outermost frame is left out";
}

TEST(CallChainTest, TheOwnChainIsThatOfTheSystemWithoutTheOutermostFrame) {
  CompareWithBacktrace();
}

CallChain sChainInHandler;

void WalkFromHandler(int, siginfo_t*, void*) {
  StackWalker walker;
  const ThreadNumber self = CurrentThreadNumber();
  const auto visit = [](void* context, const ThreadLook& look) {
    return static_cast<StackWalker*>(context)->Walk(*look.registers, look.known, &sChainInHandler);
  };
  ThreadCapture().Visit(&self, 1, visit, &walker);
}

std::vector<std::string> NamesOf(const CallChain& chain) {
  Symbolizer symbolizer;
  std::vector<std::string> names;
  for (size_t i = 0; i < chain.length; ++i) {
    SymbolInformation record;
    symbolizer.ResolveOne(chain.entries[i] - (i == 0 ? 0 : 1), &record);
    names.emplace_back(record.dli_sname == nullptr ? "" : record.dli_sname);
  }
  return names;
}

bool Contains(const std::vector<std::string>& names, const std::string& wanted) {
  for (const std::string& name : names) {
    if (name.find(wanted) != std::string::npos) return true;
  }
  return false;
}

extern "C" __attribute__((noinline)) void RaisesHere() {
  raise(SIGUSR2);
  ++sSink;
}

TEST(CallChainTest, AChainCrossesASignalHandlersFrame) {
  struct sigaction action = {};
  action.sa_sigaction = &WalkFromHandler;
  action.sa_flags = SA_SIGINFO;
  ASSERT_EQ(sigaction(SIGUSR2, &action, nullptr), 0);
  RaisesHere();
  const auto names = NamesOf(sChainInHandler);
  EXPECT_TRUE(Contains(names, "WalkFromHandler"));
  EXPECT_TRUE(Contains(names, "RaisesHere"));
  EXPECT_TRUE(Contains(names, "main"));
}

TEST(CallChainTest, AChainCrossesFromAnAlternateStackToTheOrdinaryOne) {
  ScratchMemory stack(256 * 1024);
  stack_t alternate = {};
  alternate.ss_sp = stack.data();
  alternate.ss_size = stack.size();
  stack_t previous = {};
  ASSERT_EQ(sigaltstack(&alternate, &previous), 0);
  struct sigaction action = {};
  action.sa_sigaction = &WalkFromHandler;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  ASSERT_EQ(sigaction(SIGUSR2, &action, nullptr), 0);
  RaisesHere();
  sigaltstack(&previous, nullptr);
  EXPECT_TRUE(Contains(NamesOf(sChainInHandler), "RaisesHere"));
}

// A function that faults at its first instruction, and one that ends in a call which does not
// return, with another function directly behind it.
extern "C" void FaultsAtOnce();
extern "C" void EndsInACall();
asm(R"(
    .text
    .type FaultsAtOnce, @function
FaultsAtOnce:
    .cfi_startproc
    ud2
    ret
    .cfi_endproc
    .size FaultsAtOnce, . - FaultsAtOnce
    .type EndsInACall, @function
EndsInACall:
    .cfi_startproc
    subq $8, %rsp
    .cfi_adjust_cfa_offset 8
    call FaultsAtOnce
    .cfi_endproc
    .size EndsInACall, . - EndsInACall
    .type FollowsBehind, @function
FollowsBehind:
    .cfi_startproc
    ret
    .cfi_endproc
    .size FollowsBehind, . - FollowsBehind
)");

sigjmp_buf sWayOut;

void WalkAndLeave(int number, siginfo_t* info, void* context) {
  WalkFromHandler(number, info, context);
  siglongjmp(sWayOut, 1);
}

extern "C" __attribute__((noinline)) void CallsTheFaultyOne(void (*function)()) {
  function();
  ++sSink;
}

std::vector<std::string> NamesAtFault(void (*function)()) {
  struct sigaction action = {};
  action.sa_sigaction = &WalkAndLeave;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGILL, &action, nullptr);
  sigaction(SIGSEGV, &action, nullptr);
  sigaction(SIGBUS, &action, nullptr);
  sChainInHandler.length = 0;
  if (sigsetjmp(sWayOut, 1) == 0) CallsTheFaultyOne(function);
  return NamesOf(sChainInHandler);
}

TEST(CallChainTest, AtAFunctionsFirstInstructionTheCallerIsFound) {
  const auto names = NamesAtFault(&FaultsAtOnce);
  EXPECT_TRUE(Contains(names, "CallsTheFaultyOne"));
  EXPECT_TRUE(Contains(names, "main"));
}

TEST(CallChainTest, AFunctionThatEndsInACallIsNamedAndNotTheOneBehindIt) {
  const auto names = NamesAtFault(&EndsInACall);
  EXPECT_TRUE(Contains(names, "EndsInACall"));
  EXPECT_FALSE(Contains(names, "FollowsBehind"));
  EXPECT_TRUE(Contains(names, "CallsTheFaultyOne"));
}

TEST(CallChainTest, AfterACallThroughAGarbagePointerTheCallerIsFound) {
  const auto names = NamesAtFault(reinterpret_cast<void (*)()>(0x1234567));
  EXPECT_TRUE(Contains(names, "CallsTheFaultyOne"));
  EXPECT_TRUE(Contains(names, "main"));
}

TEST(CallChainTest, AfterAJumpIntoDataTheCallerIsFound) {
  const auto names = NamesAtFault(reinterpret_cast<void (*)()>(&sSink));
  EXPECT_TRUE(Contains(names, "CallsTheFaultyOne"));
}

// Registers of a thread that stands at `ip` with the stack pointer at `stack`.
CallChain WalkFrom(uint64_t ip, const void* stack) {
  Registers registers = {};
  registers.rip = ip;
  registers.rsp = reinterpret_cast<uint64_t>(stack);
  StackWalker walker;
  CallChain chain;
  walker.Walk(registers, KnownRegisters::kAll, &chain);
  return chain;
}

TEST(CallChainTest, AnInstructionPointerOfZeroIsAFailure) {
  const uint64_t stack[64] = {};
  EXPECT_EQ(WalkFrom(0, stack).status, ChainStatus::kNoInstruction);
}

TEST(CallChainTest, WhereTheTablesGiveNothingTheFramePointersAreFollowed) {
  // Frames with code addresses outside every image.
  uint64_t frames[8] = {};
  frames[0] = reinterpret_cast<uint64_t>(&frames[2]);
  frames[1] = 0x1111;
  frames[2] = reinterpret_cast<uint64_t>(&frames[4]);
  frames[3] = 0x2222;
  frames[5] = 0x3333;
  Registers registers = {};
  registers.rip = 0x1000;
  registers.rbp = reinterpret_cast<uint64_t>(frames);
  registers.rsp = 8;
  StackWalker walker;
  CallChain chain;
  walker.Walk(registers, KnownRegisters::kAll, &chain);
  ASSERT_EQ(chain.length, 3U);
  EXPECT_EQ(chain.entries[1], 0x1111U);
  EXPECT_EQ(chain.entries[2], 0x2222U);
}

TEST(CallChainTest, WithNeitherTablesNorFramePointersTheInstructionIsGiven) {
  Registers registers = {};
  registers.rip = 0x1000;
  StackWalker walker;
  CallChain chain;
  walker.Walk(registers, KnownRegisters::kAll, &chain);
  EXPECT_EQ(chain.status, ChainStatus::kComplete);
  ASSERT_EQ(chain.length, 1U);
  EXPECT_EQ(chain.entries[0], registers.rip);
}

std::vector<std::string> sNamesFromMadeCode;

extern "C" __attribute__((noinline)) void LooksFromMadeCode() {
  sNamesFromMadeCode = ChainsOf({CurrentThreadNumber()})[0].names;
}

extern "C" __attribute__((noinline)) void CallsMadeCode(const void* code) {
  using MadeCode = void (*)(const void*, void (*)());
  reinterpret_cast<MadeCode>(reinterpret_cast<uintptr_t>(code))(code, &LooksFromMadeCode);
  ++sSink;
}

TEST(CallChainTest, FramesOfCodeMadeAtRunTimeAreWalkedWhereTheyLeadBackIntoAnImage) {
  // push %rbp; mov %rsp,%rbp; mov %rdi,%rax; mov %rsi,%rdi; call *%rax; pop %rbp; ret
  static const unsigned char kCode[] = {0x55, 0x48, 0x89, 0xe5, 0x48, 0x89, 0xf8,
                                        0x48, 0x89, 0xf7, 0xff, 0xd0, 0x5d, 0xc3};
  void* code =
      mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANON, -1, 0);
  ASSERT_NE(code, MAP_FAILED);
  memcpy(code, kCode, sizeof(kCode));
  CallsMadeCode(code);
  munmap(code, 4096);
  const auto& names = sNamesFromMadeCode;
  const auto looks = std::find(names.begin(), names.end(), "LooksFromMadeCode");
  const auto calls = std::find(names.begin(), names.end(), "CallsMadeCode");
  ASSERT_NE(looks, names.end());
  ASSERT_NE(calls, names.end());
  EXPECT_EQ(calls - looks, 3) << "two frames of made code between them";
}

extern "C" __attribute__((noinline)) size_t Recurses(int depth) {
  if (depth == 0) return ChainsOf({CurrentThreadNumber()})[0].chain.length;
  const size_t length = Recurses(depth - 1);
  ++sSink;
  return length;
}

TEST(CallChainTest, ADeepRecursionYieldsExactlyFifty) { EXPECT_EQ(Recurses(200), 50U); }

TEST(CallChainTest, WalkingAndResolvingDoNotAllocate) {
  PrepareImages();
  PrepareStackWalk();
  const ThreadNumber self = CurrentThreadNumber();
  CallChain chain;
  SymbolInformation records[kMaxThreadFrames];
  const struct mallinfo2 before = mallinfo2();
  {
    StackWalker walker;
    struct Context {
      StackWalker* walker;
      CallChain* chain;
    } context = {&walker, &chain};
    const auto visit = [](void* out, const ThreadLook& look) {
      auto* both = static_cast<Context*>(out);
      return both->walker->Walk(*look.registers, look.known, both->chain);
    };
    ThreadCapture().Visit(&self, 1, visit, &context);
    Symbolizer symbolizer;
    symbolizer.Resolve(chain.entries, records, chain.length);
    const struct mallinfo2 after = mallinfo2();
    EXPECT_EQ(before.uordblks, after.uordblks);
    EXPECT_EQ(before.hblks, after.hblks);
    EXPECT_NE(records[0].dli_sname, nullptr);
  }
}

}  // namespace
}  // namespace CrashHandler::machine
