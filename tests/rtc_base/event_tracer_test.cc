#include "media_core/common/webrtc/rtc_base/event_tracer.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "media_core/common/webrtc/rtc_base/event.h"
#include "media_core/common/webrtc/rtc_base/event_logger.h"
#include "media_core/common/webrtc/rtc_base/platform_thread_types.h"
#include "media_core/common/webrtc/rtc_base/time_utils.h"
#include "media_core/common/webrtc/rtc_base/trace_event_queue.h"
#include "media_core/common/webrtc/rtc_base/trace_output.h"
#include "tests/rtc_base/log_capture.h"
#include "tests/rtc_base/trace_text.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace {

using oru_test::ChildResult;
using oru_test::ReadFile;
using oru_test::RunInFork;
using oru_test::SplitLines;
using oru_test::TempDir;

class FixedClock : public rtc::ClockInterface {
 public:
  int64_t TimeNanos() const override { return 1234567; }
};

// Runs `emit` in a capture of its own and gives the file's text, every event at 1234 us.
std::string Capture(const std::function<void()>& emit) {
  const TempDir dir;
  const FixedClock clock;
  rtc::SetClockForTesting(const_cast<FixedClock*>(&clock));
  rtc::tracing::SetupInternalTracer();
  EXPECT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("trace.json").c_str()));
  emit();
  rtc::tracing::StopInternalCapture();
  rtc::tracing::ShutdownInternalTracer();
  rtc::SetClockForTesting(nullptr);
  return ReadFile(dir.Join("trace.json"));
}

// What the events' lines end with, after the category.
std::string Tail(const std::string& phase, const std::string& args = "") {
  return "\", \"ph\": \"" + phase +
         "\", \"ts\": 1234, \"pid\": 1, \"tid\": " + std::to_string(rtc::CurrentThreadId()) + args +
         "}";
}

std::string Instant(const std::string& name, const std::string& args = "") {
  return "{ \"name\": \"" + name + "\", \"cat\": \"webrtc" + Tail("I", args);
}

// The line of one instant with an argument, without the lines around it.
std::string ArgsOf(unsigned char type, unsigned long long value) {
  const std::string text = Capture([&] {
    const char* name = "arg";
    webrtc::EventTracer::AddTraceEvent('I', webrtc::EventTracer::GetCategoryEnabled("webrtc"), "e",
                                       0, 1, &name, &type, &value, 0);
  });
  const std::vector<std::string> lines = SplitLines(text);
  EXPECT_EQ(lines.size(), 5u) << text;
  const std::string before = "," + Instant("e", ", \"args\": { \"arg\": ");
  const std::string line = lines.size() > 2 ? lines[2] : "";
  const size_t start = before.size() - 1;
  EXPECT_EQ(line.substr(0, start), before.substr(0, start));
  return line.size() < start + 3 ? "" : line.substr(start, line.size() - start - 3);
}

unsigned long long Bits(double value) {
  unsigned long long bits = 0;
  memcpy(&bits, &value, sizeof(bits));
  return bits;
}

unsigned long long Address(const void* pointer) {
  return reinterpret_cast<unsigned long long>(pointer);
}

void ExpectFatal(const std::function<void()>& body, const std::string& text) {
  const ChildResult child = RunInFork([&] {
    body();
    return 0;
  });
  EXPECT_EQ(child.signal, SIGABRT) << child.Ending();
  EXPECT_NE(child.err.find("# Fatal error in "), std::string::npos) << child.err;
  EXPECT_NE(child.err.find("Check failed: " + text), std::string::npos) << child.err;
}

void EmitInstant() { ORU_TRACE_EVENT_INSTANT0("webrtc", "instant"); }

TEST(EventTracer, CaptureWithoutEventsHoldsItsTwoInstants) {
  EXPECT_EQ(Capture([] {}), "{ \"traceEvents\": [\n " + Instant("EventLogger::Start") + "\n," +
                                Instant("EventLogger::Stop") + "\n]}\n");
}

