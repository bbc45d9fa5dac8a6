// Trace annotations: code marks instants and scopes with a category, a name and up to two typed
// arguments, for whichever tracer is installed.
//
//   void Encoder::Encode(const Frame& frame) {
//     ORU_TRACE_EVENT1("webrtc", "Encoder::Encode", "bytes", frame.size());
//     ...
//     ORU_TRACE_EVENT_INSTANT0("webrtc", "Encoder::KeyFrame");
//   }
//
// Category, name and argument names must be string literals: a tracer keeps the pointers, and so
// does the annotation. For the same reason a library that holds annotations must stay loaded.
// Arguments are evaluated only when the category is enabled.
//
// This header knows no tracer: two function pointers decide whether a category is enabled and
// where an event goes.
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_H_

#include <atomic>
#include <cstring>
#include <string>
#include <type_traits>

namespace webrtc {
namespace trace_event_internal {
// Internal: a friend below would otherwise be taken for public.
class [[gnu::visibility("hidden")]] CallSiteList;
}  // namespace trace_event_internal
}  // namespace webrtc

#pragma GCC visibility push(default)

namespace webrtc {

// The byte that tells whether category `name` is enabled: nonzero when it is. The pointer must stay
// valid for the life of the process; the byte may change at any time.
using GetCategoryEnabledPtr = const unsigned char* (*)(const char* name);

// Takes one event. `category_enabled` is the pointer that the function above gave. The arrays hold
// `num_args` entries and are valid during the call only; what they point at is described at
// trace_event_internal::ArgType.
using AddTraceEventPtr = void (*)(char phase, const unsigned char* category_enabled,
                                  const char* name, unsigned long long id, int num_args,
                                  const char** arg_names, const unsigned char* arg_types,
                                  const unsigned long long* arg_values, unsigned char flags);

// The installed pair, null until one is. Changed by SetupEventTracer() only. Relaxed order is
// enough: a tracer is installed before the threads that emit start, and removed after they stop.
extern std::atomic<GetCategoryEnabledPtr> g_get_category_enabled_ptr;
extern std::atomic<AddTraceEventPtr> g_add_trace_event_ptr;

// Installs a tracer; nulls turn tracing off. Call it before threads that emit events start, or
// after they have stopped: an event under way may still reach the tracer before. Annotations that
// ran before ask the new tracer about their category.
void SetupEventTracer(GetCategoryEnabledPtr get_category_enabled_ptr,
                      AddTraceEventPtr add_trace_event_ptr);

// The way to the installed tracer, from any thread.
class EventTracer {
 public:
  // The installed tracer's answer; a pointer to an empty string when none is installed.
  static const unsigned char* GetCategoryEnabled(const char* name);

  // Hands the event to the installed tracer; nothing when none is installed.
  static void AddTraceEvent(char phase, const unsigned char* category_enabled, const char* name,
                            unsigned long long id, int num_args, const char** arg_names,
                            const unsigned char* arg_types, const unsigned long long* arg_values,
                            unsigned char flags) {
    const AddTraceEventPtr add = g_add_trace_event_ptr.load(std::memory_order_relaxed);
    if (add != nullptr) {
      add(phase, category_enabled, name, id, num_args, arg_names, arg_types, arg_values, flags);
    }
  }
};

namespace trace_event_internal {

// Event phases.
constexpr char kPhaseBegin = 'B';
constexpr char kPhaseEnd = 'E';
constexpr char kPhaseInstant = 'I';

constexpr unsigned long long kNoEventId = 0;
constexpr unsigned char kNoEventFlags = 0;

// What an argument's 64-bit value holds.
enum ArgType : unsigned char {
  kTypeBool = 1,        // 0 or 1
  kTypeUint = 2,        // an unsigned number
  kTypeInt = 3,         // a signed number, in two's complement
  kTypeDouble = 4,      // the bits of a double
  kTypePointer = 5,     // an address
  kTypeString = 6,      // the address of a string that stays valid until the tracer wrote it
  kTypeCopyString = 7,  // the address of a string that the tracer must copy during the call
};

inline unsigned char LoadEnabled(const unsigned char* enabled) {
  return __atomic_load_n(enabled, __ATOMIC_RELAXED);
}

// What one annotation remembers: its category's enabled byte, as the installed tracer (or the lack
// of one) answered when the annotation first ran. SetupEventTracer() makes it ask again. Static
// storage only: it is never taken out of the list of those to be told.
class CallSite {
 public:
  constexpr explicit CallSite(const char* category) : category_(category) {}
  CallSite(const CallSite&) = delete;
  CallSite& operator=(const CallSite&) = delete;

