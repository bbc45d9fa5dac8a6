#include "oru_report/symbols/macho_file.h"

#include <gtest/gtest.h>

#include <cstring>

namespace oru_report {
namespace {

void Add32(std::string* bytes, uint32_t value) {
  bytes->append(reinterpret_cast<const char*>(&value), sizeof value);
}

// A 64-bit header and one UUID command.
std::string Small() {
  std::string bytes;
  for (const uint32_t word : {0xfeedfacfU, 0x1000007U, 3U, 6U, 1U, 24U, 0U, 0U})
    Add32(&bytes, word);
  Add32(&bytes, 27);
  Add32(&bytes, 24);
  for (char i = 0; i < 16; ++i) bytes += i;
  return bytes;
}

TEST(MachOFile, HasItsUuid) {
  MachOFile file;
  ASSERT_TRUE(ReadMachOFile(Small(), &file));
  EXPECT_TRUE(file.is_64_bit);
  EXPECT_EQ(file.uuid, "000102030405060708090a0b0c0d0e0f");
}

TEST(MachOFile, CutAnywhereDoesNoHarm) {
  const std::string whole = Small();
  for (size_t size = 0; size < whole.size(); ++size) {
    MachOFile file;
    ReadMachOFile(std::string_view(whole).substr(0, size), &file);
    EXPECT_EQ(file.uuid, "") << size;
  }
}

TEST(MachOFile, CommandsOfNoSizeOrTooLargeEndTheWalk) {
  for (const uint32_t size : {0U, 4U, 25U, 0xffffffffU}) {
    std::string bytes = Small();
    memcpy(&bytes[36], &size, sizeof size);
    MachOFile file;
    EXPECT_TRUE(ReadMachOFile(bytes, &file));
    EXPECT_EQ(file.uuid, "");
  }
}

TEST(MachOSlices, OfAUniversalFileLieInsideIt) {
  const std::string header("\xca\xfe\xba\xbe\0\0\0\2", 8);
  const std::string first("\1\0\0\7\0\0\0\3\0\0\x10\0\0\0\0\x40\0\0\0\xc", 20);
  const std::string beyond("\1\0\0\7\0\0\0\3\x7f\0\x10\0\0\0\0\x40\0\0\0\xc", 20);
  const std::vector<MachOSlice> slices = ReadMachOSlices(header + first + beyond, 0x2000);
  ASSERT_EQ(slices.size(), 1U);
  EXPECT_EQ(slices[0].offset, 0x1000U);
  EXPECT_EQ(slices[0].size, 0x40U);
}

TEST(MachOSlices, OfOtherFilesAreNone) {
  // A class file of Java begins with the same magic.
  EXPECT_TRUE(ReadMachOSlices(std::string("\xca\xfe\xba\xbe\0\0\0\x34", 8), 8).empty());
  EXPECT_TRUE(ReadMachOSlices("text", 4).empty());
  EXPECT_TRUE(ReadMachOSlices("", 0).empty());
}

}  // namespace
}  // namespace oru_report
