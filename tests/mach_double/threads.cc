// Task and thread ports, the thread list, names and registers, and thread creation.
#include "tests/mach_double/threads.h"

#include <dlfcn.h>
#include <libproc.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>

#include "tests/mach_double/exceptions.h"
#include "tests/mach_double/failures.h"

mach_port_t mach_task_self_ = MACH_PORT_NULL;

extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument);
int __real_pthread_getname_np(pthread_t thread, char* name, size_t room);
}

namespace mach_double {
namespace {

struct Thread {
  PortRef port;
  mach_port_t name = MACH_PORT_NULL;
  pthread_t handle = {};  // of a fixed thread: the address of this record
  pid_t tid = 0;          // 0: fixed, or not yet running
  bool fixed = false;
  bool has_pthread = true;
  bool listed = true;
  bool named = false;
  std::string label;
  std::optional<x86_thread_state64_t> state;
  std::optional<x86_thread_state64_t> fault_state;
};

// All expect the port space's lock.
std::vector<Thread*>& Threads() {
  static auto* const threads = new std::vector<Thread*>;
  return *threads;
}

std::unique_lock<std::mutex> Lock() {
  return std::unique_lock<std::mutex>(PortSpace::Get().mutex());
}

template <typename Match>
Thread* FindThread(Match match) {
  const auto found = std::find_if(Threads().begin(), Threads().end(), match);
  return found == Threads().end() ? nullptr : *found;
}

Thread* ByName(mach_port_t name) {
  return FindThread([&](const Thread* t) { return t->name == name; });
}

Thread* ByHandle(pthread_t handle) {
  return FindThread([&](const Thread* t) { return t->has_pthread && t->handle == handle; });
}

Thread* NewThread() {
  auto* const thread = new Thread;
  thread->port = MakeKernelPort();
  thread->name = PortSpace::Get().AddSend(thread->port);
  Threads().push_back(thread);
  return thread;
}

// Takes a real thread off the list when it ends; its port dies, names of it become dead names.
void EndThread(Thread* thread) {
  const auto lock = Lock();
  Threads().erase(std::remove(Threads().begin(), Threads().end(), thread), Threads().end());
  PortSpace::Get().Kill(thread->port);
  delete thread;
}

struct OwnThread {
  Thread* thread = nullptr;
  ~OwnThread() {
    if (thread) EndThread(thread);
  }
};
thread_local OwnThread own_thread;

// The record of a real thread, made when it is first asked for.
Thread* RecordOf(pthread_t handle) {
  if (Thread* const known = ByHandle(handle)) return known;
  Thread* const thread = NewThread();
  thread->handle = handle;
  return thread;
}

Thread* CurrentThread() {
  if (!own_thread.thread) {
    own_thread.thread = RecordOf(pthread_self());
    own_thread.thread->tid = static_cast<pid_t>(syscall(SYS_gettid));
  }
  return own_thread.thread;
}

// ---- Registers of a running thread ----

// What a thread writes into for the one that asks.
struct Capture {
  x86_thread_state64_t state;
  sem_t done;
};
Capture* asked_capture = nullptr;
std::mutex capture_mutex;

int CaptureSignal() { return FirstOwnSignal() + 1; }

void OnCapture(int /*signo*/, siginfo_t* /*info*/, void* context) {
  Capture* const capture = __atomic_exchange_n(&asked_capture, nullptr, __ATOMIC_ACQ_REL);
  if (!capture) return;
  capture->state = StateOf(*static_cast<const ucontext_t*>(context));
  sem_post(&capture->done);
}

bool CaptureRegisters(pid_t tid, x86_thread_state64_t* state) {
  const std::lock_guard<std::mutex> lock(capture_mutex);
  struct sigaction action = {};
  action.sa_sigaction = OnCapture;
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  sigaction(CaptureSignal(), &action, nullptr);
  static auto* const capture = new Capture;
  sem_init(&capture->done, 0, 0);
  __atomic_store_n(&asked_capture, capture, __ATOMIC_RELEASE);
  timespec limit = {};
  clock_gettime(CLOCK_REALTIME, &limit);
  limit.tv_sec += 5;
  if (syscall(SYS_tgkill, getpid(), tid, CaptureSignal()) != 0) return false;
  int waited = 0;
  while ((waited = sem_timedwait(&capture->done, &limit)) != 0 && errno == EINTR) {
  }
  if (waited != 0) return false;
  *state = capture->state;
  return true;
}

// ---- Start of threads ----

struct Start {
  void* (*body)(void*);
  void* argument;
  uint64_t blocked_faults;
};

void* RunListed(void* argument) {
  const Start start = *static_cast<Start*>(argument);
  delete static_cast<Start*>(argument);
  SetBlockedFaults(start.blocked_faults);
  ServeCurrentThread();
  return start.body(start.argument);
}

// ---- Tasks ----

struct TaskPorts {
  PortRef control = MakeKernelPort();
  PortRef read = MakeKernelPort();
};

TaskPorts& OwnTask() {
  static auto* const ports = new TaskPorts;
  return *ports;
}

// The process identifiers of other tasks.
std::map<PortRef, int>& Pids() {
  static auto* const pids = new std::map<PortRef, int>;
  return *pids;
}

// A child is a task of its own, with one thread and no names but that of itself.
void BecomeChild() {
  OwnTask() = TaskPorts();
  Threads().clear();
  own_thread.thread = nullptr;
  InheritExceptionPorts();
  PortSpace::Get().Clear();
  mach_task_self_ = PortSpace::Get().AddSend(OwnTask().control);
}

void LockForFork() {
  LockFailures();
  PortSpace::Get().mutex().lock();
}

void UnlockAfterFork() {
  PortSpace::Get().mutex().unlock();
  UnlockFailures();
}

// Early, so that a child's own handlers find the stand-in in order.
__attribute__((constructor(101))) void MakeTask() {
  const auto lock = Lock();
  mach_task_self_ = PortSpace::Get().AddSend(TaskPort());
  pthread_atfork(LockForFork, UnlockAfterFork, [] {
    BecomeChild();
    UnlockAfterFork();
  });
}

}  // namespace

bool IsListed(pthread_t thread) {
  const auto lock = Lock();
  return ByHandle(thread) != nullptr;
}

PortRef TaskPort() { return OwnTask().control; }
PortRef TaskReadPort() { return OwnTask().read; }
void NameTaskPid(const PortRef& task, int pid) { Pids()[task] = pid; }

int FirstOwnSignal() { return SIGRTMAX - 3; }

PortRef CurrentThreadPort() {
  const auto lock = Lock();
  return CurrentThread()->port;
}

x86_thread_state64_t StateOf(const ucontext_t& context) {
  const greg_t* const r = context.uc_mcontext.gregs;
  const auto reg = [&](int index) { return static_cast<uint64_t>(r[index]); };
  x86_thread_state64_t state = {};
  state.__rax = reg(REG_RAX);
  state.__rbx = reg(REG_RBX);
  state.__rcx = reg(REG_RCX);
  state.__rdx = reg(REG_RDX);
  state.__rdi = reg(REG_RDI);
  state.__rsi = reg(REG_RSI);
  state.__rbp = reg(REG_RBP);
  state.__rsp = reg(REG_RSP);
  state.__r8 = reg(REG_R8);
  state.__r9 = reg(REG_R9);
  state.__r10 = reg(REG_R10);
  state.__r11 = reg(REG_R11);
  state.__r12 = reg(REG_R12);
  state.__r13 = reg(REG_R13);
  state.__r14 = reg(REG_R14);
  state.__r15 = reg(REG_R15);
  state.__rip = reg(REG_RIP);
  state.__rflags = reg(REG_EFL);
  return state;
}

ScopedFaultState::ScopedFaultState(const x86_thread_state64_t& state) {
  const auto lock = Lock();
  CurrentThread()->fault_state = state;
}

ScopedFaultState::~ScopedFaultState() {
  const auto lock = Lock();
  CurrentThread()->fault_state.reset();
}

mach_port_t AddThread(const FixedThread& thread) {
  const auto lock = Lock();
  Thread* const record = NewThread();
  record->fixed = true;
  record->has_pthread = thread.has_pthread;
  record->handle = reinterpret_cast<pthread_t>(record);
  record->named = true;
  record->label = thread.name;
  record->state = thread.state;
  return record->name;
}

mach_port_t ServeCurrentThread() {
  const auto lock = Lock();
  CurrentThread()->listed = true;
  return CurrentThread()->name;
}

void ForgetThreads() {
  const auto lock = Lock();
  for (Thread* const thread : Threads()) thread->listed = false;
}

void FixThreadState(mach_port_t thread, const x86_thread_state64_t& state) {
  const auto lock = Lock();
  if (Thread* const record = ByName(thread)) record->state = state;
}

void NameThread(mach_port_t thread, const std::string& name) {
  const auto lock = Lock();
  Thread* const record = ByName(thread);
  if (!record) return;
  record->named = true;
  record->label = name;
}

}  // namespace mach_double

