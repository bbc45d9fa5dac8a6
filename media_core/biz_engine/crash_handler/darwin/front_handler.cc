#include "media_core/biz_engine/crash_handler/darwin/front_handler.h"

#include <atomic>
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
// Written before the front is there.
struct sigaction sBehind[NSIG];
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

void CallBehind(int signo, siginfo_t* info, void* context) {
  const struct sigaction behind = sBehind[signo];
  const auto flags = static_cast<unsigned>(behind.sa_flags);
  if ((flags & SA_RESETHAND) != 0) machine::SetDefaultAction(signo);
  if ((flags & SA_SIGINFO) != 0) {
    behind.sa_sigaction(signo, info, context);
  } else {
    behind.sa_handler(signo);
  }
}

void HandleInFront(int signo, siginfo_t* info, void* context) {
  if (IsRuntimes(signo, info, context)) {
    CallBehind(signo, info, context);
  } else {
    sOthers.load()(signo, info, context);
  }
}

}  // namespace

void SetFrontRules(RuntimeFaultRule is_runtimes, Others others) {
  sIsRuntimes.store(is_runtimes);
  sOthers.store(others);
}

bool PutInFront(int signo, const struct sigaction& behind) {
  sBehind[signo] = behind;
  sHasFront[signo] = true;
  struct sigaction front = behind;
  front.sa_sigaction = HandleInFront;
  const auto flags = static_cast<unsigned>(behind.sa_flags);
  // Emulated: the front stays while the faults are not the other's.
  front.sa_flags = static_cast<int>((flags | SA_SIGINFO) & ~static_cast<unsigned>(SA_RESETHAND));
  return sigaction(signo, &front, nullptr) == 0;
}

bool IsFront(const struct sigaction& action) {
  return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == HandleInFront;
}

bool HasFront(int signo) { return sHasFront[signo]; }

void ForgetFronts() { memset(sHasFront, 0, sizeof sHasFront); }

bool IsCodeOfNoImage(const void* address) { return machine::IsInNoImage(address); }

}  // namespace CrashHandler
