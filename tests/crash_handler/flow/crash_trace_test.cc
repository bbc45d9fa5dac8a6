// A trace capture that is running when the process crashes.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/common/webrtc/rtc_base/event_tracer.h"
#include "media_core/common/webrtc/rtc_base/trace_event.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

// What the filter finds.
extern "C" __attribute__((noinline, disable_tail_calls, visibility("default"))) int
OruRTCTraceTestCrash(bool by_abort) {
  if (by_abort) abort();
  *static_cast<volatile int*>(nullptr) = 1;
  return 1;
}

namespace {

constexpr int kEvents = 200;

size_t CountOf(const std::string& text, const std::string& word) {
  size_t count = 0;
  for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++count;
  return count;
}

// Emits its events and crashes at once.
void ExpectAllEvents(bool by_abort) {
  const oru_test::TempDir dir;
  const auto child = oru_test::RunInFork([&]() -> int {
    auto* const handler = CrashHandler::CrashHandlerProxy::CreateCrashHandler();
    handler->SetCrashDumpDirPath(dir.Join("dumps").c_str());
    handler->InstallCrashHandler();
    rtc::tracing::SetupInternalTracer();
    rtc::tracing::StartInternalCapture(dir.Join("trace.json").c_str());
    for (int i = 0; i < kEvents; ++i) ORU_TRACE_EVENT_INSTANT0("test", "a_mark_of_the_test");
    return OruRTCTraceTestCrash(by_abort);
  });
  EXPECT_NE(child.signal, 0) << child.Ending();
  const std::string trace = oru_test::ReadFile(dir.Join("trace.json"));
  EXPECT_EQ(CountOf(trace, "a_mark_of_the_test"), size_t{kEvents});
  EXPECT_NE(trace.find("]}"), std::string::npos);
  EXPECT_EQ(oru_test::ListFilesRecursively(dir.Join("dumps")).size(), 1U);
}

TEST(CrashTraceTest, AFaultLeavesAllEvents) { ExpectAllEvents(false); }

TEST(CrashTraceTest, AnAbortLeavesAllEvents) { ExpectAllEvents(true); }

}  // namespace
