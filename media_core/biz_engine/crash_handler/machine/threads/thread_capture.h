// The registers of other threads, for walks over their stacks.
//
// May run in a signal handler: no heap, no locks.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREAD_CAPTURE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREAD_CAPTURE_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/threads/capture_limits.h"
#include "media_core/biz_engine/crash_handler/machine/threads/registers.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"

namespace CrashHandler::machine {

// What is known of one thread. `index` is that of its number in the array; `registers` is null when
// they could not be read, and valid during the visit only.
struct ThreadLook {
  size_t index;
  const Registers* registers;
  KnownRegisters known;
};

// True when the look was enough. False asks for all registers, if only some are known: the thread
// is visited once more if it gives them.
using ThreadVisitor = bool (*)(void* context, const ThreadLook& look);

// What is done once, before threads are interrupted of which the kernel shows nothing beforehand:
// where the stack of one has no room for the signal's frame, the process ends at once, by SIGSEGV.
// No thread is held meanwhile.
struct Precaution {
  void (*take)(void* context) = nullptr;
  void* context = nullptr;
};

// Looks at threads, in as many batches as the caller likes.
//
// On macOS each thread's state is read while it goes on running.
//
// On Linux a thread that waits in the kernel shows its instruction and stack pointers to whoever
// asks the kernel, and mostly nothing more is needed to walk its stack: it notices nothing. What is
// walked meanwhile counts only if the thread has not moved at the end of the visit. A thread that
// runs, or whose visitor wants all registers, is interrupted by a real-time signal and held in its
// handler until its group of at most kCaptureGroup threads has been visited. So a system call that
// a signal ends may come back with EINTR, but only in the threads for which there is no other way.
// Not interrupted are threads that block every such signal or wait for it by sigwait, and those
// whose stack has no room for the signal's frame: of these only what the kernel shows is known,
// which for a running thread is nothing. One that runs and cannot be asked is looked at again after
// the others, for kCapturePatienceMs in all: it may come to a wait or open its signals. A signal
// with the default action is taken; where the host handles them all, one of its own is borrowed and
// what comes for the host meanwhile is passed on.
//
// A visitor must not allocate, lock or wait: the thread that it looks at may hold any lock.
//
// Memory: none that depends on the number of threads. Time: waiting for threads that do not answer
// is bounded for all batches of one object together (kCaptureLimitMs, and in each group shorter
// when no thread has answered for kCaptureQuietMs). A thread held by a capture that never finishes
// lets itself go after kHoldLimitMs.
//
// One object at a time may interrupt threads. A second one waits for the first, at most
// kCaptureLimitMs, and then makes do without. One object serves one thread.
class ThreadCapture {
 public:
  explicit ThreadCapture(const Precaution& precaution = {});
  ~ThreadCapture();  // NOLINT(performance-trivially-destructible): Linux has something to do
  ThreadCapture(const ThreadCapture&) = delete;
  ThreadCapture& operator=(const ThreadCapture&) = delete;

  // Visits every thread, in no particular order, on the calling thread; at least once, and twice
  // when the first visit asked for more. The calling thread's own registers are those of this call.
  void Visit(const ThreadNumber* numbers, size_t count, ThreadVisitor visit, void* context);

 private:
  // Linux's own.
  [[maybe_unused]] Precaution precaution_;
  [[maybe_unused]] int64_t waited_ms_ = 0;
  [[maybe_unused]] int patience_ms_ = kCapturePatienceMs;
  [[maybe_unused]] bool may_interrupt_ = false;
};

// Reads the registers of one thread, the calling one included. False when the thread has ended or
// does not answer in time (on Linux: it blocks every signal or is stopped).
bool fillThreadStateIntoMachineContext(ThreadNumber number, Registers* registers);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREAD_CAPTURE_H_
