#include "tests/helper/varnook_process.h"

#include <unistd.h>

#include <cctype>

namespace oru_test {
namespace {

// Digits stand for any digit.
constexpr char kDatePattern[] = "0000-00-00 00:00:00.000 ";

bool FitsPattern(const std::string& text, const std::string& pattern) {
  if (text.size() < pattern.size()) return false;
  for (size_t i = 0; i < pattern.size(); ++i) {
    const bool digit_wanted = pattern[i] == '0';
    if (digit_wanted && isdigit(static_cast<unsigned char>(text[i])) == 0) return false;
    if (!digit_wanted && text[i] != pattern[i]) return false;
  }
  return true;
}

std::vector<std::string> SplitEntries(const std::string& text) {
  std::vector<std::string> entries;
  for (size_t start = 0; start < text.size();) {
    const size_t end = text.find('\0', start);
    entries.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return entries;
}

std::string FileOrNothing(const std::string& path) {
  return PathExists(path) ? ReadFile(path) : "";
}

void Link(const std::string& target, const std::string& path) {
  if (symlink(target.c_str(), path.c_str()) != 0) ADD_FAILURE() << "symlink " << path;
}

}  // namespace

std::string WithoutLogPrefix(const std::string& line, const std::string& program) {
  if (!FitsPattern(line, kDatePattern)) return line;
  const std::string rest = line.substr(sizeof kDatePattern - 1);
  const std::string name = program + "[";
  if (rest.compare(0, name.size(), name) != 0) return line;
  const size_t end = rest.find_first_not_of("0123456789:", name.size());
  if (end == std::string::npos || rest.compare(end, 2, "] ") != 0) return line;
  return rest.substr(end + 2);
}

void VarnookTest::SetUp() {
  MakeDirs(LibraryDir());
  MakeDirs(Home());
  options_.cwd = dir_.path();
  options_.env["HOME"] = Home();
  options_.env["ORU_TEST_RECORD"] = dir_.Join("record");
}

void VarnookTest::RecordSleeps() {
  options_.env[ORU_TEST_PRELOAD] = ORU_TEST_SLEEP_RECORDER;
  options_.env["ORU_TEST_SLEEPS"] = dir_.Join("sleeps");
}

void VarnookTest::InstallFramework(const std::string& binary, FrameworkShape shape) {
  const std::string code = ReadFile(binary);
  if (shape == FrameworkShape::kFlat) {
    MakeDirs(FrameworkPath());
    WriteFile(FrameworkPath() + "/OruRTCSdk", code);
    return;
  }
  MakeDirs(FrameworkPath() + "/Versions/A");
  WriteFile(FrameworkPath() + "/Versions/A/OruRTCSdk", code);
  Link("A", FrameworkPath() + "/Versions/Current");
  if (shape == FrameworkShape::kVersioned) {
    Link("Versions/Current/OruRTCSdk", FrameworkPath() + "/OruRTCSdk");
  }
}

void VarnookTest::InstallFrameworkWithCode(const std::string& content) {
  WriteFile(dir_.Join("code"), content);
  InstallFramework(dir_.Join("code"));
}

VarnookRun VarnookTest::Run(const std::vector<std::string>& arguments) {
  std::vector<std::string> argv = {ORU_TEST_VARNOOK};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  return RunArgv(argv);
}

VarnookRun VarnookTest::RunArgv(const std::vector<std::string>& argv) {
  VarnookRun run;
  run.process = RunChild(argv, options_);
  const std::string program = argv[0].substr(argv[0].rfind('/') + 1);
  for (const std::string& line : SplitLines(run.process.err)) {
    run.log.push_back(WithoutLogPrefix(line, program));
  }
  run.sdk = SplitEntries(FileOrNothing(dir_.Join("record")));
  run.sleeps = SplitLines(FileOrNothing(dir_.Join("sleeps")));
  EXPECT_EQ(run.process.out, standard_output_);
  return run;
}

VarnookRun VarnookTest::RunUpload(const std::vector<std::string>& more) {
  std::vector<std::string> arguments = {"-action", "uploadLog", "-libp", LibraryDir()};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return Run(arguments);
}

std::vector<std::string> ArgumentLines(const std::vector<std::string>& arguments) {
  std::vector<std::string> lines = {"varnook upload_log"};
  for (size_t i = 0; i + 1 < arguments.size(); i += 2) {
    lines.push_back("SAT:Arg " + std::to_string(i + 1) + ": " + arguments[i] + " - " +
                    arguments[i + 1]);
  }
  return lines;
}

}  // namespace oru_test
