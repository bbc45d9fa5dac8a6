// How much of a stack that is somebody else's the handling of a signal takes.
#include "media_core/biz_engine/crash_handler/dying/crash_stack.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/biz_engine/crash_handler/crash_neighbours.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

// What the filter finds.
extern "C" __attribute__((noinline, visibility("default"))) int OruRTCStackTestRaise() {
  return raise(SIGPIPE) + 1;
}

extern "C" __attribute__((noinline, visibility("default"))) int OruRTCStackTestRaiseTrap() {
  return raise(SIGTRAP) + 1;
}

namespace CrashHandler {
namespace {

constexpr size_t kBound = 2048;
constexpr unsigned char kPaint = 0xA5;

// An alternate stack that shows how far down it was written.
class PaintedStack {
 public:
  explicit PaintedStack(size_t size) : size_(size) {
    void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
    bytes_ = static_cast<unsigned char*>(memory);
    Paint();
    stack_t stack = {};
    stack.ss_sp = memory;
    stack.ss_size = size;
    if (memory == MAP_FAILED || sigaltstack(&stack, nullptr) != 0) _exit(90);
  }

  void Paint() { memset(bytes_, kPaint, size_); }
  // Bytes from the deepest one written to the top.
  size_t Used() const {
    size_t clean = 0;
    while (clean < size_ && bytes_[clean] == kPaint) ++clean;
    return size_ - clean;
  }
  size_t BelowTop(uintptr_t address) const {
    return reinterpret_cast<uintptr_t>(bytes_) + size_ - address;
  }

