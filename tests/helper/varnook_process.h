// Runs the built command as a process, with small frameworks made for tests.
#ifndef TESTS_HELPER_VARNOOK_PROCESS_H_
#define TESTS_HELPER_VARNOOK_PROCESS_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace oru_test {

// What one run of the command did.
struct VarnookRun {
  ChildResult process;
  // The lines on standard error without time, program name and numbers.
  std::vector<std::string> log;
  // The entries that the framework wrote: see test_sdk.mm. Empty when it was not loaded.
  std::vector<std::string> sdk;
  // The seconds of each sleep, when the run recorded them.
  std::vector<std::string> sleeps;
};

// The text of a log line behind its prefix "DATE TIME.mmm varnook[PID:THREAD] "; a line without
// that prefix comes back whole, so that no expectation fits it.
std::string WithoutLogPrefix(const std::string& line, const std::string& program = "varnook");

enum class FrameworkShape {
  // Versions/A/OruRTCSdk, Versions/Current -> A, OruRTCSdk -> Versions/Current/OruRTCSdk.
  kVersioned,
  // The same without the link on top.
  kVersionedWithoutTopLink,
  // OruRTCSdk directly inside.
  kFlat,
};

// Folders for one test: a home, a library folder, and a record of what the framework saw.
class VarnookTest : public testing::Test {
 protected:
  // Puts a framework around a copy of the library file at `binary` into the library folder.
  void InstallFramework(const std::string& binary,
                        FrameworkShape shape = FrameworkShape::kVersioned);
  // The same around a file with this content.
  void InstallFrameworkWithCode(const std::string& content);

  // Runs `varnook` with these arguments after the program's path.
  VarnookRun Run(const std::vector<std::string>& arguments);
  // The same with argv as given: argv[0] is the path to execute.
  VarnookRun RunArgv(const std::vector<std::string>& argv);
  // {"-action", "uploadLog", "-libp", library folder} and more, run.
  VarnookRun RunUpload(const std::vector<std::string>& more = {});

  // Sleeps are recorded, not slept.
  void RecordSleeps();

  std::string LibraryDir() const { return dir_.Join("lib"); }
  std::string FrameworkPath() const { return LibraryDir() + "/OruRTCSdk.framework"; }
  std::string Home() const { return dir_.Join("home"); }

  TempDir dir_;
  // What the next run has to write there.
  std::string standard_output_;
  ChildOptions options_;

  void SetUp() override;
};

// The log lines of a run with these arguments up to the action's own.
std::vector<std::string> ArgumentLines(const std::vector<std::string>& arguments);

}  // namespace oru_test

#endif  // TESTS_HELPER_VARNOOK_PROCESS_H_
