#include "media_core/common/webrtc/rtc_base/trace_event.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "media_core/common/webrtc/rtc_base/critical_section.h"
#include "media_core/common/webrtc/rtc_base/event.h"
#include "media_core/common/webrtc/rtc_base/platform_thread.h"

namespace webrtc {
namespace {

struct Arg {
  std::string name;
  int type;
  unsigned long long value;
  // What a string argument held at the time of the call.
  std::string text;
};

struct Recorded {
  char phase;
  std::string category;
  std::string name;
  unsigned long long id;
  unsigned char flags;
  std::vector<Arg> args;
};

// A tracer that keeps what it is given. Its enabled bytes are its own, category by category.
struct Recorder {
  rtc::CriticalSection lock;
  std::vector<Recorded> events;
  int lookups = 0;
};
Recorder* g_recorder = nullptr;

constexpr unsigned char kCategoryText[] = "the category";
constexpr unsigned char kDisabled = 0;
// An enabled byte that is switched; what the recorder takes for its text ends after it.
struct {
  std::atomic<unsigned char> enabled{1};
  const unsigned char end = 0;
} g_switched;

const unsigned char* CategoryEnabled(const char* name) {
  const rtc::CritScope scope(&g_recorder->lock);
  ++g_recorder->lookups;
  if (strcmp(name, "off") == 0) {
    return &kDisabled;
  }
  if (strcmp(name, "switched") == 0) {
    return reinterpret_cast<const unsigned char*>(&g_switched.enabled);
  }
  return kCategoryText;
}

void Add(char phase, const unsigned char* category_enabled, const char* name, unsigned long long id,
         int num_args, const char** arg_names, const unsigned char* arg_types,
         const unsigned long long* arg_values, unsigned char flags) {
  Recorded event{phase, reinterpret_cast<const char*>(category_enabled), name, id, flags, {}};
  for (int i = 0; i < num_args; ++i) {
    Arg arg{arg_names[i], arg_types[i], arg_values[i], ""};
    if (arg.type == 6 || arg.type == 7) {
      arg.text = reinterpret_cast<const char*>(arg.value);
    }
    event.args.push_back(arg);
  }
  const rtc::CritScope scope(&g_recorder->lock);
  g_recorder->events.push_back(event);
}

class TraceEventTest : public testing::Test {
 protected:
  TraceEventTest() {
    g_recorder = &recorder_;
    g_switched.enabled = 1;
  }
  ~TraceEventTest() override { SetupEventTracer(nullptr, nullptr); }

  static void Install() { SetupEventTracer(&CategoryEnabled, &Add); }
  std::string Phases() const {
    std::string phases;
    for (const Recorded& event : recorder_.events) {
      phases += event.phase;
    }
    return phases;
  }