using mach_double::Call;
using mach_double::CurrentThread;
using mach_double::FailureOf;
using mach_double::Lock;
using mach_double::PortSpace;

extern "C" {

mach_port_t mach_thread_self(void) {
  const auto lock = Lock();
  return PortSpace::Get().AddSend(CurrentThread()->port);
}

mach_port_t pthread_mach_thread_np(pthread_t thread) {
  const auto lock = Lock();
  if (thread == pthread_self()) return CurrentThread()->name;
  return mach_double::RecordOf(thread)->name;
}

kern_return_t thread_info(thread_inspect_t thread, thread_flavor_t flavor, thread_info_t info,
                          mach_msg_type_number_t* count) {
  if (const auto failure = FailureOf(Call::kThreadInfo)) return *failure;
  if (flavor != THREAD_IDENTIFIER_INFO || *count < THREAD_IDENTIFIER_INFO_COUNT) {
    return KERN_INVALID_ARGUMENT;
  }
  const auto lock = Lock();
  const mach_double::Thread* const record = mach_double::ByName(thread);
  if (!record) return MACH_SEND_INVALID_DEST;
  thread_identifier_info_data_t identity = {};
  if (record->has_pthread) identity.thread_handle = static_cast<uint64_t>(record->handle);
  std::memcpy(info, &identity, sizeof(identity));
  *count = THREAD_IDENTIFIER_INFO_COUNT;
  return KERN_SUCCESS;
}

// Threads of the process itself alone.
int proc_pidinfo(int pid, int flavor, uint64_t handle, void* buffer, int room) {
  const auto failure = FailureOf(Call::kProcPidInfo);
  proc_threadinfo facts = {};
  const bool known = flavor == PROC_PIDTHREADINFO && room >= static_cast<int>(sizeof(facts));
  const auto thread = static_cast<pthread_t>(handle);
  if (failure || !known || pid != getpid() || !mach_double::IsListed(thread)) {
    errno = failure ? *failure : known ? ESRCH : EINVAL;
    return 0;
  }
  pthread_getname_np(thread, facts.pth_name, sizeof(facts.pth_name));
  std::memcpy(buffer, &facts, sizeof(facts));
  return sizeof(facts);
}

kern_return_t pid_for_task(mach_port_name_t task, int* pid) {
  const auto lock = Lock();
  *pid = -1;
  const PortSpace::Entry* const entry = PortSpace::Get().Find(task);
  if (!entry || !entry->port) return KERN_FAILURE;
  const auto other = mach_double::Pids().find(entry->port);
  const bool own =
      entry->port == mach_double::TaskPort() || entry->port == mach_double::TaskReadPort();
  if (!own && other == mach_double::Pids().end()) return KERN_FAILURE;
  *pid = own ? getpid() : other->second;
  return KERN_SUCCESS;
}

kern_return_t task_threads(task_inspect_t task, thread_act_array_t* list,
                           mach_msg_type_number_t* count) {
  if (const auto failure = FailureOf(Call::kTaskThreads)) return *failure;
  if (task != mach_task_self()) return MACH_SEND_INVALID_DEST;
  const auto lock = Lock();
  std::vector<thread_act_t> names;
  for (const mach_double::Thread* const thread : mach_double::Threads()) {
    if (thread->listed) names.push_back(PortSpace::Get().AddSend(thread->port));
  }
  // The list is fresh memory of the task; its owner gives it back with vm_deallocate.
  const size_t bytes = std::max<size_t>(1, names.size()) * sizeof(thread_act_t);
  void* const memory =
      mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return KERN_RESOURCE_SHORTAGE;
  std::copy(names.begin(), names.end(), static_cast<thread_act_t*>(memory));
  *list = static_cast<thread_act_array_t>(memory);
  *count = static_cast<mach_msg_type_number_t>(names.size());
  return KERN_SUCCESS;
}

kern_return_t thread_get_state(thread_act_t thread, thread_state_flavor_t flavor,
                               thread_state_t state, mach_msg_type_number_t* count) {
  if (const auto failure = FailureOf(Call::kThreadGetState)) return *failure;
  if (flavor != x86_THREAD_STATE64 || *count < x86_THREAD_STATE64_COUNT) {
    return KERN_INVALID_ARGUMENT;
  }
  std::optional<x86_thread_state64_t> known;
  pid_t tid = 0;
  {
    const auto lock = Lock();
    const mach_double::Thread* const record = mach_double::ByName(thread);
    if (!record) return MACH_SEND_INVALID_DEST;
    known = record->fault_state ? record->fault_state : record->state;
    tid = record->tid;
  }
  x86_thread_state64_t found = {};
  if (known) {
    found = *known;
  } else if (tid == 0 || !mach_double::CaptureRegisters(tid, &found)) {
    return KERN_INVALID_ARGUMENT;
  }
  std::memcpy(state, &found, sizeof(found));
  *count = x86_THREAD_STATE64_COUNT;
  return KERN_SUCCESS;
}

// The linker sends the statically linked objects' calls of these two here (--wrap).

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument) {
  if (const auto failure = FailureOf(Call::kPthreadCreate)) return *failure;
  auto* const start = new mach_double::Start{body, argument, mach_double::BlockedFaults()};
  const int result = __real_pthread_create(thread, attributes, mach_double::RunListed, start);
  if (result != 0) delete start;
  return result;
}

int __wrap_pthread_getname_np(pthread_t thread, char* name, size_t room) {
  {
    const auto lock = Lock();
    const mach_double::Thread* const record = mach_double::ByHandle(thread);
    if (record && record->named) {
      if (room == 0) return ERANGE;
      const size_t length = std::min(record->label.size(), room - 1);
      std::memcpy(name, record->label.data(), length);
      name[length] = '\0';
      return 0;
    }
  }
  return __real_pthread_getname_np(thread, name, room);
}

}  // extern "C"

int pthread_setname_np(const char* name) {
  constexpr size_t kLongest = 63;
  constexpr size_t kKernelLongest = 15;
  const std::string label(name);
  if (label.size() > kLongest) return ENAMETOOLONG;
  {
    const auto lock = Lock();
    CurrentThread()->named = true;
    CurrentThread()->label = label;
  }
  return pthread_setname_np(pthread_self(), label.substr(0, kKernelLongest).c_str());
}
