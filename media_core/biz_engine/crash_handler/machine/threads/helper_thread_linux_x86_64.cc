#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/memory/system_call_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/bounded_wait.h"
#include "media_core/biz_engine/crash_handler/machine/threads/helper_thread.h"

// The thread is made by a bare `clone` at the crash: pthread_create takes the allocator's lock, and
// a thread that waits from the installation on would not be there in a forked child, would keep the
// host from what only a process of one thread may do (namespaces, some of setuid), and would make
// the C library lock where it need not. It gets thread-local storage of its own, just enough for
// the C library's system calls: the thread control block that they look at (whether other threads
// are to be reckoned with, whether somebody cancels it: no, and no) and, below it, the room up to
// where `errno` lies.
namespace CrashHandler::machine {
namespace {

constexpr size_t kControlBlockBytes = 8192;
constexpr size_t kStackBytes = size_t{128} << 10;

// What every x86_64 program finds at the thread pointer.
struct ControlBlock {
  void* self;
  void* dynamic_vector;
  void* self_again;
  uint64_t unused[2];
  uint64_t stack_guard;
  uint64_t pointer_guard;
};

char* sMemory = nullptr;
void (*sBody)() = nullptr;
// The kernel clears it when the thread has ended.
std::atomic<int32_t> sThread{0};
// The process whose thread it is: a forked child has a copy of the number, and no such thread.
std::atomic<pid_t> sProcess{0};
static_assert(sizeof(sThread) == sizeof(int32_t), "the kernel writes it");

ControlBlock* OwnControlBlock() {
  ControlBlock* block = nullptr;
  asm("movq %%fs:0, %0" : "=r"(block));
  return block;
}

char* ThreadPointer() { return sMemory + kHelperThreadBytes - kControlBlockBytes; }

void MakeControlBlock() {
  auto* const block = reinterpret_cast<ControlBlock*>(ThreadPointer());
  *block = {};
  block->self = block;
  block->self_again = block;
  block->stack_guard = OwnControlBlock()->stack_guard;
  block->pointer_guard = OwnControlBlock()->pointer_guard;
}

void RunBody() {
  sBody();
  SystemCall(SYS_exit, 0);
}

// Returns to the caller only; the new thread begins on its own stack with `run`.
long Clone(unsigned long flags, void* stack, std::atomic<int32_t>* number, void* thread_pointer,
           void (*run)()) {
  long result = 0;
  register auto* r10 asm("r10") = number;
  register auto* r8 asm("r8") = thread_pointer;
  register auto run_in asm("r9") = run;
  asm volatile(
      "syscall\n"
      "testq %%rax, %%rax\n"
      "jnz 1f\n"
      "xorl %%ebp, %%ebp\n"
      "callq *%%r9\n"
      "ud2\n"
      "1:\n"
      : "=a"(result)
      : "a"(SYS_clone), "D"(flags), "S"(stack), "d"(number), "r"(r10), "r"(r8), "r"(run_in)
      : "rcx", "r11", "memory");
  return result;
}

bool HasThread() { return sProcess.load() == getpid() && sThread.load() != 0; }

}  // namespace

void PrepareHelperThread(void* memory) {
  const auto own_errno = reinterpret_cast<uintptr_t>(&errno);
  const auto own_block = reinterpret_cast<uintptr_t>(OwnControlBlock());
  const size_t storage = kHelperThreadBytes - kStackBytes - kControlBlockBytes;
  // A program with more thread-local data of its own than fits has no helper thread.
  const bool fits = own_errno < own_block && own_block - own_errno < storage;
  sMemory = fits ? static_cast<char*>(memory) : nullptr;
}

bool AwaitHelperThread() {
  constexpr int kLimitMs = 1000;
  return WaitWhile(HasThread, kLimitMs, 1);
}

bool StartHelperThread(void (*body)()) {
  if (sMemory == nullptr || HasThread()) return false;
  sBody = body;
  sThread.store(0);
  sProcess.store(getpid());
  MakeControlBlock();
  sigset_t all;
  sigset_t mask;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &mask);
  const long result =
      Clone(CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND | CLONE_THREAD | CLONE_SYSVSEM |
                CLONE_SETTLS | CLONE_PARENT_SETTID | CLONE_CHILD_CLEARTID,
            sMemory + kStackBytes, &sThread, ThreadPointer(), &RunBody);
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  return result > 0;
}

ThreadNumber HelperThreadNumber() {
  return HasThread() ? static_cast<ThreadNumber>(sThread.load()) : 0;
}

bool HelperWait(const std::atomic<uint32_t>* word, uint32_t value, int milliseconds) {
  const int64_t end = NowMs() + milliseconds;
  const timespec deadline = {static_cast<time_t>(end / 1000),
                             static_cast<long>(end % 1000) * 1000000};
  while (word->load(std::memory_order_acquire) == value) {
    if (NowMs() >= end) return false;
    SystemCall(SYS_futex, word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, value, &deadline, nullptr,
               static_cast<unsigned>(FUTEX_BITSET_MATCH_ANY));
  }
  return true;
}

void WakeHelper(std::atomic<uint32_t>* word) {
  SystemCall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, INT_MAX);
}

}  // namespace CrashHandler::machine
