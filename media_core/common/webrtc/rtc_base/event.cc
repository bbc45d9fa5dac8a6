#include "media_core/common/webrtc/rtc_base/event.h"

#include <sys/time.h>

#include <ctime>

#include "media_core/common/webrtc/rtc_base/checks.h"

namespace rtc {
namespace {

// Reports of a failed construction are recognised by this place, which does not follow the source.
constexpr char kFile[] = "media_core/common/webrtc/rtc_base/event";
constexpr int kMutexLine = 58;
constexpr int kCondLine = 59;

// The moment `milliseconds` from now.
timespec DeadlineAfter(int milliseconds) {
  constexpr long kNanosPerSecond = 1000000000;
  timeval now = {};
  gettimeofday(&now, nullptr);
  timespec deadline = {};
  deadline.tv_sec = now.tv_sec + milliseconds / 1000;
  deadline.tv_nsec = (milliseconds % 1000) * 1000000L + now.tv_usec * 1000L;
  if (deadline.tv_nsec >= kNanosPerSecond) {
    ++deadline.tv_sec;
    deadline.tv_nsec -= kNanosPerSecond;
  } else if (deadline.tv_nsec < 0) {  // of a negative wait
    --deadline.tv_sec;
    deadline.tv_nsec += kNanosPerSecond;
  }
  return deadline;
}

}  // namespace

Event::Event(bool manual_reset, bool initially_signaled)
    : is_manual_reset_(manual_reset), event_status_(initially_signaled) {
  ORU_CHECK_AT(kFile, kMutexLine, "pthread_mutex_init(&event_mutex_, nullptr) == 0",
               pthread_mutex_init(&event_mutex_, nullptr) == 0);
  ORU_CHECK_AT(kFile, kCondLine, "pthread_cond_init(&event_cond_, nullptr) == 0",
               pthread_cond_init(&event_cond_, nullptr) == 0);
}

Event::~Event() {
  pthread_mutex_destroy(&event_mutex_);
  pthread_cond_destroy(&event_cond_);
}

void Event::Set() {
  pthread_mutex_lock(&event_mutex_);
  event_status_ = true;
  pthread_cond_broadcast(&event_cond_);
  pthread_mutex_unlock(&event_mutex_);
}

void Event::Reset() {
  pthread_mutex_lock(&event_mutex_);
  event_status_ = false;
  pthread_mutex_unlock(&event_mutex_);
}

bool Event::Wait(int milliseconds) {
  timespec deadline = {};
  if (milliseconds != kForever) {
    deadline = DeadlineAfter(milliseconds);
  }
  int error = 0;
  pthread_mutex_lock(&event_mutex_);
  while (!event_status_ && error == 0) {
    error = milliseconds == kForever
                ? pthread_cond_wait(&event_cond_, &event_mutex_)
                : pthread_cond_timedwait(&event_cond_, &event_mutex_, &deadline);
  }
  if (error == 0 && !is_manual_reset_) {
    event_status_ = false;
  }
  pthread_mutex_unlock(&event_mutex_);
  return error == 0;
}

}  // namespace rtc
