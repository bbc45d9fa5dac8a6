#include "media_core/common/webrtc/rtc_base/trace_event.h"

#include <pthread.h>

namespace webrtc {

std::atomic<GetCategoryEnabledPtr> g_get_category_enabled_ptr{nullptr};
std::atomic<AddTraceEventPtr> g_add_trace_event_ptr{nullptr};

namespace trace_event_internal {

// The annotations that have run, to be told of a new tracer. Its lock is never held while a
// tracer's function runs: that may be annotated itself.
class CallSiteList {
 public:
  // Installs the pair and makes every listed site ask again.
  static void Install(GetCategoryEnabledPtr get_category_enabled, AddTraceEventPtr add_event) {
    pthread_mutex_lock(&mutex_);
    g_get_category_enabled_ptr.store(get_category_enabled, std::memory_order_relaxed);
    g_add_trace_event_ptr.store(add_event, std::memory_order_relaxed);
    ++generation_;
    for (CallSite* site = first_; site != nullptr; site = site->next_) {
      site->enabled_.store(&CallSite::kUnresolved, std::memory_order_relaxed);
    }
    pthread_mutex_unlock(&mutex_);
  }

  // Lists the site and returns which installation it is about to ask.
  static unsigned long long Add(CallSite* site) {
    pthread_mutex_lock(&mutex_);
    if (!site->listed_) {
      site->listed_ = true;
      site->next_ = first_;
      first_ = site;
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
      site->enabled_.store(enabled, std::memory_order_relaxed);
    }
    pthread_mutex_unlock(&mutex_);
  }

 private:
  // All constant-initialised: annotations may run in static initialisers.
  static pthread_mutex_t mutex_;
  static CallSite* first_;
  static unsigned long long generation_;
};

pthread_mutex_t CallSiteList::mutex_ = PTHREAD_MUTEX_INITIALIZER;
CallSite* CallSiteList::first_ = nullptr;
unsigned long long CallSiteList::generation_ = 0;

const unsigned char* CallSite::Resolve() {
  const unsigned long long generation = CallSiteList::Add(this);
  const unsigned char* const enabled = EventTracer::GetCategoryEnabled(category_);
  CallSiteList::Remember(this, enabled, generation);
  return LoadEnabled(enabled) != 0 ? enabled : nullptr;
}

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
