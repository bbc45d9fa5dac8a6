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

// What is wanted of a thread of a group beyond a look at it.
struct Question {
  size_t index;
  SignalBits barred;
  bool visited;
  bool asked;
};

// In static memory, as the stack that a crash leaves may be small: for the interrupter.
Question sQuestions[kCaptureGroup];
size_t sPlaceOf[kCaptureGroup];

// Looks at one thread without a signal; true when there is a question left.
bool LookAt(const Visits& visits, Question* question) {
  const Glance glance = Glancer(visits, question->index).Look();
  if (glance.visited && (glance.enough || !glance.may_be_asked)) return false;
  question->visited = glance.visited;
  question->barred = BlockedBy(visits.number(question->index)) | glance.waited_for;
  return true;
}

// As LookAt, with patience for a thread that runs and cannot be asked. It may block all signals for
// a moment only, as in a handler or while it starts a thread, and come to a wait or open them.
bool LookPatiently(const Visits& visits, const RealTimeSignals& signals, int* patience_ms,
                   Question* question) {
  const int64_t end = NowMs() + *patience_ms;
  const auto is_of_no_use = [&] {
    const bool askable = !question->asked && signals.Choose(question->barred) != 0;
    return question->visited || askable || NowMs() >= end;
  };
  bool left = LookAt(visits, question);
  while (left && !is_of_no_use()) {
    PauseMs(kPollMs);
    left = LookAt(visits, question);
  }
  *patience_ms = static_cast<int>(std::max<int64_t>(end - NowMs(), 0));
  return left;
}

// Whether nothing is known of one of them.
bool AnyUnseen(size_t count) {
  return std::any_of(sQuestions, sQuestions + count,
                     [](const Question& question) { return !question.visited; });
}

// Leaves the questions about threads of which nothing is known; returns their number.
size_t KeepUnseen(size_t count) {
  const Question* end = std::remove_if(sQuestions, sQuestions + count,
                                       [](const Question& question) { return question.visited; });
  return static_cast<size_t>(end - sQuestions);
}

// After the others, which need no patience. Returns the number of the questions that are left.
size_t LookAtUnseen(const Visits& visits, const RealTimeSignals& signals, size_t count,
                    int* patience_ms) {
  const size_t unseen = KeepUnseen(count);
  size_t left = 0;
  for (size_t i = 0; i < unseen; ++i) {
    Question question = sQuestions[i];
    if (LookPatiently(visits, signals, patience_ms, &question)) sQuestions[left++] = question;
  }
  return left;
}

// Visits the threads that answer within what is left of the limit. A thread is asked but once: what
// it has not answered may still be before it.
void Interrupt(const Visits& visits, size_t count, int64_t* waited_ms) {
  if (count == 0) return;
  InterruptedThreads threads;
  for (size_t i = 0; i < count; ++i) {
    Question& question = sQuestions[i];
    sPlaceOf[i] = InterruptedThreads::kNoPlace;
    if (question.asked) continue;
    sPlaceOf[i] = threads.Ask(visits.number(question.index), question.barred);
    question.asked = sPlaceOf[i] != InterruptedThreads::kNoPlace;
  }
  const int64_t start = NowMs();
  threads.Wait(std::max<int64_t>(kCaptureLimitMs - *waited_ms, 0), kCaptureQuietMs);
  *waited_ms += NowMs() - start;
  for (size_t i = 0; i < count; ++i) {
    if (sPlaceOf[i] == InterruptedThreads::kNoPlace) continue;
    const Registers* registers = threads.Take(sPlaceOf[i]);
    if (registers == nullptr) continue;
    visits.Known(sQuestions[i].index, *registers, KnownRegisters::kAll);
    sQuestions[i].visited = true;
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
      Question question = {done, 0, false, false};
      if (numbers[done] == self) {
        visits.Known(done, own, KnownRegisters::kAll);
      } else if (!LookAt(visits, &question)) {
        continue;
      } else if (may_interrupt_) {
        sQuestions[questions++] = question;
      } else if (LookPatiently(visits, signals, &patience_ms_, &question) && !question.visited) {
        visits.Unknown(done);
      }
    }
    if (AnyUnseen(questions) && precaution_.take != nullptr) {
      precaution_.take(precaution_.context);
      precaution_ = {};
    }
    Interrupt(visits, questions, &waited_ms_);
    questions = LookAtUnseen(visits, signals, questions, &patience_ms_);
    Interrupt(visits, questions, &waited_ms_);
    questions = KeepUnseen(questions);
    for (size_t i = 0; i < questions; ++i) visits.Unknown(sQuestions[i].index);
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
