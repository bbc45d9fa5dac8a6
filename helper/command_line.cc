#include "helper/command_line.h"

#include <cstdlib>
#include <cstring>

const std::string kInitAction = "init";
const std::string kUploadLogAction = "uploadLog";
const std::string kUploadCrashAction = "uploadCrash";
const std::string kRequestDumpAction = "requestDump";
const std::string kConnector = "-";
const std::string kSeparate = " ";
const std::string kQuotationMark = "\"";
const std::string kProgramName = "varnook";

namespace {

struct StringKey {
  const char* name;
  std::string CommandLine::*field;
};

// "pid", "tid", "ctype" and "exinfo" are known too; like unknown keys they only consume their
// value.
constexpr StringKey kStringKeys[] = {
    {"apid", &CommandLine::app_id},           {"seid", &CommandLine::session_id},
    {"ver", &CommandLine::sdk_version},       {"delay", &CommandLine::delay},
    {"akid", &CommandLine::access_key_id},    {"akscrt", &CommandLine::access_key_secret},
    {"sectkn", &CommandLine::security_token}, {"edpt", &CommandLine::endpoint},
    {"bukt", &CommandLine::bucket},           {"logp", &CommandLine::log_path},
    {"libp", &CommandLine::library_path},     {"ext", &CommandLine::extra_info},
};

bool IsKey(const char* argument) {
  return argument != nullptr && argument[0] == '-' && argument[1] != '\0';
}

ActionCode ActionNamed(const char* name, ActionCode otherwise) {
  if (name == kInitAction) return kInitActionCode;
  if (name == kUploadLogAction) return kUploadLogActionCode;
  if (name == kUploadCrashAction) return kUploadCrashActionCode;
  if (name == kRequestDumpAction) return kRequestDumpActionCode;
  return otherwise;
}

void Store(const char* name, const char* value, CommandLine* parsed) {
  if (strcmp(name, "action") == 0) {
    parsed->action = ActionNamed(value, parsed->action);
    return;
  }
  for (const StringKey& key : kStringKeys) {
    if (strcmp(name, key.name) != 0) continue;
    parsed->*key.field = value;
    return;
  }
}

}  // namespace

CommandLine ParseCommandLine(int argc, const char* const* argv, const ArgumentObserver& observer) {
  CommandLine parsed;
  int i = 0;
  while (i + 1 < argc) {
    if (!IsKey(argv[i])) {
      ++i;
      continue;
    }
    const char* value = argv[i + 1] != nullptr ? argv[i + 1] : "";
    if (observer) observer(i, argv[i], value);
    Store(argv[i] + 1, value, &parsed);
    i += 2;
  }
  return parsed;
}

uint64_t DelaySeconds(const std::string& delay) {
  return static_cast<uint64_t>(strtoll(delay.c_str(), nullptr, 10));
}

std::string GetDefaultLogDirPath() {
  const char* home = getenv("HOME");
  return std::string(home != nullptr ? home : "") + "/Documents/" + "Oru_RTC_Log/";
}
