// What has to be put in order in a forked child. For the sources of objects with locks of their own
// only.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_FORKED_CHILD_HOOK_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_FORKED_CHILD_HOOK_H_

#include <atomic>

namespace rtc {

// While it lives, `run(object)` is called in every forked child, on its only thread, before fork
// returns there. Nothing is done in the parent: the object may be in the middle of anything, as
// some other thread of the parent left it. Made and destroyed on any thread, without a lock that
// could be held over a fork.
class ForkedChildHook {
 public:
  using Run = void (*)(void* object);

  ForkedChildHook(Run run, void* object);
  ~ForkedChildHook();
  ForkedChildHook(const ForkedChildHook&) = delete;
  ForkedChildHook& operator=(const ForkedChildHook&) = delete;

 private:
  // A place in the list, which only grows; taken again when its hook has gone.
  struct Place {
    std::atomic<const ForkedChildHook*> hook;
    Place* next;
  };

  static Place* TakePlace(const ForkedChildHook* hook);
  static void RunAll();

  static std::atomic<Place*> first_;
  static const int registered_;

  const Run run_;
  void* const object_;
  Place* const place_;
};

}  // namespace rtc

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_FORKED_CHILD_HOOK_H_
