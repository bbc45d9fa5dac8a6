#include <sys/auxv.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <ucontext.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/machine/memory/system_call_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/bounded_wait.h"
#include "media_core/biz_engine/crash_handler/machine/threads/interrupted_threads_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/registers_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/task_files_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/thread_capture.h"

extern "C" void* __libc_stack_end;

namespace CrashHandler::machine {
namespace {

static_assert(kCaptureGroup == InterruptedThreads::kPlaces);

constexpr size_t kFileRoom = 4096;
constexpr int kPollMs = 1;
// A thread that goes on while it is looked at may stand still the next time.
constexpr int kLooks = 3;
constexpr uint64_t kPageSize = 4096;
// What the register signal's handler needs beside the kernel's frame, and what the compiler may
// have put below the stack pointer.
constexpr uint64_t kHandlerRoom = 1024 + 128;
// Where AT_MINSIGSTKSZ is missing there are no registers that need more.
constexpr uint64_t kPlainFrame = 4096;
// Environment and arguments, which lie above the first frame and count against the limit.
constexpr uint64_t kStackMargin = 128 * 1024;

// The process and the thread that may interrupt others; 0 when nobody does. A forked child gets a
// copy that names a thread it does not have.
std::atomic<uint64_t> sInterrupter{0};

uint64_t Self() {
  return static_cast<uint64_t>(SystemCall(SYS_getpid)) << 32 | CurrentThreadNumber();
}

bool BecomeInterrupter() {
  const uint64_t self = Self();
  uint64_t owner = 0;
  const auto taken_by_another = [&] {
    owner = 0;
    if (sInterrupter.compare_exchange_strong(owner, self)) return false;
    const bool of_parent = owner >> 32 != self >> 32;
    if (of_parent && sInterrupter.compare_exchange_strong(owner, self)) return false;
    return owner != self;
  };
  return WaitWhile(taken_by_another, kCaptureLimitMs, kPollMs) && owner != self;
}

// The main thread's stack grows when it is used; its limit is what counts.
bool MainStackHolds(uint64_t stack_pointer, uint64_t wanted, bool* holds) {
  const auto top = reinterpret_cast<uint64_t>(__libc_stack_end);
  struct rlimit limit;
  if (stack_pointer > top || getrlimit(RLIMIT_STACK, &limit) != 0) return false;
  const uint64_t used = top - stack_pointer;
  if (used > limit.rlim_cur) return false;
  *holds = limit.rlim_cur == RLIM_INFINITY || used + wanted + kStackMargin <= limit.rlim_cur;
  return true;
}

// Whether a signal's frame fits below a thread's stack pointer. What cannot be read there is the
// stack's guard.
bool HasRoomForSignal(ThreadNumber number, uint64_t stack_pointer) {
  const uint64_t frame = std::max<uint64_t>(getauxval(AT_MINSIGSTKSZ), kPlainFrame);
  const uint64_t wanted = frame + kHandlerRoom;
  bool holds = false;
  const bool main_thread = number == static_cast<ThreadNumber>(SystemCall(SYS_getpid));
  if (main_thread && MainStackHolds(stack_pointer, wanted, &holds)) return holds;
  if (stack_pointer < wanted) return false;
  char byte = 0;
  for (uint64_t at = stack_pointer - wanted; at < stack_pointer; at += kPageSize) {
    if (mach_copyMem(reinterpret_cast<const void*>(at), &byte, 1) != 0) return false;
  }
  return true;
}

// The signals of a sigwait.
SignalBits WaitedFor(const WaitingTask& task) {
  SignalBits waited = 0;
  if (task.call != SYS_rt_sigtimedwait) return 0;
  const auto* set = reinterpret_cast<const void*>(task.arguments[0]);
  return mach_copyMem(set, &waited, sizeof(waited)) == 0 ? waited : ~SignalBits{0};
}

SignalBits BlockedBy(ThreadNumber number) {
  char status[kFileRoom];
  SignalBits blocked = 0;
  const int file = OpenTaskFile(number, "status");
  if (file < 0) return 0;
  const bool read = ReadTaskFile(file, status, sizeof(status));
  SystemCall(SYS_close, file);
  return read && ParseBlockedSignals(status, &blocked) ? blocked : 0;
}

// One batch's visits of one thread.
class Visits {
 public:
  Visits(ThreadVisitor visit, void* context, const ThreadNumber* numbers)
      : visit_(visit), context_(context), numbers_(numbers) {}

  ThreadNumber number(size_t index) const { return numbers_[index]; }

  bool Known(size_t index, const Registers& registers, KnownRegisters known) const {
    return visit_(context_, {index, &registers, known});
  }
  void Unknown(size_t index) const {
    visit_(context_, {index, nullptr, KnownRegisters::kInstructionAndStack});
  }

 private:
  ThreadVisitor visit_;
  void* context_;
  const ThreadNumber* numbers_;
};

// What came of looking at a thread without a signal.
struct Glance {
  bool visited = false;
  bool enough = false;
  bool may_be_asked = true;
  SignalBits waited_for = 0;
};

// Looks at a thread that waits in the kernel.
class Glancer {
 public:
  Glancer(const Visits& visits, size_t index)
      : visits_(visits), index_(index), file_(OpenTaskFile(visits.number(index), "syscall")) {}
  ~Glancer() {
    if (file_ >= 0) SystemCall(SYS_close, file_);
  }
  Glancer(const Glancer&) = delete;
  Glancer& operator=(const Glancer&) = delete;

