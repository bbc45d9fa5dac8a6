#include "media_core/biz_engine/crash_handler/machine/unwind/crash_frames.h"

#include <execinfo.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <ucontext.h>

#include <algorithm>
#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/frame_limits.h"

namespace CrashHandler::machine {

void* sFrames[kMaxCrashFrames];
size_t sCount = 0;
// Of the system's frames the handler keeps so many.
size_t sKept = 0;

extern "C" __attribute__((noinline)) void HandlesTheSignal(int, siginfo_t*, void* context) {
  const auto count = static_cast<size_t>(backtrace(sFrames, kMaxCrashFrames));
  sCount = CompleteCrashFrames(context, sFrames, std::min(count, sKept), kMaxCrashFrames);
}

extern "C" __attribute__((noinline)) void WalksFromTheContext(int, siginfo_t*, void* context) {
  sCount = WalkFromContext(context, sFrames, kMaxCrashFrames);
}

extern "C" __attribute__((noinline)) void RaisesTheSignal() {
  raise(SIGUSR2);
  asm volatile("");
}

extern "C" __attribute__((noinline)) void CallsWhatRaises() {
  RaisesTheSignal();
  asm volatile("");
}

namespace {

using Handler = void (*)(int, siginfo_t*, void*);

std::vector<std::string> FramesAfter(Handler handler) {
  struct sigaction action = {};
  struct sigaction before = {};
  action.sa_sigaction = handler;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGUSR2, &action, &before);
  CallsWhatRaises();
  sigaction(SIGUSR2, &before, nullptr);
  std::vector<std::string> names;
  Symbolizer symbolizer;
  for (size_t i = 0; i < sCount; ++i) {
    SymbolInformation record;
    symbolizer.ResolveOne(reinterpret_cast<uintptr_t>(sFrames[i]) - 1, &record);
    names.emplace_back(record.dli_sname == nullptr ? "" : record.dli_sname);
  }
  return names;
}

size_t PlaceOf(const std::vector<std::string>& names, const std::string& name) {
  return static_cast<size_t>(std::find(names.begin(), names.end(), name) - names.begin());
}

// The interrupted code in order, up to the program's entry.
void ExpectInterruptedCode(const std::vector<std::string>& names, size_t from) {
  const size_t raises = PlaceOf(names, "RaisesTheSignal");
  ASSERT_LT(raises, names.size()) << testing::PrintToString(names);
  EXPECT_GE(raises, from);
  EXPECT_EQ(PlaceOf(names, "CallsWhatRaises"), raises + 1);
  EXPECT_LT(PlaceOf(names, "main"), names.size());
  EXPECT_EQ(std::count(names.begin(), names.end(), "RaisesTheSignal"), 1);
}

TEST(WalkFromContextTest, BeginsAtTheInterruptedInstruction) {
  const std::vector<std::string> names = FramesAfter(&WalksFromTheContext);
  ExpectInterruptedCode(names, 1);
  EXPECT_EQ(PlaceOf(names, "WalksFromTheContext"), names.size());
}

TEST(CompleteCrashFramesTest, WholeFramesStayAsTheyAre) {
  sKept = kMaxCrashFrames;
  const std::vector<std::string> names = FramesAfter(&HandlesTheSignal);
  EXPECT_EQ(names[0], "HandlesTheSignal");
  ExpectInterruptedCode(names, 2);
}

TEST(CompleteCrashFramesTest, WithoutAnyFrameTheHandlerComesFirst) {
  sKept = 0;
  const std::vector<std::string> names = FramesAfter(&HandlesTheSignal);
  EXPECT_EQ(names[0], "HandlesTheSignal");
  ExpectInterruptedCode(names, 1);
}

TEST(CompleteCrashFramesTest, FramesThatEndInTheHandlerGoOnInTheInterruptedCode) {
  sKept = 1;
  const std::vector<std::string> names = FramesAfter(&HandlesTheSignal);
  EXPECT_EQ(names[0], "HandlesTheSignal");
  ExpectInterruptedCode(names, 1);
}

TEST(CompleteCrashFramesTest, WithoutAContextNothingIsAdded) {
  void* frames[kMaxCrashFrames] = {};
  EXPECT_EQ(CompleteCrashFrames(nullptr, frames, 3, kMaxCrashFrames), 3U);
}

TEST(CompleteCrashFramesTest, ASmallRoomIsNotOverrun) {
  sKept = 0;
  FramesAfter(&WalksFromTheContext);
  ucontext_t here;
  ASSERT_EQ(getcontext(&here), 0);
  void* frames[4] = {nullptr, nullptr, nullptr, &here};
  EXPECT_EQ(CompleteCrashFrames(&here, frames, 0, 3), 3U);
  EXPECT_EQ(frames[3], &here);
}

}  // namespace
}  // namespace CrashHandler::machine
