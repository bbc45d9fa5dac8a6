// Captures among threads that wait, block, handle signals or have no room for one.
#include <errno.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "media_core/biz_engine/crash_handler/machine/memory/system_call_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/bounded_wait.h"
#include "media_core/biz_engine/crash_handler/machine/threads/interrupted_threads_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/task_files_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/thread_capture.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"
#include "tests/crash_handler/support/after_main_thread_linux.h"
#include "tests/support/child_process.h"

namespace CrashHandler::machine {
namespace {

// The thread's chain as a report takes it.
CallChain ChainOf(ThreadNumber number) {
  struct Context {
    StackWalker walker;
    CallChain chain = {};
  } seen;
  seen.chain.status = ChainStatus::kNoThreadState;
  const auto visit = [](void* context, const ThreadLook& look) {
    auto* out = static_cast<Context*>(context);
    if (look.registers == nullptr) return true;
    return out->walker.Walk(*look.registers, look.known, &out->chain);
  };
  ThreadCapture().Visit(&number, 1, visit, &seen);
  return seen.chain;
}

bool WaitsInKernel(ThreadNumber number) {
  char line[256];
  WaitingTask task;
  const int file = OpenTaskFile(number, "syscall");
  const bool waits = file >= 0 && ReadTaskFile(file, line, sizeof(line)) &&
                     ParseWaitingTask(line, &task) && task.call >= 0;
  close(file);
  return waits;
}

// A thread of its own, up to the end of the scope.
class Runner {
 public:
  template <typename Function>
  explicit Runner(Function function)
      : thread_([this, function] {
          number_ = CurrentThreadNumber();
          function();
        }) {
    while (number_ == 0) std::this_thread::yield();
  }
  ~Runner() { thread_.join(); }
  ThreadNumber number() const { return number_; }
  void AwaitKernel() const {
    while (!WaitsInKernel(number_)) std::this_thread::yield();
  }

 private:
  std::atomic<ThreadNumber> number_{0};
  std::thread thread_;
};

// Keeps a thread busy until the end of the scope.
class Busy {
 public:
  explicit Busy(bool block_signals = false)
      : runner_([this, block_signals] {
          if (block_signals) {
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_BLOCK, &all, nullptr);
          }
          ready_ = true;
          while (!stop_) {
          }
        }) {
    while (!ready_) std::this_thread::yield();
  }
  ~Busy() { stop_ = true; }
  ThreadNumber number() const { return runner_.number(); }

 private:
  std::atomic<bool> ready_{false};
  std::atomic<bool> stop_{false};
  Runner runner_;
};

struct Wait {
  const char* name;
  int (*wait)(int never_ready);  // -1 and errno, as the system's calls
};

int WaitsByEpoll(int never_ready) {
  const int epoll = epoll_create1(EPOLL_CLOEXEC);
  epoll_event event = {};
  event.events = EPOLLIN;
  epoll_ctl(epoll, EPOLL_CTL_ADD, never_ready, &event);
  const int result = epoll_wait(epoll, &event, 1, 400);
  const int error = errno;
  close(epoll);
  errno = error;
  return result;
}

int WaitsByPoll(int never_ready) {
  pollfd one = {never_ready, POLLIN, 0};
  return poll(&one, 1, 400);
}

int WaitsByNanosleep(int) {
  const timespec time = {0, 400 * 1000000};
  return nanosleep(&time, nullptr);
}

int WaitsBySemaphore(int) {
  sem_t semaphore;
  sem_init(&semaphore, 0, 0);
  timespec end;
  clock_gettime(CLOCK_REALTIME, &end);
  end.tv_sec += 1;
  return sem_timedwait(&semaphore, &end) != 0 && errno == EINTR ? -1 : 0;
}

int WaitsByRecv(int never_ready) {
  const timeval time = {0, 400000};
  setsockopt(never_ready, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof(time));
  char byte;
  return recv(never_ready, &byte, 1, 0) < 0 && errno == EINTR ? -1 : 0;
}

int SleepsASecond(int) {
  const bool whole = sleep(1) == 0;
  errno = whole ? 0 : EINTR;
  return whole ? 0 : -1;
}

class WaitsTest : public testing::TestWithParam<Wait> {};

TEST_P(WaitsTest, AreNotEndedByACapture) {
  int sockets[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets), 0);
  int result = 0;
  int error = 0;
  size_t length = 0;
  {
    const Runner runner([&] {
      result = GetParam().wait(sockets[0]);
      error = errno;
    });
    runner.AwaitKernel();
    length = ChainOf(runner.number()).length;
  }
  EXPECT_NE(result, -1) << error;
  EXPECT_GE(length, 3U);
  close(sockets[0]);
  close(sockets[1]);
}