  Glance Look() {
    Glance glance;
    for (int look = 0; look < kLooks && !glance.visited; ++look) {
      WaitingTask task;
      if (!Read(before_) || !ParseWaitingTask(before_, &task)) return glance;
      Registers registers = {};
      registers.rip = task.instruction;
      registers.rsp = task.stack_pointer;
      glance.enough = visits_.Known(index_, registers, KnownRegisters::kInstructionAndStack);
      glance.visited = Read(after_) && strcmp(before_, after_) == 0;
      glance.waited_for = WaitedFor(task);
      if (glance.visited && !glance.enough) {
        glance.may_be_asked = HasRoomForSignal(visits_.number(index_), task.stack_pointer);
      }
    }
    return glance;
  }

 private:
  static constexpr size_t kLineRoom = 256;

  bool Read(char* line) const { return file_ >= 0 && ReadTaskFile(file_, line, kLineRoom); }

  const Visits& visits_;
  size_t index_;
  int file_;
  char before_[kLineRoom];
  char after_[kLineRoom];
};

// The threads of a group that are to be interrupted.
struct Question {
  size_t index;
  SignalBits barred;
  bool visited;
};

// In static memory, as the stack that a crash leaves may be small: for the interrupter.
Question sQuestions[kCaptureGroup];
size_t sPlaceOf[kCaptureGroup];

// Whether nothing is known of one of them.
bool AnyUnseen(size_t count) {
  return std::any_of(sQuestions, sQuestions + count,
                     [](const Question& question) { return !question.visited; });
}

// Visits the threads that answer; returns the milliseconds that were waited.
int64_t Interrupt(const Visits& visits, size_t count, int64_t limit_ms) {
  InterruptedThreads threads;
  for (size_t i = 0; i < count; ++i) {
    const Question& question = sQuestions[i];
    sPlaceOf[i] = threads.Ask(visits.number(question.index), question.barred);
  }
  const int64_t start = NowMs();
  threads.Wait(limit_ms, kCaptureQuietMs);
  const int64_t waited = NowMs() - start;
  for (size_t i = 0; i < count; ++i) {
    const size_t place = sPlaceOf[i];
    const Registers* registers =
        place == InterruptedThreads::kNoPlace ? nullptr : threads.Take(place);
    if (registers != nullptr) {
      visits.Known(sQuestions[i].index, *registers, KnownRegisters::kAll);
    } else if (!sQuestions[i].visited && !Glancer(visits, sQuestions[i].index).Look().visited) {
      // Nor does it wait by now, with the signals blocked that it had open when it was asked.
      visits.Unknown(sQuestions[i].index);
    }
  }
  return waited;
}

// Looks at one thread without a signal; true when it is to be interrupted for more. One that runs
// and blocks all signals may do so for a moment only, as in a handler or while it starts a thread.
bool LookAt(const Visits& visits, size_t index, const RealTimeSignals& signals, int* patience_ms,
            Question* question) {
  for (;; PauseMs(kPollMs), *patience_ms -= kPollMs) {
    const Glance glance = Glancer(visits, index).Look();
    if (glance.visited && (glance.enough || !glance.may_be_asked)) return false;
    const SignalBits barred = BlockedBy(visits.number(index)) | glance.waited_for;
    *question = {index, barred, glance.visited};
    if (glance.visited || *patience_ms <= 0 || signals.Choose(barred) != 0) return true;
  }
}

}  // namespace

ThreadCapture::ThreadCapture(const Precaution& precaution)
    : precaution_(precaution), may_interrupt_(BecomeInterrupter()) {}

ThreadCapture::~ThreadCapture() {
  if (may_interrupt_) sInterrupter.store(0);
}

// The caller's own registers are those of this very function, whose frame lives through all visits.
__attribute__((noinline)) void ThreadCapture::Visit(const ThreadNumber* numbers, size_t count,
                                                    ThreadVisitor visit, void* context) {
  ucontext_t here;
  const bool here_known = getcontext(&here) == 0;
  const Registers own = here_known ? RegistersOf(here) : Registers{};
  const ThreadNumber self = CurrentThreadNumber();
  const Visits visits(visit, context, numbers);
  if (count == 1 && numbers[0] == self) {
    visits.Known(0, own, KnownRegisters::kAll);
    return;
  }
  const RealTimeSignals signals;
  for (size_t done = 0; done < count;) {
    const size_t end = std::min(count, done + kCaptureGroup);
    size_t questions = 0;
    for (; done < end; ++done) {
      Question question;
      if (numbers[done] == self) {
        visits.Known(done, own, KnownRegisters::kAll);
      } else if (!LookAt(visits, done, signals, &patience_ms_, &question)) {
        continue;
      } else if (may_interrupt_) {
        sQuestions[questions++] = question;
      } else if (!question.visited) {
        visits.Unknown(done);
      }
    }
    const int64_t left_ms = kCaptureLimitMs - waited_ms_;
    if (AnyUnseen(questions) && precaution_.take != nullptr) {
      precaution_.take(precaution_.context);
      precaution_ = {};
    }
    if (questions != 0) waited_ms_ += Interrupt(visits, questions, left_ms > 0 ? left_ms : 0);
  }
}

bool fillThreadStateIntoMachineContext(ThreadNumber number, Registers* registers) {
  struct Result {
    Registers* registers;
    bool known;
  } result = {registers, false};
  const auto visit = [](void* context, const ThreadLook& look) {
    auto* out = static_cast<Result*>(context);
    if (look.registers == nullptr || look.known != KnownRegisters::kAll) return false;
    *out->registers = *look.registers;
    out->known = true;
    return true;
  };
  ThreadCapture().Visit(&number, 1, visit, &result);
  return result.known;
}

}  // namespace CrashHandler::machine
