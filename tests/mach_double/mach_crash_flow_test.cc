// A real fault with everything installed: from the exception message to the report.
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdio>
#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "tests/mach_double/mach_double.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

// Its name is what the report's filter looks for.
extern "C" __attribute__((noinline, visibility("default"))) int OruRTCReadNull(
    const volatile int* from) {
  return *from + 1;
}

namespace {

using CrashHandler::CrashHandlerProxy;

void PrintLine(CrashHandler::CrashHandlerLogLevel level, const char* /*tag*/, const char* /*file*/,
               int /*line*/, char* message) {
  printf("%d %s\n", level, message);
  fflush(stdout);
}

void DereferenceNull(const std::string& dump_dir, bool enable_mach) {
  for (const int signo : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP}) signal(signo, SIG_DFL);
  mach_double::CatchHardwareFaults();
  mach_double::ObserveFaults([](const std::string& line) {
    printf("kernel: %s\n", line.c_str());
    fflush(stdout);
  });
  CrashHandlerProxy* const handler = CrashHandlerProxy::CreateCrashHandler();
  CrashHandler::CrashHandlerConfig config = handler->GetCrashHandlerConfig();
  config.enableMachExceptionHandler = enable_mach;
  handler->UpdateCrashHandlerConfig(config);
  handler->SetCrashDumpDirPath(dump_dir.c_str());
  handler->SetDebugLogSinkCallback(PrintLine);
  handler->InstallCrashHandler();
  OruRTCReadNull(nullptr);
}

std::vector<size_t> Positions(const std::string& text, const std::vector<std::string>& lines) {
  std::vector<size_t> positions;
  positions.reserve(lines.size());
  for (const std::string& line : lines) positions.push_back(text.find(line + "\n"));
  return positions;
}

int CountOf(const std::string& text, const std::string& what) {
  int count = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
  return count;
}

TEST(MachCrashFlow, ANullDereferenceGoesFromTheExceptionToOneReport) {
  const oru_test::TempDir dir;
  const oru_test::ChildResult child = oru_test::RunInFork([&] {
    DereferenceNull(dir.path(), true);
    return 0;
  });
  EXPECT_EQ(SIGSEGV, child.signal) << child.Ending() << child.out << child.err;
  const std::vector<size_t> order =
      Positions(child.out,
                {"kernel: exception 1 sent",
                 "1 DarwinCrashHandler::receiver mach exception and replay to system",
                 "1 Restore original mach exception ports", "1 Restore mach exception ports finish",
                 "1 Mach exception handlers uninstalled", "kernel: reply 5", "kernel: signal 11",
                 "1 DarwinCrashHandler::singal happend, signal = 11 "});
  for (size_t i = 0; i < order.size(); ++i) {
    EXPECT_NE(std::string::npos, order[i]) << i << "\n" << child.out;
    // The message may be taken before the kernel's side has told that it was sent.
    if (i > 1) EXPECT_LT(order[i - 1], order[i]) << i << "\n" << child.out;
  }
  EXPECT_EQ(1, CountOf(child.out, "receiver mach exception and replay to system"));
  EXPECT_EQ(1, CountOf(child.out, "singal happend"));
  EXPECT_EQ(1u, oru_test::ListFilesRecursively(dir.path()).size()) << child.out;
}

TEST(MachCrashFlow, SwitchedOffTheFaultIsASignalAtOnce) {
  const oru_test::TempDir dir;
  const oru_test::ChildResult child = oru_test::RunInFork([&] {
    DereferenceNull(dir.path(), false);
    return 0;
  });
  EXPECT_EQ(SIGSEGV, child.signal) << child.Ending() << child.out << child.err;
  EXPECT_EQ(0, CountOf(child.out, "mach exception"));
  EXPECT_EQ(0, CountOf(child.out, "kernel: exception"));
  EXPECT_EQ(1u, oru_test::ListFilesRecursively(dir.path()).size()) << child.out;
}

}  // namespace
