#include "media_core/biz_engine/crash_handler/report/json_line.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace CrashHandler {
namespace {

using machine::TextBuffer;

std::string LineWith(const std::string& value) {
  TextBuffer text;
  { JsonLine("t", &text).Text("v", value.data(), value.size()); }
  return StringOf(text);
}

TEST(JsonLineTest, IsOneObjectWithItsType) {
  TextBuffer text;
  { const JsonLine line("end", &text); }
  EXPECT_EQ(StringOf(text), "{\"type\":\"end\"}\n");
}

TEST(JsonLineTest, HasValuesOfEachKind) {
  TextBuffer text;
  {
    JsonLine line("all", &text);
    line.Text("text", "words");
    line.Text("none", nullptr);
    line.Number("most", UINT64_MAX);
    line.SignedNumber("least", INT64_MIN);
    line.Address("address", 0);
    line.Flag("flag", true);
    line.BeginObject("object");
    line.Address("a", 0x1c);
    line.Null("b");
    line.EndObject();
    line.Flag("last", false);
  }
  EXPECT_EQ(StringOf(text),
            "{\"type\":\"all\",\"text\":\"words\",\"none\":null,\"most\":18446744073709551615,"
            "\"least\":-9223372036854775808,\"address\":\"0x0\",\"flag\":true,"
            "\"object\":{\"a\":\"0x1c\",\"b\":null},\"last\":false}\n");
}

TEST(JsonLineTest, EscapesWhatMayNotStandInAString) {
  EXPECT_EQ(LineWith("\"\\\n\t\x7f"), "{\"type\":\"t\",\"v\":\"\\\"\\\\\\u000a\\u0009\\u007f\"}\n");
  EXPECT_EQ(LineWith(std::string("a\0b", 3)), "{\"type\":\"t\",\"v\":\"a\\u0000b\"}\n");
}

TEST(JsonLineTest, KeepsUtf8AndTakesOtherBytesAsLatin1) {
  EXPECT_EQ(LineWith("\xC3\xA4 \xF0\x9F\x8E\xB5"),
            "{\"type\":\"t\",\"v\":\"\xC3\xA4 \xF0\x9F\x8E\xB5\"}\n");
  EXPECT_EQ(LineWith("\xE4\"\xFF"), "{\"type\":\"t\",\"v\":\"\xC3\xA4\\\"\xC3\xBF\"}\n");
  EXPECT_EQ(LineWith("cut \xF0\x9F"), "{\"type\":\"t\",\"v\":\"cut \xC3\xB0\xC2\x9F\"}\n");
}

TEST(JsonLineTest, EveryByteGivesALineThatEndsInOne) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string line = LineWith(std::string(3, static_cast<char>(byte)));
    EXPECT_EQ(line.find('\n'), line.size() - 1) << byte;
    EXPECT_EQ(line.substr(line.size() - 3), "\"}\n") << byte;
  }
}

}  // namespace
}  // namespace CrashHandler
