#include "oru_report/commands/visit.h"

#include <cerrno>
#include <cstring>

#include "oru_report/commands/commands.h"
#include "oru_report/input/companion_file.h"
#include "oru_report/model/line_text.h"
#include "oru_report/model/report_parser.h"
#include "oru_report/render/output.h"

namespace oru_report {
namespace {

bool HasFrame(Resolver* resolver, const std::string& text) {
  const FrameList& frames = resolver->report().crash_frames;
  for (size_t i = 0; i < frames.size(); ++i) {
    if (Contains(frames[i]->text, text)) return true;
    if (Contains(resolver->NameOf(*frames[i], i != 0), text)) return true;
  }
  return false;
}

bool Passes(const Filters& filters, const Headline& headline, Resolver* resolver) {
  const auto differs = [](const std::string& wanted, const std::string& value) {
    return !wanted.empty() && wanted != value;
  };
  if (!filters.app.empty() && filters.app != headline.app && filters.app != headline.process) {
    return false;
  }
  if (differs(filters.version, headline.version) || differs(filters.kind, headline.kind)) {
    return false;
  }
  if (!filters.since.empty() && headline.time < filters.since) return false;
  // A day contains all its times.
  const std::string time = headline.time.substr(0, filters.until.size());
  if (!filters.until.empty() && (time.empty() || time > filters.until)) return false;
  return filters.frame.empty() || HasFrame(resolver, filters.frame);
}

// The others look at what all reports have.
bool ShowsCompanions(const Options& options) {
  return !options.group &&
         (options.command == "show" || options.command == "html" || options.command == "json");
}

// A companion is told from one of another report of its name by the thread that crashed.
void AddCompanion(const std::string& path, Report* report) {
  report->companion = ReadCompanionOf(path);
  const CompanionLine* const crash = report->companion.Find("crash");
  const std::string_view thread = report->HeaderValue("Crash Thread");
  if (crash == nullptr || thread.empty() || crash->Text("thread") == thread) return;
  report->companion.gaps.emplace_back("the companion is that of another crash");
}

}  // namespace

VisitResult VisitReports(const Options& options, SymbolStore* symbols,
                         const ReportCallback& callback) {
  VisitResult result;
  const auto visit = [&](ReportFile file) {
    Report report;
    std::string error;
    if (!ParseReport(std::move(file.text), &report, &error)) {
      ++result.failures;
      TellError(file.path + ": " + error);
      return;
    }
    if (!file.gap.empty()) report.gaps.insert(report.gaps.begin(), file.gap);
    Resolver resolver(report, symbols);
    const Headline headline = MakeHeadline(file.name, file.folder, &resolver);
    if (!Passes(options.filters, headline, &resolver)) return;
    if (ShowsCompanions(options)) AddCompanion(file.path, &report);
    ++result.reports;
    result.incomplete += report.gaps.empty() ? 0 : 1;
    callback({file, headline, &resolver});
  };
  VisitReportFiles(options.inputs, visit, &result.passed);
  for (const std::string& problem : result.passed.problems) TellError(problem);
  return result;
}

int StatusOf(const VisitResult& result) {
  const bool good =
      result.failures == 0 && result.incomplete == 0 && result.passed.problem_count == 0;
  return good ? kOk : kFailed;
}

void TellIncomplete(const VisitResult& result) {
  if (result.incomplete == 0) return;
  TellError(std::to_string(result.incomplete) + " of " + std::to_string(result.reports) +
            " reports " + (result.incomplete == 1 ? "is" : "are") + " not whole");
}

void TellPassedOver(const VisitResult& result) {
  const std::string summary = result.passed.Summary();
  if (!summary.empty()) TellError(summary);
}

int FinishOutput(StreamOutput* output, int status) {
  if (output->Flush()) return status;
  return TellError(std::string("cannot write: ") + strerror(errno));
}

std::unique_ptr<SymbolStore> MakeSymbols(const Options& options, int* status) {
  *status = kOk;
  if (!options.use_symbols) return nullptr;
  auto symbols = std::make_unique<SymbolStore>(options.symbols);
  if (options.symbols.paths.empty()) return symbols;
  for (const std::string& problem : symbols->Problems()) *status = TellError(problem);
  return symbols;
}

}  // namespace oru_report
