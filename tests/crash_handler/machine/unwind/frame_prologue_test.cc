#include "media_core/biz_engine/crash_handler/machine/unwind/frame_prologue.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace CrashHandler::machine {
namespace {

// Of the last size that was understood.
uint64_t sSlack = 0;

// The size, or -1 when the beginning is not understood.
int64_t SizeOf(const std::vector<uint8_t>& instructions) {
  uint8_t code[kPrologueSize];
  memset(code, 0x90, sizeof(code));
  memcpy(code, instructions.data(), instructions.size());
  FrameSize size;
  if (!FrameSizeOfPrologue(code, &size)) return -1;
  sSlack = size.slack;
  return static_cast<int64_t>(size.least);
}

TEST(FramePrologueTest, OnlyTheFramePointer) { EXPECT_EQ(SizeOf({0x55, 0x48, 0x89, 0xe5}), 0); }

TEST(FramePrologueTest, WithRoomForLocals) {
  EXPECT_EQ(SizeOf({0x55, 0x48, 0x89, 0xe5, 0x48, 0x83, 0xec, 0x20}), 0x20);
  EXPECT_EQ(SizeOf({0x55, 0x48, 0x8b, 0xec, 0x48, 0x81, 0xec, 0x10, 0x02, 0, 0}), 0x210);
}

TEST(FramePrologueTest, WithRegistersThatAreKept) {
  EXPECT_EQ(SizeOf({0xf3, 0x0f, 0x1e, 0xfa, 0x55, 0x48, 0x89, 0xe5, 0x41, 0x57, 0x41, 0x56, 0x53,
                    0x48, 0x83, 0xec, 0x18}),
            3 * 8 + 0x18);
}

TEST(FramePrologueTest, AnAlignedStackPointerIsNotToldExactly) {
  EXPECT_EQ(SizeOf({0x55, 0x48, 0x89, 0xe5, 0x48, 0x83, 0xe4, 0xe0, 0x48, 0x83, 0xec, 0x40}), 0x40);
  EXPECT_EQ(sSlack, 24U);
  EXPECT_EQ(SizeOf({0x55, 0x48, 0x89, 0xe5, 0x53, 0x48, 0x83, 0xec, 0x18}), 0x20);
  EXPECT_EQ(sSlack, 0U);
}

TEST(FramePrologueTest, AFunctionWithoutAFramePointerHasNone) {
  EXPECT_EQ(SizeOf({0x48, 0x83, 0xec, 0x28}), -1);
  EXPECT_EQ(SizeOf({0x55, 0x53, 0x48, 0x83, 0xec, 0x28}), -1);
}

bool Calls(const std::vector<uint8_t>& last) {
  uint8_t code[kCallSize];
  memset(code, 0x90, sizeof(code));
  memcpy(code + kCallSize - last.size(), last.data(), last.size());
  return EndsInCall(code);
}

TEST(EndsInCallTest, EveryFormOfACall) {
  EXPECT_TRUE(Calls({0xe8, 1, 2, 3, 4}));
  EXPECT_TRUE(Calls({0xff, 0xd0}));                       // *%rax
  EXPECT_TRUE(Calls({0xff, 0x50, 0x10}));                 // *16(%rax)
  EXPECT_TRUE(Calls({0xff, 0x15, 0, 0, 0, 0}));           // *0(%rip)
  EXPECT_TRUE(Calls({0xff, 0x94, 0xc0, 0x10, 0, 0, 0}));  // *16(%rax,%rax,8)
}

TEST(EndsInCallTest, WhatIsNoCall) {
  EXPECT_FALSE(Calls({0xe9, 1, 2, 3, 4}));
  EXPECT_FALSE(Calls({0xff, 0xe0}));
  EXPECT_FALSE(Calls({0xc3}));
}

}  // namespace
}  // namespace CrashHandler::machine