TEST(EventTracer, CategoryDisabledByDefaultIsNeverRecorded) {
  const std::string text = Capture([] {
    ORU_TRACE_EVENT_INSTANT0("disabled-by-default-audio", "hidden");
    ORU_TRACE_EVENT_INSTANT0("disabled-by-default-", "bare");
    ORU_TRACE_EVENT0("disabled-by-default-scope", "scope");
  });
  EXPECT_EQ(SplitLines(text).size(), 4u) << text;
}

TEST(EventTracer, ShorterPrefixIsEnabled) {
  const std::string text = Capture([] { ORU_TRACE_EVENT_INSTANT0("disabled-by-defaul", "shown"); });
  EXPECT_EQ(SplitLines(text)[2],
            ",{ \"name\": \"shown\", \"cat\": \"disabled-by-defaul" + Tail("I"));
}

TEST(EventTracer, QuotesAndBackslashesAreEscapedNewlinesAreNot) {
  const char* const text = "a\"b\\c";
  EXPECT_EQ(ArgsOf(6, Address(text)), R"("a\"b\\c")");
  EXPECT_EQ(ArgsOf(7, Address(text)), R"("a\"b\\c")");
  const std::string raw =
      Capture([] { ORU_TRACE_EVENT_INSTANT1("webrtc", "e", "arg", "line\nbreak"); });
  EXPECT_NE(raw.find("{ \"arg\": \"line\nbreak\" }}\n"), std::string::npos) << raw;
}

TEST(EventTracer, EscapesApplyToTheFirstCharacterToo) {
  EXPECT_EQ(ArgsOf(6, Address("\"")), R"("\"")");
  EXPECT_EQ(ArgsOf(7, Address("\\")), R"("\\")");
}

TEST(EventTracer, EmptyStringsTerminatorIsTakenForACharacter) {
  const char two_terminators[] = {'\0', 'x', '\0'};
  EXPECT_EQ(ArgsOf(6, Address(two_terminators)), std::string("\"\0x\"", 4));
  EXPECT_EQ(ArgsOf(7, Address(two_terminators)), std::string("\"\0\"", 3))
      << "a copy holds nothing behind the terminator";
}

TEST(EventTracer, NumberOfMoreThan31CharactersIsCut) {
  EXPECT_EQ(ArgsOf(4, Bits(1e40)), "1000000000000000030378602842700");
}

TEST(EventTracer, ValuesOfEveryTypeAreWritten) {
  EXPECT_EQ(ArgsOf(1, 1), "true");
  EXPECT_EQ(ArgsOf(1, 0), "false");
  EXPECT_EQ(ArgsOf(2, ULLONG_MAX), "18446744073709551615");
  EXPECT_EQ(ArgsOf(3, static_cast<unsigned long long>(LLONG_MIN)), "-9223372036854775808");
  EXPECT_EQ(ArgsOf(4, Bits(1.5)), "1.500000");
  EXPECT_EQ(ArgsOf(5, 0xabc), "\"0xabc\"");
  EXPECT_EQ(ArgsOf(6, Address("reference")), "\"reference\"");
  EXPECT_EQ(ArgsOf(7, Address("copied")), "\"copied\"");
}

TEST(EventTracer, ValueOfUnknownTypeIsEmpty) {
  EXPECT_EQ(ArgsOf(0, 5), "");
  EXPECT_EQ(ArgsOf(8, 5), "");
}

TEST(EventTracer, NullStringsAreSaidToBeNull) {
  EXPECT_EQ(ArgsOf(6, 0), "\"(null)\"");
  EXPECT_EQ(ArgsOf(7, 0), "\"(null)\"");
}

TEST(EventTracer, ArgumentsAreSeparatedAndOrdered) {
  const std::string text =
      Capture([] { ORU_TRACE_EVENT_INSTANT2("webrtc", "e", "first", 1, "second", "two"); });
  EXPECT_EQ(SplitLines(text)[2],
            "," + Instant("e", ", \"args\": { \"first\": 1, \"second\": \"two\" }"));
}

