#include "oru_report/escape.h"

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

TEST(ForHtml, LeavesNoMarkup) {
  EXPECT_EQ(ForHtml("<a href=\"x\">'&"), "&lt;a href=&quot;x&quot;&gt;&apos;&amp;");
  EXPECT_EQ(ForHtml(""), "");
}

TEST(JsonString, EscapesWhatJsonForbids) {
  EXPECT_EQ(JsonString("a\"b\\c\n\x01"), "\"a\\\"b\\\\c\\u000a\\u0001\"");
}

}  // namespace
}  // namespace oru_report