  // The category's enabled byte, or null when the category is disabled now.
  const unsigned char* Enabled() {
    const unsigned char* const enabled = enabled_.load(std::memory_order_relaxed);
    if (__builtin_expect(LoadEnabled(enabled) == 0, 1)) {
      return nullptr;
    }
    return __builtin_expect(enabled != &kUnresolved, 1) ? enabled : Resolve();
  }

 private:
  friend class CallSiteList;

  // Stands for "not asked yet". Nonzero, so that the test for a disabled category is the only one
  // on the way of an annotation that does nothing.
  static constexpr unsigned char kUnresolved = 1;

  const unsigned char* Resolve();

  const char* const category_;
  std::atomic<const unsigned char*> enabled_{&kUnresolved};
  // Guarded by the list's lock.
  bool listed_ = false;
  CallSite* next_ = nullptr;
};

// A string argument that the tracer copies, for strings that may go or change before the tracer
// has written them. As everywhere in traces, the string must not be empty.
struct TraceStringWithCopy {
  explicit TraceStringWithCopy(const char* string) : str(string) {}
  const char* str;
};

// An argument ready for AddTraceEvent.
struct ArgValue {
  unsigned char type;
  unsigned long long value;
};

inline ArgValue MakeArg(bool value) { return {kTypeBool, value ? 1ull : 0ull}; }
inline ArgValue MakeArg(double value) {
  unsigned long long bits = 0;
  static_assert(sizeof(bits) == sizeof(value), "a double's bits fill the value");
  memcpy(&bits, &value, sizeof(bits));
  return {kTypeDouble, bits};
}
inline ArgValue MakeArg(const void* value) {
  return {kTypePointer, reinterpret_cast<unsigned long long>(value)};
}
inline ArgValue MakeArg(const char* value) {
  return {kTypeString, reinterpret_cast<unsigned long long>(value)};
}
inline ArgValue MakeArg(const TraceStringWithCopy& value) {
  return {kTypeCopyString, reinterpret_cast<unsigned long long>(value.str)};
}
inline ArgValue MakeArg(const std::string& value) {
  return {kTypeCopyString, reinterpret_cast<unsigned long long>(value.c_str())};
}
// Every other integer and every enumeration; float widens to double above.
template <class T, bool kIsEnum = std::is_enum<T>::value>
struct IntegerOf {
  using Type = T;
};
template <class T>
struct IntegerOf<T, true> {
  using Type = std::underlying_type_t<T>;
};
template <class T, std::enable_if_t<std::is_integral<T>::value || std::is_enum<T>::value, int> = 0>
ArgValue MakeArg(T value) {
  constexpr bool kIsSigned = std::is_signed<typename IntegerOf<T>::Type>::value;
  return {kIsSigned ? kTypeInt : kTypeUint, static_cast<unsigned long long>(value)};
}

inline void AddEvent(char phase, const unsigned char* enabled, const char* name) {
  EventTracer::AddTraceEvent(phase, enabled, name, kNoEventId, 0, nullptr, nullptr, nullptr,
                             kNoEventFlags);
}

inline void AddEvent(char phase, const unsigned char* enabled, const char* name,
                     const char* arg_name, const ArgValue& arg) {
  EventTracer::AddTraceEvent(phase, enabled, name, kNoEventId, 1, &arg_name, &arg.type, &arg.value,
                             kNoEventFlags);
}

inline void AddEvent(char phase, const unsigned char* enabled, const char* name,
                     const char* arg1_name, const ArgValue& arg1, const char* arg2_name,
                     const ArgValue& arg2) {
  const char* names[] = {arg1_name, arg2_name};
  const unsigned char types[] = {arg1.type, arg2.type};
  const unsigned long long values[] = {arg1.value, arg2.value};
  EventTracer::AddTraceEvent(phase, enabled, name, kNoEventId, 2, names, types, values,
                             kNoEventFlags);
}

// The end half of a scoped event. Until Initialize() is called, closing the scope does nothing.
class TraceEndOnScopeClose {
 public:
  TraceEndOnScopeClose() = default;
  ~TraceEndOnScopeClose() { AddEventIfEnabled(); }
  TraceEndOnScopeClose(const TraceEndOnScopeClose&) = delete;
  TraceEndOnScopeClose& operator=(const TraceEndOnScopeClose&) = delete;

  // Gives the category and the name of the scope's begin; both pointers must outlive the scope.
  void Initialize(const unsigned char* category_enabled, const char* name) {
    category_enabled_ = category_enabled;
    name_ = name;
  }

  // Emits the end unless the category was disabled meanwhile; what closing the scope does.
  void AddEventIfEnabled() {
    if (category_enabled_ != nullptr && LoadEnabled(category_enabled_) != 0) {
      AddEvent(kPhaseEnd, category_enabled_, name_);
    }
  }

 private:
  const unsigned char* category_enabled_ = nullptr;
  const char* name_ = nullptr;
};

}  // namespace trace_event_internal
}  // namespace webrtc