TEST(EventTracer, ManyArgumentsAndNegativeCountsAreBounded) {
  const std::string text = Capture([] {
    constexpr int kArgs = 3000;  // More than a chunk of the queue holds.
    std::vector<const char*> names(kArgs, "n");
    const std::vector<unsigned char> types(kArgs, 2);
    const std::vector<unsigned long long> values(kArgs, 7);
    const unsigned char* const on = webrtc::EventTracer::GetCategoryEnabled("webrtc");
    webrtc::EventTracer::AddTraceEvent('I', on, "e", 0, kArgs, names.data(), types.data(),
                                       values.data(), 0);
    webrtc::EventTracer::AddTraceEvent('I', on, "none", 0, -3, nullptr, nullptr, nullptr, 0);
  });
  const std::vector<std::string> lines = SplitLines(text);
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[2].size(), Instant("e").size() + 1 + strlen(", \"args\": { }") + 3000 * 8 - 1);
  EXPECT_EQ(lines[3], "," + Instant("none"));
}

TEST(EventTracer, CopiedStringMayChangeAfterEmission) {
  const std::string text = Capture([] {
    char buffer[] = "before";
    ORU_TRACE_EVENT_INSTANT1("webrtc", "e", "arg", ORU_TRACE_STR_COPY(buffer));
    strcpy(buffer, "after");
  });
  EXPECT_NE(text.find("\"arg\": \"before\""), std::string::npos) << text;
}

TEST(EventTracer, LongCopiedStringsAreWhole) {
  const std::string big(300000, 'b');
  const std::string text = Capture([&] {
    ORU_TRACE_EVENT_INSTANT2("webrtc", "e", "a", big, "b", std::string("small"));
    ORU_TRACE_EVENT_INSTANT1("webrtc", "f", "a", big);
  });
  EXPECT_NE(text.find("{ \"a\": \"" + big + "\", \"b\": \"small\" }"), std::string::npos);
  EXPECT_NE(text.find("{ \"a\": \"" + big + "\" }}\n"), std::string::npos);
}

// Strings that look into the memory where the event itself comes to stand are short when they are
// measured and long when they are copied.
TEST(EventTracer, StringsThatGrowWhileTheyAreCopiedStayInTheirEvent) {
  using rtc::tracing::TraceEvent;
  rtc::tracing::TraceEventQueue queue;
  const auto last_event = [&queue] {
    const TraceEvent* last = nullptr;
    rtc::tracing::TraceMerge events;
    queue.Read(&events);
    while (const TraceEvent* const event = events.Next()) last = event;
    queue.Release();
    return last;
  };
  const auto append_zeros = [&queue] {
    const char* no_name = nullptr;
    const unsigned char number = webrtc::trace_event_internal::kTypeUint;
    const unsigned long long zero = 0;
    queue.Append({{nullptr, nullptr, 0, 0, 1, '\0'}, &no_name, &number, &zero});
  };
  // Until memory full of them is used again.
  for (int i = 0; i < 20000; ++i) append_zeros();
  last_event();
  const TraceEvent* before = nullptr;
  for (int i = 0; i < 2000; ++i) {
    append_zeros();
    before = last_event();
  }
  const unsigned long long place = Address(before) + before->size() + sizeof(TraceEvent);

  const auto* const letters = reinterpret_cast<const char*>(0x4141414141414141);
  const char* names[] = {letters, letters};
  const unsigned char types[] = {7, 7};
  const unsigned long long values[] = {place, place};
  ASSERT_LT(strlen(reinterpret_cast<const char*>(place)), 8u) << "the memory was not used again";
  queue.Append({{"e", nullptr, 0, 1, 2, 'I'}, names, types, values});
  const TraceEvent* const event = last_event();
  ASSERT_EQ(Address(event->args()), place);
  for (int i = 0; i < 2; ++i) {
    const auto* const copy = reinterpret_cast<const char*>(event->args()[i].value);
    EXPECT_LT(Address(copy + strlen(copy)), Address(event) + event->size()) << i;
  }
}

