#include <mach/mach.h>
#include <mach/semaphore.h>
#include <mach/sync_policy.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include "media_core/biz_engine/crash_handler/machine/threads/bounded_wait.h"
#include "media_core/biz_engine/crash_handler/machine/threads/helper_thread.h"

namespace CrashHandler::machine {
namespace {

// Of the thread that waits since the installation; a forked child has none.
std::atomic<pid_t> sProcess{0};
std::atomic<mach_port_t> sThread{MACH_PORT_NULL};
semaphore_t sOrders = MACH_PORT_NULL;
std::atomic<void (*)()> sBody{nullptr};

void* AwaitOrders(void* /*unused*/) {
  for (;;) {
    if (semaphore_wait(sOrders) != KERN_SUCCESS) continue;
    void (*const body)() = sBody.load();
    if (body != nullptr) body();
    sBody.store(nullptr);
  }
}

bool MakeThread() {
  if (semaphore_create(mach_task_self(), &sOrders, SYNC_POLICY_FIFO, 0) != KERN_SUCCESS) {
    return false;
  }
  sigset_t all;
  sigset_t mask;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &mask);
  pthread_t thread = {};
  const bool made = pthread_create(&thread, nullptr, &AwaitOrders, nullptr) == 0;
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  if (made) {
    sThread.store(pthread_mach_thread_np(thread));
    pthread_detach(thread);
  }
  return made;
}

bool HasThread() { return sProcess.load() == getpid(); }

}  // namespace

void PrepareHelperThread(void* /*memory*/) {
  if (HasThread()) return;
  if (MakeThread()) sProcess.store(getpid());
}

bool AwaitHelperThread() {
  constexpr int kLimitMs = 1000;
  return WaitWhile([] { return HasThread() && sBody.load() != nullptr; }, kLimitMs, 1);
}

bool StartHelperThread(void (*body)()) {
  if (!HasThread() || sBody.load() != nullptr) return false;
  sBody.store(body);
  return semaphore_signal(sOrders) == KERN_SUCCESS;
}

ThreadNumber HelperThreadNumber() { return HasThread() ? sThread.load() : 0; }

bool HelperWait(const std::atomic<uint32_t>* word, uint32_t value, int milliseconds) {
  constexpr int kPollMs = 10;
  return WaitWhile([=] { return word->load(std::memory_order_acquire) == value; }, milliseconds,
                   kPollMs);
}

void WakeHelper(std::atomic<uint32_t>* /*word*/) {}

}  // namespace CrashHandler::machine
