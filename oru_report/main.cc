// `oru-report`: lists crash reports and makes one readable.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "oru_report/escape.h"
#include "oru_report/render.h"
#include "oru_report/report_list.h"
#include "oru_report/report_parser.h"
#include "oru_report/source_lookup.h"

namespace {

using oru_report::Report;
using oru_report::SourceLookup;

constexpr int kOk = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

constexpr char kHelp[] =
    "usage: oru-report list [--json] DIR\n"
    "       oru-report show [--color WHEN] [--no-source] [--debug-dir DIR]... FILE\n"
    "       oru-report html [--output FILE] [--no-source] [--debug-dir DIR]... FILE\n"
    "\n"
    "list   the crash reports in DIR and its version folders, newest first\n"
    "show   a report with the crashed thread first, names demangled, source lines where\n"
    "       the debug information is on this machine\n"
    "html   the same as one self-contained page, on standard output or in a file\n"
    "\n"
    "  --json           a JSON array instead of a table\n"
    "  --color WHEN     auto (the default: on a terminal), always or never\n"
    "  --no-source      do not look for debug information\n"
    "  --debug-dir DIR  also look for debug information in DIR/.build-id\n"
    "  --output FILE    where the page goes\n"
    "  --help, --version\n";

struct Options {
  std::string command;
  std::string input;
  std::string output;
  std::string color = "auto";
  std::string debug_dirs;
  bool json = false;
  bool sources = true;
};

int UsageError(const std::string& message) {
  fprintf(stderr, "oru-report: %s (try --help)\n", message.c_str());
  return kUsage;
}

int Failure(const std::string& message) {
  fprintf(stderr, "oru-report: %s\n", message.c_str());
  return kFailed;
}

// The place of an option's value, or null for what takes none.
std::string* ValueOf(const std::string& option, Options* options) {
  if (option == "--color") return &options->color;
  if (option == "--output" && options->command == "html") return &options->output;
  return nullptr;
}

// Returns "" or what is wrong.
std::string Parse(const std::vector<std::string>& arguments, Options* options) {
  options->command = arguments[0];
  if (options->command != "list" && options->command != "show" && options->command != "html") {
    return "unknown command '" + options->command + "'";
  }
  for (size_t i = 1; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const bool has_value = i + 1 < arguments.size();
    if (argument == "--json" && options->command == "list") {
      options->json = true;
    } else if (argument == "--no-source") {
      options->sources = false;
    } else if (argument == "--debug-dir" || ValueOf(argument, options) != nullptr) {
      if (!has_value) return argument + " needs a value";
      const std::string& value = arguments[++i];
      if (argument == "--debug-dir") {
        options->debug_dirs += (options->debug_dirs.empty() ? "" : ":") + value;
      } else {
        *ValueOf(argument, options) = value;
      }
    } else if (argument.size() > 1 && argument[0] == '-') {
      return "unknown option '" + argument + "'";
    } else if (!options->input.empty()) {
      return "one file or folder at a time";
    } else {
      options->input = argument;
    }
  }
  if (options->input.empty()) return options->command + " needs a file or folder";
  if (options->color != "auto" && options->color != "always" && options->color != "never") {
    return "--color takes auto, always or never";
  }
  return "";
}

bool ReadFile(const std::string& path, std::string* content, std::string* error) {
  FILE* file = fopen(path.c_str(), "rb");
  if (file == nullptr) {
    *error = "cannot open " + path + ": " + strerror(errno);
    return false;
  }
  char buffer[65536];
  size_t got = 0;
  while ((got = fread(buffer, 1, sizeof buffer, file)) > 0) content->append(buffer, got);
  const bool failed = ferror(file) != 0;
  if (failed) *error = "cannot read " + path + ": " + strerror(errno);
  fclose(file);
  return !failed;
}

int Print(const std::string& text) {
  const bool written =
      fwrite(text.data(), 1, text.size(), stdout) == text.size() && fflush(stdout) == 0;
  return written ? kOk : Failure(std::string("cannot write: ") + strerror(errno));
}

int WriteOutput(const std::string& path, const std::string& text) {
  if (path.empty() || path == "-") return Print(text);
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) return Failure("cannot create " + path + ": " + strerror(errno));
  const bool written = fwrite(text.data(), 1, text.size(), file) == text.size();
  if (fclose(file) != 0 || !written) {
    return Failure("cannot write " + path + ": " + strerror(errno));
  }
  return kOk;
}

int List(const Options& options) {
  std::vector<oru_report::ReportEntry> entries;
  std::string error;
  if (!oru_report::FindReports(options.input, &entries, &error)) return Failure(error);
  return Print(options.json ? oru_report::FormatJson(entries) : oru_report::FormatTable(entries));
}

bool UseColor(const Options& options) {
  if (options.color != "auto") return options.color == "always";
  return isatty(STDOUT_FILENO) != 0 && getenv("NO_COLOR") == nullptr;
}

int ShowOrHtml(const Options& options) {
  std::string content;
  std::string error;
  Report report;
  if (!ReadFile(options.input, &content, &error)) return Failure(error);
  if (!oru_report::ParseReport(content, &report, &error)) {
    return Failure(options.input + ": " + error);
  }
  SourceLookup lookup(report, options.debug_dirs);
  SourceLookup* sources = options.sources ? &lookup : nullptr;
  if (options.command == "show") {
    return Print(oru_report::RenderText(report, sources, UseColor(options)));
  }
  const std::string name = options.input.substr(options.input.rfind('/') + 1);
  return WriteOutput(options.output, oru_report::RenderHtml(report, sources, name));
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.empty()) return UsageError("a command is missing");
  if (arguments[0] == "--help" || arguments[0] == "-h") return Print(kHelp);
  if (arguments[0] == "--version") return Print("oru-report " ORU_VERSION "\n");
  Options options;
  const std::string problem = Parse(arguments, &options);
  if (!problem.empty()) return UsageError(problem);
  return options.command == "list" ? List(options) : ShowOrHtml(options);
}