TEST(EventTracer, ScopeIsABeginAndAnEnd) {
  const std::string text = Capture([] { ORU_TRACE_EVENT1("webrtc", "scope", "n", 3); });
  const std::vector<std::string> lines = SplitLines(text);
  ASSERT_EQ(lines.size(), 6u);
  const std::string start = ",{ \"name\": \"scope\", \"cat\": \"webrtc";
  EXPECT_EQ(lines[2], start + Tail("B", ", \"args\": { \"n\": 3 }"));
  EXPECT_EQ(lines[3], start + Tail("E"));
}

TEST(EventTracer, NullNamesAreSaidToBeNull) {
  const std::string text = Capture([] {
    webrtc::EventTracer::AddTraceEvent('I', nullptr, nullptr, 0, 0, nullptr, nullptr, nullptr, 0);
  });
  EXPECT_EQ(SplitLines(text)[2], ",{ \"name\": \"(null)\", \"cat\": \"(null)" + Tail("I"));
}

TEST(EventTracer, TimesComeFromTheMicrosecondClock) {
  const TempDir dir;
  rtc::tracing::SetupInternalTracer();
  const int64_t before = rtc::TimeMicros();
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("t").c_str()));
  rtc::tracing::StopInternalCapture();
  const int64_t after = rtc::TimeMicros();
  rtc::tracing::ShutdownInternalTracer();
  const std::string text = ReadFile(dir.Join("t"));
  std::smatch match;
  ASSERT_TRUE(std::regex_search(text, match, std::regex("\"ts\": (\\d+)")));
  EXPECT_GE(std::stoll(match[1]), before);
  EXPECT_LE(std::stoll(match[1]), after);
}

TEST(EventTracer, EventsOutsideACaptureAreDropped) {
  const TempDir dir;
  rtc::tracing::SetupInternalTracer();
  EmitInstant();
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("t").c_str()));
  rtc::tracing::StopInternalCapture();
  EmitInstant();
  rtc::tracing::ShutdownInternalTracer();
  EmitInstant();
  EXPECT_EQ(ReadFile(dir.Join("t")).find("instant"), std::string::npos);
}

// An emitter that saw the end of a capture too late leaves such events.
TEST(EventTracer, EventsQueuedBeforeTheStartAreDiscarded) {
  const TempDir dir;
  rtc::tracing::EventLogger logger;
  logger.AddTraceEvent({{"late", nullptr, 0, 1, 0, 'I'}, nullptr, nullptr, nullptr});
  logger.Start(rtc::tracing::OpenTraceFile(dir.Join("t").c_str()));
  logger.AddTraceEvent({{"kept", nullptr, 0, 1, 0, 'I'}, nullptr, nullptr, nullptr});
  logger.Stop();
  const std::string text = ReadFile(dir.Join("t"));
  EXPECT_EQ(text.find("late"), std::string::npos) << text;
  EXPECT_NE(text.find("\"kept\""), std::string::npos) << text;
}

// A file on a disk that stalls until it is told to go on.
class StalledOutput : public rtc::tracing::TraceOutput {
 public:
  StalledOutput(rtc::Event* stalled, rtc::Event* go_on, std::string* text)
      : stalled_(stalled), go_on_(go_on), text_(text) {}
  size_t Write(const std::string& text) override {
    stalled_->Set();
    go_on_->Wait(rtc::Event::kForever);
    text_->append(text);
    return text.size();
  }
  void TakeBack(size_t) override {}

 private:
  rtc::Event* const stalled_;
  rtc::Event* const go_on_;
  std::string* const text_;
};

