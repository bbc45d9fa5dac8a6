#include "media_core/common/webrtc/rtc_base/trace_event.h"

#include <pthread.h>

#include "media_core/common/webrtc/rtc_base/trace_event_pause.h"

namespace webrtc {

std::atomic<GetCategoryEnabledPtr> g_get_category_enabled_ptr{nullptr};
std::atomic<AddTraceEventPtr> g_add_trace_event_ptr{nullptr};

namespace trace_event_internal {

// The annotations that have run, to be told of a new tracer. Its lock is never held while a
// tracer's function runs: that may be annotated itself.
//
// A child may be forked while another thread holds the lock. It gets a lock of its own, and a list
// that is whole: a site is linked by one store. (To wait for the lock before a fork would order it
// behind locks under which annotations run.)
class CallSiteList {
 public:
  // Installs the pair and makes every listed site ask again.
  static void Install(GetCategoryEnabledPtr get_category_enabled, AddTraceEventPtr add_event) {
    pthread_mutex_lock(&mutex_);
    g_get_category_enabled_ptr.store(get_category_enabled, std::memory_order_relaxed);
    g_add_trace_event_ptr.store(add_event, std::memory_order_relaxed);
    paused_ = false;
    AskAgain();
    pthread_mutex_unlock(&mutex_);
  }

  // See trace_event_pause.h.
  static void Pause(bool paused) {
    pthread_mutex_lock(&mutex_);
    paused_ = paused;
    AskAgain();
    pthread_mutex_unlock(&mutex_);
  }

  // Lists the site and returns which installation it is about to ask.
  static unsigned long long Add(CallSite* site) {
    pthread_mutex_lock(&mutex_);
    if (!site->listed_) {
      site->listed_ = true;
      site->next_ = first_.load(std::memory_order_relaxed);
      first_.store(site, std::memory_order_release);
    }
    const unsigned long long generation = generation_;
    pthread_mutex_unlock(&mutex_);
    return generation;
  }

  // Keeps the answer, unless the tracer that gave it has been replaced since.
  static void Remember(CallSite* site, const unsigned char* enabled,
                       unsigned long long generation) {
    pthread_mutex_lock(&mutex_);
    if (generation == generation_) {
      site->enabled_.store(paused_ ? &kPaused : enabled, std::memory_order_relaxed);
    }
    pthread_mutex_unlock(&mutex_);
  }

 private:
  static constexpr unsigned char kPaused = 0;

  // With the lock held.
  static void AskAgain() {
    ++generation_;
    CallSite* site = first_.load(std::memory_order_relaxed);
    for (; site != nullptr; site = site->next_) {
      site->enabled_.store(&CallSite::kUnresolved, std::memory_order_relaxed);
    }
  }

  static void RenewLock() { pthread_mutex_init(&mutex_, nullptr); }

  // All constant-initialised: annotations may run in static initialisers.
  static pthread_mutex_t mutex_;
  static std::atomic<CallSite*> first_;
  static unsigned long long generation_;
  static bool paused_;
  // At start-up: a child forked while another thread registers for the first time would wait for
  // that thread.
  static const int forks_handled_;
};

pthread_mutex_t CallSiteList::mutex_ = PTHREAD_MUTEX_INITIALIZER;
std::atomic<CallSite*> CallSiteList::first_{nullptr};
unsigned long long CallSiteList::generation_ = 0;
bool CallSiteList::paused_ = false;
const int CallSiteList::forks_handled_ = pthread_atfork(nullptr, nullptr, &RenewLock);

const unsigned char* CallSite::Resolve() {
  const unsigned long long generation = CallSiteList::Add(this);
  const unsigned char* const enabled = EventTracer::GetCategoryEnabled(category_);
  CallSiteList::Remember(this, enabled, generation);
  return LoadEnabled(enabled) != 0 ? enabled : nullptr;
}

void PauseAnnotations(bool paused) { CallSiteList::Pause(paused); }

}  // namespace trace_event_internal

void SetupEventTracer(GetCategoryEnabledPtr get_category_enabled_ptr,
                      AddTraceEventPtr add_trace_event_ptr) {
  trace_event_internal::CallSiteList::Install(get_category_enabled_ptr, add_trace_event_ptr);
}

const unsigned char* EventTracer::GetCategoryEnabled(const char* name) {
  const GetCategoryEnabledPtr get = g_get_category_enabled_ptr.load(std::memory_order_relaxed);
  return get != nullptr ? get(name) : reinterpret_cast<const unsigned char*>("");
}

}  // namespace webrtc
