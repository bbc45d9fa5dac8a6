#include "oru_report/text/escape.h"

#include <gtest/gtest.h>

namespace oru_report {
namespace {

TEST(ToValidUtf8, KeepsWhatIsValid) { EXPECT_EQ(ToValidUtf8("aé€😀"), "aé€😀"); }

TEST(ToValidUtf8, ReplacesWhatBrowsersRefuse) {
  EXPECT_EQ(ToValidUtf8("a\xffz"), "a\xEF\xBF\xBDz");
  // An overlong slash, a surrogate, a code point beyond the last, a sequence cut short.
  EXPECT_EQ(ToValidUtf8("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(ToValidUtf8("\xED\xA0\x80").substr(0, 3), "\xEF\xBF\xBD");
  EXPECT_EQ(ToValidUtf8("\xF4\x90\x80\x80").substr(0, 3), "\xEF\xBF\xBD");
  EXPECT_EQ(ToValidUtf8("\xE2\x82"), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(ForTerminal, ShowsEscapeSequencesInsteadOfSendingThem) {
  EXPECT_EQ(ForTerminal("\x1b[31mred\r\n\tx"), "\\x1b[31mred\\x0d\\x0a\tx");
}

// What is not seen but acts: C1 controls, marks that turn the direction of writing, separators of
// lines, characters without a width.
TEST(Visible, ShowsHiddenMarksByTheirNumber) {
  EXPECT_EQ(ForTerminal("\xC2\x9B"
                        "31m"),
            "\\u009b31m");
  EXPECT_EQ(ForTerminal("\x7F\xC2\x85"), "\\x7f\\u0085");
  EXPECT_EQ(ForTerminal("a\u202Egol.\u2066b"), "a\\u202egol.\\u2066b");
  EXPECT_EQ(ForTerminal("\u200E\u200F\u061C\u2028\uFEFF\u200B"),
            "\\u200e\\u200f\\u061c\\u2028\\ufeff\\u200b");
  EXPECT_EQ(ForTerminal("\U000E0041"), "\\U000e0041");
  EXPECT_EQ(ForTerminal("שלום é 😀"), "שלום é 😀");
}

TEST(ForHtml, ShowsHiddenMarksByTheirNumber) {
  EXPECT_EQ(ForHtml("a\u202Eb\x1b\nc"), "a\\u202eb\\x1b\nc");
}

TEST(JsonString, LosesNoHiddenMark) {
  EXPECT_EQ(JsonString("\u202E\xC2\x9B\U000E0041"), "\"\\u202e\\u009b\\udb40\\udc41\"");
}

TEST(ForHtml, LeavesNoMarkup) {
  EXPECT_EQ(ForHtml("<a href=\"x\">'&"), "&lt;a href=&quot;x&quot;&gt;&apos;&amp;");
  EXPECT_EQ(ForHtml(""), "");
}

TEST(JsonString, EscapesWhatJsonForbids) {
  EXPECT_EQ(JsonString("a\"b\\c\n\x01"), "\"a\\\"b\\\\c\\u000a\\u0001\"");
}

}  // namespace
}  // namespace oru_report
