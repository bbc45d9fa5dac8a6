#include "media_core/biz_engine/crash_handler/machine/memory/block_cache.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace CrashHandler::machine {
namespace {

// Three blocks and a bit; counts how often it is asked.
struct CountedBytes {
  std::string bytes;
  int reads = 0;

  ByteSource source() { return {&Read, this}; }

  static bool Read(const void* context, uint64_t position, void* destination, size_t count) {
    auto* self = static_cast<CountedBytes*>(const_cast<void*>(context));
    ++self->reads;
    if (position > self->bytes.size() || count > self->bytes.size() - position) return false;
    memcpy(destination, self->bytes.data() + position, count);
    return true;
  }
};

class BlockCacheTest : public testing::Test {
 protected:
  BlockCacheTest() {
    std::mt19937 random(7);
    for (size_t i = 0; i < 3 * kBlockSize + 100; ++i) source_.bytes += static_cast<char>(random());
  }

  // What a read through the cache gives, and whether it is what the source has.
  bool Reads(uint64_t position, size_t count, uint64_t end = UINT64_MAX) {
    std::vector<char> read(count + 1);
    if (!cache_.Read(source_.source(), position, read.data(), count, end)) return false;
    EXPECT_EQ(memcmp(read.data(), source_.bytes.data() + position, count), 0)
        << count << " at " << position;
    return true;
  }

  CountedBytes source_;
  BlockCache<2> cache_;
};

TEST_F(BlockCacheTest, ReadsOfOneBlockAskTheSourceOnce) {
  for (size_t at = 0; at + 8 <= kBlockSize; at += 8) EXPECT_TRUE(Reads(at, 8));
  EXPECT_EQ(source_.reads, 1);
}

TEST_F(BlockCacheTest, EverySizeGivesTheSourcesBytes) {
  for (size_t count = 0; count <= 200; ++count) EXPECT_TRUE(Reads(3 * count, count));
}

TEST_F(BlockCacheTest, AReadMayCrossBlocks) {
  EXPECT_TRUE(Reads(kBlockSize - 3, 8));
  EXPECT_TRUE(Reads(kBlockSize - 1, kBlockSize));
  EXPECT_EQ(source_.reads, 2);
}

TEST_F(BlockCacheTest, ALargeReadPassesBy) {
  EXPECT_TRUE(Reads(5, 2 * kBlockSize));
  EXPECT_EQ(source_.reads, 1);
}

TEST_F(BlockCacheTest, BlocksThatShareAPlaceReplaceEachOther) {
  for (int round = 0; round < 3; ++round) {
    EXPECT_TRUE(Reads(10, 8));
    EXPECT_TRUE(Reads(2 * kBlockSize + 10, 8));
  }
  EXPECT_EQ(source_.reads, 6);
}

TEST_F(BlockCacheTest, TheLastBlockMayBeShortWhenTheEndIsKnown) {
  const uint64_t end = source_.bytes.size();
  for (uint64_t at = end - 96; at < end; at += 8) EXPECT_TRUE(Reads(at, 8, end));
  EXPECT_EQ(source_.reads, 1);
  EXPECT_FALSE(Reads(end - 7, 8, end));
  EXPECT_FALSE(Reads(end + kBlockSize, 1, end));
  EXPECT_FALSE(Reads(UINT64_MAX - 3, 8, end));
}

TEST_F(BlockCacheTest, ABlockThatCannotBeReadWholeIsReadByTheByte) {
  const uint64_t end = source_.bytes.size();
  EXPECT_TRUE(Reads(end - 8, 8));
  EXPECT_TRUE(Reads(3 * kBlockSize - 8, 16));
  EXPECT_FALSE(Reads(end - 7, 8));
}

TEST_F(BlockCacheTest, AnEndThatIsNoLongerTrueFailsAsTheSourceDoes) {
  const uint64_t end = source_.bytes.size();
  source_.bytes.resize(end - 50);  // truncated after its size was asked
  EXPECT_TRUE(Reads(end - 100, 8, end));
  EXPECT_FALSE(Reads(end - 40, 8, end));
}

TEST_F(BlockCacheTest, ForgetReadsAnew) {
  EXPECT_TRUE(Reads(0, 8));
  source_.bytes[0] ^= 1;
  cache_.Forget();
  EXPECT_TRUE(Reads(0, 8));
  EXPECT_EQ(source_.reads, 2);
}

}  // namespace
}  // namespace CrashHandler::machine
