// `oru-report`: reads crash reports and makes them readable, alone or many at once.
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "media_core/common/webrtc/rtc_base/version.h"
#include "oru_report/commands/command_line.h"
#include "oru_report/commands/commands.h"

namespace {

int Run(const std::vector<std::string>& arguments) {
  using namespace oru_report;
  if (arguments.empty()) return TellError("a command is missing (try --help)", kUsage);
  if (arguments[0] == "--help" || arguments[0] == "--version") {
    const std::string version = "oru-report " ORU_VERSION "\n";
    const std::string text = arguments[0] == "--help" ? HelpText("") : version;
    return fputs(text.c_str(), stdout) >= 0 && fflush(stdout) == 0 ? kOk : kFailed;
  }
  Options options;
  const std::string wrong = ParseOptions(arguments, &options);
  if (!wrong.empty()) return TellError(wrong + " (try --help)", kUsage);
  if (options.help) {
    const std::string text = HelpText(options.command);
    return fputs(text.c_str(), stdout) >= 0 && fflush(stdout) == 0 ? kOk : kFailed;
  }
  return FindCommand(options.command)->run(options);
}

}  // namespace

int main(int argc, char** argv) {
  // What no check foresaw ends in a sentence too.
  try {
    return Run({argv + 1, argv + argc});
  } catch (const std::bad_alloc&) {
    fputs("oru-report: out of memory\n", stderr);
  } catch (const std::exception& error) {
    return oru_report::TellError(std::string("it failed: ") + error.what());
  }
  return oru_report::kFailed;
}
