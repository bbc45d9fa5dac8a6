// What the module offers to hosts with other crash reporters and runtimes in the process.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <string>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/biz_engine/crash_handler/crash_neighbours.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

#define TEST_FUNCTION                                                            \
  extern "C" __attribute__((noinline, disable_tail_calls, visibility("default"), \
                            no_sanitize("address", "undefined", "thread")))

// What the filter finds on the stack.
TEST_FUNCTION int OruRTCNeighboursTestCrash() {
  *static_cast<volatile int*>(nullptr) = 1;
  return 1;
}

TEST_FUNCTION int OruRTCNeighboursTestCall(int (*function)()) { return function() + 1; }

namespace CrashHandler {
namespace {

using oru_test::ChildResult;
using oru_test::TempDir;

constexpr int kBenignFaults = 10000;
constexpr size_t kStackSize = size_t{64} << 10;

CrashHandlerProxy* Install(const TempDir& dir) {
  CrashHandlerProxy* const handler = CrashHandlerProxy::CreateCrashHandler();
  handler->SetCrashDumpDirPath(dir.Join("dumps").c_str());
  handler->InstallCrashHandler();
  return handler;
}

size_t Reports(const TempDir& dir) { return oru_test::ListFilesRecursively(dir.path()).size(); }

struct sigaction Action(int signo) {
  struct sigaction now = {};
  sigaction(signo, nullptr, &now);
  return now;
}

// A runtime with one compiled function, which reads what its argument points to.
class Runtime {
 public:
  static void Install(int flags) {
    static const unsigned char code[] = {0x8a, 0x07, 0xc3};  // movb (%rdi), %al; ret
    code_ = static_cast<unsigned char*>(
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANON, -1, 0));
    memcpy(code_, code, sizeof code);
    struct sigaction action = {};
    action.sa_sigaction = Handle;
    action.sa_flags = SA_SIGINFO | flags;
    sigaddset(&action.sa_mask, SIGUSR1);
    sigaction(SIGSEGV, &action, nullptr);
  }

  static bool RaiseBenignFaults(int count) {
    const int before = repaired_;
    for (int i = 0; i < count; ++i) reinterpret_cast<void (*)(const void*)>(code_)(nullptr);
    return repaired_ == before + count;
  }

  // Of a second runtime, which has none of these faults and passes them on to whom it found.
  static void InstallSecond() {
    struct sigaction action = {};
    action.sa_sigaction = HandleSecond;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigaction(SIGSEGV, &action, &found_);
  }

  static uintptr_t HandlerFrame() { return frame_; }
  static const sigset_t& HandlerMask() { return mask_; }

 private:
  static void Handle(int signo, siginfo_t* /*info*/, void* context) {
    greg_t* const registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    if (registers[REG_RIP] != static_cast<greg_t>(reinterpret_cast<uintptr_t>(code_))) {
      signal(signo, SIG_DFL);
      return;
    }
    registers[REG_RIP] += 2;
    ++repaired_;
    frame_ = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    pthread_sigmask(SIG_BLOCK, nullptr, &mask_);
  }

  static void HandleSecond(int signo, siginfo_t* info, void* context) {
    found_.sa_sigaction(signo, info, context);
  }

