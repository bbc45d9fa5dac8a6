#include "oru_report/commands/command_line.h"

#include <functional>
#include <string_view>

#include "oru_report/commands/commands.h"
#include "oru_report/model/calendar_time.h"

namespace oru_report {
namespace {

struct Option {
  const char* name;
  // The commands that take it, between blanks.
  const char* commands;
  // What the help calls its value; null for a switch.
  const char* value;
  const char* help;
  std::function<void(Options*, const std::string&)> set;
};

constexpr char kShown[] = " show html json ";
constexpr char kFiltered[] = " list show html json group diff ";

constexpr char kKeepingHelp[] = R"(
Keeping symbols when shipping: build each release with -g and a build id, and before it is packed
  scripts/symbols --output kept --strip DIR      keeps its debug files by id in kept, and strips DIR
  oru-report show --symbols kept REPORT          finds them for a report of any release in kept
)";

const std::vector<Option>& AllOptions() {
  using Text = const std::string&;
  static const std::vector<Option> options = {
      {"--json", " list group diff doctor ", nullptr, "for machines: JSON instead of a table",
       [](Options* o, Text) { o->json = true; }},
      {"--color", " show ", "WHEN", "auto (the default: on a terminal), always or never",
       [](Options* o, Text v) { o->color = v; }},
      {"--with-log", " show ", "LOG",
       "the lines of LOG before the crash, beside the crashed thread",
       [](Options* o, Text v) { o->timeline.log = v; }},
      {"--with-trace", " show ", "TRACE", "the same of the events of TRACE",
       [](Options* o, Text v) { o->timeline.trace = v; }},
      {"--utc-offset", " show ", "+HH:MM",
       "how far the crashing machine's clock was ahead of UTC; the default: as this\n"
       "                   machine's at that time",
       [](Options* o, Text v) { o->utc_offset = v; }},
      {"--output", " html ", "FILE", "where the page goes instead of standard output",
       [](Options* o, Text v) { o->output = v; }},
      {"--sources", " html ", "DIR",
       "look in DIR, too, for the source lines of the crash; any number of times",
       [](Options* o, Text v) { o->sources.push_back(v); }},
      {"--group", " html ", nullptr, "one page of the inputs' groups, with plots",
       [](Options* o, Text) { o->group = true; }},
      {"--function", " doctor ", "NAME",
       "the same as FUNCTION: whether a crash in it would be reported",
       [](Options* o, Text v) { o->function = v; }},
      {"--dump-dir", " doctor ", "DIR", "the folder of reports instead of the default one",
       [](Options* o, Text v) { o->dump_dir = v; }},
      {"--symbols", kShown, "PATH",
       "look for symbols by build id in PATH: a file, a folder of binaries, debug files or\n"
       "                   .dSYM bundles, or a .build-id folder; any number of times",
       [](Options* o, Text v) { o->symbols.paths.push_back(v); }},
      {"--debug-dir", kShown, "DIR", "the same as --symbols DIR/.build-id",
       [](Options* o, Text v) { o->symbols.paths.push_back(v + "/.build-id"); }},
      {"--debuginfod", kShown, nullptr, "ask the servers of DEBUGINFOD_URLS for debug files",
       [](Options* o, Text) { o->symbols.ask_servers = true; }},
      {"--no-source", kShown, nullptr, "show what the report itself says, look for no symbols",
       [](Options* o, Text) { o->use_symbols = false; }},
      {"--app", kFiltered, "ID", "only reports of this app",
       [](Options* o, Text v) { o->filters.app = v; }},
      {"--sdk", kFiltered, "VERSION", "only reports of this version of the SDK",
       [](Options* o, Text v) { o->filters.version = v; }},
      {"--kind", kFiltered, "KIND", "only Signal, Exception or MemoryError",
       [](Options* o, Text v) { o->filters.kind = v; }},
      {"--since", kFiltered, "TIME", "only crashes at or after TIME (2024-03-05, or with 07:08:09)",
       [](Options* o, Text v) { o->filters.since = v; }},
      {"--until", kFiltered, "TIME", "only crashes before TIME or on that day",
       [](Options* o, Text v) { o->filters.until = v; }},
      {"--frame", kFiltered, "TEXT", "only with TEXT in a name of the crashed thread",
       [](Options* o, Text v) { o->filters.frame = v; }},
  };
  return options;
}

bool Takes(const Option& option, const std::string& command) {
  return std::string(option.commands).find(" " + command + " ") != std::string::npos;
}

const Option* FindOption(const std::string& command, const std::string& name) {
  for (const Option& option : AllOptions()) {
    if (name == option.name && Takes(option, command)) return &option;
  }
  return nullptr;
}

std::string CheckOffset(Options* options) {
  if (options->utc_offset.empty()) return "";
  int minutes = 0;
  if (!ReadUtcOffset(options->utc_offset, &minutes)) return "--utc-offset takes +HH:MM or -HH:MM";
  options->timeline.utc_offset = minutes;
  return "";
}

// A day, or a day and a time, that a calendar has.
bool IsTime(const std::string& text) {
  constexpr std::string_view kForm = "dddd-dd-dd dd:dd:dd";
  if (text.size() != 10 && text.size() != kForm.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (kForm[i] == 'd' ? !digit : text[i] != kForm[i]) return false;
  }
  CalendarTime time;
  const std::string whole = text.size() == kForm.size() ? text : text + " 00:00:00";
  return ReadReportTime(whole, &time) && time.UtcMicros().has_value();
}

std::string Check(const Options& options, const Command& command) {
  const size_t count = options.inputs.size();
  if (count < command.least_inputs) return options.command + " needs " + command.needs;
  if (count > command.most_inputs && !options.group)
    return options.command + " takes " + command.needs;
  if (options.color != "auto" && options.color != "always" && options.color != "never") {
    return "--color takes auto, always or never";
  }
  const std::string& kind = options.filters.kind;
  if (!kind.empty() && kind != "Signal" && kind != "Exception" && kind != "MemoryError") {
    return "--kind takes Signal, Exception or MemoryError";
  }
  for (const std::string& time : {options.filters.since, options.filters.until}) {
    if (!time.empty() && !IsTime(time)) {
      return "a time is written 2024-03-05 or \"2024-03-05 07:08:09\"";
    }
  }
  return "";
}

}  // namespace

