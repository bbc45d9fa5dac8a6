#include "media_core/biz_engine/crash_handler/dying/crash_rescue.h"

#include <execinfo.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "media_core/biz_engine/crash_handler/darwin/crash_handler_darwin.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"
#include "media_core/biz_engine/crash_handler/report/plain_report.h"

namespace CrashHandler {
namespace {

constexpr int kMaxFrames = 128;

enum class State { kNothingDue, kDue, kRescued, kFileUnderWay };

// One thread at a time has them; its own signal handlers see them in order.
std::atomic<State> sState{State::kNothingDue};
PlainCrash sCrash;
void* sFrames[kMaxFrames];
PlainPath sRescued;

// The stack from the point at which the report was interrupted, which lies above the crash.
size_t CaptureHere() {
  const size_t count = machine::CaptureDamagedStack(sFrames, kMaxFrames);
  return count != 0 ? count : static_cast<size_t>(backtrace(sFrames, kMaxFrames));
}

}  // namespace

void ExpectReport(CrashType kind) {
  sCrash = {};
  sCrash.kind = kind;
  clock_gettime(CLOCK_REALTIME, &sCrash.time);
  sRescued[0] = '\0';
  sState.store(State::kDue);
}

void RememberFrames(void* const* frames, int count) {
  sCrash.frame_count = static_cast<size_t>(std::clamp(count, 0, kMaxFrames));
  memcpy(sFrames, frames, sCrash.frame_count * sizeof *frames);
}

void RememberException(const char* name, const char* reason) {
  sCrash.exception_name = name;
  sCrash.exception_reason = reason;
}

void ForgetReport() { sState.store(State::kNothingDue); }

void BeginReportFile() {
  if (sState.load() != State::kNothingDue) sState.store(State::kFileUnderWay);
}

void EndReportFile(const char* path) {
  if (sState.exchange(State::kNothingDue) == State::kNothingDue || path == nullptr) return;
  // What went wrong was survived after all.
  if (sRescued[0] != '\0' && strcmp(sRescued, path) != 0) unlink(sRescued);
}

bool RescueReport() {
  State due = State::kDue;
  if (!sState.compare_exchange_strong(due, State::kRescued)) return false;
  if (sCrash.frame_count == 0) sCrash.frame_count = CaptureHere();
  sCrash.frames = sFrames;
  const bool written = DarwinCrashHandler::GetInstance()->WritePlainReportOf(sCrash, sRescued);
  if (!written) sRescued[0] = '\0';
  return true;
}

}  // namespace CrashHandler