TEST(EventTracer, WhileTheDiskStallsMemoryIsBoundedAndTheLossesAreTold) {
  constexpr size_t kRoom = 256 * 1024;
  constexpr uint64_t kEvents = 20000;
  rtc::Event stalled(false, false);
  rtc::Event go_on(true, false);
  std::string text;
  rtc::tracing::EventLogger logger(kRoom);
  logger.Start(std::make_unique<StalledOutput>(&stalled, &go_on, &text));
  ASSERT_TRUE(stalled.Wait(30000));
  for (uint64_t i = 0; i < kEvents; ++i) {
    logger.AddTraceEvent({{"e", nullptr, i * 1000, 1, 0, 'I'}, nullptr, nullptr, nullptr});
  }
  go_on.Set();
  logger.Stop();
  const oru_test::TraceText trace = oru_test::ReadTrace(text);
  EXPECT_EQ(trace.error, "");
  EXPECT_TRUE(trace.ended);
  EXPECT_LE(trace.Others().size() * sizeof(rtc::tracing::TraceEvent), kRoom);
  EXPECT_EQ(trace.Others().size() + trace.Lost(), kEvents);
  EXPECT_EQ(trace.Others().back().time, trace.Others().size() - 1) << "the first ones are kept";
  EXPECT_EQ(trace.events.back().name, "EventLogger::Lost");
}

TEST(EventTracer, ItsOwnFileIsClosedAtTheEnd) {
  const TempDir dir;
  const auto lowest_free_descriptor = [] {
    const int descriptor = dup(STDERR_FILENO);
    close(descriptor);
    return descriptor;
  };
  const int before = lowest_free_descriptor();
  rtc::tracing::SetupInternalTracer();
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("t").c_str()));
  EXPECT_NE(lowest_free_descriptor(), before);
  rtc::tracing::StopInternalCapture();
  EXPECT_EQ(lowest_free_descriptor(), before);
  rtc::tracing::ShutdownInternalTracer();
}

TEST(EventTracer, EveryCaptureIsADocumentOfItsOwn) {
  const TempDir dir;
  rtc::tracing::SetupInternalTracer();
  for (const char* name : {"a", "b", "c"}) {
    ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join(name).c_str()));
    EmitInstant();
    rtc::tracing::StopInternalCapture();
  }
  rtc::tracing::ShutdownInternalTracer();
  for (const char* name : {"a", "b", "c"}) {
    const std::vector<std::string> lines = SplitLines(ReadFile(dir.Join(name)));
    ASSERT_EQ(lines.size(), 5u) << name;
    EXPECT_EQ(lines[1][0], ' ');
    EXPECT_EQ(lines[2][0], ',');
    EXPECT_EQ(lines[4], "]}");
  }
}

TEST(EventTracer, StopWithoutACaptureDoesNothing) {
  const TempDir dir;
  rtc::tracing::SetupInternalTracer();
  rtc::tracing::StopInternalCapture();
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("t").c_str()));
  rtc::tracing::StopInternalCapture();
  rtc::tracing::StopInternalCapture();
  rtc::tracing::ShutdownInternalTracer();
  const std::vector<std::string> lines = SplitLines(ReadFile(dir.Join("t")));
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_NE(lines[2].find("EventLogger::Stop"), std::string::npos);
}

TEST(EventTracer, UnopenablePathIsLoggedAndLeavesTheTracerIdle) {
  const TempDir dir;
  const oru_test::LogCapture capture(rtc::LS_ERROR);
  rtc::tracing::SetupInternalTracer();
  const std::string path = dir.Join("missing/trace.json");
  EXPECT_FALSE(rtc::tracing::StartInternalCapture(path.c_str()));
  EXPECT_FALSE(rtc::tracing::StartInternalCapture(nullptr));
  ASSERT_EQ(capture.lines().size(), 2u);
  EXPECT_TRUE(
      std::regex_match(capture.lines()[0],
                       std::regex(R"(\[E\] \(event_tracer\.cc:\d+\): Failed to open trace file ')" +
                                  path + "' for writing\\.\n")))
      << capture.lines()[0];
  EXPECT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("t").c_str())) << "it was not idle";
  rtc::tracing::ShutdownInternalTracer();
}

