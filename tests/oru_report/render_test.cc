#include "oru_report/render/render.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "oru_report/model/report_parser.h"
#include "oru_report/text/path_text.h"
#include "tests/oru_report/sample.h"

namespace oru_report {
namespace {

Report Sample(const char* text = oru_report_test::kSignalReport) {
  Report report;
  std::string error;
  EXPECT_TRUE(ParseReport(text, &report, &error)) << error;
  return report;
}

constexpr char kFile[] = "Crash_A1_S1_Signal_2024-03-05-07-08-09.log";

std::string Text(const Report& report, bool color = false) {
  Resolver resolver(report, nullptr);
  StringOutput output;
  RenderText(MakeHeadline(kFile, "6.1.0", &resolver), &resolver, nullptr, color, &output);
  return output.text();
}

std::string Html(const Report& report, const std::string& title) {
  Resolver resolver(report, nullptr);
  StringOutput output;
  RenderHtml(MakeHeadline(kFile, "6.1.0", &resolver), &resolver, {}, title, &output);
  return output.text();
}

TEST(RenderText, BeginsWithTheHeadline) {
  EXPECT_EQ(Text(Sample()).substr(0, 163),
            "Signal in OruRTC::Engine::join(int), in the app host + 0x1234 | app A1 | SDK 6.1.0 | "
            "session S1 | 2024-03-05 07:08:09 | x86_64\n\nHarware Model:     x86_64\nProcess: ");
}

TEST(RenderText, PutsTheCrashedThreadFirst) {
  const std::string text = Text(Sample(), false);
  const size_t crashed = text.find("Thread 101  worker <1>  (crashed)");
  const size_t other = text.find("Thread 100  main");
  ASSERT_NE(crashed, std::string::npos);
  ASSERT_NE(other, std::string::npos);
  EXPECT_LT(crashed, other);
}

TEST(RenderText, DemanglesAndTellsNamelessFramesByTheirImage) {
  const std::string text = Text(Sample(), false);
  EXPECT_NE(text.find("OruRTC::Engine::join(int) + 28"), std::string::npos);
  EXPECT_NE(text.find("host + 0x1234"), std::string::npos);
}

TEST(RenderText, HasEscapeSequencesOnlyWithColor) {
  EXPECT_EQ(Text(Sample(), false).find('\x1b'), std::string::npos);
  EXPECT_NE(Text(Sample(), true).find("\x1b[1;31m"), std::string::npos);
}

TEST(RenderText, ShowsTheCrashedThreadOnce) {
  const std::string text = Text(Sample());
  const size_t first = text.find("Thread 101");
  EXPECT_NE(first, std::string::npos);
  EXPECT_EQ(text.find("Thread 101", first + 1), std::string::npos);
}

std::string CrashFrame(const char* name, unsigned at) {
  char line[128];
  snprintf(line, sizeof line, "/opt/app/libOruRTCEngine.so(%s+0x1) [0x7f0000%06x]\n", name, at);
  return line;
}

// Five frames, two of them 57 times, another one; 940 threads that wait.
std::string FoldingReport() {
  std::string text = oru_report_test::kSignalReport;
  std::string frames;
  for (unsigned i = 0; i < 5; ++i) frames += CrashFrame("first", 16 * i);
  for (int i = 0; i < 57; ++i) frames += CrashFrame("_Z1gv", 0x100) + CrashFrame("_Z1hv", 0x200);
  const std::string title = "Crash Thread Backtrace:\n";
  const size_t at = text.find(title) + title.size();
  text.replace(at, text.find("\n\n", at) + 1 - at, frames + CrashFrame("last", 0x300));
  std::string threads;
  for (int i = 0; i < 940; ++i) {
    threads += "Thread " + std::to_string(2000 + i) +
               " w:\nlibc.so.6    0x7f1000000010 __futex_wait + 16\n"
               "libc.so.6    0x7f1000000020 pthread_cond_wait + 32\n\n";
  }
  return text.insert(text.find("Fail to get information"), threads);
}

TEST(RenderText, FoldsWhatIsTheSame) {
  const std::string shown = Text(Sample(FoldingReport().c_str()));
  EXPECT_NE(shown.find("frames 5 to 118: the same 2, 57 times\n"), std::string::npos);
  const size_t once = shown.find("  g() + 1\n");
  EXPECT_NE(once, std::string::npos);
  EXPECT_EQ(shown.find("  g() + 1\n", once + 1), std::string::npos);
  EXPECT_NE(shown.find("#119 S  last + 1\n"), std::string::npos) << shown;
  EXPECT_NE(shown.find("\n940 threads waiting in pthread_cond_wait\n  2000 w, 2001 w"),
            std::string::npos);
}

TEST(RenderText, FoldsTheHandlersFrames) {
  std::string text = oru_report_test::kSignalReport;
  const std::string title = "Crash Thread Backtrace:\n";
  std::string frames;
  for (unsigned i = 0; i < 11; ++i) {
    frames += CrashFrame("_ZN12CrashHandler5WriteEv", 16 * i);
  }
  text.insert(text.find(title) + title.size(), frames + CrashFrame("_sigtramp", 0x200));
  const std::string shown = Text(Sample(text.c_str()));
  EXPECT_NE(shown.find("       12 frames of the crash handler\n  #12"), std::string::npos) << shown;
  EXPECT_EQ(shown.find("CrashHandler::Write"), std::string::npos);
  EXPECT_EQ(shown.find("_sigtramp"), std::string::npos);
}

TEST(RenderText, LosesNothingOfTheHostsText) {
  const std::string text = Text(Sample(), false);
  EXPECT_NE(text.find("build=7\nBinary Images:\n<b>bold</b>\n"), std::string::npos);
}

TEST(RenderHtml, EscapesWhatTheReportHolds) {
  const std::string html = Html(Sample(), "a<b");
  EXPECT_NE(html.find("&lt;b&gt;bold&lt;/b&gt;"), std::string::npos);
  EXPECT_NE(html.find("worker &lt;1&gt;"), std::string::npos);
  EXPECT_NE(html.find("<title>a&lt;b</title>"), std::string::npos);
  EXPECT_EQ(html.find("<b>bold"), std::string::npos);
}

TEST(RenderHtml, LoadsNothing) {
  const std::string html = Html(Sample(), "t");
  for (const char* word : {"src=", "href=\"h", "href=\"/", "http:", "https:", "@import", "url("}) {
    EXPECT_EQ(html.find(word), std::string::npos) << word;
  }
}

TEST(RenderHtml, OpensOnlyTheCrashedThread) {
  const std::string html = Html(Sample(), "t");
  EXPECT_NE(html.find("<details id=crashed class=\"crashed thread\" open><summary><h2>Crashed here"
                      "</h2> Thread 101"),
            std::string::npos);
  EXPECT_NE(html.find("<details class=thread id=t100><summary>Thread 100"), std::string::npos);
  // It is shown once.
  EXPECT_EQ(html.find("id=t101"), std::string::npos);
}

TEST(RenderHtml, FoldsWhatIsTheSame) {
  const std::string html = Html(Sample(FoldingReport().c_str()), "t");
  EXPECT_NE(html.find("<li class=note>frames 5 to 118: the same 2, 57 times</li>"),
            std::string::npos);
  EXPECT_NE(html.find("id=c-6>"), std::string::npos);
  EXPECT_EQ(html.find("id=c-7>"), std::string::npos);
  EXPECT_NE(html.find("<summary>940 threads waiting in pthread_cond_wait"), std::string::npos);
}

TEST(RenderHtml, ShowsTheException) {
  const std::string html = Html(Sample(oru_report_test::kExceptionReport), "t");
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
