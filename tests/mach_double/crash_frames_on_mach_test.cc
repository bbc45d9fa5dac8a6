// The frames of a crash where the platform's `backtrace` gives none.
#include <execinfo.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/unwind/crash_frames.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/frame_limits.h"

namespace CrashHandler::machine {
namespace {

void* sFrames[kMaxCrashFrames];
size_t sFrameCount = 0;
int sSystemsCount = -1;

extern "C" __attribute__((noinline)) void HandlesOnItsOwnStack(int, siginfo_t*, void* context) {
  sSystemsCount = backtrace(sFrames, kMaxCrashFrames);
  sFrameCount = CompleteCrashFrames(context, sFrames, 0, kMaxCrashFrames);
}

extern "C" __attribute__((noinline)) void RaisesOnTheOrdinaryStack() {
  raise(SIGUSR2);
  asm volatile("");  // so that the call is not the last thing
}

// Whether the address lies in the function.
bool IsIn(const void* address, const void* function) {
  constexpr uintptr_t kMostBytes = 256;
  return reinterpret_cast<uintptr_t>(address) - reinterpret_cast<uintptr_t>(function) < kMostBytes;
}

TEST(MachCrashFrames, OnAnAlternateStackTheInterruptedCodeIsWalkedFromItsContext) {
  static char stack[256 * 1024];
  stack_t alternate = {};
  alternate.ss_sp = stack;
  alternate.ss_size = sizeof(stack);
  ASSERT_EQ(sigaltstack(&alternate, nullptr), 0);
  struct sigaction action = {};
  action.sa_sigaction = &HandlesOnItsOwnStack;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  ASSERT_EQ(sigaction(SIGUSR2, &action, nullptr), 0);
  RaisesOnTheOrdinaryStack();
  EXPECT_EQ(sSystemsCount, 0);
  ASSERT_GE(sFrameCount, 3U);
  EXPECT_TRUE(IsIn(sFrames[0], reinterpret_cast<void*>(&HandlesOnItsOwnStack)));
  stack_t none = {};
  none.ss_flags = SS_DISABLE;
  sigaltstack(&none, nullptr);
}

}  // namespace
}  // namespace CrashHandler::machine
