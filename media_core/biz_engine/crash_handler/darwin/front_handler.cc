#include "media_core/biz_engine/crash_handler/darwin/front_handler.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/images/code_of_no_image.h"
#include "media_core/biz_engine/crash_handler/machine/threads/fault.h"
#include "media_core/biz_engine/crash_handler/machine/threads/signal_action.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/crash_frames.h"

namespace CrashHandler {
namespace {

using Others = void (*)(int signo, siginfo_t* info, void* context);

std::atomic<RuntimeFaultRule> sIsRuntimes{nullptr};
std::atomic<Others> sOthers{nullptr};

// Who takes a signal over may pass it on to the front that he found, before which he must not stand
// then, too: of each signal there is a front for every handler in turn. The last serves all that
// come after.
constexpr size_t kFronts = 8;

// One signal's: who is behind each of its fronts, written before that is there, and how many were
// there ever.
struct Fronts {
  struct sigaction behind[kFronts];
  size_t count;
};
Fronts sFronts[NSIG];
bool sHasFront[NSIG];

// A jump to nowhere is in no image either: the instruction is what could not be read.
bool IsJumpToNowhere(int signo, const siginfo_t* info, const void* instruction) {
  return (signo == SIGSEGV || signo == SIGBUS) && info->si_addr == instruction;
}

bool IsRuntimes(int signo, const siginfo_t* info, const void* context) {
  if (context == nullptr || !machine::IsOfInstruction(signo, info, context)) return false;
  const void* const instruction = machine::InterruptedAt(context);
  if (!IsJumpToNowhere(signo, info, instruction) && machine::IsInNoImage(instruction)) return true;
  const RuntimeFaultRule rule = sIsRuntimes.load();
  return rule != nullptr && rule(signo, info, instruction);
}

void Call(const struct sigaction& behind, int signo, siginfo_t* info, void* context) {
  const auto flags = static_cast<unsigned>(behind.sa_flags);
  if ((flags & SA_RESETHAND) != 0) machine::SetDefaultAction(signo);
  if ((flags & SA_SIGINFO) != 0) {
    behind.sa_sigaction(signo, info, context);
  } else {
    behind.sa_handler(signo);
  }
}

template <size_t kFront>
void HandleInFront(int signo, siginfo_t* info, void* context) {
  const struct sigaction& behind = sFronts[signo].behind[kFront];
  if (machine::HasFunction(behind) && IsRuntimes(signo, info, context)) {
    Call(behind, signo, info, context);
  } else {
    sOthers.load()(signo, info, context);
  }
}

constexpr Others kHandlers[kFronts] = {HandleInFront<0>, HandleInFront<1>, HandleInFront<2>,
                                       HandleInFront<3>, HandleInFront<4>, HandleInFront<5>,
                                       HandleInFront<6>, HandleInFront<7>};

// The front that is next for `behind`, who is behind no other any more: he may have found that one.
size_t TakeFront(Fronts* fronts, const struct sigaction& behind) {
  for (size_t i = 0; i < fronts->count; ++i) {
    if (fronts->behind[i].sa_sigaction == behind.sa_sigaction) fronts->behind[i] = {};
  }
  const size_t front = std::min(fronts->count, kFronts - 1);
  fronts->behind[front] = behind;
  fronts->count = front + 1;
  return front;
}

}  // namespace

void SetFrontRules(RuntimeFaultRule is_runtimes, Others others) {
  sIsRuntimes.store(is_runtimes);
  sOthers.store(others);
}

bool PutInFront(int signo, const struct sigaction& behind) {
  struct sigaction front = behind;
  front.sa_sigaction = kHandlers[TakeFront(&sFronts[signo], behind)];
  const auto flags = static_cast<unsigned>(behind.sa_flags);
  // Emulated: the front stays while the faults are not the other's.
  front.sa_flags = static_cast<int>((flags | SA_SIGINFO) & ~static_cast<unsigned>(SA_RESETHAND));
  sHasFront[signo] = true;
  return sigaction(signo, &front, nullptr) == 0;
}

bool IsFront(const struct sigaction& action) {
  return (action.sa_flags & SA_SIGINFO) != 0 &&
         std::find(kHandlers, kHandlers + kFronts, action.sa_sigaction) != kHandlers + kFronts;
}

bool HasFront(int signo) { return sHasFront[signo]; }

void ForgetFronts() { memset(sHasFront, 0, sizeof sHasFront); }

bool IsCodeOfNoImage(const void* address) { return machine::IsInNoImage(address); }

}  // namespace CrashHandler
