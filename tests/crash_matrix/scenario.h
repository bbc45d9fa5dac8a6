// A way for a process to go wrong, and what the scenarios share. A scenario runs in a process of
// its own with crash capture installed, below a function that carries the filter's word.
#ifndef TESTS_CRASH_MATRIX_SCENARIO_H_
#define TESTS_CRASH_MATRIX_SCENARIO_H_

#include <cstddef>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"

// For what is wrong on purpose: a sanitizer must not stop it before the signal comes.
#define CHILD_FUNCTION \
  __attribute__((noinline, disable_tail_calls, no_sanitize("address", "undefined", "thread")))
// Defines a scenario, as in SCENARIO(CallbackSpins) { ... }; its name is the function's. A row of
// the matrix (rows_*.cc) that has the name runs it.
#define SCENARIO(function)        \
  CHILD_FUNCTION void function(); \
  REGISTER_SCENARIO(function);    \
  CHILD_FUNCTION void function()
// For a function that is a scenario as it is.
#define REGISTER_SCENARIO(function) \
  const ::crash_test::Scenario kScenario##function(#function, function)

namespace crash_test {

using CrashHandler::CrashHandlerProxy;
using CrashHandler::CrashType;

// Known by its name from its construction on; for objects that live as long as the process.
struct Scenario {
  Scenario(const char* scenario_name, void (*scenario)());

  const char* const name;
  // When it returns, the process exits with kScenarioReturned.
  void (*const run)();
  const Scenario* const older;
};

// Null for an unknown name.
const Scenario* FindScenario(const char* name);

constexpr int kScenarioReturned = 97;
// The scenario could not be set up: never an expected ending.
constexpr int kScenarioFailed = 98;

// The process's crash handler.
CrashHandlerProxy* Handler();
void Callback(void (*callback)(void*, CrashType));

// Two faults to go on with.
void WriteToNull();
void DivideByZero();

void SleepForEver();
// Without a pause: an endless loop that does nothing at all may be left out by the compiler.
[[noreturn]] void Spin();
void SleepMs(int milliseconds);
void BlockAllSignals();
// For this thread, with nothing readable below it.
void UseGuardedAlternateStack(size_t size);
// A line on standard error; may be called in a signal handler.
void Say(const char* line);
// Asks for more than there is, catches what comes of it and says so.
void FailAnAllocation();
// Whether nobody handles the deadline's signal any more.
bool DeadlineIsOver();
// After how long a report is taken away from its owner, and how to set it.
int RescueTimeMs();
void SetRescueTime(int milliseconds);
// For the life of the process.
void UseAllDescriptors();
void LeaveAddressSpace(size_t bytes);
// Ends the process with kScenarioFailed unless `done`.
void Require(bool done);

}  // namespace crash_test

// What the filter finds on the stack; runs the function and returns kScenarioReturned.
extern "C" int OruRTCScenario(void (*run)());

#endif  // TESTS_CRASH_MATRIX_SCENARIO_H_
