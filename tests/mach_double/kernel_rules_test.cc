// What the stand-in owes the platform's kernel: one table of rules, each with the place in the
// platform's published sources that has it, and a test.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tests/mach_double/mach_double.h"
#include "tests/mach_double/new_port.h"
#include "tests/support/child_process.h"

namespace {

using mach_double::NewPort;

constexpr exception_mask_t kFaultMask = 0x6e;
const auto kWide = static_cast<exception_behavior_t>(EXCEPTION_DEFAULT | MACH_EXCEPTION_CODES);

struct Saved {
  exception_mask_t masks[EXC_TYPES_COUNT];
  mach_port_t ports[EXC_TYPES_COUNT];
  exception_behavior_t behaviors[EXC_TYPES_COUNT];
  thread_state_flavor_t flavors[EXC_TYPES_COUNT];
  mach_msg_type_number_t count;
};

kern_return_t Save(Saved* saved, exception_mask_t mask = kFaultMask) {
  *saved = {};
  return task_get_exception_ports(mach_task_self(), mask, saved->masks, &saved->count, saved->ports,
                                  saved->behaviors, saved->flavors);
}

mach_port_t Register(exception_mask_t mask, exception_behavior_t behavior = kWide) {
  const mach_port_t port = NewPort();
  EXPECT_EQ(KERN_SUCCESS,
            task_set_exception_ports(mach_task_self(), mask, port, behavior, THREAD_STATE_NONE));
  return port;
}

struct RequestIn {
  mach_msg_header_t header;
  uint8_t rest[556];
};

struct Reply {
  mach_msg_header_t header;
  NDR_record_t ndr;
  kern_return_t result;
};

RequestIn TakeRequest(mach_port_t port) {
  RequestIn in = {};
  EXPECT_EQ(MACH_MSG_SUCCESS, mach_msg(&in.header, MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0, sizeof(in),
                                       port, 10000, MACH_PORT_NULL));
  return in;
}

void Answer(const RequestIn& request, kern_return_t result) {
  Reply reply = {};
  reply.header.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_MOVE_SEND_ONCE, 0);
  reply.header.msgh_size = sizeof(reply);
  reply.header.msgh_remote_port = request.header.msgh_remote_port;
  reply.header.msgh_id = request.header.msgh_id + 100;
  reply.ndr = NDR_record;
  reply.result = result;
  EXPECT_EQ(MACH_MSG_SUCCESS, mach_msg(&reply.header, MACH_SEND_MSG, sizeof(reply), 0,
                                       MACH_PORT_NULL, 0, MACH_PORT_NULL));
}

// A handler on a thread of its own that answers one exception.
class OneAnswer {
 public:
  OneAnswer(mach_port_t port, kern_return_t result)
      : thread_([=] { Answer(TakeRequest(port), result); }) {}
  ~OneAnswer() { thread_.join(); }
  OneAnswer(const OneAnswer&) = delete;
  OneAnswer& operator=(const OneAnswer&) = delete;

 private:
  std::thread thread_;
};

// What the kernel's side did, in order.
std::vector<std::string>& Story() {
  static auto* const story = new std::vector<std::string>;
  return *story;
}

void WriteStory() {
  mach_double::ObserveFaults([](const std::string& line) { Story().push_back(line); });
}

void WithoutHandlersThereIsOneEntryWithoutAPort() {
  Saved saved;
  ASSERT_EQ(KERN_SUCCESS, Save(&saved));
  EXPECT_EQ(1u, saved.count);
  EXPECT_EQ(kFaultMask, saved.masks[0]);
  EXPECT_EQ(0u, saved.ports[0]);
}

void TheCountNeedNotHoldTheCapacity() {
  Saved saved = {};
  saved.count = 0;
  ASSERT_EQ(KERN_SUCCESS,
            task_get_exception_ports(mach_task_self(), kFaultMask, saved.masks, &saved.count,
                                     saved.ports, saved.behaviors, saved.flavors));
  EXPECT_EQ(1u, saved.count);
}

void SeveralHandlersAreSavedEachWithItsMask() {
  const mach_port_t access = Register(EXC_MASK_BAD_ACCESS);
  const mach_port_t traps = Register(EXC_MASK_BREAKPOINT | EXC_MASK_SOFTWARE, EXCEPTION_DEFAULT);
  Saved saved;
  ASSERT_EQ(KERN_SUCCESS, Save(&saved));
  ASSERT_EQ(3u, saved.count);
  EXPECT_EQ(static_cast<exception_mask_t>(EXC_MASK_BAD_ACCESS), saved.masks[0]);
  EXPECT_EQ(access, saved.ports[0]);
  EXPECT_EQ(kWide, saved.behaviors[0]);
  EXPECT_EQ(THREAD_STATE_NONE, saved.flavors[0]);
  EXPECT_EQ(static_cast<exception_mask_t>(EXC_MASK_BAD_INSTRUCTION | EXC_MASK_ARITHMETIC),
            saved.masks[1]);
  EXPECT_EQ(0u, saved.ports[1]);
  EXPECT_EQ(static_cast<exception_mask_t>(EXC_MASK_BREAKPOINT | EXC_MASK_SOFTWARE), saved.masks[2]);
  EXPECT_EQ(traps, saved.ports[2]);
  EXPECT_EQ(EXCEPTION_DEFAULT, saved.behaviors[2]);
}