  Recorder recorder_;
};

void MarkInstant() { ORU_TRACE_EVENT_INSTANT0("on", "instant"); }

TEST_F(TraceEventTest, NothingIsInstalledAtFirst) {
  EXPECT_EQ(g_get_category_enabled_ptr.load(), nullptr);
  EXPECT_EQ(g_add_trace_event_ptr.load(), nullptr);
}

TEST_F(TraceEventTest, SetupStoresBothPointersAndNullsTurnTracingOff) {
  Install();
  EXPECT_EQ(g_get_category_enabled_ptr.load(), &CategoryEnabled);
  EXPECT_EQ(g_add_trace_event_ptr.load(), &Add);
  MarkInstant();
  SetupEventTracer(nullptr, nullptr);
  EXPECT_EQ(g_get_category_enabled_ptr.load(), nullptr);
  MarkInstant();
  EXPECT_EQ(Phases(), "I");
}

TEST_F(TraceEventTest, WithoutATracerEveryCategoryIsDisabled) {
  const unsigned char* const enabled = EventTracer::GetCategoryEnabled("on");
  ASSERT_NE(enabled, nullptr);
  EXPECT_EQ(*enabled, 0);
  MarkInstant();
  EXPECT_EQ(recorder_.lookups, 0);
}

TEST_F(TraceEventTest, WithoutATracerAnEventGoesNowhere) {
  EventTracer::AddTraceEvent('I', kCategoryText, "n", 0, 0, nullptr, nullptr, nullptr, 0);
  EXPECT_EQ(Phases(), "");
}

TEST_F(TraceEventTest, AddTraceEventForwardsEveryArgument) {
  Install();
  const char* names[] = {"a", "b", "c"};
  const unsigned char types[] = {2, 1, 6};
  const unsigned long long values[] = {11, 1, reinterpret_cast<unsigned long long>("text")};
  EventTracer::AddTraceEvent('X', kCategoryText, "event", 0xfedcba9876543210u, 3, names, types,
                             values, 0x81);
  ASSERT_EQ(recorder_.events.size(), 1u);
  const Recorded& event = recorder_.events[0];
  EXPECT_EQ(event.phase, 'X');
  EXPECT_EQ(event.category, "the category");
  EXPECT_EQ(event.name, "event");
  EXPECT_EQ(event.id, 0xfedcba9876543210u);
  EXPECT_EQ(event.flags, 0x81);
  ASSERT_EQ(event.args.size(), 3u);
  EXPECT_EQ(event.args[0].value, 11u);
  EXPECT_EQ(event.args[2].name, "c");
  EXPECT_EQ(event.args[2].text, "text");
}

TEST_F(TraceEventTest, AnInstantCarriesCategoryNameAndNothingElse) {
  Install();
  MarkInstant();
  ASSERT_EQ(recorder_.events.size(), 1u);
  const Recorded& event = recorder_.events[0];
  EXPECT_EQ(event.phase, 'I');
  EXPECT_EQ(event.category, "the category");
  EXPECT_EQ(event.name, "instant");
  EXPECT_EQ(event.id, 0u);
  EXPECT_EQ(event.flags, 0);
  EXPECT_TRUE(event.args.empty());
}

TEST_F(TraceEventTest, AScopeBeginsWithItsArgumentsAndEndsWithoutThem) {
  Install();
  {
    ORU_TRACE_EVENT2("on", "scope", "first", 1, "second", 2u);
    MarkInstant();
  }
  EXPECT_EQ(Phases(), "BIE");
  EXPECT_EQ(recorder_.events[0].name, "scope");
  EXPECT_EQ(recorder_.events[0].args.size(), 2u);
  const Recorded& end = recorder_.events[2];
  EXPECT_EQ(end.name, "scope");
  EXPECT_EQ(end.category, "the category");
  EXPECT_EQ(end.id, 0u);
  EXPECT_TRUE(end.args.empty());
}

TEST_F(TraceEventTest, ScopesNestAndEndInReverseOrder) {
  Install();
  {
    ORU_TRACE_EVENT0("on", "outer");
    ORU_TRACE_EVENT1("on", "inner", "n", 1);
  }
  EXPECT_EQ(Phases(), "BBEE");
  EXPECT_EQ(recorder_.events[2].name, "inner");
  EXPECT_EQ(recorder_.events[3].name, "outer");
}

TEST_F(TraceEventTest, AScopeEndsOnAnEarlyReturn) {
  Install();
  const auto leave_early = [](bool early) {
    ORU_TRACE_EVENT0("on", "scope");
    if (early) {
      return;
    }
    MarkInstant();
  };
  leave_early(true);
  EXPECT_EQ(Phases(), "BE");
}

TEST_F(TraceEventTest, BeginAndEndNeedNoScope) {
  Install();
  ORU_TRACE_EVENT_BEGIN0("on", "a");
  ORU_TRACE_EVENT_BEGIN1("on", "b", "x", 1);
  ORU_TRACE_EVENT_BEGIN2("on", "c", "x", 1, "y", 2);
  ORU_TRACE_EVENT_END0("on", "c");
  EXPECT_EQ(Phases(), "BBBE");
  EXPECT_EQ(recorder_.events[2].args.size(), 2u);
}

TEST_F(TraceEventTest, ADisabledCategoryEvaluatesNoArgument) {
  Install();
  int evaluated = 0;
  {
    ORU_TRACE_EVENT1("off", "scope", "n", ++evaluated);
    ORU_TRACE_EVENT_INSTANT2("off", "instant", "n", ++evaluated, "m", 2);
  }
  EXPECT_EQ(evaluated, 0);
  EXPECT_EQ(Phases(), "");
}

TEST_F(TraceEventTest, AnArgumentIsEvaluatedOnce) {
  Install();
  int evaluated = 0;
  ORU_TRACE_EVENT_INSTANT1("on", "instant", "n", ++evaluated);
  EXPECT_EQ(evaluated, 1);
  EXPECT_EQ(recorder_.events[0].args[0].value, 1u);
}

TEST_F(TraceEventTest, AnAnnotationAsksOnceATracer) {
  Install();
  for (int i = 0; i < 3; ++i) {
    MarkInstant();
  }
  EXPECT_EQ(recorder_.lookups, 1);
  Install();
  MarkInstant();
  EXPECT_EQ(recorder_.lookups, 2);
  EXPECT_EQ(Phases(), "IIII");
}

TEST_F(TraceEventTest, AnAnnotationThatRanBeforeATracerWasInstalledIsSeenByIt) {
  MarkInstant();
  MarkInstant();
  Install();
  MarkInstant();
  EXPECT_EQ(Phases(), "I");
}

TEST_F(TraceEventTest, AnotherTracerIsAskedAboutItsOwnBytes) {
  static std::atomic<int> s_events{0};
  s_events = 0;
  const auto all_disabled = [](const char*) -> const unsigned char* { return &kDisabled; };
  const auto count = [](char, const unsigned char*, const char*, unsigned long long, int,
                        const char**, const unsigned char*, const unsigned long long*,
                        unsigned char) { ++s_events; };
  Install();
  MarkInstant();
  SetupEventTracer(all_disabled, count);
  MarkInstant();
  EXPECT_EQ(s_events, 0);
  Install();
  MarkInstant();
  EXPECT_EQ(Phases(), "II");
}

void MarkSwitched() { ORU_TRACE_EVENT_INSTANT0("switched", "instant"); }

TEST_F(TraceEventTest, ACategorySwitchedByItsByteIsFollowedAtOnce) {
  Install();
  MarkSwitched();
  g_switched.enabled = 0;
  MarkSwitched();
  g_switched.enabled = 1;
  MarkSwitched();
  EXPECT_EQ(Phases(), "II");
  EXPECT_EQ(recorder_.lookups, 1);
}

TEST_F(TraceEventTest, AScopeWhoseCategoryWasDisabledMeanwhileHasNoEnd) {
  Install();
  {
    ORU_TRACE_EVENT0("switched", "scope");
    g_switched.enabled = 0;
  }
  EXPECT_EQ(Phases(), "B");
}

TEST_F(TraceEventTest, AScopeWhoseCategoryWasEnabledMeanwhileHasNoEndEither) {
  Install();
  g_switched.enabled = 0;
  {
    ORU_TRACE_EVENT0("switched", "scope");
    g_switched.enabled = 1;
  }
  EXPECT_EQ(Phases(), "");
}

TEST_F(TraceEventTest, TheEndHalfAloneEmitsAnEndWhenItsCategoryIsEnabled) {
  Install();
  {
    trace_event_internal::TraceEndOnScopeClose end;
    end.AddEventIfEnabled();
    EXPECT_EQ(Phases(), "") << "no scope has begun";
    end.Initialize(&kDisabled, "scope");
    end.AddEventIfEnabled();
    EXPECT_EQ(Phases(), "");
    end.Initialize(kCategoryText, "scope");
    end.AddEventIfEnabled();
  }
  EXPECT_EQ(Phases(), "EE") << "once by the call, once by the end of the scope";
  EXPECT_EQ(recorder_.events[0].name, "scope");
  EXPECT_EQ(recorder_.events[0].category, "the category");
}

TEST_F(TraceEventTest, AScopeWhoseTracerWasRemovedMeanwhileEndsSilently) {
  Install();
  {
    ORU_TRACE_EVENT0("on", "scope");
    SetupEventTracer(nullptr, nullptr);
  }
  EXPECT_EQ(Phases(), "B");
}

TEST_F(TraceEventTest, AnnotationsAreStatements) {
  Install();
  if (recorder_.events.empty())
    ORU_TRACE_EVENT_INSTANT0("on", "then");
  else
    ORU_TRACE_EVENT_INSTANT0("on", "else");
  EXPECT_EQ(recorder_.events[0].name, "then");
}

enum Plain : int { kPlain = -3 };
enum class Small : unsigned char { kTwo = 2, kMost = 255 };

template <class T>
Arg ArgOf(T value) {
  g_recorder->events.clear();
  ORU_TRACE_EVENT_INSTANT1("on", "typed", "arg", value);
  return g_recorder->events.at(0).args.at(0);
}

TEST_F(TraceEventTest, ArgumentsCarryTheirTypesAndValues) {
  Install();
  EXPECT_EQ(ArgOf(true).type, 1);
  EXPECT_EQ(ArgOf(true).value, 1u);
  EXPECT_EQ(ArgOf(false).value, 0u);
  EXPECT_EQ(ArgOf(7u).type, 2);
  EXPECT_EQ(ArgOf(~0ull).type, 2);
  EXPECT_EQ(ArgOf(~0ull).value, ~0ull);
  EXPECT_EQ(ArgOf(static_cast<unsigned char>(200)).type, 2);
  EXPECT_EQ(ArgOf(static_cast<unsigned char>(200)).value, 200u);
  EXPECT_EQ(ArgOf(static_cast<unsigned short>(65535)).value, 65535u);
  EXPECT_EQ(ArgOf(-1).type, 3);
  EXPECT_EQ(ArgOf(-1).value, ~0ull);
  EXPECT_EQ(ArgOf(static_cast<short>(-2)).value, ~0ull - 1);
  EXPECT_EQ(ArgOf(-5l).type, 3);
  EXPECT_EQ(ArgOf(-5ll).type, 3);
  EXPECT_EQ(ArgOf(kPlain).type, 3);
  EXPECT_EQ(ArgOf(kPlain).value, ~0ull - 2);
  EXPECT_EQ(ArgOf(Small::kMost).type, 2);
  EXPECT_EQ(ArgOf(Small::kMost).value, 255u);
}

TEST_F(TraceEventTest, NumbersWithAFractionCarryTheBitsOfADouble) {
  Install();
  for (const Arg& arg : {ArgOf(-0.5), ArgOf(-0.5f)}) {
    EXPECT_EQ(arg.type, 4);
    double value = 0;
    memcpy(&value, &arg.value, sizeof(value));
    EXPECT_EQ(value, -0.5);
  }
}

TEST_F(TraceEventTest, PointersCarryTheirAddress) {
  Install();
  int object = 0;
  EXPECT_EQ(ArgOf(&object).type, 5);
  EXPECT_EQ(ArgOf(&object).value, reinterpret_cast<unsigned long long>(&object));
  EXPECT_EQ(ArgOf(static_cast<const void*>(nullptr)).type, 5);
}

TEST_F(TraceEventTest, StringsGoByReferenceUnlessCopied) {
  Install();
  const char* const text = "text";
  EXPECT_EQ(ArgOf(text).type, 6);
  EXPECT_EQ(ArgOf(text).value, reinterpret_cast<unsigned long long>(text));
  char buffer[] = "buffer";
  EXPECT_EQ(ArgOf(static_cast<char*>(buffer)).type, 6);
  EXPECT_EQ(ArgOf(ORU_TRACE_STR_COPY(buffer)).type, 7);
  EXPECT_EQ(ArgOf(ORU_TRACE_STR_COPY(buffer)).text, "buffer");
  EXPECT_EQ(ArgOf(std::string("string")).type, 7);
  EXPECT_EQ(ArgOf(std::string("string")).text, "string");
}

TEST_F(TraceEventTest, ThreadsEmitAtOnce) {
  Install();
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 500; ++i) {
        ORU_TRACE_EVENT1("on", "scope", "i", i);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(recorder_.events.size(), 4000u);
}

TEST_F(TraceEventTest, ATracerMayComeAndGoWhileThreadsEmit) {
  std::atomic<bool> stop{false};
  std::thread emitter([&stop] {
    while (!stop) {
      ORU_TRACE_EVENT0("on", "scope");
    }
  });
  for (int i = 0; i < 200; ++i) {
    Install();
    SetupEventTracer(nullptr, nullptr);
  }
  Install();
  const auto events = [this] {
    const rtc::CritScope scope(&recorder_.lock);
    return recorder_.events.size();
  };
  const size_t before = events();
  while (events() < before + 10) {
    std::this_thread::yield();
  }
  stop = true;
  emitter.join();
}

TEST_F(TraceEventTest, AChildForkedWhileTracersChangeMayAnnotateAndInstallItsOwn) {
  std::atomic<bool> stop{false};
  std::thread changer([&stop] {
    while (!stop) {
      SetupEventTracer(nullptr, nullptr);
    }
  });
  int status = 0;
  for (int i = 0; i < 300 && status == 0; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(30);
      SetupEventTracer(nullptr, nullptr);
      MarkInstant();
      _exit(0);
    }
    EXPECT_EQ(waitpid(child, &status, 0), child);
  }
  stop = true;
  changer.join();
  EXPECT_EQ(status, 0);
}

struct Runs {
  std::atomic<int> count{0};
  int last = 3;
};

bool RunThrice(void* obj) {
  auto* const runs = static_cast<Runs*>(obj);
  MarkInstant();
  return ++runs->count < runs->last;
}

void RunThread(const char* name, Runs* runs) {
  rtc::PlatformThread thread(&RunThrice, runs, name);
  thread.Start();
  while (runs->count < runs->last) {
    std::this_thread::yield();
  }
  thread.Stop();
}

TEST_F(TraceEventTest, EveryRunOfABoolFormThreadIsAScopeNamingTheThread) {
  Install();
  Runs runs;
  RunThread("TracedThread", &runs);
  EXPECT_EQ(Phases(), "BIEBIEBIE");
  for (const size_t i : {0u, 3u, 6u}) {
    const Recorded& begin = recorder_.events[i];
    EXPECT_EQ(begin.name, "PlatformThread::Run");
    ASSERT_EQ(begin.args.size(), 1u);
    EXPECT_EQ(begin.args[0].name, "name");
    // Copied: the thread object may be gone before the tracer writes.
    EXPECT_EQ(begin.args[0].type, 7);
    EXPECT_EQ(begin.args[0].text, "TracedThread");
    EXPECT_EQ(recorder_.events[i + 2].name, "PlatformThread::Run");
  }
}

TEST_F(TraceEventTest, TheRunScopeIsOfTheCategoryWebrtc) {
  static std::map<std::string, int> s_asked;
  s_asked.clear();
  SetupEventTracer(
      [](const char* name) {
        const rtc::CritScope scope(&g_recorder->lock);
        ++s_asked[name];
        return &kDisabled;
      },
      &Add);
  Runs runs;
  RunThread("TracedThread", &runs);
  EXPECT_EQ(s_asked["webrtc"], 1);
}

TEST_F(TraceEventTest, ANamelessThreadsScopeHasNoArgument) {
  Install();
  Runs runs;
  RunThread("", &runs);
  EXPECT_EQ(Phases(), "BIEBIEBIE");
  EXPECT_TRUE(recorder_.events[0].args.empty());
}

TEST_F(TraceEventTest, AThreadStartedBeforeTheTracerIsTracedAfterwards) {
  Runs runs;
  runs.last = 1 << 30;
  rtc::PlatformThread thread(
      [](void* obj) {
        ++static_cast<Runs*>(obj)->count;
        return true;
      },
      &runs, "Early");
  thread.Start();
  while (runs.count < 3) {
    std::this_thread::yield();
  }
  Install();
  const int at_install = runs.count;
  while (runs.count < at_install + 3) {
    std::this_thread::yield();
  }
  thread.Stop();
  ASSERT_FALSE(recorder_.events.empty());
  EXPECT_EQ(recorder_.events[0].phase, 'B');
  EXPECT_EQ(recorder_.events[0].name, "PlatformThread::Run");
}

TEST_F(TraceEventTest, AVoidFormThreadIsNoScope) {
  Install();
  rtc::PlatformThread thread([](void*) { MarkInstant(); }, nullptr, "Void", rtc::kNormalPriority);
  thread.Start();
  thread.Stop();
  EXPECT_EQ(Phases(), "I");
}

}  // namespace
}  // namespace webrtc
