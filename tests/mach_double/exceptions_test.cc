#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/mach_double/mach_double.h"
#include "tests/support/child_process.h"

namespace {

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

mach_port_t NewPort() {
  mach_port_t port = MACH_PORT_NULL;
  EXPECT_EQ(KERN_SUCCESS, mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port));
  EXPECT_EQ(KERN_SUCCESS,
            mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND));
  return port;
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

TEST(ExceptionPorts, WithoutHandlersThereIsOneEntryWithoutAPort) {
  Saved saved;
  ASSERT_EQ(KERN_SUCCESS, Save(&saved));
  EXPECT_EQ(1u, saved.count);
  EXPECT_EQ(kFaultMask, saved.masks[0]);
  EXPECT_EQ(0u, saved.ports[0]);
}

TEST(ExceptionPorts, TheCountNeedNotHoldTheCapacity) {
  Saved saved = {};
  saved.count = 0;
  ASSERT_EQ(KERN_SUCCESS,
            task_get_exception_ports(mach_task_self(), kFaultMask, saved.masks, &saved.count,
                                     saved.ports, saved.behaviors, saved.flavors));
  EXPECT_EQ(1u, saved.count);
}

TEST(ExceptionPorts, SeveralHandlersAreSavedEachWithItsMask) {
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

TEST(ExceptionPorts, EverySavedPortCarriesASendRight) {
  const mach_port_t port = Register(EXC_MASK_BAD_ACCESS);
  Saved saved;
  ASSERT_EQ(KERN_SUCCESS, Save(&saved));
  EXPECT_EQ(2, mach_double::RightsOf(port).send);
}

TEST(ExceptionPorts, WrongArgumentsAreRefused) {
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

TEST(Exceptions, TheRequestIsThePlatformsByteByByte) {
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

TEST(Exceptions, WithoutWideCodesTheyAreCutTo32Bits) {
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

TEST(Exceptions, TheThreadWaitsForTheReply) {
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

TEST(Exceptions, NobodyRegisteredMeansNotTaken) {
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  Register(EXC_MASK_BREAKPOINT);
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
}

TEST(Exceptions, AFailureGoesOnToTheHandlerRegisteredThen) {
  const mach_port_t before = Register(kFaultMask);
  bool taken = false;
  std::thread thread([&] { taken = mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0); });
  const RequestIn first = TakeRequest(before);
  const mach_port_t after = Register(kFaultMask);
  Answer(first, KERN_FAILURE);
  Answer(TakeRequest(after), KERN_SUCCESS);
  thread.join();
  EXPECT_TRUE(taken);
}

TEST(Exceptions, AHandlerThatFailedIsNotAskedTwice) {
  const mach_port_t port = Register(kFaultMask);
  const OneAnswer answer(port, KERN_FAILURE);
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
}

TEST(Exceptions, AReplyThatIsNoneCountsAsAFailure) {
  const mach_port_t port = Register(kFaultMask);
  std::thread handler([&] {
    RequestIn in = TakeRequest(port);
    in.header.msgh_id -= 100;  // so that the answer carries the request's own id
    Answer(in, KERN_SUCCESS);
  });
  EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0));
  handler.join();
}

TEST(Exceptions, APortThatDiesWithTheRequestLetsTheFaultGoOn) {
  const mach_port_t port = Register(kFaultMask);
  std::thread thread([&] { EXPECT_FALSE(mach_double::RaiseException(EXC_BAD_ACCESS, 1, 0)); });
  while (mach_double::QueuedMessages(port) == 0) std::this_thread::yield();
  EXPECT_EQ(KERN_SUCCESS, mach_port_destroy(mach_task_self(), port));
  thread.join();
}

char* ReadOnlyPage() {
  void* const page = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return static_cast<char*>(page);
}

TEST(Faults, ASuccessResumesTheFaultingInstruction) {
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

TEST(Faults, TheFaultingThreadsRegistersCanBeReadMeanwhile) {
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

TEST(Faults, AFailureGoesOnToTheSignalHandler) {
  WriteStory();
  mach_double::CatchHardwareFaults();
  struct sigaction action = {};
  action.sa_sigaction = OnSignal;
  action.sa_flags = SA_SIGINFO;
  ASSERT_EQ(0, sigaction(SIGSEGV, &action, nullptr));
  char* const page = ReadOnlyPage();
  const mach_port_t port = Register(kFaultMask);
  {
    const OneAnswer answer(port, KERN_FAILURE);
    *static_cast<volatile char*>(page) = 42;
  }
  EXPECT_EQ(1, signals_seen);
  EXPECT_EQ(page, restored_page);
  const std::vector<std::string> wanted = {"exception 1 sent", "reply 5", "signal 11"};
  EXPECT_EQ(wanted, Story());
}

TEST(Faults, TheActionSetIsTheOneReadBack) {
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

TEST(Faults, WithoutAnyHandlerTheDefaultActionEndsTheProcess) {
  const oru_test::ChildResult child = oru_test::RunInFork([] {
    CatchFaultsWithDefaultActions();
    *static_cast<volatile char*>(ReadOnlyPage()) = 1;
    return 0;
  });
  EXPECT_EQ(SIGSEGV, child.signal) << child.Ending();
}

TEST(Faults, EverySignalHasItsExceptionType) {
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

TEST(Faults, ASignalThatWasSentIsNoException) {
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

}  // namespace