INSTANTIATE_TEST_SUITE_P(Kinds, WaitsTest,
                         testing::Values(Wait{"Epoll", &WaitsByEpoll}, Wait{"Poll", &WaitsByPoll},
                                         Wait{"Nanosleep", &WaitsByNanosleep},
                                         Wait{"Semaphore", &WaitsBySemaphore},
                                         Wait{"Recv", &WaitsByRecv}, Wait{"Sleep", &SleepsASecond}),
                         [](const auto& info) { return info.param.name; });

TEST(ThreadCaptureTest, ThreadsThatBlockAllSignalsShowWhereTheyWaitAtOnce) {
  const Runner frozen([] {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    WaitsByNanosleep(0);
  });
  frozen.AwaitKernel();
  const auto start = NowMs();
  const CallChain chain = ChainOf(frozen.number());
  EXPECT_EQ(chain.status, ChainStatus::kComplete);
  EXPECT_GE(chain.length, 3U);
  EXPECT_LT(NowMs() - start, kCaptureQuietMs);
}

TEST(ThreadCaptureTest, ARunningThreadThatBlocksAllSignalsIsPassedOver) {
  const Busy frozen(true);
  const Busy other;
  EXPECT_EQ(ChainOf(frozen.number()).status, ChainStatus::kNoThreadState);
  EXPECT_EQ(ChainOf(other.number()).status, ChainStatus::kComplete);
}

// A thread that blocks all signals when it is told to, runs on for a while and waits then, up to
// the end of the scope.
class LateWaiter {
 public:
  LateWaiter()
      : runner_([this] {
          while (runs_until_ms_ == 0) {
          }
          sigset_t all;
          sigfillset(&all);
          pthread_sigmask(SIG_BLOCK, &all, nullptr);
          blocks_ = true;
          while (NowMs() < runs_until_ms_) {
          }
          while (sem_wait(&end_) != 0) {
          }
        }) {}
  ~LateWaiter() { sem_post(&end_); }
  LateWaiter(const LateWaiter&) = delete;
  LateWaiter& operator=(const LateWaiter&) = delete;

  ThreadNumber number() const { return runner_.number(); }
  void BlockAndRunFor(int milliseconds) {
    runs_until_ms_ = NowMs() + milliseconds;
    while (!blocks_) std::this_thread::yield();
  }

 private:
  std::atomic<int64_t> runs_until_ms_{0};
  std::atomic<bool> blocks_{false};
  sem_t end_ = {};
  Runner runner_;
};

TEST(ThreadCaptureTest, AThreadThatBlocksAllSignalsIsSeenWhenItComesToAWait) {
  LateWaiter late;
  late.BlockAndRunFor(250);
  const CallChain chain = ChainOf(late.number());
  EXPECT_EQ(chain.status, ChainStatus::kComplete);
  EXPECT_GE(chain.length, 3U);
}

TEST(ThreadCaptureTest, AThreadThatBlocksAllSignalsBeforeItsQuestionComesIsSeenWhenItComesToAWait) {
  struct Seen {
    LateWaiter late;
    int of_late = 0;
    int unknown = 0;
  } seen;
  const Runner waiting([] { WaitsByNanosleep(0); });
  waiting.AwaitKernel();
  const ThreadNumber numbers[] = {seen.late.number(), waiting.number()};
  // The second thread's visit comes between the look at the first and its question.
  const auto visit = [](void* context, const ThreadLook& look) {
    auto* out = static_cast<Seen*>(context);
    if (look.registers == nullptr) {
      ++out->unknown;
    } else if (look.index == 0) {
      ++out->of_late;
    } else {
      out->late.BlockAndRunFor(kCaptureQuietMs + 250);
    }
    return true;
  };
  ThreadCapture().Visit(numbers, 2, visit, &seen);
  EXPECT_EQ(seen.of_late, 1);
  EXPECT_EQ(seen.unknown, 0);
}

