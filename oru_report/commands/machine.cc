// `oru-report json` and `oru-report group`.
#include <algorithm>
#include <cstdio>

#include "oru_report/analysis/crash_groups.h"
#include "oru_report/commands/commands.h"
#include "oru_report/commands/terminal.h"
#include "oru_report/commands/visit.h"
#include "oru_report/render/render.h"
#include "oru_report/render/render_groups.h"

namespace oru_report {
namespace {

// A line that counts, on a terminal only.
class Progress {
 public:
  ~Progress() {
    if (shown_) fputs("\r\x1b[K", stderr);
  }

  void Step() {
    ++count_;
    if (!wanted_ || count_ % 500 != 0) return;
    shown_ = true;
    fprintf(stderr, "\r%zu reports", count_);
  }

 private:
  const bool wanted_ = ShowsProgress();
  bool shown_ = false;
  size_t count_ = 0;
};

}  // namespace

VisitResult GroupReports(const Options& options, CrashGroups* groups) {
  Progress progress;
  return VisitReports(options, nullptr, [&](const VisitedReport& report) {
    groups->Add(report.file.path, report.resolver->report(), report.headline);
    progress.Step();
  });
}

int RunJson(const Options& options) {
  int status = kOk;
  const auto symbols = MakeSymbols(options, &status);
  StreamOutput output(stdout);
  const VisitResult result = VisitReports(options, symbols.get(), [&](const VisitedReport& report) {
    report.resolver->Prepare();
    RenderJson(report.file.path, report.headline, report.resolver, &output);
  });
  TellIncomplete(result);
  TellPassedOver(result);
  return FinishOutput(&output, std::max(status, StatusOf(result)));
}

int RunGroup(const Options& options) {
  CrashGroups groups;
  const VisitResult result = GroupReports(options, &groups);
  StreamOutput output(stdout);
  if (options.json) {
    RenderGroupsJson(groups, &output);
  } else {
    RenderGroupsText(groups, TerminalWidth(), &output);
  }
  TellIncomplete(result);
  TellPassedOver(result);
  return FinishOutput(&output, StatusOf(result));
}

}  // namespace oru_report