void EverySavedPortCarriesASendRight() {
  const mach_port_t port = Register(EXC_MASK_BAD_ACCESS);
  Saved saved;
  ASSERT_EQ(KERN_SUCCESS, Save(&saved));
  EXPECT_EQ(2, mach_double::RightsOf(port).send);
}

void WrongArgumentsAreRefused() {
  const mach_port_t port = NewPort();
  const auto set = [&](exception_mask_t mask, mach_port_t to, exception_behavior_t behavior,
                       thread_state_flavor_t flavor) {
    return task_set_exception_ports(mach_task_self(), mask, to, behavior, flavor);
  };
  EXPECT_EQ(KERN_INVALID_ARGUMENT, set(1u << 20, port, kWide, THREAD_STATE_NONE));
  EXPECT_EQ(KERN_INVALID_ARGUMENT, set(kFaultMask, port, 9, THREAD_STATE_NONE));
  EXPECT_EQ(KERN_INVALID_ARGUMENT, set(kFaultMask, port, kWide, 99));
  EXPECT_EQ(MACH_SEND_INVALID_RIGHT, set(kFaultMask, 0x7777, kWide, THREAD_STATE_NONE));
  EXPECT_EQ(KERN_SUCCESS, set(kFaultMask, MACH_PORT_NULL, 0, 0));
  EXPECT_EQ(MACH_SEND_INVALID_DEST,
            task_set_exception_ports(0x9999, kFaultMask, port, kWide, THREAD_STATE_NONE));
}

void TheRequestIsThePlatformsByteByByte() {
  const mach_port_t port = Register(kFaultMask);
  mach_port_t faulting = MACH_PORT_NULL;
  std::thread thread([&] {
    faulting = mach_thread_self();
    EXPECT_TRUE(
        mach_double::RaiseException(EXC_BAD_ACCESS, 0x1122334455667788, 0x0badcafe12345678));
  });
  const RequestIn in = TakeRequest(port);
  const uint32_t task = mach_task_self();
  const uint32_t reply = in.header.msgh_remote_port;
  std::vector<uint8_t> wanted;
  const auto word = [&](uint32_t value) {
    for (int i = 0; i < 4; ++i) wanted.push_back(static_cast<uint8_t>(value >> (8 * i)));
  };
  word(0x80001112);  // complex; send-once reply right, send right
  word(84);
  word(reply);
  word(port);
  word(0);
  word(2405);
  word(2);  // two descriptors
  word(faulting);
  word(0);
  word(0x00110000);  // a send right, a port descriptor
  word(task);
  word(0);
  word(0x00110000);
  word(0);  // NDR, at offset 52
  word(0x00000001);
  word(1);  // EXC_BAD_ACCESS
  word(2);
  word(0x55667788);
  word(0x11223344);
  word(0x12345678);
  word(0x0badcafe);
  word(0);  // trailer
  word(8);
  ASSERT_EQ(92u, wanted.size());
  EXPECT_EQ(0, std::memcmp(wanted.data(), &in, wanted.size()));
  EXPECT_EQ(1, mach_double::RightsOf(reply).send_once);
  Answer(in, KERN_SUCCESS);
  thread.join();
}

void WithoutWideCodesTheyAreCutTo32Bits() {
  const mach_port_t port = Register(kFaultMask, EXCEPTION_DEFAULT);
  std::thread thread(
      [&] { EXPECT_TRUE(mach_double::RaiseException(EXC_ARITHMETIC, 1, 0x0badcafe12345678)); });
  const RequestIn in = TakeRequest(port);
  EXPECT_EQ(2401, in.header.msgh_id);
  EXPECT_EQ(76u, in.header.msgh_size);
  uint32_t codes[2];
  std::memcpy(codes, in.rest + 68 - sizeof(in.header), sizeof(codes));
  EXPECT_EQ(1u, codes[0]);
  EXPECT_EQ(0x12345678u, codes[1]);
  Answer(in, KERN_SUCCESS);
  thread.join();
}

void TheThreadWaitsForTheReply() {
  const mach_port_t port = Register(kFaultMask);
  std::atomic<bool> resumed{false};
  std::thread thread([&] {
    mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0);
    resumed = true;
  });
  const RequestIn in = TakeRequest(port);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(resumed);
  Answer(in, KERN_SUCCESS);
  thread.join();
  EXPECT_TRUE(resumed);
}

void NobodyRegisteredMeansNotTaken() {
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  Register(EXC_MASK_BREAKPOINT);
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
}

