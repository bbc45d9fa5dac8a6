// A real fault with everything installed: from the exception message to the report.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "tests/mach_double/mach_double.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

// Their names are what the report's filter looks for.
extern "C" __attribute__((noinline, visibility("default"))) int OruRTCReadNull(
    const volatile int* from) {
  return *from + 1;
}

extern "C" __attribute__((noinline, visibility("default"))) void OruRTCAbort() {
  void (*volatile end)() = abort;  // so that the call is not the function's last instruction
  end();
}

namespace {

using CrashHandler::CrashHandlerProxy;

void PrintLine(CrashHandler::CrashHandlerLogLevel level, const char* /*tag*/, const char* /*file*/,
               int /*line*/, char* message) {
  printf("%d %s\n", level, message);
  fflush(stdout);
}

void Install(const std::string& dump_dir, bool enable_mach = true) {
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
}

void DereferenceNull(const std::string& dump_dir, bool enable_mach) {
  Install(dump_dir, enable_mach);
  OruRTCReadNull(nullptr);
}

// A host's own handler for exceptions, which refuses each.
void* RefuseAll(void* port) {
  for (;;) {
    struct {
      mach_msg_header_t header;
      uint8_t rest[556];
    } request = {};
    mach_msg(&request.header, MACH_RCV_MSG, 0, sizeof(request), *static_cast<mach_port_t*>(port), 0,
             MACH_PORT_NULL);
    mach_port_deallocate(mach_task_self(), request.header.msgh_remote_port);
  }
}

void RegisterHostsHandler() {
  static mach_port_t port = MACH_PORT_NULL;
  mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port);
  mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND);
  task_set_exception_ports(mach_task_self(), EXC_MASK_BAD_ACCESS, port, EXCEPTION_DEFAULT,
                           THREAD_STATE_NONE);
  pthread_t thread;
  pthread_create(&thread, nullptr, RefuseAll, &port);
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

// Its handler is asked once a fault: for this one the task had ours.
TEST(MachCrashFlow, AHostsOwnHandlerIsAskedWhenTheFaultComesAgain) {
  const oru_test::TempDir dir;
  const oru_test::ChildResult child = oru_test::RunInFork([&] {
    RegisterHostsHandler();
    DereferenceNull(dir.path(), true);
    return 0;
  });
  EXPECT_EQ(SIGSEGV, child.signal) << child.Ending() << child.out << child.err;
  const size_t report = child.out.find("1 DarwinCrashHandler::report finish");
  ASSERT_NE(std::string::npos, report) << child.out;
  EXPECT_EQ(1, CountOf(child.out.substr(0, report), "kernel: exception 1 sent")) << child.out;
  EXPECT_EQ(1, CountOf(child.out.substr(report), "kernel: exception 1 sent")) << child.out;
  EXPECT_EQ(1u, oru_test::ListFilesRecursively(dir.path()).size()) << child.out;
}

TEST(MachCrashFlow, AForksChildCrashesByItselfAndTheParentAfterIt) {
  const oru_test::TempDir dir;
  oru_test::ChildOptions options;
  options.timeout_s = 20;
  const oru_test::ChildResult child = oru_test::RunInFork(
      [&] {
        Install(dir.path());
        const pid_t forked = fork();
        if (forked == 0) return OruRTCReadNull(nullptr);
        int status = 0;
        waitpid(forked, &status, 0);
        if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGSEGV) return 1;
        // The two would have the same name, which is the second's.
        const std::vector<std::string> reports = oru_test::ListFilesRecursively(dir.path());
        if (reports.size() != 1 || unlink((dir.path() + "/" + reports[0]).c_str()) != 0) return 2;
        return OruRTCReadNull(nullptr);
      },
      options);
  EXPECT_EQ(SIGSEGV, child.signal) << child.Ending() << child.out << child.err;
  EXPECT_EQ(1, CountOf(child.out, "receiver mach exception and replay to system")) << child.out;
  EXPECT_EQ(1u, oru_test::ListFilesRecursively(dir.path()).size()) << child.out;
}