TEST(EventTracer, CallersFileStaysOpen) {
  FILE* const file = tmpfile();
  ASSERT_NE(file, nullptr);
  rtc::tracing::SetupInternalTracer();
  rtc::tracing::StartInternalCaptureToFile(file);
  EmitInstant();
  rtc::tracing::StopInternalCapture();
  rtc::tracing::StartInternalCaptureToFile(nullptr);
  rtc::tracing::ShutdownInternalTracer();
  EXPECT_GT(ftell(file), 0);
  EXPECT_GT(fprintf(file, "more"), 0);
  EXPECT_EQ(fclose(file), 0);
}

TEST(EventTracer, ShutdownEndsARunningCapture) {
  const TempDir dir;
  rtc::tracing::SetupInternalTracer();
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("t").c_str()));
  EmitInstant();
  rtc::tracing::ShutdownInternalTracer();
  EXPECT_EQ(SplitLines(ReadFile(dir.Join("t"))).size(), 5u);
}

TEST(EventTracer, StopAndShutdownWithoutSetUpAreHarmless) {
  rtc::tracing::StopInternalCapture();
  rtc::tracing::ShutdownInternalTracer();
  rtc::tracing::ShutdownInternalTracer();
  EXPECT_EQ(SplitLines(Capture(&EmitInstant)).size(), 5u);
}

TEST(EventTracer, StartWithoutSetUpGivesNoCapture) {
  const TempDir dir;
  EXPECT_FALSE(rtc::tracing::StartInternalCapture(dir.Join("t").c_str()));
  rtc::tracing::StartInternalCaptureToFile(stderr);
  EXPECT_FALSE(oru_test::PathExists(dir.Join("t")));
}

TEST(EventTracer, MayBeSetUpAgainAfterShutdown) {
  EXPECT_EQ(SplitLines(Capture(&EmitInstant)).size(), 5u);
  EXPECT_EQ(SplitLines(Capture(&EmitInstant)).size(), 5u);
}

TEST(EventTracer, StartsOwnInstantKeepsTheAnswerOfItsFirstTime) {
  const TempDir dir;
  rtc::tracing::SetupInternalTracer();
  webrtc::SetupEventTracer(nullptr, nullptr);
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("a").c_str()));
  rtc::tracing::StopInternalCapture();
  rtc::tracing::ShutdownInternalTracer();
  EXPECT_EQ(ReadFile(dir.Join("a")), "{ \"traceEvents\": [\n]}\n");
  EXPECT_EQ(SplitLines(Capture(&EmitInstant)).size(), 3u);
}

TEST(EventTracer, OtherTracerReceivesTheEvents) {
  static std::string seen;
  webrtc::SetupEventTracer(
      [](const char* name) { return reinterpret_cast<const unsigned char*>(name); },
      [](char phase, const unsigned char*, const char* name, unsigned long long, int, const char**,
         const unsigned char*, const unsigned long long*,
         unsigned char) { seen += phase + std::string(name); });
  EmitInstant();
  webrtc::SetupEventTracer(nullptr, nullptr);
  EmitInstant();
  EXPECT_EQ(seen, "Iinstant");
}

TEST(EventTracer, FullDiskIsSurvived) {
  FILE* const full = fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  rtc::tracing::SetupInternalTracer();
  rtc::tracing::StartInternalCaptureToFile(full);
  for (int i = 0; i < 10000; ++i) {
    EmitInstant();
  }
  rtc::tracing::StopInternalCapture();
  rtc::tracing::ShutdownInternalTracer();
  EXPECT_NE(ferror(full), 0);
  fclose(full);
}

TEST(EventTracer, KilledProcessLeavesWhatWasWrittenAndTheEnd) {
  const TempDir dir;
  const std::string path = dir.Join("t");
  const ChildResult child = RunInFork([&] {
    rtc::tracing::SetupInternalTracer();
    rtc::tracing::StartInternalCapture(path.c_str());
    for (int i = 0; i < 2000; ++i) {
      EmitInstant();
    }
    while (ReadFile(path).find("instant") == std::string::npos) {
      usleep(10000);
    }
    raise(SIGKILL);
    return 0;
  });
  EXPECT_EQ(child.signal, SIGKILL) << child.Ending();
  const std::string text = ReadFile(path);
  EXPECT_EQ(oru_test::JsonError(path), "");
  EXPECT_EQ(text.find("EventLogger::Stop"), std::string::npos);
}

