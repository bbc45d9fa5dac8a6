// Stacks on which the C library's own `backtrace` would fault.
#include <dlfcn.h>
#include <execinfo.h>
#include <gtest/gtest.h>
#include <setjmp.h>
#include <signal.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

// A sanitizer would look at a bad pointer before it is called.
#define DEED \
  extern "C" \
      __attribute__((noinline, used, disable_tail_calls, no_sanitize("address", "undefined")))

namespace CrashHandler::machine {
namespace {

constexpr size_t kRoom = 128;

std::vector<void*> sCaptured;
sigjmp_buf sBack;

__attribute__((noinline)) void Capture() {
  void* frames[kRoom];
  const size_t count = CaptureDamagedStack(frames, kRoom);
  sCaptured.assign(frames, frames + count);
}

void CaptureBySystem() {
  void* frames[kRoom];
  sCaptured.assign(frames, frames + backtrace(frames, kRoom));
}

void OnSignal(int /*signo*/) {
  Capture();
  siglongjmp(sBack, 1);
}

// The handler, the signal's return code, the null and its caller; more would follow.
constexpr size_t kLittle = 4;
void* sLittle[kLittle + 1];
size_t sLittleCount = 0;

void CaptureLittle(int /*signo*/) {
  sLittleCount = CaptureDamagedStack(sLittle, kLittle);
  siglongjmp(sBack, 1);
}

bool Has(const char* function) {
  for (void* frame : sCaptured) {
    if (frame == nullptr) continue;
    Dl_info info;
    const void* inside = static_cast<const char*>(frame) - 1;
    const bool known = dladdr(inside, &info) != 0 && info.dli_sname != nullptr;
    if (known && std::string(info.dli_sname) == function) return true;
  }
  return false;
}

// Runs the deed, which faults, and captures the stack in the fault's handler.
void CaptureAtFault(void (*deed)()) {
  sCaptured.clear();
  struct sigaction action = {};
  action.sa_handler = OnSignal;
  struct sigaction old;
  sigaction(SIGSEGV, &action, &old);
  if (sigsetjmp(sBack, 1) == 0) deed();
  sigaction(SIGSEGV, &old, nullptr);
}

}  // namespace

DEED void CallsThroughBadPointer(uintptr_t address) {
  auto* volatile target = reinterpret_cast<void (*)()>(address);
  target();
}
DEED void FaultsPlainly() {
  volatile int* volatile nowhere = nullptr;
  *nowhere = 1;
}
DEED void Throws() { throw 1; }
DEED void LeavesByAnException() noexcept { Throws(); }
// Its own return address leads nowhere; the fault comes in what it calls.
DEED void SmashesItsReturnAddress() {
  void* volatile* const frame = static_cast<void**>(__builtin_frame_address(0));
  frame[1] = reinterpret_cast<void*>(uintptr_t{0x4141414141414141});
  FaultsPlainly();
}
// The fault comes after the return, when its own frame is gone and its frame pointer restored.
DEED void ReturnsNowhere() {
  void* volatile* const frame = static_cast<void**>(__builtin_frame_address(0));
  frame[1] = reinterpret_cast<void*>(uintptr_t{0x5a5a5a5a5a5a});
}
DEED void CallsWhatReturnsNowhere() { ReturnsNowhere(); }
DEED void CallsTheCaller() { CallsWhatReturnsNowhere(); }

namespace {

TEST(DamagedStackTest, ASoundStackIsLeftToTheSystem) {
  void* frames[kRoom];
  EXPECT_EQ(CaptureDamagedStack(frames, kRoom), 0U);
}

TEST(DamagedStackTest, AFaultOnASoundStackIsLeftToTheSystem) {
  CaptureAtFault(FaultsPlainly);
  EXPECT_TRUE(sCaptured.empty());
}

TEST(DamagedStackTest, TheCallerOfANullPointerIsFoundBehindTheNull) {
  CaptureAtFault([] { CallsThroughBadPointer(0); });
  EXPECT_TRUE(Has("CallsThroughBadPointer"));
  EXPECT_EQ(std::count(sCaptured.begin(), sCaptured.end(), nullptr), 1);
}

TEST(DamagedStackTest, TheCallerOfAGarbagePointerIsFound) {
  CaptureAtFault([] { CallsThroughBadPointer(0x5a5a5a5a5a5a); });
  EXPECT_TRUE(Has("CallsThroughBadPointer"));
}

TEST(DamagedStackTest, ASmashedReturnAddressEndsTheStackBehindItsFunction) {
  CaptureAtFault(SmashesItsReturnAddress);
  EXPECT_TRUE(Has("FaultsPlainly"));
  EXPECT_TRUE(Has("SmashesItsReturnAddress"));
}

// The function returned to is not known, but the one that called it is.
TEST(DamagedStackTest, AReturnToABadAddressIsFollowedByTheFramePointer) {
  CaptureAtFault(CallsTheCaller);
  EXPECT_TRUE(Has("CallsTheCaller"));
}

// Between the two lies a helper of the compiler, with or without a table.
TEST(DamagedStackTest, ANoexceptFunctionThatAnExceptionLeavesIsFound) {
  sCaptured.clear();
  const std::terminate_handler old = std::set_terminate([] {
    Capture();
    if (sCaptured.empty()) CaptureBySystem();
    siglongjmp(sBack, 1);
  });
  if (sigsetjmp(sBack, 1) == 0) LeavesByAnException();
  std::set_terminate(old);
  EXPECT_TRUE(Has("LeavesByAnException"));
}

TEST(DamagedStackTest, NoMoreThanTheRoomIsWritten) {
  struct sigaction action = {};
  action.sa_handler = CaptureLittle;
  struct sigaction old;
  sigaction(SIGSEGV, &action, &old);
  if (sigsetjmp(sBack, 1) == 0) CallsThroughBadPointer(0);
  sigaction(SIGSEGV, &old, nullptr);
  EXPECT_EQ(sLittleCount, kLittle);
  EXPECT_EQ(sLittle[kLittle], nullptr);
}

}  // namespace
}  // namespace CrashHandler::machine