TEST(ThreadCaptureTest, AThreadThatOpensItsSignalsAfterAWhileIsAsked) {
  std::atomic<bool> blocks{false};
  std::atomic<bool> stop{false};
  const Runner opening([&] {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    blocks = true;
    for (const int64_t end = NowMs() + 250; NowMs() < end;) {
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    while (!stop) {
    }
  });
  while (!blocks) std::this_thread::yield();
  const CallChain chain = ChainOf(opening.number());
  stop = true;
  EXPECT_EQ(chain.status, ChainStatus::kComplete);
}

TEST(ThreadCaptureTest, ASigwaitForAllSignalsGetsNone) {
  int got = -1;
  {
    const Runner runner([&] {
      sigset_t all;
      sigfillset(&all);
      pthread_sigmask(SIG_BLOCK, &all, nullptr);
      got = sigwaitinfo(&all, nullptr);
    });
    runner.AwaitKernel();
    EXPECT_GE(ChainOf(runner.number()).length, 1U);
    Registers registers;
    EXPECT_FALSE(fillThreadStateIntoMachineContext(runner.number(), &registers));
    syscall(SYS_tgkill, getpid(), runner.number(), SIGUSR1);
  }
  EXPECT_EQ(got, SIGUSR1);
}

TEST(ThreadCaptureTest, ACapturingThreadThatBlocksAllSignalsLearnsOfTheOthers) {
  const Busy busy;
  size_t length = 0;
  {
    const Runner capturing([&] {
      sigset_t all;
      sigfillset(&all);
      pthread_sigmask(SIG_BLOCK, &all, nullptr);
      length = ChainOf(busy.number()).length;
    });
  }
  EXPECT_GE(length, 2U);
}

std::atomic<int> sHostSignals{0};

// As in a process whose runtime handles all signals.
class AllRealTimeSignalsHandled {
 public:
  AllRealTimeSignalsHandled() {
    struct sigaction action = {};
    action.sa_handler = [](int) { ++sHostSignals; };
    for (int signo = SIGRTMIN; signo <= SIGRTMAX; ++signo) {
      sigaction(signo, &action, &before_[signo - SIGRTMIN]);
    }
  }
  ~AllRealTimeSignalsHandled() {
    for (int signo = SIGRTMIN; signo <= SIGRTMAX; ++signo) {
      sigaction(signo, &before_[signo - SIGRTMIN], nullptr);
    }
  }

 private:
  struct sigaction before_[64] = {};
};

TEST(ThreadCaptureTest, WhereTheHostHandlesAllSignalsOneIsBorrowed) {
  const AllRealTimeSignalsHandled handled;
  sHostSignals = 0;
  {
    const Busy busy;
    EXPECT_GE(ChainOf(busy.number()).length, 2U);
    EXPECT_EQ(sHostSignals, 0);
    syscall(SYS_tgkill, getpid(), busy.number(), SIGRTMAX);
    while (sHostSignals == 0) std::this_thread::yield();
  }
  EXPECT_EQ(sHostSignals, 1);
}

TEST(ThreadCaptureTest, WhatComesForTheHostMeanwhileIsPassedOn) {
  const AllRealTimeSignalsHandled handled;
  sHostSignals = 0;
  const Busy busy;
  const ThreadNumber number = busy.number();
  const auto visit = [](void*, const ThreadLook& look) {
    // For the calling thread itself, by the number that was borrowed.
    if (look.known == KnownRegisters::kAll) raise(SIGRTMAX);
    return true;
  };
  ThreadCapture().Visit(&number, 1, visit, nullptr);
  EXPECT_EQ(sHostSignals, 1);
}

TEST(ThreadCaptureTest, AThreadThatBlocksSomeSignalsIsAskedByAnother) {
  std::atomic<bool> ready{false};
  std::atomic<bool> stop{false};
  const Runner runner([&] {
    sigset_t some;
    sigemptyset(&some);
    for (int signo = SIGRTMIN + 1; signo <= SIGRTMAX; ++signo) sigaddset(&some, signo);
    pthread_sigmask(SIG_BLOCK, &some, nullptr);
    ready = true;
    while (!stop) {
    }
  });
  while (!ready) std::this_thread::yield();
  EXPECT_GE(ChainOf(runner.number()).length, 2U);
  stop = true;
}

TEST(InterruptedThreadsTest, AQuestionThatIsStillPendingAfterwardsIsHarmless) {
  std::atomic<int> phase{0};
  const Runner runner([&] {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    phase = 1;
    while (phase != 2) std::this_thread::yield();
    pthread_sigmask(SIG_UNBLOCK, &all, nullptr);
  });
  while (phase != 1) std::this_thread::yield();
  {
    InterruptedThreads threads;
    const size_t place = threads.Ask(runner.number(), 0);
    ASSERT_NE(place, InterruptedThreads::kNoPlace);
    threads.Wait(50, 50);
    EXPECT_EQ(threads.Take(place), nullptr);
  }
  phase = 2;
}

// Waits for a byte with `left` bytes between its stack pointer and the stack's guard.
void WaitWithLittleStack(char* stack_end, size_t left, int descriptor) {
  char here = 0;
  const auto room = static_cast<size_t>(&here - stack_end);
  auto* used = static_cast<char*>(__builtin_alloca(room - left));
  *static_cast<volatile char*>(used) = 1;
  char byte;
  while (SystemCall(SYS_read, descriptor, &byte, 1) < 0) {
  }
}

TEST(ThreadCaptureTest, AThreadWithoutRoomForASignalIsNotInterrupted) {
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 128 * 1024);
  static std::atomic<ThreadNumber> number;
  number = 0;
  pthread_t thread;
  const auto body = [](void* descriptor) -> void* {
    pthread_attr_t own;
    void* end = nullptr;
    size_t size = 0;
    pthread_getattr_np(pthread_self(), &own);
    pthread_attr_getstack(&own, &end, &size);
    pthread_attr_destroy(&own);
    number = CurrentThreadNumber();
    WaitWithLittleStack(static_cast<char*>(end), 1500, *static_cast<int*>(descriptor));
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, body, &pipe_ends[0]), 0);
  while (number == 0 || !WaitsInKernel(number)) std::this_thread::yield();
  Registers registers;
  EXPECT_FALSE(fillThreadStateIntoMachineContext(number, &registers));
  const CallChain chain = ChainOf(number);
  EXPECT_EQ(chain.status, ChainStatus::kComplete);
  EXPECT_GE(chain.length, 1U);
  ASSERT_EQ(write(pipe_ends[1], "", 1), 1);
  pthread_join(thread, nullptr);
  close(pipe_ends[0]);
  close(pipe_ends[1]);
}