void AReplyThatIsNoneCountsAsAFailure() {
  const mach_port_t port = Register(kFaultMask);
  std::thread handler([&] {
    RequestIn in = TakeRequest(port);
    in.header.msgh_id -= 100;  // so that the answer carries the request's own id
    Answer(in, KERN_SUCCESS);
  });
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  handler.join();
}

void APortThatDiesWithTheRequestLetsTheFaultGoOn() {
  const mach_port_t port = Register(kFaultMask);
  std::thread thread([&] { EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0)); });
  while (mach_double::QueuedMessages(port) == 0) std::this_thread::yield();
  EXPECT_EQ(KERN_SUCCESS, mach_port_destroy(mach_task_self(), port));
  thread.join();
}

// ---- Who is asked ----

void ThreadTaskAndHostAreAskedOnceEach() {
  WriteStory();
  const mach_port_t thread_port = NewPort();
  const mach_port_t host_port = NewPort();
  EXPECT_EQ(KERN_SUCCESS, thread_set_exception_ports(mach_thread_self(), kFaultMask, thread_port,
                                                     kWide, THREAD_STATE_NONE));
  mach_double::SetHostExceptionPort(kFaultMask, host_port);
  const mach_port_t task_port = Register(kFaultMask);
  {
    const OneAnswer first(thread_port, KERN_FAILURE);
    const OneAnswer second(task_port, KERN_FAILURE);
    const OneAnswer third(host_port, KERN_FAILURE);
    EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  }
  const std::vector<std::string> once = {"exception 1 sent", "reply 5"};
  std::vector<std::string> wanted;
  for (int i = 0; i < 3; ++i) wanted.insert(wanted.end(), once.begin(), once.end());
  EXPECT_EQ(wanted, Story());
}

void ThePortsOfTheThreadComeFirst() {
  const mach_port_t thread_port = NewPort();
  EXPECT_EQ(KERN_SUCCESS, thread_set_exception_ports(mach_thread_self(), kFaultMask, thread_port,
                                                     kWide, THREAD_STATE_NONE));
  const mach_port_t task_port = Register(kFaultMask);
  {
    const OneAnswer answer(thread_port, KERN_SUCCESS);
    EXPECT_TRUE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  }
  EXPECT_EQ(0u, mach_double::QueuedMessages(task_port));
}

void WhoIsRegisteredDuringAFaultGetsTheNextOne() {
  const mach_port_t before = Register(kFaultMask);
  bool taken = true;
  std::thread thread([&] { taken = mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0); });
  const RequestIn first = TakeRequest(before);
  const mach_port_t after = Register(kFaultMask);
  Answer(first, KERN_FAILURE);
  thread.join();
  EXPECT_FALSE(taken);
  EXPECT_EQ(0u, mach_double::QueuedMessages(after));
  const OneAnswer answer(after, KERN_SUCCESS);
  EXPECT_TRUE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
}

void AFullQueueDoesNotHoldAnExceptionUp() {
  const mach_port_t port = Register(kFaultMask);
  constexpr size_t kFaults = MACH_PORT_QLIMIT_DEFAULT + 3;
  std::vector<std::thread> threads;
  for (size_t i = 0; i < kFaults; ++i) {
    threads.emplace_back([] { mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0); });
  }
  while (mach_double::QueuedMessages(port) < kFaults) std::this_thread::yield();
  for (size_t i = 0; i < kFaults; ++i) Answer(TakeRequest(port), KERN_SUCCESS);
  for (std::thread& thread : threads) thread.join();
}

void AReplyRightGivenBackCountsAsAFailure() {
  const mach_port_t port = Register(kFaultMask);
  std::thread thread([&] { EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0)); });
  const RequestIn in = TakeRequest(port);
  EXPECT_EQ(KERN_SUCCESS, mach_port_deallocate(mach_task_self(), in.header.msgh_remote_port));
  thread.join();
}

void ADeadNameIsRegisteredAsNobody() {
  const mach_port_t port = NewPort();
  EXPECT_EQ(KERN_SUCCESS, mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_RECEIVE, -1));
  EXPECT_EQ(KERN_SUCCESS,
            task_set_exception_ports(mach_task_self(), kFaultMask, port, kWide, THREAD_STATE_NONE));
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
}

mach_port_t TaskIn(const RequestIn& in) {
  mach_port_t task = MACH_PORT_NULL;
  std::memcpy(&task, in.rest + 40 - sizeof(in.header), sizeof(task));
  return task;
}

void WithoutDeveloperModeAHandlerGetsRightsThatOnlyRead() {
  mach_double::SetDeveloperMode(false);
  const mach_port_t port = Register(kFaultMask);
  std::thread thread([] { mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0); });
  const RequestIn in = TakeRequest(port);
  EXPECT_NE(mach_task_self(), TaskIn(in));
  int pid = 0;
  EXPECT_EQ(KERN_SUCCESS, pid_for_task(TaskIn(in), &pid));
  EXPECT_EQ(getpid(), pid);
  Answer(in, KERN_SUCCESS);
  thread.join();
}