#pragma GCC visibility pop

// For the macros below: a name that is the line's own.
#define ORU_TRACE_JOIN_INNER(a, b) a##b
#define ORU_TRACE_JOIN(a, b) ORU_TRACE_JOIN_INNER(a, b)
#define ORU_TRACE_LOCAL(prefix) ORU_TRACE_JOIN(prefix, __LINE__)

// Runs `...` with `enabled_name` (the category's enabled byte) when the category is enabled.
#define ORU_TRACE_IF_ENABLED(category, ...)                                        \
  do {                                                                             \
    static ::webrtc::trace_event_internal::CallSite oru_trace_site(category);      \
    if (const unsigned char* const oru_trace_enabled = oru_trace_site.Enabled()) { \
      __VA_ARGS__;                                                                 \
    }                                                                              \
  } while (false)

// For the macros below: emits an event when the category is enabled.
#define ORU_TRACE_ADD(category, phase, ...) \
  ORU_TRACE_IF_ENABLED(                     \
      category, ::webrtc::trace_event_internal::AddEvent(phase, oru_trace_enabled, __VA_ARGS__))

// For the macros below: emits a begin, and the end when the scope is left.
#define ORU_TRACE_SCOPE(category, name, ...)                                                      \
  ::webrtc::trace_event_internal::TraceEndOnScopeClose ORU_TRACE_LOCAL(oru_trace_end_);           \
  ORU_TRACE_IF_ENABLED(                                                                           \
      category, ::webrtc::trace_event_internal::AddEvent(                                         \
                    ::webrtc::trace_event_internal::kPhaseBegin, oru_trace_enabled, __VA_ARGS__); \
      ORU_TRACE_LOCAL(oru_trace_end_).Initialize(oru_trace_enabled, name))

// For the macros below: a value as an argument of an event.
#define ORU_TRACE_ARG(value) ::webrtc::trace_event_internal::MakeArg(value)

// A string that the tracer copies; std::string arguments are always copied.
#define ORU_TRACE_STR_COPY(string) ::webrtc::trace_event_internal::TraceStringWithCopy(string)

// Mark the rest of the enclosing scope: its begin here, its end where the scope is left.
#define ORU_TRACE_EVENT0(category, name) ORU_TRACE_SCOPE(category, name, name)
#define ORU_TRACE_EVENT1(category, name, arg1_name, arg1) \
  ORU_TRACE_SCOPE(category, name, name, arg1_name, ORU_TRACE_ARG(arg1))
#define ORU_TRACE_EVENT2(category, name, arg1_name, arg1, arg2_name, arg2)         \
  ORU_TRACE_SCOPE(category, name, name, arg1_name, ORU_TRACE_ARG(arg1), arg2_name, \
                  ORU_TRACE_ARG(arg2))

// Mark an instant.
#define ORU_TRACE_EVENT_INSTANT0(category, name) \
  ORU_TRACE_ADD(category, ::webrtc::trace_event_internal::kPhaseInstant, name)
#define ORU_TRACE_EVENT_INSTANT1(category, name, arg1_name, arg1)                         \
  ORU_TRACE_ADD(category, ::webrtc::trace_event_internal::kPhaseInstant, name, arg1_name, \
                ORU_TRACE_ARG(arg1))
#define ORU_TRACE_EVENT_INSTANT2(category, name, arg1_name, arg1, arg2_name, arg2)        \
  ORU_TRACE_ADD(category, ::webrtc::trace_event_internal::kPhaseInstant, name, arg1_name, \
                ORU_TRACE_ARG(arg1), arg2_name, ORU_TRACE_ARG(arg2))

// Mark the begin and the end of what is no scope of the language. Whoever marks a begin marks an
// end of the same name on the same thread.
#define ORU_TRACE_EVENT_BEGIN0(category, name) \
  ORU_TRACE_ADD(category, ::webrtc::trace_event_internal::kPhaseBegin, name)
#define ORU_TRACE_EVENT_BEGIN1(category, name, arg1_name, arg1)                         \
  ORU_TRACE_ADD(category, ::webrtc::trace_event_internal::kPhaseBegin, name, arg1_name, \
                ORU_TRACE_ARG(arg1))
#define ORU_TRACE_EVENT_BEGIN2(category, name, arg1_name, arg1, arg2_name, arg2)        \
  ORU_TRACE_ADD(category, ::webrtc::trace_event_internal::kPhaseBegin, name, arg1_name, \
                ORU_TRACE_ARG(arg1), arg2_name, ORU_TRACE_ARG(arg2))
#define ORU_TRACE_EVENT_END0(category, name) \
  ORU_TRACE_ADD(category, ::webrtc::trace_event_internal::kPhaseEnd, name)

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_TRACE_EVENT_H_
