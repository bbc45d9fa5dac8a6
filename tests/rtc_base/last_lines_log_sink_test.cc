#include "media_core/common/webrtc/rtc_base/last_lines_log_sink.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/logging.h"

namespace {

using rtc::LastLinesLogSink;

std::vector<std::string> LinesOf(const LastLinesLogSink& sink) {
  std::vector<std::string> lines;
  for (uint64_t number = sink.first_line(); number < sink.end_line(); ++number) {
    char line[LastLinesLogSink::kMaxLineBytes];
    size_t size = 0;
    if (sink.Read(number, line, sizeof(line), &size)) lines.emplace_back(line, size);
  }
  return lines;
}

class LastLines : public testing::Test {
 protected:
  const std::unique_ptr<LastLinesLogSink> sink_ = std::make_unique<LastLinesLogSink>();
};

TEST_F(LastLines, AreNoneAtFirst) {
  EXPECT_EQ(sink_->first_line(), 0u);
  EXPECT_EQ(sink_->end_line(), 0u);
  char line[8];
  size_t size = 0;
  EXPECT_FALSE(sink_->Read(0, line, sizeof(line), &size));
}

TEST_F(LastLines, AreThoseOfTheLog) {
  rtc::LogMessage::AddLogToStream(sink_.get(), rtc::LS_INFO);
  rtc::LogMessage(nullptr, 0, rtc::LS_INFO).stream() << "one";
  rtc::LogMessage(nullptr, 0, rtc::LS_INFO).stream() << "two\nin two";
  rtc::LogMessage::RemoveLogToStream(sink_.get());
  EXPECT_EQ(LinesOf(*sink_), (std::vector<std::string>{"[I] one", "[I] two\nin two"}));
}

TEST_F(LastLines, AreTwoHundredAtMost) {
  for (int i = 0; i < 1000; ++i) sink_->OnLogLine(std::to_string(i) + "\n");
  const std::vector<std::string> lines = LinesOf(*sink_);
  ASSERT_EQ(lines.size(), 200u);
  EXPECT_EQ(lines.front(), "800");
  EXPECT_EQ(lines.back(), "999");
  EXPECT_EQ(sink_->first_line(), 800u);
  char line[8];
  size_t size = 0;
  EXPECT_FALSE(sink_->Read(799, line, sizeof(line), &size)) << "replaced";
}

TEST_F(LastLines, AreCutBehindACharacter) {
  constexpr size_t kMost = LastLinesLogSink::kMaxLineBytes;
  sink_->OnLogLine(std::string(kMost, 'x') + "\n");
  sink_->OnLogLine(std::string(kMost + 1, 'y') + "\n");
  sink_->OnLogLine(std::string(kMost - 1, 'z') + "\xC3\xA9\n");
  sink_->OnLogLine(std::string(kMost - 3, 'z') + "\xF0\x9F\x98\x80\n");
  sink_->OnLogLine("");
  EXPECT_EQ(LinesOf(*sink_), (std::vector<std::string>{
                                 std::string(kMost, 'x'), std::string(kMost, 'y'),
                                 std::string(kMost - 1, 'z'), std::string(kMost - 3, 'z'), ""}));
}

TEST_F(LastLines, AreReadInASmallerBuffer) {
  sink_->OnLogLine("0123456789abcdef\n");
  char line[11] = {};
  size_t size = 0;
  ASSERT_TRUE(sink_->Read(0, line, 10, &size));
  EXPECT_EQ(std::string(line, size), "0123456789");
  EXPECT_EQ(line[10], '\0');
}

// A reader that takes no lock finds every line whole.
TEST_F(LastLines, AreWholeWhileTheyAreReplaced) {
  std::atomic<bool> stop{false};
  std::thread logger([&] {
    for (char c = 'a'; !stop; c = c == 'z' ? 'a' : static_cast<char>(c + 1)) {
      sink_->OnLogLine(std::string(static_cast<size_t>(c - 'a') * 18 + 1, c) + "\n");
    }
  });
  while (sink_->first_line() == 0) {
    std::this_thread::yield();
  }
  for (uint64_t until = sink_->end_line() + 20000; sink_->end_line() < until;) {
    for (const std::string& line : LinesOf(*sink_)) {
      ASSERT_EQ(line, std::string(static_cast<size_t>(line[0] - 'a') * 18 + 1, line[0]));
    }
  }
  stop = true;
  logger.join();
}

}  // namespace
