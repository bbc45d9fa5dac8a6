#include "media_core/common/webrtc/rtc_base/trace_document.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "tests/support/files.h"

namespace {

using rtc::tracing::TraceDocument;
using rtc::tracing::TraceEvent;
using rtc::tracing::TraceOutput;

// A file with as much room as a test gives it. It can be one that cannot take back.
struct Disk {
  std::string text;
  size_t room = std::string::npos;
  size_t writes = 0;
};

class DiskOutput : public TraceOutput {
 public:
  explicit DiskOutput(Disk* disk) : disk_(disk) {}
  size_t Write(const std::string& text) override {
    ++disk_->writes;
    const size_t arrived = std::min(text.size(), disk_->room - disk_->text.size());
    disk_->text += text.substr(0, arrived);
    return arrived;
  }
  void TakeBack(size_t size) override {
    EXPECT_GT(size, 0u);
    disk_->text.resize(disk_->text.size() - size);
  }

 private:
  Disk* const disk_;
};

TraceEvent Event(const char* name) {
  return {name, reinterpret_cast<const unsigned char*>("c"), 7000, 3, 0, 'I'};
}

std::string Line(const std::string& name, bool is_first = false) {
  return (is_first ? " " : ",") + std::string("{ \"name\": \"") + name +
         "\", \"cat\": \"c\", \"ph\": \"I\", \"ts\": 7, \"pid\": 1, \"tid\": 3}\n";
}

const std::string kHeader = "{ \"traceEvents\": [\n";
const std::string kFooter = "]}\n";

// The text without the numbers of the clock and the thread.
std::string LostLine(const std::string& line) {
  const size_t time = line.find("\"ts\": ");
  const size_t args = line.find(", \"args\"");
  if (time == std::string::npos || args == std::string::npos) return line;
  return line.substr(0, time) + line.substr(args + 2);
}

std::string Lost(int events, bool is_first = false) {
  return (is_first ? " " : ",") +
         std::string("{ \"name\": \"EventLogger::Lost\", \"cat\": \"webrtc\", \"ph\": \"I\", ") +
         "\"args\": { \"events\": " + std::to_string(events) + " }}";
}

class TraceDocumentTest : public testing::Test {
 protected:
  TraceDocumentTest() : document_(std::make_unique<DiskOutput>(&disk_)) {}

  void AddAndFlush(const char* name) {
    document_.Add(Event(name));
    document_.Flush();
  }
  std::vector<std::string> Lines() const { return oru_test::SplitLines(disk_.text); }

