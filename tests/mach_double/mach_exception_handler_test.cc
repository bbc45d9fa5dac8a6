#include "media_core/biz_engine/crash_handler/darwin/mach_exception_handler.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "media_core/biz_engine/crash_handler/darwin/mach_exception_handler_mach.h"
#include "media_core/biz_engine/crash_handler/darwin/mach_exception_phase_mach.h"
#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"
#include "tests/mach_double/mach_double.h"
#include "tests/mach_double/new_port.h"
#include "tests/support/child_process.h"

namespace CrashHandler {
namespace {

using mach_double::Call;
using mach_double::NewPort;
using Lines = std::vector<std::string>;

constexpr exception_mask_t kMask = 0x6e;

// ---- The log: "LEVEL text", in order, apart for the test's thread and the others ----

std::mutex log_mutex;
const std::thread::id test_thread = std::this_thread::get_id();

Lines& LogOf(bool own) {
  static auto* const logs = new std::map<bool, Lines>;
  return (*logs)[own];
}

// What the host's log does at a line, on the thread that writes it; set before anything is
// installed.
std::function<void(const std::string&)> at_line;

// The log stands still at a line on the handler thread, as with a lock that the faulting thread
// holds.
class StuckLog {
 public:
  explicit StuckLog(const std::string& line) {
    at_line = [this, line](const std::string& text) {
      if (text == line && std::this_thread::get_id() != test_thread) Wait();
    };
  }
  ~StuckLog() { Release(); }
  StuckLog(const StuckLog&) = delete;
  StuckLog& operator=(const StuckLog&) = delete;

  void AwaitArrival() {
    std::unique_lock<std::mutex> lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(10), [this] { return arrived_; }));
  }

  void Release() {
    const std::lock_guard<std::mutex> lock(mutex_);
    released_ = true;
    changed_.notify_all();
  }

 private:
  void Wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    arrived_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return released_; });
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool arrived_ = false;
  bool released_ = false;
};

void Sink(CrashHandlerLogLevel level, const char* tag, const char* file, int32_t line,
          char* message) {
  EXPECT_STREQ("Crash_Handler", tag);
  // A compiler cache may have made the path relative to the build folder.
  const std::string source =
      "media_core/biz_engine/crash_handler/darwin/mach_exception_handler_mach.cc";
  const std::string path(file);
  EXPECT_EQ(source, path.substr(path.size() - std::min(path.size(), source.size())));
  EXPECT_GT(line, 0);
  {
    const std::lock_guard<std::mutex> lock(log_mutex);
    LogOf(std::this_thread::get_id() == test_thread)
        .push_back(std::to_string(level) + " " + message);
  }
  if (at_line) at_line(message);
}

// The lines of the test's own thread, or of the handler thread, since the last call.
Lines Take(bool own) {
  const std::lock_guard<std::mutex> lock(log_mutex);
  return std::exchange(LogOf(own), {});
}
Lines TakeOwn() { return Take(true); }
Lines TakeThreads() { return Take(false); }

const Lines kReleaseOfNothing = {"1 Original exception ports were already restored",
                                 "1 Mach exception handlers uninstalled"};