// How often a capture takes its precaution; of a thread's visits all fail.
int PrecautionsOf(const std::vector<ThreadNumber>& numbers, int batches) {
  int taken = 0;
  ThreadCapture capture({[](void* count) { ++*static_cast<int*>(count); }, &taken});
  for (int i = 0; i < batches; ++i) {
    capture.Visit(
        numbers.data(), numbers.size(), [](void*, const ThreadLook&) { return false; }, nullptr);
  }
  return taken;
}

TEST(ThreadCaptureTest, APrecautionIsTakenOnceBeforeThreadsAreInterruptedThatCannotBeSeen) {
  const Busy first;
  const Busy second;
  EXPECT_EQ(PrecautionsOf({first.number(), second.number(), CurrentThreadNumber()}, 3), 1);
}

TEST(ThreadCaptureTest, NoPrecautionIsTakenWhereAllThreadsCanBeSeen) {
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  {
    const Runner waiting([&] {
      char byte;
      while (SystemCall(SYS_read, pipe_ends[0], &byte, 1) < 0) {
      }
    });
    waiting.AwaitKernel();
    EXPECT_EQ(PrecautionsOf({waiting.number(), CurrentThreadNumber()}, 1), 0);
    EXPECT_EQ(write(pipe_ends[1], "", 1), 1);
  }
  close(pipe_ends[0]);
  close(pipe_ends[1]);
}

std::atomic<int> sBarePhase{0};

int RunsWithoutThreadLocals(void*) {
  sBarePhase = 1;
  while (sBarePhase == 1) {
  }
  SystemCall(SYS_exit, 0);
  return 0;
}

