#include "media_core/common/webrtc/rtc_base/log_multiline.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/rtc_base/log_capture.h"

namespace {

using oru_test::LogCapture;

std::vector<std::string> Dump(const std::string& data, bool hex_mode, bool input = true,
                              rtc::LogMultilineState* state = nullptr) {
  const LogCapture capture;
  rtc::LogMultiline(rtc::LS_INFO, "net", input, data.data(), data.size(), hex_mode, state);
  return capture.lines();
}

std::vector<std::string> Flush(bool input, rtc::LogMultilineState* state) {
  const LogCapture capture;
  rtc::LogMultiline(rtc::LS_INFO, "net", input, nullptr, 0, false, state);
  return capture.lines();
}

using Lines = std::vector<std::string>;

TEST(LogMultilineHex, FullLineShowsCharactersAndGroupedDigits) {
  EXPECT_EQ(Dump(std::string("ABCDEFGHIJKLMNOPQRSTUVW\x01", 24), true),
            Lines({"[I] (logging.cc:596): net << ABCDEFGHIJKLMNOPQRSTUVW. "
                   "41424344 45464748 494a4b4c 4d4e4f50 51525354 55565701  \n"}));
}

TEST(LogMultilineHex, ShortLastLineIsFilledToFullWidth) {
  const Lines lines = Dump(std::string(24, 'a') + "\xff z", true, false);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1], "[I] (logging.cc:596): net >> . z" + std::string(21, ' ') + " ff207a" +
                          std::string(48, ' ') + " \n");
  EXPECT_EQ(lines[0].size(), lines[1].size());
}

TEST(LogMultilineHex, EmptyBufferLogsNothing) {
  const LogCapture capture;
  rtc::LogMultiline(rtc::LS_INFO, "net", true, "", 0, true, nullptr);
  EXPECT_TRUE(capture.lines().empty());
}

TEST(LogMultilineText, EachLineGetsLabelAndDirection) {
  EXPECT_EQ(Dump("one\ntwo\n", false),
            Lines({"[I] (logging.cc:665): net << one\n", "[I] (logging.cc:665): net << two\n"}));
  EXPECT_EQ(Dump("one\n", false, false), Lines({"[I] (logging.cc:665): net >> one\n"}));
}

TEST(LogMultilineText, PartialLastLineIsALineOfItsOwn) {
  rtc::LogMultilineState state;
  EXPECT_EQ(Dump("one\ntw", false, true, &state),
            Lines({"[I] (logging.cc:665): net << one\n", "[I] (logging.cc:665): net << tw\n"}));
  EXPECT_EQ(Dump("o\n", false, true, &state), Lines({"[I] (logging.cc:665): net << o\n"}));
}

TEST(LogMultilineText, EmptyLineIsKept) {
  EXPECT_EQ(Dump("a\n\nb", false),
            Lines({"[I] (logging.cc:665): net << a\n", "[I] (logging.cc:665): net << \n",
                   "[I] (logging.cc:665): net << b\n"}));
}

TEST(LogMultilineText, UnprintableRunIsReportedWhenTextFollows) {
  EXPECT_EQ(Dump("\x01\x02\x03hello\n", false),
            Lines({"[I] (logging.cc:650): net << ## 3 consecutive unprintable ##\n",
                   "[I] (logging.cc:665): net << hello\n"}));
}

TEST(LogMultilineText, RunAcrossLinesIsOneCount) {
  EXPECT_EQ(Dump("\x01\n\xfe\xff\nhi", false),
            Lines({"[I] (logging.cc:650): net << ## 3 consecutive unprintable ##\n",
                   "[I] (logging.cc:665): net << hi\n"}));
}

TEST(LogMultilineText, RunInsideALineIsReportedBeforeTheLine) {
  EXPECT_EQ(Dump("he\x01\x02llo\x03\n", false),
            Lines({"[I] (logging.cc:650): net << ## 2 consecutive unprintable ##\n",
                   "[I] (logging.cc:665): net << hello\n"}));
}

TEST(LogMultilineText, WhiteSpaceIsPartOfTheText) {
  EXPECT_EQ(Dump("a\tb \v\f\r\n", false), Lines({"[I] (logging.cc:665): net << a\tb \v\f\r\n"}));
}

TEST(LogMultilineText, CountIsKeptForEachDirection) {
  rtc::LogMultilineState state;
  EXPECT_TRUE(Dump("\x01\x02", false, true, &state).empty());
  EXPECT_TRUE(Dump("\x03", false, false, &state).empty());
  EXPECT_EQ(state.unprintable_count[1], 2u);
  EXPECT_EQ(state.unprintable_count[0], 1u);
  EXPECT_EQ(Dump("\x04x", false, true, &state),
            Lines({"[I] (logging.cc:650): net << ## 3 consecutive unprintable ##\n",
                   "[I] (logging.cc:665): net << x\n"}));
  EXPECT_EQ(state.unprintable_count[1], 0u);
  EXPECT_EQ(state.unprintable_count[0], 1u);
}

TEST(LogMultilineText, LinesWithSecretsAreOmitted) {
  EXPECT_EQ(Dump("Email: a@b\nmyPasswd=1\nemail passwd\n", false),
            Lines({"[I] (logging.cc:667): net << ## omitted for privacy ##\n",
                   "[I] (logging.cc:667): net << ## omitted for privacy ##\n",
                   "[I] (logging.cc:665): net << email passwd\n"}));
}

TEST(LogMultilineText, SecretSplitByUnprintableBytesIsOmitted) {
  EXPECT_EQ(Dump("Pass\x01wd x\n", false).back(),
            "[I] (logging.cc:667): net << ## omitted for privacy ##\n");
}

TEST(LogMultilineFlush, ReportsTheCountOnceForItsDirection) {
  rtc::LogMultilineState state;
  Dump("\x01\x02", false, true, &state);
  EXPECT_TRUE(Flush(false, &state).empty());
  EXPECT_EQ(Flush(true, &state),
            Lines({"[I] (logging.cc:570): net << ## 2 consecutive unprintable ##\n"}));
  EXPECT_TRUE(Flush(true, &state).empty());
}

TEST(LogMultilineFlush, WithoutStateDoesNothing) { EXPECT_TRUE(Flush(true, nullptr).empty()); }

TEST(LogMultiline, BelowTheThresholdTouchesNothing) {
  const LogCapture capture(rtc::LS_ERROR);
  rtc::LogMultilineState state;
  rtc::LogMultiline(rtc::LS_INFO, "net", true, "\x01", 1, false, &state);
  EXPECT_EQ(state.unprintable_count[1], 0u);
  EXPECT_TRUE(capture.lines().empty());
}

TEST(LogMultiline, NullLabelIsEmpty) {
  const LogCapture capture;
  rtc::LogMultiline(rtc::LS_INFO, nullptr, true, "x", 1, false, nullptr);
  EXPECT_EQ(capture.OnlyLine(), "[I] (logging.cc:665):  << x\n");
}

}  // namespace
