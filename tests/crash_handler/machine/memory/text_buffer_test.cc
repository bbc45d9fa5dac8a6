#include "media_core/biz_engine/crash_handler/machine/memory/text_buffer.h"

#include <gtest/gtest.h>

#include <string>

namespace CrashHandler::machine {
namespace {

std::string Text(const TextBuffer& buffer) { return std::string(buffer.data(), buffer.size()); }

TEST(TextBufferTest, IsEmptyAtTheStart) {
  TextBuffer text;
  EXPECT_EQ(Text(text), "");
}

TEST(TextBufferTest, KeepsWhatIsAppendedInOrder) {
  TextBuffer text;
  text.Append("abc", 2);
  text.Append('-');
  text.Append("text");
  text.Append(nullptr);
  text.AppendBlanks(3);
  text.Append(std::string(1, '\0').data(), 1);
  EXPECT_EQ(Text(text), std::string("ab-text   ") + '\0');
}

TEST(TextBufferTest, WritesNumbersInAnyBaseWithAtLeastTheDigits) {
  TextBuffer text;
  text.AppendNumber(0);
  text.Append(' ');
  text.AppendNumber(UINT64_MAX);
  text.Append(' ');
  text.AppendNumber(7, 10, 3);
  text.Append(' ');
  text.AppendNumber(5, 2, 8);
  text.Append(' ');
  text.AppendHex(0xbeef);
  text.Append(' ');
  text.AppendHex(0xbeef, 8);
  EXPECT_EQ(Text(text), "0 18446744073709551615 007 00000101 0xbeef 0x0000beef");
}

TEST(TextBufferTest, GrowsFromALineToMegabytes) {
  TextBuffer text;
  std::string wanted;
  for (int i = 0; wanted.size() < size_t{3} << 20; ++i) {
    const std::string line = std::to_string(i) + " line\n";
    text.Append(line.c_str());
    wanted += line;
  }
  EXPECT_EQ(Text(text), wanted);
}

}  // namespace
}  // namespace CrashHandler::machine