// ---- Other tasks ----

void AStartedProgramKeepsThePortsItWasStartedWith() {
  const mach_port_t port = Register(kFaultMask);
  const mach_double::ChildTask child;
  Register(kFaultMask);
  std::thread thread([&] { EXPECT_TRUE(child.Raise(EXC_BAD_ACCESS, 1, 0)); });
  const RequestIn in = TakeRequest(port);
  int pid = 0;
  EXPECT_EQ(KERN_SUCCESS, pid_for_task(TaskIn(in), &pid));
  EXPECT_EQ(mach_double::ChildTask::kPid, pid);
  Answer(in, KERN_SUCCESS);
  thread.join();
}

void AForksChildAsksItsParentsPortsAndWaits() {
  const mach_port_t port = Register(kFaultMask);
  const oru_test::ChildResult child = oru_test::RunInFork([] {
    mach_double::ObserveFaults([](const std::string& line) {
      if (line == "exception 1 sent elsewhere") _exit(7);
    });
    mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0);
    return 0;
  });
  EXPECT_EQ(7, child.exit_code) << child.Ending();
  EXPECT_EQ(port, mach_double::ExceptionActionOf(EXC_BAD_ACCESS).port);
}

void AForksChildHasNoneOfItsParentsNames() {
  const mach_port_t port = NewPort();
  const oru_test::ChildResult child = oru_test::RunInFork([port] {
    if (port == mach_task_self()) return 1;
    if (mach_double::RightsOf(port).receive || mach_double::RightsOf(port).send != 0) return 2;
    return mach_port_deallocate(mach_task_self(), port) == KERN_INVALID_NAME ? 0 : 3;
  });
  EXPECT_EQ(0, child.exit_code) << child.Ending();
  EXPECT_TRUE(mach_double::RightsOf(port).receive);
}

// ---- Faults and signals ----

char* ReadOnlyPage() {
  void* const page = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return static_cast<char*>(page);
}

void ASuccessResumesTheFaultingInstruction() {
  mach_double::CatchHardwareFaults();
  char* const page = ReadOnlyPage();
  const mach_port_t port = Register(kFaultMask);
  int64_t codes[2] = {};
  std::thread handler([&] {
    const RequestIn in = TakeRequest(port);
    std::memcpy(codes, in.rest + 68 - sizeof(in.header), sizeof(codes));
    mprotect(page, 4096, PROT_READ | PROT_WRITE);
    Answer(in, KERN_SUCCESS);
  });
  *static_cast<volatile char*>(page + 8) = 42;
  handler.join();
  EXPECT_EQ(42, page[8]);
  EXPECT_EQ(KERN_PROTECTION_FAILURE, codes[0]);
  EXPECT_EQ(reinterpret_cast<int64_t>(page + 8), codes[1]);
}

void TheFaultingThreadsRegistersCanBeReadMeanwhile() {
  mach_double::CatchHardwareFaults();
  char* const page = ReadOnlyPage();
  const mach_port_t port = Register(kFaultMask);
  x86_thread_state64_t state = {};
  std::thread handler([&] {
    const RequestIn in = TakeRequest(port);
    mach_port_t thread = MACH_PORT_NULL;
    std::memcpy(&thread, in.rest + 28 - sizeof(in.header), sizeof(thread));
    mach_msg_type_number_t count = x86_THREAD_STATE64_COUNT;
    EXPECT_EQ(KERN_SUCCESS, thread_get_state(thread, x86_THREAD_STATE64,
                                             reinterpret_cast<thread_state_t>(&state), &count));
    mprotect(page, 4096, PROT_READ | PROT_WRITE);
    Answer(in, KERN_SUCCESS);
  });
  uint64_t at = 0;
  asm volatile("lea 0f(%%rip), %0\n0: movb $1, (%1)\n" : "=&r"(at) : "r"(page) : "memory");
  handler.join();
  EXPECT_EQ(at, state.__rip);
}

volatile sig_atomic_t signals_seen = 0;
void* restored_page = nullptr;

void OnSignal(int /*signo*/, siginfo_t* info, void* /*context*/) {
  ++signals_seen;
  restored_page = info->si_addr;
  mprotect(info->si_addr, 4096, PROT_READ | PROT_WRITE);
}

void AFailureGoesOnToTheSignalHandler() {
  WriteStory();
  mach_double::CatchHardwareFaults();
  struct sigaction action = {};
  action.sa_sigaction = OnSignal;
  action.sa_flags = SA_SIGINFO;
  ASSERT_EQ(0, sigaction(SIGBUS, &action, nullptr));
  char* const page = ReadOnlyPage();
  const mach_port_t port = Register(kFaultMask);
  {
    const OneAnswer answer(port, KERN_FAILURE);
    *static_cast<volatile char*>(page) = 42;
  }
  EXPECT_EQ(1, signals_seen);
  EXPECT_EQ(page, restored_page);
  const std::vector<std::string> wanted = {"exception 1 sent", "reply 5",
                                           "signal " + std::to_string(SIGBUS)};
  EXPECT_EQ(wanted, Story());
}

