// `oru-report show` and `oru-report html`.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "oru_report/analysis/crash_groups.h"
#include "oru_report/commands/commands.h"
#include "oru_report/commands/visit.h"
#include "oru_report/render/render.h"
#include "oru_report/render/render_groups.h"

namespace oru_report {
namespace {

bool UseColor(const Options& options) {
  if (options.color != "auto") return options.color == "always";
  return isatty(STDOUT_FILENO) != 0 && getenv("NO_COLOR") == nullptr;
}

void TellGaps(const VisitedReport& report) {
  for (const std::string& gap : report.resolver->report().gaps) {
    TellError(report.file.path + ": " + gap);
  }
}

// Of inputs without a report, or with none that the filters let through.
int TellNothing(const VisitResult& result) {
  const bool told = result.reports > 0 || result.failures > 0 || result.passed.problem_count > 0;
  return told ? kOk : TellError("there is no report to show");
}

}  // namespace

int RunShow(const Options& options) {
  int failed = kOk;
  const auto symbols = MakeSymbols(options, &failed);
  const bool color = UseColor(options);
  StreamOutput output(stdout);
  bool first = true;
  const VisitResult result = VisitReports(options, symbols.get(), [&](const VisitedReport& report) {
    if (!first) output << "\n\n";
    first = false;
    TellGaps(report);
    report.resolver->Prepare();
    if (options.timeline.log.empty() && options.timeline.trace.empty()) {
      return RenderText(report.headline, report.resolver, nullptr, color, &output);
    }
    const Timeline timeline = MakeTimeline(report.resolver->report(), options.timeline);
    for (const std::string& problem : timeline.problems) failed = TellError(problem);
    RenderText(report.headline, report.resolver, &timeline, color, &output);
  });
  TellPassedOver(result);
  return FinishOutput(&output, std::max({failed, StatusOf(result), TellNothing(result)}));
}

namespace {

// Standard output or the file of `--output`, which is only made when there is something to write.
int WritePage(const Options& options, const std::function<void(Output*)>& write) {
  const bool to_file = !options.output.empty() && options.output != "-";
  FILE* file = to_file ? fopen(options.output.c_str(), "wb") : stdout;
  if (file == nullptr) return TellError("cannot create " + options.output + ": " + strerror(errno));
  StreamOutput output(file);
  write(&output);
  int status = FinishOutput(&output, kOk);
  if (to_file && fclose(file) != 0) {
    status = TellError("cannot write " + options.output + ": " + strerror(errno));
  }
  return status;
}

int WriteGroups(const Options& options) {
  CrashGroups groups;
  const VisitResult result = GroupReports(options, &groups);
  const int status = WritePage(options, [&](Output* output) { RenderGroupsHtml(groups, output); });
  TellIncomplete(result);
  TellPassedOver(result);
  return std::max(status, StatusOf(result));
}

}  // namespace

int RunHtml(const Options& options) {
  if (options.group) return WriteGroups(options);
  int failed = kOk;
  const auto symbols = MakeSymbols(options, &failed);
  bool done = false;
  int status = kOk;
  const VisitResult result = VisitReports(options, symbols.get(), [&](const VisitedReport& report) {
    // Of a folder or an archive the first one.
    if (done) return;
    done = true;
    TellGaps(report);
    report.resolver->Prepare();
    const CrashSource source = FindCrashSource(report.headline, report.resolver, options.sources);
    status = WritePage(options, [&](Output* output) {
      RenderHtml(report.headline, report.resolver, source, report.file.name, output);
    });
  });
  TellPassedOver(result);
  if (result.reports > 1) {
    TellError("the page shows the first of " + std::to_string(result.reports) +
              " reports; --group draws them all");
  }
  return std::max({failed, status, StatusOf(result), TellNothing(result)});
}

}  // namespace oru_report
