#include "oru_report/render.h"

#include <gtest/gtest.h>

#include "oru_report/frame_view.h"
#include "oru_report/report_parser.h"
#include "tests/oru_report/sample.h"

namespace oru_report {
namespace {

Report Sample(const char* text = oru_report_test::kSignalReport) {
  Report report;
  std::string error;
  EXPECT_TRUE(ParseReport(text, &report, &error)) << error;
  return report;
}

TEST(RenderText, PutsTheCrashedThreadFirst) {
  const std::string text = RenderText(Sample(), nullptr, false);
  const size_t crashed = text.find("Thread 101  worker <1>  (crashed)");
  const size_t other = text.find("Thread 100  main");
  ASSERT_NE(crashed, std::string::npos);
  ASSERT_NE(other, std::string::npos);
  EXPECT_LT(crashed, other);
}

TEST(RenderText, DemanglesAndTellsNamelessFramesByTheirImage) {
  const std::string text = RenderText(Sample(), nullptr, false);
  EXPECT_NE(text.find("OruRTC::Engine::join(int) + 28"), std::string::npos);
  EXPECT_NE(text.find("host + 0x1234"), std::string::npos);
}

TEST(RenderText, HasEscapeSequencesOnlyWithColor) {
  EXPECT_EQ(RenderText(Sample(), nullptr, false).find('\x1b'), std::string::npos);
  EXPECT_NE(RenderText(Sample(), nullptr, true).find("\x1b[1;31m"), std::string::npos);
}

TEST(RenderText, LosesNothingOfTheHostsText) {
  const std::string text = RenderText(Sample(), nullptr, false);
  EXPECT_NE(text.find("build=7\nBinary Images:\n<b>bold</b>\n"), std::string::npos);
}

TEST(RenderHtml, EscapesWhatTheReportHolds) {
  const std::string html = RenderHtml(Sample(), nullptr, "a<b");
  EXPECT_NE(html.find("&lt;b&gt;bold&lt;/b&gt;"), std::string::npos);
  EXPECT_NE(html.find("worker &lt;1&gt;"), std::string::npos);
  EXPECT_NE(html.find("<title>a&lt;b</title>"), std::string::npos);
  EXPECT_EQ(html.find("<b>bold"), std::string::npos);
}

TEST(RenderHtml, LoadsNothing) {
  const std::string html = RenderHtml(Sample(), nullptr, "t");
  for (const char* word : {"src=", "href=", "http:", "https:", "@import", "url("}) {
    EXPECT_EQ(html.find(word), std::string::npos) << word;
  }
}

TEST(RenderHtml, OpensOnlyTheCrashedThread) {
  const std::string html = RenderHtml(Sample(), nullptr, "t");
  EXPECT_NE(html.find("<details class=crashed open><summary>Thread 101"), std::string::npos);
  EXPECT_NE(html.find("<details><summary>Thread 100"), std::string::npos);
}

TEST(RenderHtml, ShowsTheException) {
  const std::string html = RenderHtml(Sample(oru_report_test::kExceptionReport), nullptr, "t");
  EXPECT_NE(html.find("uncaught exception &apos;Range&apos;"), std::string::npos);
}

TEST(ShortPath, DropsDetours) {
  EXPECT_EQ(ShortPath("/build/../src/./a/b/../c.cc"), "/src/a/c.cc");
  EXPECT_EQ(ShortPath("/src//a.cc"), "/src/a.cc");
  EXPECT_EQ(ShortPath("/../a.cc"), "/a.cc");
  EXPECT_EQ(ShortPath("../../src/a.cc"), "../../src/a.cc");
  EXPECT_EQ(ShortPath("a/../../b.cc"), "../b.cc");
  EXPECT_EQ(ShortPath("./a.cc"), "a.cc");
  EXPECT_EQ(ShortPath(""), "");
}

}  // namespace
}  // namespace oru_report
