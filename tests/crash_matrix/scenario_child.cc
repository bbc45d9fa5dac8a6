// A process that goes wrong in the named way; started by the tests.
//
//   crash_scenario_child SCENARIO DUMP_DIR DEADLINE_MS [OPTION...]
//
//   --worker           on a thread of its own, named "worker"
//   --alternate-stack  the thread has an alternate stack
//   --app-id TEXT      instead of "A"
//   --default-dir      no dump directory is set
//   --outside-sdk      without the filter's word on the stack
//
// The module's log lines go to standard error.
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "media_core/biz_engine/crash_handler/machine/crash_deadline.h"
#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

struct Options {
  bool worker = false;
  bool alternate_stack = false;
  bool default_dir = false;
  bool outside_sdk = false;
  const char* app_id = "A";
};

bool ParseOptions(char** argument, Options* options) {
  for (; *argument != nullptr; ++argument) {
    const std::string name = *argument;
    if (name == "--worker") {
      options->worker = true;
    } else if (name == "--alternate-stack") {
      options->alternate_stack = true;
    } else if (name == "--default-dir") {
      options->default_dir = true;
    } else if (name == "--outside-sdk") {
      options->outside_sdk = true;
    } else if (name == "--app-id" && argument[1] != nullptr) {
      options->app_id = *++argument;
    } else {
      return false;
    }
  }
  return true;
}

void Sink(CrashHandler::CrashHandlerLogLevel level, const char* /*tag*/, const char* /*file*/,
          int /*line*/, char* message) {
  char text[2200];
  const int length = snprintf(text, sizeof text, "%d %s\n", level, message);
  if (write(STDERR_FILENO, text, static_cast<size_t>(length)) < 0) _exit(99);
}

void Install(const char* dump_dir, const Options& options) {
  if (!options.default_dir) Handler()->SetCrashDumpDirPath(dump_dir);
  CrashHandler::CrashTraceInfo info{options.app_id, "S", "1.0", nullptr};
  Handler()->SetTraceInfo(info);
  Handler()->SetDebugLogSinkCallback(Sink);
  Handler()->InstallCrashHandler();
}

// Kept until the process ends, as a host would.
void UseAlternateStack() {
  constexpr size_t kSize = size_t{256} << 10;
  static thread_local char* memory = new char[kSize];
  stack_t stack = {};
  stack.ss_sp = memory;
  stack.ss_size = kSize;
  if (sigaltstack(&stack, nullptr) != 0) _exit(kScenarioFailed);
}

int RunHere(const Scenario& scenario, const Options& options) {
  if (options.alternate_stack) UseAlternateStack();
  if (!options.outside_sdk) return OruRTCScenario(scenario.run);
  scenario.run();
  return kScenarioReturned;
}

int RunOnWorker(const Scenario& scenario, const Options& options) {
  int status = kScenarioFailed;
  std::thread([&] {
    pthread_setname_np(pthread_self(), "worker");
    status = RunHere(scenario, options);
  }).join();
  return status;
}

const Scenario* FindScenario(const char* name) {
  static std::vector<Scenario> all;
  for (const auto& list :
       {AllocationScenarios(), CallbackScenarios(), FaultScenarios(), HandlerScenarios(),
        ProcessScenarios(), StackScenarios(), ThreadScenarios()}) {
    all.insert(all.end(), list.begin(), list.end());
  }
  for (const Scenario& scenario : all) {
    if (strcmp(scenario.name, name) == 0) return &scenario;
  }
  return nullptr;
}

int Main(int argc, char** argv) {
  Options options;
  const Scenario* const scenario = argc < 4 ? nullptr : FindScenario(argv[1]);
  if (scenario == nullptr || !ParseOptions(argv + 4, &options)) {
    fputs("crash_scenario_child: unknown scenario or option\n", stderr);
    return 2;
  }
  CrashHandler::machine::SetCrashDeadlineForTesting(atoi(argv[3]));
  Install(argv[2], options);
  return options.worker ? RunOnWorker(*scenario, options) : RunHere(*scenario, options);
}

}  // namespace
}  // namespace crash_test

int main(int argc, char** argv) { return crash_test::Main(argc, argv); }
