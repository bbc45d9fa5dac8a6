#include "media_core/common/webrtc/rtc_base/checks.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <ostream>

#include "tests/support/child_process.h"

namespace rtc {
namespace {

using oru_test::ChildResult;
using oru_test::RunInFork;

// What a child that fails in `fail` with errno `error` writes to standard error.
template <class Fail>
std::string ReportOf(int error, Fail fail) {
  const ChildResult result = RunInFork([&] {
    errno = error;
    fail();
    return 0;
  });
  EXPECT_EQ(result.signal, SIGABRT) << result.Ending();
  return result.err;
}

std::string TextOf(std::string* owned) { return *std::unique_ptr<std::string>(owned); }

// Counts how often it is asked for and written.
struct Operand {
  int value;
  int* writes;
};
bool operator==(const Operand& a, const Operand& b) { return a.value == b.value; }
std::ostream& operator<<(std::ostream& stream, const Operand& operand) {
  ++*operand.writes;
  return stream << operand.value;
}

TEST(MakeCheckOpString, Of3Against4WithTheTextAEqualsB) {
  EXPECT_EQ(TextOf(MakeCheckOpString<int, int>(3, 4, "a == b")), "a == b (3 vs. 4)");
}

TEST(MakeCheckOpString, IsProvidedForTheUsualOperands) {
  EXPECT_EQ(TextOf(MakeCheckOpString<unsigned int, unsigned long>(4000000000u, 5ul, "t")),
            "t (4000000000 vs. 5)");
  EXPECT_EQ(TextOf(MakeCheckOpString<unsigned long, unsigned int>(~0ul, 5u, "t")),
            "t (18446744073709551615 vs. 5)");
  EXPECT_EQ(TextOf(MakeCheckOpString<unsigned long, unsigned long>(1ul, 2ul, "t")), "t (1 vs. 2)");
  EXPECT_EQ(TextOf(MakeCheckOpString<std::string, std::string>("x y", "", "s")), "s (x y vs. )");
}

TEST(MakeCheckOpString, WritesOtherOperandsAsAStreamDoes) {
  EXPECT_EQ(TextOf(MakeCheckOpString(1.5, 'c', "t")), "t (1.5 vs. c)");
}

TEST(FatalMessage, PlainReportHasTheExactLayout) {
  EXPECT_EQ(ReportOf(0, [] { FatalMessage("dir/file.cc", 42).stream() << "went wrong: " << 7; }),
            "\n\n#\n# Fatal error in dir/file.cc, line 42\n"
            "# last system error: 0\n"
            "# went wrong: 7\n#\n");
}

TEST(FatalMessage, ReportOfACheckHasTheExactLayout) {
  EXPECT_EQ(ReportOf(0, [] { FatalMessage("f", -1, new std::string("a == b (3 vs. 4)")); }),
            "\n\n#\n# Fatal error in f, line -1\n"
            "# last system error: 0\n"
            "# Check failed: a == b (3 vs. 4)\n# \n#\n");
}

TEST(FatalMessage, ShowsErrnoAtTheMomentTheReportWasStarted) {
  const std::string report = ReportOf(ENOENT, [] {
    FatalMessage message("f", 1);
    errno = EIO;
    message.stream() << "text";
  });
  EXPECT_NE(report.find("# last system error: " + std::to_string(ENOENT) + "\n"), std::string::npos)
      << report;
}

TEST(FatalMessage, ShowsErrnoAlsoInAFailedComparison) {
  const std::string report = ReportOf(EMFILE, [] { ORU_CHECK_EQ(std::string("a"), "b"); });
  EXPECT_NE(report.find("# last system error: " + std::to_string(EMFILE) + "\n"), std::string::npos)
      << report;
}

TEST(FatalMessage, InterpretsAPercentSignAsAFormat) {
  const std::string report = ReportOf(0, [] { FatalMessage("f", 1).stream() << "100%% sure"; });
  EXPECT_NE(report.find("# 100% sure\n"), std::string::npos) << report;
}

TEST(FatalMessage, FlushesStandardOutputFirst) {
  const ChildResult result = RunInFork([] {
    printf("before the end");
    FatalMessage("f", 1).stream() << "end";
    return 0;
  });
  EXPECT_EQ(result.signal, SIGABRT);
  EXPECT_EQ(result.out, "before the end");
}

TEST(FatalMessage, FromCHasThePlainLayout) {
  EXPECT_EQ(ReportOf(5, [] { rtc_FatalMessage("c_file.c", 12, "from C"); }),
            "\n\n#\n# Fatal error in c_file.c, line 12\n"
            "# last system error: 5\n"
            "# from C\n#\n");
}

TEST(PrintError, FormatsToStandardError) {
  const ChildResult result = RunInFork([] {
    PrintError("%s-%03d\n", "text", 7);
    return 0;
  });
  EXPECT_EQ(result.err, "text-007\n");
  EXPECT_EQ(result.out, "");
}

TEST(DumpBacktrace, WritesNothing) {
  const ChildResult result = RunInFork([] {
    DumpBacktrace();
    return 0;
  });
  EXPECT_EQ(result.err + result.out, "");
}

TEST(Check, FailureNamesFileLineAndCondition) {
  const int line = __LINE__ + 3;
  const std::string report = ReportOf(0, [] {
    const bool blue = false;
    ORU_CHECK(blue) << "the sky";
  });
  EXPECT_NE(report.find("tests/rtc_base/checks_test.cc, line " + std::to_string(line) + "\n"),
            std::string::npos)
      << report;
  EXPECT_NE(report.find("# Check failed: blue\n# the sky\n#\n"), std::string::npos) << report;
}

TEST(Check, ThatHoldsEvaluatesItsConditionOnceAndTheRestNever) {
  int evaluated = 0;
  int streamed = 0;
  ORU_CHECK(++evaluated > 0) << ++streamed;
  EXPECT_EQ(evaluated, 1);
  EXPECT_EQ(streamed, 0);
}

TEST(Check, StandsBetweenIfAndElse) {
  bool reached = false;
  if (getpid() == 0)
    ORU_CHECK(false);
  else
    reached = true;
  EXPECT_TRUE(reached);
  reached = false;
  if (getpid() == 0)
    ORU_CHECK_EQ(1, 2);
  else
    reached = true;
  EXPECT_TRUE(reached);
}

TEST(Check, BindsAsOneExpression) {
  const bool no = getpid() == 0;
  no&& ORU_CHECK(no) << "not reached";
  no&& ORU_CHECK_EQ(1, 2) << "not reached";
  !no || (ORU_CHECK(no));
  !no || (ORU_CHECK_NE(1, 1));
  no ? ORU_CHECK(no) : ORU_CHECK_EQ(1, 1);
  const std::string report = ReportOf(0, [no] { !no&& ORU_CHECK_EQ(1, 2) << "reached"; });
  EXPECT_NE(report.find("# Check failed: 1 == 2 (1 vs. 2)\n# reached\n"), std::string::npos);
}

template <int kA, int kB>
bool IsLess() {
  return kA < kB;
}

TEST(Check, TakesAConditionWithACommaInIt) {
  ORU_CHECK(IsLess<1, 2>());
  const std::string report = ReportOf(0, [] { ORU_CHECK(IsLess<2, 1>()) << "text"; });
  EXPECT_NE(report.find("# Check failed: IsLess<2, 1>()\n# text\n"), std::string::npos) << report;
}

TEST(CheckOp, OperandsMayCheckThemselves) {
  const std::string report = ReportOf(0, [] {
    const auto three = [] {
      ORU_CHECK_EQ(1, 1);
      return 3;
    };
    ORU_CHECK_EQ(three(), 4) << three();
  });
  EXPECT_NE(report.find("# Check failed: three() == 4 (3 vs. 4)\n# 3\n"), std::string::npos)
      << report;
}

TEST(CheckOp, ThatHoldsEvaluatesEachOperandOnceAndBuildsNoText) {
  int writes = 0;
  int evaluated = 0;
  const auto operand = [&] {
    ++evaluated;
    return Operand{3, &writes};
  };
  ORU_CHECK_EQ(operand(), operand());
  EXPECT_EQ(evaluated, 2);
  EXPECT_EQ(writes, 0);
}

TEST(CheckOp, FailureShowsBothOperandsAndWhatWasStreamed) {
  const std::string report = ReportOf(0, [] {
    const int a = 3;
    const int b = 4;
    ORU_CHECK_EQ(a, b) << "while counting";
  });
  EXPECT_NE(report.find("# Check failed: a == b (3 vs. 4)\n# while counting\n#\n"),
            std::string::npos)
      << report;
}

TEST(CheckOp, WithAPlaceOfItsOwnReportsThatPlaceAndText) {
  EXPECT_EQ(ReportOf(0, [] { ORU_CHECK_OP_AT("some/file", 58, "0 == call()", EQ, 0, 11); }),
            "\n\n#\n# Fatal error in some/file, line 58\n"
            "# last system error: 0\n"
            "# Check failed: 0 == call() (0 vs. 11)\n# \n#\n");
}

struct Comparison {
  const char* name;
  const char* text;
  void (*run)(int a, int b);
  // Whether it holds for a < b, a == b, a > b.
  bool less, equal, greater;
  // It fails against 2.
  int failing_a;
};

void PrintTo(const Comparison& comparison, std::ostream* out) { *out << comparison.name; }

class EachComparison : public testing::TestWithParam<Comparison> {};

TEST_P(EachComparison, PassesAndFailsAsItsOperatorSays) {
  const Comparison& c = GetParam();
  const auto passes = [&c](int a, int b) {
    return RunInFork([&] {
             c.run(a, b);
             return 0;
           }).exit_code == 0;
  };
  EXPECT_EQ(passes(1, 2), c.less);
  EXPECT_EQ(passes(2, 2), c.equal);
  EXPECT_EQ(passes(3, 2), c.greater);
}

TEST_P(EachComparison, IsQuotedInItsReport) {
  const Comparison& c = GetParam();
  const std::string report = ReportOf(0, [&c] { c.run(c.failing_a, 2); });
  const std::string text = std::string(c.text) + " (" + std::to_string(c.failing_a) + " vs. 2)";
  EXPECT_NE(report.find("# Check failed: " + text + "\n"), std::string::npos) << report;
}

INSTANTIATE_TEST_SUITE_P(
    Checks, EachComparison,
    testing::Values(
        Comparison{"Eq", "a == b", [](int a, int b) { ORU_CHECK_EQ(a, b); }, false, true, false, 1},
        Comparison{"Ne", "a != b", [](int a, int b) { ORU_CHECK_NE(a, b); }, true, false, true, 2},
        Comparison{"Lt", "a < b", [](int a, int b) { ORU_CHECK_LT(a, b); }, true, false, false, 3},
        Comparison{"Le", "a <= b", [](int a, int b) { ORU_CHECK_LE(a, b); }, true, true, false, 3},
        Comparison{"Gt", "a > b", [](int a, int b) { ORU_CHECK_GT(a, b); }, false, false, true, 1},
        Comparison{"Ge", "a >= b", [](int a, int b) { ORU_CHECK_GE(a, b); }, false, true, true, 1}),
    [](const testing::TestParamInfo<Comparison>& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace rtc