TEST(EventTracer, ForkedChildLeavesTheParentsCaptureAlone) {
  const TempDir dir;
  rtc::tracing::SetupInternalTracer();
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("parent").c_str()));
  EmitInstant();
  const pid_t child = fork();
  if (child == 0) {
    EmitInstant();
    rtc::tracing::StopInternalCapture();
    rtc::tracing::ShutdownInternalTracer();
    rtc::tracing::SetupInternalTracer();
    rtc::tracing::ShutdownInternalTracer();
    _exit(0);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EmitInstant();
  rtc::tracing::ShutdownInternalTracer();
  EXPECT_EQ(SplitLines(ReadFile(dir.Join("parent"))).size(), 6u);
}

TEST(EventTracerFatal, SettingUpTwiceEndsTheProcess) {
  ExpectFatal(
      [] {
        rtc::tracing::SetupInternalTracer();
        rtc::tracing::SetupInternalTracer();
      },
      "rtc::AtomicOps::CompareAndSwapPtr( &g_event_logger, static_cast<EventLogger*>(nullptr), "
      "new EventLogger()) == nullptr");
}

TEST(EventTracerFatal, StartingWhileACaptureRunsEndsTheProcess) {
  ExpectFatal(
      [] {
        rtc::tracing::SetupInternalTracer();
        rtc::tracing::StartInternalCaptureToFile(tmpfile());
        rtc::tracing::StartInternalCaptureToFile(tmpfile());
      },
      "0 == rtc::AtomicOps::CompareAndSwap(&g_event_logging_active, 0, 1)");
}

TEST(EventTracerInThreads, NoEventIsLostAndEachThreadKeepsItsOrder) {
  constexpr int kThreads = 4;
  constexpr int kEvents = 3000;
  const TempDir dir;
  rtc::tracing::SetupInternalTracer();
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("t").c_str()));
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kEvents; ++i) {
        ORU_TRACE_EVENT_INSTANT2("webrtc", "n", "thread", t, "text", std::to_string(i));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  rtc::tracing::StopInternalCapture();
  rtc::tracing::ShutdownInternalTracer();
  int next[kThreads] = {};
  const std::regex pattern(R"re(.*\{ "thread": (\d), "text": "(\d+)" \}\})re");
  for (const std::string& line : SplitLines(ReadFile(dir.Join("t")))) {
    std::smatch match;
    if (std::regex_match(line, match, pattern)) {
      EXPECT_EQ(std::stoi(match[2]), next[std::stoi(match[1])]++);
    }
  }
  for (const int count : next) {
    EXPECT_EQ(count, kEvents);
  }
}

// Two threads that take turns, as fast as one hears of the other.
TEST(EventTracerInThreads, WhatFollowsFromAnotherThreadsEventStandsBehindItInTheFile) {
  const TempDir dir;
  const FixedClock clock;
  // The order does not come from the events' times.
  rtc::SetClockForTesting(const_cast<FixedClock*>(&clock));
  rtc::tracing::SetupInternalTracer();
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("t").c_str()));
  std::atomic<int> turn{0};
  std::atomic<bool> done{false};
  // Long enough for the writer to come in between several times.
  const int64_t end = rtc::SystemTimeMillis() + 500;
  const auto emit = [&](int mine) {
    while (!done) {
      const int now = turn.load(std::memory_order_acquire);
      if (now % 2 != mine) {
        if (now % 64 < 2) std::this_thread::yield();
        continue;
      }
      ORU_TRACE_EVENT_INSTANT1("webrtc", "n", "turn", now);
      if (rtc::SystemTimeMillis() > end) done = true;
      turn.store(now + 1, std::memory_order_release);
    }
  };
  std::thread other(emit, 1);
  emit(0);
  other.join();
  rtc::tracing::StopInternalCapture();
  rtc::tracing::ShutdownInternalTracer();
  rtc::SetClockForTesting(nullptr);
  const std::vector<std::string> lines = SplitLines(ReadFile(dir.Join("t")));
  ASSERT_GT(lines.size(), 4u);
  EXPECT_NE(lines[1].find("EventLogger::Start"), std::string::npos);
  EXPECT_NE(lines[lines.size() - 2].find("EventLogger::Stop"), std::string::npos);
  for (size_t i = 0; i + 4 < lines.size(); ++i) {
    const std::string args = "{ \"turn\": " + std::to_string(i) + " }";
    ASSERT_NE(lines[i + 2].find(args), std::string::npos) << i << ": " << lines[i + 2];
  }
}

