// Scratch memory in a process that has none left. Each test's process is its own.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "tests/crash_handler/support/no_memory.h"

namespace CrashHandler::machine {
namespace {

using crash_test::PrepareReserve;
using crash_test::RunWithoutMemory;

constexpr size_t kSixth = kScratchReserveBytes / 6;

bool IsZeroed(const ScratchMemory& memory) {
  const char* const bytes = static_cast<const char*>(memory.data());
  for (size_t i = 0; i < memory.size(); ++i) {
    if (bytes[i] != 0) return false;
  }
  return true;
}

TEST(ScratchReserveTest, WithoutOneScratchMemoryFails) {
  EXPECT_EQ(RunWithoutMemory([] {
              OpenScratchReserve();
              return ScratchMemory(100).data() == nullptr ? 0 : 1;
            }),
            0);
}

TEST(ScratchReserveTest, StaysShutUntilItIsOpened) {
  PrepareReserve();
  EXPECT_EQ(RunWithoutMemory([] { return ScratchMemory(100).data() == nullptr ? 0 : 1; }), 0);
}

TEST(ScratchReserveTest, GivesZeroedPiecesThatDoNotOverlapUntilItIsUsedUp) {
  PrepareReserve();
  EXPECT_EQ(RunWithoutMemory([] {
              OpenScratchReserve();
              ScratchMemory pieces[8];
              int got = 0;
              for (ScratchMemory& piece : pieces) {
                if (!piece.Allocate(kSixth + 1)) break;
                if (!IsZeroed(piece)) return 100;
                memset(piece.data(), 0xff, piece.size());
                ++got;
              }
              return got;
            }),
            5);
}

TEST(ScratchReserveTest, WhatWasTakenLastCanBeHadAgain) {
  PrepareReserve();
  EXPECT_EQ(RunWithoutMemory([] {
              OpenScratchReserve();
              const ScratchMemory first(kSixth);
              for (int i = 0; i < 10; ++i) {
                const ScratchMemory again(4 * kSixth);
                if (again.data() == nullptr) return 1;
                if (!IsZeroed(again)) return 2;
                memset(again.data(), 0xff, again.size());
              }
              return first.data() != nullptr ? 0 : 3;
            }),
            0);
}

TEST(ScratchReserveTest, GivenBackInAnyOrderAllOfItCanBeHadAgain) {
  PrepareReserve();
  EXPECT_EQ(RunWithoutMemory([] {
              OpenScratchReserve();
              for (int i = 0; i < 10; ++i) {
                ScratchMemory pieces[3];
                for (ScratchMemory& piece : pieces) {
                  if (!piece.Allocate(2 * kSixth)) return 1;
                  if (!IsZeroed(piece)) return 2;
                  memset(piece.data(), 0xff, piece.size());
                }
                for (const int next : {1, 0, 2}) {
                  ScratchMemory gone;
                  pieces[next].Swap(&gone);
                }
              }
              return 0;
            }),
            0);
}

TEST(ScratchReserveTest, TheLastPieceGrowsInPlaceToTheEnd) {
  PrepareReserve();
  EXPECT_EQ(RunWithoutMemory([] {
              OpenScratchReserve();
              ScratchMemory first(kSixth);
              ScratchMemory last(100);
              memset(last.data(), 0xff, last.size());
              const void* const place = last.data();
              if (first.Extend(2 * kSixth)) return 1;
              if (!last.Extend(5 * kSixth) || last.data() != place) return 2;
              if (last.Extend(5 * kSixth + 1) || last.size() != 5 * kSixth) return 3;
              const char* const bytes = static_cast<const char*>(last.data());
              for (size_t i = 0; i < last.size(); ++i) {
                if (bytes[i] != static_cast<char>(i < 100 ? 0xff : 0)) return 4;
              }
              return 0;
            }),
            0);
}

TEST(ScratchMemoryTest, NeitherNothingNorASmallerSizeIsAnExtension) {
  ScratchMemory memory;
  EXPECT_FALSE(memory.Extend(100));
  ASSERT_TRUE(memory.Allocate(8192));
  EXPECT_FALSE(memory.Extend(8192));
  EXPECT_EQ(memory.size(), 8192U);
}

TEST(ScratchReserveTest, IsNotUsedWhileTheKernelGives) {
  PrepareReserve();
  OpenScratchReserve();
  std::vector<ScratchMemory> pieces(20);
  for (ScratchMemory& piece : pieces) EXPECT_TRUE(piece.Allocate(kSixth));
}

}  // namespace
}  // namespace CrashHandler::machine
