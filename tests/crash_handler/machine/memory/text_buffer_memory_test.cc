// Text for which the memory runs out.
#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>

#include "media_core/biz_engine/crash_handler/machine/memory/text_buffer.h"
#include "tests/crash_handler/support/no_memory.h"

namespace CrashHandler::machine {
namespace {

using crash_test::RunWithoutMemory;

constexpr char kLine[] = "a line of text\n";
constexpr size_t kLineSize = sizeof(kLine) - 1;
constexpr size_t kReserve = kScratchReserveBytes;

void AppendUntilItFails(TextBuffer* text) {
  while (!text->overflowed()) text->Append(kLine);
}

bool HasWholeLinesOnly(const TextBuffer& text) {
  if (text.size() % kLineSize != 0) return false;
  for (size_t i = 0; i < text.size(); i += kLineSize) {
    if (memcmp(text.data() + i, kLine, kLineSize) != 0) return false;
  }
  return true;
}

TEST(TextBufferMemoryTest, NothingIsAppendedBehindWhatWasLeftOut) {
  EXPECT_EQ(RunWithoutMemory([] {
              TextBuffer text;
              if (text.overflowed()) return 1;
              AppendUntilItFails(&text);
              if (text.size() == 0 || !HasWholeLinesOnly(text)) return 2;
              const size_t size = text.size();
              text.Append('x');
              return text.size() == size && text.overflowed() && !text.Reserve(1) ? 0 : 3;
            }),
            0);
}

TEST(TextBufferMemoryTest, WhatIsCutOffMakesRoom) {
  EXPECT_EQ(RunWithoutMemory([] {
              TextBuffer text;
              AppendUntilItFails(&text);
              text.CutTo(text.size() - kLineSize);
              if (text.overflowed()) return 1;
              text.Append(kLine);
              return !text.overflowed() && HasWholeLinesOnly(text) ? 0 : 2;
            }),
            0);
}

TEST(TextBufferMemoryTest, RoomThatWasMadeIsThere) {
  crash_test::PrepareReserve();
  EXPECT_EQ(RunWithoutMemory([] {
              OpenScratchReserve();
              TextBuffer text;
              if (text.Reserve(kReserve + 1) || text.overflowed()) return 1;
              if (!text.Reserve(100 * kLineSize)) return 2;
              ScratchMemory all;
              for (size_t size = kReserve; size >= 64; size /= 2) {
                while (all.Allocate(size)) all.Leak();
              }
              for (int i = 0; i < 100; ++i) text.Append(kLine);
              return !text.overflowed() && HasWholeLinesOnly(text) ? 0 : 3;
            }),
            0);
}

// It grows where it is.
TEST(TextBufferMemoryTest, TakesAlmostAllThatIsSetAside) {
  crash_test::PrepareReserve();
  EXPECT_EQ(RunWithoutMemory([] {
              OpenScratchReserve();
              TextBuffer text;
              AppendUntilItFails(&text);
              if (!HasWholeLinesOnly(text)) return 1;
              return text.size() > kReserve - kLineSize ? 0 : 2;
            }),
            0);
}

TEST(TextBufferMemoryTest, NoStringIsMadeOfATextWithSomethingLeftOut) {
  EXPECT_EQ(RunWithoutMemory([] {
              TextBuffer text;
              text.Append("a");
              if (StringOf(text) != "a") return 1;
              AppendUntilItFails(&text);
              try {
                StringOf(text);
              } catch (const std::bad_alloc&) {
                return 0;
              }
              return 2;
            }),
            0);
}

}  // namespace
}  // namespace CrashHandler::machine