void TheActionSetIsTheOneReadBack() {
  mach_double::CatchHardwareFaults();
  struct sigaction action = {};
  action.sa_sigaction = OnSignal;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  ASSERT_EQ(0, sigaction(SIGSEGV, &action, nullptr));
  struct sigaction found = {};
  ASSERT_EQ(0, sigaction(SIGSEGV, nullptr, &found));
  EXPECT_EQ(OnSignal, found.sa_sigaction);
  EXPECT_EQ(SA_SIGINFO | SA_ONSTACK, found.sa_flags);
}

// Without the sanitizers' own handlers behind them, so that the default action is the system's.
void CatchFaultsWithDefaultActions() {
  for (const int signo : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP}) signal(signo, SIG_DFL);
  mach_double::CatchHardwareFaults();
}

void WithoutAnyHandlerTheDefaultActionEndsTheProcess() {
  const oru_test::ChildResult child = oru_test::RunInFork([] {
    CatchFaultsWithDefaultActions();
    *static_cast<volatile char*>(ReadOnlyPage()) = 1;
    return 0;
  });
  EXPECT_EQ(SIGBUS, child.signal) << child.Ending();
}

void EverySignalHasItsExceptionType() {
  const struct {
    void (*raise)();
    int signo;
    const char* story;
  } kinds[] = {
      {[] { asm volatile("ud2"); }, SIGILL, "exception 2 sent"},
      {[] {
         asm volatile("xorl %%ecx, %%ecx; movl $1, %%eax; cltd; idivl %%ecx" ::
                          : "eax", "ecx", "edx");
       },
       SIGFPE, "exception 3 sent"},
      {[] { asm volatile("int3"); }, SIGTRAP, "exception 6 sent"},
  };
  for (const auto& kind : kinds) {
    const oru_test::ChildResult child = oru_test::RunInFork([&] {
      CatchFaultsWithDefaultActions();
      mach_double::ObserveFaults([](const std::string& line) {
        printf("%s\n", line.c_str());
        fflush(stdout);
      });
      const mach_port_t port = Register(kFaultMask);
      std::thread([=] { Answer(TakeRequest(port), KERN_FAILURE); }).detach();
      kind.raise();
      return 0;
    });
    EXPECT_EQ(kind.signo, child.signal) << child.Ending();
    EXPECT_EQ(std::string(kind.story) + "\nreply 5\nsignal " + std::to_string(kind.signo) + "\n",
              child.out);
  }
}

void ASignalThatWasSentIsNoException() {
  mach_double::CatchHardwareFaults();
  WriteStory();
  struct sigaction action = {};
  action.sa_sigaction = [](int, siginfo_t*, void*) { ++signals_seen; };
  action.sa_flags = SA_SIGINFO;
  ASSERT_EQ(0, sigaction(SIGSEGV, &action, nullptr));
  Register(kFaultMask);
  raise(SIGSEGV);
  EXPECT_EQ(1, signals_seen);
  EXPECT_EQ(std::vector<std::string>{"signal 11"}, Story());
}

void AnUnmappedPageIsASegmentationFaultAndAClosedOneABusError() {
  const struct {
    int protection;
    int signo;
  } kinds[] = {{0, SIGSEGV}, {PROT_READ, SIGBUS}};
  for (const auto& kind : kinds) {
    const oru_test::ChildResult child = oru_test::RunInFork([&] {
      CatchFaultsWithDefaultActions();
      char* const page = ReadOnlyPage();
      if (kind.protection == 0) munmap(page, 4096);
      *static_cast<volatile char*>(page) = 1;
      return 0;
    });
    EXPECT_EQ(kind.signo, child.signal) << child.Ending();
  }
}

constexpr int kEnough = 100;
const std::string kStaysPending = "signal " + std::to_string(SIGBUS) + " stays pending";

// Opens the page when the fault has come again often enough.
void OpenAfter(char* page, const std::string& sign) {
  mach_double::ObserveFaults([=](const std::string& line) {
    if (line == sign) Story().push_back(line);
    if (Story().size() == kEnough) mprotect(page, 4096, PROT_READ | PROT_WRITE);
  });
}

void HandleBusErrors(int flags) {
  struct sigaction action = {};
  action.sa_sigaction = [](int, siginfo_t*, void*) { ++signals_seen; };
  action.sa_flags = SA_SIGINFO | flags;
  ASSERT_EQ(0, sigaction(SIGBUS, &action, nullptr));
}

sigset_t OnlyBusErrors() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGBUS);
  return set;
}

bool BusErrorsAreBlocked() {
  sigset_t now;
  pthread_sigmask(SIG_BLOCK, nullptr, &now);
  return sigismember(&now, SIGBUS) == 1;
}

