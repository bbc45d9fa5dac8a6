// What the command line of `oru-report` asks for.
#ifndef ORU_REPORT_COMMANDS_OPTIONS_H_
#define ORU_REPORT_COMMANDS_OPTIONS_H_

#include <string>
#include <vector>

#include "oru_report/analysis/timeline.h"
#include "oru_report/symbols/symbol_store.h"

namespace oru_report {

// Which reports are looked at; empty fields take all.
struct Filters {
  std::string app;
  std::string version;
  std::string kind;
  // "2024-03-05" or "2024-03-05 07:08:09".
  std::string since;
  std::string until;
  // Part of a frame's name in the crashed thread.
  std::string frame;
};

struct Options {
  std::string command;
  std::vector<std::string> inputs;
  std::string output;
  std::string color = "auto";
  bool json = false;
  bool group = false;
  bool help = false;
  // `--utc-offset`, as it was given.
  std::string utc_offset;
  // `--no-source`: no symbols but the report's own.
  bool use_symbols = true;
  SymbolOptions symbols;
  // Of `html`: folders of source files.
  std::vector<std::string> sources;
  Filters filters;
  // Of `show`.
  TimelineOptions timeline;
  // Of `doctor`.
  std::string function;
  std::string dump_dir;
};

}  // namespace oru_report

#endif  // ORU_REPORT_COMMANDS_OPTIONS_H_