  inline static unsigned char* code_ = nullptr;
  inline static struct sigaction found_ = {};
  inline static volatile int repaired_ = 0;
  inline static uintptr_t frame_ = 0;
  inline static sigset_t mask_;
};

enum class Order { kRuntimeFirst, kRuntimeLast };

ChildResult InFrontOfARuntime(const TempDir& dir, Order order, const std::function<int()>& deed) {
  return oru_test::RunInFork([&] {
    if (order == Order::kRuntimeFirst) Runtime::Install(SA_ONSTACK);
    Install(dir);
    if (order == Order::kRuntimeLast) Runtime::Install(SA_ONSTACK);
    if (!StandInFrontOf(nullptr)) return 90;
    if (!Runtime::RaiseBenignFaults(kBenignFaults)) return 91;
    return deed();
  });
}

int Nothing() { return 0; }

class InFrontTest : public testing::TestWithParam<Order> {};

TEST_P(InFrontTest, FaultsOfCompiledCodeStayTheRuntimes) {
  const TempDir dir;
  const ChildResult child = InFrontOfARuntime(dir, GetParam(), Nothing);
  EXPECT_EQ(0, child.exit_code) << child.Ending() << child.err;
  EXPECT_EQ(0U, Reports(dir));
}

TEST_P(InFrontTest, ACrashAfterwardsIsReported) {
  const TempDir dir;
  const ChildResult child = InFrontOfARuntime(dir, GetParam(), OruRTCNeighboursTestCrash);
  EXPECT_EQ(SIGSEGV, child.signal) << child.Ending() << child.err;
  EXPECT_EQ(1U, Reports(dir));
}

// Nowhere is in no image either.
TEST_P(InFrontTest, ACallOfNowhereIsNoCompiledCode) {
  const TempDir dir;
  const ChildResult child = InFrontOfARuntime(
      dir, GetParam(), [] { return OruRTCNeighboursTestCall(reinterpret_cast<int (*)()>(16)); });
  EXPECT_EQ(SIGSEGV, child.signal) << child.Ending() << child.err;
  EXPECT_EQ(1U, Reports(dir));
}

TEST_P(InFrontTest, ARaisedSignalIsNoFaultOfTheRuntimes) {
  const TempDir dir;
  const ChildResult child = InFrontOfARuntime(dir, GetParam(), [] {
    StandInFrontOf([](int, const siginfo_t*, const void*) { return true; });
    return OruRTCNeighboursTestCall([] { return raise(SIGSEGV); });
  });
  EXPECT_EQ(1U, Reports(dir)) << child.Ending() << child.err;
}

TEST_P(InFrontTest, UninstallingLeavesTheRuntimeItsHandler) {
  const TempDir dir;
  const ChildResult child = InFrontOfARuntime(dir, GetParam(), [] {
    CrashHandlerProxy::CreateCrashHandler()->UnInstallCrashHandler();
    return Runtime::RaiseBenignFaults(10) ? 0 : 1;
  });
  EXPECT_EQ(0, child.exit_code) << child.Ending() << child.err;
}

INSTANTIATE_TEST_SUITE_P(Both, InFrontTest,
                         testing::Values(Order::kRuntimeFirst, Order::kRuntimeLast),
                         [](const testing::TestParamInfo<Order>& info) {
                           return info.param == Order::kRuntimeFirst ? "RuntimeFirst"
                                                                     : "RuntimeLast";
                         });

// The kernel gives the front what it would have given the handler behind.
int ExpectOwnStackAndMask(const TempDir& dir, int flags) {
  static char stack[kStackSize];
  stack_t alternate = {};
  alternate.ss_sp = stack;
  alternate.ss_size = sizeof stack;
  sigaltstack(&alternate, nullptr);
  Runtime::Install(flags);
  Install(dir);
  if (!StandInFrontOf(nullptr) || !Runtime::RaiseBenignFaults(1)) return 90;
  const uintptr_t bottom = reinterpret_cast<uintptr_t>(stack);
  const uintptr_t frame = Runtime::HandlerFrame();
  const bool on_alternate = frame >= bottom && frame < bottom + sizeof stack;
  if (on_alternate != ((flags & SA_ONSTACK) != 0)) return 1;
  if (sigismember(&Runtime::HandlerMask(), SIGUSR1) != 1) return 2;
  const bool deferred = sigismember(&Runtime::HandlerMask(), SIGSEGV) == 1;
  return deferred == ((flags & SA_NODEFER) == 0) ? 0 : 3;
}

TEST(CrashNeighboursTest, TheRuntimesHandlerRunsOnItsStackUnderItsMaskAndFlags) {
  for (const int flags : {0, SA_ONSTACK, SA_NODEFER, SA_ONSTACK | SA_NODEFER}) {
    const TempDir dir;
    const ChildResult child =
        oru_test::RunInFork([&] { return ExpectOwnStackAndMask(dir, flags); });
    EXPECT_EQ(0, child.exit_code) << flags << " " << child.Ending() << child.err;
  }
}

TEST(CrashNeighboursTest, ThereIsNobodyToStandInFrontOf) {
  const TempDir dir;
  const ChildResult child = oru_test::RunInFork([&dir] {
    if (StandInFrontOf(nullptr)) return 1;
    Install(dir);
    return StandInFrontOf(nullptr) ? 2 : 0;
  });
  EXPECT_EQ(0, child.exit_code) << child.Ending() << child.err;
}

TEST(CrashNeighboursTest, ThisCodeIsOfAnImageAndMappedMemoryIsNot) {
  EXPECT_FALSE(IsCodeOfNoImage(reinterpret_cast<const void*>(&OruRTCNeighboursTestCrash)));
  EXPECT_FALSE(IsCodeOfNoImage(reinterpret_cast<const void*>(&memcpy)));
  EXPECT_TRUE(IsCodeOfNoImage(nullptr));
}

void SomebodysHandler(int /*signo*/, siginfo_t* /*info*/, void* /*context*/) { _exit(7); }

void TakeSomebodys(int signo) {
  struct sigaction action = {};
  action.sa_sigaction = SomebodysHandler;
  action.sa_flags = SA_SIGINFO;
  sigaction(signo, &action, nullptr);
}

const HookState* Find(const std::vector<HookState>& states, const char* name) {
  for (const HookState& state : states) {
    if (state.name == name) return &state;
  }
  return nullptr;
}

TEST(CrashNeighboursTest, TellsWhoHoldsWhatAndSinceWhen) {
  const TempDir dir;
  const ChildResult child = oru_test::RunInFork([&dir] {
    TakeSomebodys(SIGBUS);
    Install(dir);
    TakeSomebodys(SIGFPE);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGILL, SIG_DFL);
    const std::vector<HookState> states = WhoHoldsWhat();
    if (states.size() != 11) return 1;
    const HookState& before = *Find(states, "SIGBUS");
    if (before.holder != Holder::kOurs || before.before != Holder::kSomebodys) return 2;
    if (before.before_image.find("crash_neighbours") == std::string::npos) return 3;
    const HookState& after = *Find(states, "SIGFPE");
    if (after.holder != Holder::kSomebodys || !after.taken_after_us) return 4;
    if (after.before != Holder::kDefault || after.image.empty()) return 5;
    if (Find(states, "SIGPIPE")->holder != Holder::kIgnored) return 6;
    if (Find(states, "SIGILL")->holder != Holder::kDefault) return 7;
    if (Find(states, "SIGSEGV")->holder != Holder::kOurs) return 8;
    if (Find(states, "uncaught exception")->holder != Holder::kOurs) return 9;
    if (Find(states, "new")->holder != Holder::kOurs) return 10;
    return Find(states, "terminate")->holder == Holder::kDefault ? 0 : 11;
  });
  EXPECT_EQ(0, child.exit_code) << child.Ending() << child.err;
}