std::string ParseOptions(const std::vector<std::string>& arguments, Options* options) {
  options->command = arguments[0];
  const Command* command = FindCommand(options->command);
  if (command == nullptr) return "unknown command '" + options->command + "'";
  bool only_inputs = false;
  for (size_t i = 1; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (only_inputs || argument.size() < 2 || argument[0] != '-') {
      options->inputs.push_back(argument);
    } else if (argument == "--") {
      only_inputs = true;
    } else if (argument == "--help") {
      options->help = true;
      return "";
    } else {
      const Option* option = FindOption(options->command, argument);
      if (option == nullptr) {
        return "unknown option '" + argument + "' of " + options->command;
      }
      if (option->value != nullptr && i + 1 == arguments.size()) {
        return argument + " needs a value";
      }
      option->set(options, option->value == nullptr ? "" : arguments[++i]);
    }
  }
  const std::string wrong = Check(*options, *command);
  return wrong.empty() ? CheckOffset(options) : wrong;
}

std::string HelpText(const std::string& wanted) {
  std::string text;
  for (const Command& command : AllCommands()) {
    if (!wanted.empty() && wanted != command.name) continue;
    text += (text.empty() ? "usage: oru-report " : "       oru-report ") +
            std::string(command.usage) + "\n";
  }
  text += "\n";
  for (const Command& command : AllCommands()) {
    if (!wanted.empty() && wanted != command.name) continue;
    text += std::string(command.name) + std::string(8 - std::string(command.name).size(), ' ') +
            command.help + "\n";
  }
  text += "\n";
  for (const Option& option : AllOptions()) {
    if (!wanted.empty() && !Takes(option, wanted)) continue;
    std::string name = std::string("  ") + option.name;
    if (option.value != nullptr) name += std::string(" ") + option.value;
    text +=
        name + std::string(name.size() < 18 ? 18 - name.size() : 1, ' ') + " " + option.help + "\n";
  }
  text += "  --help, --version\n";
  const bool symbols = wanted.empty() || FindOption(wanted, "--symbols") != nullptr;
  return symbols ? text + kKeepingHelp : text;
}

}  // namespace oru_report
