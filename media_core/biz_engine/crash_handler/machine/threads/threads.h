// The threads of this process: their numbers, names and registers.
//
// A thread number is the Mach port name on macOS and the kernel's thread id on Linux. Unless a
// function says otherwise it may run in a signal handler: it neither allocates from the heap nor
// takes a lock that an interrupted thread could hold.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREADS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREADS_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/machine/threads/registers.h"

namespace CrashHandler::machine {

using ThreadNumber = uint32_t;

// Room for a thread's name with its terminating zero.
constexpr size_t kThreadNameSize = 256;

// The threads of the process at one moment, in the system's order. Threads that start or end while
// the list is read may be in it or not.
class ThreadList {
 public:
  // Reads the list anew. False when the system does not give it; the list is then empty.
  bool Read();

  size_t size() const { return size_; }
  const ThreadNumber* numbers() const { return static_cast<const ThreadNumber*>(memory_.data()); }

 private:
  ScratchMemory memory_;
  size_t size_ = 0;
};

// Does what the first capture would otherwise do (choosing a signal, mapping memory). Call it at
// installation, on an ordinary thread; calling it again does nothing. Captures work without it.
void PrepareThreads();

ThreadNumber CurrentThreadNumber();

// Writes the thread's name, cut to the room, with a terminating zero; "" when it has none. False
// (and "") when there is no such thread, or, on macOS, no pthread behind it.
bool ThreadName(ThreadNumber number, char* name, size_t room);

// Reads the registers of one thread, the calling one included. False when the thread has ended or
// does not answer in time (on Linux: it blocks every signal or is stopped). Never waits longer
// than kCaptureLimitMs.
bool fillThreadStateIntoMachineContext(ThreadNumber number, Registers* registers);

// What CaptureThreads tells about one thread; `registers` is null when they could not be read, and
// valid during the call only. `index` is that of the number in the array.
using ThreadVisitor = void (*)(void* context, size_t index, const Registers* registers);

// Calls `visit` once for every number, in order, on the calling thread. On Linux the threads are
// asked all at once and each is held in its signal handler until the last visit is over, so their
// stacks stand still meanwhile (the calling thread's too, above this call): a visitor must not
// allocate, lock or wait. On macOS each thread goes on running. The time spent waiting for threads
// that do not answer is bounded for all of them together (kCaptureLimitMs, and shorter when no
// thread has answered for kCaptureQuietMs); they give null registers. A thread held by a capture
// that never finishes lets itself go after kHoldLimitMs.
// One capture runs at a time: a second caller waits for the first one, at most kCaptureLimitMs, and
// then gets null registers for all but itself.
void CaptureThreads(const ThreadNumber* numbers, size_t count, ThreadVisitor visit, void* context);

constexpr int kCaptureQuietMs = 250;
constexpr int kCaptureLimitMs = 2000;
constexpr int kHoldLimitMs = 3000;

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_THREADS_H_