 private:
  unsigned char* bytes_;
  size_t size_;
};

uintptr_t sHandlerFrame = 0;

// Has `signal` handled on the alternate stack by a handler that notes where its frame lies.
void NoteHandlerFrame(int signal) {
  struct sigaction action = {};
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  action.sa_sigaction = [](int, siginfo_t*, void*) {
    sHandlerFrame = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  };
  sigaction(signal, &action, nullptr);
}

// What the kernel takes: from the top to where a handler begins.
size_t KernelFrame(PaintedStack* stack) {
  NoteHandlerFrame(SIGPIPE);
  raise(SIGPIPE);
  signal(SIGPIPE, SIG_DFL);
  stack->Paint();
  // The saved frame pointer and the return address stand above.
  return stack->BelowTop(sHandlerFrame + 2 * sizeof(void*));
}

void Sink(CrashHandlerLogLevel, const char*, const char*, int, char* message) {
  volatile char room[4096];
  for (volatile char& byte : room) byte = message[0];
}

CrashHandlerProxy* Install(const std::string& dir) {
  CrashHandlerProxy* const handler = CrashHandlerProxy::CreateCrashHandler();
  handler->SetCrashDumpDirPath(dir.c_str());
  handler->SetDebugLogSinkCallback(Sink);
  handler->InstallCrashHandler();
  return handler;
}

// What the module takes of the stack besides, as the child's words.
int Tell(const PaintedStack& stack, size_t kernel) {
  const size_t used = stack.Used() - kernel;
  printf("%zu of %zu\n", used, kernel);
  fflush(stdout);
  return used <= kBound ? 0 : 1;
}

TEST(CrashStackTest, AReportTakesNextToNothingOfTheInterruptedStack) {
  const oru_test::TempDir dir;
  const auto child = oru_test::RunInFork([&dir] {
    PaintedStack stack(size_t{256} << 10);
    const size_t kernel = KernelFrame(&stack);
    Install(dir.Join("dumps"));
    OruRTCStackTestRaise();
    return Tell(stack, kernel);
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending() << child.out << child.err;
  EXPECT_EQ(oru_test::ListFilesRecursively(dir.path()).size(), 1U);
}

TEST(CrashStackTest, ARefusedCrashTakesNextToNothingEither) {
  const oru_test::TempDir dir;
  const auto child = oru_test::RunInFork([&dir] {
    PaintedStack stack(size_t{256} << 10);
    const size_t kernel = KernelFrame(&stack);
    CrashHandlerProxy* const handler = Install(dir.Join("dumps"));
    OruRTCStackTestRaise();
    handler->UnInstallCrashHandler();
    handler->InstallCrashHandler();
    stack.Paint();
    OruRTCStackTestRaise();
    return Tell(stack, kernel);
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending() << child.out << child.err;
}

TEST(CrashStackTest, AnOlderHandlerHasTheRestForItself) {
  const oru_test::TempDir dir;
  const auto child = oru_test::RunInFork([&dir] {
    PaintedStack stack(size_t{256} << 10);
    const size_t kernel = KernelFrame(&stack);
    NoteHandlerFrame(SIGPIPE);
    Install(dir.Join("dumps"));
    sHandlerFrame = 0;
    OruRTCStackTestRaise();
    if (sHandlerFrame == 0) return 2;
    const bool on_stack = stack.BelowTop(sHandlerFrame) <= kernel + kBound;
    return on_stack ? Tell(stack, kernel) : 3;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending() << child.out << child.err;
}

// The system's breakpoint: an instruction that the runtime behind the front knows.
TEST(CrashStackTest, StandingInFrontTakesNextToNothingEither) {
  const oru_test::TempDir dir;
  const auto child = oru_test::RunInFork([&dir] {
    PaintedStack stack(size_t{256} << 10);
    const size_t kernel = KernelFrame(&stack);
    NoteHandlerFrame(SIGTRAP);
    Install(dir.Join("dumps"));
    const bool stands = StandInFrontOf([](int, const siginfo_t*, const void*) { return true; });
    sHandlerFrame = 0;
    __builtin_debugtrap();
    if (!stands || sHandlerFrame == 0 || Tell(stack, kernel) != 0) return 2;
    sHandlerFrame = 0;
    OruRTCStackTestRaiseTrap();
    return sHandlerFrame == 0 ? 3 : Tell(stack, kernel);
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending() << child.out << child.err;
  EXPECT_EQ(oru_test::ListFilesRecursively(dir.path()).size(), 1U);
}

// The alternate stack, the mask and where the thread goes on are as before.
TEST(CrashStackTest, TheThreadsStacksAreItsOwnAfterwards) {
  const oru_test::TempDir dir;
  const auto child = oru_test::RunInFork([&dir] {
    PaintedStack stack(size_t{64} << 10);
    stack_t before = {};
    stack_t after = {};
    sigaltstack(nullptr, &before);
    Install(dir.Join("dumps"));
    OruRTCStackTestRaise();
    sigaltstack(nullptr, &after);
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    for (int signo = 1; signo < 32; ++signo) {
      if (sigismember(&mask, signo) == 1) return 3;
    }
    return before.ss_sp == after.ss_sp && before.ss_size == after.ss_size &&
                   before.ss_flags == after.ss_flags
               ? 0
               : 2;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
}

void* RaiseOnThread(void*) {
  OruRTCStackTestRaise();
  return nullptr;
}

// A thread whose stack has room for little more than the kernel's frame.
TEST(CrashStackTest, AThreadOf16KiBGivesAWholeReport) {
  const oru_test::TempDir dir;
  const auto child = oru_test::RunInFork([&dir] {
    Install(dir.Join("dumps"));
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, size_t{16} << 10);
    pthread_t thread;
    if (pthread_create(&thread, &attributes, RaiseOnThread, nullptr) != 0) return 2;
    pthread_join(thread, nullptr);
    return 0;
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  EXPECT_EQ(oru_test::ListFilesRecursively(dir.path()).size(), 1U);
}

ucontext_t sMain;
ucontext_t sCoroutine;

TEST(CrashStackTest, ACoroutineOf16KiBGivesAWholeReport) {
  const oru_test::TempDir dir;
  const auto child = oru_test::RunInFork([&dir] {
    constexpr size_t kSize = size_t{16} << 10;
    void* const stack = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
    Install(dir.Join("dumps"));
    getcontext(&sCoroutine);
    sCoroutine.uc_stack.ss_sp = stack;
    sCoroutine.uc_stack.ss_size = kSize;
    sCoroutine.uc_link = &sMain;
    makecontext(
        &sCoroutine, [] { OruRTCStackTestRaise(); }, 0);
    return swapcontext(&sMain, &sCoroutine);
  });
  EXPECT_EQ(child.exit_code, 0) << child.Ending();
  EXPECT_EQ(oru_test::ListFilesRecursively(dir.path()).size(), 1U);
}

}  // namespace
}  // namespace CrashHandler
