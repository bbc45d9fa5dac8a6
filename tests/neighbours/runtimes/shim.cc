// Crash capture for programs in other languages: they load this library and call NeighbourNextStep
// until it is 0. What is to be done stands in the environment:
//
//   NEIGHBOUR_DUMPS     folder of the reports
//   NEIGHBOUR_STEPS     words with blanks between them, see kSteps
//   NEIGHBOUR_PRELOADED installs crash capture when this library is loaded: for LD_PRELOAD, before
//                       the program's runtime begins
#include <signal.h>

#include <cstdlib>
#include <cstring>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/biz_engine/crash_handler/crash_neighbours.h"
#include "tests/neighbours/neighbours.h"

#define SHIM_NAME __attribute__((visibility("default")))
#define SHIM_FUNCTION __attribute__((visibility("default"), noinline, disable_tail_calls))

extern "C" {

// What the filter finds on the stack.
SHIM_FUNCTION int OruRTCNeighbourDeed(int (*deed)()) { return deed() + 1; }

SHIM_FUNCTION int OruRTCRecurse(volatile char* above) {
  volatile char frame[4096] = {};
  return above == nullptr ? 0 : OruRTCRecurse(frame) + frame[0];
}

// Which instructions are the runtime's, where its code is in a file's image.
SHIM_NAME CrashHandler::RuntimeFaultRule neighbour_rule = nullptr;
}

namespace {

using CrashHandler::CrashHandlerProxy;

__attribute__((noinline)) int WriteToNull() {
  *static_cast<int volatile*>(nullptr) = 1;
  return 0;
}

int Abort() {
  void (*volatile end)() = abort;
  end();
  return 0;
}

int Throw() { throw 1; }

int Overflow() {
  volatile char first = 0;
  return OruRTCRecurse(&first);
}

int Install() {
  CrashHandlerProxy* const handler = CrashHandlerProxy::CreateCrashHandler();
  handler->SetCrashDumpDirPath(getenv("NEIGHBOUR_DUMPS"));
  CrashHandler::CrashTraceInfo info{"A", "S", "1.0", nullptr};
  handler->SetTraceInfo(info);
  handler->InstallCrashHandler();
  return 0;
}

int StandInFront() {
  if (!CrashHandler::StandInFrontOf(neighbour_rule)) neighbours::Say("stands in front of nobody");
  return 0;
}

int Uninstall() {
  CrashHandlerProxy::CreateCrashHandler()->UnInstallCrashHandler();
  return 0;
}

// What a host gives each thread whose overflow is to be reported.
int UseAlternateStack() {
  constexpr size_t kSize = size_t{64} << 10;
  stack_t stack = {};
  stack.ss_sp = new char[kSize];
  stack.ss_size = kSize;
  return sigaltstack(&stack, nullptr);
}

struct Step {
  const char* word;
  int (*run)();
  bool of_sdk;
};

constexpr Step kSteps[] = {
    {"install", Install, false},
    {"front", StandInFront, false},
    {"rearm", CrashHandler::Rearm, false},
    {"leave", CrashHandler::Leave, false},
    {"uninstall", Uninstall, false},
    {"stack", UseAlternateStack, false},
    {"crash", WriteToNull, true},
    {"host-crash", WriteToNull, false},
    {"abort", Abort, true},
    {"throw", Throw, true},
    {"overflow", Overflow, true},
};

// What the runtime does itself.
constexpr char kBenignFaults[] = "benign";

void Run(const char* word) {
  for (const Step& step : kSteps) {
    if (strcmp(step.word, word) == 0) {
      if (step.of_sdk) {
        OruRTCNeighbourDeed(step.run);
      } else {
        step.run();
      }
      return;
    }
  }
  neighbours::Say("unknown step");
  abort();
}

__attribute__((constructor)) void InstallIfPreloaded() {
  if (getenv("NEIGHBOUR_PRELOADED") != nullptr) Install();
}

}  // namespace

// 1: the runtime raises its benign faults and calls again. 0: the program ends.
extern "C" SHIM_FUNCTION int NeighbourNextStep() {
  static char* rest = strdup(getenv("NEIGHBOUR_STEPS"));
  while (const char* const word = strtok_r(rest, " ", &rest)) {
    if (strcmp(word, kBenignFaults) == 0) return 1;
    Run(word);
  }
  return 0;
}

// As the JVM calls it: class Neighbour, method nextStep.
extern "C" SHIM_FUNCTION int Java_Neighbour_nextStep(void* /*jni*/, void* /*neighbour*/) {
  return NeighbourNextStep();
}
