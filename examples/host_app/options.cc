#include "examples/host_app/options.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "examples/host_app/crash_deeds.h"

namespace host_app {
namespace {

struct TextOption {
  const char* name;
  std::string Options::*field;
};

struct SwitchOption {
  const char* name;
  bool Options::*field;
  bool value;
};

struct CountOption {
  const char* name;
  int Options::*field;
};

constexpr TextOption kTexts[] = {
    {"--dump-dir", &Options::dump_dir},
    {"--app-id", &Options::app_id},
    {"--session-id", &Options::session_id},
    {"--sdk-version", &Options::sdk_version},
    {"--extra-info", &Options::extra_info},
    {"--crash", &Options::crash},
    {"--log-dir", &Options::log_dir},
    {"--upload-command", &Options::upload_command},
    {"--library-path", &Options::library_path},
    {"--endpoint", &Options::endpoint},
    {"--bucket", &Options::bucket},
};

constexpr SwitchOption kSwitches[] = {
    {"--outside-sdk", &Options::outside_sdk, true},
    {"--worker", &Options::on_worker, true},
    {"--no-alternate-stack", &Options::alternate_stack, false},
    {"--show-module-log", &Options::show_module_log, true},
    {"--console", &Options::console, true},
    {"--look-back", &Options::look_back, true},
    {"--help", &Options::help, true},
};

constexpr CountOption kCounts[] = {
    {"--crash-threads", &Options::crash_threads},
    {"--idle-threads", &Options::idle_threads},
    {"--work-ms", &Options::work_ms},
};

template <typename Table>
auto Find(const Table& table, const std::string& name) {
  return std::find_if(std::begin(table), std::end(table),
                      [&name](const auto& entry) { return name == entry.name; });
}

bool ParseCount(const std::string& text, int* count) {
  char* end = nullptr;
  const long value = strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || value < 0 || value > 100000) return false;
  *count = static_cast<int>(value);
  return true;
}

bool SetValue(const std::string& name, const std::string& value, Options* options,
              std::string* error) {
  const auto text = Find(kTexts, name);
  if (text != std::end(kTexts)) {
    options->*text->field = value;
    return true;
  }
  const auto count = Find(kCounts, name);
  if (ParseCount(value, &(options->*count->field))) return true;
  *error = name + " needs a count, not '" + value + "'";
  return false;
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options* options, std::string* error) {
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    const auto flag = Find(kSwitches, name);
    if (flag != std::end(kSwitches)) {
      options->*flag->field = flag->value;
      continue;
    }
    if (Find(kTexts, name) == std::end(kTexts) && Find(kCounts, name) == std::end(kCounts)) {
      *error = "unknown option '" + name + "'";
      return false;
    }
    if (i + 1 == argc) {
      *error = name + " needs a value";
      return false;
    }
    if (!SetValue(name, argv[++i], options, error)) return false;
  }
  const auto& deeds = CrashDeedNames();
  if (options->crash.empty() ||
      std::find(deeds.begin(), deeds.end(), options->crash) != deeds.end()) {
    return true;
  }
  *error = "unknown way to crash '" + options->crash + "'";
  return false;
}

std::string Usage() {
  std::string text =
      "A host program with crash capture: it logs, traces, and crashes on request.\n"
      "\n"
      "  host_app [options]\n"
      "\n"
      "  --dump-dir DIR        where crash reports go (default ~/Library/Caches/Oru_RTC_Crash/)\n"
      "  --app-id ID  --session-id ID  --sdk-version VERSION  --extra-info TEXT\n"
      "  --log-dir DIR         where logs and the trace go (default ~/Documents/Oru_RTC_Log/)\n"
      "  --crash KIND          how to crash, in the sample SDK's code; KIND is one of\n"
      "                       ";
  for (const std::string& name : CrashDeedNames()) text += " " + name;
  text +=
      "\n"
      "  --outside-sdk         crash in the app's own code instead: no report is written\n"
      "  --worker              crash on a thread of its own\n"
      "  --crash-threads N     how many crash together in many-threads (20)\n"
      "  --idle-threads N      threads that wait meanwhile (0)\n"
      "  --work-ms N           work, log and trace for this long first, in milliseconds (0)\n"
      "  --no-alternate-stack  a stack overflow then leaves no report\n"
      "  --show-module-log     the crash module's own lines on standard error\n"
      "  --console             the same through its console switch, on standard output\n"
      "  --look-back           say how the last run of this app ended, send its reports (below), "
      "keep\n"
      "                        what is left within bounds, and record this run for the next one\n"
      "  --upload-command PATH --library-path DIR  --endpoint URL  --bucket NAME\n"
      "                        send reports by this varnook and the framework in DIR; credentials "
      "come\n"
      "                        from HOST_APP_KEY_ID, HOST_APP_KEY_SECRET and HOST_APP_TOKEN\n";
  return text;
}

}  // namespace host_app
