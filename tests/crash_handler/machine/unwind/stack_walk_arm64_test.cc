// The walk from recorded states of another processor.
#include <gtest/gtest.h>

#include <vector>

#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

namespace CrashHandler::machine {
namespace {

// An authentication code of a return address, in the bits that no address uses.
constexpr uint64_t kSignature = 0xa5d2000000000000;

// Code of three functions of 0x1000 bytes: the leaf, its caller and the caller's caller.
constexpr uint64_t kLeaf = 0x100001000;
constexpr uint64_t kCaller = 0x100002000;
constexpr uint64_t kOutside = 0x100003000;

bool InOneFunction(uintptr_t one, uintptr_t other) { return one >> 12 == other >> 12; }

// Two frames and the outermost one; the stored return addresses are signed.
class SignedStack {
 public:
  SignedStack()
      : words_{Address(2), kSignature | (kOutside + 0x10),
               Address(4), kSignature | (kOutside + 0x20),
               0,          0} {}
  uint64_t frame() const { return Address(0); }

 private:
  uint64_t Address(size_t word) const { return reinterpret_cast<uint64_t>(&words_[word]); }
  uint64_t words_[6];
};

std::vector<uint64_t> Walk(const RegistersArm64& registers) {
  WalkStart start = WalkStartOf(registers);
  KeepLinkOfFramelessFunction(&InOneFunction, &start);
  CallChain chain;
  WalkFramePointers(start, &mach_copyMem, &chain);
  EXPECT_EQ(chain.status, ChainStatus::kComplete);
  return {chain.entries, chain.entries + chain.length};
}

RegistersArm64 At(const SignedStack& stack, uint64_t pc, uint64_t lr) {
  RegistersArm64 registers = {};
  registers.pc = pc;
  registers.lr = lr;
  registers.fp = stack.frame();
  return registers;
}

// The frame pointer is still the caller's: only the link register tells the caller.
TEST(StackWalkArm64Test, AFunctionWithoutAFrameReturnsToTheLinkRegister) {
  const SignedStack stack;
  const std::vector<uint64_t> expected = {kLeaf + 8, kCaller + 0x44, kOutside + 0x10,
                                          kOutside + 0x20};
  EXPECT_EQ(Walk(At(stack, kLeaf + 8, kSignature | (kCaller + 0x44))), expected);
}

// After a call the link register still holds where that call returned to.
TEST(StackWalkArm64Test, AFunctionWithAFrameHasNoEntryForItsLastCall) {
  const SignedStack stack;
  const std::vector<uint64_t> expected = {kCaller + 0x44, kOutside + 0x10, kOutside + 0x20};
  EXPECT_EQ(Walk(At(stack, kCaller + 0x44, kCaller + 0x40)), expected);
}

// The call is the function's last instruction: its return address lies in the next function.
TEST(StackWalkArm64Test, ALastCallAtTheFunctionsEndIsThatFunctions) {
  const SignedStack stack;
  const std::vector<uint64_t> expected = {kCaller + 0xff0, kOutside + 0x10, kOutside + 0x20};
  EXPECT_EQ(Walk(At(stack, kCaller + 0xff0, kCaller + 0x1000)), expected);
}

// Between the prologue and the first call the link register and the frame say the same.
TEST(StackWalkArm64Test, AReturnAddressThatIsInBothAppearsOnce) {
  const SignedStack stack;
  const std::vector<uint64_t> expected = {kCaller + 0xc, kOutside + 0x10, kOutside + 0x20};
  EXPECT_EQ(Walk(At(stack, kCaller + 0xc, kOutside + 0x10)), expected);
}

TEST(StackWalkArm64Test, AfterACallOfABadAddressTheLinkRegisterTellsTheCaller) {
  const SignedStack stack;
  EXPECT_EQ(Walk(At(stack, 0xbad0, kCaller + 0x44)).at(1), kCaller + 0x44);
}

}  // namespace
}  // namespace CrashHandler::machine