void ABlockedFaultStaysPendingAndComesAgainForEver() {
  mach_double::CatchHardwareFaults();
  HandleBusErrors(0);
  char* const page = ReadOnlyPage();
  OpenAfter(page, kStaysPending);
  const sigset_t set = OnlyBusErrors();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  EXPECT_TRUE(BusErrorsAreBlocked());
  *static_cast<volatile char*>(page) = 42;
  EXPECT_EQ(static_cast<size_t>(kEnough), Story().size());
  EXPECT_EQ(0, signals_seen);
  pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
  EXPECT_EQ(1, signals_seen);
}

void ABlockedFaultIsOfferedToThePortsEveryTime() {
  mach_double::CatchHardwareFaults();
  char* const page = ReadOnlyPage();
  OpenAfter(page, kStaysPending);
  const sigset_t set = OnlyBusErrors();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  const mach_port_t port = Register(kFaultMask);
  std::thread handler([&] {
    for (int i = 0; i < kEnough; ++i) Answer(TakeRequest(port), KERN_FAILURE);
  });
  *static_cast<volatile char*>(page) = 42;
  handler.join();
  EXPECT_EQ(static_cast<size_t>(kEnough), Story().size());
}

void AnIgnoredFaultComesAgainForEver() {
  mach_double::CatchHardwareFaults();
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  ASSERT_EQ(0, sigaction(SIGBUS, &ignore, nullptr));
  char* const page = ReadOnlyPage();
  int tries = 0;
  const mach_port_t port = Register(kFaultMask);
  std::thread handler([&] {
    for (; tries < kEnough; ++tries) Answer(TakeRequest(port), KERN_FAILURE);
    const RequestIn last = TakeRequest(port);
    mprotect(page, 4096, PROT_READ | PROT_WRITE);
    Answer(last, KERN_SUCCESS);
  });
  *static_cast<volatile char*>(page) = 42;
  handler.join();
  EXPECT_EQ(42, page[0]);
}

void ANewThreadHasItsCreatorsMask() {
  mach_double::CatchHardwareFaults();
  const sigset_t set = OnlyBusErrors();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  bool blocked = false;
  pthread_t thread;
  const auto body = [](void* seen) -> void* {
    *static_cast<bool*>(seen) = BusErrorsAreBlocked();
    return nullptr;
  };
  ASSERT_EQ(0, pthread_create(&thread, nullptr, body, &blocked));
  pthread_join(thread, nullptr);
  EXPECT_TRUE(blocked);
}

bool blocked_in_handler = false;

void AHandlersOwnSignalIsBlockedUnlessNotDeferred() {
  mach_double::CatchHardwareFaults();
  for (const int flags : {0, SA_NODEFER}) {
    struct sigaction action = {};
    action.sa_sigaction = [](int, siginfo_t*, void*) {
      blocked_in_handler = BusErrorsAreBlocked();
    };
    action.sa_flags = SA_SIGINFO | flags;
    ASSERT_EQ(0, sigaction(SIGBUS, &action, nullptr));
    raise(SIGBUS);
    EXPECT_EQ(flags == 0, blocked_in_handler);
    EXPECT_FALSE(BusErrorsAreBlocked());
  }
}

void AResetHandlerIsCalledOnce() {
  const oru_test::ChildResult child = oru_test::RunInFork([] {
    CatchFaultsWithDefaultActions();
    HandleBusErrors(static_cast<int>(SA_RESETHAND));
    raise(SIGBUS);
    if (signals_seen != 1) return 1;
    raise(SIGBUS);
    return 2;
  });
  EXPECT_EQ(SIGBUS, child.signal) << child.Ending();
}

std::atomic<pid_t> waiting_thread{0};

bool BlocksSentSignals(pid_t tid) {
  std::ifstream status("/proc/self/task/" + std::to_string(tid) + "/status");
  std::string line;
  while (std::getline(status, line) && line.rfind("SigBlk:", 0) != 0) {
  }
  const uint64_t mask = std::stoull(line.substr(7), nullptr, 16);
  return (mask >> (SIGUSR1 - 1) & 1) != 0 && (mask >> (SIGABRT - 1) & 1) != 0;
}

void OldAbortBlocksAllButItsSignal() {
  const oru_test::ChildResult child = oru_test::RunInFork([] {
    CatchFaultsWithDefaultActions();
    mach_double::UseOldAbort();
    struct sigaction action = {};
    action.sa_handler = [](int) {
      sigset_t now;
      pthread_sigmask(SIG_BLOCK, nullptr, &now);
      const bool own = sigismember(&now, SIGBUS) == 1 && sigismember(&now, SIGUSR1) == 1;
      _exit(own && BlocksSentSignals(waiting_thread) ? 7 : 8);
    };
    sigaction(SIGABRT, &action, nullptr);
    std::thread waiting([] {
      waiting_thread = static_cast<pid_t>(syscall(SYS_gettid));
      for (;;) pause();
    });
    while (waiting_thread == 0) std::this_thread::yield();
    abort();
    return 0;
  });
  EXPECT_EQ(7, child.exit_code) << child.Ending();
}