  Disk disk_;
  TraceDocument document_;
};

TEST_F(TraceDocumentTest, HasAHeaderItsEventsAndAnEnd) {
  document_.Flush();
  EXPECT_EQ(disk_.text, kHeader);
  document_.Add(Event("a"));
  EXPECT_EQ(disk_.text, kHeader) << "not collected";
  document_.Add(Event("b"));
  document_.Flush();
  EXPECT_EQ(disk_.text, kHeader + Line("a", true) + Line("b"));
  document_.Add(Event("c"));
  document_.End();
  EXPECT_EQ(disk_.text, kHeader + Line("a", true) + Line("b") + Line("c") + kFooter);
}

TEST_F(TraceDocumentTest, WithoutEventsItIsHeaderAndEnd) {
  document_.End();
  EXPECT_EQ(disk_.text, kHeader + kFooter);
}

TEST_F(TraceDocumentTest, IsWrittenInPiecesOfAbout64KiB) {
  for (int i = 0; i < 10000; ++i) {
    document_.Add(Event("event"));
  }
  EXPECT_NEAR(static_cast<double>(disk_.text.size()) / static_cast<double>(disk_.writes), 65536.0,
              200.0);
}

TEST_F(TraceDocumentTest, NothingToWriteIsNotWritten) {
  document_.Flush();
  document_.Flush();
  EXPECT_EQ(disk_.writes, 1u);
}

TEST_F(TraceDocumentTest, LossesAreToldInTheirPlace) {
  AddAndFlush("a");
  disk_.room = disk_.text.size() + Line("b").size() + 5;
  document_.Add(Event("b"));
  document_.Add(Event("c"));
  document_.Add(Event("d"));
  document_.Flush();
  EXPECT_EQ(disk_.text, kHeader + Line("a", true) + Line("b"));
  disk_.room = std::string::npos;
  AddAndFlush("e");
  document_.End();
  ASSERT_EQ(Lines().size(), 6u);
  EXPECT_EQ(LostLine(Lines()[3]), Lost(2));
  EXPECT_EQ(Lines()[4] + "\n" + Lines()[5] + "\n", Line("e") + kFooter);
}

TEST_F(TraceDocumentTest, LossesAddUpWhileThereIsNoRoom) {
  AddAndFlush("a");
  disk_.room = disk_.text.size();
  AddAndFlush("b");
  AddAndFlush("c");
  document_.AddLost(10);
  AddAndFlush("d");
  disk_.room = std::string::npos;
  document_.End();
  ASSERT_EQ(Lines().size(), 4u);
  EXPECT_EQ(LostLine(Lines()[2]), Lost(13));
  EXPECT_EQ(Lines()[3], "]}");
}

TEST_F(TraceDocumentTest, EventsDroppedEarlierAreToldBehindThoseThatCameBefore) {
  document_.Add(Event("a"));
  document_.AddLost(0);
  document_.AddLost(5);
  document_.Add(Event("b"));
  document_.End();
  ASSERT_EQ(Lines().size(), 5u);
  EXPECT_EQ(LostLine(Lines()[2]), Lost(5));
  EXPECT_EQ(Lines()[3] + "\n", Line("b"));
}

TEST_F(TraceDocumentTest, TheLossMayBeTheFirstEvent) {
  document_.AddLost(1);
  document_.End();
  EXPECT_EQ(LostLine(Lines()[1]), Lost(1, true));
}

TEST_F(TraceDocumentTest, TheLossCarriesTimeAndThread) {
  const auto before = static_cast<uint64_t>(rtc::TimeMicros());
  document_.AddLost(1);
  document_.End();
  const std::string line = Lines()[1];
  const size_t place = line.find("\"ts\": ");
  ASSERT_NE(place, std::string::npos) << line;
  const uint64_t time = std::stoull(line.substr(place + 6));
  EXPECT_GE(time, before);
  EXPECT_LE(time, static_cast<uint64_t>(rtc::TimeMicros()));
  EXPECT_NE(line.find("\"pid\": 1, \"tid\": " + std::to_string(rtc::CurrentThreadId()) + ","),
            std::string::npos);
}

// Room for every number of bytes at first, then for all: nothing of the document is torn or missing
// without a word.
TEST_F(TraceDocumentTest, WhereverTheDiskWasFullTheDocumentIsWholeAndTellsTheLosses) {
  const std::string whole = kHeader + Line("a", true) + Line("b") + Line("c");
  for (size_t room = 0; room <= whole.size(); ++room) {
    Disk disk;
    disk.room = room;
    TraceDocument document(std::make_unique<DiskOutput>(&disk));
    document.Add(Event("a"));
    document.Flush();
    document.Add(Event("b"));
    document.Add(Event("c"));
    document.Flush();
    // What fits, up to a line's end.
    EXPECT_EQ(whole.compare(0, disk.text.size(), disk.text), 0) << room;
    EXPECT_TRUE(disk.text.empty() || disk.text.back() == '\n') << room;
    disk.room = std::string::npos;
    document.Add(Event("d"));
    document.End();
    const std::vector<std::string> lines = oru_test::SplitLines(disk.text);
    ASSERT_GE(lines.size(), 4u) << room;
    EXPECT_EQ(lines[0] + "\n", kHeader);
    EXPECT_EQ(lines[1][0], ' ') << room;
    EXPECT_EQ(lines[lines.size() - 2] + "\n", Line("d")) << room;
    EXPECT_EQ(lines.back() + "\n", kFooter) << room;
    size_t events = 0;
    for (size_t i = 1; i + 1 < lines.size(); ++i) {
      EXPECT_EQ(lines[i][0], i == 1 ? ' ' : ',') << room;
      const size_t lost = lines[i].find("\"events\": ");
      events += lost == std::string::npos ? 1 : std::stoul(lines[i].substr(lost + 10));
    }
    EXPECT_EQ(events, 4u) << disk.text;
  }
}

TEST_F(TraceDocumentTest, ADiskThatStaysFullLeavesWholeLinesAndNoEnd) {
  const std::string whole = kHeader + Line("a", true) + Line("b");
  for (size_t room = 0; room < whole.size() + kFooter.size(); ++room) {
    Disk disk;
    disk.room = room;
    TraceDocument document(std::make_unique<DiskOutput>(&disk));
    document.Add(Event("a"));
    document.Add(Event("b"));
    document.End();
    const size_t end = whole.rfind('\n', room == 0 ? 0 : room - 1);
    EXPECT_EQ(disk.text, end == std::string::npos ? "" : whole.substr(0, end + 1)) << room;
  }
}

TEST_F(TraceDocumentTest, AHugeEventIsWhole) {
  const std::string name(5000000, 'n');
  document_.Add(Event(name.c_str()));
  AddAndFlush("a");
  EXPECT_EQ(disk_.text, kHeader + Line(name, true) + Line("a"));
}

TEST_F(TraceDocumentTest, AnEventWithANameOfAnyLengthIsWhole) {
  std::vector<std::string> names;
  for (size_t length = 0; length < 1100; ++length) {
    names.emplace_back(length, static_cast<char>('a' + length % 26));
  }
  std::string expected = kHeader;
  for (const std::string& name : names) {
    document_.Add(Event(name.c_str()));
    expected += Line(name, name.empty());
  }
  document_.Flush();
  EXPECT_EQ(disk_.text, expected);
}

}  // namespace
