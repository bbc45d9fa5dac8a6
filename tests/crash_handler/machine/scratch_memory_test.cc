// Scratch memory in a process that has none left. Each test's process is its own.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstring>
#include <vector>

#include "media_core/biz_engine/crash_handler/machine/memory.h"
#include "tests/support/child_process.h"

namespace CrashHandler::machine {
namespace {

constexpr size_t kMebibyte = size_t{1} << 20;

// From now on the kernel gives nothing.
void UseUpAddressSpace() {
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_AS, &none);
}

bool IsZeroed(const ScratchMemory& memory) {
  const char* const bytes = static_cast<const char*>(memory.data());
  for (size_t i = 0; i < memory.size(); ++i) {
    if (bytes[i] != 0) return false;
  }
  return true;
}

int RunWithoutMemory(int (*body)()) {
  return oru_test::RunInFork([body] {
           UseUpAddressSpace();
           return body();
         })
      .exit_code;
}

TEST(ScratchReserveTest, WithoutOneScratchMemoryFails) {
  EXPECT_EQ(RunWithoutMemory([] {
              OpenScratchReserve();
              return ScratchMemory(100).data() == nullptr ? 0 : 1;
            }),
            0);
}

TEST(ScratchReserveTest, StaysShutUntilItIsOpened) {
  PrepareScratchReserve();
  EXPECT_EQ(RunWithoutMemory([] { return ScratchMemory(100).data() == nullptr ? 0 : 1; }), 0);
}

TEST(ScratchReserveTest, GivesZeroedPiecesThatDoNotOverlapUntilItIsUsedUp) {
  PrepareScratchReserve();
  EXPECT_EQ(RunWithoutMemory([] {
              OpenScratchReserve();
              ScratchMemory pieces[8];
              int got = 0;
              for (ScratchMemory& piece : pieces) {
                if (!piece.Allocate(kMebibyte + 1)) break;
                if (!IsZeroed(piece)) return 100;
                memset(piece.data(), 0xff, piece.size());
                ++got;
              }
              return got;
            }),
            5);
}

TEST(ScratchReserveTest, IsNotUsedWhileTheKernelGives) {
  PrepareScratchReserve();
  OpenScratchReserve();
  std::vector<ScratchMemory> pieces(20);
  for (ScratchMemory& piece : pieces) EXPECT_TRUE(piece.Allocate(kMebibyte));
}

}  // namespace
}  // namespace CrashHandler::machine
