#include "tests/neighbours/runtime_run.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/neighbours/neighbour_run.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace neighbours {
namespace {

using oru_test::ChildResult;
using Words = std::vector<std::string>;

struct Runtime {
  const char* name;
  Words command;
  // Loaded before the program; null: nothing.
  const char* preload;
};

Words Jvm(const char* mode) {
  return {NEIGHBOUR_JAVA, mode, "-XX:ErrorFile=/dev/null", "-cp", NEIGHBOUR_PROGRAMS, "Neighbour"};
}

Words UnderGdb() {
  return {NEIGHBOUR_GDB, "-batch",   "-iex",   "set debuginfod enabled off",     "-ex", "run",
          "-ex",         "continue", "--args", NEIGHBOUR_PROGRAMS "/c_neighbour"};
}

const std::vector<Runtime>& Runtimes() {
  static const std::vector<Runtime> runtimes = {
      {"Jvm", Jvm("-Xmixed"), nullptr},
      {"JvmInterpreting", Jvm("-Xint"), nullptr},
      {"JvmWithLibjsig", Jvm("-Xint"), NEIGHBOUR_LIBJSIG},
      {"Node", {NEIGHBOUR_NODE, NEIGHBOUR_SOURCES "/neighbour.js"}, nullptr},
      {"Go", {NEIGHBOUR_PROGRAMS "/go_neighbour"}, nullptr},
      {"Mono", {NEIGHBOUR_MONO, NEIGHBOUR_PROGRAMS "/neighbour.exe"}, nullptr},
      {"Ruby", {NEIGHBOUR_RUBY, NEIGHBOUR_SOURCES "/neighbour.rb"}, nullptr},
      {"Python", {NEIGHBOUR_PYTHON, NEIGHBOUR_SOURCES "/neighbour.py"}, nullptr},
      {"Faulthandler",
       {NEIGHBOUR_PYTHON, "-X", "faulthandler", NEIGHBOUR_SOURCES "/neighbour.py"},
       nullptr},
      {"Rust", {NEIGHBOUR_PROGRAMS "/rust_neighbour"}, nullptr},
      {"AddressSanitizer", {NEIGHBOUR_PROGRAMS "/address_neighbour"}, nullptr},
      {"ThreadSanitizer", {NEIGHBOUR_PROGRAMS "/thread_neighbour"}, nullptr},
      {"Gdb", UnderGdb(), nullptr},
  };
  return runtimes;
}

const Runtime& Find(const std::string& name) {
  for (const Runtime& runtime : Runtimes()) {
    if (name == runtime.name) return runtime;
  }
  ADD_FAILURE() << "no runtime " << name;
  return Runtimes().front();
}

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

constexpr char kBenign[] = "10000 faults were benign";

// Without those of crash capture.
std::string StepsAlone(const std::string& steps) {
  const std::set<std::string> others = {"install", "front", "rearm", "leave", "uninstall"};
  std::istringstream words(steps);
  std::string alone;
  for (std::string word; words >> word;) {
    if (others.count(word) == 0) alone += (alone.empty() ? "" : " ") + word;
  }
  return alone;
}

ChildResult Run(const Runtime& runtime, const std::string& steps, bool preloaded,
                const oru_test::TempDir& home) {
  oru_test::ChildOptions options;
  options.cwd = home.path();
  options.env["HOME"] = home.path();
  options.env["NEIGHBOUR_SHIM"] = NEIGHBOUR_SHIM;
  options.env["NEIGHBOUR_NODE_SHIM"] = NEIGHBOUR_NODE_SHIM;
  options.env["NEIGHBOUR_DUMPS"] = home.Join("dumps");
  options.env["NEIGHBOUR_STEPS"] = steps;
  // By its name alone, as Mono asks for it.
  options.env["LD_LIBRARY_PATH"] = FolderOf(NEIGHBOUR_SHIM);
  std::string preload = runtime.preload == nullptr ? "" : runtime.preload;
  if (preloaded) {
    options.env["NEIGHBOUR_PRELOADED"] = "1";
    preload += (preload.empty() ? "" : ":") + std::string(NEIGHBOUR_SHIM);
  }
  if (!preload.empty()) options.env["LD_PRELOAD"] = preload;
  options.timeout_s = 60;
  return oru_test::RunChild(runtime.command, options);
}

std::string EndingAlone(const Runtime& runtime, const std::string& steps) {
  static std::map<std::string, std::string> known;
  std::string& ending = known[std::string(runtime.name) + " " + steps];
  if (ending.empty()) ending = Run(runtime, steps, false, oru_test::TempDir()).Ending();
  return ending;
}

size_t Count(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

}  // namespace

void PrintTo(const RuntimeRow& row, std::ostream* out) {
  *out << (row.reason == nullptr ? "as without a neighbour" : row.reason);
}

void ExpectRow(const RuntimeRow& row) {
  const oru_test::TempDir home;
  const Runtime& runtime = Find(row.runtime);
  const std::string alone = StepsAlone(row.steps);
  const ChildResult result = Run(runtime, row.steps, row.order == Order::kAfter, home);
  if (row.ending == kAsAlone) {
    EXPECT_EQ(EndingAlone(runtime, alone), result.Ending()) << result.err;
  } else if (row.ending != kAnyhow) {
    EXPECT_EQ(row.ending, result.signal) << result.Ending() << "\n" << result.err;
  }
  ExpectReports(home.Join("dumps"), row.reports, 1);
  // Where the program ends by a benign fault it does not say so.
  const bool all_benign = row.ending == kAsAlone || Count(alone, "crash") != 0;
  EXPECT_EQ(all_benign ? Count(alone, "benign") : 0, Count(result.err, kBenign)) << result.err;
}

}  // namespace neighbours
