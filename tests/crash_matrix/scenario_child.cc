// A process that goes wrong in the named way; started by the tests.
//
//   crash_scenario_child SCENARIO DUMP_DIR DEADLINE_MS [OPTION...]
//
//   --worker               on a thread of its own, named "worker"
//   --earlier-worker       the same, on a thread that is older than the handlers
//   --alternate-stack      the thread has an alternate stack
//   --app-id TEXT          instead of "A"
//   --session-id TEXT      instead of "S"
//   --sdk-version TEXT     instead of "1.0"
//   --extra-info TEXT      instead of none
//   --extra-info-size N    N times the letter "i"
//   --dump-dir TEXT        instead of DUMP_DIR
//   --default-dir          no dump directory is set
//   --home TEXT            another HOME
//   --no-home              without HOME
//   --outside-sdk          without the filter's word on the stack
//   --without-handler      nothing is installed
//   --without-descriptors  no descriptor is free when the handlers are installed, nor ever
//   --without-memory       a mebibyte of address space is left then
//   --companions           reports have companions, with a note and three log lines
//   --host-companions      and crashes of the host have theirs
//
// In a TEXT, "\xNN" is a byte: arguments that are not UTF-8 are too much for Foundation.
//
// The module's log lines go to standard error.
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "media_core/biz_engine/crash_handler/crash_companion.h"
#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

struct Options {
  bool worker = false;
  bool earlier_worker = false;
  bool alternate_stack = false;
  bool default_dir = false;
  bool no_home = false;
  bool outside_sdk = false;
  bool without_handler = false;
  bool without_descriptors = false;
  bool without_memory = false;
  bool companions = false;
  bool host_companions = false;
  const char* app_id = "A";
  const char* session_id = "S";
  const char* sdk_version = "1.0";
  const char* extra_info = nullptr;
  const char* extra_info_size = nullptr;
  const char* home = nullptr;
  const char* dump_dir = nullptr;
};

bool* FindSwitch(const std::string& name, Options* options) {
  const std::pair<const char*, bool*> switches[] = {
      {"--worker", &options->worker},
      {"--earlier-worker", &options->earlier_worker},
      {"--alternate-stack", &options->alternate_stack},
      {"--default-dir", &options->default_dir},
      {"--no-home", &options->no_home},
      {"--outside-sdk", &options->outside_sdk},
      {"--without-handler", &options->without_handler},
      {"--without-descriptors", &options->without_descriptors},
      {"--without-memory", &options->without_memory},
      {"--companions", &options->companions},
      {"--host-companions", &options->host_companions},
  };
  for (const auto& [known, place] : switches) {
    if (name == known) return place;
  }
  return nullptr;
}

const char** FindText(const std::string& name, Options* options) {
  const std::pair<const char*, const char**> texts[] = {
      {"--app-id", &options->app_id},
      {"--session-id", &options->session_id},
      {"--sdk-version", &options->sdk_version},
      {"--extra-info", &options->extra_info},
      {"--extra-info-size", &options->extra_info_size},
      {"--home", &options->home},
      {"--dump-dir", &options->dump_dir},
  };
  for (const auto& [known, place] : texts) {
    if (name == known) return place;
  }
  return nullptr;
}

// In place.
char* Unescape(char* text) {
  char* out = text;
  for (const char* in = text; *in != '\0'; ++out) {
    const bool byte = in[0] == '\\' && in[1] == 'x' && in[2] != '\0' && in[3] != '\0';
    const char digits[] = {byte ? in[2] : '\0', byte ? in[3] : '\0', '\0'};
    *out = byte ? static_cast<char>(strtoul(digits, nullptr, 16)) : *in;
    in += byte ? 4 : 1;
  }
  *out = '\0';
  return text;
}

bool ParseOptions(char** argument, Options* options) {
  for (; *argument != nullptr; ++argument) {
    bool* const set = FindSwitch(*argument, options);
    const char** const text = FindText(*argument, options);
    if (set != nullptr) {
      *set = true;
    } else if (text != nullptr && argument[1] != nullptr) {
      *text = Unescape(*++argument);
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

void ChangeHome(const Options& options) {
  if (options.home != nullptr) setenv("HOME", options.home, 1);
  if (options.no_home) unsetenv("HOME");
}

// Longer than an argument may be.
std::string ExtraInfo(const Options& options) {
  if (options.extra_info_size == nullptr) return "";
  return std::string(strtoul(options.extra_info_size, nullptr, 10), 'i');
}

class ThreeLines {
 public:
  uint64_t first_line() const { return 7; }
  uint64_t end_line() const { return 10; }
  bool Read(uint64_t number, char* buffer, size_t room, size_t* size) const {
    *size = std::min(room, sizeof kLine - 1);
    memcpy(buffer, kLine, *size);
    return number >= first_line() && number < end_line();
  }

 private:
  // Still there when a crash begins during the exit.
  static constexpr char kLine[] = "a line of the log";
};

void AskForCompanions(const Options& options) {
  static const ThreeLines lines;
  if (!options.companions && !options.host_companions) return;
  CrashHandler::CrashCompanionOptions wanted;
  wanted.also_of_host_crashes = options.host_companions;
  CrashHandler::UseLogLines(&lines);
  CrashHandler::SetCrashNote("scenario", "a note of the host");
  CrashHandler::WriteCrashCompanions(wanted);
}

void Install(const Options& options) {
  if (!options.default_dir) Handler()->SetCrashDumpDirPath(options.dump_dir);
  const std::string many = ExtraInfo(options);
  CrashHandler::CrashTraceInfo info{options.app_id, options.session_id, options.sdk_version,
                                    many.empty() ? options.extra_info : many.c_str()};
  Handler()->SetTraceInfo(info);
  Handler()->SetDebugLogSinkCallback(Sink);
  AskForCompanions(options);
  if (options.without_descriptors) UseAllDescriptors();
  if (options.without_memory) LeaveAddressSpace(size_t{1} << 20);
  Require(Handler()->InstallCrashHandler());
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

// Starts now; runs the scenario when the handlers are installed.
class Worker {
 public:
  Worker(const Scenario& scenario, const Options& options, const std::atomic<bool>& installed)
      : thread_([&] {
          pthread_setname_np(pthread_self(), "worker");
          while (!installed) SleepMs(1);
          status_ = RunHere(scenario, options);
        }) {}

  int Join() {
    thread_.join();
    return status_;
  }

 private:
  int status_ = kScenarioFailed;
  std::thread thread_;
};

int InstallAndRun(const Scenario& scenario, const Options& options) {
  std::atomic<bool> installed{false};
  std::optional<Worker> worker;
  if (options.earlier_worker) worker.emplace(scenario, options, installed);
  if (!options.without_handler) Install(options);
  installed = true;
  if (options.worker) worker.emplace(scenario, options, installed);
  return worker.has_value() ? worker->Join() : RunHere(scenario, options);
}

int Main(int argc, char** argv) {
  Options options;
  const Scenario* const scenario = argc < 4 ? nullptr : FindScenario(argv[1]);
  if (scenario == nullptr || !ParseOptions(argv + 4, &options)) {
    fputs("crash_scenario_child: unknown scenario or option\n", stderr);
    return 2;
  }
  SetRescueTime(atoi(argv[3]));
  if (options.dump_dir == nullptr) options.dump_dir = argv[2];
  ChangeHome(options);
  return InstallAndRun(*scenario, options);
}

}  // namespace
}  // namespace crash_test

int main(int argc, char** argv) { return crash_test::Main(argc, argv); }