TEST(CrashNeighboursTest, RearmingTakesBackWhatWasTakenAndLeavesTheIgnored) {
  const TempDir dir;
  const ChildResult child = oru_test::RunInFork([&dir] {
    Install(dir);
    const auto ours = Action(SIGABRT).sa_sigaction;
    TakeSomebodys(SIGABRT);
    signal(SIGPIPE, SIG_IGN);
    std::set_new_handler([] { _exit(8); });
    if (Rearm() != 2) return 1;
    if (Action(SIGABRT).sa_sigaction != ours || Action(SIGPIPE).sa_handler != SIG_IGN) return 2;
    if (Rearm() != 0) return 3;
    CrashHandlerProxy::CreateCrashHandler()->UnInstallCrashHandler();
    return Action(SIGABRT).sa_sigaction == SomebodysHandler ? 0 : 4;
  });
  EXPECT_EQ(0, child.exit_code) << child.Ending() << child.err;
}

TEST(CrashNeighboursTest, RearmingBehindARuntimeKeepsItsFaultsBenign) {
  const TempDir dir;
  const ChildResult child = oru_test::RunInFork([&dir] {
    Runtime::Install(SA_ONSTACK);
    Install(dir);
    StandInFrontOf(nullptr);
    Runtime::Install(SA_ONSTACK);
    if (Rearm() != 1 || !Runtime::RaiseBenignFaults(10)) return 1;
    return OruRTCNeighboursTestCrash();
  });
  EXPECT_EQ(SIGSEGV, child.signal) << child.Ending() << child.err;
  EXPECT_EQ(1U, Reports(dir));
}

// The second found the front, which stands before it afterwards: neither passes a fault on for
// ever.
TEST(CrashNeighboursTest, TwoRuntimesOneBehindTheOtherHaveTheirTurns) {
  const TempDir dir;
  const ChildResult child = oru_test::RunInFork([&dir] {
    Runtime::Install(SA_ONSTACK);
    Install(dir);
    StandInFrontOf(nullptr);
    Runtime::InstallSecond();
    if (Rearm() != 1 || !Runtime::RaiseBenignFaults(10)) return 1;
    return OruRTCNeighboursTestCrash();
  });
  EXPECT_EQ(SIGSEGV, child.signal) << child.Ending() << child.err;
  EXPECT_EQ(1U, Reports(dir));
}