Lines operator+(Lines a, const Lines& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// The lines of a release that finds `count` saved entries.
Lines Restoration(int count) {
  Lines lines = {"1 Restore original mach exception ports"};
  for (int i = 0; i < count; ++i) lines.push_back("1 Restoring port index " + std::to_string(i));
  lines.push_back("1 Restore mach exception ports finish");
  return lines;
}

// ---- Steps ----

class MachExceptionHandler : public testing::Test {
 protected:
  void SetUp() override { SetLogSink(Sink); }
};

// A handler of the host's, there before.
mach_port_t RegisterPredecessor(exception_mask_t mask) {
  const mach_port_t port = NewPort();
  EXPECT_EQ(KERN_SUCCESS, task_set_exception_ports(mach_task_self(), mask, port, EXCEPTION_DEFAULT,
                                                   x86_THREAD_STATE64));
  return port;
}

// Installs and waits until the handler thread waits for messages; the thread, to be joined.
pthread_t Install() {
  InitOruRTCMachExceptionHandler();
  EXPECT_NE(0u, OruRTCMachExceptionPort.load());
  EXPECT_TRUE(mach_double::WaitForReceiver(OruRTCMachExceptionPort));
  return OruRTCMachExceptionHandleThread;
}

void Join(pthread_t thread) {
  void* result = &result;
  ASSERT_EQ(0, pthread_join(thread, &result));
  EXPECT_EQ(nullptr, result);
}

void ExpectNothingInstalled() {
  for (const int type :
       {EXC_BAD_ACCESS, EXC_BAD_INSTRUCTION, EXC_ARITHMETIC, EXC_SOFTWARE, EXC_BREAKPOINT}) {
    EXPECT_EQ(0u, mach_double::ExceptionActionOf(type).port);
  }
  EXPECT_EQ(0u, OruRTCMachExceptionPort.load());
  EXPECT_EQ(0u, OruRTCOldMachExceptionPorts.count);
  EXPECT_EQ(pthread_t{}, OruRTCMachExceptionHandleThread.load());
  EXPECT_EQ(0u, OruRTCMachExceptionHandleThreadId.load());
}

template <typename T>
T Receive(mach_port_t port) {
  struct {
    T message;
    mach_msg_trailer_t trailer;
    uint8_t room[512];
  } in = {};
  EXPECT_EQ(MACH_MSG_SUCCESS,
            mach_msg(reinterpret_cast<mach_msg_header_t*>(&in), MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0,
                     sizeof(in), port, 10000, MACH_PORT_NULL));
  return in.message;
}

struct Words {
  uint32_t words[21];
};

// ---- Installing ----

TEST_F(MachExceptionHandler, UnderADebuggerNothingIsInstalled) {
  mach_double::SetTraced(true);
  InitOruRTCMachExceptionHandler();
  EXPECT_EQ(Lines{"1 Debug running, skip mach exception"}, TakeOwn());
  ExpectNothingInstalled();
  EXPECT_EQ(0, mach_double::CallCount(Call::kGetExceptionPorts));
  ReleaseOruRTCMachExceptionHandler();
  EXPECT_EQ(kReleaseOfNothing, TakeOwn());
}

TEST_F(MachExceptionHandler, AFailedDebuggerTestCountsAsNoDebugger) {
  mach_double::SetTraced(true);
  mach_double::FailOnce(Call::kSysctl, EPERM);
  const pthread_t thread = Install();
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
}

TEST_F(MachExceptionHandler, InstallingLogsEveryStepInOrder) {
  const pthread_t thread = Install();
  const std::string id = std::to_string(static_cast<int>(pthread_mach_thread_np(thread)));
  const Lines wanted = {
      "1 Install Mach Exception handler", "1 Allocating new port with receive rights",
      "1 Adding send rights to port",     "1 Installing port as exception handler",
      "1 Create mach exception thread",   "1 Mach exception handler installed, thread: " + id};
  EXPECT_EQ(wanted, TakeOwn());
  EXPECT_EQ(Lines{"1 Waiting for mach exception"}, TakeThreads());
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
}

TEST_F(MachExceptionHandler, TheInstalledHandlerIsRegisteredForFiveTypesOnly) {
  const pthread_t thread = Install();
  for (const int type :
       {EXC_BAD_ACCESS, EXC_BAD_INSTRUCTION, EXC_ARITHMETIC, EXC_SOFTWARE, EXC_BREAKPOINT}) {
    const mach_double::ExceptionAction action = mach_double::ExceptionActionOf(type);
    EXPECT_EQ(OruRTCMachExceptionPort.load(), action.port);
    EXPECT_EQ(0x80000001u, static_cast<unsigned>(action.behavior));
    EXPECT_EQ(13, action.flavor);
  }
  EXPECT_EQ(0u, mach_double::ExceptionActionOf(EXC_EMULATION).port);
  EXPECT_TRUE(mach_double::RightsOf(OruRTCMachExceptionPort).receive);
  EXPECT_EQ(1, mach_double::RightsOf(OruRTCMachExceptionPort).send);
  EXPECT_EQ(OruRTCMachExceptionHandleThreadId.load(), pthread_mach_thread_np(thread));
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
}

TEST_F(MachExceptionHandler, EveryEarlierHandlerIsSavedWithItsMask) {
  const mach_port_t access = RegisterPredecessor(EXC_MASK_BAD_ACCESS);
  const mach_port_t traps = RegisterPredecessor(EXC_MASK_BREAKPOINT);
  const pthread_t thread = Install();
  const OruRTCMachExceptionPorts& old = OruRTCOldMachExceptionPorts;
  ASSERT_EQ(3u, old.count);
  EXPECT_EQ(static_cast<exception_mask_t>(EXC_MASK_BAD_ACCESS), old.masks[0]);
  EXPECT_EQ(access, old.ports[0]);
  EXPECT_EQ(EXCEPTION_DEFAULT, old.behaviors[0]);
  EXPECT_EQ(x86_THREAD_STATE64, old.flavors[0]);
  EXPECT_EQ(0u, old.ports[1]);
  EXPECT_EQ(traps, old.ports[2]);
  TakeOwn();
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
  const Lines wanted = Restoration(3) + Lines{"1 Shutdown mach exception thread",
                                              "1 Mach exception handlers uninstalled"};
  EXPECT_EQ(wanted, TakeOwn());
  EXPECT_EQ(access, mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
  EXPECT_EQ(traps, mach_double::ExceptionActionOf(EXC_BREAKPOINT).port);
  EXPECT_EQ(0u, mach_double::ExceptionActionOf(EXC_ARITHMETIC).port);
}

TEST_F(MachExceptionHandler, APortThatIsSetAlreadyIsUsedAgain) {
  const mach_port_t port = NewPort();
  OruRTCMachExceptionPort = port;
  const pthread_t thread = Install();
  EXPECT_EQ(port, mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
  EXPECT_EQ("1 Installing port as exception handler", TakeOwn().at(1));
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
}

TEST_F(MachExceptionHandler, InstallingAgainAfterAReleaseTakesAFreshPort) {
  const pthread_t first = Install();
  const mach_port_t port = OruRTCMachExceptionPort;
  ReleaseOruRTCMachExceptionHandler();
  Join(first);
  EXPECT_FALSE(mach_double::RightsOf(port).receive);  // given up by the thread that read there
  const pthread_t second = Install();
  EXPECT_NE(port, OruRTCMachExceptionPort.load());
  ReleaseOruRTCMachExceptionHandler();
  Join(second);
}

// The new thread may not have run at all when the port is forgotten, or another one is installed.
TEST_F(MachExceptionHandler, ReleasedAtOnceEveryThreadStillEnds) {
  std::vector<pthread_t> threads;
  for (int i = 0; i < 200; ++i) {
    InitOruRTCMachExceptionHandler();
    threads.push_back(OruRTCMachExceptionHandleThread);
    ReleaseOruRTCMachExceptionHandler();
  }
  for (const pthread_t thread : threads) Join(thread);
  for (const std::string& line : TakeThreads()) EXPECT_NE('2', line.front()) << line;
}

// ---- Installer steps that fail ----

struct Step {
  const char* name;
  Call call;
  int code;
  Lines before;  // the installer's lines up to the failure
  std::string error;
  bool ports_saved;
};

void PrintTo(const Step& step, std::ostream* out) { *out << step.name; }

class InstallerStep : public MachExceptionHandler, public testing::WithParamInterface<Step> {};

TEST_P(InstallerStep, FailsWithItsTextAndAFullRelease) {
  const Step& step = GetParam();
  mach_double::FailOnce(step.call, step.code);
  InitOruRTCMachExceptionHandler();
  Lines wanted = Lines{"1 Install Mach Exception handler"} + step.before + Lines{step.error};
  wanted =
      wanted + (step.ports_saved ? Restoration(1) + Lines{"1 Mach exception handlers uninstalled"}
                                 : kReleaseOfNothing);
  EXPECT_EQ(wanted, TakeOwn());
  EXPECT_EQ(Lines{}, TakeThreads());
  ExpectNothingInstalled();
}

const Lines kAllocating = {"1 Allocating new port with receive rights"};
const Lines kAdding = kAllocating + Lines{"1 Adding send rights to port"};
const Lines kInstalling = kAdding + Lines{"1 Installing port as exception handler"};
const Lines kCreating = kInstalling + Lines{"1 Create mach exception thread"};

INSTANTIATE_TEST_SUITE_P(
    All, InstallerStep,
    testing::Values(Step{"SavingPorts",
                         Call::kGetExceptionPorts,
                         KERN_INVALID_ARGUMENT,
                         {},
                         "2 task_get_exception_ports error: (os/kern) invalid argument",
                         false},
                    Step{"AllocatingThePort", Call::kPortAllocate, KERN_NO_SPACE, kAllocating,
                         "2 mach_port_allocate failed: (os/kern) no space available", true},
                    Step{"AddingSendRights", Call::kPortInsertRight, KERN_INVALID_RIGHT, kAdding,
                         "2 mach_port_insert_right failed: (os/kern) invalid right", true},
                    Step{"SettingPorts", Call::kSetExceptionPorts, KERN_FAILURE, kInstalling,
                         "2 task_set_exception_ports error: (os/kern) failure", true},
                    Step{"CreatingTheThread", Call::kPthreadCreate, EAGAIN, kCreating,
                         std::string("2 pthread_create failed: ") + strerror(EAGAIN), true}),
    [](const testing::TestParamInfo<Step>& info) { return std::string(info.param.name); });

// ---- Releasing ----

TEST_F(MachExceptionHandler, UninstallingWhileWaitingRestoresThePortsBeforeTheStopMessage) {
  const mach_port_t before = RegisterPredecessor(kMask);
  const pthread_t thread = Install();
  TakeOwn();
  TakeThreads();
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
  const Lines wanted = Restoration(1) + Lines{"1 Shutdown mach exception thread",
                                              "1 Mach exception handlers uninstalled"};
  EXPECT_EQ(wanted, TakeOwn());
  const Lines threads = {"1 recevie msg: 0",
                         "1 DarwinCrashHandler::receiver shutdown mach exception thread"};
  EXPECT_EQ(threads, TakeThreads());
  EXPECT_EQ(before, mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
  EXPECT_EQ(0u, OruRTCMachExceptionPort.load());
}

TEST_F(MachExceptionHandler, ASecondReleaseInARowOnlySaysSo) {
  const pthread_t thread = Install();
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
  TakeOwn();
  ReleaseOruRTCMachExceptionHandler();
  EXPECT_EQ(kReleaseOfNothing, TakeOwn());
  ExpectNothingInstalled();
}

TEST_F(MachExceptionHandler, RestoringGoesOnPastAnEntryThatFails) {
  const mach_port_t access = RegisterPredecessor(EXC_MASK_BAD_ACCESS);
  const mach_port_t traps = RegisterPredecessor(EXC_MASK_BREAKPOINT);
  const pthread_t thread = Install();
  TakeOwn();
  mach_double::FailOnce(Call::kSetExceptionPorts, KERN_INVALID_ARGUMENT, 1);
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
  const Lines wanted = {"1 Restore original mach exception ports",
                        "1 Restoring port index 0",
                        "1 Restoring port index 1",
                        "2 task_set_exception_ports error: (os/kern) invalid argument",
                        "1 Restoring port index 2",
                        "1 Restore mach exception ports finish",
                        "1 Shutdown mach exception thread",
                        "1 Mach exception handlers uninstalled"};
  EXPECT_EQ(wanted, TakeOwn());
  EXPECT_EQ(access, mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
  EXPECT_EQ(traps, mach_double::ExceptionActionOf(EXC_BREAKPOINT).port);
}

TEST_F(MachExceptionHandler, StoppingWithoutAPortIsLogged) {
  ShutDownMachExceptionThread();
  EXPECT_EQ(Lines{"2 Mach exception port empty"}, TakeOwn());
}

TEST_F(MachExceptionHandler, AStopMessageThatCannotBeSentIsLogged) {
  OruRTCMachExceptionPort = NewPort();
  mach_double::FailOnce(Call::kMachMsgSend, MACH_SEND_INVALID_DEST);
  ShutDownMachExceptionThread();
  EXPECT_EQ(Lines{"2 shut down mach exception error: (ipc/send) invalid destination port"},
            TakeOwn());
}

TEST_F(MachExceptionHandler, AStopMessageToAFullQueueDoesNotBlock) {
  OruRTCMachExceptionPort = NewPort();
  for (int i = 0; i < MACH_PORT_QLIMIT_DEFAULT; ++i) ShutDownMachExceptionThread();
  EXPECT_EQ(Lines{}, TakeOwn());
  ShutDownMachExceptionThread();
  EXPECT_EQ(Lines{"2 shut down mach exception error: (ipc/send) timed out"}, TakeOwn());
}

TEST_F(MachExceptionHandler, TheStopMessageIs68BytesOfZerosBehindItsHeader) {
  const mach_port_t port = NewPort();
  OruRTCMachExceptionPort = port;
  ShutDownMachExceptionThread();
  struct Stop {
    uint32_t words[17];
  };
  const Stop in = Receive<Stop>(port);
  // As the receiver sees it: copied send and made send-once rights are a send and a send-once
  // right.
  EXPECT_EQ(0x1112u, in.words[0]);
  EXPECT_EQ(68u, in.words[1]);
  EXPECT_EQ(0u, in.words[2]);
  EXPECT_EQ(port, in.words[3]);
  for (size_t i = 4; i < 17; ++i) EXPECT_EQ(0u, in.words[i]) << i;
}

// ---- The handler thread ----

TEST_F(MachExceptionHandler, AReceiveErrorDoesNotEndTheThread) {
  const pthread_t thread = Install();
  TakeThreads();
  ASSERT_TRUE(mach_double::InterruptReceiver(OruRTCMachExceptionPort, MACH_RCV_INTERRUPTED));
  while (mach_double::CallCount(Call::kMachMsgReceive) < 2) std::this_thread::yield();
  ASSERT_TRUE(mach_double::WaitForReceiver(OruRTCMachExceptionPort));
  const Lines wanted = {"1 recevie msg: " + std::to_string(MACH_RCV_INTERRUPTED),
                        "2 mach_msg error: (ipc/rcv) interrupted", "1 Waiting for mach exception"};
  EXPECT_EQ(wanted, TakeThreads());
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
}

// Hands the handler thread a request of our own making and returns its reply.
TEST_F(MachExceptionHandler, TheReplyIs36BytesWithTheRequestsHeaderAndAFailure) {
  const mach_port_t reply_port = NewPort();
  const mach_port_t port = NewPort();
  OruRTCMachExceptionPort = port;
  Words request = {};
  request.words[0] = MACH_MSGH_BITS(MACH_MSG_TYPE_COPY_SEND, MACH_MSG_TYPE_MAKE_SEND);
  request.words[1] = sizeof(request);
  request.words[2] = port;
  request.words[3] = reply_port;
  request.words[5] = 2405;
  request.words[13] = 0x44332211;  // offset 52
  request.words[14] = 0x88776655;
  ASSERT_EQ(MACH_MSG_SUCCESS, mach_msg(reinterpret_cast<mach_msg_header_t*>(&request),
                                       MACH_SEND_MSG, sizeof(request), 0, 0, 0, MACH_PORT_NULL));
  EXPECT_EQ(nullptr, OruRTCMachExceptionHandler(nullptr));
  struct Reply {
    uint32_t words[9];
  };
  const Reply in = Receive<Reply>(reply_port);
  // The remote right travelled as the send right it came as, the local one with it.
  EXPECT_EQ(static_cast<uint32_t>(MACH_MSGH_BITS(MACH_MSG_TYPE_PORT_SEND, MACH_MSG_TYPE_PORT_SEND)),
            in.words[0]);
  EXPECT_EQ(36u, in.words[1]);             // what was sent; the header itself still said 84
  EXPECT_EQ(MACH_PORT_DEAD, in.words[2]);  // the port, which ends with the thread
  EXPECT_EQ(reply_port, in.words[3]);
  EXPECT_EQ(0u, in.words[4]);
  EXPECT_EQ(2405u, in.words[5]);  // not raised by 100
  EXPECT_EQ(0x44332211u, in.words[6]);
  EXPECT_EQ(0x88776655u, in.words[7]);
  EXPECT_EQ(5u, in.words[8]);
}

TEST_F(MachExceptionHandler, AnExceptionIsAnsweredAfterThePortsAreBack) {
  const mach_port_t before = RegisterPredecessor(kMask);
  const pthread_t thread = Install();
  TakeOwn();
  TakeThreads();
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  EXPECT_EQ(before, mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
  Join(thread);
  const Lines wanted = Lines{"1 recevie msg: 0",
                             "1 DarwinCrashHandler::receiver mach exception and replay to system"} +
                       Restoration(1) + Lines{"1 Mach exception handlers uninstalled"};
  EXPECT_EQ(wanted, TakeThreads());
  EXPECT_EQ(Lines{}, TakeOwn());
  EXPECT_EQ(0u, OruRTCMachExceptionPort.load());
  EXPECT_NE(pthread_t{}, OruRTCMachExceptionHandleThread.load());
  EXPECT_NE(0u, OruRTCMachExceptionHandleThreadId.load());
}

// The task is asked once a fault: who was there before is asked when the instruction faults again.
TEST_F(MachExceptionHandler, ThePredecessorGetsTheNextFaultAndNotThisOne) {
  const mach_port_t before = RegisterPredecessor(kMask);
  const pthread_t thread = Install();
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  Join(thread);
  EXPECT_EQ(0u, mach_double::QueuedMessages(before));
  std::thread host([&] {
    const Words request = Receive<Words>(before);
    EXPECT_EQ(2401u, request.words[5]);
    EXPECT_EQ(KERN_SUCCESS, mach_port_deallocate(mach_task_self(), request.words[2]));
  });
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  host.join();
}

TEST_F(MachExceptionHandler, AReleaseAfterAnExceptionClearsTheStaleThread) {
  const pthread_t thread = Install();
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  TakeOwn();
  ReleaseOruRTCMachExceptionHandler();
  const Lines wanted = {"1 Original exception ports were already restored",
                        "1 Shutdown mach exception thread", "2 Mach exception port empty",
                        "1 Mach exception handlers uninstalled"};
  EXPECT_EQ(wanted, TakeOwn());
  ExpectNothingInstalled();
  Join(thread);
}

TEST_F(MachExceptionHandler, OneExceptionIsHandledAnInstallation) {
  const pthread_t thread = Install();
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  Join(thread);
  TakeThreads();
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  EXPECT_EQ(Lines{}, TakeThreads());
}

TEST_F(MachExceptionHandler, AReplyThatCannotBeSentLetsTheFaultGoOn) {
  const pthread_t thread = Install();
  mach_double::FailOnce(Call::kMachMsgSend, MACH_SEND_INVALID_REPLY);
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  Join(thread);
}

TEST_F(MachExceptionHandler, WithoutDeveloperModeAnOwnExceptionIsKnownAsOne) {
  mach_double::SetDeveloperMode(false);
  const pthread_t thread = Install();
  TakeThreads();
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  Join(thread);
  EXPECT_EQ("1 DarwinCrashHandler::receiver mach exception and replay to system",
            TakeThreads().at(1));
  EXPECT_EQ(0u, mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
}

TEST_F(MachExceptionHandler, TheSavedPortsRightsAreGivenBack) {
  const mach_port_t before = RegisterPredecessor(kMask);
  const pthread_t thread = Install();
  EXPECT_EQ(2, mach_double::RightsOf(before).send);
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
  EXPECT_EQ(1, mach_double::RightsOf(before).send);
}

// The host may have destroyed it meanwhile.
TEST_F(MachExceptionHandler, APredecessorThatIsGoneIsRestoredAsNobody) {
  const mach_port_t before = RegisterPredecessor(kMask);
  const pthread_t thread = Install();
  mach_port_mod_refs(mach_task_self(), before, MACH_PORT_RIGHT_RECEIVE, -1);
  TakeOwn();
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
  for (const std::string& line : TakeOwn()) EXPECT_NE('2', line.front()) << line;
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
}

// ---- Other tasks ----

TEST_F(MachExceptionHandler, AnotherTasksExceptionIsRefusedAtOnceAndTheHandlerStays) {
  const pthread_t thread = Install();
  const mach_double::ChildTask child;
  TakeThreads();
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(child.Raise(EXC_BAD_ACCESS, 1, 0));
  EXPECT_EQ(OruRTCMachExceptionPort.load(), mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
  EXPECT_EQ(1, mach_double::RightsOf(OruRTCMachExceptionPort).send);
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  Join(thread);
  const Lines waiting = {"1 recevie msg: 0", "1 Waiting for mach exception"};
  const Lines own = {"1 recevie msg: 0",
                     "1 DarwinCrashHandler::receiver mach exception and replay to system"};
  const Lines wanted = waiting + waiting + waiting + own + Restoration(1) +
                       Lines{"1 Mach exception handlers uninstalled"};
  EXPECT_EQ(wanted, TakeThreads());
}

TEST_F(MachExceptionHandler, AnotherTasksRightsAreGivenBack) {
  const pthread_t thread = Install();
  const mach_double::ChildTask child;
  EXPECT_FALSE(child.Raise(EXC_BAD_ACCESS, 1, 0));
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
  EXPECT_EQ(2, mach_double::CallCount(Call::kPortDeallocate));
}

// It keeps the port that it was started with.
TEST_F(MachExceptionHandler, AStartedProgramsFaultGoesOnAfterTheUninstallation) {
  const pthread_t thread = Install();
  const mach_double::ChildTask child;
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
  EXPECT_FALSE(child.Raise(EXC_BAD_ACCESS, 1, 0));
}

TEST_F(MachExceptionHandler, AStartedProgramsFaultGoesOnAfterAnException) {
  const pthread_t thread = Install();
  const mach_double::ChildTask child;
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  Join(thread);
  EXPECT_FALSE(child.Raise(EXC_BAD_ACCESS, 1, 0));
}

TEST_F(MachExceptionHandler, AFaultDuringAnInstallationThatFailsGoesOn) {
  std::unique_ptr<mach_double::ChildTask> child;
  at_line = [&](const std::string& line) {
    if (line == "Create mach exception thread") child = std::make_unique<mach_double::ChildTask>();
  };
  mach_double::FailOnce(Call::kPthreadCreate, EAGAIN);
  InitOruRTCMachExceptionHandler();
  ASSERT_NE(nullptr, child);
  EXPECT_FALSE(child->Raise(EXC_BAD_ACCESS, 1, 0));
}

// ---- Forks ----

TEST_F(MachExceptionHandler, AForksChildDoesNotInheritThePort) {
  const pthread_t thread = Install();
  const oru_test::ChildResult child = oru_test::RunInFork([] {
    ExpectNothingInstalled();
    TakeOwn();
    EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
    ReleaseOruRTCMachExceptionHandler();
    EXPECT_EQ(kReleaseOfNothing, TakeOwn());
    return testing::Test::HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(0, child.exit_code) << child.Ending() << child.out;
  EXPECT_EQ(OruRTCMachExceptionPort.load(), mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
  EXPECT_EQ(1, mach_double::RightsOf(OruRTCMachExceptionPort).send);
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
}

TEST_F(MachExceptionHandler, AForksChildKeepsWhatSomebodyElseRegisteredLater) {
  const pthread_t thread = Install();
  const mach_port_t later = RegisterPredecessor(EXC_MASK_BREAKPOINT);
  const oru_test::ChildResult child = oru_test::RunInFork([] {
    OruRTCMachExceptionPorts now = {};
    EXPECT_EQ(KERN_SUCCESS, task_get_exception_ports(mach_task_self(), kMask, now.masks, &now.count,
                                                     now.ports, now.behaviors, now.flavors));
    EXPECT_EQ(2u, now.count);
    EXPECT_EQ(0u, now.ports[0]);
    EXPECT_EQ(static_cast<exception_mask_t>(EXC_MASK_BREAKPOINT), now.masks[1]);
    EXPECT_NE(0u, now.ports[1]);
    return testing::Test::HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(0, child.exit_code) << child.Ending() << child.out;
  EXPECT_EQ(1, mach_double::RightsOf(later).send);
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
}

// ---- Several things at once ----

TEST_F(MachExceptionHandler, ASecondThreadsFaultGoesOnWhileTheFirstIsHandled) {
  StuckLog log("Restoring port index 0");
  const pthread_t thread = Install();
  std::thread first([] { EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0)); });
  log.AwaitArrival();
  EXPECT_FALSE(mach_double::RaiseException(EXC_ARITHMETIC, 1, 0));
  EXPECT_EQ(OruRTCMachExceptionPort.load(), mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
  log.Release();
  first.join();
  Join(thread);
}

// Its message is at the port already when the thread takes the first one.
TEST_F(MachExceptionHandler, TwoFaultsAtOnceBothGoOn) {
  for (int i = 0; i < 50; ++i) {
    const pthread_t thread = Install();
    std::vector<std::thread> faulting;
    for (int t = 0; t < 4; ++t) {
      faulting.emplace_back([] { mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0); });
    }
    for (std::thread& t : faulting) t.join();
    Join(thread);
    ReleaseOruRTCMachExceptionHandler();
  }
}

TEST_F(MachExceptionHandler, AFaultOfTheHandlerThreadGoesOn) {
  bool taken = true;
  at_line = [&](const std::string& line) {
    if (line == "Restore original mach exception ports") {
      taken = mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0);
    }
  };
  const pthread_t thread = Install();
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  Join(thread);
  EXPECT_FALSE(taken);
}

class StuckHandler : public MachExceptionHandler,
                     public testing::WithParamInterface<const char*> {};

// A log that never comes back must not keep the faulting thread.
TEST_P(StuckHandler, AnswersWhenItsTimeIsOver) {
  const mach_port_t before = RegisterPredecessor(kMask);
  StuckLog log(GetParam());
  SetMachPhaseTimeForTesting(50);
  const pthread_t thread = Install();
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  EXPECT_EQ(before, mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
  EXPECT_EQ(0u, mach_double::QueuedMessages(before));
  const int sent = mach_double::CallCount(Call::kMachMsgSend);
  log.Release();
  Join(thread);
  EXPECT_EQ(sent, mach_double::CallCount(Call::kMachMsgSend));  // answered once
  EXPECT_EQ(before, mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
  EXPECT_EQ(1, mach_double::RightsOf(before).send);
}

INSTANTIATE_TEST_SUITE_P(
    At, StuckHandler,
    testing::Values("recevie msg: 0",
                    "DarwinCrashHandler::receiver mach exception and replay to system",
                    "Restoring port index 0", "Restore mach exception ports finish",
                    "Mach exception handlers uninstalled"),
    [](const testing::TestParamInfo<const char*>& info) {
      std::string name = info.param;
      name.erase(std::remove_if(name.begin(), name.end(), [](char c) { return !isalnum(c); }),
                 name.end());
      return name;
    });

TEST_F(MachExceptionHandler, UninstalledWhileAFaultIsUnderWay) {
  StuckLog log("DarwinCrashHandler::receiver mach exception and replay to system");
  const pthread_t thread = Install();
  std::thread faulting([] { EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0)); });
  log.AwaitArrival();
  ReleaseOruRTCMachExceptionHandler();
  ExpectNothingInstalled();
  log.Release();
  faulting.join();
  Join(thread);
}

TEST_F(MachExceptionHandler, AnEarlierFaultLeavesALaterInstallationAlone) {
  StuckLog log("DarwinCrashHandler::receiver mach exception and replay to system");
  const pthread_t first = Install();
  std::thread faulting([] { EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0)); });
  log.AwaitArrival();
  ReleaseOruRTCMachExceptionHandler();
  const pthread_t second = Install();
  const mach_port_t port = OruRTCMachExceptionPort;
  log.Release();
  faulting.join();
  Join(first);
  EXPECT_EQ(port, OruRTCMachExceptionPort.load());
  EXPECT_EQ(port, mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
  ReleaseOruRTCMachExceptionHandler();
  Join(second);
}

// ---- The host's signals ----

// A host that blocks a signal in its threads and waits for it in one gets it there.
TEST_F(MachExceptionHandler, TheHandlerTakesNoSignalOfTheHosts) {
  const pthread_t thread = Install();
  sigset_t waited;
  sigemptyset(&waited);
  sigaddset(&waited, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &waited, nullptr);
  kill(getpid(), SIGUSR1);  // would end the process
  const timespec limit = {10, 0};
  EXPECT_EQ(SIGUSR1, sigtimedwait(&waited, nullptr, &limit));
  ReleaseOruRTCMachExceptionHandler();
  Join(thread);
}

}  // namespace
}  // namespace CrashHandler
