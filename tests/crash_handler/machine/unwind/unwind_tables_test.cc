// Unwind tables made by hand.
#include "media_core/biz_engine/crash_handler/machine/unwind/unwind_tables.h"

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>

namespace CrashHandler::machine {
namespace {

constexpr uint64_t kCode = 0x1000;
constexpr uint64_t kCodeSize = 0x100;

std::string Int32(int64_t value) {
  const auto number = static_cast<int32_t>(value);
  return std::string(reinterpret_cast<const char*>(&number), sizeof(number));
}

std::string Bytes(std::initializer_list<int> values) {
  std::string bytes;
  for (const int value : values) bytes += static_cast<char>(value);
  return bytes;
}

// Memory from address 0 on: an index of one pair, the common entry of compilers and the entry of
// one function, whose program is given. Counts the reads.
class OneFunction {
 public:
  explicit OneFunction(const std::string& program) {
    bytes_ = Bytes({1, 0x1b, 0x03, 0x3b}) + Int32(16) + Int32(1) + Int32(kCode) + Int32(44);
    bytes_ += Int32(20) + Int32(0) + Bytes({1, 'z', 'R', 0, 1, 0x78, 16, 1, 0x1b, 0x0c, 7, 8});
    bytes_ += Bytes({0x90, 1, 0, 0});
    bytes_ += Int32(static_cast<int64_t>(13 + program.size())) + Int32(28);
    const auto here = static_cast<int64_t>(bytes_.size());
    bytes_ += Int32(static_cast<int64_t>(kCode) - here) + Int32(kCodeSize) + Bytes({0}) + program;
  }

  ByteSource source() const { return {&Read, this}; }
  bool Find(UnwindRow* row, uint64_t address = kCode + 0x80) const {
    return FindUnwindRow(source(), {0, 20}, address, row);
  }
  size_t reads() const { return reads_; }

 private:
  static bool Read(const void* context, uint64_t position, void* destination, size_t count) {
    const auto* self = static_cast<const OneFunction*>(context);
    ++self->reads_;
    if (position > self->bytes_.size() || count > self->bytes_.size() - position) return false;
    memcpy(destination, self->bytes_.data() + position, count);
    return true;
  }

  std::string bytes_;
  mutable size_t reads_ = 0;
};

// A number that goes on for nearly a megabyte, which is within what an entry may have.
constexpr size_t kEndlessSize = 0xf0000 - 1;
std::string EndlessNumber() { return std::string(kEndlessSize, '\x80'); }

TEST(UnwindNumbersTest, NumbersMayBePadded) {
  UnwindRow row;
  const OneFunction unsigned_one(Bytes({0x0e, 0x90, 0x80, 0x80, 0x80, 0x00}));
  ASSERT_TRUE(unsigned_one.Find(&row));
  EXPECT_EQ(row.frame_offset, 16);
  const OneFunction signed_one(Bytes({0x13, 0xfe, 0xff, 0xff, 0xff, 0x7f}));
  ASSERT_TRUE(signed_one.Find(&row));
  EXPECT_EQ(row.frame_offset, 16) << "minus two times the data factor";
}

TEST(UnwindNumbersTest, NumbersOf64BitsAreRead) {
  UnwindRow row;
  const std::string nine_bytes(9, '\xff');
  const OneFunction most(Bytes({0x0e}) + nine_bytes + Bytes({0x01}));
  ASSERT_TRUE(most.Find(&row));
  EXPECT_EQ(static_cast<uint64_t>(row.frame_offset), UINT64_MAX);
  const OneFunction least(Bytes({0x11, 3}) + std::string(8, '\x80') + Bytes({0xf0, 0x7f}));
  ASSERT_TRUE(least.Find(&row));
  EXPECT_EQ(static_cast<uint64_t>(row.rules[3].value), uint64_t{1} << 63) << "minus 2^60 times -8";
}

TEST(UnwindNumbersTest, ANumberWithoutEndInATableIsGivenUpSoon) {
  const OneFunction endless(Bytes({0x0e}) + EndlessNumber());
  UnwindRow row;
  EXPECT_FALSE(endless.Find(&row));
  EXPECT_LT(endless.reads(), 100U);
}

TEST(UnwindNumbersTest, ANumberWithoutEndInAnExpressionIsGivenUpSoon) {
  // The frame's address by an expression of 0xf0000 bytes, which pushes the number.
  const OneFunction endless(Bytes({0x0f, 0x80, 0x80, 0x3c, 0x10}) + EndlessNumber());
  UnwindRow row;
  ASSERT_TRUE(endless.Find(&row));
  EXPECT_TRUE(row.frame_by_expression);
  const size_t before = endless.reads();
  UnwindRegisters registers = {};
  EXPECT_NE(ApplyUnwindRow(endless.source(), row, &registers), UnwindStep::kDone);
  EXPECT_LT(endless.reads() - before, 100U);
}

}  // namespace
}  // namespace CrashHandler::machine