void OldAbortEndsByItsSignalWhenTheHandlerReturns() {
  const oru_test::ChildResult child = oru_test::RunInFork([] {
    mach_double::UseOldAbort();
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGABRT, &action, nullptr);
    abort();
    return 0;
  });
  EXPECT_EQ(SIGABRT, child.signal) << child.Ending();
}

// ---- The table ----

struct Rule {
  const char* name;
  const char* rule;
  const char* source;  // where the platform has it
  void (*test)();
};

const Rule kRules[] = {
    {"WithoutHandlersThereIsOneEntryWithoutAPort",
     "saved handlers come in groups of equal ones, nobody among them",
     "osfmk/kern/ipc_tt.c, task_get_exception_ports", WithoutHandlersThereIsOneEntryWithoutAPort},
    {"TheCountNeedNotHoldTheCapacity", "the count of saved handlers is only written",
     "osfmk/mach/task.defs, task_get_exception_ports", TheCountNeedNotHoldTheCapacity},
    {"SeveralHandlersAreSavedEachWithItsMask", "each group has the mask of its types",
     "osfmk/kern/ipc_tt.c, task_get_exception_ports", SeveralHandlersAreSavedEachWithItsMask},
    {"EverySavedPortCarriesASendRight", "each saved port is a send right more",
     "osfmk/kern/ipc_tt.c, task_get_exception_ports", EverySavedPortCarriesASendRight},
    {"WrongArgumentsAreRefused", "unknown types, behaviours, flavors and names are refused",
     "osfmk/kern/ipc_tt.c, task_set_exception_ports", WrongArgumentsAreRefused},
    {"ADeadNameIsRegisteredAsNobody", "a dead name is registered like no port",
     "osfmk/kern/exception.c, exception_deliver", ADeadNameIsRegisteredAsNobody},
    {"TheRequestIsThePlatformsByteByByte", "the request's bytes",
     "osfmk/mach/mach_exc.defs, mach_exception_raise", TheRequestIsThePlatformsByteByByte},
    {"WithoutWideCodesTheyAreCutTo32Bits", "codes are cut to 32 bits for who has not asked for 64",
     "osfmk/kern/exception.c, exception_deliver", WithoutWideCodesTheyAreCutTo32Bits},
    {"WithoutDeveloperModeAHandlerGetsRightsThatOnlyRead",
     "from 15 on a handler's rights to thread and task only read, unless the machine is in "
     "developer mode",
     "osfmk/kern/exception.c, exception_deliver",
     WithoutDeveloperModeAHandlerGetsRightsThatOnlyRead},
    {"TheThreadWaitsForTheReply", "the faulting thread waits in the kernel for the reply",
     "osfmk/kern/ipc_mig.c, kernel_mach_msg_rpc", TheThreadWaitsForTheReply},
    {"AFullQueueDoesNotHoldAnExceptionUp", "the kernel's messages pass the limit of a queue",
     "osfmk/kern/ipc_mig.c, kernel_mach_msg_rpc", AFullQueueDoesNotHoldAnExceptionUp},
    {"NobodyRegisteredMeansNotTaken", "without a handler the next level is asked",
     "osfmk/kern/exception.c, exception_deliver", NobodyRegisteredMeansNotTaken},
    {"ThreadTaskAndHostAreAskedOnceEach", "thread, task and host are asked once each",
     "osfmk/kern/exception.c, exception_triage_thread", ThreadTaskAndHostAreAskedOnceEach},
    {"ThePortsOfTheThreadComeFirst", "the thread's handler comes before the task's",
     "osfmk/kern/exception.c, exception_triage_thread", ThePortsOfTheThreadComeFirst},
    {"WhoIsRegisteredDuringAFaultGetsTheNextOne",
     "a handler registered during a fault gets the next one",
     "osfmk/kern/exception.c, exception_triage_thread", WhoIsRegisteredDuringAFaultGetsTheNextOne},
    {"AReplyThatIsNoneCountsAsAFailure", "a reply without its number is a failure",
     "osfmk/mach/mach_exc.defs, mach_exception_raise", AReplyThatIsNoneCountsAsAFailure},
    {"APortThatDiesWithTheRequestLetsTheFaultGoOn",
     "a port that dies with a request in its queue lets the fault go on",
     "osfmk/ipc/ipc_kmsg.c, ipc_kmsg_destroy", APortThatDiesWithTheRequestLetsTheFaultGoOn},
    {"AReplyRightGivenBackCountsAsAFailure", "a reply right that is given back is a failure",
     "osfmk/ipc/ipc_right.c, ipc_right_dealloc", AReplyRightGivenBackCountsAsAFailure},
    {"AStartedProgramKeepsThePortsItWasStartedWith",
     "exec and spawn keep the task's handlers, setuid programs aside",
     "bsd/kern/kern_exec.c, exec_handle_sugid", AStartedProgramKeepsThePortsItWasStartedWith},
    {"AForksChildAsksItsParentsPortsAndWaits", "a fork's child has its parent's handlers",
     "osfmk/kern/ipc_tt.c, ipc_task_init", AForksChildAsksItsParentsPortsAndWaits},
    {"AForksChildHasNoneOfItsParentsNames", "a fork's child has none of its parent's port names",
     "osfmk/kern/ipc_tt.c, ipc_task_init", AForksChildHasNoneOfItsParentsNames},
    {"ASuccessResumesTheFaultingInstruction", "after a success the instruction runs again",
     "osfmk/kern/exception.c, exception_triage_thread", ASuccessResumesTheFaultingInstruction},
    {"TheFaultingThreadsRegistersCanBeReadMeanwhile",
     "the registers of the waiting thread are those of the fault",
     "osfmk/kern/thread_act.c, thread_get_state", TheFaultingThreadsRegistersCanBeReadMeanwhile},
    {"AFailureGoesOnToTheSignalHandler", "what nobody takes becomes a signal",
     "bsd/uxkern/ux_exception.c, handle_ux_exception", AFailureGoesOnToTheSignalHandler},
    {"TheActionSetIsTheOneReadBack", "the action set is the one read back",
     "bsd/kern/kern_sig.c, sigaction", TheActionSetIsTheOneReadBack},
    {"WithoutAnyHandlerTheDefaultActionEndsTheProcess",
     "the default action ends the process by the signal", "bsd/kern/kern_sig.c, postsig_locked",
     WithoutAnyHandlerTheDefaultActionEndsTheProcess},
    {"EverySignalHasItsExceptionType", "which exception becomes which signal",
     "bsd/uxkern/ux_exception.c, ux_exception", EverySignalHasItsExceptionType},
    {"ASignalThatWasSentIsNoException", "a signal that was sent is no exception",
     "bsd/kern/kern_sig.c, psignal_internal", ASignalThatWasSentIsNoException},
    {"AnUnmappedPageIsASegmentationFaultAndAClosedOneABusError",
     "a page that is not there is SIGSEGV, one that is closed SIGBUS",
     "bsd/uxkern/ux_exception.c, ux_exception",
     AnUnmappedPageIsASegmentationFaultAndAClosedOneABusError},
    {"ABlockedFaultStaysPendingAndComesAgainForEver",
     "a fault whose signal is blocked stays pending, and the instruction faults again, for ever",
     "bsd/kern/kern_sig.c, threadsignal", ABlockedFaultStaysPendingAndComesAgainForEver},
    {"ABlockedFaultIsOfferedToThePortsEveryTime", "each of these faults is an exception first",
     "osfmk/kern/exception.c, exception_triage_thread", ABlockedFaultIsOfferedToThePortsEveryTime},
    {"AnIgnoredFaultComesAgainForEver", "so it is with an ignored one",
     "bsd/kern/kern_sig.c, threadsignal", AnIgnoredFaultComesAgainForEver},
    {"ANewThreadHasItsCreatorsMask", "a new thread has its creator's mask",
     "bsd/kern/kern_fork.c, uthread_init", ANewThreadHasItsCreatorsMask},
    {"AHandlersOwnSignalIsBlockedUnlessNotDeferred",
     "a handler runs with its signal blocked, SA_NODEFER aside",
     "bsd/kern/kern_sig.c, postsig_locked", AHandlersOwnSignalIsBlockedUnlessNotDeferred},
    {"AResetHandlerIsCalledOnce", "SA_RESETHAND takes the handler away before it runs",
     "bsd/kern/kern_sig.c, postsig_locked", AResetHandlerIsCalledOnce},
    {"OldAbortBlocksAllButItsSignal",
     "up to 10.14 abort() blocks all but SIGABRT in its thread and all in the others",
     "Libc, stdlib/FreeBSD/abort.c", OldAbortBlocksAllButItsSignal},
    {"OldAbortEndsByItsSignalWhenTheHandlerReturns",
     "after a handler that returns, abort() ends the process by SIGABRT",
     "Libc, stdlib/FreeBSD/abort.c", OldAbortEndsByItsSignalWhenTheHandlerReturns},
};

void PrintTo(const Rule& rule, std::ostream* out) { *out << rule.rule; }

class KernelRule : public testing::TestWithParam<Rule> {};

TEST_P(KernelRule, Holds) { GetParam().test(); }

INSTANTIATE_TEST_SUITE_P(All, KernelRule, testing::ValuesIn(kRules),
                         [](const testing::TestParamInfo<Rule>& info) {
                           return std::string(info.param.name);
                         });

// docs/porting.md has the table in words.
TEST(KernelRules, StandInTheDocumentsAsTheyStandHere) {
  std::ifstream file(ORU_SOURCE_DIR "/docs/porting.md");
  std::string document((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  for (const Rule& rule : kRules) {
    const std::string row =
        std::string("| ") + rule.rule + " | `" + rule.source + "` | `" + rule.name + "` |\n";
    EXPECT_NE(std::string::npos, document.find(row)) << row;
  }
}

}  // namespace
