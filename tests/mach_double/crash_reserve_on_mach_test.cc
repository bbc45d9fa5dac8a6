// What is set aside for a crash on a system whose threads are made at installation.
#include <gtest/gtest.h>
#include <unistd.h>

#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "media_core/biz_engine/crash_handler/dying/crash_reserve.h"
#include "media_core/biz_engine/crash_handler/machine/threads/helper_thread.h"
#include "tests/mach_double/mach_double.h"
#include "tests/support/child_process.h"

namespace CrashHandler {
namespace {

constexpr int kEnded = 7;

[[noreturn]] void CrashUntilTheEnd() {
  SetCrashRescueTimeForTesting(50);
  StartCrashDeadline({[] { return true; }, [] { _exit(kEnded); }});
  for (;;) pause();
}

TEST(CrashReserveOnMach, AForkedChildThatInstallsAgainIsBoundedToo) {
  PrepareCrashReserve();
  const auto child = oru_test::RunInFork([]() -> int {
    alarm(30);
    if (machine::HelperThreadNumber() != 0) return 1;
    PrepareCrashReserve();
    CrashUntilTheEnd();
  });
  EXPECT_EQ(child.exit_code, kEnded) << child.Ending();
}

TEST(CrashReserveOnMach, InstallingAgainMakesNoSecondThread) {
  PrepareCrashReserve();
  const machine::ThreadNumber first = machine::HelperThreadNumber();
  const int made = mach_double::CallCount(mach_double::Call::kPthreadCreate);
  PrepareCrashReserve();
  EXPECT_NE(first, 0u);
  EXPECT_EQ(machine::HelperThreadNumber(), first);
  EXPECT_EQ(mach_double::CallCount(mach_double::Call::kPthreadCreate), made);
}

}  // namespace
}  // namespace CrashHandler