TEST(CrashNeighboursTest, LeavingGivesBackOnlyWhatIsStillOurs) {
  const TempDir dir;
  const ChildResult child = oru_test::RunInFork([&dir] {
    TakeSomebodys(SIGBUS);
    Install(dir);
    TakeSomebodys(SIGFPE);
    if (Leave() != 9) return 1;
    if (Action(SIGBUS).sa_sigaction != SomebodysHandler) return 2;
    if (Action(SIGFPE).sa_sigaction != SomebodysHandler) return 3;
    if (Action(SIGSEGV).sa_handler != SIG_DFL || std::get_new_handler() != nullptr) return 4;
    return Leave() == 0 ? 0 : 5;
  });
  EXPECT_EQ(0, child.exit_code) << child.Ending() << child.err;
}

void ReportAndEnd(int signo, siginfo_t* info, void* context) {
  const bool first = ReportCrash(signo, info, context);
  const bool again = ReportCrash(signo, info, context);
  const bool untouched =
      Action(SIGSEGV).sa_sigaction == ReportAndEnd && Action(SIGABRT).sa_handler == SIG_DFL;
  _exit(first && !again && untouched ? 42 : 43);
}

TEST(CrashNeighboursTest, ByInvitationTheReportIsWrittenAndNoHandlerIsTouched) {
  const TempDir dir;
  const ChildResult child = oru_test::RunInFork([&dir] {
    ChooseSignals(nullptr, 0);
    Install(dir);
    struct sigaction action = {};
    action.sa_sigaction = ReportAndEnd;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &action, nullptr);
    return OruRTCNeighboursTestCrash();
  });
  EXPECT_EQ(42, child.exit_code) << child.Ending() << child.err;
  EXPECT_EQ(1U, Reports(dir));
}

TEST(CrashNeighboursTest, ByInvitationWithoutAContextTheCallsStackIsReported) {
  const TempDir dir;
  const ChildResult child = oru_test::RunInFork([&dir] {
    ChooseSignals(nullptr, 0);
    Install(dir);
    return OruRTCNeighboursTestCall([] { return ReportCrash(SIGABRT, nullptr, nullptr) ? 1 : 0; });
  });
  EXPECT_EQ(2, child.exit_code) << child.Ending() << child.err;
  EXPECT_EQ(1U, Reports(dir));
}

TEST(CrashNeighboursTest, ByInvitationTheModulesOwnHandlersStayToo) {
  const TempDir dir;
  const ChildResult child = oru_test::RunInFork([&dir] {
    Install(dir);
    const auto ours = Action(SIGSEGV).sa_sigaction;
    if (!ReportCrash(SIGUSR1, nullptr, nullptr)) return 1;
    return Action(SIGSEGV).sa_sigaction == ours && Action(SIGPIPE).sa_sigaction == ours ? 0 : 2;
  });
  EXPECT_EQ(0, child.exit_code) << child.Ending() << child.err;
}

TEST(CrashNeighboursTest, OnlyTheChosenSignalsAreTakenAndGivenUp) {
  const TempDir dir;
  const ChildResult child = oru_test::RunInFork([&dir] {
    TakeSomebodys(SIGFPE);
    const int chosen[] = {SIGSEGV, SIGABRT};
    ChooseSignals(chosen, 2);
    CrashHandlerProxy* const handler = Install(dir);
    if (Action(SIGFPE).sa_sigaction != SomebodysHandler) return 1;
    if (Action(SIGBUS).sa_handler != SIG_DFL || Action(SIGSEGV).sa_handler == SIG_DFL) return 2;
    TakeSomebodys(SIGBUS);
    handler->UnInstallCrashHandler();
    if (Action(SIGBUS).sa_sigaction != SomebodysHandler) return 3;
    if (Action(SIGSEGV).sa_handler != SIG_DFL) return 4;
    ChooseAllSignals();
    handler->InstallCrashHandler();
    return Action(SIGBUS).sa_sigaction != SomebodysHandler ? 0 : 5;
  });
  EXPECT_EQ(0, child.exit_code) << child.Ending() << child.err;
}

TEST(CrashNeighboursTest, AnIgnoredBrokenPipeStaysIgnoredWhenAskedSo) {
  for (const bool keep : {false, true}) {
    const TempDir dir;
    const ChildResult child = oru_test::RunInFork([&] {
      signal(SIGPIPE, SIG_IGN);
      KeepIgnoredSignals(keep);
      Install(dir);
      return Action(SIGPIPE).sa_handler == SIG_IGN ? 1 : 0;
    });
    EXPECT_EQ(keep ? 1 : 0, child.exit_code) << child.Ending() << child.err;
  }
}

}  // namespace
}  // namespace CrashHandler
