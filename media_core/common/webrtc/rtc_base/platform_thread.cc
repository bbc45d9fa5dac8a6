#include "media_core/common/webrtc/rtc_base/platform_thread.h"

#include <sched.h>

#include "media_core/common/webrtc/rtc_base/checks.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"

namespace rtc {
namespace {

// Reports of this file name it so, and quote the calls as below, whatever the source looks like.
constexpr char kFile[] = "media_core/common/webrtc/rtc_base/platform_thread";

constexpr size_t kStackSize = 0x100000;

// The value for `priority` in the range of the first-in-first-out policy, or -1 when there is none.
int FifoPriority(ThreadPriority priority) {
  const int min = sched_get_priority_min(SCHED_FIFO);
  const int max = sched_get_priority_max(SCHED_FIFO);
  if (min == -1 || max == -1 || max - min < 3) {
    return -1;
  }
  // The top is the system's own.
  const int top = max - 1;
  const int low = min + 1;
  switch (priority) {
    case kLowPriority:
      return low;
    case kNormalPriority:
      return (low + top - 1) / 2;
    case kHighPriority:
      return top - 2 > min ? top - 2 : low;
    case kHighestPriority:
      return top - 1 > min ? top - 1 : low;
    case kRealtimePriority:
      return top;
  }
  return -1;
}

bool SetThreadPriority(PlatformThreadRef thread, ThreadPriority priority) {
  sched_param param = {};
  param.sched_priority = FifoPriority(priority);
  return param.sched_priority != -1 && pthread_setschedparam(thread, SCHED_FIFO, &param) == 0;
}

}  // namespace

PlatformThread::PlatformThread(RepeatedRunFunction run, void* obj, const char* name)
    : repeated_run_(run), obj_(obj), name_(name != nullptr ? name : "") {}

PlatformThread::PlatformThread(RunFunction run, void* obj, const char* name,
                               ThreadPriority priority)
    : run_(run), obj_(obj), name_(name != nullptr ? name : ""), priority_(priority) {}

PlatformThread::~PlatformThread() { ORU_CHECK_AT(kFile, __LINE__, "!IsRunning()", !IsRunning()); }

void PlatformThread::Start() {
  ORU_CHECK_AT(kFile, __LINE__, "!IsRunning()", !IsRunning());
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstacksize(&attr, kStackSize);
  ORU_CHECK_OP_AT(kFile, __LINE__, "0 == pthread_create(&thread_, &attr, &StartThread, this)", EQ,
                  0, pthread_create(&thread_, &attr, &StartThread, this));
  pthread_attr_destroy(&attr);
}

void PlatformThread::Stop() {
  if (!IsRunning()) {
    return;
  }
  if (repeated_run_ != nullptr) {
    ORU_CHECK_OP_AT(kFile, __LINE__, "1 == AtomicOps::Increment(&stop_flag_)", EQ, 1,
                    stop_flag_.fetch_add(1, std::memory_order_release) + 1);
  }
  ORU_CHECK_OP_AT(kFile, __LINE__, "0 == pthread_join(thread_, nullptr)", EQ, 0,
                  pthread_join(thread_, nullptr));
  if (repeated_run_ != nullptr) {
    stop_flag_.store(0, std::memory_order_relaxed);
  }
  thread_ = PlatformThreadRef();
}

bool PlatformThread::IsRunning() const { return thread_ != PlatformThreadRef(); }

bool PlatformThread::SetPriority(ThreadPriority priority) {
  return IsRunning() && SetThreadPriority(thread_, priority);
}

void* PlatformThread::StartThread(void* param) {
  static_cast<PlatformThread*>(param)->Run();
  return nullptr;
}

void PlatformThread::Run() {
  SetCurrentThreadName(name_.c_str());
  if (repeated_run_ == nullptr) {
    // By its own handle: the starting thread may not have stored thread_ yet. Refusal is no reason
    // not to run.
    SetThreadPriority(CurrentThreadRef(), priority_);
    run_(obj_);
    return;
  }
  while (RunOnce()) {
    sched_yield();
    if (stop_flag_.load(std::memory_order_acquire) != 0) {
      return;
    }
  }
}

bool PlatformThread::RunOnce() {
  // Traces have no empty strings.
  if (name_.empty()) {
    ORU_TRACE_EVENT0("webrtc", "PlatformThread::Run");
    return repeated_run_(obj_);
  }
  // Copied, since the thread may be gone before its last event is written.
  ORU_TRACE_EVENT1("webrtc", "PlatformThread::Run", "name", name_);
  return repeated_run_(obj_);
}

}  // namespace rtc
