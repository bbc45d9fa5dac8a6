// What the commands that read reports share.
#ifndef ORU_REPORT_COMMANDS_VISIT_H_
#define ORU_REPORT_COMMANDS_VISIT_H_

#include <functional>

#include "oru_report/analysis/headline.h"
#include "oru_report/commands/options.h"
#include "oru_report/input/report_files.h"

namespace oru_report {

// One report with what is known about it.
struct VisitedReport {
  const ReportFile& file;
  const Headline& headline;
  Resolver* resolver;
};

using ReportCallback = std::function<void(const VisitedReport& report)>;

struct VisitResult {
  PassedOver passed;
  size_t reports = 0;
  // Reports that were not whole.
  size_t incomplete = 0;
  // Files that the user named and that are no reports.
  size_t failures = 0;
};

// Reads the reports of the options' inputs and calls back for those that the filters let through.
// `symbols` may be null. What cannot be read is told on standard error.
VisitResult VisitReports(const Options& options, SymbolStore* symbols,
                         const ReportCallback& callback);

// The same, only counted by crash. Shows its progress on a terminal.
class CrashGroups;
VisitResult GroupReports(const Options& options, CrashGroups* groups);

// The status of a command that could use all it was given, or kFailed.
int StatusOf(const VisitResult& result);

// Tells on standard error how many reports were not whole, for a command that does not say it of
// each.
void TellIncomplete(const VisitResult& result);

// Tells on standard error what was passed over, if anything was.
void TellPassedOver(const VisitResult& result);

// Ends the writing to standard output: `status`, or kFailed with a sentence when it failed.
class StreamOutput;
int FinishOutput(StreamOutput* output, int status);

// The symbols that the options ask for, or null. Tells on standard error which of the paths cannot
// be read; `status` is kFailed then, and kOk otherwise.
std::unique_ptr<SymbolStore> MakeSymbols(const Options& options, int* status);

}  // namespace oru_report

#endif  // ORU_REPORT_COMMANDS_VISIT_H_