TEST(MachCrashFlow, AForksChildCanInstallItsOwn) {
  const oru_test::TempDir dir;
  const oru_test::ChildResult child = oru_test::RunInFork([&] {
    Install(dir.path());
    const pid_t forked = fork();
    if (forked == 0) {
      CrashHandlerProxy* const handler = CrashHandlerProxy::CreateCrashHandler();
      handler->UnInstallCrashHandler();
      handler->InstallCrashHandler();
      return OruRTCReadNull(nullptr);
    }
    int status = 0;
    waitpid(forked, &status, 0);
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV ? 0 : 1;
  });
  EXPECT_EQ(0, child.exit_code) << child.Ending() << child.out << child.err;
  EXPECT_EQ(1, CountOf(child.out, "receiver mach exception and replay to system")) << child.out;
  EXPECT_EQ(1u, oru_test::ListFilesRecursively(dir.path()).size()) << child.out;
}

void* ReadNullTogether(void* barrier) {
  pthread_barrier_wait(static_cast<pthread_barrier_t*>(barrier));
  OruRTCReadNull(nullptr);
  return nullptr;
}

TEST(MachCrashFlow, ThreadsThatFaultTogetherEndWithOneReport) {
  const oru_test::TempDir dir;
  const oru_test::ChildResult child = oru_test::RunInFork([&] {
    Install(dir.path());
    static pthread_barrier_t barrier;
    pthread_barrier_init(&barrier, nullptr, 5);
    for (int i = 0; i < 4; ++i) {
      pthread_t thread;
      pthread_create(&thread, nullptr, ReadNullTogether, &barrier);
    }
    ReadNullTogether(&barrier);
    return 0;
  });
  EXPECT_EQ(SIGSEGV, child.signal) << child.Ending() << child.out << child.err;
  EXPECT_EQ(1, CountOf(child.out, "singal happend")) << child.out;
  EXPECT_EQ(1u, oru_test::ListFilesRecursively(dir.path()).size()) << child.out;
}

TEST(MachCrashFlow, AnAbortOfOlderSystemsLeavesAReport) {
  const oru_test::TempDir dir;
  const oru_test::ChildResult child = oru_test::RunInFork([&] {
    Install(dir.path());
    mach_double::UseOldAbort();
    OruRTCAbort();
    return 0;
  });
  EXPECT_EQ(SIGABRT, child.signal) << child.Ending() << child.out << child.err;
  EXPECT_EQ(1u, oru_test::ListFilesRecursively(dir.path()).size()) << child.out;
}

void FaultInTheCallback(void* /*handler*/, CrashHandler::CrashType /*type*/) {
  OruRTCReadNull(nullptr);
}

// The callback faults on a thread that abort() has left with the fault's signal blocked: while a
// crash is handled it is open, and the fault ends the process.
TEST(MachCrashFlow, AFaultDuringAnAbortOfOlderSystemsEndsTheProcess) {
  const oru_test::TempDir dir;
  const oru_test::ChildResult child = oru_test::RunInFork([&] {
    Install(dir.path());
    mach_double::ObserveFaults(nullptr);
    CrashHandlerProxy::CreateCrashHandler()->SetCrashHandlerCallback(FaultInTheCallback);
    mach_double::UseOldAbort();
    OruRTCAbort();
    return 0;
  });
  EXPECT_EQ(SIGSEGV, child.signal) << child.Ending() << child.wall_s << child.out << child.err;
  EXPECT_LT(child.wall_s, 5) << child.out;
  EXPECT_EQ(1u, oru_test::ListFilesRecursively(dir.path()).size()) << child.out;
}

// The same with a fault: the handler runs with the fault's signal blocked.
TEST(MachCrashFlow, AFaultDuringAFaultEndsTheProcess) {
  const oru_test::TempDir dir;
  const oru_test::ChildResult child = oru_test::RunInFork([&] {
    Install(dir.path());
    mach_double::ObserveFaults(nullptr);
    CrashHandlerProxy::CreateCrashHandler()->SetCrashHandlerCallback(FaultInTheCallback);
    OruRTCReadNull(nullptr);
    return 0;
  });
  EXPECT_EQ(SIGSEGV, child.signal) << child.Ending() << child.wall_s << child.out << child.err;
  EXPECT_LT(child.wall_s, 5) << child.out;
  EXPECT_EQ(1u, oru_test::ListFilesRecursively(dir.path()).size()) << child.out;
}

}  // namespace
