// A process with crash capture and a neighbour; started by the tests.
//
//   neighbour_child NEIGHBOUR before|after DEED DUMP_DIR
//
// "before": the neighbour installs itself before crash capture.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/biz_engine/crash_handler/crash_neighbours.h"
#include "tests/neighbours/neighbours.h"

#define CHILD_FUNCTION \
  __attribute__((noinline, disable_tail_calls, no_sanitize("address", "undefined", "thread")))

// What the filter finds on the stack.
extern "C" CHILD_FUNCTION int OruRTCNeighbourDeed(int (*deed)()) { return deed() + 1; }

// A recursion in the SDK: the frames that are looked at are all its.
extern "C" CHILD_FUNCTION int OruRTCRecurse(volatile char* above) {
  volatile char frame[4096] = {};
  return above == nullptr ? 0 : OruRTCRecurse(frame) + frame[0];
}

namespace {

using CrashHandler::CrashHandlerProxy;

constexpr int kBenignFaults = 10000;

CHILD_FUNCTION int WriteToNull() {
  *static_cast<volatile int*>(nullptr) = 1;
  return 0;
}

CHILD_FUNCTION int Abort() {
  void (*volatile end)() = abort;
  end();
  return 0;
}

CHILD_FUNCTION int Overflow() {
  volatile char first = 0;
  return OruRTCRecurse(&first);
}

int RaiseBenignFaults() {
  for (int i = 0; i < kBenignFaults; ++i) {
    if (!neighbours::RaiseBenignFault()) return 50;
  }
  neighbours::Say("10000 faults were benign");
  return 0;
}

int BenignFaultsAndACrash() {
  const int status = RaiseBenignFaults();
  return status != 0 ? status : WriteToNull();
}

int UninstallAndCrash() {
  CrashHandlerProxy::CreateCrashHandler()->UnInstallCrashHandler();
  return WriteToNull();
}

// The stand-in's benign instruction is in this program's own image.
bool IsStandIns(int /*signo*/, const siginfo_t* /*info*/, const void* instruction) {
  return neighbours::IsBenignInstruction(instruction);
}

void StandInFront() {
  if (!CrashHandler::StandInFrontOf(IsStandIns)) neighbours::Say("stands in front of nobody");
}

int InFrontOfBenignFaults() {
  StandInFront();
  return RaiseBenignFaults();
}

int InFrontOfBenignFaultsAndACrash() {
  StandInFront();
  return BenignFaultsAndACrash();
}

int InFrontOfACrash() {
  StandInFront();
  return WriteToNull();
}

int RearmAndAbort() {
  CrashHandler::Rearm();
  return Abort();
}

int LeaveAndCrash() {
  CrashHandler::Leave();
  return WriteToNull();
}

struct Deed {
  const char* name;
  int (*run)();
  bool of_sdk;
};

constexpr Deed kDeeds[] = {
    {"SdkCrash", WriteToNull, true},
    {"HostCrash", WriteToNull, false},
    {"Abort", Abort, true},
    {"Overflow", Overflow, true},
    {"BenignFaults", RaiseBenignFaults, true},
    {"BenignFaultsAndACrash", BenignFaultsAndACrash, true},
    {"InFrontOfBenignFaults", InFrontOfBenignFaults, true},
    {"InFrontOfBenignFaultsAndACrash", InFrontOfBenignFaultsAndACrash, true},
    {"InFrontOfACrash", InFrontOfACrash, true},
    {"InFrontOfAHostCrash", InFrontOfACrash, false},
    {"RearmAndAbort", RearmAndAbort, true},
    {"LeaveAndCrash", LeaveAndCrash, true},
    {"UninstallAndCrash", UninstallAndCrash, true},
};

const Deed* FindDeed(const char* name) {
  for (const Deed& deed : kDeeds) {
    if (strcmp(deed.name, name) == 0) return &deed;
  }
  return nullptr;
}

void InstallCrashCapture(const char* dump_dir) {
  CrashHandlerProxy* const handler = CrashHandlerProxy::CreateCrashHandler();
  handler->SetCrashDumpDirPath(dump_dir);
  CrashHandler::CrashTraceInfo info{"A", "S", "1.0", nullptr};
  handler->SetTraceInfo(info);
  handler->InstallCrashHandler();
}

// Whose block a report has when it reads other threads.
void StartAnotherThread() {
  std::thread([] {
    for (;;) pause();
  }).detach();
}

}  // namespace

int main(int argc, char** argv) {
  const neighbours::Neighbour* const neighbour = argc < 5 ? nullptr : neighbours::Find(argv[1]);
  const Deed* const deed = argc < 5 ? nullptr : FindDeed(argv[3]);
  if (neighbour == nullptr || deed == nullptr) {
    fputs("neighbour_child: unknown neighbour or deed\n", stderr);
    return 2;
  }
  StartAnotherThread();
  const bool before = strcmp(argv[2], "before") == 0;
  if (before) neighbour->install();
  InstallCrashCapture(argv[4]);
  if (!before) neighbour->install();
  return deed->of_sdk ? OruRTCNeighbourDeed(deed->run) : deed->run();
}
