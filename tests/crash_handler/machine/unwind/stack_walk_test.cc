#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <vector>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"

namespace CrashHandler::machine {
namespace {

constexpr size_t kPage = 4096;

// A stack of frame entries in memory: entry i points to entry i + 1.
class FakeStack {
 public:
  explicit FakeStack(size_t frames) : words_(frames * 2) {
    for (size_t i = 0; i < frames; ++i) {
      words_[2 * i] = i + 1 < frames ? Address(i + 1) : 0;
      words_[2 * i + 1] = 0x1000 + i;
    }
  }
  uintptr_t Address(size_t frame) const { return reinterpret_cast<uintptr_t>(&words_[2 * frame]); }
  uintptr_t& previous(size_t frame) { return words_[2 * frame]; }
  uintptr_t& return_address(size_t frame) { return words_[2 * frame + 1]; }

  CallChain Walk() const { return WalkFrom(0x42, Address(0)); }
  static CallChain WalkFrom(uint64_t ip, uint64_t fp) {
    RegistersX8664 registers = {};
    registers.rip = ip;
    registers.rbp = fp;
    CallChain chain;
    WalkFramePointers(WalkStartOf(registers), &mach_copyMem, &chain);
    return chain;
  }

 private:
  std::vector<uintptr_t> words_;
};

TEST(StackWalkTest, AChainOfKFramesYieldsKLinesWithoutTheOutermost) {
  for (size_t k = 1; k < kMaxThreadFrames; ++k) {
    FakeStack stack(k);
    const CallChain chain = stack.Walk();
    ASSERT_EQ(chain.status, ChainStatus::kComplete);
    ASSERT_EQ(chain.length, k);
    EXPECT_EQ(chain.entries[0], 0x42U);
    for (size_t i = 1; i < k; ++i) EXPECT_EQ(chain.entries[i], 0x1000 + i - 1);
  }
}

TEST(StackWalkTest, AChainOfMoreThanFiftyFramesYieldsFifty) {
  for (const size_t frames : {size_t{50}, size_t{51}, size_t{80}}) {
    FakeStack stack(frames);
    EXPECT_EQ(stack.Walk().length, kMaxThreadFrames) << frames;
  }
}

TEST(StackWalkTest, AChainThatLoopsYieldsFifty) {
  FakeStack stack(3);
  stack.previous(2) = stack.Address(0);
  EXPECT_EQ(stack.Walk().length, kMaxThreadFrames);
}

TEST(StackWalkTest, AReturnAddressOfZeroEndsTheChain) {
  FakeStack stack(6);
  stack.return_address(2) = 0;
  const CallChain chain = stack.Walk();
  EXPECT_EQ(chain.length, 3U);
  EXPECT_EQ(chain.entries[2], 0x1001U);
}

TEST(StackWalkTest, AnUnreadableFrameEndsTheChainQuietly) {
  FakeStack stack(6);
  stack.previous(3) = 16;
  const CallChain chain = stack.Walk();
  EXPECT_EQ(chain.status, ChainStatus::kComplete);
  EXPECT_EQ(chain.length, 4U);
}

TEST(StackWalkTest, AnInstructionPointerOfZeroIsAFailure) {
  FakeStack stack(3);
  const CallChain chain = FakeStack::WalkFrom(0, stack.Address(0));
  EXPECT_EQ(chain.status, ChainStatus::kNoInstruction);
  EXPECT_EQ(chain.length, 0U);
}

TEST(StackWalkTest, AFramePointerOfZeroIsAFailure) {
  EXPECT_EQ(FakeStack::WalkFrom(0x42, 0).status, ChainStatus::kNoFrame);
}

TEST(StackWalkTest, AnUnreadableFirstFrameIsAFailure) {
  const CallChain chain = FakeStack::WalkFrom(0x42, 16);
  EXPECT_EQ(chain.status, ChainStatus::kNoFrame);
  EXPECT_EQ(chain.length, 0U);
}

TEST(StackWalkTest, AMissingInstructionIsReportedBeforeAMissingFrame) {
  EXPECT_EQ(FakeStack::WalkFrom(0, 0).status, ChainStatus::kNoInstruction);
}

TEST(MemoryTest, CopiesWhatIsReadable) {
  const char source[] = "bytes";
  char copy[sizeof(source)] = "";
  EXPECT_EQ(mach_copyMem(source, copy, sizeof(source)), 0);
  EXPECT_STREQ(copy, "bytes");
}

TEST(MemoryTest, NullAndUnmappedSourcesGiveACode) {
  char copy[16];
  EXPECT_NE(mach_copyMem(nullptr, copy, sizeof(copy)), 0);
  EXPECT_NE(mach_copyMem(reinterpret_cast<const void*>(0xffff800000000000), copy, 1), 0);
}

TEST(MemoryTest, ARangeThatRunsIntoAnUnmappedPageGivesACode) {
  ScratchMemory pages(2 * kPage);
  char* data = static_cast<char*>(pages.data());
  ASSERT_EQ(mprotect(data + kPage, kPage, PROT_NONE), 0);
  char copy[32];
  EXPECT_EQ(mach_copyMem(data + kPage - 32, copy, 32), 0);
  EXPECT_NE(mach_copyMem(data + kPage - 31, copy, 32), 0);
}

TEST(MemoryTest, ACopyOfNothingSucceedsFromAnywhere) {
  EXPECT_EQ(mach_copyMem(nullptr, nullptr, 0), 0);
}

TEST(MemoryTest, ScratchMemoryIsZeroedAndLargeSizesFailQuietly) {
  ScratchMemory memory(10000);
  ASSERT_NE(memory.data(), nullptr);
  for (size_t i = 0; i < memory.size(); ++i) ASSERT_EQ(static_cast<char*>(memory.data())[i], 0);
  EXPECT_FALSE(memory.Allocate(SIZE_MAX / 2));
  EXPECT_EQ(memory.data(), nullptr);
  EXPECT_FALSE(memory.Allocate(0));
}

}  // namespace
}  // namespace CrashHandler::machine
