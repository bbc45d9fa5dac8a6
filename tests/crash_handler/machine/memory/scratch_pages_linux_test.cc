// Pages of the kernel that grow in their place: where the system has that.
#include <gtest/gtest.h>

#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"

namespace CrashHandler::machine {
namespace {

constexpr size_t kMebibyte = size_t{1} << 20;

TEST(ScratchPagesTest, ExtendedItKeepsWhatIsInIt) {
  ScratchMemory memory(100);
  memset(memory.data(), 0xff, memory.size());
  ASSERT_TRUE(memory.Extend(3 * kMebibyte));
  ASSERT_EQ(memory.size(), 3 * kMebibyte);
  const auto* const bytes = static_cast<const unsigned char*>(memory.data());
  EXPECT_EQ(bytes[99], 0xff);
  EXPECT_EQ(bytes[3 * kMebibyte - 1], 0);
}

}  // namespace
}  // namespace CrashHandler::machine