TEST(EventTracerInThreads, CapturesMayStartAndStopWhileOthersEmit) {
  const TempDir dir;
  rtc::tracing::SetupInternalTracer();
  std::atomic<bool> stop{false};
  std::thread emitter([&] {
    while (!stop) {
      ORU_TRACE_EVENT1("webrtc", "scope", "s", std::string("copied"));
    }
  });
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join(std::to_string(i)).c_str()));
    usleep(1000);
    rtc::tracing::StopInternalCapture();
  }
  stop = true;
  emitter.join();
  rtc::tracing::ShutdownInternalTracer();
  for (int i = 0; i < 10; ++i) {
    const std::string text = ReadFile(dir.Join(std::to_string(i)));
    EXPECT_EQ(text.substr(0, 20), "{ \"traceEvents\": [\n ");
    EXPECT_EQ(text.substr(text.size() - 3), "]}\n");
  }
}

// Every field of every event, by a JSON parser of its own.
TEST(EventTracerDocument, IsValidJsonOfTheTraceEventFormat) {
  const TempDir dir;
  rtc::tracing::SetupInternalTracer();
  ASSERT_TRUE(rtc::tracing::StartInternalCapture(dir.Join("t").c_str()));
  std::thread([] {
    for (int i = 0; i < 50; ++i) {
      ORU_TRACE_EVENT2("webrtc", "scope", "text", "a\"b\\c", "pointer", static_cast<void*>(&i));
      ORU_TRACE_EVENT_INSTANT2("audio", "instant", "flag", i % 2 == 0, "ratio", i / 3.0);
    }
  }).join();
  rtc::tracing::StopInternalCapture();
  rtc::tracing::ShutdownInternalTracer();
  const ChildResult tool =
      oru_test::RunChild({"/usr/bin/python3", "-m", "json.tool", dir.Join("t")});
  EXPECT_EQ(tool.exit_code, 0) << tool.err;
  const ChildResult schema = oru_test::RunChild({"/usr/bin/python3", "-c", R"(
import json, sys
document = json.load(open(sys.argv[1]))
assert list(document) == ["traceEvents"], document.keys()
events = document["traceEvents"]
assert len(events) == 152, len(events)
depth = 0
for event in events:
    assert set(event) - {"args"} == {"name", "cat", "ph", "ts", "pid", "tid"}, event
    assert event["ph"] in "IBE" and event["pid"] == 1, event
    assert isinstance(event["ts"], int) and isinstance(event["tid"], int), event
    assert event["cat"] in ("webrtc", "audio"), event
    args = event.get("args")
    if event["ph"] == "B":
        depth += 1
        assert list(args) == ["text", "pointer"] and args["text"] == "a\"b\\c", args
        assert args["pointer"].startswith("0x"), args
    elif event["ph"] == "E":
        depth -= 1
        assert args is None, args
    elif event["name"] == "instant":
        assert isinstance(args["flag"], bool) and isinstance(args["ratio"], float), args
    assert 0 <= depth <= 1
assert depth == 0
)",
                                                 dir.Join("t")});
  EXPECT_EQ(schema.exit_code, 0) << schema.err;
}

}  // namespace
