// What the doctor says is what a crash does: each verdict about a function is held against a crash
// in it.
#include "media_core/biz_engine/crash_handler/crash_doctor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

#define TEST_FUNCTION \
  __attribute__((noinline, disable_tail_calls, no_sanitize("address", "undefined", "thread")))

extern "C" {
TEST_FUNCTION __attribute__((visibility("default"))) void OruRTCDoctorTestCrash() {
  *static_cast<volatile int*>(nullptr) = 1;
}
TEST_FUNCTION __attribute__((visibility("default"))) void PlainDoctorTestCrash() {
  *static_cast<volatile int*>(nullptr) = 2;
}
TEST_FUNCTION static void OruRTCLocalDoctorTestCrash() { *static_cast<volatile int*>(nullptr) = 3; }
}

namespace CrashHandler {
namespace {

using oru_test::TempDir;

const CrashFinding* Find(const std::vector<CrashFinding>& findings, const char* subject) {
  for (const CrashFinding& finding : findings) {
    if (finding.subject == subject) return &finding;
  }
  return nullptr;
}

CrashHandlerProxy* Install(const TempDir& dir) {
  CrashHandlerProxy* const handler = CrashHandlerProxy::CreateCrashHandler();
  handler->SetCrashDumpDirPath(dir.Join("dumps").c_str());
  handler->InstallCrashHandler();
  return handler;
}

// Examines and crashes in a child; its exit status is the verdict's when it does not crash.
void CheckFunction(void (*function)(), const char* name, bool reported) {
  const TempDir dir;
  const oru_test::ChildResult result = oru_test::RunInFork([&] {
    Install(dir);
    const auto findings = ExamineCrashCapture(reinterpret_cast<const void*>(function));
    const CrashFinding* finding = Find(findings, "function");
    if (finding == nullptr || finding->text.find(name) == std::string::npos) return 90;
    if (finding->good != reported) return 91;
    function();
    return 0;
  });
  EXPECT_EQ(result.signal, SIGSEGV) << name << " " << result.exit_code << result.err;
  EXPECT_EQ(oru_test::ListFilesRecursively(dir.path()).size(), reported ? 1U : 0U) << name;
}

TEST(CrashDoctor, AFunctionOfTheSdkIsReportedAndAnotherIsNot) {
  CheckFunction(&OruRTCDoctorTestCrash, "OruRTCDoctorTestCrash", true);
  CheckFunction(&PlainDoctorTestCrash, "PlainDoctorTestCrash", false);
}

TEST(CrashDoctor, AFunctionThatIsNotExportedCountsWhereTheFileNamesIt) {
  CheckFunction(&OruRTCLocalDoctorTestCrash, "OruRTCLocalDoctorTestCrash", true);
}

TEST(CrashDoctor, AWellSetUpProcessIsTold) {
  const TempDir dir;
  const oru_test::ChildResult result = oru_test::RunInFork([&] {
    Install(dir);
    static char memory[64 << 10];
    stack_t stack = {};
    stack.ss_sp = memory;
    stack.ss_size = sizeof memory;
    sigaltstack(&stack, nullptr);
    int bad = 0;
    const auto findings =
        ExamineCrashCapture(reinterpret_cast<const void*>(&OruRTCDoctorTestCrash));
    for (const CrashFinding& finding : findings) {
      if (!finding.good) fprintf(stderr, "%s: %s\n", finding.subject.c_str(), finding.text.c_str());
      bad += finding.good ? 0 : 1;
    }
    return findings.size() == 5 ? bad : 80;
  });
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

TEST(CrashDoctor, EachThingThatIsAmissIsNamed) {
  const TempDir dir;
  const oru_test::ChildResult result = oru_test::RunInFork([&] {
    const char* const subjects[] = {"handlers", "dump folder", "alternate stack", "descriptors"};
    stack_t none = {};
    none.ss_flags = SS_DISABLE;
    sigaltstack(&none, nullptr);
    oru_test::WriteFile(dir.Join("file"), "x");
    CrashHandlerProxy* const handler = CrashHandlerProxy::CreateCrashHandler();
    handler->SetCrashDumpDirPath(dir.Join("file").c_str());
    struct rlimit few = {8, 8};
    setrlimit(RLIMIT_NOFILE, &few);
    while (open("/dev/null", O_RDONLY) >= 0) {
    }
    int at = 0;
    const auto findings = ExamineCrashCapture(nullptr);
    for (const CrashFinding& finding : findings) {
      if (at == 4 || finding.good || finding.subject != subjects[at++]) return 90 + at;
    }
    return at == 4 && findings[0].text == "crash capture is not installed" ? 0 : 80;
  });
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

TEST(CrashDoctor, WhoHasTakenASignalSinceIsNamed) {
  const TempDir dir;
  const oru_test::ChildResult result = oru_test::RunInFork([&] {
    Install(dir);
    signal(SIGSEGV, [](int) {});
    const CrashFinding finding = ExamineCrashCapture(nullptr)[0];
    const bool named = finding.text.find("SIGSEGV is ") != std::string::npos;
    return !finding.good && named && finding.text.find("SIGBUS") == std::string::npos ? 0 : 1;
  });
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

TEST(CrashDoctor, AnAddressOfNoImageIsNoFunction) {
  const TempDir dir;
  const oru_test::ChildResult result = oru_test::RunInFork([&] {
    Install(dir);
    const auto findings = ExamineCrashCapture(reinterpret_cast<const void*>(16));
    const CrashFinding* finding = Find(findings, "function");
    return finding != nullptr && !finding->good ? 0 : 1;
  });
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

}  // namespace
}  // namespace CrashHandler