TEST(ThreadCaptureTest, AThreadWithoutThreadLocalStorageAnswers) {
  const auto result = oru_test::RunInFork([] {
    constexpr size_t kStack = 256 * 1024;
    auto* stack = static_cast<char*>(
        mmap(nullptr, kStack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0));
    // Thread-local storage where nothing is mapped: any use of it faults.
    const int flags = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND | CLONE_THREAD |
                      CLONE_SYSVSEM | CLONE_SETTLS;
    const int number = clone(&RunsWithoutThreadLocals, stack + kStack, flags, nullptr, nullptr,
                             reinterpret_cast<void*>(0x1000), nullptr);
    if (number <= 0) return 2;
    while (sBarePhase == 0) sched_yield();
    const CallChain chain = ChainOf(static_cast<ThreadNumber>(number));
    sBarePhase = 2;
    return chain.status == ChainStatus::kComplete && chain.length >= 1 ? 0 : 1;
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST(ThreadCaptureTest, OtherThreadsAreKnownAfterTheMainThreadHasEnded) {
  const auto result = oru_test::RunInFork([] {
    return oru_test::AfterTheMainThread([] {
      const Busy busy;
      const Runner waiting([] { WaitsByNanosleep(0); });
      waiting.AwaitKernel();
      ThreadList list;
      if (!list.Read() || list.size() < 3) return 1;
      if (ChainOf(waiting.number()).length < 2) return 2;
      if (ChainOf(busy.number()).length < 2) return 3;
      return 0;
    });
  });
  EXPECT_EQ(result.Ending(), "exit 0") << result.err;
}

// The first process of a PID namespace that still has the outer process file system.
int AsFirstProcess(int (*body)()) {
  if (unshare(CLONE_NEWPID) != 0) return 8;
  const pid_t first = fork();
  if (first == 0) _exit(body());
  int status = 0;
  waitpid(first, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 7;
}

TEST(ThreadCaptureTest, AProcessFileSystemOfAnOuterNamespaceHasOtherNumbers) {
  if (getuid() != 0) GTEST_SKIP() << "only a superuser may make a PID namespace";
  const auto result = oru_test::RunInFork([] {
    return AsFirstProcess([] {
      pthread_setname_np(pthread_self(), "the first");
      const Busy busy;
      const Runner waiting([] {
        pthread_setname_np(pthread_self(), "the waiting");
        WaitsByNanosleep(0);
      });
      waiting.AwaitKernel();
      ThreadList list;
      if (!list.Read() || list.size() != 3) return 1;
      if (list.numbers()[0] != 1 || list.numbers()[2] != waiting.number()) return 2;
      char name[kThreadNameSize];
      if (!ThreadName(waiting.number(), name, sizeof(name)) || strcmp(name, "the waiting") != 0) {
        return 3;
      }
      if (ChainOf(busy.number()).length < 2) return 4;
      return ChainOf(waiting.number()).length < 2 ? 5 : 0;
    });
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST(WaitingTaskTest, TheKernelsLinesAreRead) {
  WaitingTask task;
  ASSERT_TRUE(ParseWaitingTask("202 0x7f 0x80 0x0 0x1 0x0 0xffffffff 0x7ffd10 0x7f1234\n", &task));
  EXPECT_EQ(task.call, 202);
  EXPECT_EQ(task.arguments[0], 0x7fU);
  EXPECT_EQ(task.stack_pointer, 0x7ffd10U);
  EXPECT_EQ(task.instruction, 0x7f1234U);
  ASSERT_TRUE(ParseWaitingTask("-1 0x10 0x20\n", &task));
  EXPECT_EQ(task.call, -1);
  EXPECT_EQ(task.instruction, 0x20U);
  for (const char* text : {"running\n", "", "-1", "12 0x1 0x2\n", "-1 0x10 0x0\n"}) {
    EXPECT_FALSE(ParseWaitingTask(text, &task)) << text;
  }
}

TEST(BlockedSignalsTest, AreOneLineOfAStatus) {
  SignalBits blocked = 1;
  EXPECT_TRUE(ParseBlockedSignals("Name:\tx\nSigBlk:\t8000000000000002\nSigIgn:\t0\n", &blocked));
  EXPECT_EQ(blocked, SignalBit(64) | SignalBit(2));
  EXPECT_FALSE(ParseBlockedSignals("Name:\tSigBlk:\n", &blocked));
}

}  // namespace
}  // namespace CrashHandler::machine
