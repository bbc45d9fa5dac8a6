#include "oru_report/analysis/folding.h"

#include <gtest/gtest.h>

#include "oru_report/model/report_parser.h"
#include "tests/oru_report/sample.h"

namespace oru_report {
namespace {

// One frame for each letter.
class Letters {
 public:
  FrameList List(const std::string& letters) {
    FrameList list;
    for (const char c : letters) list.push_back(&frames_[static_cast<unsigned char>(c)]);
    return list;
  }

 private:
  Frame frames_[256];
};

std::string Folded(const std::string& letters, size_t from = 0) {
  Letters frames;
  std::string text;
  for (const FrameRun& run : FoldFrames(frames.List(letters), from)) {
    text += letters.substr(run.first, run.size);
    text += run.times > 1 ? "*" + std::to_string(run.times) + " " : " ";
  }
  return text;
}

TEST(FoldFrames, LeavesWhatDoesNotRepeat) {
  EXPECT_EQ(Folded("abcdef"), "abcdef ");
  EXPECT_EQ(Folded("aabbcc"), "aabbcc ");
  EXPECT_EQ(Folded(""), "");
  EXPECT_EQ(Folded("abcdef", 2), "cdef ");
}

TEST(FoldFrames, FoldsRecursionOfOneAndOfSeveral) {
  EXPECT_EQ(Folded("xaaaay"), "x a*4 y ");
  EXPECT_EQ(Folded("xabababy"), "x ab*3 y ");
  EXPECT_EQ(Folded("xabcabcabcab"), "x abc*3 ab ");
  std::string deep = "main";
  for (int i = 0; i < 57; ++i) deep += "fg";
  EXPECT_EQ(Folded(deep), "main fg*57 ");
}

Report Parsed(const std::string& text) {
  Report report;
  std::string error;
  EXPECT_TRUE(ParseReport(text, &report, &error)) << error;
  return report;
}

TEST(FoldThreads, PutsEqualOnesTogetherAndLeavesTheCrashedOneOut) {
  std::string text = oru_report_test::kSignalReport;
  const std::string frame = "libc.so.6                       0x7f1000000010 __poll + 16\n\n";
  const size_t at = text.find("Fail to get information");
  text.insert(at, "Thread 7 idle:\n" + frame + "Thread 8 busy:\nhost    0x401300 main + 64\n\n" +
                      "Thread 9 idle:\n" + frame);
  const Report report = Parsed(text);
  const std::vector<ThreadGroup> groups = FoldThreads(report, report.CrashThread());
  ASSERT_EQ(groups.size(), 3U);
  EXPECT_EQ(groups[0][0]->number, 100U);
  ASSERT_EQ(groups[1].size(), 2U);
  EXPECT_EQ(groups[1][1]->number, 9U);
  EXPECT_EQ(groups[2][0]->number, 8U);
}

TEST(CountHandlerFrames, EndsBehindTheTrampolineThatTheThreadsBlockKnows) {
  // As on Linux: the handler is local, the trampoline misnamed or nameless.
  const Report report = Parsed(
      "Harware Model:     x86_64\nCrash Thread:      5\n\nCrash Thread Backtrace:\n"
      "/opt/host(+0x10) [0x400010]\n/lib/libc.so.6(+0x3c050) [0x7f0000000050]\n"
      "/opt/libOruRTC.so(Fail+0x1) [0x500001]\n\nAll Thread Backtrace:\nThread 5 w:\n"
      "host    0x400200 _ZN12CrashHandler8BackEnd + 4\n"
      "host    0x400300 _ZN12CrashHandler12_GLOBAL__N_124OruRTCSignalCatchHandlerEi + 4\n"
      "libc.so.6    0x7f0000000050 sigaction + 64\nlibOruRTC.so    0x500001 Fail + 1\n\n\n"
      "Binary Images:\n\nUserCustomInfo:\n\n");
  EXPECT_EQ(CountHandlerFrames(report), 2U);
}

TEST(CountHandlerFrames, IncludesTheTrampolineOfAReportThatWasCutBehindTheCrashedThread) {
  const std::string text =
      "Harware Model:     x86_64\nCrash Thread:      5\n\nCrash Thread Backtrace:\n"
      "/opt/host(_ZN12CrashHandler7HandlerEi+0x1) [0x400010]\n"
      "/lib/x86_64-linux-gnu/libc.so.6(+0x3c050) [0x7f0000000050]\n"
      "/lib/x86_64-linux-gnu/libc.so.6(abort+0x3) [0x7f0000000090]\n"
      "/opt/libOruRTC.so(Fail+0x1) [0x500001]\n";
  EXPECT_EQ(CountHandlerFrames(Parsed(text)), 2U);
  std::string allocation = text;
  allocation.replace(allocation.find("libc.so.6"), 9, "libstdc++.so.6");
  EXPECT_EQ(CountHandlerFrames(Parsed(allocation)), 1U);
}

TEST(CountHandlerFrames, IsNoneWhereNothingIsKnown) {
  EXPECT_EQ(CountHandlerFrames(Parsed(oru_report_test::kSignalReport)), 0U);
}

}  // namespace
}  // namespace oru_report
